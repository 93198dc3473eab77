// The colour part of a pixel as the tool sees it: which model and how many channels. It maps to
// the link's pixel formats and to ICC colour-space signatures.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

enum class ColourModel { Rgb, Cmyk, Lab, Gray, NColor, Gamut };

struct PixelSpace {
    ColourModel model = ColourModel::Rgb;
    unsigned channels = 3;

    bool operator==(const PixelSpace&) const = default;
};

PixelSpace RgbSpace();
PixelSpace CmykSpace();
PixelSpace LabSpace();
PixelSpace GraySpace();
PixelSpace GamutSpace();
// n inks of a device without a fixed colour model (2 to 15).
PixelSpace NColorSpace(unsigned inks);

// The LinkFmt* value of CMdlColorLink::CreateLink.
unsigned LinkFormat(const PixelSpace& space);
// "RGB", "CMYK", "Lab", "grey", "6-colour", "gamut".
std::string SpaceName(const PixelSpace& space);

// The space of device or connection data of an ICC colour-space signature: RGB, CMYK, GRAY,
// Lab and XYZ (both as Lab, the form in which the connection space meets the link), nCLR.
// Empty for every other signature.
std::optional<PixelSpace> SpaceOfSignature(uint32_t sig);
// The ICC signature that stands for a space in a profile header (Lab for the gamut answer's
// neighbours is not needed; the gamut answer has none and gives GRAY, its one channel).
uint32_t SignatureOfSpace(const PixelSpace& space);
// Four characters of a signature, trailing blanks removed; unprintable bytes as '?'.
std::string SigText(uint32_t sig);
