#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "base/Colorimetry.h"

TEST(Colorimetry, D50WhiteIsLab100) {
    double lab[3];
    XYZ2lab(kD50White, lab, kD50White);
    EXPECT_NEAR(lab[0], 100.0, 1e-12);
    EXPECT_NEAR(lab[1], 0.0, 1e-12);
    EXPECT_NEAR(lab[2], 0.0, 1e-12);

    const double white[3] = {100.0, 0.0, 0.0};
    double xyz[3];
    lab2XYZ(white, xyz, kD50White);
    EXPECT_DOUBLE_EQ(xyz[0], 0.9642);
    EXPECT_DOUBLE_EQ(xyz[1], 1.0);
    EXPECT_DOUBLE_EQ(xyz[2], 0.8249);
}

TEST(Colorimetry, PublishedLightnessValues) {
    // 18 % grey has L* 49.496; black 0; in the linear part L* = Y * 24389/27.
    const double w[3] = {1.0, 1.0, 1.0};
    double lab[3];
    const double grey[3] = {0.18, 0.18, 0.18};
    XYZ2lab(grey, lab, w);
    EXPECT_NEAR(lab[0], 49.496, 1e-3);
    const double black[3] = {0.0, 0.0, 0.0};
    XYZ2lab(black, lab, w);
    EXPECT_NEAR(lab[0], 0.0, 1e-12);
    const double dark[3] = {0.001, 0.001, 0.001};
    XYZ2lab(dark, lab, w);
    EXPECT_NEAR(lab[0], 0.9033, 1e-4);
}

TEST(Colorimetry, ResultIsOnTheScaleOfTheWhite) {
    const double w[3] = {65535.0, 65535.0, 65535.0};
    const double lab[3] = {100.0, 0.0, 0.0};
    double xyz[3];
    lab2XYZ(lab, xyz, w);
    for (double v : xyz) EXPECT_DOUBLE_EQ(v, 65535.0);
}

TEST(Colorimetry, LabXyzRoundTripOverTheRange) {
    const double whites[2][3] = {{0.9642, 1.0, 0.8249}, {32767.5, 32767.5, 32767.5}};
    for (const auto& w : whites) {
        for (double L = 0.0; L <= 100.0; L += 2.5) {
            for (double a = -120.0; a <= 120.0; a += 15.0) {
                for (double b = -120.0; b <= 120.0; b += 15.0) {
                    const double lab[3] = {L, a, b};
                    double xyz[3], back[3];
                    lab2XYZ(lab, xyz, w);
                    XYZ2lab(xyz, back, w);
                    EXPECT_NEAR(back[0], L, 1e-9);
                    EXPECT_NEAR(back[1], a, 1e-9);
                    EXPECT_NEAR(back[2], b, 1e-9);
                }
            }
        }
    }
}

TEST(Colorimetry, NoJumpWhereCubeRootMeetsLinearPart) {
    const double w[3] = {1.0, 1.0, 1.0};
    const double eps = 216.0 / 24389.0;
    double below[3], above[3];
    const double y0[3] = {eps * (1 - 1e-9), eps * (1 - 1e-9), eps * (1 - 1e-9)};
    const double y1[3] = {eps * (1 + 1e-9), eps * (1 + 1e-9), eps * (1 + 1e-9)};
    XYZ2lab(y0, below, w);
    XYZ2lab(y1, above, w);
    EXPECT_NEAR(below[0], 8.0, 1e-6);
    EXPECT_NEAR(above[0], 8.0, 1e-6);
}

TEST(Colorimetry, EncodeLab16KnownValues) {
    unsigned short enc[3];
    const double white[3] = {100.0, 0.0, 0.0};
    IccEncodeLab16(white, enc);
    EXPECT_EQ(enc[0], 0xFF00);
    EXPECT_EQ(enc[1], 0x8000);
    EXPECT_EQ(enc[2], 0x8000);

    const double ends[3] = {0.0, -128.0, 127.99609375};
    IccEncodeLab16(ends, enc);
    EXPECT_EQ(enc[0], 0);
    EXPECT_EQ(enc[1], 0);
    EXPECT_EQ(enc[2], 0xFFFF);

    const double half[3] = {50.0, 1.0, -1.0};
    IccEncodeLab16(half, enc);
    EXPECT_EQ(enc[0], 32640);
    EXPECT_EQ(enc[1], 0x8100);
    EXPECT_EQ(enc[2], 0x7F00);
}

