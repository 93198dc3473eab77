#include "colorspace/NamedColorsArray.h"

#include <algorithm>

#include "base/Digest.h"
#include "base/Exception.h"
#include "base/PathUtil.h"
#include "colorspace/NamedColorsTag.h"
#include "icc/IccProfileUse.h"

namespace {

// The digest reads numbers and text in the byte order of the platform the format was made on
// (little-endian) and text as UTF-16, so that its value does not depend on the host.
void Put16(std::string& bytes, unsigned v) {
    bytes.push_back(char(v & 0xFF));
    bytes.push_back(char((v >> 8) & 0xFF));
}

void Put32(std::string& bytes, uint32_t v) {
    Put16(bytes, v & 0xFFFF);
    Put16(bytes, v >> 16);
}

void PutUtf16(std::string& bytes, const std::wstring& text) {
    for (const wchar_t wc : text) {
        const uint32_t c = static_cast<uint32_t>(wc);
        if (c > 0xFFFF && c <= 0x10FFFF) { // a surrogate pair
            Put16(bytes, 0xD800 + ((c - 0x10000) >> 10));
            Put16(bytes, 0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            Put16(bytes, c & 0xFFFF);
        }
    }
}

} // namespace

CItemNameDevPixel::CItemNameDevPixel(std::wstring name, const unsigned short* pixel, int length)
    : m_sName(std::move(name)) {
    if (pixel && length > 0) m_DevPixel.assign(pixel, pixel + length);
}

void CNamedColorsArray::SetSize(int size) {
    if (size < 0) AfxThrowInvalidArgException();
    m_items.resize(size_t(size));
}

const CItemNameDevPixel& CNamedColorsArray::GetAt(int index) const {
    if (index < 0 || index >= GetSize()) AfxThrowInvalidArgException();
    return m_items[size_t(index)];
}

CItemNameDevPixel& CNamedColorsArray::ElementAt(int index) {
    if (index < 0 || index >= GetSize()) AfxThrowInvalidArgException();
    return m_items[size_t(index)];
}

void CNamedColorsArray::SetAt(int index, const CItemNameDevPixel& item) {
    ElementAt(index) = item;
}

void CNamedColorsArray::SetAtGrow(int index, const CItemNameDevPixel& item) {
    if (index < 0) AfxThrowInvalidArgException();
    if (index >= GetSize()) m_items.resize(size_t(index) + 1);
    m_items[size_t(index)] = item;
}

int CNamedColorsArray::Add(const CItemNameDevPixel& item) {
    m_items.push_back(item);
    return GetUpperBound();
}

int CNamedColorsArray::Append(const CNamedColorsArray& other) {
    const int first = GetSize();
    if (&other == this) {
        const std::vector<CItemNameDevPixel> copy = m_items;
        m_items.insert(m_items.end(), copy.begin(), copy.end());
    } else {
        m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
    }
    return first;
}

void CNamedColorsArray::Copy(const CNamedColorsArray& other) {
    if (&other != this) m_items = other.m_items;
}

void CNamedColorsArray::InsertAt(int index, const CItemNameDevPixel& item, int count) {
    if (index < 0 || index > GetSize() || count < 0) AfxThrowInvalidArgException();
    const CItemNameDevPixel copy = item; // `item` may be an element of this array
    m_items.insert(m_items.begin() + index, size_t(count), copy);
}

void CNamedColorsArray::RemoveAt(int index, int count) {
    if (index < 0 || count < 0 || index > GetSize() || count > GetSize() - index)
        AfxThrowInvalidArgException();
    m_items.erase(m_items.begin() + index, m_items.begin() + index + count);
}

int CNamedColorsArray::LoadFromProfile(const wchar_t* path, CUserSettingsMgr* usm) {
    m_sFileName.clear();
    if (!path) return 0;
    CIccProfileUse profile(usm);
    if (!profile.Open(path)) return 0;

    icXYZNumber white;
    if (profile.GetMediaWhite(white)) m_MediaWhite = white;
    m_eDeviceColorSpace = profile.Header().colorSpace;
    m_nPrimCols = static_cast<int>(GetChannelCountOfSignature(m_eDeviceColorSpace));

    int result = 0;
    CNamedColorsTag tag;
    if (tag.Read(profile)) {
        m_nPrimCols = tag.DeviceChannels();
        m_sPrefix = tag.Prefix();
        m_sSuffix = tag.Suffix();
        const int values = m_nPrimCols + kNamedColorPcsValues;
        m_items.clear();
        m_items.resize(tag.Count());
        for (uint32_t i = 0; i < tag.Count(); ++i) {
            CItemNameDevPixel& item = m_items[i];
            item.m_sName = tag.Name(i);
            item.m_DevPixel.resize(size_t(values));
            tag.Pixel(i, item.m_DevPixel.data());
        }
        result = 1;
        m_sFileName = SplitFileName(path);
    }
    m_sCalculatedMD5 = CalcMD5String();
    return result;
}

std::wstring CNamedColorsArray::CalcMD5String() const {
    std::string bytes;
    Put32(bytes, static_cast<uint32_t>(m_nPrimCols));
    Put32(bytes, static_cast<uint32_t>(m_MediaWhite.X));
    Put32(bytes, static_cast<uint32_t>(m_MediaWhite.Y));
    Put32(bytes, static_cast<uint32_t>(m_MediaWhite.Z));
    Put32(bytes, m_eDeviceColorSpace);
    PutUtf16(bytes, m_sPrefix);
    PutUtf16(bytes, m_sSuffix);
    // Each pixel enters with n + 3 values; an element whose pixel was set to another length by
    // the caller enters with its values cut or padded with zeros to that length.
    const size_t values = size_t(std::max(m_nPrimCols, 0)) + kNamedColorPcsValues;
    for (const CItemNameDevPixel& item : m_items) {
        PutUtf16(bytes, item.m_sName);
        for (size_t k = 0; k < values; ++k)
            Put16(bytes, k < item.m_DevPixel.size() ? item.m_DevPixel[k] : 0);
    }
    CMD5Digest digest;
    digest.Update(bytes.data(), bytes.size());
    return digest.AsString();
}
