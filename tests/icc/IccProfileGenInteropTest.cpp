// A profile made with every Add... operation of the generator, read back by two independent
// ICC implementations: lcms2 (tag by tag, values compared) and argyll's iccdump.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "gridtable/TabMft.h"
#include "icc/IccProfileGen.h"
#include "support/FuncTab.h"
#include "support/TempDir.h"

namespace fs = std::filesystem;

namespace {

// 27 characters: with its terminator a multiple of 4, so that the length word, which holds
// the length rounded up to a multiple of 4, is also the exact length. argyll's reader takes a
// description whose length word counts more than one terminating zero as empty.
constexpr char kDescription[] = "KVR generator test profile.";
static_assert(sizeof kDescription % 4 == 0);

// Grid sizes and values of the test tables.
constexpr unsigned kPoints16 = 4; // nodes at 0, 21845, 43690, 65535: exact in 16 bits
constexpr unsigned kPoints8 = 4;  // nodes at 0, 85, 170, 255
constexpr unsigned kNodeStep = 21845;

uint16_t Grid16Value(unsigned node, unsigned o) {
    return static_cast<uint16_t>((node * 977u + o * 15000u + 123u) % 65536u);
}
uint8_t Grid8Value(unsigned node, unsigned o) {
    return static_cast<uint8_t>((node * 37u + o * 90u + 5u) % 256u);
}

unsigned SourceValue16(unsigned node, unsigned o) {
    return (node * 5003u + o * 20000u) % 65536u;
}
unsigned SourceValue8(unsigned node, unsigned o) {
    return (node * 29u + o * 70u + 3u) % 256u;
}

// A table source with identity curves of `entries` entries (2 for the 16-bit table, 256 for the
// 8-bit one) and its own grid.
kvrtest::FuncTab SourceTab(unsigned points, unsigned entries = 2) {
    kvrtest::FuncTab tab(3, 3, points, entries, entries);
    tab.Nodes16([](unsigned node, unsigned short* v) {
        for (unsigned o = 0; o < 3; ++o) v[o] = static_cast<unsigned short>(SourceValue16(node, o));
        return 1;
    });
    tab.Nodes8([](unsigned node, unsigned char* v) {
        for (unsigned o = 0; o < 3; ++o) v[o] = static_cast<unsigned char>(SourceValue8(node, o));
        return 1;
    });
    return tab;
}

struct Colour {
    std::wstring name;
    ICC_threecolors pcs;
    std::vector<unsigned short> device;
};

const std::vector<Colour>& NamedColours() {
    static const std::vector<Colour> colours = {
        {L"Warm Red", {{50000, 40000, 30000}}, {0, 65535, 60000, 1000}},
        {L"Gr\u00fcn 354", {{30000, 10000, 50000}}, {50000, 0, 60000, 2000}},
        {L"Process Blue", {{20000, 30000, 10000}}, {65535, 30000, 0, 3000}},
    };
    return colours;
}

// Builds the profile with every Add... operation and saves it.
void MakeProfile(const fs::path& path) {
    CIccProfileGen1 g(nullptr);
    g.SetHeader(icSigOutputClass, icSigRgbData, icSigLabData, icPerceptual);
    g.AddProfileDescriptionTag(kDescription);
    g.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    g.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
    g.AddXYZTag(icSigMediaBlackPointTag, 655, 680, 561);
    g.AddCurveTag(icSigRedTRCTag, 144179, 256);
    g.DupTagAs(icSigGreenTRCTag, icSigRedTRCTag);
    g.DupTagAs(icSigBlueTRCTag, icSigRedTRCTag);
    g.AddCurveTag(icSigGrayTRCTag, 144179, 1);
    g.AddMeasurementInfoTag(IluminantD65, Observer10Degree);

    std::vector<std::wstring> names;
    std::vector<ICC_threecolors> pcs;
    std::vector<unsigned short> device;
    for (const Colour& c : NamedColours()) {
        names.push_back(c.name);
        pcs.push_back(c.pcs);
        device.insert(device.end(), c.device.begin(), c.device.end());
    }
    g.AddNamedColor2Tag(3, 4, L"PMS ", L" C", names, pcs, device);
    g.AddColorantTableTag(
        {L"Red", L"Green", L"Blue"},
        {{{41000, 53000, 45000}}, {{36000, 20000, 48000}}, {{20000, 45000, 10000}}});

    int32_t chad[9];
    CIccProfileGen1::ConvertArrayDoubleToS15Fixed16(9, CIccProfileGen1::sc_BradfordD65ToD50, chad);
    g.AddS15Fixed16ArrayTag(icSigChromaticAdaptationTag, 9, chad);
    uint32_t calt[5] = {icSigDateTimeType, 0};
    const uint16_t date[6] = {2026, 11, 21, 23, 5, 9}; // six u16 in host order
    std::memcpy(calt + 2, date, sizeof date);
    g.AddTagAndData(icTag{icSigCalibrationDateTimeTag, 0, 20}, calt);
    g.AddTarvelinVersionTag();

    // 16-bit pipeline: 256-entry identity input curves, grid, inverting 2-entry output curves.
    CFunc_16Tab3Mft f16(kPoints16, 3);
    std::vector<uint16_t> in16(3 * 256), out16 = {65535, 0, 65535, 0, 65535, 0};
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned e = 0; e < 256; ++e) in16[c * 256 + e] = static_cast<uint16_t>(e * 257);
    std::vector<uint16_t> grid16(64 * 3);
    for (unsigned n = 0; n < 64; ++n)
        for (unsigned o = 0; o < 3; ++o) grid16[n * 3 + o] = Grid16Value(n, o);
    f16.DefineInputTab(in16.data(), 256);
    f16.DefineOutputTab(out16.data(), 2);
    f16.Mft().Define(grid16.data());
    g.AddLut16Tag(icSigAToB0Tag, f16);

