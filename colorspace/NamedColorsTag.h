// Reading the ncl2 tag of a named-colours profile, shared by the ordered list
// (CNamedColorsArray) and the dictionary (CNamedColorsProfile).
//
// The tag: vendor flags, colour count and device coordinates per colour, a 32-byte prefix and
// suffix, then per colour a 32-byte name, three connection-space values and the device values.
// Bit 31 of the vendor flags says that every text of the tag is UTF-8; otherwise the texts are
// in the system's narrow code page. A text field need not hold a terminator: each is read up to
// its first zero byte or to its 32nd byte, whichever comes first.
#pragma once

#include <cstdint>
#include <string>

#include "icc/IccLayout.h"

// Device coordinates of a named colour: the ncl2 record allows at most 15, as many as the
// largest device colour space (FCLR) has channels.
inline constexpr int kMaxNamedColorDeviceChannels = 15;
// Connection-space values at the start of every named-colour pixel.
inline constexpr int kNamedColorPcsValues = 3;
// Vendor flag bit: the tag's texts are UTF-8.
inline constexpr uint32_t kNamedColorUtf8Flag = 0x80000000u;

class CIccProfileRead;

class CNamedColorsTag {
public:
    // The ncl2 tag of `profile`. False when the profile has none, or when it is not an ncl2
    // record that fits its block with at most kMaxNamedColorDeviceChannels device values: such
    // a tag is treated as absent.
    bool Read(CIccProfileRead& profile);
    // The same for a tag block in host order of `size` bytes. The object reads from the block
    // (or the profile's) on each call below, so the block must outlive those calls.
    bool Read(const void* block, uint64_t size);

    // Device values per colour, 0 to kMaxNamedColorDeviceChannels.
    int DeviceChannels() const { return static_cast<int>(m_rec.deviceCoords); }
    // Colours in the tag.
    uint32_t Count() const { return m_rec.count; }
    bool IsUtf8() const { return (m_rec.vendorFlag & kNamedColorUtf8Flag) != 0; }
    std::wstring Prefix() const;
    std::wstring Suffix() const;
    // Name of colour `i` (below Count()).
    std::wstring Name(uint32_t i) const;
    // Writes the DeviceChannels() + 3 values of colour `i`: connection space, then device.
    void Pixel(uint32_t i, unsigned short* pixel) const;

private:
    std::wstring Text(uint64_t offset) const;

    IccLayout::Span m_span;
    IccLayout::NamedColor2Record m_rec;
};
