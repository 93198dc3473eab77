#include "ColourValues.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "CliError.h"
#include "base/Colorimetry.h"

namespace {
struct Range {
    double lo, hi;
};

Range NaturalRange(const PixelSpace& space, unsigned channel) {
    switch (space.model) {
    case ColourModel::Cmyk:
    case ColourModel::NColor:
        return {0, 100};
    case ColourModel::Lab:
        // a and b: the 16-bit codes 0 to 65535 at 256 a unit, 0 at 0x8000.
        return channel == 0 ? Range{0, 100} : Range{-128, 65535 / 256.0 - 128};
    default:
        return {0, 255};
    }
}

std::vector<double> SplitNumbers(const std::string& text, const std::string& where) {
    std::vector<double> numbers;
    size_t i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (c == ',' || c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            ++i;
            continue;
        }
        size_t end = text.find_first_of(", \t\r\n", i);
        if (end == std::string::npos) end = text.size();
        const std::string word = text.substr(i, end - i);
        char* stop = nullptr;
        const double v = std::strtod(word.c_str(), &stop);
        if (stop == word.c_str() || *stop != 0 || !std::isfinite(v))
            throw CliError(kExitUsage, where + ": '" + word + "' is not a number");
        numbers.push_back(v);
        i = end;
    }
    return numbers;
}
} // namespace

std::vector<uint16_t> ParseColour(const std::string& text, const PixelSpace& space, Units units,
                                  const std::string& where) {
    const std::vector<double> v = SplitNumbers(text, where);
    if (v.size() != space.channels)
        throw CliError(kExitUsage, where + ": " + std::to_string(v.size()) + " values where " +
                                       SpaceName(space) + " has " + std::to_string(space.channels));
    std::vector<uint16_t> codes(space.channels);
    for (unsigned c = 0; c < space.channels; ++c) {
        const Range r = units == Units::Codes16 ? Range{0, 65535} : NaturalRange(space, c);
        if (v[c] < r.lo || v[c] > r.hi) {
            char text2[128];
            std::snprintf(text2, sizeof text2, "%s: value %g out of range %g to %g", where.c_str(),
                          v[c], r.lo, r.hi);
            throw CliError(kExitUsage, text2);
        }
        if (units == Units::Codes16 && v[c] != std::floor(v[c]))
            throw CliError(kExitUsage, where + ": 16-bit codes are whole numbers");
    }
    if (units == Units::Codes16) {
        for (unsigned c = 0; c < space.channels; ++c) codes[c] = uint16_t(v[c]);
    } else if (space.model == ColourModel::Lab) {
        IccEncodeLab16(v.data(), codes.data());
    } else {
        const bool percent = space.model == ColourModel::Cmyk || space.model == ColourModel::NColor;
        for (unsigned c = 0; c < space.channels; ++c)
            codes[c] = uint16_t(std::lround(v[c] * (percent ? 655.35 : 257.0)));
    }
    return codes;
}

std::string FormatColour(const uint16_t* codes, const PixelSpace& space, Units units) {
    std::string text;
    char number[32];
    double lab[3];
    if (units == Units::Natural && space.model == ColourModel::Lab) IccDecodeLab16(codes, lab);
    for (unsigned c = 0; c < space.channels; ++c) {
        if (units == Units::Codes16) {
            std::snprintf(number, sizeof number, "%u", unsigned(codes[c]));
        } else {
            double v;
            if (space.model == ColourModel::Lab)
                v = lab[c];
            else if (space.model == ColourModel::Cmyk || space.model == ColourModel::NColor)
                v = codes[c] / 655.35;
            else
                v = codes[c] / 257.0;
            std::snprintf(number, sizeof number, "%.2f", v);
        }
        if (c) text += ' ';
        text += number;
    }
    return text;
}
