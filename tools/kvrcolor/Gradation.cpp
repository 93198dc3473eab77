#include "Gradation.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "CliError.h"

std::vector<std::vector<uint16_t>> ReadGradation(const std::string& path, unsigned channels) {
    std::ifstream in(path);
    if (!in) throw CliError(kExitInput, path + ": gradation file cannot be read");
    std::vector<std::vector<uint16_t>> curves;
    std::string line;
    for (size_t number = 1; std::getline(in, line); ++number) {
        const auto bad = [&](const std::string& why) {
            return CliError(kExitInput, path + " line " + std::to_string(number) + ": " + why);
        };
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        std::vector<uint16_t> curve;
        const char* p = line.c_str();
        while (true) {
            while (*p == ' ' || *p == '\t' || *p == ',' || *p == '\r') ++p;
            if (!*p) break;
            if (*p < '0' || *p > '9') throw bad("not a number 0-65535");
            char* end = nullptr;
            errno = 0;
            const unsigned long v = std::strtoul(p, &end, 10);
            if (errno || v > 65535 ||
                (*end && *end != ' ' && *end != '\t' && *end != ',' && *end != '\r'))
                throw bad("not a number 0-65535");
            if (curve.size() == kGradationEntries)
                throw bad("more than " + std::to_string(kGradationEntries) + " numbers");
            curve.push_back(uint16_t(v));
            p = end;
        }
        if (curve.size() != kGradationEntries)
            throw bad(std::to_string(curve.size()) + " numbers; a curve has " +
                      std::to_string(kGradationEntries));
        if (curves.size() == channels)
            throw bad("more curves than the " + std::to_string(channels) + " output channels");
        curves.push_back(std::move(curve));
    }
    if (in.bad()) throw CliError(kExitInput, path + ": read error");
    if (curves.size() != channels)
        throw CliError(kExitInput, path + ": " + std::to_string(curves.size()) +
                                       " curves; the output has " + std::to_string(channels) +
                                       " channels, one curve each");
    return curves;
}
