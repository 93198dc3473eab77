// What a step of a chain reads and gives through a profile, and whether a colour space's pixels
// are exactly such data: the queries for callers that chain profiles themselves.
#include <gtest/gtest.h>

#include "colorlink/MdlColorLink.h"
#include "colorspace/BaseColorSpace.h"
#include "icc/IccRecords.h"

namespace {

icHeader Header(icProfileClassSignature cls, icColorSpaceSignature space,
                icColorSpaceSignature pcs) {
    icHeader h{};
    h.deviceClass = cls;
    h.colorSpace = space;
    h.pcs = pcs;
    return h;
}

constexpr icColorSpaceSignature kFiveClr = icSig5colorData;
constexpr icColorSpaceSignature kFourClr = icSig4colorData;

} // namespace

TEST(BaseColorSpaceSteps, DeviceToConnectionStepReadsTheDeviceSpaceAndGivesLab) {
    const icHeader cmyk = Header(icSigOutputClass, icSigCmykData, icSigXYZData);
    EXPECT_EQ(icSigCmykData,
              CBaseColorSpace::StepInputSignature(cmyk, CMdlColorLink::ProfStepDevToPcs));
    EXPECT_EQ(icSigLabData,
              CBaseColorSpace::StepOutputSignature(cmyk, CMdlColorLink::ProfStepDevToPcs));
}

TEST(BaseColorSpaceSteps, DeviceLinkGivesItsSecondSpace) {
    const icHeader link = Header(icSigLinkClass, icSigRgbData, icSigCmykData);
    EXPECT_EQ(icSigRgbData,
              CBaseColorSpace::StepInputSignature(link, CMdlColorLink::ProfStepDevToPcs));
    EXPECT_EQ(icSigCmykData,
              CBaseColorSpace::StepOutputSignature(link, CMdlColorLink::ProfStepDevToPcs));
}

TEST(BaseColorSpaceSteps, ConnectionToDeviceStepReadsLabForAnXyzProfileAndGivesTheDevice) {
    const icHeader rgb = Header(icSigDisplayClass, icSigRgbData, icSigXYZData);
    EXPECT_EQ(icSigLabData,
              CBaseColorSpace::StepInputSignature(rgb, CMdlColorLink::ProfStepPcsToDev));
    EXPECT_EQ(icSigRgbData,
              CBaseColorSpace::StepOutputSignature(rgb, CMdlColorLink::ProfStepPcsToDev));
}

TEST(BaseColorSpaceSteps, PreviewAndAbstractGiveLabAndGamutGivesNoColourSpace) {
    const icHeader cmyk = Header(icSigOutputClass, icSigCmykData, icSigLabData);
    EXPECT_EQ(icSigLabData,
              CBaseColorSpace::StepOutputSignature(cmyk, CMdlColorLink::ProfStepPreview));
    EXPECT_EQ(icSigLabData,
              CBaseColorSpace::StepOutputSignature(cmyk, CMdlColorLink::ProfStepAbstract));
    EXPECT_EQ(icColorSpaceSignature(0),
              CBaseColorSpace::StepOutputSignature(cmyk, CMdlColorLink::ProfStepGamut));
    EXPECT_EQ(icSigLabData,
              CBaseColorSpace::StepInputSignature(cmyk, CMdlColorLink::ProfStepGamut));
}

TEST(BaseColorSpaceSteps, StepFromAConnectionSpaceThatIsNeitherLabNorXyzReadsNothing) {
    const icHeader link = Header(icSigLinkClass, icSigRgbData, icSigCmykData);
    EXPECT_EQ(icColorSpaceSignature(0),
              CBaseColorSpace::StepInputSignature(link, CMdlColorLink::ProfStepPcsToDev));
}

TEST(BaseColorSpaceSteps, TypeOfSignatureFollowsTheRulesOfTheProfileTest) {
    EXPECT_EQ(IBaseColorSpace::ecsRgb, CBaseColorSpace::ColorSpaceTypeOfSignature(icSigRgbData));
    EXPECT_EQ(IBaseColorSpace::ecsLab, CBaseColorSpace::ColorSpaceTypeOfSignature(icSigLabData));
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, CBaseColorSpace::ColorSpaceTypeOfSignature(icSigCmykData));
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, CBaseColorSpace::ColorSpaceTypeOfSignature(kFiveClr));
    EXPECT_EQ(IBaseColorSpace::ecsSepar, CBaseColorSpace::ColorSpaceTypeOfSignature(kFourClr));
    EXPECT_EQ(IBaseColorSpace::ecsGray, CBaseColorSpace::ColorSpaceTypeOfSignature(icSigGrayData));
}

TEST(BaseColorSpaceSteps, CmykSpaceHoldsCmykDataOnlyNotFiveColoursNorFourOtherInks) {
    CBaseColorSpace cs;
    cs.SetCmykPlus(4);
    EXPECT_EQ(1, cs.HoldsDataOfSignature(icSigCmykData));
    EXPECT_EQ(0, cs.HoldsDataOfSignature(kFiveClr)); // LoadIccFile's test would reject it too
    EXPECT_EQ(0, cs.HoldsDataOfSignature(kFourClr));
    EXPECT_EQ(0, cs.HoldsDataOfSignature(icSigRgbData));
}

TEST(BaseColorSpaceSteps, FiveInkSpaceHoldsFiveColourDataButNotCmyk) {
    CBaseColorSpace cs;
    cs.SetCmykPlus(5);
    EXPECT_EQ(1, cs.HoldsDataOfSignature(kFiveClr));
    // LoadIccFile takes a CMYK profile for it (fewer channels); a first step cannot.
    EXPECT_EQ(0, cs.HoldsDataOfSignature(icSigCmykData));
}

TEST(BaseColorSpaceSteps, OpenSpaceOfFourColourManagedChannelsHoldsFourInksNotCmyk) {
    CBaseColorSpace cs;
    cs.SetCountColorManagedChannels(4);
    EXPECT_EQ(1, cs.HoldsDataOfSignature(kFourClr));
    EXPECT_EQ(0, cs.HoldsDataOfSignature(icSigCmykData));
}

TEST(BaseColorSpaceSteps, SpaceWithChannelsPastColourManagementHoldsNoProfileData) {
    CBaseColorSpace cs;
    cs.SetGray(2); // one grey channel and one that passes untouched
    EXPECT_EQ(0, cs.HoldsDataOfSignature(icSigGrayData));
    cs.SetGray();
    EXPECT_EQ(1, cs.HoldsDataOfSignature(icSigGrayData));
}

TEST(BaseColorSpaceSteps, RgbAndLabSpacesHoldTheirOwnData) {
    CBaseColorSpace rgb, lab;
    rgb.SetRgb(3);
    lab.SetLab(3);
    EXPECT_EQ(1, rgb.HoldsDataOfSignature(icSigRgbData));
    EXPECT_EQ(0, rgb.HoldsDataOfSignature(icSigLabData));
    EXPECT_EQ(1, lab.HoldsDataOfSignature(icSigLabData));
}
