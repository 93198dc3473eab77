// ICC colour-space signatures as the native link compares them, and the groups it tests for.
#pragma once

#include <cstdint>

constexpr unsigned LinkSig(const char (&s)[5]) {
    return (unsigned(uint8_t(s[0])) << 24) | (unsigned(uint8_t(s[1])) << 16) |
           (unsigned(uint8_t(s[2])) << 8) | unsigned(uint8_t(s[3]));
}

inline constexpr unsigned kSigRgb = LinkSig("RGB "), kSigCmyk = LinkSig("CMYK"),
                          kSigLab = LinkSig("Lab "), kSigXyz = LinkSig("XYZ "),
                          kSigGray = LinkSig("GRAY"), kSigGamut = LinkSig("gamt");

inline bool IsPcsSpace(unsigned s) {
    return s == kSigLab || s == kSigXyz;
}

// n-colour spaces of 5 to 15 colours ('5CLR'..'9CLR', 'ACLR'..'FCLR').
inline bool IsNClrSpace5To15(unsigned s) {
    const unsigned lead = s >> 24;
    return (s & 0x00FFFFFFu) == (LinkSig("0CLR") & 0x00FFFFFFu) &&
           ((lead >= '5' && lead <= '9') || (lead >= 'A' && lead <= 'F'));
}

// The device spaces between which a missing table is bridged by copying channels: CMYK,
// 4CLR and 5CLR to FCLR.
inline bool IsBridgeableDeviceSpace(unsigned s) {
    return s == kSigCmyk || s == LinkSig("4CLR") || IsNClrSpace5To15(s);
}