    // 8-bit pipeline: identity curves, grid.
    CFunc_8Tab3Mft f8(kPoints8, 3);
    std::vector<uint8_t> grid8(64 * 3);
    for (unsigned n = 0; n < 64; ++n)
        for (unsigned o = 0; o < 3; ++o) grid8[n * 3 + o] = Grid8Value(n, o);
    f8.Mft().Define(grid8.data());
    g.AddLut8Tag(icSigBToA0Tag, f8);

    g.AddLut16Tag(icSigAToB1Tag, SourceTab(2));
    g.AddLut8Tag(icSigBToA1Tag, SourceTab(2, 256));
    g.DupTagAs(icSigAToB2Tag, icSigAToB0Tag);

    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
}

// Evaluates a pipeline at the grid node (i, j, k) of a grid with node spacing `step`.
void EvalAtNode(cmsPipeline* lut, unsigned i, unsigned j, unsigned k, unsigned step,
                cmsUInt16Number out[3]) {
    const cmsUInt16Number in[3] = {cmsUInt16Number(i * step), cmsUInt16Number(j * step),
                                   cmsUInt16Number(k * step)};
    cmsPipelineEval16(in, out, lut);
}

std::string MluAscii(cmsHPROFILE h, cmsTagSignature sig) {
    auto* mlu = static_cast<cmsMLU*>(cmsReadTag(h, sig));
    if (!mlu) return "<no tag>";
    char buf[256] = {};
    cmsMLUgetASCII(mlu, cmsNoLanguage, cmsNoCountry, buf, sizeof buf);
    return buf;
}

} // namespace

