#include "presets/PSOPsCs.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "common/TempFileMgr.h"
#include "presets/PresetTestEnv.h"
#include "presets/PsColorSettings.h"

namespace {

using namespace presettest;

SPrPgPsCsControl Control(Env& env, ePsPdfInterpreter interpreter = PsPdfPostScript) {
    SPrPgPsCsControl c;
    c.nNoReplacement = 1;
    c.nChannelMask = 2;
    c.pContext = env.context.get();
    c.eInterpreter = interpreter;
    return c;
}

// A record with every field away from its default, profile fields as full paths.
SPostscriptColorSettings Filled(const Env& env) {
    SPostscriptColorSettings s;
    int n = 10;
    for (const SPsCsField& f : PsCsFields()) {
        if (f.intField)
            s.*f.intField = n++;
        else
            s.*f.textField = env.In(f.folder, std::wstring(f.tag) + L".icc");
    }
    return s;
}

TEST(PreSetPsCs, DefaultsOfTheRecord) {
    SPostscriptColorSettings s;
    EXPECT_EQ(s.nRGBUseAllTheSame, 1);
    EXPECT_EQ(s.nUseEmbedGrayText, 1);
    EXPECT_EQ(s.nRI_LabVector, 1);
    EXPECT_EQ(s.nAfterIntermediateOutputProfileRI, 2);
    EXPECT_EQ(s.nSimulateOverprinting, 1);
    EXPECT_EQ(s.nUseCMYKColorManagementForDeviceN, 1);
    EXPECT_EQ(s.nUseIntegratedColormanagement, 0);
    EXPECT_EQ(s.sDefaultOutputProfileRGB, L"");
    int profiles = 0;
    for (const SPsCsField& f : PsCsFields()) profiles += f.textField ? 1 : 0;
    EXPECT_EQ(profiles, 14);
}

TEST(PSOPsCs, RoundTripThroughAStringAndAFileStoresBareNamesAndExpandsOnLoad) {
    Env env;
    CPSOPsCs a(Control(env));
    a.Data() = Filled(env);
    const SPostscriptColorSettings original = a.Data();
    std::wstring xml;
    ASSERT_EQ(a.SaveToString(xml), 1);
    EXPECT_NE(xml.find(L"<InputProfileRGBVector>InputProfileRGBVector.icc<"), std::wstring::npos);
    EXPECT_EQ(xml.find(W(env.base)), std::wstring::npos);
    CPSOPsCs b(Control(env));
    ASSERT_EQ(b.LoadFromString(xml.c_str()), 1);
    EXPECT_EQ(static_cast<SPostscriptColorSettings&>(b.Data()), original);
    EXPECT_EQ(b.DataMatch(&a), 0); // a holds bare names now

    const std::wstring path = W(env.dir / "x.PsCs");
    ASSERT_EQ(b.SaveToName(path.c_str()), 1);
    CPSOPsCs c(Control(env));
    ASSERT_EQ(c.LoadFromName(path.c_str()), 1);
    EXPECT_EQ(static_cast<SPostscriptColorSettings&>(c.Data()), original);
}

TEST(PSOPsCs, AfterSaveToNameTheFieldsHoldBareNamesAndLoadingGivesFullPathsAgain) {
    Env env;
    CPSOPsCs a(Control(env));
    a.Data().sInputProfileCMYKPixel = env.In(L"InputCmyk", L"coated.icc");
    a.Data().sDefaultOutputProfileRGB = env.In(L"Printer/RGB", L"rgbprinter.icc");
    const std::wstring path = W(env.dir / "x.PsCs");
    ASSERT_EQ(a.SaveToName(path.c_str()), 1);
    EXPECT_EQ(a.Data().sInputProfileCMYKPixel, L"coated.icc");
    EXPECT_EQ(a.Data().sDefaultOutputProfileRGB, L"rgbprinter.icc");
    ASSERT_EQ(a.LoadFromName(path.c_str()), 1);
    EXPECT_EQ(a.Data().sInputProfileCMYKPixel, env.In(L"InputCmyk", L"coated.icc"));
    EXPECT_EQ(a.Data().sDefaultOutputProfileRGB, env.In(L"Printer/RGB", L"rgbprinter.icc"));
}

TEST(PSOPsCs, TemporaryFileSurvivesLoadingWithItsPathWhileSavingReducesItToItsName) {
    Env env;
    const std::wstring temp = CTempFileMgr::CreateTempFileName(L"icc");
    ASSERT_TRUE(CTempFileMgr::IsTempFileName(temp));
    CPSOPsCs a(Control(env));
    a.Data().sInputProfileRGBPixel = temp;
    // Loaded with the full path kept: expansion leaves temporary files alone.
    std::wstring xml = L"<PostscriptColorSettings><InputProfileRGBPixel>" + temp +
                       L"</InputProfileRGBPixel></PostscriptColorSettings>";
    CPSOPsCs b(Control(env));
    ASSERT_EQ(b.LoadFromString(xml.c_str()), 1);
    EXPECT_EQ(b.Data().sInputProfileRGBPixel, temp);
    // Saved as its name, like any other.
    ASSERT_EQ(a.SaveToString(xml), 1);
    EXPECT_EQ(a.Data().sInputProfileRGBPixel, SplitFileName(temp));
    fs::remove(WideToUtf8(temp));
}

TEST(PSOPsCs, NestedInALargerDocumentTheFieldsMoveAsTheyStand) {
    Env env;
    class CBundle : public CXmlCtxt {
    public:
        CPSOPsCs* pso = nullptr;

    protected:
        void XmlSave() override {
            XmlBeginElement(L"Bundle");
            pso->SaveToXmlCtxt(*this);
            XmlEndElement();
        }
    } bundle;
    CPSOPsCs a(Control(env));
    a.Data() = Filled(env);
    bundle.pso = &a;
    std::wstring xml;
    ASSERT_EQ(bundle.SaveToXml(xml, 1, 0), 1);
    EXPECT_NE(xml.find(W(env.base)), std::wstring::npos); // full paths, not reduced
    CBundle reader;
    ASSERT_EQ(reader.LoadFromXml(xml, 1, 0), 1);
    CPSOPsCs b(Control(env));
    ASSERT_EQ(b.LoadFromXmlCtxt(reader), 1);
    EXPECT_EQ(b.DataMatch(&a), 1);
}

TEST(PSOPsCs, TwoSettingsDifferingOnlyInAProfileNamesCaseDoNotMatch) {
    Env env;
    CPSOPsCs a(Control(env)), b(Control(env));
    a.Data().sInputProfileLabText = L"Lab.icc";
    b.Data().sInputProfileLabText = L"lab.icc";
    EXPECT_EQ(a.DataMatch(&b), 0);
    b.Data().sInputProfileLabText = L"Lab.icc";
    EXPECT_EQ(a.DataMatch(&b), 1);
}

TEST(PSOPsCs, DataMatchIgnoresTheInterpreterFiveOption) {
    Env env;
    CPSOPsCs a(Control(env)), b(Control(env));
    a.Data().nInterpreter5Option = 1;
    EXPECT_EQ(a.DataMatch(&b), 1);
    // Every other field counts.
    for (const SPsCsField& f : PsCsFields()) {
        if (f.intField == &SPostscriptColorSettings::nInterpreter5Option) continue;
        CPSOPsCs c(Control(env));
        if (f.intField)
            c.Data().*f.intField += 1;
        else
            c.Data().*f.textField = L"x";
        EXPECT_EQ(c.DataMatch(&b), 0) << WideToUtf8(f.tag);
    }
    // And the option is copied with the record.
    CPSOPsCs d(Control(env));
    d.CopyDataFrom(&a);
    EXPECT_EQ(d.Data().nInterpreter5Option, 1);
}

TEST(PSOPsCs, KindsDoNotTakeEachOthersObjectsOrPages) {
    Env env;
    CPSOPsCs ps(Control(env));
    CPSOGhostSepCs gs(Control(env, PsPdfGhostscriptSep));
    ps.Data().nTreatGrayAsRgb = 1;
    EXPECT_EQ(gs.DataMatch(&ps), 0);
    gs.CopyDataFrom(&ps);
    EXPECT_EQ(gs.Data().nTreatGrayAsRgb, 0);
    std::unique_ptr<CPSOPropPg> page(ps.CreatePSOPropPg(3, L"n"));
    gs.DataToPSOPropPg(page.get());
    SPostscriptColorSettings seen;
    seen.nTreatGrayAsRgb = 5;
    static_cast<CPrPgPsCs*>(page.get())->GetData(seen);
    EXPECT_EQ(seen.nTreatGrayAsRgb, 0); // the page's own default copy, untouched
}

TEST(PSOPsCs, PagesGetTheControlStructure) {
    Env env;
    CPSOPsCs ps(Control(env));
    std::unique_ptr<CPSOPropPg> p1(ps.CreatePSOPropPg(3, L"name"));
    auto* pg = dynamic_cast<CPrPgPsCs*>(p1.get());
    ASSERT_NE(pg, nullptr);
    EXPECT_EQ(pg->First(), 1);
    EXPECT_EQ(pg->ChannelMask(), 2);
    EXPECT_EQ(pg->NoReplacement(), 1);
    EXPECT_EQ(pg->PageNumber(), 3);
    EXPECT_EQ(pg->Context(), env.context.get());
    CPSOPDFAurelonCs pdf(Control(env, PsPdfPDF));
    std::unique_ptr<CPSOPropPg> p2(pdf.CreatePSOPropPg(1, L"pdf"));
    auto* pp = dynamic_cast<CPrPgPDFAurelonCs*>(p2.get());
    ASSERT_NE(pp, nullptr);
    EXPECT_EQ(pp->Interpreter(), PsPdfPDF);
    pdf.Data().nOnlyColorManageNormalBlendMode = 1;
    pdf.DataToPSOPropPg(pp);
    SPostscriptColorSettings s;
    pp->GetData(s);
    s.nSimulateOverprinting = 0;
    pp->SetData(s);
    pdf.DataFromPSOPropPg(pp);
    EXPECT_EQ(pdf.Data().nOnlyColorManageNormalBlendMode, 1);
    EXPECT_EQ(pdf.Data().nSimulateOverprinting, 0);
}

TEST(PSOPsCs, BadXmlLeavesThePathsUnexpandedAndTheDataAsItWas) {
    Env env;
    CPSOPsCs a(Control(env));
    a.Data().sInputProfileRGBText = L"bare.icc";
    EXPECT_EQ(a.LoadFromString(L"<PostscriptColorSettings><RI_RGBText>3"), 0);
    EXPECT_EQ(a.Data().sInputProfileRGBText, L"bare.icc");
    EXPECT_EQ(a.LoadFromString(L"<InputProfiles/>"), 0);
    EXPECT_EQ(a.Data().sInputProfileRGBText, L"bare.icc");
}

TEST(PSOFactoryPsCs, ThreeKindsThreeStoresAndCurrentNames) {
    Env env;
    CPSOFactoryPsCs ps(Control(env), L"Customized", L"User");
    CPSOFactoryGhostSepCs gs(Control(env), L"Customized", L"User");
    CPSOFactoryPDFAurelonCs pdf(Control(env), L"Customized", L"User");
    std::unique_ptr<IPreSetObjStore> s1(ps.CreatePSOStore()), s2(gs.CreatePSOStore()),
        s3(pdf.CreatePSOStore());
    EXPECT_EQ(static_cast<CPreSetObjStoreFile*>(s1.get())->ItemNameToPathName(L"a"),
              W(env.presets / "a.PsCs"));
    EXPECT_EQ(static_cast<CPreSetObjStoreFile*>(s2.get())->ItemNameToPathName(L"a"),
              W(env.presets / "a.GhostSepCs"));
    EXPECT_EQ(static_cast<CPreSetObjStoreFile*>(s3.get())->ItemNameToPathName(L"a"),
              W(env.presets / "a.PDFAurelonCs"));
    env.usm->PutString(US_PsCsName, L"x");
    env.usm->PutString(US_GhostSepCsName, L"x");
    env.usm->PutString(US_PDFAurelonCsName, L"x");
    gs.OnRenamed(L"x", L"y");
    EXPECT_EQ(env.usm->GetString(US_GhostSepCsName), L"y");
    EXPECT_EQ(env.usm->GetString(US_PsCsName), L"x");
    pdf.OnDeleted(L"x");
    EXPECT_EQ(env.usm->GetString(US_PDFAurelonCsName), L"");
    EXPECT_EQ(env.usm->GetString(US_PsCsName), L"x");
    EXPECT_EQ(CPSOFactoryPsCs::GetUserDefinedAccessName(), std::wstring(L"$"));
}

TEST(PSOFactoryPsCs, CreatePSOUsesTheControlStructureAndSetEditControlParmsReplacesIt) {
    Env env;
    CPSOFactoryPsCs f(Control(env), L"Customized", L"User");
    std::unique_ptr<IPreSetObj> a(f.CreatePSO());
    EXPECT_EQ(static_cast<CPSOPsCs*>(a.get())->Control().nChannelMask, 2);
    SPrPgPsCsControl c = Control(env, PsPdfAdobePPE);
    c.nChannelMask = 1;
    f.SetEditControlParms(c);
    std::unique_ptr<IPreSetObj> b(f.CreatePSO());
    EXPECT_EQ(static_cast<CPSOPsCs*>(b.get())->Control().nChannelMask, 1);
    EXPECT_EQ(static_cast<CPSOPsCs*>(b.get())->Control().eInterpreter, PsPdfAdobePPE);
}

TEST(PSOFactoryPsCs, SpecialNamesAndCustomizedData) {
    Env env;
    CPSOFactoryPsCs f(Control(env), L"Customized", L"User");
    EXPECT_EQ(f.CanEditSpecialName(L"$"), 1);
    CPSOPsCs a(Control(env));
    a.Data().nUseOIPAsOutProf = 1;
    ASSERT_EQ(f.SaveSpecial(&a, CPSOFactoryCustomized::GetStdCustomizedAccessName()), 1);
    EXPECT_EQ(f.PreSetData().nUseOIPAsOutProf, 1);
    ASSERT_EQ(f.SaveSpecial(&a, L"$"), 1);
    EXPECT_TRUE(fs::exists(env.presets / "$.PsCs"));
    CPSOPsCs b(Control(env));
    ASSERT_EQ(f.LoadSpecial(&b, L"$"), 1);
    EXPECT_EQ(b.Data().nUseOIPAsOutProf, 1);
    CPSOPsCs c(Control(env));
    ASSERT_EQ(f.LoadSpecial(&c, CPSOFactoryCustomized::GetStdCustomizedAccessName()), 1);
    EXPECT_EQ(c.DataMatch(&a), 1);
}

TEST(PSOFactoryPsCs, WithoutAContextTheStoreUsesTheProcessSettings) {
    SPrPgPsCsControl c; // no context
    CPSOFactoryPsCs f(c, L"Customized", L"");
    std::unique_ptr<CPreSetObjStoreFile> s(CPSOFactoryPsCs::CreatePSOStore(nullptr, &f));
    EXPECT_EQ(s->Folder(), CPrintUSM::GetInstance()->GetString(US_SettingsFolder));
    f.OnDeleted(L"anything"); // no settings to change, and no crash
}

} // namespace
