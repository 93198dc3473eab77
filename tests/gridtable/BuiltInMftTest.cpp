// The built-in tables and the Lab identity profile: the resource store, the archive layout of
// each table (size, class, header bytes, corner nodes), LoadBuiltInMft, the colorimetry of
// SRGBTOLAB against lcms2's sRGB, and how closely CMYKV2TOLAB meets the measured primaries of
// its press.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/File.h"
#include "base/Resource.h"
#include "gridtable/BuiltInMft.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"
#include "gridtable/TabMft.h"
#include "icc/IccProfile.h"

namespace {

std::vector<uint8_t> Resource(const wchar_t* name, const wchar_t* type = L"MFT") {
    unsigned size = 0;
    std::unique_ptr<unsigned char[]> copy(GetCopyOfUserdefResource(name, type, &size));
    if (!copy) return {};
    return std::vector<uint8_t>(copy.get(), copy.get() + size);
}

uint32_t U32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
           uint32_t(b[at + 3]) << 24;
}
uint16_t U16(const std::vector<uint8_t>& b, size_t at) {
    return uint16_t(b[at] | b[at + 1] << 8);
}
uint32_t BE32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 |
           uint32_t(b[at + 3]);
}

// Class header: new-class tag, schema 0, name length and name. Answers the body offset.
size_t ExpectClassHeader(const std::vector<uint8_t>& b, const std::string& name) {
    EXPECT_EQ(U16(b, 0), 0xFFFF);
    EXPECT_EQ(U16(b, 2), 0);
    EXPECT_EQ(U16(b, 4), name.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&b[6]), name.size()), name);
    return 6 + name.size();
}

// The body of a bare grid: counts, points, entries. Answers the table offset.
size_t ExpectGridBody(const std::vector<uint8_t>& b, size_t at, uint32_t in, uint32_t out,
                      uint32_t points, uint32_t entries) {
    EXPECT_EQ(U32(b, at), in);
    EXPECT_EQ(U32(b, at + 4), out);
    EXPECT_EQ(U32(b, at + 8), points);
    EXPECT_EQ(U32(b, at + 12), entries);
    return at + 16;
}

template <class C> std::unique_ptr<C> LoadAs(std::vector<uint8_t> bytes) {
    CMemFile mem(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&mem, CArchive::load);
    C* obj = nullptr;
    ar >> obj;
    return std::unique_ptr<C>(obj);
}

std::vector<uint8_t> Store(const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar << &obj;
    }
    return std::vector<uint8_t>(mem.GetBuffer(), mem.GetBuffer() + mem.GetLength());
}

// ---------------------------------------------------------------------------------------------
// The resource store

TEST(ResourceStore, MatchesNameAndTypeRegardlessOfCaseAndGivesAHeapCopy) {
    static const uint8_t data[] = {1, 2, 3, 4, 5};
    CUserdefResourceRegistrar reg(L"TestBlock", L"Blob", data, sizeof data);
    unsigned size = 0;
    std::unique_ptr<unsigned char[]> a(GetCopyOfUserdefResource(L"TESTBLOCK", L"blob", &size));
    ASSERT_TRUE(a);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(0, std::memcmp(a.get(), data, 5));
    EXPECT_NE(static_cast<const void*>(a.get()), static_cast<const void*>(data));
    a[0] = 99; // the copy is the caller's
    std::unique_ptr<unsigned char[]> b(GetCopyOfUserdefResource(L"testblock", L"BLOB", &size));
    ASSERT_TRUE(b);
    EXPECT_EQ(b[0], 1);
}

