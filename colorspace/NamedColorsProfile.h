// The named-colour dictionary used while a job runs: a spot-colour name of the job is looked up
// and yields its pixel, three connection-space values followed by n device values.
//
// Typical use:
//
//     CNamedColorsProfile dict;
//     if (!dict.LoadFromProfile(L"/path/spots.icc", usm)) { /* no ncl2 tag, or no profile */ }
//     unsigned short* pixel = nullptr;
//     if (dict.LookupColorName(L"PANTONE 185 C", pixel)) { /* pixel[3 .. 3 + n) device */ }
//
// Names are unique without regard to case. A lookup expects the full name, the tag's prefix and
// suffix included, compares without regard to case, and tries nothing else: no second try
// without prefix or suffix, no trimming, no nearest match. Every pixel is n + 3 values long,
// n being nPrimCols(). A pixel handed out stays the dictionary's and is valid until the
// dictionary changes.
#pragma once

#include <string>

#include "colorspace/NamedColorsArray.h"
#include "colorspace/NamedColorsLookup.h"
#include "colorspace/NamedColorsMap.h"
#include "icc/IccRecords.h"

class CUserSettingsMgr;

class CNamedColorsProfile : public CMapNameToDevPixel, public INamedColorsLookup {
    DECLARE_DYNAMIC(CNamedColorsProfile)
public:
    // Rendering intent of the colours until the profile says otherwise: saturation, the intent
    // spot colours are made with.
    static constexpr int kDefaultRenderingIntent = 3;
    // Characters a colour name may have: the tag's name field holds 31 and a terminator.
    static constexpr int kMaxNameLength = 31;

    CNamedColorsProfile() = default;
    // Every field and a new pixel for each name.
    CNamedColorsProfile(const CNamedColorsProfile& other);
    // n, base printer profile name, media white, device colour space, prefix, suffix and file
    // name from the array, intent and description as given, Tvr5 flag clear. Every element is
    // inserted as a copy of n + 3 values; of elements whose names are equal in any case, the
    // last one's pixel stays, under the first one's spelling.
    CNamedColorsProfile(const CNamedColorsArray& array, int renderingIntent,
                        const std::wstring& description);
    // Not the same as the copy: takes n, base printer profile name, rendering intent, prefix,
    // suffix, Tvr5 flag and device colour space, and replaces all colours, but keeps this
    // object's media white, description and file name.
    CNamedColorsProfile& operator=(const CNamedColorsProfile& other);
    ~CNamedColorsProfile() override;

    // Reads the profile at `path`: colours of the ncl2 tag (the first of names equal in any
    // case wins), media white, device colour space and n, base printer profile name and
    // intent (Tvr4), description (desc, then Tvr6 or else Tvr3), the Tvr5 flag. 1 exactly if
    // the profile has a readable ncl2 tag. When the file cannot be loaded: 0, and the content
    // stays as it was (but the file name, which is cleared first).
    int LoadFromProfile(const wchar_t* path, CUserSettingsMgr* usm);

    // INamedColorsLookup
    int CountDevChannels() override { return m_nPrimCols; }
    // The same as LookupWithPrefixAndSuffix.
    int LookupColorName(const wchar_t* name, unsigned short*& pixel) override;

    // 1 and `pixel` set when `name` starts with the prefix and ends with the suffix (without
    // regard to case) and what lies between is in the dictionary; otherwise 0 and `pixel`
    // untouched.
    int LookupWithPrefixAndSuffix(const wchar_t* name, unsigned short*& pixel) const;

    int nPrimCols() const { return m_nPrimCols; }
    // Changes the device channels of every pixel to n: growing adds zero channels, shrinking
    // keeps the connection-space and the leading device values. When shrinking would drop a
    // non-zero device value: with dropUsedChannels 0 nothing changes; otherwise such colours
    // are removed. 1 if no colour was lost or blocked, else 0. 0 and no change for n outside
    // 0..15.
    int SetPrimCols(int n, int dropUsedChannels);

    // Trims white space on both sides; 1 if the rest has at most kMaxNameLength characters,
    // otherwise cuts it to them and answers 0.
    static int CheckName(std::wstring& name);

    const std::wstring& GetBasePrinterProfileName() const { return m_sBasePrinterProfileName; }
    void SetBasePrinterProfileName(const wchar_t* name) {
        m_sBasePrinterProfileName = name ? name : L"";
    }
    int GetRenderingIntent() const { return m_nRenderingIntent; }
    void SetRenderingIntent(int intent) { m_nRenderingIntent = intent; }
    icColorSpaceSignature DeviceColorSpaceSignature() const { return m_eDeviceColorSpace; }
    const icXYZNumber& GetMediaWhite() const { return m_MediaWhite; }
    const std::wstring& GetDescription() const { return m_sDescription; }
    const std::wstring& GetPrefix() const { return m_sPrefix; }
    const std::wstring& GetSuffix() const { return m_sSuffix; }
    // File name, without its folder, of the profile of the last load that found the tag.
    const std::wstring& GetFileName() const { return m_sFileName; }

protected:
    // Whether a loaded profile had the private tag Tvr5; for classes that know what the
    // writer of their profiles meant by it.
    int HasTvr5() const { return m_bHasTvr5; }

private:
    // Replaces all colours by copies of `other`'s.
    void CopyColors(const CNamedColorsProfile& other);
    // A new pixel of n + 3 values: `values` of `source`, the rest zero.
    Pixel NewPixel(const unsigned short* source, int values) const;
    // Base printer profile name and intent from the two lines of a Tvr4 text.
    void ReadTvr4(const std::wstring& text);

    int m_nPrimCols = 0;
    std::wstring m_sBasePrinterProfileName;
    icXYZNumber m_MediaWhite = kNamedColorsD50White;
    icColorSpaceSignature m_eDeviceColorSpace = icColorSpaceSignature(-1); // none
    std::wstring m_sDescription;
    int m_nRenderingIntent = kDefaultRenderingIntent;
    std::wstring m_sPrefix;
    std::wstring m_sSuffix;
    std::wstring m_sFileName;
    // Set when a loaded profile had the private tag Tvr5, whose meaning its writer decides; a
    // later load never clears it.
    int m_bHasTvr5 = 0;
};
