#include "colorlink/icm/WinColorLink.h"

#include <cwchar>

#include "gridtable/BuiltInMft.h"
#include "icc/IccRecords.h"

namespace {

// The bitmap format of a link format on one side, or 0 when the side can't take it. The two
// sides differ only for four N-colour channels: CMYK order in, KYMC order out.
icm::BMFORMAT BmFormatOf(unsigned linkFormat, unsigned channels, bool input) {
    switch (linkFormat) {
    case CMdlColorLink::LinkFmtRgb:
        return icm::BM_BGRTRIPLETS;
    case CMdlColorLink::LinkFmtCmyk:
        return icm::BM_KYMCQUADS;
    case CMdlColorLink::LinkFmtLab:
        return icm::BM_LabTRIPLETS;
    case CMdlColorLink::LinkFmtGray:
        return icm::BM_G3CHTRIPLETS;
    case CMdlColorLink::LinkFmtGamut:
        return input ? 0 : icm::BM_G3CHTRIPLETS;
    case CMdlColorLink::LinkFmtNColor:
        switch (channels) {
        case 4:
            return input ? icm::BM_CMYKQUADS : icm::BM_KYMCQUADS;
        case 5:
            return icm::BM_5CHANNEL;
        case 6:
            return icm::BM_6CHANNEL;
        case 7:
            return icm::BM_7CHANNEL;
        case 8:
            return icm::BM_8CHANNEL;
        default:
            return 0;
        }
    default:
        return 0;
    }
}

// Whether the connection space of a chain's end can meet the Lab pixels of a caller: through
// XYZ always, through Lab only when the chain is a single step.
bool TakesLabPixels(uint32_t connectionSpace, size_t steps) {
    return connectionSpace == icSigXYZData || (connectionSpace == icSigLabData && steps == 1);
}

} // namespace

CWinColorLink::CWinColorLink(CUserSettingsMgr* settings, uint32_t cmmId, IIcmPlatform& platform)
    : m_platform(platform), pSettings(settings) {
    // The engine is a choice for the whole process, made anew by every link.
    if (!m_platform.SelectCMM(cmmId)) m_platform.SelectCMM(0);
}

CWinColorLink::~CWinColorLink() {
    // Steps of a link that was never built would otherwise stay open until the process ends.
    for (const CProfileInfo& p : Profiles) m_platform.CloseColorProfile(p.hProfile);
}

uint32_t CWinColorLink::IcmIntent(enmRenderingIntent reduced) {
    switch (reduced) {
    case IntentPerceptual:
        return icm::kIntentPerceptual;
    case IntentRelative:
    case IntentRelativeBpc: // no black point compensation here: acts as relative
        return icm::kIntentRelativeColorimetric;
    case IntentSaturation:
        return icm::kIntentSaturation;
    case IntentAbsolute:
        return icm::kIntentAbsoluteColorimetric;
    default:
        return kNoIntent;
    }
}

int CWinColorLink::AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) {
    const uint32_t icmIntent = IcmIntent(TranslateBlackPreservingRI(intent));
    icm::HPROFILE h = nullptr;
    if (path) {
        // The size the platform wants is in bytes, terminator included.
        icm::PROFILE p{icm::kProfileFileName, const_cast<wchar_t*>(path),
                       uint32_t((std::wcslen(path) + 1) * sizeof(wchar_t))};
        h = m_platform.OpenColorProfileW(&p, icm::kProfileRead, icm::kFileShareRead,
                                         icm::kOpenExisting);
    }
    if (!h) {
        nLastError = LinkErrOpenProfile;
        return 0;
    }
    Profiles.push_back({h, unsigned(stepKind), icmIntent});
    return 1;
}

icm::HPROFILE CWinColorLink::OpenLabProfile() {
    icm::HRSRC res = m_platform.FindResourceW(kLabProfileResourceId, kLabProfileResourceType);
    if (!res) return nullptr;
    const uint32_t size = m_platform.SizeofResource(res);
    icm::HGLOBAL loaded = m_platform.LoadResource(res);
    const void* data = loaded ? m_platform.LockResource(loaded) : nullptr;
    if (!data || size == 0) return nullptr;
    icm::PROFILE p{icm::kProfileMemBuffer, const_cast<void*>(data), size};
    return m_platform.OpenColorProfileW(&p, icm::kProfileRead, 0, icm::kOpenExisting);
}

