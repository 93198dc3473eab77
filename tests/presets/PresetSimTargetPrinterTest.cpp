#include "presets/PresetSimTargetPrinter.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/IniEntries.h"
#include "presets/PSOSimTargetPrinter.h"
#include "presets/PresetTestEnv.h"

namespace {

using namespace presettest;

using CFactory = CPSOFactorySimTargetPrinter;

TEST(PresetSimTargetPrinter, FreshFromTheConstructorHasIntentTwoAndNoNameAndMatchesAnother) {
    CPresetSimTargetPrinter a, b;
    EXPECT_EQ(a.m_nRenderingIntent, 2);
    EXPECT_EQ(a.m_sProfileName, L"");
    EXPECT_EQ(a.Match(b), 1);
    b.m_sProfileName = L"X.icc";
    EXPECT_EQ(a.Match(b), 0);
    a.m_sProfileName = L"x.icc"; // case counts
    EXPECT_EQ(a.Match(b), 0);
    a.CopyFrom(b);
    EXPECT_EQ(a.Match(b), 1);
    EXPECT_STREQ(CPresetSimTargetPrinter::szExtension, L"SimTargetPrinter");
}

TEST(PresetSimTargetPrinter, WritesTheTwoElements) {
    CPresetSimTargetPrinter a;
    a.m_sProfileName = L"ISO Coated.icc";
    a.m_nRenderingIntent = 4;
    std::wstring xml;
    ASSERT_EQ(a.SaveToXml(xml, 1, 0), 1);
    EXPECT_EQ(xml, L"<SimTargetPrinter><ProfileName>ISO Coated.icc</ProfileName>"
                   L"<RenderingIntent>4</RenderingIntent></SimTargetPrinter>");
}

TEST(PresetSimTargetPrinter, ElementsInTheOtherOrderOrUnknownOnesLoadTheTwoFields) {
    CPresetSimTargetPrinter a;
    ASSERT_EQ(a.LoadFromXml(L"<SimTargetPrinter><Colour>red</Colour><RenderingIntent>3"
                            L"</RenderingIntent><Extra><Deep>1</Deep></Extra>"
                            L"<ProfileName>p.icc</ProfileName></SimTargetPrinter>",
                            1, 0),
              1);
    EXPECT_EQ(a.m_sProfileName, L"p.icc");
    EXPECT_EQ(a.m_nRenderingIntent, 3);
}

TEST(PresetSimTargetPrinter, DefaultLivesInTheUserSettingsOnOneLine) {
    Env env;
    CPresetSimTargetPrinter a;
    a.m_sProfileName = L"two\nlines.icc";
    a.m_nRenderingIntent = 1;
    a.SaveDefault(env.usm.get());
    const std::wstring stored = env.usm->GetString(US_SimTargetPrinterXML);
    EXPECT_EQ(stored.find(L'\n'), std::wstring::npos);
    CPresetSimTargetPrinter b;
    b.LoadDefault(env.usm.get());
    EXPECT_EQ(b.Match(a), 1);
}

TEST(PresetSimTargetPrinter, EmptyDefaultLeavesTheData) {
    Env env;
    CPresetSimTargetPrinter b;
    b.m_sProfileName = L"keep.icc";
    b.LoadDefault(env.usm.get());
    EXPECT_EQ(b.m_sProfileName, L"keep.icc");
}

TEST(PSOSimTargetPrinter, RoundTripsThroughAFileAndAString) {
    Env env;
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"Proof \u00E9.icc";
    a.Data().m_nRenderingIntent = 3;
    std::wstring xml;
    ASSERT_EQ(a.SaveToString(xml), 1);
    CPSOSimTargetPrinter b(env.context.get());
    ASSERT_EQ(b.LoadFromString(xml.c_str()), 1);
    EXPECT_EQ(b.Data().Match(a.Data()), 1);
    const std::wstring path = W(env.dir / "x.SimTargetPrinter");
    ASSERT_EQ(a.SaveToName(path.c_str()), 1);
    CPSOSimTargetPrinter c(env.context.get());
    ASSERT_EQ(c.LoadFromName(path.c_str()), 1);
    EXPECT_EQ(c.Data().Match(a.Data()), 1);
    // Equal data, and yet never a match: the kind says so.
    EXPECT_EQ(c.DataMatch(&a), 0);
    EXPECT_EQ(c.GetDescription(), L"");
}

TEST(PSOSimTargetPrinter, XmlOfAnotherKindIsRefusedWithItsReason) {
    Env env;
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"keep.icc";
    EXPECT_EQ(a.LoadFromString(L"<InputProfiles><ProfileName>x</ProfileName></InputProfiles>"), 0);
    EXPECT_NE(a.GetLastError().find(L"another kind"), std::wstring::npos);
    EXPECT_EQ(a.Data().m_sProfileName, L"keep.icc");
}

TEST(PSOSimTargetPrinter, PageGetsAndGivesACopy) {
    Env env;
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"a.icc";
    std::unique_ptr<CPSOPropPg> page(a.CreatePSOPropPg(2, L"Name"));
    auto* pg = dynamic_cast<CPrPgPresetSimTargetPrinter*>(page.get());
    ASSERT_NE(pg, nullptr);
    EXPECT_EQ(pg->PageNumber(), 2);
    a.DataToPSOPropPg(pg);
    EXPECT_EQ(pg->Data().m_sProfileName, L"a.icc");
    pg->Data().m_sProfileName = L"b.icc";
    EXPECT_EQ(a.Data().m_sProfileName, L"a.icc");
    a.DataFromPSOPropPg(pg);
    EXPECT_EQ(a.Data().m_sProfileName, L"b.icc");
    // A null page or one of another class is left alone.
    CPSOPropPg other(99, 0);
    a.DataToPSOPropPg(&other);
    a.DataFromPSOPropPg(nullptr);
    EXPECT_EQ(a.Data().m_sProfileName, L"b.icc");
}

TEST(PSOFactorySimTargetPrinter, SpecialNamesOfTheConstructor) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    std::wstring access;
    ASSERT_EQ(f.LookupSpecialName(L"None", access), 1);
    EXPECT_EQ(access, L"");
    ASSERT_EQ(f.LookupSpecialName(L"User defined", access), 1);
    EXPECT_EQ(access, L"$");
    ASSERT_EQ(f.LookupSpecialName(L"Customized", access), 1);
    EXPECT_EQ(access, CPSOFactoryCustomized::GetStdCustomizedAccessName());
    EXPECT_EQ(f.CanEditSpecialName(L"$"), 1);
    EXPECT_EQ(f.CanEditSpecialName(L"$x"), 0);
    CFactory bare(env.context.get(), L"Customized", L"", L"");
    EXPECT_EQ(bare.LookupSpecialName(L"None", access), 0);
    EXPECT_EQ(bare.LookupFriendlyName(L"$", access), 0);
}

