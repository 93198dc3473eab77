#include "colorspace/NamedColorsProfile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <vector>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "colorspace/NamedColorsTag.h"
#include "icc/IccProfileUse.h"

IMPLEMENT_DYNAMIC(CNamedColorsProfile, CMapNameToDevPixel)

namespace {

// Text tags of the profile's maker hold their text from offset 8, behind the type signature
// and the reserved word.
constexpr uint32_t kPrivateTextAt = 8;

// The 8-bit text of tag `sig` from offset 8 up to its terminator or the end of the block; false
// when the profile has no such tag.
bool PrivateText(CIccProfileRead& profile, uint32_t sig, std::string& text) {
    uint32_t size = 0;
    const auto* block = reinterpret_cast<const char*>(profile.FindTagData(sig, nullptr, &size));
    if (!block) return false;
    text.clear();
    if (size <= kPrivateTextAt) return true;
    const char* start = block + kPrivateTextAt;
    const size_t available = size - kPrivateTextAt;
    const void* end = std::memchr(start, 0, available);
    text.assign(start, end ? size_t(static_cast<const char*>(end) - start) : available);
    return true;
}

// The intent of a line "RenderingIntent=<number>", read as the format "RenderingIntent=%d"
// reads it: the literal from the first character, then optional white space, a sign and
// digits; anything behind them is ignored. False when the line does not match, and for a
// number beyond the range of int.
bool ScanRenderingIntent(const std::wstring& line, int& intent) {
    static constexpr std::wstring_view kKey = L"RenderingIntent=";
    if (line.compare(0, kKey.size(), kKey) != 0) return false;
    const wchar_t* number = line.c_str() + kKey.size();
    wchar_t* end = nullptr;
    errno = 0;
    const long v = std::wcstol(number, &end, 10);
    if (end == number || errno == ERANGE || v < INT_MIN || v > INT_MAX) return false;
    intent = static_cast<int>(v);
    return true;
}

// White space that CheckName trims: blank, tab, line feed, vertical tab, form feed, return.
constexpr std::wstring_view kWhiteSpace = L" \t\n\v\f\r";

} // namespace

CNamedColorsProfile::CNamedColorsProfile(const CNamedColorsProfile& other)
    : CMapNameToDevPixel(), INamedColorsLookup(), m_nPrimCols(other.m_nPrimCols),
      m_sBasePrinterProfileName(other.m_sBasePrinterProfileName), m_MediaWhite(other.m_MediaWhite),
      m_eDeviceColorSpace(other.m_eDeviceColorSpace), m_sDescription(other.m_sDescription),
      m_nRenderingIntent(other.m_nRenderingIntent), m_sPrefix(other.m_sPrefix),
      m_sSuffix(other.m_sSuffix), m_sFileName(other.m_sFileName), m_bHasTvr5(other.m_bHasTvr5) {
    CopyColors(other);
}

CNamedColorsProfile::CNamedColorsProfile(const CNamedColorsArray& array, int renderingIntent,
                                         const std::wstring& description)
    : m_nPrimCols(array.nPrimCols()), m_sBasePrinterProfileName(array.GetBasePrinterProfileName()),
      m_MediaWhite(array.GetMediaWhite()), m_eDeviceColorSpace(array.DeviceColorSpaceSignature()),
      m_sDescription(description), m_nRenderingIntent(renderingIntent),
      m_sPrefix(array.GetPrefix()), m_sSuffix(array.GetSuffix()), m_sFileName(array.GetFileName()),
      m_bHasTvr5(0) {
    // Pixels are n + 3 long whatever the array holds; n is kept within what a pixel can be.
    m_nPrimCols = std::clamp(m_nPrimCols, 0, kMaxNamedColorDeviceChannels);
    for (int i = 0; i < array.GetSize(); ++i) {
        const CItemNameDevPixel& item = array[i];
        SetAt(item.m_sName, NewPixel(item.pDevPixel(), item.PixelLength()));
    }
}

CNamedColorsProfile& CNamedColorsProfile::operator=(const CNamedColorsProfile& other) {
    if (&other == this) return *this;
    // Media white, description and file name stay the target's, by design of this assignment.
    m_nPrimCols = other.m_nPrimCols;
    m_sBasePrinterProfileName = other.m_sBasePrinterProfileName;
    m_nRenderingIntent = other.m_nRenderingIntent;
    m_sPrefix = other.m_sPrefix;
    m_sSuffix = other.m_sSuffix;
    m_bHasTvr5 = other.m_bHasTvr5;
    m_eDeviceColorSpace = other.m_eDeviceColorSpace;
    CopyColors(other);
    return *this;
}

CNamedColorsProfile::~CNamedColorsProfile() = default;

void CNamedColorsProfile::CopyColors(const CNamedColorsProfile& other) {
    RemoveAll();
    const int values = other.m_nPrimCols + kNamedColorPcsValues;
    for (const std::wstring& name : other.Names()) Add(name, NewPixel(other.Find(name), values));
}

CMapNameToDevPixel::Pixel CNamedColorsProfile::NewPixel(const unsigned short* source,
                                                        int values) const {
    const int length = m_nPrimCols + kNamedColorPcsValues;
    Pixel pixel = std::make_unique<unsigned short[]>(size_t(length)); // zero-filled
    if (source && values > 0) std::copy_n(source, std::min(values, length), pixel.get());
    return pixel;
}

