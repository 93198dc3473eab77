// Device models: the Neugebauer model of a four-ink print, the polar view of 8-bit a and b,
// the gamut flag and the chroma limit.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <utility>

#include "base/Colorimetry.h"
#include "colorfunc/DeviceModels.h"

namespace {

// ---------------------------------------------------------------------------------------------
// CChromaHue

std::pair<int, int> Polar(int a, int b) {
    const unsigned char ab[2] = {static_cast<unsigned char>(a), static_cast<unsigned char>(b)};
    int ch[2] = {-1, -1};
    ChromaHue.Trn(ab, ch);
    return {ch[0], ch[1]};
}

std::pair<int, int> Cartesian(int chroma, int hue) {
    const int ch[2] = {chroma, hue};
    unsigned char ab[2] = {0, 0};
    ChromaHue.Inv(ch, ab);
    return {ab[0], ab[1]};
}

TEST(ChromaHue, NeutralIsZeroChromaAndHue) {
    EXPECT_EQ(Polar(128, 128), std::make_pair(0, 0));
}

TEST(ChromaHue, TheAAxis) {
    EXPECT_EQ(Polar(255, 128), std::make_pair(508, 0));
    EXPECT_EQ(Polar(0, 128), std::make_pair(512, 1024));
}

TEST(ChromaHue, TheBAxis) {
    EXPECT_EQ(Polar(128, 255), std::make_pair(508, 512));
    EXPECT_EQ(Polar(128, 0), std::make_pair(512, -512));
}

TEST(ChromaHue, TheFirstDiagonalStep) {
    // p = q = 1, k = 0: chroma round(sqrt 2 * 4) = 6, hue 512 - 256.
    EXPECT_EQ(CChromaHue::TriangleIndex(1, 1), 0);
    EXPECT_EQ(Polar(129, 129), std::make_pair(6, 256));
}

TEST(ChromaHue, TablesHoldTheFirstOctant) {
    EXPECT_EQ(ChromaHue.ChromaAt(0), 6);
    EXPECT_EQ(ChromaHue.HueAt(0), 256);
    EXPECT_EQ(CChromaHue::TriangleIndex(128, 128), CChromaHue::kTriangleEntries - 1);
    EXPECT_EQ(ChromaHue.ChromaAt(CChromaHue::kTriangleEntries - 1),
              static_cast<int>(std::floor(std::hypot(128, 128) * 4 + 0.5)));
    EXPECT_EQ(ChromaHue.SinAt(0), 0);
    EXPECT_EQ(ChromaHue.SinAt(512), 65536);
    EXPECT_EQ(ChromaHue.SinAt(256), 46341);
    EXPECT_EQ(ChromaHue.LimitAt(0), 508);
    EXPECT_EQ(ChromaHue.LimitAt(512), 508);
    EXPECT_EQ(ChromaHue.LimitAt(256), 718);
}

TEST(ChromaHue, EveryQuadrantAndOctantAgreesWithAtan2) {
    // The branches of Trn against the direct formula: hue in 1/1024 of a half turn.
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            if (a == 128 && b == 128) continue;
            const auto [chroma, hue] = Polar(a, b);
            const double A = a - 128, B = b - 128;
            EXPECT_NEAR(chroma, std::hypot(A, B) * 4.0, 0.5) << a << " " << b;
            const double h = std::atan2(B, A) * 1024.0 / std::numbers::pi;
            // On the negative a axis the table answers +1024 where atan2 may say -1024.
            const double diff = std::remainder(hue - h, 2048.0);
            ASSERT_LE(std::fabs(diff), 0.5 + 1e-9) << a << " " << b << " hue " << hue;
            ASSERT_GE(hue, -1024);
            ASSERT_LE(hue, 1024);
        }
}

TEST(ChromaHue, InvOfTheAAxisAndItsLimit) {
    EXPECT_EQ(Cartesian(508, 0), std::make_pair(255, 128));
    EXPECT_EQ(Cartesian(700, 0), std::make_pair(255, 128));
    EXPECT_EQ(Cartesian(100000, 0), std::make_pair(255, 128));
}