TEST(Colorimetry, EncodeLab16RoundsAndLimits) {
    unsigned short enc[3];
    const double beyond[3] = {101.0, 200.0, -200.0};
    IccEncodeLab16(beyond, enc);
    EXPECT_EQ(enc[0], 65535);
    EXPECT_EQ(enc[1], 65535);
    EXPECT_EQ(enc[2], 0);

    const double negative[3] = {-5.0, 0.0, 0.0};
    IccEncodeLab16(negative, enc);
    EXPECT_EQ(enc[0], 0);

    // 1/512 is half a step of a and b: rounds up; just below it rounds down.
    const double halfStep[3] = {0.4 / 652.8, 1.0 / 512.0, 0.99 / 512.0};
    IccEncodeLab16(halfStep, enc);
    EXPECT_EQ(enc[0], 0);
    EXPECT_EQ(enc[1], 0x8001);
    EXPECT_EQ(enc[2], 0x8000);
}

TEST(Colorimetry, DecodeLab16KnownValues) {
    double lab[3];
    const unsigned short white[3] = {0xFF00, 0x8000, 0x8000};
    IccDecodeLab16(white, lab);
    EXPECT_DOUBLE_EQ(lab[0], 100.0);
    EXPECT_DOUBLE_EQ(lab[1], 0.0);
    EXPECT_DOUBLE_EQ(lab[2], 0.0);
    const unsigned short ends[3] = {0xFFFF, 0, 0xFFFF};
    IccDecodeLab16(ends, lab);
    EXPECT_NEAR(lab[0], 100.390625, 1e-6);
    EXPECT_DOUBLE_EQ(lab[1], -128.0);
    EXPECT_DOUBLE_EQ(lab[2], 127.99609375);
}

TEST(Colorimetry, DecodeThenEncodeIsIdentityForEverySample) {
    for (unsigned v = 0; v <= 0xFFFF; ++v) {
        const unsigned short enc[3] = {static_cast<unsigned short>(v),
                                       static_cast<unsigned short>(v),
                                       static_cast<unsigned short>(0xFFFF - v)};
        double lab[3];
        unsigned short back[3];
        IccDecodeLab16(enc, lab);
        IccEncodeLab16(lab, back);
        ASSERT_EQ(back[0], enc[0]);
        ASSERT_EQ(back[1], enc[1]);
        ASSERT_EQ(back[2], enc[2]);
    }
}

TEST(Colorimetry, Lab8ToLab16ShiftsByEightBits) {
    const unsigned char lab8[3] = {255, 128, 0};
    unsigned short lab16[3];
    IccLab8ToLab16(lab8, lab16);
    EXPECT_EQ(lab16[0], 0xFF00);
    EXPECT_EQ(lab16[1], 0x8000);
    EXPECT_EQ(lab16[2], 0x0000);
    double lab[3];
    IccDecodeLab16(lab16, lab);
    EXPECT_DOUBLE_EQ(lab[0], 100.0); // 8-bit L 255 is L 100
    EXPECT_DOUBLE_EQ(lab[1], 0.0);
    EXPECT_DOUBLE_EQ(lab[2], -128.0);
}

TEST(Colorimetry, Lab16ToLab8RoundsToNearestAndLimits) {
    const unsigned short a[3] = {0xFF00, 0x8000, 0xFFFF};
    unsigned char out[3];
    IccLab16ToLab8(a, out);
    EXPECT_EQ(out[0], 255);
    EXPECT_EQ(out[1], 128);
    EXPECT_EQ(out[2], 255);
    const unsigned short b[3] = {0x807F, 0x8080, 0x7F80};
    IccLab16ToLab8(b, out);
    EXPECT_EQ(out[0], 128);
    EXPECT_EQ(out[1], 129);
    EXPECT_EQ(out[2], 128);
    const unsigned short c[3] = {0x007F, 0x0080, 0xFF7F};
    IccLab16ToLab8(c, out);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 1);
    EXPECT_EQ(out[2], 255);
}

