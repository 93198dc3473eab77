#include "SampleCodec.h"

#include <algorithm>

uint16_t FileLToLink16(uint16_t l) {
    return uint16_t((uint32_t(l) * 65280u + 32767u) / 65535u);
}

uint16_t LinkLToFile16(uint16_t l) {
    const uint32_t v = (uint32_t(l) * 65535u + 32640u) / 65280u;
    return uint16_t(v > 65535u ? 65535u : v);
}

void DecodeToLink(const ImageInfo& info, uint8_t* s, size_t pixels) {
    if (info.minIsWhite)
        for (size_t i = 0; i < pixels; ++i) s[i] = uint8_t(255 - s[i]);
    if (info.lab == LabEncoding::CieLab)
        for (size_t i = 0; i < pixels; ++i) {
            s[3 * i + 1] ^= 0x80;
            s[3 * i + 2] ^= 0x80;
        }
}

void DecodeToLink(const ImageInfo& info, uint16_t* s, size_t pixels) {
    if (info.minIsWhite)
        for (size_t i = 0; i < pixels; ++i) s[i] = uint16_t(65535 - s[i]);
    if (info.lab == LabEncoding::None) return;
    const bool flip = info.lab == LabEncoding::CieLab;
    for (size_t i = 0; i < pixels; ++i) {
        s[3 * i] = FileLToLink16(s[3 * i]);
        if (flip) {
            s[3 * i + 1] ^= 0x8000;
            s[3 * i + 2] ^= 0x8000;
        }
    }
}

void EncodeFromLink(LabEncoding lab, uint8_t* s, size_t pixels) {
    if (lab != LabEncoding::CieLab) return;
    for (size_t i = 0; i < pixels; ++i) {
        s[3 * i + 1] ^= 0x80;
        s[3 * i + 2] ^= 0x80;
    }
}

void EncodeFromLink(LabEncoding lab, uint16_t* s, size_t pixels) {
    if (lab == LabEncoding::None) return;
    const bool flip = lab == LabEncoding::CieLab;
    for (size_t i = 0; i < pixels; ++i) {
        s[3 * i] = LinkLToFile16(s[3 * i]);
        if (flip) {
            s[3 * i + 1] ^= 0x8000;
            s[3 * i + 2] ^= 0x8000;
        }
    }
}

uint16_t WidenSample(uint8_t v, LabEncoding lab, unsigned channel) {
    if (lab != LabEncoding::None && (channel == 1 || channel == 2)) return uint16_t(v << 8);
    return uint16_t(v * 257u);
}

uint8_t NarrowSample(uint16_t v, LabEncoding lab, unsigned channel) {
    if (lab != LabEncoding::None && (channel == 1 || channel == 2)) {
        // CIELAB a and b are signed, ICCLAB's have their 0 at the middle code: both round to
        // the nearest whole unit within their range.
        if (lab == LabEncoding::CieLab) {
            const int s = int16_t(v);
            const int r = std::clamp((s + (s >= 0 ? 128 : -128)) / 256, -128, 127);
            return uint8_t(int8_t(r));
        }
        return uint8_t(std::min(255u, (v + 128u) >> 8));
    }
    return uint8_t((v * 255u + 32767u) / 65535u);
}

namespace {
template <class T> void UnassociateT(unsigned colours, unsigned extras, T* s, size_t pixels) {
    constexpr uint32_t kMax = T(~T(0));
    for (size_t p = 0; p < pixels; ++p, s += colours + extras) {
        const uint32_t a = s[colours];
        if (a == 0 || a == kMax) continue;
        for (unsigned c = 0; c < colours; ++c)
            s[c] = T(std::min<uint32_t>(kMax, (uint32_t(s[c]) * kMax + a / 2) / a));
    }
}
template <class T> void AssociateT(unsigned colours, unsigned extras, T* s, size_t pixels) {
    constexpr uint32_t kMax = T(~T(0));
    for (size_t p = 0; p < pixels; ++p, s += colours + extras) {
        const uint32_t a = s[colours];
        if (a == kMax) continue;
        for (unsigned c = 0; c < colours; ++c) s[c] = T((uint64_t(s[c]) * a + kMax / 2) / kMax);
    }
}
} // namespace

void Unassociate(unsigned colours, unsigned extras, uint8_t* s, size_t pixels) {
    UnassociateT(colours, extras, s, pixels);
}
void Unassociate(unsigned colours, unsigned extras, uint16_t* s, size_t pixels) {
    UnassociateT(colours, extras, s, pixels);
}
void Associate(unsigned colours, unsigned extras, uint8_t* s, size_t pixels) {
    AssociateT(colours, extras, s, pixels);
}
void Associate(unsigned colours, unsigned extras, uint16_t* s, size_t pixels) {
    AssociateT(colours, extras, s, pixels);
}
