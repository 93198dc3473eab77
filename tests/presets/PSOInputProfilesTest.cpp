#include "presets/PSOInputProfiles.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/IniEntries.h"
#include "presets/PresetTestEnv.h"

namespace {

using namespace presettest;

CPrPgInputProfiles* Page(CPSOInputProfiles& pso, std::unique_ptr<CPSOPropPg>& holder) {
    holder.reset(pso.CreatePSOPropPg(0, L"Page"));
    return dynamic_cast<CPrPgInputProfiles*>(holder.get());
}

// Every item of two presets, by Lookup: the field-by-field comparison, since DataMatch says 0.
void ExpectSameItems(const CPreSetInputProfiles& a, const CPreSetInputProfiles& b) {
    for (const SPreSetItemDesc* d : a.Items()) {
        std::wstring x = L"(absent)", y = L"(absent)";
        a.Lookup(*d, x);
        b.Lookup(*d, y);
        EXPECT_EQ(x, y) << WideToUtf8(d->name);
    }
}

TEST(PSOInputProfiles, StartsAtTheDefaultsOfTheContextsSettings) {
    Env env;
    env.usm->PutString(IniCpInputRgb, L"mine.icc");
    CPSOInputProfiles p(env.context.get(), 0);
    std::wstring s;
    ASSERT_EQ(p.Data().Lookup(PRS_RgbProfileName, s), 1);
    EXPECT_EQ(s, L"mine.icc");
}

TEST(PSOInputProfiles, ShowsAFileNameToThePageAsBasePathFolderName) {
    Env env;
    CPSOInputProfiles p(env.context.get(), 5);
    p.Data().SetItem(PRS_RgbProfileName, L"sRGB.icc");
    p.Data().SetItem(PRS_CmykProfileName, L"press.icc");
    p.Data().SetItem(PRS_LabProfileName, L"lab.icc");
    p.Data().SetItem(PRS_GrayProfileName, L"");
    p.Data().SetItem(PRS_CmykRenderingIntent, 3);
    p.Data().SetItem(PRS_DisableWhitePointExpansion, 1);
    std::unique_ptr<CPSOPropPg> holder;
    CPrPgInputProfiles* pg = Page(p, holder);
    ASSERT_NE(pg, nullptr);
    EXPECT_EQ(pg->Flag(), 5);
    p.DataToPSOPropPg(pg);
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;
    pg->GetData(d1, d2);
    EXPECT_EQ(d1.sRgbProfile, env.In(L"InputRgb", L"sRGB.icc"));
    EXPECT_EQ(d1.sCmykProfile, env.In(L"InputCmyk", L"press.icc"));
    EXPECT_EQ(d1.sLabProfile, env.In(L"InputLab", L"lab.icc"));
    EXPECT_EQ(d1.sGrayProfile, env.Base() + L"/InputGray/"); // empty name: the folder
    EXPECT_EQ(d1.nCmykIntent, 3);
    EXPECT_EQ(d2.bDisableWhitePointExpansion, 1);

    // The page hands the same paths back: the bare names are stored again.
    p.Data().SetItem(PRS_RgbProfileName, L"changed.icc");
    p.DataFromPSOPropPg(pg);
    std::wstring s;
    EXPECT_EQ((p.Data().Lookup(PRS_RgbProfileName, s), s), L"sRGB.icc");
    EXPECT_EQ((p.Data().Lookup(PRS_CmykProfileName, s), s), L"press.icc");
    // A row without a profile stays without one, also where its folder does not exist yet.
    EXPECT_EQ((p.Data().Lookup(PRS_GrayProfileName, s), s), L"");
}

TEST(PSOInputProfiles, APathInAnyOtherFolderIsStoredAsItsBareName) {
    Env env;
    CPSOInputProfiles p(env.context.get(), 0);
    CPrPgInputProfiles pg(env.usm.get(), 0, L"", 0);
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;
    d1.sRgbProfile = L"/somewhere/else/Adobe RGB.icc";
    d1.sCmykProfile = L"relative/dir/coated.icc";
    d1.nLabIntent = 4;
    d1.bGrayUseEmbedded = 0;
    d1.bCmykAskOnMissing = 1;
    d2.bUseColorimetricRI = 1;
    pg.SetData(d1, d2);
    p.DataFromPSOPropPg(&pg);
    std::wstring s;
    int n = -1;
    EXPECT_EQ((p.Data().Lookup(PRS_RgbProfileName, s), s), L"Adobe RGB.icc");
    EXPECT_EQ((p.Data().Lookup(PRS_CmykProfileName, s), s), L"coated.icc");
    EXPECT_EQ((p.Data().Lookup(PRS_LabRenderingIntent, n), n), 4);
    EXPECT_EQ((p.Data().Lookup(PRS_GrayUseEmbeddedProfile, n), n), 0);
    EXPECT_EQ((p.Data().Lookup(PRS_CmykAskOnMissingEmbedded, n), n), 1);
    EXPECT_EQ((p.Data().Lookup(PRS_UseColorimetricRI, n), n), 1);
}

TEST(PSOInputProfiles, AbsentItemsGiveThePageItsStartingValues) {
    Env env;
    CPSOInputProfiles p(env.context.get(), 0);
    ASSERT_EQ(p.LoadFromString(L"<InputProfiles><RgbRenderingIntent>3</RgbRenderingIntent>"
                               L"</InputProfiles>"),
              1);
    CPrPgInputProfiles pg(env.usm.get(), 0, L"", 0);
    p.DataToPSOPropPg(&pg);
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;
    d2.bUseColorimetricRI = 7;
    pg.GetData(d1, d2);
    EXPECT_EQ(d1.nRgbIntent, 3);
    EXPECT_EQ(d1.nCmykIntent, 1);
    EXPECT_EQ(d1.bRgbUseEmbedded, 1);
    EXPECT_EQ(d2.bUseColorimetricRI, 0);
    EXPECT_EQ(d1.sRgbProfile, env.Base() + L"/InputRgb/");
}

TEST(PSOInputProfiles, NullPageOrPageOfAnotherClassIsLeftAlone) {
    Env env;
    CPSOInputProfiles p(env.context.get(), 0);
    p.Data().SetItem(PRS_RgbProfileName, L"keep.icc");
    CPSOPropPg other(1, 0);
    p.DataToPSOPropPg(nullptr);
    p.DataToPSOPropPg(&other);
    p.DataFromPSOPropPg(&other);
    std::wstring s;
    EXPECT_EQ((p.Data().Lookup(PRS_RgbProfileName, s), s), L"keep.icc");
}

TEST(PSOInputProfiles, RoundTripsThroughAFileAndAString) {
    Env env;
    CPSOInputProfiles a(env.context.get(), 0);
    a.Data().SetItem(PRS_GrayProfileName, L"Dot Gain 20%.icc");
    a.Data().SetItem(PRS_RgbAskOnMissingEmbedded, 1);
    std::wstring xml;
    ASSERT_EQ(a.SaveToString(xml), 1);
    CPSOInputProfiles b(env.context.get(), 0);
    ASSERT_EQ(b.LoadFromString(xml.c_str()), 1);
    ExpectSameItems(a.Data(), b.Data());
    const std::wstring path = W(env.dir / "x.InputProfiles");
    ASSERT_EQ(a.SaveToName(path.c_str()), 1);
    CPSOInputProfiles c(env.context.get(), 0);
    c.Data().SetItem(PRS_RgbProfileName, L"other.icc");
    ASSERT_EQ(c.LoadFromName(path.c_str()), 1);
    ExpectSameItems(a.Data(), c.Data());
    CPSOInputProfiles d(env.context.get(), 0);
    d.CopyDataFrom(&a);
    ExpectSameItems(a.Data(), d.Data());
}

TEST(PSOInputProfiles, DataMatchBetweenTwoIdenticalObjectsGivesZero) {
    Env env;
    CPSOInputProfiles a(env.context.get(), 0), b(env.context.get(), 0);
    ExpectSameItems(a.Data(), b.Data());
    EXPECT_EQ(a.DataMatch(&b), 0);
    EXPECT_EQ(a.DataMatch(&a), 0);
}

TEST(PSOInputProfiles, BadXmlIsRefusedAndTheDataStays) {
    Env env;
    CPSOInputProfiles a(env.context.get(), 0);
    a.Data().SetItem(PRS_RgbProfileName, L"keep.icc");
    EXPECT_EQ(a.LoadFromString(L"<InputProfiles><RgbProfileName>x"), 0);
    EXPECT_NE(a.GetLastError().find(L"not well formed"), std::wstring::npos);
    EXPECT_EQ(a.LoadFromString(L"<SimTargetPrinter/>"), 0);
    EXPECT_NE(a.GetLastError().find(L"another kind"), std::wstring::npos);
    std::wstring s;
    EXPECT_EQ((a.Data().Lookup(PRS_RgbProfileName, s), s), L"keep.icc");
}

TEST(PSOFactoryInputProfiles, LoadSpecialDollarReadsTheStoresFileOfThatName) {
    Env env;
    CPSOFactoryInputProfiles f(env.context.get(), L"Customized", L"User defined", 0);
    std::unique_ptr<CPreSetObjStoreFile> store(
        CPSOInputProfiles::CreatePSOStore(env.usm.get(), &f));
    EXPECT_EQ(store->Extension(), L"InputProfiles");
    const std::wstring path = store->ItemNameToPathName(L"$");
    EXPECT_EQ(path, W(env.presets / "$.InputProfiles"));
    CPSOInputProfiles a(env.context.get(), 0);
    a.Data().SetItem(PRS_LabProfileName, L"from dollar.icc");
    fs::create_directories(env.presets);
    ASSERT_EQ(a.SaveToName(path.c_str()), 1);

    std::unique_ptr<IPreSetObj> b(f.CreatePSO());
    EXPECT_EQ(f.CanEditSpecialName(L"$"), 1);
    ASSERT_EQ(f.LoadSpecial(b.get(), L"$"), 1);
    std::wstring s;
    EXPECT_EQ((static_cast<CPSOInputProfiles*>(b.get())->Data().Lookup(PRS_LabProfileName, s), s),
              L"from dollar.icc");

    static_cast<CPSOInputProfiles*>(b.get())->Data().SetItem(PRS_LabProfileName, L"saved.icc");
    ASSERT_EQ(f.SaveSpecial(b.get(), L"$"), 1);
    ASSERT_EQ(a.LoadFromName(path.c_str()), 1);
    EXPECT_EQ((a.Data().Lookup(PRS_LabProfileName, s), s), L"saved.icc");
}

TEST(PSOFactoryInputProfiles, CurrentNameFollowsRenameAndDelete) {
    Env env;
    CPSOFactoryInputProfiles f(env.context.get(), L"Customized", L"User defined", 0);
    env.usm->PutString(US_InputProfilesName, L"Cur");
    f.OnRenamed(L"Cur", L"New");
    EXPECT_EQ(env.usm->GetString(US_InputProfilesName), L"New");
    f.OnDeleted(L"new");
    EXPECT_EQ(env.usm->GetString(US_InputProfilesName), L"New");
    f.OnDeleted(L"New");
    EXPECT_EQ(env.usm->GetString(US_InputProfilesName), L"");
}

TEST(PSOFactoryInputProfiles, CustomizedDataAndTheFlagReachTheObjects) {
    Env env;
    CPSOFactoryInputProfiles f(env.context.get(), L"Customized", L"", 9);
    std::wstring access;
    EXPECT_EQ(f.LookupFriendlyName(L"$", access), 0);
    std::unique_ptr<IPreSetObj> a(f.CreatePSO());
    auto* pa = static_cast<CPSOInputProfiles*>(a.get());
    pa->Data().SetItem(PRS_RgbProfileName, L"custom.icc");
    f.OnSaveCustomized(pa);
    std::wstring s;
    EXPECT_EQ((f.CustomizedData().Lookup(PRS_RgbProfileName, s), s), L"custom.icc");
    CPSOInputProfiles b(env.context.get(), 0);
    ASSERT_EQ(f.LoadSpecial(&b, CPSOFactoryCustomized::GetStdCustomizedAccessName()), 1);
    EXPECT_EQ((b.Data().Lookup(PRS_RgbProfileName, s), s), L"custom.icc");
    std::unique_ptr<CPSOPropPg> page(pa->CreatePSOPropPg(0, L""));
    EXPECT_EQ(dynamic_cast<CPrPgInputProfiles*>(page.get())->Flag(), 9);
}

} // namespace
