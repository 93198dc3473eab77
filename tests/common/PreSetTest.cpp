#include "common/PreSet.h"

#include <gtest/gtest.h>

#include "base/IniEntries.h"
#include "base/WideString.h"
#include "common/PrintUSM.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace {

using kvrtest::TempDir;

TEST(PreSetInputProfiles, DefaultsComeFromTheSettingsWhereAnItemHasOne) {
    TempDir dir;
    kvrtest::WriteText(dir / "s.ini",
                       "[ColorProfiles]\nInputRgb=AdobeRGB.icc\nInputCmyk=press.icc\n"
                       "DefaultRiRgb=3\nDefaultRiCmyk=4\nDisableWhitePointExpansion=1\n");
    CPrintUSM usm(Utf8ToWide(dir.File("s.ini")));
    CPreSetInputProfiles p;
    p.LoadDefault(&usm);
    std::wstring s;
    int n = -1;
    ASSERT_EQ(p.Lookup(PRS_RgbProfileName, s), 1);
    EXPECT_EQ(s, L"AdobeRGB.icc");
    ASSERT_EQ(p.Lookup(PRS_CmykProfileName, s), 1);
    EXPECT_EQ(s, L"press.icc");
    ASSERT_EQ(p.Lookup(PRS_LabProfileName, s), 1);
    EXPECT_EQ(s, L"");
    EXPECT_EQ((p.Lookup(PRS_RgbRenderingIntent, n), n), 3);
    EXPECT_EQ((p.Lookup(PRS_CmykRenderingIntent, n), n), 4);
    EXPECT_EQ((p.Lookup(PRS_LabRenderingIntent, n), n), 1);
    EXPECT_EQ((p.Lookup(PRS_GrayRenderingIntent, n), n), 1);
    EXPECT_EQ((p.Lookup(PRS_RgbUseEmbeddedProfile, n), n), 1);
    EXPECT_EQ((p.Lookup(PRS_GrayUseEmbeddedProfile, n), n), 1);
    EXPECT_EQ((p.Lookup(PRS_RgbAskOnMissingEmbedded, n), n), 0);
    EXPECT_EQ((p.Lookup(PRS_UseColorimetricRI, n), n), 0);
    EXPECT_EQ((p.Lookup(PRS_DisableWhitePointExpansion, n), n), 1);
    EXPECT_EQ(p.Items().size(), 15u);
}

TEST(PreSetInputProfiles, WithoutSettingsTheEntriesDefaultsStand) {
    CPreSetInputProfiles p;
    p.LoadDefault(nullptr);
    std::wstring s;
    int n = -1;
    EXPECT_EQ((p.Lookup(PRS_RgbProfileName, s), s), IniCpInputRgb.def);
    EXPECT_EQ((p.Lookup(PRS_CmykRenderingIntent, n), n), 2);
}

TEST(PreSetInputProfiles, AbsentItemsAnswerZeroAndLeaveTheValue) {
    CPreSetInputProfiles p;
    std::wstring s = L"keep";
    int n = 42;
    EXPECT_EQ(p.Lookup(PRS_GrayProfileName, s), 0);
    EXPECT_EQ(p.Lookup(PRS_GrayRenderingIntent, n), 0);
    EXPECT_EQ(s, L"keep");
    EXPECT_EQ(n, 42);
}

TEST(PreSetInputProfiles, RoundTripKeepsEveryItemAndLoadingReplacesTheSet) {
    CPreSetInputProfiles a;
    a.LoadDefault(nullptr);
    a.SetItem(PRS_GrayProfileName, L"Gray Gamma 2.2.icc");
    a.SetItem(PRS_LabRenderingIntent, 3);
    std::wstring xml;
    ASSERT_EQ(a.SaveToXml(xml, 1, 0), 1);
    CPreSetInputProfiles b;
    b.SetItem(PRS_UseColorimetricRI, 1);
    ASSERT_EQ(b.LoadFromXml(xml, 1, 0), 1);
    EXPECT_TRUE(a == b);

    // A file with one item gives a preset with that item only.
    ASSERT_EQ(b.LoadFromXml(L"<InputProfiles><Bogus>1</Bogus><LabRenderingIntent>2"
                            L"</LabRenderingIntent></InputProfiles>",
                            1, 0),
              1);
    int n = 0;
    std::wstring s;
    EXPECT_EQ((b.Lookup(PRS_LabRenderingIntent, n), n), 2);
    EXPECT_EQ(b.Lookup(PRS_RgbProfileName, s), 0);
}

TEST(PreSetInputProfiles, RefusedXmlLeavesTheItems) {
    CPreSetInputProfiles a;
    a.SetItem(PRS_RgbProfileName, L"x.icc");
    EXPECT_EQ(a.LoadFromXml(L"<PostscriptColorSettings/>", 1, 0), 0);
    EXPECT_EQ(a.LoadFromXml(L"<InputProfiles><RgbProfileName>y", 1, 0), 0);
    std::wstring s;
    EXPECT_EQ((a.Lookup(PRS_RgbProfileName, s), s), L"x.icc");
}

} // namespace
