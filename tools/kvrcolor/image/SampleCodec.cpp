#include "SampleCodec.h"

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
