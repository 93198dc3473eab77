// The Lab/XYZ stages, the move to the D50 white, relative/absolute colorimetry and black point
// scaling: the stated values, the limits, and the relations between the directions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>

#include "base/Colorimetry.h"
#include "colorfunc/Colorimetric.h"
#include "colorfunc/ConcatFunc.h"

namespace {

// 16.16 encodings of D50. 0.9642 and 0.8249 are not multiples of 2^-16: the truncated form
// lies just below D50 and gives factors just above 1, the rounded form of ICC profiles
// (0xF6D6, 0x10000, 0xD32D) lies just above and gives factors just below 1.
constexpr icXYZNumber kD50Truncated = {63189, 65536, 54060};
constexpr icXYZNumber kD50Rounded = {63190, 65536, 54061};

void ExpectTriple(const uint16_t* v, int a, int b, int c) {
    EXPECT_EQ(v[0], a);
    EXPECT_EQ(v[1], b);
    EXPECT_EQ(v[2], c);
}

void ExpectDynamicClass(const CObject& obj, const char* name, const CRuntimeClass* base) {
    const CRuntimeClass* cls = obj.GetRuntimeClass();
    EXPECT_STREQ(cls->m_lpszClassName, name);
    EXPECT_EQ(cls->m_pBaseClass, base) << name;
    EXPECT_EQ(cls->CreateObject(), nullptr) << name;
    EXPECT_EQ(CRuntimeClass::FromName(name), nullptr) << name;
    EXPECT_TRUE(obj.IsKindOf(RUNTIME_CLASS(CFunc_16))) << name;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CLabXYZ16

TEST(Colorimetric, LabWhiteGivesFullXYZ65535AndHalfScaleXYZ115) {
    const uint16_t white[3] = {0xFF00, 0x8000, 0x8000}; // L 100, neutral
    uint16_t out[3];
    EXPECT_EQ(LabXYZ16.Trn(white, out), 1);
    ExpectTriple(out, 65535, 65535, 65535);
    EXPECT_EQ(LabXYZ16.Trn2(white, out), 1);
    ExpectTriple(out, 32768, 32768, 32768);
}

TEST(Colorimetric, LabXYZWhiteAndBlackGoBack) {
    uint16_t out[3];
    const uint16_t xyzWhite[3] = {65535, 65535, 65535};
    EXPECT_EQ(LabXYZ16.Inv(xyzWhite, out), 1);
    ExpectTriple(out, 0xFF00, 0x8000, 0x8000);
    // 32768 lies half a unit above the white of XYZ 1.15: L 100.0006, which encodes as 100.
    const uint16_t xyzWhite115[3] = {32768, 32768, 32768};
    LabXYZ16.Inv2(xyzWhite115, out);
    ExpectTriple(out, 0xFF00, 0x8000, 0x8000);
    const uint16_t black[3] = {0, 0, 0};
    LabXYZ16.Inv(black, out);
    ExpectTriple(out, 0, 0x8000, 0x8000);
    LabXYZ16.Trn(out, out);
    ExpectTriple(out, 0, 0, 0);
}

TEST(Colorimetric, LabXYZClipsToTheSampleRange) {
    uint16_t out[3];
    // Strongly red Lab: X far beyond the white, Z below zero.
    const uint16_t red[3] = {0xFF00, 0xFFFF, 0x8000};
    LabXYZ16.Trn(red, out);
    EXPECT_EQ(out[0], 65535);
    const uint16_t yellow[3] = {0x8000, 0x8000, 0xFFFF};
    LabXYZ16.Trn(yellow, out);
    EXPECT_EQ(out[2], 0);
    // XYZ 1.15 at the top of the range is beyond L 100, which the encoder limits.
    const uint16_t top[3] = {65535, 65535, 65535};
    LabXYZ16.Inv2(top, out);
    EXPECT_EQ(out[0], 65535);
}

TEST(Colorimetric, Inv2IsInvOfTheDoubledSamples) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> dist(0, 32767);
    for (int n = 0; n < 2000; ++n) {
        const uint16_t in[3] = {static_cast<uint16_t>(dist(rng)), static_cast<uint16_t>(dist(rng)),
                                static_cast<uint16_t>(dist(rng))};
        const uint16_t doubled[3] = {static_cast<uint16_t>(in[0] * 2),
                                     static_cast<uint16_t>(in[1] * 2),
                                     static_cast<uint16_t>(in[2] * 2)};
        uint16_t a[3], b[3];
        LabXYZ16.Inv2(in, a);
        LabXYZ16.Inv(doubled, b);
        ExpectTriple(a, b[0], b[1], b[2]);
    }
}

// Inv and Inv2 keep the cube roots they have taken; the Lab they give must stay XYZ2lab's
// with the white 65535 followed by the encoder, on a first call and on a repeated one alike.
// Every value of each component is passed (with the other two varying), then random triples.
TEST(Colorimetric, InvAndInv2GiveTheLabOfTheDirectConversionFirstAndRepeated) {
    constexpr double kWhite[3] = {65535.0, 65535.0, 65535.0};
    auto direct = [&](double x, double y, double z, uint16_t* enc) {
        const double xyz[3] = {x, y, z};
        double lab[3];
        XYZ2lab(xyz, lab, kWhite);
        IccEncodeLab16(lab, enc);
    };
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> any(0, 65535);
    auto check = [&](const uint16_t* in) {
        uint16_t expected[3], expected2[3], got[3];
        direct(in[0], in[1], in[2], expected);
        direct(in[0] * 2.0, in[1] * 2.0, in[2] * 2.0, expected2);
        for (int pass = 0; pass < 2; ++pass) {
            LabXYZ16.Inv(in, got);
            ASSERT_TRUE(got[0] == expected[0] && got[1] == expected[1] && got[2] == expected[2])
                << in[0] << " " << in[1] << " " << in[2] << " pass " << pass;
            LabXYZ16.Inv2(in, got);
            ASSERT_TRUE(got[0] == expected2[0] && got[1] == expected2[1] && got[2] == expected2[2])
                << in[0] << " " << in[1] << " " << in[2] << " pass " << pass;
        }
    };
    for (int v = 0; v <= 65535; ++v)
        for (int axis = 0; axis < 3; ++axis) {
            uint16_t in[3] = {uint16_t(any(rng)), uint16_t(any(rng)), uint16_t(any(rng))};
            in[axis] = uint16_t(v);
            check(in);
        }
    for (int n = 0; n < 200000; ++n) {
        const uint16_t in[3] = {uint16_t(any(rng)), uint16_t(any(rng)), uint16_t(any(rng))};
        check(in);
    }
}

// ---------------------------------------------------------------------------------------------
// CXYZRelToIcc

TEST(Colorimetric, XYZRelToIccMovesTheWhiteToD50) {
    const CXYZRelToIcc f;
    const uint16_t white[3] = {65535, 65535, 65535};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(white, out), 1);
    ExpectTriple(out, 31594, 32768, 27030);
}

