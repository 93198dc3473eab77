#include "colorlink/ColorLink.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/IniEntries.h"
#include "base/Settings.h"

int CColorLink::s_nGrid3 = 0;
int CColorLink::s_nGrid4 = 0;
CMft_16* CColorLink::s_pCmykToRgb = nullptr;
int CColorLink::s_nListCount = 0;
CMft_16* CColorLink::s_pCmykToLab = nullptr;
CMft_16* CColorLink::s_pRgbToLab = nullptr;
int CColorLink::s_nLinkCount = 0;

CColorTag::~CColorTag() = default;
CColorLink::CColorTagList::CColorTagList() = default;
CColorLink::CColorTagList::~CColorTagList() = default;

CColorLink::CColorLink(CUserSettingsMgr* settings) : pSettings(settings) {
    // The grid sizes come from the process-wide RIP settings, not from the caller's settings.
    // A configured 0 stays 0 and is simply read again by the next link.
    if (s_nGrid3 == 0) s_nGrid3 = CRipsIniFile::Instance().GetInt(IniClpColorLink3);
    if (s_nGrid4 == 0) s_nGrid4 = CRipsIniFile::Instance().GetInt(IniClpColorLink4);
}

CColorLink::~CColorLink() = default;

int CColorLink::AddProfile(const wchar_t*, int, enmRenderingIntent) {
    // Temporary limit: this build has no profile reader behind the native link yet, so every
    // profile counts as one that cannot be opened. The chain stays empty.
    (void)pSettings;
    nLastError = LinkErrOpenProfile;
    return 0;
}

namespace {
constexpr unsigned Sig(const char (&s)[5]) {
    return (unsigned(uint8_t(s[0])) << 24) | (unsigned(uint8_t(s[1])) << 16) |
           (unsigned(uint8_t(s[2])) << 8) | unsigned(uint8_t(s[3]));
}
constexpr unsigned kSigRgb = Sig("RGB "), kSigCmyk = Sig("CMYK"), kSigLab = Sig("Lab "),
                   kSigXyz = Sig("XYZ "), kSigGray = Sig("GRAY"), kSigGamut = Sig("gamt");

// The n-colour spaces accepted as LinkFmtNColor output: 5 to 12 colours. Spaces of 2, 3, 4,
// 13, 14 and 15 colours are deliberately not among them.
bool IsNColorOutputSpace(unsigned space) {
    constexpr unsigned kSpaces[] = {Sig("5CLR"), Sig("6CLR"), Sig("7CLR"), Sig("8CLR"),
                                    Sig("9CLR"), Sig("ACLR"), Sig("BCLR"), Sig("CCLR")};
    for (unsigned s : kSpaces)
        if (space == s) return true;
    return false;
}
} // namespace

bool CColorLink::CheckFormats(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut,
                              SLinkFlags& flags) const {
    // Output side. A link to which no profile was ever added, with equal formats and counts,
    // starts as the identity.
    bool ok =
        FirstSpace == kNoSpace && LastSpace == kNoSpace && inFormat == outFormat && nIn == nOut;
    switch (outFormat) {
    case LinkFmtRgb:
        if (LastSpace == kSigRgb) ok = true;
        break;
    case LinkFmtCmyk:
        if (LastSpace == kSigCmyk) ok = true;
        break;
    case LinkFmtGamut:
        if (LastSpace == kSigGamut) ok = true;
        if (LastSpace == kSigRgb) ok = flags.GamutOfRgb = true;
        break;
    case LinkFmtNColor:
        if (IsNColorOutputSpace(LastSpace)) ok = true;
        break;
    case LinkFmtLab:
        if (LastSpace == kSigLab) ok = true;
        if (LastSpace == kSigXyz) ok = flags.OutIsXYZ = true;
        if (LastSpace == kSigCmyk) {
            // Device CMYK to Lab goes through a built-in table chosen by the source space.
            if (FirstSpace == kSigCmyk)
                ok = flags.UseCmykToLab = true;
            else if (FirstSpace == kSigRgb)
                ok = flags.UseRgbToLab = true;
            else
                ok = false;
        }
        break;
    default:
        break; // gray and anything else: ok stays as it is
    }
    // Input side, on the first step's space.
    switch (inFormat) {
    case LinkFmtRgb:
        ok = ok && FirstSpace == kSigRgb;
        break;
    case LinkFmtCmyk:
        ok = ok && FirstSpace == kSigCmyk;
        break;
    case LinkFmtLab:
        if (FirstSpace == kSigXyz)
            flags.InIsXYZ = true;
        else if (FirstSpace != kSigLab)
            ok = false;
        break;
    case LinkFmtGray:
        ok = ok && FirstSpace == kSigGray;
        break;
    default:
        break; // n-colour and gamut sources are taken on trust
    }
    return ok;
}

