// The print environment: the printer configured in the settings file, its profile path below
// the profile root, its kind and its primaries, and the context a printing module holds.
#include <gtest/gtest.h>

#include <memory>

#include "base/IniEntries.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "support/TempDir.h"

namespace {

// Settings in a file of the test's own, with the profile root set.
struct Settings {
    kvrtest::TempDir dir{"kvr-env"};
    CPrintUSM usm{(dir / "kvrcolor.ini").wstring()};
    Settings() { EXPECT_TRUE(usm.PutString(IniCpBasePath, L"/data/profiles")); }
};

std::vector<int> Primaries(const CPrintEnv& env) {
    return std::vector<int>(env.DevPrimCols(), env.DevPrimCols() + env.nDevPrimCols());
}

} // namespace

TEST(PrintEnv, DefaultsAreACmykPrinterOnTheInstalledDefaultProfile) {
    Settings s;
    CPrintEnv env(&s.usm);
    EXPECT_EQ(0, env.IsRGBPrinter());
    EXPECT_EQ(L"/data/profiles/Printer/kvr-cmyk.icc", env.GetPathNameIccProfile());
    EXPECT_EQ((std::vector<int>{1, 2, 3, 0}), Primaries(env));
    EXPECT_EQ(&s.usm, env.pUSM());
}

TEST(PrintEnv, RgbPrinterProfileLiesInPrinterRgb) {
    Settings s;
    ASSERT_TRUE(s.usm.PutInt(IniPrnRgbPrinter, 1));
    ASSERT_TRUE(s.usm.PutString(IniPrnIccProfile, L"photo.icc"));
    CPrintEnv env(&s.usm);
    EXPECT_EQ(1, env.IsRGBPrinter());
    EXPECT_EQ(L"/data/profiles/Printer/RGB/photo.icc", env.GetPathNameIccProfile());
}

TEST(PrintEnv, ProfileNameWithAFolderIsTakenAsItStands) {
    Settings s;
    ASSERT_TRUE(s.usm.PutString(IniPrnIccProfile, L"/elsewhere/press.icc"));
    EXPECT_EQ(L"/elsewhere/press.icc", CPrintEnv(&s.usm).GetPathNameIccProfile());
}

TEST(PrintEnv, EmptyProfileSettingGivesNoPath) {
    Settings s;
    ASSERT_TRUE(s.usm.PutString(IniPrnIccProfile, L""));
    EXPECT_EQ(L"", CPrintEnv(&s.usm).GetPathNameIccProfile());
}

TEST(PrintEnv, InksAreReadInOrderAndMalformedItemsDropped) {
    Settings s;
    ASSERT_TRUE(s.usm.PutString(IniPrnInks, L"1, 2,3 ,0,x,4,,50"));
    CPrintEnv env(&s.usm);
    EXPECT_EQ((std::vector<int>{1, 2, 3, 0, 4, 50}), Primaries(env));
    ASSERT_TRUE(s.usm.PutString(IniPrnInks, L""));
    CPrintEnv none(&s.usm);
    EXPECT_EQ(0, none.nDevPrimCols());
    EXPECT_EQ(nullptr, none.DevPrimCols());
}

TEST(PrintEnv, ContextCarriesTheSettingsAndChannelsOfItsEnvironment) {
    Settings s;
    ASSERT_TRUE(s.usm.PutString(IniPrnInks, L"1,2,3,0,4,50"));
    CPrintEnv env(&s.usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(&env, ctx.pPrintEnv());
    EXPECT_EQ(&s.usm, ctx.pUSM);
    EXPECT_EQ(6, ctx.nDevPrimCols);
    EXPECT_EQ(env.DevPrimCols(), ctx.DevPrimCols);
    CPrintEnvContext empty(nullptr);
    EXPECT_EQ(nullptr, empty.pUSM);
    EXPECT_EQ(0, empty.nDevPrimCols);
}

TEST(PrintEnv, GivenPrinterKeepsWhatItWasGiven) {
    Settings s;
    CPrintEnv env(&s.usm, L"/p/x.icc", true, {DpcBlack});
    EXPECT_EQ(L"/p/x.icc", env.GetPathNameIccProfile());
    EXPECT_EQ(1, env.IsRGBPrinter());
    EXPECT_EQ((std::vector<int>{0}), Primaries(env));
}

TEST(PrintEnv, CreatePrintEnvOfTheConfiguredPrinter) {
    Settings s;
    ASSERT_TRUE(s.usm.PutString(IniPrnInks, L"1,2,3,0,5"));
    std::unique_ptr<CPrintEnv> env(s.usm.CreatePrintEnv(nullptr, 0));
    ASSERT_TRUE(env);
    EXPECT_EQ(&s.usm, env->pUSM());
    EXPECT_EQ(L"/data/profiles/Printer/kvr-cmyk.icc", env->GetPathNameIccProfile());
    EXPECT_EQ((std::vector<int>{1, 2, 3, 0, 5}), Primaries(*env));

    std::unique_ptr<CPrintEnv> given(s.usm.CreatePrintEnv(L"/p/rgb.icc", 1));
    EXPECT_EQ(L"/p/rgb.icc", given->GetPathNameIccProfile());
    EXPECT_EQ(1, given->IsRGBPrinter());
    EXPECT_EQ((std::vector<int>{1, 2, 3, 0, 5}), Primaries(*given));
}

TEST(PrintEnv, NullSettingsStandForTheProcessSettings) {
    CPrintEnv env(nullptr);
    EXPECT_EQ(CPrintUSM::GetInstance(), env.pUSM());
}
