#include "colorlink/lcms/LcmsProfileHandle.h"

#include "base/Digest.h"
#include "base/Exception.h"
#include "base/WideString.h"

namespace {

// Entries of a gradation curve, and so the samples that lcms2 takes of each.
constexpr cmsUInt32Number kCurveEntries = 256;

struct ToneCurveFree {
    void operator()(cmsToneCurve* c) const { cmsFreeToneCurve(c); }
};

} // namespace

CLcmsProfileHandle::~CLcmsProfileHandle() {
    if (hProfile) cmsCloseProfile(hProfile);
}

std::unique_ptr<CLcmsProfileHandle> CLcmsProfileHandle::FromFile(const std::wstring& path) {
    std::unique_ptr<CLcmsProfileHandle> h(new CLcmsProfileHandle);
    // lcms2 takes narrow paths; file names on this system are UTF-8.
    h->hProfile = cmsOpenProfileFromFileTHR(h->Context(), WideToUtf8(path).c_str(), "r");
    if (!h->hProfile) h->ThrowError(__LINE__);
    h->m_Path = path;
    CSHA1 sha;
    if (!sha.HashFile(path.c_str())) {
        h->m_ErrorText += L"Cannot read " + path + L"\n";
        h->ThrowError(__LINE__);
    }
    sha.Final();
    h->m_Hash = sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
    return h;
}

std::unique_ptr<CLcmsProfileHandle> CLcmsProfileHandle::FromMemory(const void* data) {
    std::unique_ptr<CLcmsProfileHandle> h(new CLcmsProfileHandle);
    if (!data) {
        h->m_ErrorText += L"No profile data\n";
        h->ThrowError(__LINE__);
    }
    // The size field of the ICC header, big-endian.
    const auto* b = static_cast<const unsigned char*>(data);
    const cmsUInt32Number size = cmsUInt32Number(b[0]) << 24 | cmsUInt32Number(b[1]) << 16 |
                                 cmsUInt32Number(b[2]) << 8 | cmsUInt32Number(b[3]);
    h->hProfile = cmsOpenProfileFromMemTHR(h->Context(), data, size);
    if (!h->hProfile) h->ThrowError(__LINE__);
    CSHA1 sha;
    sha.Update(data, size);
    sha.Final();
    h->m_Hash = sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
    return h;
}

std::unique_ptr<CLcmsProfileHandle>
CLcmsProfileHandle::FromCurves(cmsColorSpaceSignature space,
                               const std::vector<unsigned short*>& curves) {
    std::unique_ptr<CLcmsProfileHandle> h(new CLcmsProfileHandle);
    if (curves.size() < cmsChannelsOf(space))
        ThrowStringException(std::wstring(L"Not enough channels"), __LINE__, kThrowFile);
    // Every curve enters the hash, also those beyond the channels of the space.
    std::vector<std::unique_ptr<cmsToneCurve, ToneCurveFree>> owned;
    std::vector<cmsToneCurve*> tones;
    CSHA1 sha;
    for (unsigned short* curve : curves) {
        if (!curve) {
            h->m_ErrorText += L"Missing curve\n";
            h->ThrowError(__LINE__);
        }
        owned.emplace_back(cmsBuildTabulatedToneCurve16(h->Context(), kCurveEntries, curve));
        if (!owned.back()) h->ThrowError(__LINE__);
        tones.push_back(owned.back().get());
        sha.Update(curve, kCurveEntries * sizeof(unsigned short));
    }
    sha.Final();
    h->m_Hash = sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
    h->hProfile = cmsCreateLinearizationDeviceLinkTHR(h->Context(), space, tones.data());
    if (!h->hProfile) h->ThrowError(__LINE__);
    h->bCurves = 1;
    return h;
}
