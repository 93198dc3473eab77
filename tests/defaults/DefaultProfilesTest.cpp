// The default profiles that the build writes into <build>/profiles (tools/defaults): present,
// readable by the library, by lcms2 and by argyll's iccdump, of the stated classes and tag
// types, and colorimetrically sound. Colours are compared by CIE76 (lcms2's cmsDeltaE).
//
// Where results are checked against numbers, the numbers come from outside the generator: the
// sRGB profile against lcms2's own sRGB, the CMYK profile's A2B1 at its full-tone corners
// against the measured press colours of the model, and the B2A tables through lcms2's A2B1.
// Bounds that depend on table interpolation are the observed maxima with a small margin.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "icc/IccProfileUse.h"
#include "support/IccSig.h"

namespace fs = std::filesystem;

namespace {

const fs::path kProfiles = fs::path(KVR_BINARY_DIR) / "profiles";
const fs::path kRgb = kProfiles / "InputRgb" / "kvr-srgb.icc";
const fs::path kGray = kProfiles / "InputGray" / "kvr-gray.icc";
const fs::path kCmyk = kProfiles / "Printer" / "kvr-cmyk.icc";

constexpr double kInkLimit = 3.0; // 300% total ink

std::vector<uint8_t> ReadFile(const fs::path& path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

uint32_t Be32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | b[at + 3];
}

using kvrtest::Sig;

std::string SigText(uint32_t s) {
    std::string t;
    for (int i = 3; i >= 0; --i) t += char((s >> (8 * i)) & 0xFF);
    return t;
}

// lcms2 handles and transforms, closed on scope exit.
struct ProfileCloser {
    void operator()(void* h) const { cmsCloseProfile(h); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
struct TransformDeleter {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};
using Transform = std::unique_ptr<void, TransformDeleter>;

Profile Open(const fs::path& path) {
    return Profile(cmsOpenProfileFromFile(path.string().c_str(), "r"));
}

// Collects what lcms2 reports while a test runs.
std::vector<std::string> g_lcmsErrors;
void CollectLcmsError(cmsContext, cmsUInt32Number, const char* text) {
    g_lcmsErrors.push_back(text);
}

class DefaultProfiles : public ::testing::Test {
protected:
    void SetUp() override {
        g_lcmsErrors.clear();
        cmsSetLogErrorHandler(CollectLcmsError);
        for (const fs::path& p : {kRgb, kGray, kCmyk})
            ASSERT_TRUE(fs::is_regular_file(p)) << p << " is missing: build the target kvrdefaults";
    }
    void TearDown() override {
        cmsSetLogErrorHandler(nullptr);
        EXPECT_EQ(std::vector<std::string>{}, g_lcmsErrors) << "lcms2 reported errors";
    }
};

// Random ink amounts (0..1) whose total stays within the ink limit: colours the press prints.
std::vector<std::array<double, 4>> PrintableInks(size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<std::array<double, 4>> inks;
    while (inks.size() < count) {
        std::array<double, 4> ink{u(rng), u(rng), u(rng), u(rng)};
        if (ink[0] + ink[1] + ink[2] + ink[3] <= kInkLimit) inks.push_back(ink);
    }
    return inks;
}

// Lab in the 16-bit encoding of version 2 (L 100 at 0xFF00, a and b 0 at 0x8000), as the mft2
// tables take it.
std::array<uint16_t, 3> EncodeLabV2(const cmsCIELab& lab) {
    const auto q = [](double v) { return uint16_t(std::lround(std::clamp(v, 0.0, 65535.0))); };
    return {q(lab.L * 652.8), q((lab.a + 128.0) * 256.0), q((lab.b + 128.0) * 256.0)};
}
cmsCIELab DecodeLabV2(const uint16_t* v) {
    return {v[0] / 652.8, v[1] / 256.0 - 128.0, v[2] / 256.0 - 128.0};
}

// The profile's press: inks (percent, as TYPE_CMYK_DBL takes them) to Lab, relative
// colorimetric, through lcms2 and the A2B1 table; and Lab to inks through B2A1.
class Press {
public:
    explicit Press(cmsUInt32Number intent = INTENT_RELATIVE_COLORIMETRIC)
        : m_cmyk(Open(kCmyk)), m_lab(cmsCreateLab4Profile(nullptr)),
          m_print(cmsCreateTransform(m_cmyk.get(), TYPE_CMYK_DBL, m_lab.get(), TYPE_Lab_DBL,
                                     INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE)),
          m_separate(cmsCreateTransform(m_lab.get(), TYPE_Lab_DBL, m_cmyk.get(), TYPE_CMYK_DBL,
                                        intent, cmsFLAGS_NOOPTIMIZE)) {}
    bool Ok() const { return m_print && m_separate; }

    cmsCIELab Print(const std::array<double, 4>& ink) const {
        const double pct[4] = {ink[0] * 100, ink[1] * 100, ink[2] * 100, ink[3] * 100};
        cmsCIELab lab;
        cmsDoTransform(m_print.get(), pct, &lab, 1);
        return lab;
    }
    std::array<double, 4> Separate(const cmsCIELab& lab) const {
        double pct[4];
        cmsDoTransform(m_separate.get(), &lab, pct, 1);
        return {pct[0] / 100, pct[1] / 100, pct[2] / 100, pct[3] / 100};
    }

private:
    Profile m_cmyk, m_lab;
    Transform m_print, m_separate;
};

struct Stats {
    double max = 0.0, sum = 0.0;
    size_t n = 0;
    void Add(double v) {
        max = std::max(max, v);
        sum += v;
        ++n;
    }
    double Mean() const { return n ? sum / double(n) : 0.0; }
};

// ---------------------------------------------------------------------------------------------
// Files and headers

TEST_F(DefaultProfiles, FilesLieInTheFoldersOfTheSettingBasePath) {
    // The command-line tool and the presets look for profiles by folder below BasePath.
    EXPECT_EQ("InputRgb", kRgb.parent_path().filename());
    EXPECT_EQ("InputGray", kGray.parent_path().filename());
    EXPECT_EQ("Printer", kCmyk.parent_path().filename());
    for (const fs::path& p : {kRgb, kGray, kCmyk}) {
        const auto bytes = ReadFile(p);
        ASSERT_GE(bytes.size(), 132u) << p;
        EXPECT_EQ(bytes.size(), Be32(bytes, 0)) << p << ": header size and file size differ";
    }
}

struct HeaderCase {
    fs::path path;
    uint32_t deviceClass, colorSpace, pcs, version;
};

TEST_F(DefaultProfiles, HeadersGiveClassSpacesVersionAndNoTimeStamp) {
    const HeaderCase cases[] = {
        {kRgb, Sig("mntr"), Sig("RGB "), Sig("XYZ "), 0x02400000}, // chad: version 2.4
        {kGray, Sig("mntr"), Sig("GRAY"), Sig("XYZ "), 0x02000000},
        {kCmyk, Sig("prtr"), Sig("CMYK"), Sig("Lab "), 0x02000000},
    };
    for (const auto& c : cases) {
        const auto b = ReadFile(c.path);
        ASSERT_GE(b.size(), 128u);
        SCOPED_TRACE(c.path.string());
        EXPECT_EQ(SigText(c.deviceClass), SigText(Be32(b, 12)));
        EXPECT_EQ(SigText(c.colorSpace), SigText(Be32(b, 16)));
        EXPECT_EQ(SigText(c.pcs), SigText(Be32(b, 20)));
        EXPECT_EQ(c.version, Be32(b, 8));
        EXPECT_EQ("acsp", SigText(Be32(b, 36)));
        // Creation date (24..35) and the identifier bytes (84..99) are zero, so that every
        // build writes the same bytes.
        EXPECT_TRUE(std::all_of(b.begin() + 24, b.begin() + 36, [](uint8_t v) { return !v; }));
        EXPECT_TRUE(std::all_of(b.begin() + 84, b.begin() + 100, [](uint8_t v) { return !v; }));
        // D50 illuminant.
        EXPECT_EQ(0x0000F6D6u, Be32(b, 68));
        EXPECT_EQ(0x00010000u, Be32(b, 72));
        EXPECT_EQ(0x0000D32Du, Be32(b, 76));
    }
}

// ---------------------------------------------------------------------------------------------
// Tags

struct TagCase {
    uint32_t sig, type;
};

// Reads every tag of `path` with the library's reader and with lcms2, and checks its type.
void ExpectTags(const fs::path& path, const std::vector<TagCase>& tags) {
    SCOPED_TRACE(path.string());
    CIccProfileRead ours(nullptr);
    ASSERT_NE(0, ours.Open(path.wstring().c_str()));
    const Profile lcms = Open(path);
    ASSERT_TRUE(lcms);
    EXPECT_EQ(tags.size(), size_t(cmsGetTagCount(lcms.get())));
    for (const auto& t : tags) {
        SCOPED_TRACE(SigText(t.sig));
        icTag tag{};
        const uint32_t* block = ours.FindTagData(t.sig, &tag);
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(SigText(t.type), SigText(block[0]));
        EXPECT_TRUE(cmsIsTag(lcms.get(), cmsTagSignature(t.sig)));
        EXPECT_NE(nullptr, cmsReadTag(lcms.get(), cmsTagSignature(t.sig)));
    }
}

TEST_F(DefaultProfiles, RgbProfileHasMatrixCurvesWhiteAdaptationAndTexts) {
    ExpectTags(kRgb, {{Sig("desc"), Sig("desc")},
                      {Sig("rXYZ"), Sig("XYZ ")},
                      {Sig("gXYZ"), Sig("XYZ ")},
                      {Sig("bXYZ"), Sig("XYZ ")},
                      {Sig("rTRC"), Sig("curv")},
                      {Sig("gTRC"), Sig("curv")},
                      {Sig("bTRC"), Sig("curv")},
                      {Sig("wtpt"), Sig("XYZ ")},
                      {Sig("chad"), Sig("sf32")},
                      {Sig("cprt"), Sig("text")}});
    CIccProfileRead ours(nullptr);
    ASSERT_NE(0, ours.Open(kRgb.wstring().c_str()));
    icTag tag{};
    for (const char* s : {"rTRC", "gTRC", "bTRC"}) {
        const uint32_t* curve = ours.FindTagData(Sig({s[0], s[1], s[2], s[3], 0}), &tag);
        ASSERT_NE(nullptr, curve);
        EXPECT_GE(curve[2], 1024u) << s << ": a table of at least 1024 entries";
    }
    const uint32_t* chad = ours.FindTagData(Sig("chad"), &tag);
    ASSERT_NE(nullptr, chad);
    EXPECT_EQ(8u + 9 * 4, tag.size);
}

TEST_F(DefaultProfiles, GrayProfileHasCurveWhiteAndTexts) {
    ExpectTags(kGray, {{Sig("desc"), Sig("desc")},
                       {Sig("kTRC"), Sig("curv")},
                       {Sig("wtpt"), Sig("XYZ ")},
                       {Sig("cprt"), Sig("text")}});
}

TEST_F(DefaultProfiles, CmykProfileHasLookupTablesGamutPreviewWhiteAndTexts) {
    const uint32_t mft2 = Sig("mft2");
    ExpectTags(kCmyk, {{Sig("desc"), Sig("desc")},
                       {Sig("A2B0"), mft2},
                       {Sig("A2B1"), mft2},
                       {Sig("A2B2"), mft2},
                       {Sig("B2A0"), mft2},
                       {Sig("B2A1"), mft2},
                       {Sig("B2A2"), mft2},
                       {Sig("gamt"), mft2},
                       {Sig("pre0"), mft2},
                       {Sig("pre1"), mft2},
                       {Sig("pre2"), mft2},
                       {Sig("wtpt"), Sig("XYZ ")},
                       {Sig("cprt"), Sig("text")}});
    // Channels and grid points as the file gives them: byte 8 inputs, 9 outputs, 10 points.
    const auto b = ReadFile(kCmyk);
    const uint32_t count = Be32(b, 128);
    struct Shape {
        const char* sig;
        unsigned in, out, points;
    };
    const Shape shapes[] = {{"A2B0", 4, 3, 17}, {"A2B1", 4, 3, 17}, {"A2B2", 4, 3, 17},
                            {"B2A0", 3, 4, 33}, {"B2A1", 3, 4, 33}, {"B2A2", 3, 4, 33},
                            {"gamt", 3, 1, 33}, {"pre0", 3, 3, 33}, {"pre1", 3, 3, 33},
                            {"pre2", 3, 3, 33}};
    for (const auto& s : shapes) {
        bool found = false;
        for (uint32_t i = 0; i < count; ++i) {
            if (Be32(b, 132 + 12 * i) != Sig({s.sig[0], s.sig[1], s.sig[2], s.sig[3], 0})) continue;
            const uint32_t at = Be32(b, 132 + 12 * i + 4);
            ASSERT_LT(at + 12, b.size());
            EXPECT_EQ(s.in, b[at + 8]) << s.sig;
            EXPECT_EQ(s.out, b[at + 9]) << s.sig;
            EXPECT_EQ(s.points, b[at + 10]) << s.sig;
            found = true;
        }
        EXPECT_TRUE(found) << s.sig;
    }
}

TEST_F(DefaultProfiles, ProfileUseMakesAFunctionOfEveryLookupTag) {
    CIccProfileUse use(nullptr);
    ASSERT_NE(0, use.Open(kCmyk.wstring().c_str()));
    const Profile lcms = Open(kCmyk);
    ASSERT_TRUE(lcms);
    struct Case {
        const char* sig;
        icColorSpaceSignature src, dst;
    };
    const Case cases[] = {
        {"A2B0", icSigCmykData, icSigLabData}, {"A2B1", icSigCmykData, icSigLabData},
        {"A2B2", icSigCmykData, icSigLabData}, {"B2A0", icSigLabData, icSigCmykData},
        {"B2A1", icSigLabData, icSigCmykData}, {"B2A2", icSigLabData, icSigCmykData},
        {"pre0", icSigLabData, icSigLabData},  {"pre1", icSigLabData, icSigLabData},
        {"pre2", icSigLabData, icSigLabData},  {"gamt", icSigLabData, icSigLabData}};
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> u(0, 65535);
    int worstA2B = 0, worstB2A = 0, worstOther = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sig);
        const uint32_t sig = Sig({c.sig[0], c.sig[1], c.sig[2], c.sig[3], 0});
        std::unique_ptr<CFunc_16TabBaseMft> f(use.CreateMft16Func(sig, false, c.src, c.dst));
        ASSERT_NE(nullptr, f);
        f->InitMftTrn();
        auto* pipe = static_cast<cmsPipeline*>(cmsReadTag(lcms.get(), cmsTagSignature(sig)));
        ASSERT_NE(nullptr, pipe);
        ASSERT_EQ(cmsPipelineInputChannels(pipe), f->inputChan());
        ASSERT_EQ(cmsPipelineOutputChannels(pipe), f->outputChan());
        // Both read the same table: their results differ only by interpolation and rounding.
        int worst = 0;
        for (int i = 0; i < 2000; ++i) {
            uint16_t in[4], ours[4], theirs[4];
            for (unsigned c2 = 0; c2 < f->inputChan(); ++c2) in[c2] = uint16_t(u(rng));
            ASSERT_EQ(1, f->Trn(in, ours));
            cmsPipelineEval16(in, theirs, pipe);
            for (unsigned c2 = 0; c2 < f->outputChan(); ++c2)
                worst = std::max(worst, std::abs(int(ours[c2]) - int(theirs[c2])));
        }
        std::printf("%s: largest difference to lcms2 %d\n", c.sig, worst);
        int& w = c.sig[0] == 'A' ? worstA2B : c.sig[0] == 'B' ? worstB2A : worstOther;
        w = std::max(w, worst);
    }
    // Both evaluate the same tables; the differences are interpolation: four-input grids by
    // different simplices (lcms2 adds a linear step in the fourth input), and the library's
    // fixed-point reading of input curves and grid positions, which costs most where the
    // values change steeply between neighbouring nodes, as the B2A inks do in the shadows
    // (the largest difference lies at L 21.5).
    // The previews of the gamut-mapped intents change more steeply between nodes than the
    // former clipping did.
    EXPECT_LE(worstA2B, 200);   // observed 184
    EXPECT_LE(worstB2A, 400);   // observed 284
    EXPECT_LE(worstOther, 185); // observed 168 (pre0)