TEST(ChromaHue, InvOfTheOtherAxes) {
    EXPECT_EQ(Cartesian(508, 512), std::make_pair(128, 255));
    // On the negative side the half added before the division is pulled toward zero:
    // (-508 * 65536 + 0x20000) / 0x40000 = -126.5 gives -126, not -127.
    EXPECT_EQ(Cartesian(508, -512), std::make_pair(128, 2));
    EXPECT_EQ(Cartesian(508, 1024), std::make_pair(2, 128));
    EXPECT_EQ(Cartesian(0, 300), std::make_pair(128, 128));
    // The limit along the diagonal is the corner of the square: 718 reaches a = b = 127.
    EXPECT_EQ(Cartesian(2000, 256), std::make_pair(255, 255));
}

TEST(ChromaHue, InvUndoesTrnWithinOneStep) {
    // Except where a = 0 or b = 0 (a distance of 128 that the square of half-width 127 limits),
    // polar and back lands within one unit of a and b.
    for (int a = 1; a < 256; ++a)
        for (int b = 1; b < 256; ++b) {
            const auto [chroma, hue] = Polar(a, b);
            const auto [a2, b2] = Cartesian(chroma, hue);
            ASSERT_LE(std::abs(a2 - a), 1) << a << " " << b;
            ASSERT_LE(std::abs(b2 - b), 1) << a << " " << b;
        }
}

// ---------------------------------------------------------------------------------------------
// CFunc_8Neugebauer

// Primaries of an RGB-like three-ink print: white paper, each ink removes one channel.
const unsigned char kPrimaries[2][2][2][3] = {
    {{{250, 245, 240}, {240, 230, 10}}, {{235, 20, 200}, {220, 15, 8}}},
    {{{12, 200, 230}, {10, 180, 9}}, {{11, 8, 190}, {6, 5, 4}}},
};

TEST(Neugebauer, NoInkGivesThePaperAndFullFourthInkGivesZero) {
    const CFunc_8Neugebauer model(kPrimaries);
    EXPECT_EQ(model.inputChan(), 4u);
    EXPECT_EQ(model.outputChan(), 3u);
    uint8_t out[3];
    const uint8_t none[4] = {0, 0, 0, 0};
    EXPECT_EQ(model.Trn(none, out), 1);
    EXPECT_EQ(out[0], 250);
    EXPECT_EQ(out[1], 245);
    EXPECT_EQ(out[2], 240);
    for (const auto& in :
         {std::array<uint8_t, 4>{0, 0, 0, 255}, std::array<uint8_t, 4>{255, 255, 255, 255},
          std::array<uint8_t, 4>{17, 200, 99, 255}}) {
        model.Trn(in.data(), out);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(out[1], 0);
        EXPECT_EQ(out[2], 0);
    }
}

TEST(Neugebauer, FullInksGiveTheirPrimary) {
    const CFunc_8Neugebauer model(kPrimaries);
    uint8_t out[3];
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j)
            for (int k = 0; k < 2; ++k) {
                const uint8_t in[4] = {uint8_t(i * 255), uint8_t(j * 255), uint8_t(k * 255), 0};
                model.Trn(in, out);
                for (int c = 0; c < 3; ++c) EXPECT_EQ(out[c], kPrimaries[i][j][k][c]);
            }
    EXPECT_EQ(model.Primary(1, 0, 1, 0, 2), 9.0);
    EXPECT_EQ(model.Primary(1, 0, 1, 1, 2), 0.0);
}

TEST(Neugebauer, EachTermIsTruncatedSoTheSumFallsShortByLessThanSixteen) {
    const CFunc_8Neugebauer model(kPrimaries);
    uint8_t out[3];
    int shortfallSeen = 0;
    for (int v = 0; v < 256; v += 5) {
        const uint8_t in[4] = {uint8_t(v), uint8_t(255 - v), uint8_t((v * 7) & 255),
                               uint8_t((v * 3) & 255)};
        model.Trn(in, out);
        for (int c = 0; c < 3; ++c) {
            // The exact weighted sum of the primaries, in doubles.
            double exact = 0.0;
            for (int i = 0; i < 2; ++i)
                for (int j = 0; j < 2; ++j)
                    for (int k = 0; k < 2; ++k) {
                        const double w = (i ? in[0] : 255 - in[0]) / 255.0 *
                                         (j ? in[1] : 255 - in[1]) / 255.0 *
                                         (k ? in[2] : 255 - in[2]) / 255.0;
                        exact += w * (255 - in[3]) / 255.0 * kPrimaries[i][j][k][c];
                    }
            EXPECT_LE(out[c], exact + 1e-9);
            EXPECT_GT(out[c], exact - 16.0);
            if (out[c] < std::floor(exact)) ++shortfallSeen;
        }
    }
    EXPECT_GT(shortfallSeen, 0); // the truncation per term shows
}