TEST(Colorimetric, XYZRelToIccInvLimitsAndTruncates) {
    const CXYZRelToIcc f;
    uint16_t out[3];
    // Y 1.0 goes back to 65535 exactly; X and Z at 1.0 lie beyond the D50 white and clip.
    const uint16_t one[3] = {32768, 32768, 32768};
    EXPECT_EQ(f.Inv(one, out), 1);
    ExpectTriple(out, 65535, 65535, 65535);
    // 16384 / 32768 * 65535 = 32767.5, truncated.
    const uint16_t half[3] = {0, 16384, 0};
    f.Inv(half, out);
    ExpectTriple(out, 0, 32767, 0);
}

TEST(Colorimetric, XYZRelToIccRoundTripLosesAtMostTwoUnits) {
    const CXYZRelToIcc f;
    for (unsigned v = 0; v < 65536; v += 7) {
        const uint16_t in[3] = {static_cast<uint16_t>(v), static_cast<uint16_t>(v),
                                static_cast<uint16_t>(v)};
        uint16_t icc[3], back[3];
        f.Trn(in, icc);
        f.Inv(icc, back);
        for (int c = 0; c < 3; ++c) {
            EXPECT_LE(back[c], v);     // both directions truncate
            EXPECT_GE(back[c] + 3, v); // one unit on 1.15 is two on 65535, plus the truncation
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Relative and absolute colorimetry

TEST(Colorimetric, MediaWhiteEqualToD50GivesUnitFactors) {
    const CXYZRelAbs f(kD50Rounded);
    // 1.0 within the 2^-16 step of the white's encoding; Y is exact.
    EXPECT_NEAR(f.factorX(), 1.0, 1.0 / 65536);
    EXPECT_EQ(f.factorY(), 1.0);
    EXPECT_NEAR(f.factorZ(), 1.0, 1.0 / 65536);
}

TEST(Colorimetric, MediaWhiteEqualToD50PassesXYZUnchangedUpToY32767) {
    // Trn multiplies: with the white at or below D50 the factors are at least 1 and the floor
    // keeps every value. Inv divides, so the rounded white keeps them there.
    const CXYZRelAbs relAbs(kD50Truncated);
    const CXYZAbsRel absRel(kD50Rounded);
    for (unsigned y = 0; y <= 32767; y += 3) {
        for (unsigned x : {0u, 1u, 12345u, 31594u, 65535u}) {
            const uint16_t in[3] = {static_cast<uint16_t>(x), static_cast<uint16_t>(y),
                                    static_cast<uint16_t>(65535 - x)};
            uint16_t out[3];
            EXPECT_EQ(relAbs.Trn(in, out), 1);
            ExpectTriple(out, in[0], in[1], in[2]);
            EXPECT_EQ(relAbs.Inv(in, out), 1);
            EXPECT_EQ(out[1], in[1]);
            EXPECT_EQ(absRel.Trn(in, out), 1);
            ExpectTriple(out, in[0], in[1], in[2]);
        }
    }
    const uint16_t top[3] = {20000, 32767, 20000};
    uint16_t out[3];
    relAbs.Trn(top, out);
    ExpectTriple(out, 20000, 32767, 20000);
}

TEST(Colorimetric, YAboveTheWhiteIsBroughtDownWithTheSameRatio) {
    const CXYZRelAbs f(kD50Truncated); // factorY exactly 1
    ASSERT_EQ(f.factorY(), 1.0);
    const uint16_t in[3] = {35000, 40000, 30000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    // Ratio 32767 / 40000: X 28671.125, Z 24575.25, floored (the factors of X and Z exceed 1 by
    // less than 2^-16, which moves neither across an integer).
    ExpectTriple(out, 28671, 32767, 24575);
    // The same limit applies in the other direction.
    f.Inv(in, out);
    ExpectTriple(out, 28670, 32767, 24574);
}

TEST(Colorimetric, RelAbsTrnMultipliesByD50OverTheMediaWhite) {
    // A media white of half D50 doubles X, Y and Z on the way to absolute.
    const icXYZNumber half = {31595, 32768, 27030};
    const CXYZRelAbs f(half);
    EXPECT_NEAR(f.factorX(), 2.0, 1e-4);
    EXPECT_EQ(f.factorY(), 2.0);
    EXPECT_NEAR(f.factorZ(), 2.0, 1e-4);
    const uint16_t in[3] = {10000, 10000, 10000};
    uint16_t out[3];
    f.Trn(in, out);
    EXPECT_NEAR(out[0], 20000, 1);
    EXPECT_EQ(out[1], 20000);
    EXPECT_NEAR(out[2], 20000, 1);
    f.Inv(in, out);
    EXPECT_NEAR(out[0], 5000, 1);
    EXPECT_EQ(out[1], 5000);
    EXPECT_NEAR(out[2], 5000, 1);
}

TEST(Colorimetric, AbsRelSwapsTheDirections) {
    const icXYZNumber paper = {60000, 62000, 50000};
    for (int isXYZ : {0, 1}) {
        const CXYZorLabRelAbs relAbs(paper, isXYZ);
        const CXYZorLabAbsRel absRel(paper, isXYZ);
        std::mt19937 rng(17 + isXYZ);
        std::uniform_int_distribution<int> dist(0, 65535);
        for (int n = 0; n < 2000; ++n) {
            const uint16_t in[3] = {static_cast<uint16_t>(dist(rng)),
                                    static_cast<uint16_t>(dist(rng)),
                                    static_cast<uint16_t>(dist(rng))};
            uint16_t a[3], b[3];
            relAbs.Inv(in, a);
            absRel.Trn(in, b);
            ExpectTriple(a, b[0], b[1], b[2]);
            relAbs.Trn(in, a);
            absRel.Inv(in, b);
            ExpectTriple(a, b[0], b[1], b[2]);
        }
    }
}

TEST(Colorimetric, NamedRelAbsClassesFixTheEncoding) {
    const icXYZNumber paper = {60000, 62000, 50000};
    EXPECT_EQ(CXYZRelAbs(paper).isXYZ(), 1);
    EXPECT_EQ(CLabRelAbs(paper).isXYZ(), 0);
    EXPECT_EQ(CXYZAbsRel(paper).isXYZ(), 1);
    EXPECT_EQ(CLabAbsRel(paper).isXYZ(), 0);
    // The Lab form is the XYZ form between Lab 16 and XYZ 1.15.
    const CLabRelAbs lab(paper);
    const CXYZRelAbs xyz(paper);
    const uint16_t in[3] = {0xA000, 0x7000, 0x9000};
    uint16_t t[3], u[3], viaXYZ[3], direct[3];
    LabXYZ16.Trn2(in, t);
    xyz.Trn(t, u);
    LabXYZ16.Inv2(u, viaXYZ);
    lab.Trn(in, direct);
    ExpectTriple(direct, viaXYZ[0], viaXYZ[1], viaXYZ[2]);
}

TEST(Colorimetric, LabRelAbsWithD50WhiteKeepsLabClose) {
    const CLabRelAbs f(kD50Rounded);
    std::mt19937 rng(23);
    // L from about 37.6 and a, b within +-32: colours whose XYZ 1.15 lies inside the sample
    // range, so that nothing is clipped on the way.
    std::uniform_int_distribution<int> L(0x6000, 0xFF00), ab(0x6000, 0xA000);
    for (int n = 0; n < 2000; ++n) {
        const uint16_t in[3] = {static_cast<uint16_t>(L(rng)), static_cast<uint16_t>(ab(rng)),
                                static_cast<uint16_t>(ab(rng))};
        uint16_t out[3];
        f.Trn(in, out);
        // Two conversions through integer XYZ 1.15 and a floor: well below one Lab unit (256).
        EXPECT_NEAR(out[0], in[0], 64);
        EXPECT_NEAR(out[1], in[1], 256);
        EXPECT_NEAR(out[2], in[2], 256);
    }
}

// ---------------------------------------------------------------------------------------------
// Black point scaling

TEST(Colorimetric, BPScalingWithEqualBlacksIsTheIdentity) {
    const CBPScalingXYZ f(0x1800, 0x1800);
    EXPECT_EQ(f.scale(), 1.0);
    EXPECT_EQ(f.offset(), 0.0);
    for (unsigned v = 0; v < 65536; ++v) {
        const uint16_t in[3] = {static_cast<uint16_t>(v), static_cast<uint16_t>(65535 - v),
                                static_cast<uint16_t>(v ^ 0x5555)};
        uint16_t out[3];
        EXPECT_EQ(f.Trn(in, out), 1);
        ExpectTriple(out, in[0], in[1], in[2]);
        EXPECT_EQ(f.Inv(in, out), 1);
        ExpectTriple(out, in[0], in[1], in[2]);
    }
}

TEST(Colorimetric, BPScalingMapsSourceBlackToDestinationBlackAndKeepsWhite) {
    const uint16_t L1 = 0x1400, L2 = 0x0800; // source black lighter than the destination's
    const CBPScalingXYZ f(L1, L2);
    uint16_t b1[3], b2[3];
    const uint16_t lab1[3] = {L1, 0x8000, 0x8000}, lab2[3] = {L2, 0x8000, 0x8000};
    LabXYZ16.Trn2(lab1, b1);
    LabXYZ16.Trn2(lab2, b2);
    uint16_t out[3];
    f.Trn(b1, out);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], b2[c], 2) << c;
    f.Inv(b2, out);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], b1[c], 2) << c;
    const uint16_t white[3] = {32767, 32767, 32767};
    f.Trn(white, out);
    ExpectTriple(out, 32767, 32767, 32767);
    // The scale is that of the two Y values on XYZ 65535.
    uint16_t y1[3], y2[3];
    LabXYZ16.Trn(lab1, y1);
    LabXYZ16.Trn(lab2, y2);
    EXPECT_DOUBLE_EQ(f.scale(), (65535.0 - y2[1]) / (65535.0 - y1[1]));
    EXPECT_DOUBLE_EQ(f.offset(), (1.0 - f.scale()) * 65535.0 * 0.5);
}

