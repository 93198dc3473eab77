#include "colorlink/lcms/LcmsColorLink.h"

#include <algorithm>

#include "base/Settings.h"
#include "base/TextUtil.h"
#include "base/WideString.h"
#include "colorlink/lcms/LcmsFlags.h"

namespace {

// The pixel buffers of TrnPixels8: the most channels a profile colour space has (FCLR) and one.
constexpr unsigned kPixelSamples = 16;
// Samples of 8-bit pixels are widened by this and narrowed to the high byte.
constexpr unsigned kWiden8 = 257;
// A gamut answer of "out of gamut" in every channel.
constexpr cmsUInt16Number kGamutAlarm = 0xFFFF;
// cmsFLAGS_GRIDPOINTS(13): 13 grid points for CMYK to RGB or Lab when the standard grid is off.
constexpr cmsUInt32Number kCmykGrid = 0xD0000;

void SilentLog(cmsContext, cmsUInt32Number, const char*) {}

// The n-colour spaces of 5 to 15 channels: the ICC's '5CLR' to 'FCLR', which profiles carry,
// and lcms2's own 'MCH5' to 'MCHF'.
bool IsNClr(cmsColorSpaceSignature s) {
    switch (s) {
    case cmsSig5colorData:
    case cmsSig6colorData:
    case cmsSig7colorData:
    case cmsSig8colorData:
    case cmsSig9colorData:
    case cmsSig10colorData:
    case cmsSig11colorData:
    case cmsSig12colorData:
    case cmsSig13colorData:
    case cmsSig14colorData:
    case cmsSig15colorData:
    case cmsSigMCH5Data:
    case cmsSigMCH6Data:
    case cmsSigMCH7Data:
    case cmsSigMCH8Data:
    case cmsSigMCH9Data:
    case cmsSigMCHAData:
    case cmsSigMCHBData:
    case cmsSigMCHCData:
    case cmsSigMCHDData:
    case cmsSigMCHEData:
    case cmsSigMCHFData:
        return true;
    default:
        return false;
    }
}

// The device space of a linearisation with this many curves; 0 where there is none.
cmsColorSpaceSignature CurveSpace(size_t curves) {
    static const cmsColorSpaceSignature nclr[] = {cmsSigMCH5Data, cmsSigMCH6Data, cmsSigMCH7Data,
                                                  cmsSigMCH8Data, cmsSigMCH9Data, cmsSigMCHAData,
                                                  cmsSigMCHBData, cmsSigMCHCData, cmsSigMCHDData,
                                                  cmsSigMCHEData, cmsSigMCHFData};
    if (curves == 1) return cmsSigGrayData;
    if (curves == 4) return cmsSigCmykData;
    if (curves >= 5 && curves <= 15) return nclr[curves - 5];
    return cmsColorSpaceSignature(0);
}

// 16-bit interleaved pixels of the space, with the profile's channel count; 0 for a space that
// lcms2 has no pixel type of.
cmsUInt32Number PixelFormat(cmsColorSpaceSignature space) {
    const int type = _cmsLCMScolorSpace(space);
    if (type < 0) return 0;
    return COLORSPACE_SH(cmsUInt32Number(type)) | CHANNELS_SH(cmsChannelsOf(space)) | BYTES_SH(2);
}

struct ToneCurveFree {
    void operator()(cmsToneCurve* c) const { cmsFreeToneCurve(c); }
};

} // namespace

CLcmsColorLink::CLcmsColorLink(CUserSettingsMgr* settings) : pSettings(settings) {
    // Process-wide: lcms2 stays silent until an object of the lcms wrapper registers its own.
    cmsSetLogErrorHandler(SilentLog);
}

CLcmsColorLink::~CLcmsColorLink() {
    if (hTransform) cmsDeleteTransform(hTransform);
    // Steps close their profiles not yet closed as they go.
}

