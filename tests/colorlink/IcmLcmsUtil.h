// Helpers of the tests that run the ICM back-end over its lcms2 platform: the reference
// conversion made with lcms2 directly, byte reordering, and the profiles these tests need.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "base/Resource.h"
#include "base/WideString.h"
#include "colorlink/LinkTestUtil.h"
#include "gridtable/BuiltInMft.h"
#include "support/Files.h"
#include "support/SampleLinks.h"
#include "support/TestData.h"

namespace icmtest {

using kvrtest::Bytes;

// The built-in Lab profile as the library carries it.
inline Bytes LabProfileBytes() {
    unsigned size = 0;
    std::unique_ptr<unsigned char[]> copy(
        GetCopyOfUserdefResource(UserdefResourceId(kLabProfileResourceId).c_str(),
                                 UserdefResourceId(kLabProfileResourceType).c_str(), &size));
    return copy ? Bytes(copy.get(), copy.get() + size) : Bytes();
}

// lcms2 handles that close themselves.
struct ProfileCloser {
    void operator()(void* h) const { cmsCloseProfile(h); }
};
using RefProfile = std::unique_ptr<void, ProfileCloser>;
struct TransformDeleter {
    void operator()(void* h) const { cmsDeleteTransform(h); }
};
using RefTransform = std::unique_ptr<void, TransformDeleter>;

inline RefProfile RefOpen(const std::wstring& path) {
    return RefProfile(cmsOpenProfileFromFile(WideToUtf8(path).c_str(), "r"));
}
inline RefProfile RefOpen(const Bytes& bytes) {
    return RefProfile(cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size())));
}

// The same chain converted by lcms2 directly, one intent for all profiles, in the colour
// spaces' own channel order. Chains of more than six inputs are evaluated for each pixel, as the
// platform does.
inline std::vector<uint8_t> RefConvert(const std::vector<cmsHPROFILE>& chain, uint32_t intent,
                                       cmsUInt32Number inFormat, cmsUInt32Number outFormat,
                                       const std::vector<uint8_t>& src, unsigned pixels) {
    const cmsUInt32Number flags = T_CHANNELS(inFormat) > 6 ? cmsFLAGS_NOOPTIMIZE : 0;
    RefTransform t(cmsCreateMultiprofileTransform(const_cast<cmsHPROFILE*>(chain.data()),
                                                  cmsUInt32Number(chain.size()), inFormat,
                                                  outFormat, intent, flags));
    EXPECT_NE(t, nullptr) << "lcms2 refuses the reference chain";
    std::vector<uint8_t> out(size_t(pixels) * T_CHANNELS(outFormat));
    if (t) cmsDoTransform(t.get(), src.data(), out.data(), pixels);
    return out;
}

// Each pixel's samples in the reverse order: RGB to BGR, CMYK to KYMC and back.
inline std::vector<uint8_t> Reversed(const std::vector<uint8_t>& v, unsigned channels) {
    std::vector<uint8_t> r(v.size());
    for (size_t i = 0; i + channels <= v.size(); i += channels)
        std::reverse_copy(v.begin() + i, v.begin() + i + channels, r.begin() + i);
    return r;
}

// The largest difference of two runs of samples of equal length.
inline int MaxDiff(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    EXPECT_EQ(a.size(), b.size());
    int worst = 0;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        worst = std::max(worst, std::abs(int(a[i]) - int(b[i])));
    return worst;
}

// The colour space of `n` inks (5CLR to 8CLR).
inline uint32_t InkSpace(unsigned n) {
    return kvrtest::Sig("0CLR") + (uint32_t(n) << 24);
}

// A printer of `n` inks (5 to 8): Lab to inks and back, small grids.
inline linktest::ProfileSpec InkPrinter(unsigned n) {
    linktest::ProfileSpec p;
    p.colorSpace = InkSpace(n);
    linktest::TableSpec toLab;
    toLab.sig = icSigAToB0Tag;
    toLab.in = n;
    toLab.out = 3;
    toLab.points = 3;
    toLab.node = [n](const double* x, uint16_t* y) {
        double ink = 0;
        for (unsigned c = 0; c < n; ++c) ink += x[c] * (1.0 + 0.1 * c);
        ink /= n * 1.4;
        y[0] = kvrtest::U16(1.0 - 0.9 * ink);
        y[1] = kvrtest::U16(0.5 + 0.2 * (x[0] - x[1]));
        y[2] = kvrtest::U16(0.5 + 0.2 * (x[n - 1] - x[2]));
    };
    p.tables = {toLab, linktest::LabToInks(icSigBToA0Tag, 5, n)};
    return p;
}

// A device link from RGB to CMYK.
inline linktest::ProfileSpec RgbToCmykLink() {
    linktest::ProfileSpec p;
    p.deviceClass = icSigLinkClass;
    p.colorSpace = icSigRgbData;
    p.pcs = icSigCmykData;
    p.tables = {linktest::DeviceToDevice(icSigAToB0Tag, 3, 4, 5)};
    return p;
}

} // namespace icmtest