TEST(Colorimetry, Lab8RoundTripForEveryByte) {
    for (unsigned v = 0; v < 256; ++v) {
        const unsigned char in[3] = {static_cast<unsigned char>(v),
                                     static_cast<unsigned char>(255 - v),
                                     static_cast<unsigned char>(v)};
        unsigned short mid[3];
        unsigned char back[3];
        IccLab8ToLab16(in, mid);
        IccLab16ToLab8(mid, back);
        ASSERT_EQ(back[0], in[0]);
        ASSERT_EQ(back[1], in[1]);
        ASSERT_EQ(back[2], in[2]);
    }
}

namespace {

// The roundings as first written, with floor, against which the helpers are checked.
uint16_t RoundLimit16WithFloor(double v) {
    v = std::floor(v + 0.5);
    if (!(v >= 0.0)) return 0;
    if (v > 65535.0) return 65535;
    return static_cast<uint16_t>(v);
}

uint16_t FloorLimit16WithFloor(double v) {
    const double w = std::floor(v) + 0.5;
    if (!(w >= 0.0)) return 0;
    if (w >= 65535.0) return 65535;
    return static_cast<uint16_t>(w);
}

std::vector<double> EdgeValues() {
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> v = {std::nan(""),
                             -std::nan(""),
                             inf,
                             -inf,
                             0.0,
                             -0.0,
                             0.5,
                             -0.5,
                             0.49999999999999994,
                             -0.49999999999999994,
                             -0.5000000000000001,
                             1.0,
                             -1.0,
                             65534.5,
                             65534.49999999999,
                             65535.0,
                             65535.49999,
                             65535.49999999999,
                             65535.5,
                             65535.50000000001,
                             65536.0,
                             65536.5,
                             1e300,
                             -1e300,
                             std::numeric_limits<double>::denorm_min(),
                             -std::numeric_limits<double>::denorm_min(),
                             4503599627370495.5,
                             4503599627370496.0,
                             9007199254740993.0};
    for (int k = -2; k <= 65538; ++k) {
        const double base = k;
        v.push_back(base);
        v.push_back(base + 0.5);
        v.push_back(std::nextafter(base + 0.5, -inf));
        v.push_back(std::nextafter(base + 0.5, inf));
        v.push_back(std::nextafter(base, -inf));
        v.push_back(std::nextafter(base, inf));
    }
    return v;
}

} // namespace

// f and g agree on the edge values, on 4 million doubles near the 16-bit range and on 4
// million arbitrary bit patterns (every exponent, NaNs and infinities included).
template <class F, class G> void ExpectSameOnEdgesAndRandomDoubles(F f, G g, uint64_t seed) {
    for (double v : EdgeValues()) ASSERT_EQ(f(v), g(v)) << v;
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> near(-3.0, 65540.0);
    for (int i = 0; i < 4000000; ++i) {
        const double v = near(rng);
        ASSERT_EQ(f(v), g(v)) << v;
    }
    for (int i = 0; i < 4000000; ++i) {
        const uint64_t bits = rng();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        ASSERT_EQ(f(v), g(v)) << v;
    }
}

TEST(Colorimetry, RoundLimit16EqualsFloorOfHalfUpLimitedOnEdgesAndRandomDoubles) {
    ExpectSameOnEdgesAndRandomDoubles(RoundLimit16, RoundLimit16WithFloor, 19);
}

TEST(Colorimetry, TruncLimit16IsTheFloorLimitedOnEdgesAndRandomDoubles) {
    ExpectSameOnEdgesAndRandomDoubles(TruncLimit16, FloorLimit16WithFloor, 20);
}
