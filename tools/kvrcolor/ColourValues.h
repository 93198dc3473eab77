// Colour values as a person types and reads them, and the link's 16-bit codes.
//
// Natural units: RGB and grey 0-255; CMYK and n-colour inks in percent 0-100; Lab with L 0-100
// and a, b -128 to 127.99 (the range of the link's 16-bit Lab); the one-channel gamut answer
// 0-255 like grey. Codes: 0-65535 in every space (RGB 255 = 65535, ink 100 % = 65535, Lab in
// the version-2 encoding of the profiles: L 100 = 0xFF00, a and b 0 = 0x8000).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PixelSpace.h"

enum class Units { Natural, Codes16 };

// The numbers of one colour: separated by commas and/or white space. Throws CliError (usage),
// prefixed by `where`, for text that is not a number, a wrong count, or a value out of range.
std::vector<uint16_t> ParseColour(const std::string& text, const PixelSpace& space, Units units,
                                  const std::string& where);
// One colour of link codes as text: numbers separated by single spaces; natural units with two
// decimals, codes as integers.
std::string FormatColour(const uint16_t* codes, const PixelSpace& space, Units units);