    CIccProfileUse rgb(nullptr);
    ASSERT_NE(0, rgb.Open(kRgb.wstring().c_str()));
    EXPECT_NE(nullptr, std::unique_ptr<CFunc_16Tab3Mft>(rgb.CreateFromMatrixTRC()));
    EXPECT_NE(nullptr, std::unique_ptr<CFunc_16Tab3MatrixMft>(rgb.CreateFromMatrixTRCInv()));
    CIccProfileUse gray(nullptr);
    ASSERT_NE(0, gray.Open(kGray.wstring().c_str()));
    EXPECT_NE(nullptr, std::unique_ptr<CFunc_16TabBaseMft>(
                           gray.CreateMft16Func(Sig("kTRC"), false, icSigGrayData, icSigXYZData)));
}

// ---------------------------------------------------------------------------------------------
// Colorimetry

TEST_F(DefaultProfiles, RgbAndGrayProfilesAgreeWithLcmsSrgb) {
    const Profile ours = Open(kRgb), gray = Open(kGray);
    const Profile srgb(cmsCreate_sRGBProfile()), lab(cmsCreateLab4Profile(nullptr));
    ASSERT_TRUE(ours && gray && srgb && lab);
    // Colorants and white.
    const cmsTagSignature sigs[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                    cmsSigBlueColorantTag, cmsSigMediaWhitePointTag};
    for (auto sig : sigs) {
        const auto* a = static_cast<const cmsCIEXYZ*>(cmsReadTag(ours.get(), sig));
        const auto* b = static_cast<const cmsCIEXYZ*>(cmsReadTag(srgb.get(), sig));
        ASSERT_TRUE(a && b) << SigText(sig);
        EXPECT_NEAR(b->X, a->X, 2e-4) << SigText(sig);
        EXPECT_NEAR(b->Y, a->Y, 2e-4) << SigText(sig);
        EXPECT_NEAR(b->Z, a->Z, 2e-4) << SigText(sig);
    }
    // Colours: every 8-bit RGB on a 16-step lattice to Lab, by both profiles.
    Transform mine(cmsCreateTransform(ours.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL,
                                      INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE));
    Transform ref(cmsCreateTransform(srgb.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL,
                                     INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE));
    ASSERT_TRUE(mine && ref);
    Stats d;
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 15)
            for (int b = 0; b < 256; b += 15) {
                const uint8_t rgb[3] = {uint8_t(r), uint8_t(g), uint8_t(b)};
                cmsCIELab x, y;
                cmsDoTransform(mine.get(), rgb, &x, 1);
                cmsDoTransform(ref.get(), rgb, &y, 1);
                d.Add(cmsDeltaE(&x, &y));
            }
    std::printf("sRGB against lcms2's sRGB on 18^3 colours: max dE76 %.4f\n", d.max);
    EXPECT_LT(d.max, 0.01) << "mean " << d.Mean(); // observed 0.0070
    // Grey: the grey profile gives the L of sRGB's neutral of the same value, and no colour.
    Transform grey(cmsCreateTransform(gray.get(), TYPE_GRAY_8, lab.get(), TYPE_Lab_DBL,
                                      INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE));
    ASSERT_TRUE(grey);
    for (int v = 0; v < 256; v += 5) {
        const uint8_t k = uint8_t(v), rgb[3] = {k, k, k};
        cmsCIELab x, y;
        cmsDoTransform(grey.get(), &k, &x, 1);
        cmsDoTransform(ref.get(), rgb, &y, 1);
        EXPECT_NEAR(y.L, x.L, 0.05) << v;
        EXPECT_NEAR(0.0, x.a, 0.01) << v;
        EXPECT_NEAR(0.0, x.b, 0.01) << v;
    }
}

