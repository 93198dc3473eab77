#include "colorlink/lcms/LcmsTransform.h"

#include <cstdint>
#include <cwctype>

#include "base/Digest.h"
#include "colorlink/lcms/LcmsFlags.h"
#include "colorlink/lcms/LcmsTransformPool.h"

namespace {

// The output type of CreateTransform that asks for lcms2's gamut check.
constexpr unsigned kGamutOutType = 6;
// CreateTransform's input type of Lab pixels, which gets a Lab profile in front.
constexpr unsigned kLabType = 2;
// The channel count's field in lcms2's pixel format is 4 bits wide; more cannot be said there.
constexpr unsigned kChannelField = 0xF;

// Wide characters as 2 bytes each: the key texts are hexadecimal digits.
void UpdateWide(CSHA1& sha, const std::wstring& text) {
    for (wchar_t c : text) {
        const uint16_t unit = uint16_t(c);
        sha.Update(&unit, sizeof unit);
    }
}

bool SamePathIgnoringCase(const std::wstring& a, const std::wstring& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::towlower(wint_t(a[i])) != std::towlower(wint_t(b[i]))) return false;
    return true;
}

struct ProfileCloser {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};

} // namespace

ILcmsTransform* ILcmsTransform::Create() {
    return new CLcmsTransform();
}

int ILcmsTransform::GetProfileChannelsCount(const std::wstring& path) {
    std::unique_ptr<ILcmsTransform> t(Create());
    t->AddProfile(path, 0, 0);
    const unsigned space = t->GetColorSpace();
    t.reset();
    return int(cmsChannelsOf(cmsColorSpaceSignature(space)));
}

CLcmsTransform::CLcmsTransform() : Pool(CLcmsTransformPool::Instance()) {}

CLcmsTransform::CLcmsTransform(ILcmsTransformPool& pool) : Pool(pool) {}

CLcmsTransform::~CLcmsTransform() = default; // closes the handles; the transform is the pool's

std::wstring CLcmsTransform::EntryHash(const CLcmsProfileHandle* handle, unsigned intent,
                                       unsigned blackPoint, double adaptation) {
    CSHA1 sha;
    if (handle) UpdateWide(sha, handle->Hash());
    const uint32_t i = intent, b = blackPoint;
    sha.Update(&i, sizeof i);
    sha.Update(&b, sizeof b);
    sha.Update(&adaptation, sizeof adaptation);
    sha.Final();
    return sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
}

cmsUInt32Number CLcmsTransform::PixelType(unsigned type) {
    switch (type) {
    case 1:
        return PT_GRAY;
    case 2:
        return PT_Lab;
    case 3:
        return PT_RGB;
    case 4:
        return PT_CMYK;
    default:
        return PT_ANY;
    }
}

void CLcmsTransform::AddEntry(CLcmsProfileHandle* handle, int intent, int blackPoint,
                              bool atFront) {
    SLcmsEntry e{handle, unsigned(intent), unsigned(blackPoint), AdaptationState,
                 EntryHash(handle, unsigned(intent), unsigned(blackPoint), AdaptationState)};
    if (atFront)
        m_Entries.insert(m_Entries.begin(), std::move(e));
    else
        m_Entries.push_back(std::move(e));
}

void CLcmsTransform::AddFile(const std::wstring& path, int intent, int blackPoint, bool atFront) {
    // One file used twice in a chain is one handle.
    CLcmsProfileHandle* handle = nullptr;
    for (const auto& h : Handles)
        if (SamePathIgnoringCase(h->Path(), path)) handle = h.get();
    if (!handle) {
        auto made = CLcmsProfileHandle::FromFile(path); // throws, deleting what it made
        Handles.push_back(std::move(made));
        handle = Handles.back().get();
    }
    AddEntry(handle, intent, blackPoint, atFront);
}

void CLcmsTransform::AddProfile(const std::wstring& path, int intent, int blackPoint) {
    AddFile(path, intent, blackPoint, false);
}

void CLcmsTransform::InsertProfile(const std::wstring& path, int intent, int blackPoint) {
    AddFile(path, intent, blackPoint, true);
}

