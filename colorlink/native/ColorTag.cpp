#include "colorlink/native/ColorTag.h"

#include <exception>

#include "base/Exception.h"
#include "colorfunc/Colorimetric.h"
#include "colorlink/LinkSignatures.h"
#include "icc/IccProfileUse.h"

namespace {

constexpr icXYZNumber kD50White = {63189, 65536, 54060};              // D50 in s15.16
constexpr unsigned kMaxSide = TFuncTabBaseMft<uint16_t>::kMaxOutputs; // most channels of a side

// The tag of a step and the spaces it goes between.
struct SStepTag {
    uint32_t sig;
    unsigned inSpace;
    unsigned outSpace;
};

// Tags in the order they are tried, by reduced intent; an intent outside 0 to 5 takes the
// first entry of the list without looking further.
const uint32_t* TagOrder(int kind, int intent) {
    static constexpr uint32_t kA2B[3][4] = {
        {icSigAToB0Tag, icSigAToB1Tag, icSigAToB2Tag, icSigGrayTRCTag},
        {icSigAToB1Tag, icSigAToB0Tag, icSigAToB2Tag, icSigGrayTRCTag},
        {icSigAToB2Tag, icSigAToB0Tag, icSigAToB1Tag, icSigGrayTRCTag}};
    static constexpr uint32_t kB2A[3][4] = {
        {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag, icSigGrayTRCTag},
        {icSigBToA1Tag, icSigBToA0Tag, icSigBToA2Tag, icSigGrayTRCTag},
        {icSigBToA2Tag, icSigBToA0Tag, icSigBToA1Tag, icSigGrayTRCTag}};
    static constexpr uint32_t kPre[3][4] = {
        {icSigPreview0Tag, icSigPreview1Tag, icSigPreview2Tag, 0},
        {icSigPreview1Tag, icSigPreview0Tag, icSigPreview2Tag, 0},
        {icSigPreview2Tag, icSigPreview0Tag, icSigPreview1Tag, 0}};
    int row;
    switch (intent) {
    case 0:
    case 1:
        row = 0;
        break;
    case 2:
    case 4:
    case 5:
        row = 1;
        break;
    case 3:
        row = 2;
        break;
    default:
        return nullptr;
    }
    if (kind == CMdlColorLink::ProfStepDevToPcs) return kA2B[row];
    if (kind == CMdlColorLink::ProfStepPcsToDev) return kB2A[row];
    return kPre[row];
}

// Which tag a step uses and between which spaces it goes.
SStepTag FindStepTag(CIccProfileUse& profile, int kind, int intent) {
    const unsigned device = profile.Header().colorSpace;
    const unsigned pcs = profile.Header().pcs;
    uint32_t fallback;
    SStepTag step{};
    switch (kind) {
    case CMdlColorLink::ProfStepDevToPcs:
        step = {0, device, pcs};
        fallback = icSigAToB0Tag;
        break;
    case CMdlColorLink::ProfStepPcsToDev:
        step = {0, pcs, device};
        fallback = icSigBToA0Tag;
        break;
    case CMdlColorLink::ProfStepPreview:
        step = {0, pcs, pcs};
        fallback = icSigPreview0Tag;
        break;
    case CMdlColorLink::ProfStepGamut:
        return {icSigGamutTag, pcs, icSigGamutTag};
    default: // abstract, and any kind the link does not know: the A2B0 table over the PCS
        return {icSigAToB0Tag, pcs, pcs};
    }
    step.sig = fallback;
    if (const uint32_t* order = TagOrder(kind, intent)) {
        for (int i = 0; i < 4 && order[i] != 0; ++i) {
            if (profile.FindTagData(order[i], nullptr)) {
                step.sig = order[i];
                break;
            }
        }
    }
    return step;
}

// Whether a table fits a step: a candidate that doesn't is treated as if the profile didn't
// hold it, so that the step's next way (8-bit table, matrix/TRC model, or no table at all)
// is tried instead. With `check` false any table is taken.
template <class F> bool Usable(const F& f, const SStepTag& step, bool check) {
    return !check || CColorTag::FitsSpaces(f, step.inSpace, step.outSpace);
}

// The function of a step: a 16-bit table, else an 8-bit one, else the matrix/TRC model in
// either direction. False if the profile has none. With `check`, a table whose channel counts
// don't fit the step's spaces counts as none.
bool MakeStepFunction(CIccProfileUse& profile, const SStepTag& step,
                      std::unique_ptr<CFunc_16TabBaseMft>& f16,
                      std::unique_ptr<CFunc_8TabBaseMft>& f8, bool check) {
    const bool pcsIsXYZ = profile.Header().pcs == icSigXYZData;
    f16.reset(profile.CreateMft16Func(step.sig, pcsIsXYZ,
                                      static_cast<icColorSpaceSignature>(step.inSpace),
                                      static_cast<icColorSpaceSignature>(step.outSpace)));
    if (f16 && Usable(*f16, step, check)) return true;
    f16.reset();
    f8.reset(profile.CreateMft8Func(step.sig));
    if (f8 && Usable(*f8, step, check)) return true;
    f8.reset();
    // The matrix/TRC models go from three channels to three, as RGB and XYZ have.
    if (step.inSpace == icSigRgbData && step.outSpace == icSigXYZData)
        f16.reset(profile.CreateFromMatrixTRC());
    else if (step.inSpace == icSigXYZData && step.outSpace == icSigRgbData)
        f16.reset(profile.CreateFromMatrixTRCInv());
    return f16 != nullptr;
}

// 8-bit three- and four-input pipelines become their 16-bit twins; any other 8-bit kind
// gives nothing. Answers whether there was an 8-bit table.
bool Widen8(std::unique_ptr<CFunc_8TabBaseMft>& f8, std::unique_ptr<CFunc_16TabBaseMft>& f16) {
    if (!f8) return false;
    if (const auto* t3 = dynamic_cast<const CFunc_8Tab3Mft*>(f8.get()))
        f16 = std::make_unique<CFunc_16Tab3Mft>(*t3);
    else if (const auto* t4 = dynamic_cast<const CFunc_8Tab4Mft*>(f8.get()))
        f16 = std::make_unique<CFunc_16Tab4Mft>(*t4);
    f8.reset();
    return true;
}

// A step's function, widened to 16 bits; null if the profile gives none. A 16-bit pipeline
// evaluates from its grid alone and needs no InitMftTrn.
std::unique_ptr<CFunc_16TabBaseMft> PreparedStepFunction(CIccProfileUse& profile,
                                                         const SStepTag& step) {
    std::unique_ptr<CFunc_16TabBaseMft> f16;
    std::unique_ptr<CFunc_8TabBaseMft> f8;
    // The black point walks take any table: their vectors are as long as any table's side.
    if (!MakeStepFunction(profile, step, f16, f8, false)) return nullptr;
    Widen8(f8, f16);
    return f16;
}

} // namespace