TEST_F(DefaultProfiles, CmykProfilePrintsTheMeasuredPressColoursAtItsCorners) {
    // CIELAB D50 of the 16 full-tone combinations of the press, relative to the paper, by c, m,
    // y, k present (the last fastest): the measurements the press model is built on.
    constexpr double kMeasured[16][3] = {
        {100.00, -0.00, -0.00}, {22.35, 1.07, 0.06},    {95.08, -6.30, 90.35},
        {20.49, -2.26, 11.71},  {53.95, 76.14, -6.56},  {13.98, 15.88, -0.39},
        {53.60, 69.81, 45.20},  {15.04, 11.57, 6.38},   {63.61, -41.39, -48.34},
        {16.78, -8.02, -9.98},  {58.88, -67.54, 27.13}, {16.84, -13.47, 4.38},
        {30.92, 19.99, -48.36}, {10.63, 7.70, -9.10},   {29.01, 0.48, -1.36},
        {11.77, 0.77, 0.33}};
    const Press press;
    ASSERT_TRUE(press.Ok());
    double worst = 0.0;
    for (int p = 0; p < 16; ++p) {
        const std::array<double, 4> ink{double(p >> 3 & 1), double(p >> 2 & 1), double(p >> 1 & 1),
                                        double(p & 1)};
        const cmsCIELab lab = press.Print(ink);
        const cmsCIELab want{kMeasured[p][0], kMeasured[p][1], kMeasured[p][2]};
        worst = std::max(worst, cmsDeltaE(&want, &lab));
    }
    std::printf("A2B1 at the 16 full-tone corners: max dE76 %.4f from the measurements\n", worst);
    // What remains is the 16-bit Lab of the grid.
    EXPECT_LT(worst, 0.005); // observed 0.0021
    // The paper is the media white: D50.
    const Profile cmyk = Open(kCmyk);
    const auto* white =
        static_cast<const cmsCIEXYZ*>(cmsReadTag(cmyk.get(), cmsSigMediaWhitePointTag));
    ASSERT_NE(nullptr, white);
    EXPECT_NEAR(0.9642, white->X, 1e-4);
    EXPECT_NEAR(1.0, white->Y, 1e-4);
    EXPECT_NEAR(0.8249, white->Z, 1e-4);
}

