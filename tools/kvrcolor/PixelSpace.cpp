#include "PixelSpace.h"

#include "colorlink/MdlColorLink.h"
#include "icc/IccRecords.h"

PixelSpace RgbSpace() {
    return {ColourModel::Rgb, 3};
}
PixelSpace CmykSpace() {
    return {ColourModel::Cmyk, 4};
}
PixelSpace LabSpace() {
    return {ColourModel::Lab, 3};
}
PixelSpace GraySpace() {
    return {ColourModel::Gray, 1};
}
PixelSpace GamutSpace() {
    return {ColourModel::Gamut, 1};
}
PixelSpace NColorSpace(unsigned inks) {
    return {ColourModel::NColor, inks};
}

unsigned LinkFormat(const PixelSpace& space) {
    switch (space.model) {
    case ColourModel::Rgb:
        return CMdlColorLink::LinkFmtRgb;
    case ColourModel::Cmyk:
        return CMdlColorLink::LinkFmtCmyk;
    case ColourModel::Lab:
        return CMdlColorLink::LinkFmtLab;
    case ColourModel::Gray:
        return CMdlColorLink::LinkFmtGray;
    case ColourModel::NColor:
        return CMdlColorLink::LinkFmtNColor;
    case ColourModel::Gamut:
        return CMdlColorLink::LinkFmtGamut;
    }
    return 0;
}

std::string SpaceName(const PixelSpace& space) {
    switch (space.model) {
    case ColourModel::Rgb:
        return "RGB";
    case ColourModel::Cmyk:
        return "CMYK";
    case ColourModel::Lab:
        return "Lab";
    case ColourModel::Gray:
        return "grey";
    case ColourModel::NColor:
        return std::to_string(space.channels) + "-colour";
    case ColourModel::Gamut:
        return "gamut";
    }
    return "?";
}

std::optional<PixelSpace> SpaceOfSignature(uint32_t sig) {
    switch (sig) {
    case icSigRgbData:
        return RgbSpace();
    case icSigCmykData:
        return CmykSpace();
    case icSigGrayData:
        return GraySpace();
    case icSigLabData:
    case icSigXYZData:
        return LabSpace();
    default:
        break;
    }
    // 2CLR to FCLR: the channel count is the signature's.
    const unsigned n = GetChannelCountOfSignature(sig, false);
    if (n >= 2 && (sig & 0x00FFFFFFu) == (MakeIccSignature("2CLR") & 0x00FFFFFFu))
        return NColorSpace(n);
    return std::nullopt;
}

uint32_t SignatureOfSpace(const PixelSpace& space) {
    switch (space.model) {
    case ColourModel::Rgb:
        return icSigRgbData;
    case ColourModel::Cmyk:
        return icSigCmykData;
    case ColourModel::Lab:
        return icSigLabData;
    case ColourModel::Gray:
    case ColourModel::Gamut:
        return icSigGrayData;
    case ColourModel::NColor: {
        static const char digits[] = "0123456789ABCDEF";
        const unsigned n = space.channels < 16 ? space.channels : 15;
        return (uint32_t(uint8_t(digits[n])) << 24) | (MakeIccSignature("2CLR") & 0x00FFFFFFu);
    }
    }
    return 0;
}

std::string SigText(uint32_t sig) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((sig >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? c : '?';
    }
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}