CColorTag::CColorTag(const wchar_t* path, int kind, enmRenderingIntent intent,
                     CUserSettingsMgr* settings) {
    Reset(intent);
    auto profile = std::make_unique<CIccProfileUse>(settings);
    bool opened = false;
    try {
        opened = profile->Open(path) != 0;
    } catch (const CException&) {
        opened = false; // an unreadable file is a profile that cannot be opened
    }
    if (!opened) {
        nError = CMdlColorLink::LinkErrOpenProfile;
        return;
    }
    TakeStep(*profile, kind, intent);
    // Everything but the black point has been read: the file is not needed any more, the
    // tags are kept for the black point until it is asked for.
    profile->Close();
    m_blackSource = std::move(profile);
}

CColorTag::CColorTag(CIccProfileUse* profile, int kind, enmRenderingIntent intent) {
    Reset(intent);
    TakeStep(*profile, kind, intent);
    m_blackPoint = ComputeBlackPoint(*profile);
}

CColorTag::~CColorTag() = default;

void CColorTag::Reset(enmRenderingIntent intent) {
    MediaWhite = kD50White;
    InSpace = OutSpace = 0xFFFFFFFFu;
    nError = 0;
    bFrom8Bit = 0;
    m_blackPoint = 0;
    bCompensateBlack = intent == IntentRelativeBpc;
}