TEST_F(DefaultProfiles, LcmsConvertsSrgbToTheCmykProfileAtEveryIntent) {
    const Profile rgb = Open(kRgb), cmyk = Open(kCmyk), lab(cmsCreateLab4Profile(nullptr));
    ASSERT_TRUE(rgb && cmyk && lab);
    const Press press;
    ASSERT_TRUE(press.Ok());
    for (cmsUInt32Number intent = 0; intent <= 3; ++intent) {
        SCOPED_TRACE("intent " + std::to_string(intent));
        Transform t(
            cmsCreateTransform(rgb.get(), TYPE_RGB_16, cmyk.get(), TYPE_CMYK_16, intent, 0));
        ASSERT_TRUE(t);
        // White is paper: no ink; at the absolute intent, where lcms2 takes sRGB's white as
        // D65 by its chad, nearly none. Black is full black within the ink limit.
        const uint16_t white[3] = {65535, 65535, 65535}, black[3] = {0, 0, 0};
        uint16_t out[4];
        cmsDoTransform(t.get(), white, out, 1);
        if (intent != INTENT_ABSOLUTE_COLORIMETRIC)
            EXPECT_EQ((std::array<uint16_t, 4>{0, 0, 0, 0}),
                      (std::array<uint16_t, 4>{out[0], out[1], out[2], out[3]}));
        else
            EXPECT_LE(out[0] + out[1] + out[2] + out[3], 10); // observed 5 units
        cmsDoTransform(t.get(), black, out, 1);
        EXPECT_GE(out[3], 65000);
        EXPECT_LE(out[0] + out[1] + out[2] + out[3], 3 * 65535 + 4);
        // Any colour stays within the ink limit (a few units for rounding).
        std::mt19937 rng(intent);
        std::uniform_int_distribution<int> u(0, 65535);
        int worstTotal = 0;
        for (int i = 0; i < 2000; ++i) {
            const uint16_t in[3] = {uint16_t(u(rng)), uint16_t(u(rng)), uint16_t(u(rng))};
            cmsDoTransform(t.get(), in, out, 1);
            worstTotal = std::max(worstTotal, out[0] + out[1] + out[2] + out[3]);
        }
        EXPECT_LE(worstTotal, 3 * 65535 + 4);
    }
    // Greys of sRGB print as greys at the perceptual intent (measured through A2B1).
    Transform t(cmsCreateTransform(rgb.get(), TYPE_RGB_DBL, cmyk.get(), TYPE_CMYK_DBL,
                                   INTENT_PERCEPTUAL, cmsFLAGS_NOOPTIMIZE));
    ASSERT_TRUE(t);
    double worstChroma = 0.0, lastL = -1.0;
    for (int v = 0; v <= 20; ++v) {
        const double g = v / 20.0, in[3] = {g, g, g};
        double pct[4];
        cmsDoTransform(t.get(), in, pct, 1);
        const cmsCIELab printed =
            press.Print({pct[0] / 100, pct[1] / 100, pct[2] / 100, pct[3] / 100});
        worstChroma = std::max(worstChroma, std::hypot(printed.a, printed.b));
        EXPECT_GT(printed.L, lastL) << "lighter greys print lighter, " << v;
        lastL = printed.L;
    }
    std::printf("sRGB greys printed at the perceptual intent: chroma at most %.3f\n", worstChroma);
    EXPECT_LT(worstChroma, 0.1); // observed 0.058
}

