// ICC signatures and colour-space names as the tests write them.
#pragma once

#include <cstdint>

#include "icc/IccRecords.h"

namespace kvrtest {

// The signature of a four-character literal, at compile time.
inline constexpr uint32_t Sig(const char (&s)[5]) {
    return MakeIccSignature(s);
}

// The same for a text known only at run time (its first four characters).
inline uint32_t SigOf(const char* s) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
           (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}

// Short names of the colour spaces the tests use most.
inline constexpr uint32_t kRgb = icSigRgbData, kCmyk = icSigCmykData, kLab = icSigLabData,
                          kXyz = icSigXYZData, kGray = icSigGrayData;

} // namespace kvrtest