int CColorLink::CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) {
    SLinkFlags flags;
    bool ok = CheckFormats(inFormat, nIn, outFormat, nOut, flags);
    // The counts are stored whatever the outcome; the pixel loops step by them.
    m_nInChannels = nIn;
    m_nOutChannels = nOut;
    // Temporary limit: this build keeps no chain (see AddProfile), so every link is built from
    // an empty list: the identity link, or a failure without an error number.
    if (ok) {
        m_InFormat = inFormat;
        m_OutFormat = outFormat;
    }
    return ok ? 1 : 0;
}

void CColorLink::SetTable16(std::unique_ptr<CFunc_16TabBaseMft> table) {
    nTabOutChannels = table ? int(table->outputChan()) : 0;
    pFunc16 = std::move(table);
}

void CColorLink::TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) {
    if (!pFunc16) {
        // No table: a link of equal channel counts copies, any other does nothing.
        if (m_nInChannels == m_nOutChannels)
            std::memcpy(dst, src, size_t(count) * m_nInChannels * sizeof(unsigned short));
        return;
    }
    // The table reads and writes the caller's samples directly; its result is not used.
    const CFunc_16& f = *pFunc16;
    for (unsigned k = 0; k < count; ++k, src += m_nInChannels, dst += m_nOutChannels)
        f.Trn(src, dst);
}

void CColorLink::TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) {
    if (!pFunc8 && !pFunc16) {
        if (m_nInChannels == m_nOutChannels) std::memcpy(dst, src, size_t(count) * m_nInChannels);
        return;
    }
    if (int(m_nOutChannels) > nTabOutChannels) std::memset(dst, 0, size_t(count) * m_nOutChannels);
    // Channels the table does not write read as 0, which is what the fill above intends.
    unsigned short in[kMaxPixelChannels] = {};
    unsigned short out[kMaxPixelChannels] = {};
    // The work buffers hold 16 channels a side; wider callers' samples beyond are not touched.
    const unsigned nIn = std::min(m_nInChannels, kMaxPixelChannels);
    const unsigned nOut = std::min(m_nOutChannels, kMaxPixelChannels);
    for (unsigned k = 0; k < count; ++k, src += m_nInChannels, dst += m_nOutChannels) {
        if (pFunc8) {
            pFunc8->Trn(src, dst);
            continue;
        }
        // 8 to 16 bits is x * 257, so 255 reaches the table as 65535; back is the high byte.
        for (unsigned c = 0; c < nIn; ++c) in[c] = uint16_t(src[c] * 257u);
        pFunc16->Trn(in, out);
        for (unsigned c = 0; c < nOut; ++c) dst[c] = uint8_t(out[c] >> 8);
    }
}

void CColorLink::TrnBgrPixels8(const unsigned char* src, unsigned char*, unsigned count) {
    // Only the ICM back-end gives this operation an effect. Here the table is evaluated on the
    // reversed bytes (scaled by 256, not 257) and the result is dropped; the destination is
    // never written. Meant for a built link of three inputs.
    unsigned short in[3];
    unsigned short out[kMaxPixelChannels];
    for (unsigned k = 0; k < count; ++k, src += 3) {
        in[0] = uint16_t(src[2] << 8);
        in[1] = uint16_t(src[1] << 8);
        in[2] = uint16_t(src[0] << 8);
        pFunc16->Trn(in, out);
    }
}