void CLcmsTransform::InsertProfileData(const void* data, int intent, int blackPoint) {
    Handles.push_back(CLcmsProfileHandle::FromMemory(data));
    AddEntry(Handles.back().get(), intent, blackPoint, true);
}

void CLcmsTransform::AddCurves(unsigned space, const std::vector<unsigned short*>& curves) {
    Handles.push_back(CLcmsProfileHandle::FromCurves(cmsColorSpaceSignature(space), curves));
    AddEntry(Handles.back().get(), 0, 0, false);
}

unsigned CLcmsTransform::GetColorSpace() {
    if (m_Entries.empty() || !m_Entries.back().pHandle) return cmsSigLabData;
    return unsigned(cmsGetColorSpace(m_Entries.back().pHandle->Profile()));
}

int CLcmsTransform::GetChannels() {
    if (m_Entries.empty()) return 0;
    return int(cmsChannelsOf(cmsColorSpaceSignature(GetColorSpace())));
}

int CLcmsTransform::IsCurvesOnly() {
    return m_Entries.size() == 1 && m_Entries[0].pHandle && m_Entries[0].pHandle->IsCurves();
}

void CLcmsTransform::CloseAll() {
    m_Entries.clear();
    Handles.clear();
}

void CLcmsTransform::CreateTransform(unsigned inType, unsigned nIn, unsigned outType,
                                     unsigned nOut) {
    CSHA1 sha;
    for (uint32_t v : {uint32_t(inType), uint32_t(nIn), uint32_t(outType), uint32_t(nOut)})
        sha.Update(&v, sizeof v);

    std::vector<cmsHPROFILE> profiles;
    std::vector<cmsUInt32Number> intents;
    std::vector<cmsBool> blackPoints;
    std::vector<cmsFloat64Number> adaptations;
    // Lab input gets a Lab profile in front; the input type in the key stands for it.
    std::unique_ptr<void, ProfileCloser> lab;
    if (inType == kLabType) {
        lab.reset(cmsCreateLab4Profile(nullptr));
        if (!lab) {
            CloseAll();
            ThrowError(__LINE__);
        }
        profiles.push_back(lab.get());
        intents.push_back(INTENT_PERCEPTUAL);
        blackPoints.push_back(0);
        adaptations.push_back(1.0);
    }
    for (const SLcmsEntry& e : m_Entries) {
        profiles.push_back(e.pHandle->Profile());
        intents.push_back(e.nIntent);
        blackPoints.push_back(cmsBool(e.nBlackPoint));
        adaptations.push_back(e.Adaptation);
        UpdateWide(sha, e.Hash);
    }
    const cmsUInt32Number inFormat =
        COLORSPACE_SH(PixelType(inType)) | CHANNELS_SH(nIn & kChannelField) | BYTES_SH(nInBytes);
    const cmsUInt32Number outFormat =
        COLORSPACE_SH(PixelType(outType)) | CHANNELS_SH(nOut & kChannelField) | BYTES_SH(nOutBytes);
    m_LastFlags = LcmsFlags::kProofChain | LcmsFlags::kWrapper |
                  (outType == kGamutOutType ? cmsUInt32Number(cmsFLAGS_GAMUTCHECK) : 0u);
    sha.Final();
    m_LastKey = sha.ReportHash(CSHA1::REPORT_HEX_SHORT);

    hTransform = Pool.Find(m_LastKey);
    if (!hTransform && !m_Entries.empty()) {
        hTransform = cmsCreateExtendedTransform(Context(), cmsUInt32Number(profiles.size()),
                                                profiles.data(), blackPoints.data(), intents.data(),
                                                adaptations.data(), nullptr, 0, inFormat, outFormat,
                                                LcmsFlags::ToLcms2(m_LastFlags));
        if (!hTransform) {
            CloseAll();
            ThrowError(__LINE__);
        }
        Pool.Insert(m_LastKey, hTransform);
    }
    CloseAll();
}

void CLcmsTransform::DoTransform(const void* src, void* dst, unsigned count) {
    if (hTransform) cmsDoTransform(hTransform, src, dst, count);
}