int CNamedColorsProfile::LoadFromProfile(const wchar_t* path, CUserSettingsMgr* usm) {
    m_sFileName.clear();
    if (!path) return 0;
    CIccProfileUse profile(usm);
    if (!profile.Open(path)) return 0;

    RemoveAll();
    icXYZNumber white;
    if (profile.GetMediaWhite(white)) m_MediaWhite = white;
    m_eDeviceColorSpace = profile.Header().colorSpace;
    m_nPrimCols = static_cast<int>(GetChannelCountOfSignature(m_eDeviceColorSpace));

    CNamedColorsTag tag;
    const bool hasTag = tag.Read(profile);
    if (hasTag) {
        m_nPrimCols = tag.DeviceChannels();
        m_sPrefix = tag.Prefix();
        m_sSuffix = tag.Suffix();
        const int values = m_nPrimCols + kNamedColorPcsValues;
        for (uint32_t i = 0; i < tag.Count(); ++i) {
            std::wstring name = tag.Name(i);
            if (Contains(name)) continue; // the first of names equal in any case wins
            Pixel pixel = std::make_unique<unsigned short[]>(size_t(values));
            tag.Pixel(i, pixel.get());
            Add(name, std::move(pixel));
        }
    }

    std::string text;
    if (PrivateText(profile, icSigTvr4Tag, text)) ReadTvr4(CodePageToWide(text));
    if (profile.FindTagData(icSigProfileDescriptionTag, nullptr))
        m_sDescription = profile.GetDescription();
    // Tvr6 (UTF-8) is the newer form of Tvr3 (narrow code page): it wins wherever it stands.
    if (PrivateText(profile, icSigTvr6Tag, text))
        m_sDescription = Utf8ToWide(text);
    else if (PrivateText(profile, icSigTvr3Tag, text))
        m_sDescription = CodePageToWide(text);
    if (profile.FindTagData(icSigTvr5Tag, nullptr)) m_bHasTvr5 = 1;

    if (hasTag) m_sFileName = SplitFileName(path);
    return hasTag ? 1 : 0;
}

void CNamedColorsProfile::ReadTvr4(const std::wstring& text) {
    // Lines end at each line feed; empty lines count.
    const size_t firstEnd = text.find(L'\n');
    m_sBasePrinterProfileName = text.substr(0, firstEnd);
    if (firstEnd == std::wstring::npos) return;
    const size_t secondEnd = text.find(L'\n', firstEnd + 1);
    const std::wstring second =
        text.substr(firstEnd + 1, secondEnd == std::wstring::npos ? std::wstring::npos
                                                                  : secondEnd - firstEnd - 1);
    ScanRenderingIntent(second, m_nRenderingIntent);
}

int CNamedColorsProfile::LookupColorName(const wchar_t* name, unsigned short*& pixel) {
    return LookupWithPrefixAndSuffix(name, pixel);
}

int CNamedColorsProfile::LookupWithPrefixAndSuffix(const wchar_t* name,
                                                   unsigned short*& pixel) const {
    if (!name) return 0;
    std::wstring_view rest(name);
    if (rest.size() < m_sPrefix.size() ||
        !EqualsNoCase(rest.substr(0, m_sPrefix.size()), m_sPrefix))
        return 0;
    rest.remove_prefix(m_sPrefix.size());
    if (rest.size() < m_sSuffix.size() ||
        !EqualsNoCase(rest.substr(rest.size() - m_sSuffix.size()), m_sSuffix))
        return 0;
    rest.remove_suffix(m_sSuffix.size());
    unsigned short* found = Find(rest);
    if (!found) return 0;
    pixel = found;
    return 1;
}

int CNamedColorsProfile::SetPrimCols(int n, int dropUsedChannels) {
    if (n < 0 || n > kMaxNamedColorDeviceChannels) return 0;
    // A dictionary whose count is 0 but which holds colours (an ncl2 tag of connection-space
    // values only) is grown like any other, so that every pixel stays n + 3 values long.
    if (n == m_nPrimCols || IsEmpty()) {
        m_nPrimCols = n;
        return 1;
    }
    const int oldValues = m_nPrimCols + kNamedColorPcsValues;
    const bool shrinking = n < m_nPrimCols;
    // Whether a pixel has a non-zero device value at index n or above.
    auto usesDropped = [&](const unsigned short* pixel) {
        return std::any_of(pixel + kNamedColorPcsValues + n, pixel + oldValues,
                           [](unsigned short v) { return v != 0; });
    };
    bool lost = false;
    if (shrinking) {
        for (const std::wstring& name : Names())
            if (usesDropped(Find(name))) {
                lost = true;
                break;
            }
        if (lost && !dropUsedChannels) return 0;
    }
    const int newValues = n + kNamedColorPcsValues;
    const std::vector<std::wstring> names(Names().begin(), Names().end());
    for (const std::wstring& name : names) {
        const unsigned short* old = Find(name);
        if (shrinking && usesDropped(old)) {
            RemoveKey(name);
            continue;
        }
        Pixel pixel = std::make_unique<unsigned short[]>(size_t(newValues)); // zero-filled
        std::copy_n(old, std::min(oldValues, newValues), pixel.get());
        SetAt(name, std::move(pixel));
    }
    m_nPrimCols = n;
    return lost ? 0 : 1;
}

int CNamedColorsProfile::CheckName(std::wstring& name) {
    const size_t first = name.find_first_not_of(kWhiteSpace);
    if (first == std::wstring::npos) {
        name.clear();
    } else {
        const size_t last = name.find_last_not_of(kWhiteSpace);
        name = name.substr(first, last - first + 1);
    }
    if (name.size() <= size_t(kMaxNameLength)) return 1;
    name.resize(size_t(kMaxNameLength));
    return 0;
}