TEST(Neugebauer, CopiesAreMemberWise) {
    const CFunc_8Neugebauer model(kPrimaries);
    const CFunc_8Neugebauer copy = model;
    CFunc_8Neugebauer assigned(kPrimaries);
    assigned = model;
    for (int v = 0; v < 256; v += 15) {
        const uint8_t in[4] = {uint8_t(v), uint8_t(v / 2), uint8_t(255 - v), uint8_t(v / 3)};
        uint8_t a[3], b[3], c[3];
        model.Trn(in, a);
        copy.Trn(in, b);
        assigned.Trn(in, c);
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(a[k], b[k]);
            EXPECT_EQ(a[k], c[k]);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// CRGBToGamut

TEST(RGBToGamut, InsideGivesZeroAndTheEdgeGivesFullScale) {
    const CRGBToGamut gamut;
    EXPECT_EQ(gamut.inputChan(), 3u);
    EXPECT_EQ(gamut.outputChan(), 1u);
    uint16_t out[1] = {123};
    const uint16_t inside[3] = {1, 65534, 32768};
    EXPECT_EQ(gamut.Trn(inside, out), 1);
    EXPECT_EQ(out[0], 0);
    const uint16_t low[3] = {0, 32768, 32768};
    gamut.Trn(low, out);
    EXPECT_EQ(out[0], 65535);
    const uint16_t high[3] = {1, 1, 65535};
    gamut.Trn(high, out);
    EXPECT_EQ(out[0], 65535);
    uint16_t back[3];
    EXPECT_EQ(gamut.Inv(out, back), 0);
}

// ---------------------------------------------------------------------------------------------
// The chroma limit

TEST(ChromaLimit, AColourWithinTheLimitPassesUnchanged) {
    const CFunc_16ChromaLimit limit(2.0);
    // L8 = 128: r = trunc(127 * 2) = 254; a8 = 150, b8 = 128: chroma 88.
    const uint16_t in[3] = {128 << 8, 150 << 8 | 0x35, 128 << 8};
    uint16_t out[3];
    EXPECT_EQ(limit.Trn(in, out), 1);
    EXPECT_EQ(out[0], in[0]);
    EXPECT_EQ(out[1], in[1]); // the low bits stay too
    EXPECT_EQ(out[2], in[2]);
}

TEST(ChromaLimit, AGreaterChromaIsCutAlongItsHue) {
    const CFunc_16ChromaLimit limit(0.5);
    // L8 = 155: r = trunc(100 * 0.5) = 50 quarter units, 12.5 units of a.
    const uint16_t in[3] = {155 << 8 | 0x12, 228 << 8, 128 << 8};
    uint16_t out[3];
    EXPECT_EQ(limit.Trn(in, out), 1);
    EXPECT_EQ(out[0], in[0]); // L stays as it was
    // Hue 0: a = (50 * 65536 + 0x20000) / 0x40000 + 128 = 141 (12.5 rounded up), b neutral.
    EXPECT_EQ(out[1], 141 << 8);
    EXPECT_EQ(out[2], 128 << 8);
}

TEST(ChromaLimit, TheLimitFollowsTheHueAndWhiteHasNoChroma) {
    const CFunc_16ChromaLimit limit(1.0);
    // L8 = 255: the limit is 0, and a colour there becomes neutral.
    const uint16_t white[3] = {255 << 8, 160 << 8, 90 << 8};
    uint16_t out[3];
    limit.Trn(white, out);
    EXPECT_EQ(out[1], 128 << 8);
    EXPECT_EQ(out[2], 128 << 8);
    // A diagonal hue keeps its direction: a and b move alike.
    const uint16_t diag[3] = {200 << 8, 178 << 8, 178 << 8};
    limit.Trn(diag, out);
    unsigned char lab8[3];
    IccLab16ToLab8(out, lab8);
    EXPECT_EQ(lab8[1], lab8[2]);
    EXPECT_LT(lab8[1], 178);
    const double chroma = std::hypot(lab8[1] - 128.0, lab8[2] - 128.0) * 4.0;
    EXPECT_NEAR(chroma, 55.0, 6.0);
}

} // namespace