TEST_F(DefaultProfiles, CmykToLabWorksAtEveryIntent) {
    const Profile cmyk = Open(kCmyk), lab(cmsCreateLab4Profile(nullptr));
    ASSERT_TRUE(cmyk && lab);
    for (cmsUInt32Number intent = 0; intent <= 3; ++intent) {
        Transform t(
            cmsCreateTransform(cmyk.get(), TYPE_CMYK_16, lab.get(), TYPE_Lab_DBL, intent, 0));
        ASSERT_TRUE(t) << intent;
        const uint16_t paper[4] = {0, 0, 0, 0}, black[4] = {0, 0, 0, 65535};
        cmsCIELab w, k;
        cmsDoTransform(t.get(), paper, &w, 1);
        cmsDoTransform(t.get(), black, &k, 1);
        EXPECT_NEAR(100.0, w.L, 0.01) << intent;
        EXPECT_NEAR(0.0, w.a, 0.01) << intent;
        EXPECT_NEAR(0.0, w.b, 0.01) << intent;
        EXPECT_LT(k.L, 25.0) << intent;
    }
}

TEST_F(DefaultProfiles, RelativeRoundTripOfPrintableColoursStaysClose) {
    const Press press;
    ASSERT_TRUE(press.Ok());
    Stats d;
    double worstTotal = 0.0;
    for (const auto& ink : PrintableInks(5000, 11)) {
        const cmsCIELab lab = press.Print(ink);
        const auto sep = press.Separate(lab);
        worstTotal = std::max(worstTotal, sep[0] + sep[1] + sep[2] + sep[3]);
        const cmsCIELab back = press.Print(sep);
        d.Add(cmsDeltaE(&lab, &back));
    }
    std::printf("relative round trip Lab -> B2A1 -> A2B1 of %zu printable colours: mean dE76 "
                "%.3f, max %.3f\n",
                d.n, d.Mean(), d.max);
    EXPECT_LT(d.Mean(), 0.30); // observed 0.230
    // Temporary limit: the former separation stayed below 1.5 (1.383). Black generation now
    // follows a grey-axis curve that the grey-component rule joins only away from the axis;
    // in dark browns near the gamut's boundary the black of neighbouring nodes still differs
    // more than interpolation follows (observed 1.941; 1.877 before the relative intent weighed
    // lightness more far outside the gamut).
    EXPECT_LT(d.max, 2.0);
    EXPECT_LE(worstTotal, kInkLimit + 1e-4);
}