TEST(IccProfileGenInterop, LcmsReadsEveryTagItKnows) {
    kvrtest::TempDir dir("kvr-gen-interop");
    const fs::path path = dir / "every-tag.icc";
    MakeProfile(path);
    cmsHPROFILE h = cmsOpenProfileFromFile(path.string().c_str(), "r");
    ASSERT_NE(nullptr, h);

    EXPECT_EQ(cmsSigOutputClass, cmsGetDeviceClass(h));
    EXPECT_EQ(cmsSigRgbData, cmsGetColorSpace(h));
    EXPECT_EQ(cmsSigLabData, cmsGetPCS(h));
    EXPECT_NEAR(2.0, cmsGetProfileVersion(h), 1e-9);

    // Texts.
    EXPECT_EQ(kDescription, MluAscii(h, cmsSigProfileDescriptionTag));
    EXPECT_EQ(CIccProfileGen1::szCopyRight, MluAscii(h, cmsSigCopyrightTag));

    // XYZ.
    auto* wtpt = static_cast<cmsCIEXYZ*>(cmsReadTag(h, cmsSigMediaWhitePointTag));
    ASSERT_NE(nullptr, wtpt);
    EXPECT_NEAR(63190 / 65536.0, wtpt->X, 1e-9);
    EXPECT_NEAR(1.0, wtpt->Y, 1e-9);
    EXPECT_NEAR(54061 / 65536.0, wtpt->Z, 1e-9);
    auto* bkpt = static_cast<cmsCIEXYZ*>(cmsReadTag(h, cmsSigMediaBlackPointTag));
    ASSERT_NE(nullptr, bkpt);
    EXPECT_NEAR(680 / 65536.0, bkpt->Y, 1e-9);

    // Curves: the table of (i / 255)^2.2 in all three shared tags, the gamma of the gray one.
    const double gamma = 144179 / 65536.0;
    for (cmsTagSignature sig : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag}) {
        auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(h, sig));
        ASSERT_NE(nullptr, curve);
        ASSERT_EQ(256u, cmsGetToneCurveEstimatedTableEntries(curve));
        const cmsUInt16Number* table = cmsGetToneCurveEstimatedTable(curve);
        for (unsigned i = 0; i < 256; ++i) {
            const double expected = std::floor(std::pow(i / 255.0, gamma) * 65535.0 + 0.5);
            EXPECT_EQ(expected, table[i]) << i;
        }
    }
    auto* gray = static_cast<cmsToneCurve*>(cmsReadTag(h, cmsSigGrayTRCTag));
    ASSERT_NE(nullptr, gray);
    EXPECT_NEAR(563 / 256.0, cmsEstimateGamma(gray, 0.001), 1e-3);

    // Measurement.
    auto* meas = static_cast<cmsICCMeasurementConditions*>(cmsReadTag(h, cmsSigMeasurementTag));
    ASSERT_NE(nullptr, meas);
    EXPECT_EQ(2u, meas->Observer);
    EXPECT_EQ(2u, meas->IlluminantType); // D65
    EXPECT_EQ(0u, meas->Geometry);
    EXPECT_EQ(0.0, meas->Flare);
    EXPECT_EQ(0.0, meas->Backing.X);

    // Named colours.
    auto* ncl = static_cast<cmsNAMEDCOLORLIST*>(cmsReadTag(h, cmsSigNamedColor2Tag));
    ASSERT_NE(nullptr, ncl);
    ASSERT_EQ(3u, cmsNamedColorCount(ncl));
    const char* expectNames[3] = {"Warm Red", "Gr\xC3\xBCn 354", "Process Blue"};
    for (unsigned i = 0; i < 3; ++i) {
        char name[256] = {}, prefix[33] = {}, suffix[33] = {};
        cmsUInt16Number pcs[3] = {}, colorant[cmsMAXCHANNELS] = {};
        ASSERT_TRUE(cmsNamedColorInfo(ncl, i, name, prefix, suffix, pcs, colorant));
        EXPECT_STREQ(expectNames[i], name);
        EXPECT_STREQ("PMS ", prefix);
        EXPECT_STREQ(" C", suffix);
        const Colour& c = NamedColours()[i];
        for (int k = 0; k < 3; ++k) EXPECT_EQ(c.pcs.v[k], pcs[k]);
        for (int k = 0; k < 4; ++k) EXPECT_EQ(c.device[k], colorant[k]);
    }
    EXPECT_EQ(2, cmsNamedColorIndex(ncl, "Process Blue"));

    // Colorant table.
    auto* clrt = static_cast<cmsNAMEDCOLORLIST*>(cmsReadTag(h, cmsSigColorantTableTag));
    ASSERT_NE(nullptr, clrt);
    ASSERT_EQ(3u, cmsNamedColorCount(clrt));
    char cname[256] = {};
    cmsUInt16Number cpcs[3] = {};
    ASSERT_TRUE(cmsNamedColorInfo(clrt, 1, cname, nullptr, nullptr, cpcs, nullptr));
    EXPECT_STREQ("Green", cname);
    EXPECT_EQ(36000, cpcs[0]);
    EXPECT_EQ(20000, cpcs[1]);
    EXPECT_EQ(48000, cpcs[2]);

    // Chromatic adaptation: the Bradford matrix as trunc(x * 65536 + 0.5), which lies within
    // 1.5 units of the last place of the true value (truncation towards zero for negatives).
    auto* chad = static_cast<cmsFloat64Number*>(cmsReadTag(h, cmsSigChromaticAdaptationTag));
    ASSERT_NE(nullptr, chad);
    for (int k = 0; k < 9; ++k) {
        const double x = CIccProfileGen1::sc_BradfordD65ToD50[k];
        EXPECT_EQ(std::trunc(x * 65536.0 + 0.5) / 65536.0, chad[k]) << k;
        EXPECT_NEAR(x, chad[k], 1.5 / 65536) << k;
    }

    // Calibration date from raw data.
    auto* calt = static_cast<struct tm*>(cmsReadTag(h, cmsSigCalibrationDateTimeTag));
    ASSERT_NE(nullptr, calt);
    EXPECT_EQ(2026 - 1900, calt->tm_year);
    EXPECT_EQ(11 - 1, calt->tm_mon);
    EXPECT_EQ(21, calt->tm_mday);
    EXPECT_EQ(23, calt->tm_hour);
    EXPECT_EQ(5, calt->tm_min);
    EXPECT_EQ(9, calt->tm_sec);

    // 16-bit lookup from a pipeline: at every node, the inverted node value. A2B2 shares it.
    for (cmsTagSignature sig : {cmsSigAToB0Tag, cmsSigAToB2Tag}) {
        auto* lut = static_cast<cmsPipeline*>(cmsReadTag(h, sig));
        ASSERT_NE(nullptr, lut);
        EXPECT_EQ(3u, cmsPipelineInputChannels(lut));
        EXPECT_EQ(3u, cmsPipelineOutputChannels(lut));
        for (unsigned i = 0; i < kPoints16; ++i)
            for (unsigned j = 0; j < kPoints16; ++j)
                for (unsigned k = 0; k < kPoints16; ++k) {
                    cmsUInt16Number out[3];
                    EvalAtNode(lut, i, j, k, kNodeStep, out);
                    const unsigned node = (i * kPoints16 + j) * kPoints16 + k;
                    for (unsigned o = 0; o < 3; ++o)
                        EXPECT_NEAR(65535 - Grid16Value(node, o), out[o], 1)
                            << i << j << k << " " << o;
                }
    }

    // 8-bit lookup from a pipeline: node values widened by 257.
    {
        auto* lut = static_cast<cmsPipeline*>(cmsReadTag(h, cmsSigBToA0Tag));
        ASSERT_NE(nullptr, lut);
        EXPECT_EQ(3u, cmsPipelineOutputChannels(lut));
        for (unsigned i = 0; i < kPoints8; ++i)
            for (unsigned j = 0; j < kPoints8; ++j)
                for (unsigned k = 0; k < kPoints8; ++k) {
                    cmsUInt16Number out[3];
                    EvalAtNode(lut, i, j, k, kNodeStep, out);
                    const unsigned node = (i * kPoints8 + j) * kPoints8 + k;
                    for (unsigned o = 0; o < 3; ++o)
                        EXPECT_NEAR(Grid8Value(node, o) * 257, out[o], 1) << node << " " << o;
                }
    }

    // Lookups from a table source: 2 grid points.
    {
        auto* lut16 = static_cast<cmsPipeline*>(cmsReadTag(h, cmsSigAToB1Tag));
        auto* lut8 = static_cast<cmsPipeline*>(cmsReadTag(h, cmsSigBToA1Tag));
        ASSERT_NE(nullptr, lut16);
        ASSERT_NE(nullptr, lut8);
        for (unsigned node = 0; node < 8; ++node) {
            cmsUInt16Number out[3];
            EvalAtNode(lut16, node >> 2, (node >> 1) & 1, node & 1, 65535, out);
            for (unsigned o = 0; o < 3; ++o) EXPECT_NEAR(SourceValue16(node, o), out[o], 1);
            EvalAtNode(lut8, node >> 2, (node >> 1) & 1, node & 1, 65535, out);
            for (unsigned o = 0; o < 3; ++o) EXPECT_NEAR(SourceValue8(node, o) * 257, out[o], 1);
        }
    }
    cmsCloseProfile(h);

    // The private version tag, through the reader.
    CIccProfileRead r(nullptr);
    ASSERT_EQ(1, r.Open(path.wstring().c_str()));
    icTag tag{};
    const uint32_t* tvr2 = r.FindTagData(icSigTvr2Tag, &tag);
    ASSERT_NE(nullptr, tvr2);
    EXPECT_EQ(icSigUInt32ArrayType, tvr2[0]);
    EXPECT_EQ(350u, tvr2[2]);
}

