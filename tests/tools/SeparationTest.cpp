// The separation of the default printer profile: printable colours kept at the relative
// intent, out-of-gamut colours mapped at constant Oklab hue onto colours the inks print, and
// black along the grey axis.
#include <gtest/gtest.h>

#include <cmath>

#include "tools/gen/Separation.h"

namespace {

double DeltaE(const Vec3& a, const Vec3& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

const CPrinterGamut& Gamut() {
    static const CPrinterGamut gamut;
    return gamut;
}

} // namespace

TEST(PrinterSeparation, RelativeKeepsPrintableColoursAndMapsOthersAtTheirOklabHue) {
    CPrinterSeparation sep(Gamut(), EIntent::Relative);
    double cmyk[4];
    Vec3 mapped;
    const double ink[4] = {0.4, 0.2, 0.1, 0.1};
    const Vec3 printable = Gamut().Press().Lab(ink);
    sep.Separate(printable, cmyk, mapped);
    EXPECT_LT(DeltaE(mapped, printable), 0.05);
    EXPECT_LT(DeltaE(Gamut().Press().Lab(cmyk), printable), 0.1);

    const Vec3 vivid{60, -100, -80};
    sep.Separate(vivid, cmyk, mapped);
    EXPECT_LT(std::hypot(mapped[1], mapped[2]), std::hypot(vivid[1], vivid[2]));
    EXPECT_LT(DeltaE(Gamut().Press().Lab(cmyk), mapped), 0.1);
    const double hueShift = std::fabs(ToLch(LabToOklab(mapped)).h - ToLch(LabToOklab(vivid)).h);
    EXPECT_LT(hueShift, 0.01) << "radians";
}

TEST(PrinterSeparation, GreysDarkerThanThePressGoToTheDarkestNeutral) {
    CPrinterSeparation sep(Gamut(), EIntent::Relative);
    double cmyk[4];
    Vec3 mapped;
    sep.Separate({3.0, 0.0, 0.0}, cmyk, mapped);
    EXPECT_NEAR(Gamut().DarkestGreyL(), mapped[0], 0.2);
    EXPECT_LT(std::hypot(mapped[1], mapped[2]), 0.2);
}

TEST(PrinterSeparation, GreyAxisBlackStartsAtAQuarterAndIsFullAtTheDarkestNeutral) {
    const double dark = Gamut().DarkestGreyL();
    const double quarter = 100.0 - 0.25 * (100.0 - dark);
    EXPECT_EQ(0.0, CPrinterSeparation::GreyBlack(quarter + 0.5, dark));
    EXPECT_GT(CPrinterSeparation::GreyBlack(quarter - 5.0, dark), 0.0);
    EXPECT_DOUBLE_EQ(1.0, CPrinterSeparation::GreyBlack(dark, dark));
    double last = -1.0;
    for (double L = 100.0; L >= dark; L -= 0.5) {
        const double k = CPrinterSeparation::GreyBlack(L, dark);
        EXPECT_GE(k, last) << L;
        last = k;
    }
}

TEST(PrinterSeparation, PerceptualPrintsSrgbBlackAsTheDarkestNeutral) {
    CPrinterSeparation sep(Gamut(), EIntent::Perceptual);
    double cmyk[4];
    Vec3 mapped;
    sep.Separate({0.0, 0.0, 0.0}, cmyk, mapped);
    EXPECT_NEAR(Gamut().DarkestGreyL(), Gamut().Press().Lab(cmyk)[0], 0.2);
    EXPECT_GT(cmyk[3], 0.99);
}