// The gamut tag through lcms2's reading of it: 256 per unit of CIE76 difference outside.
class GamutTag {
public:
    GamutTag() : m_cmyk(Open(kCmyk)) {
        if (m_cmyk) m_pipe = static_cast<cmsPipeline*>(cmsReadTag(m_cmyk.get(), cmsSigGamutTag));
    }
    bool Ok() const { return m_pipe != nullptr; }
    uint16_t operator()(const cmsCIELab& lab) const {
        const auto in = EncodeLabV2(lab);
        uint16_t out[1];
        cmsPipelineEval16(in.data(), out, m_pipe);
        return out[0];
    }

private:
    Profile m_cmyk;
    cmsPipeline* m_pipe = nullptr;
};

TEST_F(DefaultProfiles, GamutTagTellsPrintableFromFarColours) {
    const GamutTag gamt;
    ASSERT_TRUE(gamt.Ok());
    const Press press;
    ASSERT_TRUE(press.Ok());
    Stats d;
    size_t zero = 0;
    for (const auto& ink : PrintableInks(5000, 12)) {
        const uint16_t v = gamt(press.Print(ink));
        d.Add(v / 256.0);
        zero += v == 0;
    }
    std::printf("gamt on %zu printable colours: %.1f%% exactly 0, max %.2f units\n", d.n,
                100.0 * double(zero) / double(d.n), d.max);
    // Interpolation between printable nodes (0) and nodes outside gives small values near the
    // gamut's boundary.
    EXPECT_GT(double(zero) / double(d.n), 0.85); // observed 0.890
    // Nodes outside the gamut now go to the nearest colour of their own hue, farther than the
    // nearest colour of any hue, and far outside with lightness weighted up to twice.
    EXPECT_LT(d.max, 4.25); // observed 4.07
    // Greys within the press's range are printable.
    for (double L = 25.0; L <= 95.0; L += 5.0) EXPECT_EQ(0, gamt({L, 0.0, 0.0})) << L;
    // Far outside.
    const cmsCIELab far[] = {{50, 120, 0}, {50, 0, -120}, {95, -80, 0}, {20, -60, 60}};
    for (const auto& lab : far)
        EXPECT_GT(gamt(lab), 20 * 256) << lab.L << " " << lab.a << " " << lab.b;
}