TEST(PSOFactorySimTargetPrinter, LoadSpecialWithAnEmptyNameAnswersOneAndLeavesTheData) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"keep.icc";
    a.Data().m_nRenderingIntent = 4;
    EXPECT_EQ(f.LoadSpecial(&a, L""), 1);
    EXPECT_EQ(a.Data().m_sProfileName, L"keep.icc");
    EXPECT_EQ(a.Data().m_nRenderingIntent, 4);
}

TEST(PSOFactorySimTargetPrinter, UserDefinedPresetIsTheFileOfTheNameDollar) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"dollar.icc";
    ASSERT_EQ(f.SaveSpecial(&a, L"$"), 1);
    EXPECT_TRUE(fs::exists(env.presets / "$.SimTargetPrinter"));
    CPSOSimTargetPrinter b(env.context.get());
    ASSERT_EQ(f.LoadSpecial(&b, L"$"), 1);
    EXPECT_EQ(b.Data().m_sProfileName, L"dollar.icc");
}

TEST(PSOFactorySimTargetPrinter, CustomizedDataGoesBothWays) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"custom.icc";
    f.OnSaveCustomized(&a);
    EXPECT_EQ(f.CustomizedData().m_sProfileName, L"custom.icc");
    CPSOSimTargetPrinter b(env.context.get());
    f.OnLoadCustomized(&b);
    EXPECT_EQ(b.Data().m_sProfileName, L"custom.icc");
}

