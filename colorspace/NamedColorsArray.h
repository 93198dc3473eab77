// The ordered list view of a named-colours profile, used when such a profile is edited or
// compared: every entry of the ncl2 tag in tag order, duplicates included, with an MD5 over the
// content by which two lists are recognised as equal.
//
// A pixel is n + 3 unsigned 16-bit values: three connection-space values, then n device values,
// n being nPrimCols().
#pragma once

#include <string>
#include <vector>

#include "icc/IccRecords.h"

class CUserSettingsMgr;

// The D50 white as s15Fixed16 numbers: the media white until a profile gives one.
inline constexpr icXYZNumber kNamedColorsD50White = {63189, 65536, 54060};

// One colour of the list: its name and its pixel. The element owns its pixel; a copy has a
// buffer of its own of the same length.
class CItemNameDevPixel {
public:
    CItemNameDevPixel() = default;
    // A copy of the `length` values at `pixel` (none for a null pointer).
    CItemNameDevPixel(std::wstring name, const unsigned short* pixel, int length);

    // The pixel; null when it has no values.
    unsigned short* pDevPixel() { return m_DevPixel.empty() ? nullptr : m_DevPixel.data(); }
    const unsigned short* pDevPixel() const {
        return m_DevPixel.empty() ? nullptr : m_DevPixel.data();
    }
    int PixelLength() const { return static_cast<int>(m_DevPixel.size()); }

    std::wstring m_sName;
    std::vector<unsigned short> m_DevPixel;
};

// The framework's growable array of elements, with the fields of a named-colours profile.
// Index operations throw CInvalidArgException for an index outside the array, as the
// framework's array does.
class CNamedColorsArray {
public:
    CNamedColorsArray() = default;
    // Copy and assignment take all fields and a copy of every element.
    CNamedColorsArray(const CNamedColorsArray&) = default;
    CNamedColorsArray& operator=(const CNamedColorsArray&) = default;
    virtual ~CNamedColorsArray() = default;

    // ---- the array
    int GetSize() const { return static_cast<int>(m_items.size()); }
    int GetCount() const { return GetSize(); }
    int GetUpperBound() const { return GetSize() - 1; }
    bool IsEmpty() const { return m_items.empty(); }
    // New elements are empty; elements beyond `size` go. A negative size throws.
    void SetSize(int size);
    const CItemNameDevPixel& GetAt(int index) const;
    CItemNameDevPixel& ElementAt(int index);
    const CItemNameDevPixel& operator[](int index) const { return GetAt(index); }
    CItemNameDevPixel& operator[](int index) { return ElementAt(index); }
    void SetAt(int index, const CItemNameDevPixel& item);
    // Sets element `index`, growing the array with empty elements to reach it.
    void SetAtGrow(int index, const CItemNameDevPixel& item);
    // Appends; answers the new element's index.
    int Add(const CItemNameDevPixel& item);
    // Appends copies of the other array's elements; answers the index of the first of them.
    int Append(const CNamedColorsArray& other);
    // Replaces the elements (not the fields) by copies of the other array's.
    void Copy(const CNamedColorsArray& other);
    // Inserts `count` copies of `item` before `index` (at most GetSize()).
    void InsertAt(int index, const CItemNameDevPixel& item, int count = 1);
    void RemoveAt(int index, int count = 1);
    void RemoveAll() { m_items.clear(); }

    // ---- the profile
    // Reads the profile at `path`: media white, device colour space and n from its header and
    // tags, and, when it has a readable ncl2 tag, every entry of it in order. 1 exactly if it
    // has that tag; 0 if it has none or the file cannot be loaded (the content then stays as it
    // was). Whenever the file loads, the MD5 text is computed afresh, tag or no tag.
    int LoadFromProfile(const wchar_t* path, CUserSettingsMgr* usm);

    // The MD5 text stored by the last load.
    const std::wstring& GetCalculatedMD5String() const { return m_sCalculatedMD5; }
    // The MD5 text of the content now, not stored: n, media white, device colour space, prefix
    // and suffix, then every element's name and pixel. Names of files and of the base printer
    // profile do not enter it.
    std::wstring CalcMD5String() const;

    const std::wstring& GetBasePrinterProfileName() const { return m_sBasePrinterProfileName; }
    void SetBasePrinterProfileName(const wchar_t* name) {
        m_sBasePrinterProfileName = name ? name : L"";
    }
    int nPrimCols() const { return m_nPrimCols; }
    icColorSpaceSignature DeviceColorSpaceSignature() const { return m_eDeviceColorSpace; }
    const icXYZNumber& GetMediaWhite() const { return m_MediaWhite; }
    const std::wstring& GetPrefix() const { return m_sPrefix; }
    const std::wstring& GetSuffix() const { return m_sSuffix; }
    // File name, without its folder, of the profile of the last load that found the tag.
    const std::wstring& GetFileName() const { return m_sFileName; }

private:
    std::vector<CItemNameDevPixel> m_items;

    int m_nPrimCols = 0;
    std::wstring m_sBasePrinterProfileName;
    icXYZNumber m_MediaWhite = kNamedColorsD50White;
    icColorSpaceSignature m_eDeviceColorSpace = icColorSpaceSignature(-1); // none
    std::wstring m_sPrefix;
    std::wstring m_sSuffix;
    std::wstring m_sFileName;
    std::wstring m_sCalculatedMD5;
};