TEST_F(DefaultProfiles, PreviewTagsPrintThroughThePress) {
    const Profile cmyk = Open(kCmyk);
    ASSERT_TRUE(cmyk);
    const Press relative(INTENT_RELATIVE_COLORIMETRIC), perceptual(INTENT_PERCEPTUAL);
    ASSERT_TRUE(relative.Ok() && perceptual.Ok());
    struct Case {
        cmsTagSignature sig;
        const Press* separation;
    };
    const Case cases[] = {{cmsSigPreview0Tag, &perceptual},
                          {cmsSigPreview1Tag, &relative},
                          {cmsSigPreview2Tag, &perceptual}};
    std::mt19937 rng(13);
    std::uniform_real_distribution<double> L(0.0, 100.0), ab(-128.0, 127.0);
    for (const auto& c : cases) {
        SCOPED_TRACE(SigText(c.sig));
        auto* pipe = static_cast<cmsPipeline*>(cmsReadTag(cmyk.get(), c.sig));
        ASSERT_NE(nullptr, pipe);
        // The preview equals separating by B2Ax and printing by A2B1, up to interpolation.
        Stats d;
        for (int i = 0; i < 3000; ++i) {
            const cmsCIELab lab{L(rng), ab(rng), ab(rng)};
            const auto in = EncodeLabV2(lab);
            uint16_t out[3];
            cmsPipelineEval16(in.data(), out, pipe);
            const cmsCIELab preview = DecodeLabV2(out);
            const cmsCIELab printed = relative.Print(c.separation->Separate(lab));
            d.Add(cmsDeltaE(&preview, &printed));
        }
        std::printf("%s against B2Ax and A2B1: mean dE76 %.3f, max %.3f\n", SigText(c.sig).c_str(),
                    d.Mean(), d.max);
        // Observed means 0.15 (pre0), 0.22 (pre1), 0.20 (pre2), maxima 5.0, 8.1, 5.7: the
        // preview holds the model's colour of each node's separation, the chain interpolates
        // twice, and across the gamut's boundary the mapped colours of neighbouring nodes lie
        // far apart.
        EXPECT_LT(d.Mean(), 0.25) << "max " << d.max;
        EXPECT_LT(d.max, 9.0) << "mean " << d.Mean();
    }
}