TEST(Colorimetric, BPScalingClipsAtTheRangeEnds) {
    const CBPScalingXYZ darker(0x0000, 0x2000); // black moves up: 0 gives a positive value
    const CBPScalingXYZ lighter(0x2000, 0x0000);
    const uint16_t zero[3] = {0, 0, 0}, top[3] = {65535, 65535, 65535};
    uint16_t out[3];
    darker.Inv(zero, out); // below the destination black: negative, limited to 0
    ExpectTriple(out, 0, 0, 0);
    lighter.Trn(zero, out);
    ExpectTriple(out, 0, 0, 0);
    lighter.Trn(top, out); // scale above 1 takes the top beyond the range
    ExpectTriple(out, 65535, 65535, 65535);
}

TEST(Colorimetric, BPScalingLabWorksThroughXYZ115) {
    const uint16_t L1 = 0x1400, L2 = 0x0800;
    const CBPScalingLab lab(L1, L2);
    const CBPScalingXYZ xyz(L1, L2);
    std::mt19937 rng(29);
    std::uniform_int_distribution<int> dist(0, 65535);
    for (int n = 0; n < 2000; ++n) {
        const uint16_t in[3] = {static_cast<uint16_t>(dist(rng)), static_cast<uint16_t>(dist(rng)),
                                static_cast<uint16_t>(dist(rng))};
        uint16_t t[3], u[3], expect[3], got[3];
        LabXYZ16.Trn2(in, t);
        xyz.Trn(t, u);
        LabXYZ16.Inv2(u, expect);
        EXPECT_EQ(lab.Trn(in, got), 1);
        ExpectTriple(got, expect[0], expect[1], expect[2]);
        LabXYZ16.Trn2(in, t);
        xyz.Inv(t, u);
        LabXYZ16.Inv2(u, expect);
        EXPECT_EQ(lab.Inv(in, got), 1);
        ExpectTriple(got, expect[0], expect[1], expect[2]);
    }
    // The source black's L becomes the destination black's L, within the integer steps.
    const uint16_t black1[3] = {L1, 0x8000, 0x8000};
    uint16_t out[3];
    lab.Trn(black1, out);
    EXPECT_NEAR(out[0], L2, 40);
    EXPECT_NEAR(out[1], 0x8000, 64);
    EXPECT_NEAR(out[2], 0x8000, 64);
}