constexpr char kIccdump[] = "/usr/bin/iccdump";

// Runs iccdump -v3 on `profile`; answers its output and sets *exitCode (-1 if it did not exit
// normally).
std::string RunIccdump(const fs::path& profile, const fs::path& out, int* exitCode) {
    const std::string command =
        std::string(kIccdump) + " -v3 '" + profile.string() + "' > '" + out.string() + "' 2>&1";
    const int status = std::system(command.c_str());
    *exitCode = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream f(out);
    return std::string(std::istreambuf_iterator<char>(f), {});
}

// Lines of `text` that mention an error.
std::vector<std::string> ErrorLines(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        if (line.find("Error") != std::string::npos || line.find("error") != std::string::npos)
            found.push_back(line);
    return found;
}

TEST(IccProfileGenInterop, ArgyllIccdumpReadsTheProfileWithoutError) {
    if (::access(kIccdump, X_OK) != 0)
        FAIL() << "argyll's iccdump is not installed at " << kIccdump
               << " (scripts/install-deps.sh --test-data installs it)";
    kvrtest::TempDir dir("kvr-gen-interop");
    const fs::path path = dir / "every-tag.icc";
    MakeProfile(path);
    int exitCode = 0;
    const std::string all = RunIccdump(path, dir / "iccdump.txt", &exitCode);
    EXPECT_EQ(0, exitCode) << all;
    EXPECT_EQ(std::vector<std::string>{}, ErrorLines(all));

    // It did read the tags: their signatures and some contents appear in its output.
    EXPECT_GT(std::count(all.begin(), all.end(), '\n'), 100);
    for (const char* s : {"desc", "cprt", "wtpt", "rTRC", "gTRC", "kTRC", "meas", "ncl2", "clrt",
                          "chad", "calt", "Tvr2", "A2B0", "B2A0", "A2B1", "B2A1", "A2B2"})
        EXPECT_NE(std::string::npos, all.find("'" + std::string(s) + "'")) << s;
    EXPECT_NE(std::string::npos, all.find(kDescription)) << all;
    EXPECT_NE(std::string::npos, all.find(CIccProfileGen1::szCopyRight));
    EXPECT_NE(std::string::npos, all.find("Warm Red"));
}

TEST(IccProfileGenInterop, ArgyllIccdumpReadsAPaddedDescriptionWithoutError) {
    if (::access(kIccdump, X_OK) != 0)
        FAIL() << "argyll's iccdump is not installed at " << kIccdump
               << " (scripts/install-deps.sh --test-data installs it)";
    // A description whose length word (rounded up to 4) counts padding zeros as well.
    kvrtest::TempDir dir("kvr-gen-interop");
    const fs::path path = dir / "padded-desc.icc";
    CIccProfileGen1 g(nullptr);
    g.SetHeader(icSigOutputClass, icSigRgbData, icSigLabData, icPerceptual);
    g.AddProfileDescriptionTag("Padded description");
    g.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
    int exitCode = 0;
    const std::string all = RunIccdump(path, dir / "iccdump.txt", &exitCode);
    EXPECT_EQ(0, exitCode) << all;
    EXPECT_EQ(std::vector<std::string>{}, ErrorLines(all));
    EXPECT_NE(std::string::npos, all.find("'desc'"));
}