int CWinColorLink::CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) {
    m_nInChannels = nIn;
    m_nOutChannels = nOut;
    if (Profiles.empty()) {
        nLastError = LinkErrNoTable;
        return 0;
    }
    std::vector<icm::HPROFILE> labHandles;
    icm::HTRANSFORM transform = BuildTransform(inFormat, nIn, outFormat, nOut, labHandles);

    // Every step is consumed, built or not, and the Lab profile is closed too.
    for (const CProfileInfo& p : Profiles) m_platform.CloseColorProfile(p.hProfile);
    Profiles.clear();
    for (icm::HPROFILE h : labHandles) m_platform.CloseColorProfile(h);

    if (!transform) {
        nLastError = LinkErrNoTable;
        return 0;
    }
    hTransform = transform;
    m_InFormat = inFormat;
    m_OutFormat = outFormat;
    nLastError = 0;
    return 1;
}

icm::HTRANSFORM CWinColorLink::BuildTransform(unsigned inFormat, unsigned nIn, unsigned outFormat,
                                              unsigned nOut,
                                              std::vector<icm::HPROFILE>& labHandles) {
    std::vector<icm::HPROFILE> handles;
    std::vector<uint32_t> intents;
    for (const CProfileInfo& p : Profiles) {
        handles.push_back(p.hProfile);
        intents.push_back(p.nIntent);
    }
    icm::PROFILEHEADER first{}, last{};
    if (!m_platform.GetColorProfileHeader(handles.front(), &first)) return nullptr;
    // A device link at the head is the whole conversion: the rest of the list is ignored.
    const bool headIsLink = first.phClass == icSigLinkClass;
    if (headIsLink) {
        handles.resize(1);
        intents.resize(1);
        last = first;
    } else if (!m_platform.GetColorProfileHeader(handles.back(), &last)) {
        return nullptr;
    }
    const size_t steps = handles.size();
    const uint32_t firstIntent = intents.front();
    const uint32_t lastIntent = intents.back();

    // Input side.
    m_InBmFormat = BmFormatOf(inFormat, nIn, true);
    switch (inFormat) {
    case LinkFmtRgb:
        if (first.phDataColorSpace != icSigRgbData) return nullptr;
        break;
    case LinkFmtCmyk:
        if (first.phDataColorSpace != icSigCmykData) return nullptr;
        break;
    case LinkFmtLab: {
        if (!TakesLabPixels(first.phConnectionSpace, steps)) return nullptr;
        icm::HPROFILE lab = OpenLabProfile();
        if (!lab) return nullptr;
        labHandles.push_back(lab);
        handles.insert(handles.begin(), lab);
        intents.insert(intents.begin(), firstIntent);
        break;
    }
    case LinkFmtGray:
    case LinkFmtNColor:
        break;
    default:
        return nullptr;
    }
    if (!m_InBmFormat) return nullptr;

    // Output side. The device space at the end of a device link is its connection space.
    m_OutBmFormat = BmFormatOf(outFormat, nOut, false);
    const uint32_t lastDevice = headIsLink ? first.phConnectionSpace : last.phDataColorSpace;
    switch (outFormat) {
    case LinkFmtRgb:
        if (lastDevice != icSigRgbData) return nullptr;
        break;
    case LinkFmtCmyk:
        if (lastDevice != icSigCmykData) return nullptr;
        break;
    case LinkFmtLab: {
        if (!TakesLabPixels(last.phConnectionSpace, steps)) return nullptr;
        icm::HPROFILE lab = OpenLabProfile();
        if (!lab) return nullptr;
        labHandles.push_back(lab);
        handles.push_back(lab);
        intents.push_back(lastIntent);
        break;
    }
    case LinkFmtGamut:
    case LinkFmtGray:
    case LinkFmtNColor:
        break;
    default:
        return nullptr;
    }
    if (!m_OutBmFormat) return nullptr;

    const uint32_t n = uint32_t(handles.size());
    if (lastIntent == kNoIntent) {
        // No intent given: the first of the four that the engine takes.
        for (uint32_t intent = icm::kIntentPerceptual; intent <= icm::kIntentAbsoluteColorimetric;
             ++intent)
            if (icm::HTRANSFORM t =
                    m_platform.CreateMultiProfileTransform(handles.data(), n, &intent, 1, 0, 0))
                return t;
        return nullptr;
    }
    if (firstIntent == kNoIntent) // the head has none: the last step's intent for all
        return m_platform.CreateMultiProfileTransform(handles.data(), n, &lastIntent, 1, 0, 0);
    return m_platform.CreateMultiProfileTransform(handles.data(), n, intents.data(), n, 0, 0);
}

void CWinColorLink::TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) {
    // A link that was not built passes its null transform on; the platform refuses it.
    m_platform.TranslateBitmapBits(hTransform, src, m_InBmFormat, count, 1, 0, dst, m_OutBmFormat,
                                   0, nullptr, 0);
}

void CWinColorLink::TrnBgrPixels8(const unsigned char* src, unsigned char* dst, unsigned count) {
    m_platform.TranslateBitmapBits(hTransform, src, icm::BM_BGRTRIPLETS, count, 1, 0, dst,
                                   icm::BM_BGRTRIPLETS, 0, nullptr, 0);
}