TEST(PSOFactorySimTargetPrinter, RenamingTheCurrentPresetUpdatesTheSettingAndOthersDoNot) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    std::unique_ptr<CPreSetObjStoreFile> store(f.CreatePSOStore(nullptr));
    CPSOSimTargetPrinter a(env.context.get());
    ASSERT_EQ(store->Save(L"Current", &a), 1);
    ASSERT_EQ(store->Save(L"Other", &a), 1);
    env.usm->PutString(US_SimTargetPrinterName, L"Current");

    ASSERT_EQ(store->Rename(L"Other", L"Other2"), 1);
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Current");
    ASSERT_EQ(store->Rename(L"Current", L"Renamed"), 1);
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Renamed");
}

TEST(PSOFactorySimTargetPrinter, RenameInOtherCaseLeavesTheSetting) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    env.usm->PutString(US_SimTargetPrinterName, L"Current");
    f.OnRenamed(L"current", L"CURRENT");
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Current");
    f.OnRenamed(L"Current", L"Next");
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Next");
}

TEST(PSOFactorySimTargetPrinter, DeletingTheCurrentPresetClearsTheSetting) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    std::unique_ptr<CPreSetObjStoreFile> store(f.CreatePSOStore(nullptr));
    CPSOSimTargetPrinter a(env.context.get());
    ASSERT_EQ(store->Save(L"Current", &a), 1);
    ASSERT_EQ(store->Save(L"Other", &a), 1);
    env.usm->PutString(US_SimTargetPrinterName, L"Current");
    ASSERT_EQ(store->Delete(L"Other"), 1);
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Current");
    f.OnDeleted(L"CURRENT");
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"Current");
    ASSERT_EQ(store->Delete(L"Current"), 1);
    EXPECT_EQ(env.usm->GetString(US_SimTargetPrinterName), L"");
}

TEST(PSOFactorySimTargetPrinter, StoreLiesInTheSettingsFolderWithTheKindsExtension) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    std::unique_ptr<CPreSetObjStoreFile> store(f.CreatePSOStore(nullptr));
    EXPECT_EQ(store->ItemNameToPathName(L"A"), W(env.presets) + L"/A.SimTargetPrinter");
}

TEST(PSOFactorySimTargetPrinter, LoadAccessNameDataLoadsAStoredPreset) {
    Env env;
    CFactory f(env.context.get(), L"Customized", L"None", L"User defined");
    std::unique_ptr<CPreSetObjStoreFile> store(f.CreatePSOStore(nullptr));
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"stored.icc";
    a.Data().m_nRenderingIntent = 1;
    ASSERT_EQ(store->Save(L"Stored", &a), 1);
    CPresetSimTargetPrinter data;
    ASSERT_EQ(CFactory::LoadAccessNameData(env.context.get(), L"Stored", data), 1);
    EXPECT_EQ(data.m_sProfileName, L"stored.icc");
    EXPECT_EQ(data.m_nRenderingIntent, 1);
    // The customized name gives the data it was given.
    CPresetSimTargetPrinter same;
    same.m_sProfileName = L"mine.icc";
    ASSERT_EQ(CFactory::LoadAccessNameData(
                  env.context.get(), CPSOFactoryCustomized::GetStdCustomizedAccessName(), same),
              1);
    EXPECT_EQ(same.m_sProfileName, L"mine.icc");
}

TEST(PSOFactorySimTargetPrinter, LoadAccessNameDataWithoutAFileAnswersZeroAndLeavesTheData) {
    Env env;
    CPresetSimTargetPrinter data;
    data.m_sProfileName = L"unchanged.icc";
    data.m_nRenderingIntent = 3;
    EXPECT_EQ(CFactory::LoadAccessNameData(env.context.get(), L"NoSuchPreset", data), 0);
    EXPECT_EQ(data.m_sProfileName, L"unchanged.icc");
    EXPECT_EQ(data.m_nRenderingIntent, 3);
    EXPECT_EQ(CFactory::LoadAccessNameData(env.context.get(), L"$", data), 0);
    EXPECT_EQ(data.m_sProfileName, L"unchanged.icc");
}

TEST(PSOSimTargetPrinter, ExportAddsNothing) {
    Env env;
    CPSOSimTargetPrinter a(env.context.get());
    a.Data().m_sProfileName = L"p.icc";
    RecordingArchive arch;
    RecordingDialog dlg;
    a.OnExportTo(&arch);
    a.CheckExportOptions(&dlg);
    EXPECT_TRUE(arch.added.empty());
    EXPECT_EQ(dlg.flag, -1);
}

} // namespace