// ---------------------------------------------------------------------------------------------
// Object model

TEST(Colorimetric, RuntimeClassesWithoutCreateObject) {
    const icXYZNumber w = {63190, 65536, 54061};
    ExpectDynamicClass(CLabXYZ16(), "CLabXYZ16", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CXYZRelToIcc(), "CXYZRelToIcc", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CXYZorLabRelAbs(w, 1), "CXYZorLabRelAbs", RUNTIME_CLASS(CLabXYZ16));
    ExpectDynamicClass(CXYZorLabAbsRel(w, 1), "CXYZorLabAbsRel", RUNTIME_CLASS(CXYZorLabRelAbs));
    ExpectDynamicClass(CXYZRelAbs(w), "CXYZRelAbs", RUNTIME_CLASS(CXYZorLabRelAbs));
    ExpectDynamicClass(CLabRelAbs(w), "CLabRelAbs", RUNTIME_CLASS(CXYZorLabRelAbs));
    ExpectDynamicClass(CXYZAbsRel(w), "CXYZAbsRel", RUNTIME_CLASS(CXYZorLabAbsRel));
    ExpectDynamicClass(CLabAbsRel(w), "CLabAbsRel", RUNTIME_CLASS(CXYZorLabAbsRel));
    ExpectDynamicClass(CBPScalingXYZ(0, 0), "CBPScalingXYZ", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CBPScalingLab(0, 0), "CBPScalingLab", RUNTIME_CLASS(CBPScalingXYZ));
    EXPECT_EQ(LabXYZ16.inputChan(), 3u);
    EXPECT_EQ(LabXYZ16.outputChan(), 3u);
}

TEST(Colorimetric, SharedInstanceComposesByReference) {
    // Lab -> XYZ -> Lab through the exported instance and its inverse direction.
    const CXYZRelToIcc toIcc;
    CConcatFunc_16 chain(toIcc, LabXYZ16);
    const uint16_t white[3] = {0xFF00, 0x8000, 0x8000};
    uint16_t out[3];
    EXPECT_EQ(chain.Trn(white, out), 1);
    ExpectTriple(out, 31594, 32768, 27030);
}