cmsUInt32Number CLcmsColorLink::LcmsIntent(int intent) {
    switch (intent) {
    case IntentRelative:
    case IntentRelativeBpc:
        return INTENT_RELATIVE_COLORIMETRIC;
    case IntentSaturation:
        return INTENT_SATURATION;
    case IntentAbsolute:
        return INTENT_ABSOLUTE_COLORIMETRIC;
    case IntentPerceptualKeepK:
        return INTENT_PRESERVE_K_ONLY_PERCEPTUAL;
    case IntentRelativeKeepK:
    case IntentRelativeBpcKeepK:
        return INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC;
    case IntentSaturationKeepK:
        return INTENT_PRESERVE_K_ONLY_SATURATION;
    case IntentPerceptualKeepPlane:
        return INTENT_PRESERVE_K_PLANE_PERCEPTUAL;
    case IntentRelativeKeepPlane:
    case IntentRelativeBpcKeepPlane:
        return INTENT_PRESERVE_K_PLANE_RELATIVE_COLORIMETRIC;
    case IntentSaturationKeepPlane:
        return INTENT_PRESERVE_K_PLANE_SATURATION;
    default: // 0, 1 and anything unknown
        return INTENT_PERCEPTUAL;
    }
}

cmsBool CLcmsColorLink::LcmsBlackPoint(int intent) {
    return intent == IntentRelativeBpc || intent == IntentRelativeBpcKeepK ||
           intent == IntentRelativeBpcKeepPlane;
}

cmsUInt32Number CLcmsColorLink::LcmsFlags() const {
    return LcmsFlags::ToLcms2(nFlags);
}

int CLcmsColorLink::SettingInt(const _INIENTRY& entry) const {
    return pSettings ? pSettings->GetInt(entry) : FromString(CIniFile::Default(entry));
}

std::wstring CLcmsColorLink::SettingString(const _INIENTRY& entry) const {
    return pSettings ? pSettings->GetString(entry) : std::wstring(CIniFile::Default(entry));
}

int CLcmsColorLink::AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) {
    if (!path) return 0;
    // lcms2 takes narrow paths; file names on this system are UTF-8.
    ProfilePtr profile(cmsOpenProfileFromFile(WideToUtf8(path).c_str(), "r"));
    if (!profile) {
        nLastError = LinkErrOpenProfile;
        return 0;
    }
    // The number of curves that can follow this step: the channels of its output side.
    if (stepKind == ProfStepPcsToDev)
        nCurveChannels = int(cmsChannelsOf(cmsGetColorSpace(profile.get())));
    else if (stepKind == ProfStepDevToPcs)
        nCurveChannels = int(cmsChannelsOf(cmsGetPCS(profile.get())));
    // Neither kind nor intent is checked here: a wrong table shows up in CreateLink.
    Steps.push_back(std::make_unique<SLcmsStep>(
        SLcmsStep{path, unsigned(stepKind), unsigned(intent), std::move(profile)}));
    return 1;
}

int CLcmsColorLink::AddGradation(const std::vector<unsigned short*>& curves) {
    // The curves carry no lcms2 context: their errors, like all of this link's, are dropped.
    std::vector<std::unique_ptr<cmsToneCurve, ToneCurveFree>> owned;
    std::vector<cmsToneCurve*> tones;
    for (unsigned short* curve : curves) {
        if (int(tones.size()) >= nCurveChannels) break;
        if (!curve) break; // a missing curve ends the list
        owned.emplace_back(cmsBuildTabulatedToneCurve16(nullptr, 256, curve));
        if (!owned.back()) {
            nLastError = LinkErrOpenProfile;
            return 0;
        }
        tones.push_back(owned.back().get());
    }
    const cmsColorSpaceSignature space = CurveSpace(tones.size());
    // lcms2 reads as many curves as the space has channels (three for the null space): fewer
    // cannot make a device link and would be read past the end.
    if (tones.size() < cmsChannelsOf(space)) {
        nLastError = LinkErrOpenProfile;
        return 0;
    }
    ProfilePtr link(cmsCreateLinearizationDeviceLinkTHR(nullptr, space, tones.data()));
    if (!link) {
        nLastError = LinkErrOpenProfile;
        return 0;
    }
    Steps.push_back(std::make_unique<SLcmsStep>(
        SLcmsStep{std::wstring(), unsigned(ProfStepCurves), 0u, std::move(link)}));
    return 1;
}

