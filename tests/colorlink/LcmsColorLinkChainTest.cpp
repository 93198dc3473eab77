// The lcms back-end's pixels against lcms2 itself: for the chains of the native link's accuracy
// test, at every intent 0 to 13, at 16 and at 8 bits, the link's output is bit for bit that of a
// cmsCreateExtendedTransform made here with the arrays and flags the back-end is to hand lcms2:
//
//   - a v4 Lab profile in front of a chain that begins in the connection space (or takes Lab
//     pixels into an XYZ profile), and one at the end of a chain that gives Lab pixels out of an
//     XYZ profile, each with intent 0 and no black point compensation;
//   - a step's intent mapped to lcms2's (0 and 1 perceptual, 5 relative with compensation, 6 to
//     13 the K-only and K-plane intents, with compensation for 9 and 13);
//   - a preview step twice: at the intent, then relative without compensation;
//   - a single profile in the arrays takes the plain intent of a black-preserving one;
//   - 16-bit pixels in the profiles' colour spaces; flags 0 with the default settings.
//
// 8-bit pixels are widened by 257 into the reference and narrowed to the high byte out of it.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "colorlink/LcmsTestUtil.h"
#include "colorlink/lcms/LcmsColorLink.h"

using namespace lcmstest;

namespace {

constexpr unsigned kPixels = 4000;

const std::string kSrgb = Corpus("sRGB.icc");
const std::string kAdobe = Corpus("compatibleWithAdobeRGB1998.icc");
const std::string kProject = std::string(KVR_BINARY_DIR) + "/profiles/Printer/kvr-cmyk.icc";

struct SPrinter {
    const char* name;
    std::string path;
};
const std::vector<SPrinter>& Printers() {
    static const std::vector<SPrinter> p = {{"gsDefault", Corpus("default_cmyk.icc")},
                                            {"gsPs", Corpus("ps_cmyk.icc")},
                                            {"fogra39", Corpus("FOGRA39L_low.icc")},
                                            {"project", kProject}};
    return p;
}
std::string PrinterPath(const std::string& name) {
    for (const auto& p : Printers())
        if (name == p.name) return p.path;
    return name;
}

enum class Family { RgbToCmyk, LabToCmyk, CmykToLab, CmykToCmyk, RgbToRgb, Preview };

struct SCase {
    Family family;
    std::string src, dst;
    int intent;
    std::string name;
};

std::vector<SCase> AllCases() {
    std::vector<SCase> cases;
    auto add = [&](Family f, std::string src, std::string dst, std::string name) {
        for (int intent = 0; intent <= 13; ++intent)
            cases.push_back({f, src, dst, intent, name + "_intent" + std::to_string(intent)});
    };
    for (const auto& p : Printers()) {
        const std::string n = p.name;
        add(Family::RgbToCmyk, kSrgb, n, "sRGB_to_" + n);
        add(Family::LabToCmyk, "", n, "Lab_to_" + n);
        add(Family::CmykToLab, n, "", n + "_to_Lab");
        add(Family::Preview, n, "", "Preview_" + n);
    }
    const std::pair<const char*, const char*> pairs[] = {
        {"gsDefault", "gsPs"}, {"gsPs", "fogra39"}, {"fogra39", "project"}};
    for (const auto& [a, b] : pairs) add(Family::CmykToCmyk, a, b, std::string(a) + "_to_" + b);
    add(Family::RgbToRgb, kSrgb, kAdobe, "sRGB_to_AdobeRGB");
    return cases;
}

// lcms2's intent and compensation of an intent of the link, as listed at the top.
cmsUInt32Number Mapped(int intent) {
    static const cmsUInt32Number m[14] = {0, 0, 1, 2, 3, 1, 10, 11, 12, 11, 13, 14, 15, 14};
    return m[intent];
}
cmsBool Bpc(int intent) {
    return intent == 5 || intent == 9 || intent == 13;
}
cmsUInt32Number Plain(cmsUInt32Number lcmsIntent) {
    switch (lcmsIntent) {
    case 10:
    case 13:
        return 0;
    case 11:
    case 14:
        return 1;
    case 12:
    case 15:
        return 2;
    default:
        return lcmsIntent;
    }
}

std::vector<uint16_t> Samples16(unsigned channels, bool lab) {
    std::vector<uint16_t> s;
    for (unsigned corner = 0; corner < (1u << channels); ++corner)
        for (unsigned c = 0; c < channels; ++c) s.push_back(((corner >> c) & 1) ? 0xFFFF : 0);
    for (unsigned k = 0; k < 256; ++k)
        for (unsigned c = 0; c < channels; ++c)
            s.push_back(lab && c > 0 ? 0x8080 : uint16_t(k * 257));
    std::mt19937 rng(20240611u);
    while (s.size() < size_t(kPixels) * channels) s.push_back(uint16_t(rng() >> 16));
    return s;
}

class LcmsChain : public ::testing::TestWithParam<SCase> {};

TEST_P(LcmsChain, PixelsAreThoseOfLcms2WithThePrescribedArrays) {
    const SCase& c = GetParam();
    const std::string src = c.src.empty() ? "" : PrinterPath(c.src);
    const std::string dst = c.dst.empty() ? "" : PrinterPath(c.dst);
    ASSERT_TRUE(src.empty() || kvrtest::HaveFile(src, "corpus or the build's kvrdefaults"));
    ASSERT_TRUE(dst.empty() || kvrtest::HaveFile(dst, "corpus or the build's kvrdefaults"));

    Profile hs = src.empty() ? nullptr : Open(src);
    Profile hd = dst.empty() ? nullptr : Open(dst);
    Profile labIn(cmsCreateLab4Profile(nullptr)), labOut(cmsCreateLab4Profile(nullptr));
    const cmsUInt32Number li = Mapped(c.intent);
    const cmsBool bpc = Bpc(c.intent);
    auto xyz = [](const Profile& p) { return cmsGetPCS(p.get()) == cmsSigXYZData; };

    // The link's steps and formats, and the arrays for lcms2.
    std::vector<std::pair<std::string, int>> steps;
    unsigned inFmt = 0, nIn = 0, outFmt = 0, nOut = 0;
    cmsUInt32Number lcmsIn = 0, lcmsOut = 0;
    std::vector<cmsHPROFILE> profiles;
    std::vector<cmsUInt32Number> intents;
    std::vector<cmsBool> bpcs;
    auto put = [&](cmsHPROFILE p, cmsUInt32Number i, cmsBool b) {
        profiles.push_back(p);
        intents.push_back(i);
        bpcs.push_back(b);
    };
    switch (c.family) {
    case Family::RgbToCmyk:
    case Family::CmykToCmyk:
    case Family::RgbToRgb: {
        const bool rgbIn = c.family != Family::CmykToCmyk;
        const bool rgbOut = c.family == Family::RgbToRgb;
        steps = {{src, CMdlColorLink::ProfStepDevToPcs}, {dst, CMdlColorLink::ProfStepPcsToDev}};
        inFmt = rgbIn ? CMdlColorLink::LinkFmtRgb : CMdlColorLink::LinkFmtCmyk;
        nIn = rgbIn ? 3 : 4;
        outFmt = rgbOut ? CMdlColorLink::LinkFmtRgb : CMdlColorLink::LinkFmtCmyk;
        nOut = rgbOut ? 3 : 4;
        lcmsIn = rgbIn ? TYPE_RGB_16 : TYPE_CMYK_16;
        lcmsOut = rgbOut ? TYPE_RGB_16 : TYPE_CMYK_16;
        put(hs.get(), li, bpc);
        put(hd.get(), li, bpc);
        break;
    }
    case Family::LabToCmyk:
        steps = {{dst, CMdlColorLink::ProfStepPcsToDev}};
        inFmt = CMdlColorLink::LinkFmtLab, nIn = 3;
        outFmt = CMdlColorLink::LinkFmtCmyk, nOut = 4;
        lcmsIn = TYPE_Lab_16, lcmsOut = TYPE_CMYK_16;
        put(labIn.get(), 0, 0); // begins in the connection space, or Lab into XYZ
        put(hd.get(), li, bpc);
        break;
    case Family::CmykToLab:
        steps = {{src, CMdlColorLink::ProfStepDevToPcs}};
        inFmt = CMdlColorLink::LinkFmtCmyk, nIn = 4;
        outFmt = CMdlColorLink::LinkFmtLab, nOut = 3;
        lcmsIn = TYPE_CMYK_16, lcmsOut = TYPE_Lab_16;
        put(hs.get(), li, bpc);
        if (xyz(hs)) put(labOut.get(), 0, 0);
        break;
    case Family::Preview:
        steps = {{src, CMdlColorLink::ProfStepPreview}};
        inFmt = outFmt = CMdlColorLink::LinkFmtLab;
        nIn = nOut = 3;
        lcmsIn = lcmsOut = TYPE_Lab_16;
        put(labIn.get(), 0, 0);
        put(hs.get(), li, bpc);
        put(hs.get(), INTENT_RELATIVE_COLORIMETRIC, 0);
        if (xyz(hs)) put(labOut.get(), 0, 0);
        break;
    }
    if (profiles.size() == 1) intents[0] = Plain(intents[0]);
    std::vector<cmsFloat64Number> adapt(profiles.size(), 1.0);
    const std::vector<cmsBool> askedBpc = bpcs; // lcms2 writes into the array it is given
    Transform ref(cmsCreateExtendedTransform(nullptr, cmsUInt32Number(profiles.size()),
                                             profiles.data(), bpcs.data(), intents.data(),
                                             adapt.data(), nullptr, 0, lcmsIn, lcmsOut, 0));

    Settings settings; // the defaults
    CLcmsColorLink link(settings.get());
    for (const auto& [path, kind] : steps)
        ASSERT_EQ(link.AddProfile(Wide(path).c_str(), kind, enmRenderingIntent(c.intent)), 1);
    const int built = link.CreateLink(inFmt, nIn, outFmt, nOut);
    EXPECT_EQ(link.LcmsIntents(), intents);
    EXPECT_EQ(link.LcmsBlackPoints(), askedBpc);
    EXPECT_EQ(link.LcmsFlags(), 0u);
    EXPECT_EQ(link.LcmsInputFormat(), lcmsIn);
    EXPECT_EQ(link.LcmsOutputFormat(), lcmsOut);
    ASSERT_EQ(built != 0, ref != nullptr) << "error " << link.GetLinkError();
    if (!ref) {
        // lcms2 refuses the chain (a black-preserving intent after a Lab profile with intent 0):
        // the link reports a refused transform.
        std::printf("%s: refused by lcms2 as by the link\n", c.name.c_str());
        EXPECT_EQ(link.GetLinkError(), 904u);
        return;
    }

    const bool labInput = inFmt == CMdlColorLink::LinkFmtLab;
    const std::vector<uint16_t> s16 = Samples16(nIn, labInput);
    std::vector<uint16_t> a16(size_t(kPixels) * nOut, 1), b16(a16.size(), 2);
    link.TrnPixels16(s16.data(), a16.data(), kPixels);
    cmsDoTransform(ref.get(), s16.data(), b16.data(), kPixels);
    EXPECT_EQ(a16, b16) << "16 bits";

    std::vector<uint8_t> s8(s16.size());
    for (size_t i = 0; i < s8.size(); ++i) s8[i] = uint8_t(s16[i] >> 8);
    std::vector<uint16_t> wide(s8.begin(), s8.end()), out16(a16.size());
    for (auto& v : wide) v = uint16_t(v * 257);
    cmsDoTransform(ref.get(), wide.data(), out16.data(), kPixels);
    std::vector<uint8_t> a8(a16.size(), 1), b8(a16.size());
    for (size_t i = 0; i < b8.size(); ++i) b8[i] = uint8_t(out16[i] >> 8);
    link.TrnPixels8(s8.data(), a8.data(), kPixels);
    EXPECT_EQ(a8, b8) << "8 bits";
}

INSTANTIATE_TEST_SUITE_P(Chains, LcmsChain, ::testing::ValuesIn(AllCases()),
                         [](const ::testing::TestParamInfo<SCase>& info) {
                             return info.param.name;
                         });

} // namespace
