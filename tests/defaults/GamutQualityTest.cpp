// The quality of the default printer profile for sRGB input (tools/gen/GamutQuality.h): the
// figures that kvrgamutreport prints, held to their bounds, through the native link and
// through lcms2, with the printed colours read back through the profile's A2B1.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <utility>

#include "tools/gen/GamutQuality.h"

namespace fs = std::filesystem;
using namespace gamutquality;

namespace {

const fs::path kProfiles = fs::path(KVR_BINARY_DIR) / "profiles";

// One measurement of each converter and intent for the whole program: each takes a second.
const SFigures& Figures(EConverter converter, EIntent intent) {
    static std::unique_ptr<CQuality> quality;
    static std::map<std::pair<EConverter, EIntent>, SFigures> cache;
    if (!quality)
        quality = std::make_unique<CQuality>(kProfiles / "InputRgb" / "kvr-srgb.icc",
                                             kProfiles / "Printer" / "kvr-cmyk.icc");
    EXPECT_TRUE(quality->Ok()) << quality->Error();
    const auto key = std::make_pair(converter, intent);
    auto it = cache.find(key);
    if (it == cache.end()) it = cache.emplace(key, quality->Measure(converter, intent)).first;
    EXPECT_TRUE(quality->Ok()) << quality->Error();
    return it->second;
}

double DarkestGreyL() {
    static const double l = CPressModel().DarkestGreyL();
    return l;
}

class GamutQuality : public ::testing::TestWithParam<EConverter> {};

TEST_P(GamutQuality, PerceptualPrimariesKeepMostOfThePrintersChroma) {
    const SHueFigures& f = Figures(GetParam(), EIntent::Perceptual).hue;
    for (int p = 0; p < kPrimaries; ++p) EXPECT_GE(f.keptPct[p], 35.0) << kPrimaryNames[p];
    EXPECT_GE(f.keptAvg, 75.0);
    EXPECT_GE(f.circleAvg, 75.0);
}

TEST_P(GamutQuality, PerceptualHuesMoveLittleInOklab) {
    const SHueFigures& f = Figures(GetParam(), EIntent::Perceptual).hue;
    EXPECT_LE(f.shiftMax, 12.0);
    EXPECT_LE(f.circleShiftMax, 16.0);
}

TEST_P(GamutQuality, PerceptualRampsHaveNoPlateauAndNoOutsizedStep) {
    const SRampFigures& f = Figures(GetParam(), EIntent::Perceptual).ramps;
    EXPECT_EQ(0, f.plateaus);
    EXPECT_LE(f.worstStepRatio, 4.0) << f.worstRamp;
}

TEST_P(GamutQuality, PerceptualRampsKeepTheirLightnessOrder) {
    const SRampFigures& f = Figures(GetParam(), EIntent::Perceptual).ramps;
    EXPECT_EQ(0, f.reversals);
    for (const auto& fault : f.faults) std::printf("  %s\n", fault.c_str());
}

TEST_P(GamutQuality, RelativeRampsKeepTheirLightnessOrderAndHaveNoOutsizedStep) {
    const SRampFigures& f = Figures(GetParam(), EIntent::Relative).ramps;
    EXPECT_EQ(0, f.reversals);
    for (const auto& fault : f.faults) std::printf("  %s\n", fault.c_str());
    EXPECT_LE(f.worstStepRatio, 5.0) << f.worstRamp;
}

TEST_P(GamutQuality, GreysPrintNeutralAndInLightnessOrderAtEveryIntent) {
    for (EIntent intent : {EIntent::Perceptual, EIntent::Relative, EIntent::RelativeBpc}) {
        SCOPED_TRACE(Name(intent));
        const SGreyFigures& f = Figures(GetParam(), intent).greys;
        EXPECT_LE(f.maxAbsAb, 1.0);
        EXPECT_TRUE(f.lMonotonic);
    }
}

TEST_P(GamutQuality, DarkGreysPrintDistinct) {
    EXPECT_GE(Figures(GetParam(), EIntent::Perceptual).greys.distinctDark, 38);
    EXPECT_GE(Figures(GetParam(), EIntent::RelativeBpc).greys.distinctDark, 36);
}

TEST_P(GamutQuality, SrgbBlackPrintsAsTheDarkestNeutral) {
    for (EIntent intent : {EIntent::Perceptual, EIntent::Relative, EIntent::RelativeBpc}) {
        SCOPED_TRACE(Name(intent));
        const Vec3& black = Figures(GetParam(), intent).greys.black;
        EXPECT_NEAR(DarkestGreyL(), black[0], 1.0);
        EXPECT_LE(std::fabs(black[1]), 1.0);
        EXPECT_LE(std::fabs(black[2]), 1.0);
    }
}

TEST_P(GamutQuality, GreyRampInksChangeSmoothlyAndFallTowardWhite) {
    for (EIntent intent : {EIntent::Perceptual, EIntent::Relative, EIntent::RelativeBpc}) {
        SCOPED_TRACE(Name(intent));
        const SGreyFigures& f = Figures(GetParam(), intent).greys;
        EXPECT_LE(f.maxInkStep, 0.02);
        EXPECT_LE(f.maxInkRise, 0.05);
    }
}

INSTANTIATE_TEST_SUITE_P(Converters, GamutQuality,
                         ::testing::Values(EConverter::Native, EConverter::Lcms),
                         [](const ::testing::TestParamInfo<EConverter>& info) {
                             return info.param == EConverter::Native ? "Native" : "Lcms";
                         });

} // namespace