cmsColorSpaceSignature CLcmsColorLink::StepInput(const SLcmsStep& step) {
    cmsHPROFILE p = step.hProfile.get();
    switch (step.nKind) {
    case ProfStepDevToPcs:
        return cmsGetColorSpace(p);
    case ProfStepPcsToDev:
    case ProfStepPreview:
    case ProfStepGamut:
    case ProfStepAbstract:
    case ProfStepCurves:
        return cmsGetPCS(p);
    default:
        return cmsColorSpaceSignature(0);
    }
}

cmsColorSpaceSignature CLcmsColorLink::StepOutput(const SLcmsStep& step) {
    cmsHPROFILE p = step.hProfile.get();
    switch (step.nKind) {
    case ProfStepDevToPcs:
    case ProfStepPreview:
    case ProfStepAbstract:
    case ProfStepCurves:
        return cmsGetPCS(p);
    case ProfStepPcsToDev:
        return cmsGetColorSpace(p);
    case ProfStepGamut:
        return cmsSigGrayData;
    default:
        return cmsColorSpaceSignature(0);
    }
}

bool CLcmsColorLink::InputFits(unsigned format, unsigned nIn) {
    switch (format) {
    case LinkFmtRgb:
        return InSpace == cmsSigRgbData;
    case LinkFmtCmyk: // the channel count decides, whatever the space
        return cmsChannelsOf(InSpace) == nIn;
    case LinkFmtNColor:
        return InSpace == cmsSigGrayData || InSpace == cmsSigCmykData || IsNClr(InSpace);
    case LinkFmtLab:
        if (InSpace == cmsSigXYZData) bAddLabIn = 1;
        return InSpace == cmsSigLabData || InSpace == cmsSigXYZData;
    case LinkFmtGray:
        return InSpace == cmsSigGrayData;
    default: // LinkFmtGamut and anything else
        return false;
    }
}

bool CLcmsColorLink::OutputFits(unsigned format) {
    switch (format) {
    case LinkFmtRgb:
        return OutSpace == cmsSigRgbData;
    case LinkFmtCmyk:
        return OutSpace == cmsSigCmykData;
    case LinkFmtNColor:
        // Tests the input side for grey and CMYK, as it always has: kept on purpose.
        return InSpace == cmsSigGrayData || InSpace == cmsSigCmykData || IsNClr(OutSpace);
    case LinkFmtLab:
        if (OutSpace == cmsSigXYZData) bAddLabOut = 1;
        return OutSpace == cmsSigLabData || OutSpace == cmsSigXYZData;
    case LinkFmtGray:
        return OutSpace == cmsSigGrayData;
    case LinkFmtGamut:
        bGamutOut = 1;
        return OutSpace == cmsSigGrayData;
    default:
        return false;
    }
}

int CLcmsColorLink::CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) {
    m_nInChannels = nIn;
    m_nOutChannels = nOut;
    // No steps, or steps spent by an earlier CreateLink: nothing to build, the error stays.
    if (Steps.empty() ||
        std::any_of(Steps.begin(), Steps.end(), [](const auto& s) { return !s->hProfile; }))
        return 0;
    InSpace = StepInput(*Steps.front());
    OutSpace = StepOutput(*Steps.back());
    bAddLabIn = bAddLabOut = bGamutOut = 0;
    if (!InputFits(inFormat, nIn) || !OutputFits(outFormat) || !MakeTransform()) {
        nLastError = LinkErrNoTable;
        return 0;
    }
    m_InFormat = inFormat;
    m_OutFormat = outFormat;
    nLastError = 0;
    return 1;
}