TEST(ResourceStore, MissingNameOrTypeGivesNullAndSizeZero) {
    static const uint8_t data[] = {7};
    CUserdefResourceRegistrar reg(L"Only", L"One", data, 1);
    unsigned size = 123;
    EXPECT_EQ(GetCopyOfUserdefResource(L"Only", L"Other", &size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(GetCopyOfUserdefResource(L"Other", L"One", &size), nullptr);
    EXPECT_EQ(GetCopyOfUserdefResource(nullptr, L"One", &size), nullptr);
    EXPECT_EQ(GetCopyOfUserdefResource(L"Only", nullptr, &size), nullptr);
    // A name that differs in more than case does not match.
    EXPECT_EQ(GetCopyOfUserdefResource(L"Only ", L"One", &size), nullptr);
}

TEST(ResourceStore, RegistrarRemovesItsResourceAndRegistrationReplaces) {
    static const uint8_t first[] = {1, 1};
    static const uint8_t second[] = {2, 2, 2};
    {
        CUserdefResourceRegistrar reg(L"Scoped", L"T", first, sizeof first);
        ASSERT_TRUE(RegisterUserdefResource(L"scoped", L"t", second, sizeof second));
        unsigned size = 0;
        std::unique_ptr<unsigned char[]> c(GetCopyOfUserdefResource(L"Scoped", L"T", &size));
        ASSERT_TRUE(c);
        EXPECT_EQ(size, 3u);
    }
    EXPECT_EQ(GetCopyOfUserdefResource(L"Scoped", L"T", nullptr), nullptr);
    EXPECT_FALSE(RegisterUserdefResource(L"", L"T", first, 2));
    EXPECT_FALSE(RegisterUserdefResource(L"X", nullptr, first, 2));
    EXPECT_FALSE(UnregisterUserdefResource(L"never", L"there"));
}

TEST(ResourceStore, NumericIdsAreWrittenWithAHash) {
    EXPECT_EQ(UserdefResourceId(400), L"#400");
    EXPECT_EQ(UserdefResourceId(129), L"#129");
}

// ---------------------------------------------------------------------------------------------
// The seven tables: size, class, header bytes, corner nodes

TEST(BuiltInTables, NamesMatchRegardlessOfCase) {
    EXPECT_EQ(Resource(L"CmykV2ToRgb", L"mft").size(), 629886u);
    EXPECT_EQ(Resource(L"CmykV2ToLab", L"mft").size(), 393246u);
    EXPECT_EQ(Resource(L"sRgbToLab", L"mft").size(), 215652u);
}

TEST(BuiltInTables, RgbToCmyk) {
    const auto b = Resource(L"RGBTOCMYK");
    ASSERT_EQ(b.size(), 19681u);
    const size_t body = ExpectClassHeader(b, "CMft3_8");
    EXPECT_EQ(body, 13u);
    const size_t t = ExpectGridBody(b, body, 3, 4, 17, 19652);
    EXPECT_EQ(t, 29u);
    EXPECT_EQ(U32(b, 25), 0x4CC4u);
    // White paper takes no ink; sRGB black the most the press allows.
    const size_t white = t + (17 * 17 * 17 - 1) * 4;
    for (int c = 0; c < 4; ++c) EXPECT_EQ(b[white + c], 0) << c;
    EXPECT_EQ(b[t + 3], 255);                                      // full black at RGB (0, 0, 0)
    EXPECT_LE(b[t] + b[t + 1] + b[t + 2] + b[t + 3], 3 * 255 + 2); // 300% ink, rounding
    // A primary of sRGB: pure red is magenta and yellow. The perceptual mapping holds red's
    // hue in Oklab, which takes a trace of cyan (4 of 255) and a little less than full yellow.
    const size_t red = t + (16 * 17 * 17) * 4;
    EXPECT_LE(b[red], 8);
    EXPECT_GE(b[red + 1], 240);
    EXPECT_GE(b[red + 2], 245);
}

TEST(BuiltInTables, LabToCmykWorkedExample) {
    const auto b = Resource(L"LABTOCMYK");
    ASSERT_EQ(b.size(), 6560u);
    // A 14-letter class name puts the body at offset 20: always 6 plus the name length.
    EXPECT_EQ(ExpectClassHeader(b, "CFunc_8Tab3Mft"), 20u);
    EXPECT_EQ(U32(b, 20), 3u);
    EXPECT_EQ(U32(b, 24), 4u);
    EXPECT_EQ(U32(b, 28), 3u); // inputTab body
    EXPECT_EQ(U32(b, 32), 3u);
    for (int c = 0; c < 3; ++c)
        for (int v = 0; v < 256; ++v) {
            ASSERT_EQ(b[36 + c * 256 + v], v);  // identity input curves
            ASSERT_EQ(b[804 + c * 256 + v], v); // and their inverse
        }
    const size_t t = ExpectGridBody(b, 1572, 3, 4, 9, 2916);
    EXPECT_EQ(t, 1588u);
    EXPECT_EQ(U32(b, 4504), 4u); // outputTab body
    EXPECT_EQ(U32(b, 4508), 4u);
    for (int c = 0; c < 4; ++c)
        for (int v = 0; v < 256; ++v) {
            ASSERT_EQ(b[4512 + c * 256 + v], v);
            ASSERT_EQ(b[5536 + c * 256 + v], v);
        }
    // Lab (100, 0, 0), node (8, 4, 4): no ink. Lab (0, 0, 0), node (0, 4, 4): full black.
    const size_t white = t + ((8 * 9 + 4) * 9 + 4) * 4;
    for (int c = 0; c < 4; ++c) EXPECT_EQ(b[white + c], 0) << c;
    const size_t black = t + ((0 * 9 + 4) * 9 + 4) * 4;
    EXPECT_EQ(b[black + 3], 255);
}

TEST(BuiltInTables, LabToRgb) {
    const auto b = Resource(L"LABTORGB");
    ASSERT_EQ(b.size(), 5319u);
    EXPECT_EQ(ExpectClassHeader(b, "CFunc_8Tab3Mft"), 20u);
    EXPECT_EQ(U32(b, 20), 3u);
    EXPECT_EQ(U32(b, 24), 3u);
    EXPECT_EQ(U32(b, 28), 3u);
    EXPECT_EQ(U32(b, 32), 3u);
    const size_t t = ExpectGridBody(b, 1572, 3, 3, 9, 2187);
    EXPECT_EQ(U32(b, t + 2187), 3u); // outputTab body
    EXPECT_EQ(U32(b, t + 2191), 3u);
    const size_t white = t + ((8 * 9 + 4) * 9 + 4) * 3;
    const size_t black = t + ((0 * 9 + 4) * 9 + 4) * 3;
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(b[white + c], 255) << c;
        EXPECT_EQ(b[black + c], 0) << c;
    }
    // Mid grey, L = 50.2: sRGB 119 or 120 on every channel.
    const size_t grey = t + ((4 * 9 + 4) * 9 + 4) * 3;
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(b[grey + c], 119.5, 1.0) << c;
}

TEST(BuiltInTables, CmykToRgbWorkedExample) {
    const auto b = Resource(L"CMYKTORGB");
    ASSERT_EQ(b.size(), 7232u);
    const std::vector<uint8_t> head = {0xFF, 0xFF, 0, 0, 7, 0, 'C', 'M', 'f', 't', '4', '_', '8'};
    EXPECT_TRUE(std::equal(head.begin(), head.end(), b.begin()));
    const size_t t = ExpectGridBody(b, 13, 4, 3, 7, 7203);
    EXPECT_EQ(U32(b, 25), 0x1C23u);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(b[t + c], 255) << c; // no ink: white
    // All four inks full: a near black.
    for (int c = 0; c < 3; ++c) EXPECT_LT(b[b.size() - 3 + c], 48) << c;
}

TEST(BuiltInTables, CmykV2ToRgb) {
    const auto b = Resource(L"CMYKV2TORGB");
    ASSERT_EQ(b.size(), 629886u);
    EXPECT_EQ(ExpectClassHeader(b, "CMft4_16"), 14u);
    const size_t t = ExpectGridBody(b, 14, 4, 3, 18, 314928);
    EXPECT_EQ(t, 30u);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(U16(b, t + 2 * c), 65535) << c;
    for (int c = 0; c < 3; ++c) EXPECT_LT(U16(b, b.size() - 6 + 2 * c), 48 * 257) << c;
}

TEST(BuiltInTables, CmykV2ToLabWorkedExample) {
    const auto b = Resource(L"CMYKV2TOLAB");
    ASSERT_EQ(b.size(), 393246u);
    EXPECT_EQ(ExpectClassHeader(b, "CMft4_16"), 14u);
    const size_t t = ExpectGridBody(b, 14, 4, 3, 16, 196608);
    EXPECT_EQ(U32(b, 26), 0x30000u);
    EXPECT_EQ(U16(b, t), 0xFF00);
    EXPECT_EQ(U16(b, t + 2), 0x8000);
    EXPECT_EQ(U16(b, t + 4), 0x8000);
}

TEST(BuiltInTables, SRgbToLabWorkedExample) {
    const auto b = Resource(L"SRGBTOLAB");
    ASSERT_EQ(b.size(), 215652u);
    EXPECT_EQ(ExpectClassHeader(b, "CMft3_16"), 14u);
    const size_t t = ExpectGridBody(b, 14, 3, 3, 33, 107811);
    EXPECT_EQ(U32(b, 26), 0x1A523u);
    EXPECT_EQ(U16(b, t), 0);
    EXPECT_EQ(U16(b, t + 2), 0x8080);
    EXPECT_EQ(U16(b, t + 4), 0x8080);
    const size_t last = b.size() - 6;
    EXPECT_EQ(U16(b, last), 65535);
    // Neutral a and b of the full-range encoding. This table's white is exactly neutral
    // (0x8080); a white whose a computes a hair below zero truncates to 0x807F, the one unit
    // allowed here.
    EXPECT_NEAR(U16(b, last + 2), 0x8080, 1);
    EXPECT_EQ(U16(b, last + 4), 0x8080);
}

// ---------------------------------------------------------------------------------------------
// Archive round trips and the type test

TEST(BuiltInTables, StoringALoadedCMft4_8GivesTheSameBytes) {
    const auto b = Resource(L"CMYKTORGB");
    auto mft = LoadAs<CMft4_8>(b);
    ASSERT_TRUE(mft);
    mft->InitTrn(); // the difference tables are not stored
    EXPECT_EQ(Store(*mft), b);
    auto again = LoadAs<CMft4_8>(Store(*mft));
    ASSERT_TRUE(again);
    EXPECT_EQ(Store(*again), b);
}

TEST(BuiltInTables, StoringLoadedPipelinesGivesTheSameBytes) {
    for (const wchar_t* name : {L"LABTOCMYK", L"LABTORGB"}) {
        const auto b = Resource(name);
        auto f = LoadAs<CFunc_8Tab3Mft>(b);
        ASSERT_TRUE(f);
        EXPECT_EQ(Store(*f), b);
    }
}

TEST(BuiltInTables, APipelineFailsTheTypeTestOfCMft_16) {
    const auto b = Resource(L"LABTOCMYK");
    try {
        LoadAs<CMft_16>(b);
        FAIL() << "a CFunc_8Tab3Mft loaded as CMft_16";
    } catch (const CArchiveException& e) {
        EXPECT_EQ(e.m_cause, CArchiveException::badClass);
    }
}

// ---------------------------------------------------------------------------------------------
// LoadBuiltInMft

TEST(LoadBuiltInMft, SRgbToLabReportsItsCounts) {
    CMft_16* mft = nullptr;
    LoadBuiltInMft(L"SRGBTOLAB", mft);
    std::unique_ptr<CMft_16> owner(mft);
    ASSERT_TRUE(mft);
    EXPECT_TRUE(mft->IsKindOf(RUNTIME_CLASS(CMft3_16)));
    EXPECT_EQ(mft->clutPoints(), 33u);
    EXPECT_EQ(mft->TabCount(), 35937u);
    EXPECT_EQ(mft->TabEntries(), 107811u);
    // Prepared: Trn can be called at once. Mid grey is neutral.
    const uint16_t grey[3] = {0x8000, 0x8000, 0x8000};
    uint16_t lab[3];
    EXPECT_EQ(mft->Trn(grey, lab), 1);
    EXPECT_NEAR(lab[1], 0x8080, 2);
    EXPECT_NEAR(lab[2], 0x8080, 2);
}

TEST(LoadBuiltInMft, TheTwoCmykTablesLoadPreparedWithMixedCaseNames) {
    CMft_16* lab = nullptr;
    CMft_16* rgb = nullptr;
    LoadBuiltInMft(L"CmykV2ToLab", lab);
    LoadBuiltInMft(L"CmykV2ToRgb", rgb);
    std::unique_ptr<CMft_16> o1(lab), o2(rgb);
    ASSERT_TRUE(lab);
    ASSERT_TRUE(rgb);
    EXPECT_TRUE(lab->IsKindOf(RUNTIME_CLASS(CMft4_16)));
    EXPECT_TRUE(rgb->IsKindOf(RUNTIME_CLASS(CMft4_16)));
    EXPECT_EQ(lab->clutPoints(), 16u);
    EXPECT_EQ(rgb->clutPoints(), 18u);
    const uint16_t paper[4] = {0, 0, 0, 0};
    uint16_t out[3];
    lab->Trn(paper, out);
    EXPECT_EQ(out[0], 0xFF00);
    EXPECT_EQ(out[1], 0x8000);
    EXPECT_EQ(out[2], 0x8000);
    rgb->Trn(paper, out);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(out[c], 65535);
    // Between nodes the interpolation follows the model: 50% black is a neutral mid grey.
    const uint16_t halfBlack[4] = {0, 0, 0, 0x8000};
    lab->Trn(halfBlack, out);
    EXPECT_GT(out[0], 40 * 652.8);
    EXPECT_LT(out[0], 70 * 652.8);
    EXPECT_NEAR(out[1], 0x8000, 2 * 256);
    EXPECT_NEAR(out[2], 0x8000, 2 * 256);
}

TEST(LoadBuiltInMft, AMissingResourceLeavesThePointer) {
    CMft3_16 sentinel(2, 3);
    CMft_16* mft = &sentinel;
    LoadBuiltInMft(L"NOSUCHTABLE", mft);
    EXPECT_EQ(mft, &sentinel);
}

TEST(LoadBuiltInMft, EightBitTablesCannotPass) {
    for (const wchar_t* name : {L"RGBTOCMYK", L"LABTOCMYK", L"LABTORGB", L"CMYKTORGB"}) {
        CMft3_16 sentinel(2, 3);
        CMft_16* mft = &sentinel;
        LoadBuiltInMft(name, mft);
        EXPECT_EQ(mft, nullptr);
    }
}

TEST(LoadBuiltInMft, AMalformedArchiveRaisesTheArchiveException) {
    auto b = Resource(L"SRGBTOLAB");
    b.resize(1000); // the table ends early
    CUserdefResourceRegistrar reg(L"BROKEN", L"MFT", b.data(), unsigned(b.size()));
    CMft_16* mft = nullptr;
    EXPECT_THROW(LoadBuiltInMft(L"BROKEN", mft), CArchiveException);
    EXPECT_EQ(mft, nullptr);
}

// ---------------------------------------------------------------------------------------------
// SRGBTOLAB against lcms2's sRGB

TEST(BuiltInColorimetry, SRgbToLabAgreesWithLcms) {
    CMft_16* mft = nullptr;
    LoadBuiltInMft(L"SRGBTOLAB", mft);
    std::unique_ptr<CMft_16> owner(mft);
    ASSERT_TRUE(mft);

    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE lab = cmsCreateLab4Profile(cmsD50_xyY());
    cmsHTRANSFORM xf = cmsCreateTransform(srgb, TYPE_RGB_16, lab, TYPE_Lab_16,
                                          INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE);
    ASSERT_NE(xf, nullptr);

    std::mt19937 rng(20240611);
    std::uniform_int_distribution<int> dist(0, 65535);
    double sum = 0.0, worst = 0.0;
    const int n = 10000;
    for (int i = 0; i < n; ++i) {
        const uint16_t rgb[3] = {uint16_t(dist(rng)), uint16_t(dist(rng)), uint16_t(dist(rng))};
        uint16_t ours[3], theirs[3];
        mft->Trn(rgb, ours);
        cmsDoTransform(xf, rgb, theirs, 1);
        // Both in the full-range encoding: L 100 at 0xFFFF, a and b 257 units, 0x8080 neutral.
        const cmsCIELab a = {ours[0] / 655.35, ours[1] / 257.0 - 128.0, ours[2] / 257.0 - 128.0};
        cmsCIELab b;
        cmsLabEncoded2Float(&b, theirs);
        const double de = cmsCIE2000DeltaE(&a, &b, 1, 1, 1);
        sum += de;
        worst = std::max(worst, de);
    }
    cmsDeleteTransform(xf);
    cmsCloseProfile(lab);
    cmsCloseProfile(srgb);
    const double mean = sum / n;
    RecordProperty("meanDE2000", std::to_string(mean));
    RecordProperty("maxDE2000", std::to_string(worst));
    std::printf("SRGBTOLAB against lcms2: mean dE2000 %.4f, max %.4f\n", mean, worst);
    EXPECT_LE(mean, 0.2);
    EXPECT_LE(worst, 1.0);
}

// ---------------------------------------------------------------------------------------------
// CMYKV2TOLAB against the measured primaries of its press

// CIELAB D50 of the 16 full-tone ink combinations of the coated press the CMYK tables model,
// by c, m, y, k present (k fastest): the measured data, not the table.
const double kMeasuredPrimaries[16][3] = {
    {100.00, -0.00, -0.00},  {22.35, 1.07, 0.06},   {95.08, -6.30, 90.35},  {20.49, -2.26, 11.71},
    {53.95, 76.14, -6.56},   {13.98, 15.88, -0.39}, {53.60, 69.81, 45.20},  {15.04, 11.57, 6.38},
    {63.61, -41.39, -48.34}, {16.78, -8.02, -9.98}, {58.88, -67.54, 27.13}, {16.84, -13.47, 4.38},
    {30.92, 19.99, -48.36},  {10.63, 7.70, -9.10},  {29.01, 0.48, -1.36},   {11.77, 0.77, 0.33},
};

TEST(BuiltInColorimetry, CmykV2ToLabMeetsThePrimariesAtTheCorners) {
    const auto b = Resource(L"CMYKV2TOLAB");
    ASSERT_EQ(b.size(), 393246u);
    const unsigned P = 16;
    double worst = 0.0;
    for (int p = 0; p < 16; ++p) {
        unsigned node = 0;
        for (int i = 0; i < 4; ++i) node = node * P + (((p >> (3 - i)) & 1) ? P - 1 : 0);
        const size_t at = 30 + size_t(node) * 6;
        // Legacy 16-bit Lab: L 100 at 0xFF00, a and b 256 units each, neutral at 0x8000.
        const cmsCIELab table = {U16(b, at) / 652.8, U16(b, at + 2) / 256.0 - 128.0,
                                 U16(b, at + 4) / 256.0 - 128.0};
        const cmsCIELab measured = {kMeasuredPrimaries[p][0], kMeasuredPrimaries[p][1],
                                    kMeasuredPrimaries[p][2]};
        const double de = cmsDeltaE(&table, &measured);
        worst = std::max(worst, de);
        EXPECT_LE(de, 0.01) << "primary " << p;
    }
    std::printf("CMYKV2TOLAB at the 16 primaries: max dE76 %.4f\n", worst);
}

// The separations: every node within the total ink limit of 300% (plus rounding of the four
// bytes), and greys separated so that the press model prints them back: RGBTOCMYK as the
// perceptual intent's black point scaling places them, from sRGB black on the press's darkest
// neutral to white.
TEST(BuiltInColorimetry, SeparationsKeepTheInkLimitAndPrintBackTheirColour) {
    const auto rgbToCmyk = Resource(L"RGBTOCMYK");
    const auto labToCmyk = Resource(L"LABTOCMYK");
    ASSERT_EQ(rgbToCmyk.size(), 19681u);
    ASSERT_EQ(labToCmyk.size(), 6560u);
    for (size_t at = 29; at < 29 + 19652; at += 4)
        ASSERT_LE(rgbToCmyk[at] + rgbToCmyk[at + 1] + rgbToCmyk[at + 2] + rgbToCmyk[at + 3], 767);
    for (size_t at = 1588; at < 1588 + 2916; at += 4)
        ASSERT_LE(labToCmyk[at] + labToCmyk[at + 1] + labToCmyk[at + 2] + labToCmyk[at + 3], 767);

    CMft_16* press = nullptr;
    CMft_16* srgb = nullptr;
    LoadBuiltInMft(L"CMYKV2TOLAB", press);
    LoadBuiltInMft(L"SRGBTOLAB", srgb);
    std::unique_ptr<CMft_16> o1(press), o2(srgb);
    ASSERT_TRUE(press && srgb);
    // The grey axis of RGBTOCMYK from black to white: the separation printed by the model
    // against the sRGB colour after black point scaling (in XYZ, along the white, so that Y 0
    // becomes the Y of the press's black as this table prints it at RGB 0). Differences come
    // from 8-bit ink values and the 16-point grid of the model table.
    const auto print = [&](unsigned i) {
        const size_t at = 29 + ((i * 17 + i) * 17 + i) * 4;
        const uint16_t cmyk[4] = {uint16_t(rgbToCmyk[at] * 257), uint16_t(rgbToCmyk[at + 1] * 257),
                                  uint16_t(rgbToCmyk[at + 2] * 257),
                                  uint16_t(rgbToCmyk[at + 3] * 257)};
        uint16_t printed[3];
        press->Trn(cmyk, printed);
        return cmsCIELab{printed[0] / 652.8, printed[1] / 256.0 - 128.0,
                         printed[2] / 256.0 - 128.0};
    };
    const cmsCIELab black = print(0);
    cmsCIEXYZ blackXyz;
    cmsLab2XYZ(cmsD50_XYZ(), &blackXyz, &black);
    const double yBlack = blackXyz.Y / cmsD50_XYZ()->Y;
    double worst = 0.0;
    for (unsigned i = 0; i <= 16; ++i) {
        const cmsCIELab a = print(i);
        const uint16_t v = uint16_t(((i * 255 + 8) / 16) * 257);
        const uint16_t rgb[3] = {v, v, v};
        uint16_t wanted[3];
        srgb->Trn(rgb, wanted);
        const cmsCIELab source = {wanted[0] / 655.35, wanted[1] / 257.0 - 128.0,
                                  wanted[2] / 257.0 - 128.0};
        cmsCIEXYZ xyz;
        cmsLab2XYZ(cmsD50_XYZ(), &xyz, &source);
        const cmsCIEXYZ* w = cmsD50_XYZ();
        xyz = {yBlack * w->X + (1.0 - yBlack) * xyz.X, yBlack * w->Y + (1.0 - yBlack) * xyz.Y,
               yBlack * w->Z + (1.0 - yBlack) * xyz.Z};
        cmsCIELab b;
        cmsXYZ2Lab(cmsD50_XYZ(), &b, &xyz);
        const double de = cmsDeltaE(&a, &b);
        worst = std::max(worst, de);
        EXPECT_LE(de, 1.0) << "grey node " << i; // 0.61 observed
    }
    std::printf("RGBTOCMYK greys printed by the press model: max dE76 %.3f\n", worst);
}

// ---------------------------------------------------------------------------------------------
// The Lab identity profile

TEST(BuiltInLabProfile, IsAVersion2LabToLabIdentityOfFiveTags) {
    auto b = Resource(UserdefResourceId(kLabProfileResourceId).c_str(),
                      UserdefResourceId(kLabProfileResourceType).c_str());
    ASSERT_EQ(b.size(), 99264u);
    EXPECT_EQ(BE32(b, 0), 99264u);
    EXPECT_EQ(BE32(b, 8), 0x02000000u);
    EXPECT_EQ(BE32(b, 12), 0x73706163u); // 'spac'
    EXPECT_EQ(BE32(b, 16), 0x4C616220u); // 'Lab '
    EXPECT_EQ(BE32(b, 20), 0x4C616220u);
    EXPECT_EQ(BE32(b, 36), 0x61637370u); // 'acsp'

    CIccProfileRead profile(nullptr);
    ASSERT_NE(profile.Open(b.data(), int(b.size())), 0);
    ASSERT_EQ(profile.GetCount(), 5u);
    const uint32_t sigs[5] = {icSigProfileDescriptionTag, icSigAToB0Tag, icSigBToA0Tag,
                              icSigMediaWhitePointTag, icSigCopyrightTag};
    for (unsigned i = 0; i < 5; ++i) EXPECT_EQ(profile.Tag(i).sig, sigs[i]) << i;

    icTag tag;
    auto* desc =
        reinterpret_cast<const char*>(profile.FindTagData(icSigProfileDescriptionTag, &tag));
    ASSERT_TRUE(desc);
    EXPECT_STREQ(desc + 12, " Lab Output");
    auto* wtpt = profile.FindTagData(icSigMediaWhitePointTag, &tag);
    ASSERT_TRUE(wtpt);
    EXPECT_EQ(int32_t(wtpt[2]), 63190);
    EXPECT_EQ(int32_t(wtpt[3]), 65536);
    EXPECT_EQ(int32_t(wtpt[4]), 54061);

    for (uint32_t sig : {icSigAToB0Tag, icSigBToA0Tag}) {
        auto* lut = reinterpret_cast<const uint8_t*>(profile.FindTagData(sig, &tag));
        ASSERT_TRUE(lut);
        EXPECT_EQ(tag.size, 52u + 2u * (4096 * 3 + (8 + 4096) * 3));
        EXPECT_EQ(lut[8], 3);  // inputChan
        EXPECT_EQ(lut[9], 3);  // outputChan
        EXPECT_EQ(lut[10], 2); // clutPoints
        const auto* m = reinterpret_cast<const int32_t*>(lut + 12);
        for (int i = 0; i < 9; ++i) EXPECT_EQ(m[i], i % 4 == 0 ? 65536 : 0) << i;
        const auto* words = reinterpret_cast<const uint16_t*>(lut + 48);
        EXPECT_EQ(words[0], 4096); // inputEnt
        EXPECT_EQ(words[1], 4096); // outputEnt
        const uint16_t* in = words + 2;
        for (int c = 0; c < 3; ++c)
            for (int e = 0; e < 4096; ++e) ASSERT_EQ(in[c * 4096 + e], 16 * e);
        const uint16_t* grid = in + 3 * 4096;
        for (int node = 0; node < 8; ++node)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(grid[node * 3 + c], ((node >> (2 - c)) & 1) ? 65535 : 0);
        const uint16_t* out = grid + 24;
        EXPECT_EQ(out[4095], 65520);
        EXPECT_EQ(out[2 * 4096 + 4095], 65520);
    }

    // lcms2 reads it, and it maps Lab to Lab within the 12-bit steps of its curves.
    cmsHPROFILE p = cmsOpenProfileFromMem(b.data(), cmsUInt32Number(b.size()));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(cmsGetDeviceClass(p), cmsSigColorSpaceClass);
    cmsHPROFILE lab = cmsCreateLab2Profile(cmsD50_xyY());
    cmsHTRANSFORM xf = cmsCreateTransform(lab, TYPE_Lab_DBL, p, TYPE_Lab_DBL, INTENT_PERCEPTUAL,
                                          cmsFLAGS_NOOPTIMIZE);
    ASSERT_NE(xf, nullptr);
    for (const cmsCIELab in : {cmsCIELab{50, 10, -20}, cmsCIELab{90, -40, 60}}) {
        cmsCIELab out;
        cmsDoTransform(xf, &in, &out, 1);
        EXPECT_LT(cmsDeltaE(&in, &out), 0.5);
    }
    cmsDeleteTransform(xf);
    cmsCloseProfile(lab);
    cmsCloseProfile(p);
}

} // namespace
