// The colour models behind the built-in tables and the default profiles: sRGB by its published
// primaries and white, the press model at its paper, its solid inks and along single-ink ramps,
// and the separation of Lab into the press's inks.
#include <gtest/gtest.h>

#include <cmath>

#include "tools/gen/PrinterModel.h"

namespace {

double DeltaE(const Vec3& a, const Vec3& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

// The press's colour of a combination of full inks, from kPressPrimaries.
Vec3 Solid(int c, int m, int y, int k) {
    const double* lab = kPressPrimaries[c * 8 + m * 4 + y * 2 + k];
    return {lab[0], lab[1], lab[2]};
}

} // namespace

TEST(PrinterModelLab, LabAndXyzRoundTripAndWhiteIsD50) {
    const Vec3 white = LabToXyz({100, 0, 0});
    EXPECT_NEAR(white[0], 0.9642, 1e-6);
    EXPECT_NEAR(white[1], 1.0, 1e-6);
    EXPECT_NEAR(white[2], 0.8249, 1e-6);
    for (const Vec3 lab : {Vec3{50, 20, -30}, Vec3{5, -2, 3}, Vec3{90, -60, 80}}) {
        const Vec3 back = XyzToLab(LabToXyz(lab));
        EXPECT_LT(DeltaE(back, lab), 1e-9) << lab[0] << " " << lab[1] << " " << lab[2];
    }
}

TEST(PrinterModelSrgb, TransferFunctionIsTheStandardOneAndInvertible) {
    EXPECT_DOUBLE_EQ(SRgb::Decode(0.0), 0.0);
    EXPECT_NEAR(SRgb::Decode(1.0), 1.0, 1e-12);
    EXPECT_NEAR(SRgb::Decode(0.04), 0.04 / 12.92, 1e-12);                // the linear part
    EXPECT_NEAR(SRgb::Decode(0.5), std::pow(0.555 / 1.055, 2.4), 1e-12); // the power part
    double last = -1;
    for (int i = 0; i <= 100; ++i) {
        const double v = i / 100.0;
        const double l = SRgb::Decode(v);
        EXPECT_GT(l, last) << v;
        EXPECT_NEAR(SRgb::Encode(l), v, 1e-9) << v;
        last = l;
    }
}

TEST(PrinterModelSrgb, WhiteBlackAndPrimariesHaveTheirPublishedD50Lab) {
    const SRgb srgb;
    EXPECT_LT(DeltaE(srgb.ToLab({1, 1, 1}), {100, 0, 0}), 0.01);
    EXPECT_LT(DeltaE(srgb.ToLab({0, 0, 0}), {0, 0, 0}), 0.01);
    EXPECT_LT(DeltaE(srgb.ToLab({0.5, 0.5, 0.5}), {53.39, 0, 0}), 0.05); // neutral, L of 50% grey
    // sRGB primaries in CIELAB D50 with Bradford adaptation.
    EXPECT_LT(DeltaE(srgb.ToLab({1, 0, 0}), {54.29, 80.80, 69.89}), 0.5);
    EXPECT_LT(DeltaE(srgb.ToLab({0, 1, 0}), {87.82, -79.29, 80.99}), 0.5);
    EXPECT_LT(DeltaE(srgb.ToLab({0, 0, 1}), {29.57, 68.30, -112.03}), 0.5);
}

TEST(PrinterModelSrgb, FromXyzInvertsToLabAndClipsOutsideTheGamut) {
    const SRgb srgb;
    for (const Vec3 rgb : {Vec3{0.2, 0.4, 0.6}, Vec3{0.9, 0.1, 0.5}, Vec3{1, 1, 1}}) {
        const Vec3 back = srgb.FromXyz(LabToXyz(srgb.ToLab(rgb)));
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(back[c], rgb[c], 1e-6) << c;
    }
    // A Lab far outside sRGB: every channel clipped into 0..1.
    const Vec3 clipped = srgb.FromXyz(LabToXyz({60, -120, 120}));
    for (int c = 0; c < 3; ++c) {
        EXPECT_GE(clipped[c], 0.0);
        EXPECT_LE(clipped[c], 1.0);
    }
}

TEST(PrinterModelPress, PaperIsWhiteAndSolidsAreTheMeasuredColours) {
    const CPressModel press;
    const double none[4] = {0, 0, 0, 0};
    EXPECT_LT(DeltaE(press.Lab(none), {100, 0, 0}), 0.01);
    for (int c = 0; c < 2; ++c)
        for (int m = 0; m < 2; ++m)
            for (int y = 0; y < 2; ++y)
                for (int k = 0; k < 2; ++k) {
                    const double ink[4] = {double(c), double(m), double(y), double(k)};
                    EXPECT_LT(DeltaE(press.Lab(ink), Solid(c, m, y, k)), 0.01) << c << m << y << k;
                }
}

TEST(PrinterModelPress, EveryInkDarkensMonotonically) {
    const CPressModel press;
    for (int i = 0; i < 4; ++i) {
        double lastL = 101;
        for (int step = 0; step <= 20; ++step) {
            double ink[4] = {0, 0, 0, 0};
            ink[i] = step / 20.0;
            const double L = press.Lab(ink)[0];
            EXPECT_LT(L, lastL) << "ink " << i << " at " << ink[i];
            lastL = L;
        }
    }
    // Black on top of cyan darkens it further.
    double lastL = 101;
    for (int step = 0; step <= 10; ++step) {
        const double ink[4] = {1, 0, 0, step / 10.0};
        const double L = press.Lab(ink)[0];
        EXPECT_LT(L, lastL) << step;
        lastL = L;
    }
}

TEST(PrinterModelPress, SeparationPrintsPaperWithNoInkAndPrintableColoursExactly) {
    const CPressModel press;
    double cmyk[4];
    press.Separate({100, 0, 0}, cmyk);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(cmyk[i], 0.0, 1e-3) << i;

    // Colours the press prints, made from inks within the total limit: the separation prints
    // them back within a small fraction of a unit of colour difference.
    const double inks[][4] = {{0.3, 0.5, 0.2, 0.0}, {0.6, 0.1, 0.4, 0.2}, {0.05, 0.8, 0.7, 0.0}};
    for (const auto& ink : inks) {
        const Vec3 target = press.Lab(ink);
        press.Separate(target, cmyk);
        EXPECT_LT(DeltaE(press.Lab(cmyk), target), 0.1) << target[0];
        double total = 0;
        for (int i = 0; i < 4; ++i) {
            EXPECT_GE(cmyk[i], 0.0);
            EXPECT_LE(cmyk[i], 1.0);
            total += cmyk[i];
        }
        EXPECT_LE(total, kTotalInkLimit + 1e-6);
    }
}

TEST(PrinterModelPress, DarkGreysUseBlackAndKeepTheInkLimit) {
    const CPressModel press;
    double cmyk[4];
    press.Separate({15, 0, 0}, cmyk);
    EXPECT_GT(cmyk[3], 0.9) << "a near-black grey is mostly black ink";
    EXPECT_LE(cmyk[0] + cmyk[1] + cmyk[2] + cmyk[3], kTotalInkLimit + 1e-6);
    // A light grey, whose grey component is below where black begins, takes no black.
    press.Separate({92, 0, 0}, cmyk);
    EXPECT_NEAR(cmyk[3], 0.0, 1e-6);
    EXPECT_GT(cmyk[0] + cmyk[1] + cmyk[2], 0.0);
}