void CLcmsColorLink::Append(cmsHPROFILE profile, cmsUInt32Number intent, cmsBool blackPoint) {
    Profiles.push_back(profile);
    Intents.push_back(intent);
    BlackPoints.push_back(blackPoint);
    Adaptations.push_back(1.0);
    nLastIndex = int(Profiles.size()) - 1;
}

bool CLcmsColorLink::MakeTransform() {
    Profiles.clear();
    Intents.clear();
    BlackPoints.clear();
    Adaptations.clear();
    nLastIndex = -1;
    nGamutPosition = 0;
    nFlags = 0;
    cmsHPROFILE gamutProfile = nullptr;
    // Always 16 bits, with the profile's channel count and not that of CreateLink.
    nLcmsInFormat = PixelFormat(InSpace);
    nLcmsOutFormat = PixelFormat(OutSpace);

    std::vector<ProfilePtr> labProfiles; // made here, closed when done
    auto addLab = [&](cmsUInt32Number intent) {
        labProfiles.emplace_back(cmsCreateLab4Profile(nullptr));
        Append(labProfiles.back().get(), intent, 0);
        return labProfiles.back() != nullptr;
    };
    bool ok = true;
    if (bAddLabIn) {
        ok = addLab(INTENT_PERCEPTUAL) && ok;
        InSpace = cmsSigLabData;
        nLcmsInFormat = PixelFormat(InSpace);
    }
    for (size_t i = 0; i < Steps.size(); ++i) {
        const SLcmsStep& step = *Steps[i];
        cmsHPROFILE p = step.hProfile.get();
        // A chain that begins in the connection space gets a defined input.
        if (i == 0 && step.nKind != unsigned(ProfStepDevToPcs) &&
            step.nKind != unsigned(ProfStepCurves) && labProfiles.empty())
            ok = addLab(INTENT_PERCEPTUAL) && ok;
        switch (step.nKind) {
        case ProfStepDevToPcs:
        case ProfStepPcsToDev:
            Append(p, LcmsIntent(int(step.nIntent)), LcmsBlackPoint(int(step.nIntent)));
            break;
        case ProfStepPreview: // into the device at the intent, back at relative colorimetric
            Append(p, LcmsIntent(int(step.nIntent)), LcmsBlackPoint(int(step.nIntent)));
            Append(p, INTENT_RELATIVE_COLORIMETRIC, 0);
            nFlags |= LcmsFlags::kProofChain;
            break;
        case ProfStepGamut:
            Append(p, LcmsIntent(int(step.nIntent)), LcmsBlackPoint(int(step.nIntent)));
            nGamutPosition = nLastIndex;
            gamutProfile = p;
            {
                cmsUInt16Number alarm[cmsMAXCHANNELS];
                std::fill(alarm, alarm + cmsMAXCHANNELS, kGamutAlarm);
                cmsSetAlarmCodes(alarm);
            }
            nFlags |= LcmsFlags::kProofChain | cmsFLAGS_GAMUTCHECK;
            break;
        case ProfStepAbstract:
        case ProfStepCurves:
            Append(p, INTENT_PERCEPTUAL, 0);
            break;
        default: // a step kind that no link knows: nothing can be made of it
            ok = false;
            break;
        }
    }
    if (bAddLabOut) {
        ok = addLab(INTENT_PERCEPTUAL) && ok;
        OutSpace = cmsSigLabData;
        nLcmsOutFormat = PixelFormat(OutSpace);
    }

    // Grid size: three custom sizes by the source's channels, else the two keys.
    std::vector<int> sizes;
    const std::wstring custom = SettingString(IniCustomCMSGridSizes);
    if (!custom.empty()) SplitNumberStringToInt(custom, sizes, L',');
    if (sizes.size() == 3) {
        const cmsUInt32Number channels = cmsChannelsOf(InSpace);
        const int points = channels <= 3 ? sizes[0] : channels == 4 ? sizes[1] : sizes[2];
        // lcms2's macro keeps the size to its 8-bit field.
        nFlags |= cmsFLAGS_GRIDPOINTS(cmsUInt32Number(points));
    } else if (SettingInt(IniUseIncreasedCMSGrid) == 1) {
        nFlags |= cmsFLAGS_HIGHRESPRECALC;
    } else if (SettingInt(IniUseStandardCMSGridForCMYK) == 0 && InSpace == cmsSigCmykData &&
               (OutSpace == cmsSigRgbData || OutSpace == cmsSigLabData)) {
        nFlags |= kCmykGrid;
    }

    // One profile alone cannot preserve black through anything: plain intents instead.
    if (Profiles.size() == 1) {
        switch (Intents[0]) {
        case INTENT_PRESERVE_K_ONLY_PERCEPTUAL:
        case INTENT_PRESERVE_K_PLANE_PERCEPTUAL:
            Intents[0] = INTENT_PERCEPTUAL;
            break;
        case INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC:
        case INTENT_PRESERVE_K_PLANE_RELATIVE_COLORIMETRIC:
            Intents[0] = INTENT_RELATIVE_COLORIMETRIC;
            break;
        case INTENT_PRESERVE_K_ONLY_SATURATION:
        case INTENT_PRESERVE_K_PLANE_SATURATION:
            Intents[0] = INTENT_SATURATION;
            break;
        default:
            break;
        }
    }
    if (SettingInt(IniUseOnlyPerceptualBlackForBPC) == 0) nFlags |= LcmsFlags::kAnyBlackForBpc;
    if (SettingInt(IniCpDisableWhitePointExpansion) != 0)
        nFlags |= LcmsFlags::kNoWhitePointExpansion;

    if (ok && !Profiles.empty() && nLcmsInFormat && nLcmsOutFormat) {
        // lcms2 writes into the array of black point flags (it forces compensation for
        // perceptual steps of version-4 profiles): it gets a copy, so that BlackPoints keeps
        // what the link asked for.
        std::vector<cmsBool> blackPoints(BlackPoints);
        hTransform = cmsCreateExtendedTransform(
            cmsGetProfileContextID(Profiles[0]), cmsUInt32Number(Profiles.size()), Profiles.data(),
            blackPoints.data(), Intents.data(), Adaptations.data(), gamutProfile,
            cmsUInt32Number(nGamutPosition), nLcmsInFormat, nLcmsOutFormat,
            LcmsFlags::ToLcms2(nFlags));
    }
    // Built or failed, the steps are spent.
    labProfiles.clear();
    for (auto& step : Steps) step->hProfile.reset();
    return hTransform != nullptr;
}

void CLcmsColorLink::TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) {
    if (hTransform) cmsDoTransform(hTransform, src, dst, count);
}

void CLcmsColorLink::TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) {
    if (!hTransform) return;
    // Channel counts are the caller's; the buffers hold no more than kPixelSamples of them.
    const unsigned nIn = std::min(m_nInChannels, kPixelSamples);
    const unsigned nOut = std::min(m_nOutChannels, kPixelSamples);
    cmsUInt16Number in[kPixelSamples] = {};
    cmsUInt16Number out[kPixelSamples] = {};
    for (unsigned i = 0; i < count; ++i) {
        for (unsigned c = 0; c < nIn; ++c) in[c] = cmsUInt16Number(src[c] * kWiden8);
        cmsDoTransform(hTransform, in, out, 1);
        for (unsigned c = 0; c < nOut; ++c) dst[c] = (unsigned char)(out[c] >> 8);
        src += m_nInChannels;
        dst += m_nOutChannels;
    }
}
