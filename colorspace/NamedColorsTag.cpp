#include "colorspace/NamedColorsTag.h"

#include <cstring>
#include <string_view>

#include "base/WideString.h"
#include "icc/IccProfile.h"

namespace L = IccLayout;

bool CNamedColorsTag::Read(CIccProfileRead& profile) {
    uint32_t size = 0;
    const uint32_t* block = profile.FindTagData(icSigNamedColor2Tag, nullptr, &size);
    return block && Read(block, size);
}

bool CNamedColorsTag::Read(const void* block, uint64_t size) {
    m_span = L::Span(block, size, L::Order::Host);
    m_rec = L::NamedColor2Record{};
    uint32_t type = 0;
    if (!m_span.U32(L::kTypeAt, type) || type != icSigNamedColor2Type) return false;
    L::NamedColor2Record rec;
    if (!L::ReadNamedColor2(m_span, rec)) return false;
    if (rec.deviceCoords > uint32_t(kMaxNamedColorDeviceChannels)) return false;
    m_rec = rec;
    return true;
}

std::wstring CNamedColorsTag::Text(uint64_t offset) const {
    constexpr uint64_t kField = L::Ncl2::kAffixBytes; // = kRootNameBytes, checked below
    static_assert(L::Ncl2::kAffixBytes == L::Ncl2::kRootNameBytes);
    if (!m_span.Has(offset, kField)) return {};
    const char* field = reinterpret_cast<const char*>(m_span.At(offset));
    const void* zero = std::memchr(field, 0, kField);
    const size_t length = zero ? size_t(static_cast<const char*>(zero) - field) : kField;
    const std::string_view text(field, length);
    return IsUtf8() ? Utf8ToWide(text) : CodePageToWide(text);
}

std::wstring CNamedColorsTag::Prefix() const {
    return Text(L::Ncl2::kPrefixAt);
}

std::wstring CNamedColorsTag::Suffix() const {
    return Text(L::Ncl2::kSuffixAt);
}

std::wstring CNamedColorsTag::Name(uint32_t i) const {
    return Text(m_rec.entriesAt + uint64_t(i) * m_rec.entryBytes);
}

void CNamedColorsTag::Pixel(uint32_t i, unsigned short* pixel) const {
    const uint64_t values = kNamedColorPcsValues + uint64_t(m_rec.deviceCoords);
    const uint64_t at = m_rec.entriesAt + uint64_t(i) * m_rec.entryBytes + L::Ncl2::kRootNameBytes;
    for (uint64_t k = 0; k < values; ++k) {
        uint16_t v = 0; // an entry beyond the block (not one of Count()) reads as zero
        m_span.U16(at + 2 * k, v);
        pixel[k] = v;
    }
}