void CColorTag::TakeStep(CIccProfileUse& profile, int kind, enmRenderingIntent intent) {
    const SStepTag step = FindStepTag(profile, kind, intent);
    profile.GetMediaWhite(MediaWhite); // stays D50 without a wtpt tag
    // Absolute steps out of the connection space undo the media white relative scaling on
    // their input; the way into the connection space never does.
    const bool fromPcs = kind == CMdlColorLink::ProfStepPcsToDev ||
                         kind == CMdlColorLink::ProfStepPreview ||
                         kind == CMdlColorLink::ProfStepGamut;
    if (intent == IntentAbsolute && fromPcs) {
        if (step.inSpace == icSigLabData) pLabRelAbs = std::make_unique<CLabRelAbs>(MediaWhite);
        if (step.inSpace == icSigXYZData) pXYZRelAbs = std::make_unique<CXYZRelAbs>(MediaWhite);
    }
    // A table is used only between the channels of the step's spaces: read against other
    // spaces it would run past the pixels or the neighbouring step's values.
    if (MakeStepFunction(profile, step, pFunc16, pFunc8, true)) {
        InSpace = step.inSpace;
        OutSpace = step.outSpace;
    } else {
        nError = CMdlColorLink::LinkErrNoTable;
    }
}

unsigned short CColorTag::BlackPoint() const {
    if (m_blackSource) {
        m_blackPoint = ComputeBlackPoint(*m_blackSource);
        m_blackSource.reset();
    }
    return m_blackPoint;
}

void CColorTag::SetBlackPoint(unsigned short black) {
    m_blackSource.reset();
    m_blackPoint = black;
}

unsigned CColorTag::ChannelsOf(unsigned space) {
    // The gamut answer, as a step's output space, has one channel.
    return GetChannelCountOfSignature(static_cast<icColorSpaceSignature>(space), true);
}

bool CColorTag::FitsItsSpaces() const {
    if (pFunc16) return FitsSpaces(*pFunc16, InSpace, OutSpace);
    if (pFunc8) return FitsSpaces(*pFunc8, InSpace, OutSpace);
    return false;
}

void CColorTag::Widen() {
    if (Widen8(pFunc8, pFunc16)) bFrom8Bit = 1;
}

unsigned CColorTag::clutEntries() const {
    if (pFunc16) return pFunc16->clutEntries();
    if (pFunc8) return pFunc8->clutEntries();
    return 0;
}

unsigned short CColorTag::ComputeBlackPoint(CIccProfileUse& profile) {
    // First way: the connection space's black sent into the device (perceptual) and back
    // (relative). Not for the n-colour spaces of five colours and more.
    const unsigned device = profile.Header().colorSpace;
    if (!IsNClrSpace5To15(device) && device != MakeIccSignature("XCLR")) {
        const SStepTag toDev = FindStepTag(profile, CMdlColorLink::ProfStepPcsToDev, 1);
        const SStepTag toPcs = FindStepTag(profile, CMdlColorLink::ProfStepDevToPcs, 2);
        if (auto b2a = PreparedStepFunction(profile, toDev)) {
            if (auto a2b = PreparedStepFunction(profile, toPcs)) {
                // Vectors as long as any table's side, so that a profile whose tables don't
                // match its header can't make the walk read or write beyond them.
                uint16_t black[kMaxSide] = {};
                if (toDev.inSpace == icSigLabData) black[1] = black[2] = 32768;
                uint16_t dev[kMaxSide] = {};
                uint16_t pcs[kMaxSide] = {};
                b2a->Trn(black, dev);
                a2b->Trn(dev, pcs);
                if (toPcs.outSpace == icSigLabData) return pcs[0];
                if (toPcs.outSpace == icSigXYZData) {
                    uint16_t lab[3];
                    LabXYZ16.Inv(pcs, lab);
                    return lab[0];
                }
                return 0;
            }
        }
    }
    // Second way: the darkest of 200 neutral greys through the preview table.
    const SStepTag preview = FindStepTag(profile, CMdlColorLink::ProfStepPreview, 2);
    if (preview.inSpace != preview.outSpace || !IsPcsSpace(preview.inSpace)) return 0;
    auto f = PreparedStepFunction(profile, preview);
    if (!f) return 0;
    const bool xyz = preview.inSpace == icSigXYZData;
    uint16_t black = 65535;
    // k runs from 199 * 65535 + 100 - 65535 down to 100, so L = k / 199 goes from 65535 to 0.
    for (int64_t k = 13107100 - 65535; k >= 100; k -= 65535) {
        uint16_t lab[kMaxSide] = {uint16_t(k / 199), 32768, 32768};
        uint16_t in[kMaxSide] = {}, out[kMaxSide] = {};
        if (xyz)
            LabXYZ16.Trn(lab, in);
        else
            std::copy(lab, lab + 3, in);
        f->Trn(in, out);
        if (xyz) {
            LabXYZ16.Inv(out, lab);
            std::copy(lab, lab + 3, out);
        }
        if (out[0] < black) black = out[0];
    }
    return black == 65535 ? 0 : black;
}