// ---------------------------------------------------------------------------------------------
// argyll

constexpr char kIccdump[] = "/usr/bin/iccdump";

TEST_F(DefaultProfiles, ArgyllIccdumpReadsEveryProfileWithoutComplaint) {
    if (::access(kIccdump, X_OK) != 0)
        FAIL() << "argyll's iccdump is not installed at " << kIccdump
               << " (scripts/install-deps.sh --test-data installs it)";
    for (const fs::path& p : {kRgb, kGray, kCmyk}) {
        SCOPED_TRACE(p.string());
        const std::string command = std::string(kIccdump) + " -v3 '" + p.string() + "' 2>&1";
        FILE* pipe = ::popen(command.c_str(), "r");
        ASSERT_NE(nullptr, pipe);
        std::vector<std::string> complaints;
        size_t lines = 0;
        std::string line;
        char buf[4096];
        while (std::fgets(buf, sizeof buf, pipe)) {
            line += buf;
            if (line.empty() || line.back() != '\n') continue;
            ++lines;
            if (line.find("Error") != std::string::npos ||
                line.find("error") != std::string::npos ||
                line.find("Warning") != std::string::npos ||
                line.find("warning") != std::string::npos)
                complaints.push_back(line);
            line.clear();
        }
        const int status = ::pclose(pipe);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(0, WEXITSTATUS(status));
        EXPECT_EQ(std::vector<std::string>{}, complaints);
        EXPECT_GT(lines, 50u) << "iccdump printed the tags";
    }
}

} // namespace
