// Between the samples of a file and the samples the link takes and gives.
//
// Lab. The link speaks the ICC Lab of the profiles. In 8 bits: L 0..255 for 0..100, a and b
// with 0 at 128. In 16 bits: the version-2 encoding, L 100 at 0xFF00 and a and b with 0 at
// 0x8000, 256 codes a unit. The TIFF encodings map to it as follows:
//   CIELAB  8 bit: L as it stands; a and b are signed bytes, so the link's code is the byte
//                  plus 128 (the top bit flipped).
//   ICCLAB  8 bit: the same encoding as the link's; nothing changes.
//   CIELAB 16 bit: L 0..65535 for 0..100 becomes round(L * 65280 / 65535); a and b are signed
//                  16-bit with 256 codes a unit, so the link's code is the value plus 0x8000
//                  (the top bit flipped).
//   ICCLAB 16 bit: L as for CIELAB; a and b already have 0 at 0x8000 and 256 codes a unit.
// On the way out the same mappings run backwards; L = round(L * 65535 / 65280), limited to
// 65535, so that L 100 of the link is 65535 in the file.
//
// Grey with 0 as white (TIFF MINISWHITE) is inverted on the way in, because grey profiles
// take 0 as black.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageReader.h"

// In place, on `pixels` pixels of colour samples only (no extra channels).
void DecodeToLink(const ImageInfo& info, uint8_t* samples, size_t pixels);
void DecodeToLink(const ImageInfo& info, uint16_t* samples, size_t pixels);
// Lab pixels out of the link into the file's encoding `lab` (nothing for LabEncoding::None).
void EncodeFromLink(LabEncoding lab, uint8_t* samples, size_t pixels);
void EncodeFromLink(LabEncoding lab, uint16_t* samples, size_t pixels);

// The single conversions, for tests and for the loops above.
uint16_t FileLToLink16(uint16_t l);
uint16_t LinkLToFile16(uint16_t l);

// Depth changes of one sample at channel `channel` of its pixel: Lab a and b (channels 1 and 2
// of Lab) move by whole units, everything else spans the full range.
uint16_t WidenSample(uint8_t v, LabEncoding lab, unsigned channel);
uint8_t NarrowSample(uint16_t v, LabEncoding lab, unsigned channel);

// Associated (premultiplied) alpha: the `colours` colour samples of each pixel divided by, or
// multiplied with, the first of its `extras` extra samples. A colour of a pixel without any
// alpha stays as it is (there is nothing to undo).
void Unassociate(unsigned colours, unsigned extras, uint8_t* samples, size_t pixels);
void Unassociate(unsigned colours, unsigned extras, uint16_t* samples, size_t pixels);
void Associate(unsigned colours, unsigned extras, uint8_t* samples, size_t pixels);
void Associate(unsigned colours, unsigned extras, uint16_t* samples, size_t pixels);
