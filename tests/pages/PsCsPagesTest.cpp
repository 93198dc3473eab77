#include "pages/PsCsPages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/GlobalContext.h"
#include "pages/DlgRIHelper.h"
#include "pages/IccErrorReport.h"
#include "pages/PageStrings.h"
#include "pages/PageTestEnv.h"
#include "presets/PresetTestEnv.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;
using presettest::Env;
using S = SPostscriptColorSettings;

const SPsCsFamily* const kFamilies[] = {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep,
                                        &kPsCsFamilyPDF};

using pagetest::ScriptedServices;

std::unique_ptr<CPrPgPsCsOuter> MakePage(const SPsCsFamily& family, const SPsCsPageParams& p) {
    if (&family == &kPsCsFamilyPostScript)
        return std::make_unique<CPrPgPsCs>(p.first, p.channelMask, p.readOnly, p.noReplacement,
                                           L"preset", p.context, p.interpreter);
    if (&family == &kPsCsFamilyGhostSep)
        return std::make_unique<CPrPgGhostSepCs>(p.first, p.channelMask, p.readOnly,
                                                 p.noReplacement, L"preset", p.context,
                                                 p.interpreter);
    return std::make_unique<CPrPgPDFAurelonCs>(p.channelMask, p.readOnly, p.noReplacement,
                                               L"preset", p.context, p.interpreter);
}

// One session: the settings, a page of a family on them, and the user's services.
struct Session {
    Env env;
    ScriptedServices services;
    std::unique_ptr<CPrPgPsCsOuter> page;

    // Opens the page of `family` with the given settings; the interpreter is the family's own
    // unless given.
    void Open(const SPsCsFamily& family, const S& settings, SPsCsPageParams p = {},
              bool create = true) {
        p.context = env.context.get();
        if (p.interpreter == PsPdfPostScript) p.interpreter = family.defaultsInterpreter;
        page = MakePage(family, p);
        page->SetData(settings);
        if (create) page->Create(&services);
    }
    CPageModel& P1() { return *page->SubPages()[0]; }
    CPageModel& P2() { return *page->SubPages()[1]; }
    S Read() {
        S s;
        page->GetData(s);
        return s;
    }
};

bool Shown(CPageModel& p, unsigned int id) {
    const SPageControl* c = p.Control(id);
    return c && c->bShown;
}
bool Enabled(CPageModel& p, unsigned int id) {
    const SPageControl* c = p.Control(id);
    return c && c->bEnabled;
}
std::wstring Text(CPageModel& p, unsigned int id) {
    const SPageControl* c = p.Control(id);
    return c ? c->sText : std::wstring();
}
int Check(CPageModel& p, unsigned int id) {
    const SPageControl* c = p.Control(id);
    return c ? c->nCheck : -1;
}

S Integrated() {
    S s;
    s.nUseIntegratedColormanagement = 1;
    return s;
}

} // namespace

// --- first sub-page ----------------------------------------------------------------------------

TEST(PsCsPages, AllTheSameRgbShowsPixelFileInVectorAndTextDisablesThemAndLeavesTheirFields) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        for (const char* n : {"a.icc", "b.icc", "c.icc", "d.icc"})
            t.env.PutProfile(std::string("InputRgb/") + n);
        S s = Integrated();
        s.nRGBUseAllTheSame = 1;
        s.sInputProfileRGBVector = L"b.icc";
        s.sInputProfileRGBPixel = L"a.icc";
        s.sInputProfileRGBText = L"c.icc";
        s.nRI_RGBVector = 3, s.nRI_RGBPixel = 1, s.nRI_RGBText = 4;
        s.nUseEmbedRgbVector = 0, s.nUseEmbedRgbPixel = 1, s.nUseEmbedRgbText = 0;
        t.Open(*family, s);
        CPageModel& p = t.P1();
        for (unsigned int id : {1457u, 1458u, 1459u}) EXPECT_EQ(Text(p, id), L"a.icc") << id;
        for (unsigned int id : {1264u, 1265u, 1266u})
            EXPECT_EQ(Text(p, id), CDlgRIHelper::TrafoRiEnm2Str(1)) << id;
        for (unsigned int id : {1455u, 1078u, 1079u}) EXPECT_EQ(Check(p, id), 1) << id;
        for (unsigned int id : {1457u, 1459u, 1264u, 1266u, 1455u, 1079u})
            EXPECT_FALSE(Enabled(p, id)) << id;
        for (unsigned int id : {1458u, 1265u, 1078u}) EXPECT_TRUE(Enabled(p, id)) << id;
        EXPECT_FALSE(p.UserSelect(1457, L"d.icc"));

        ASSERT_TRUE(p.UserSelect(1458, L"d.icc"));
        ASSERT_TRUE(p.UserCommand(1458));
        EXPECT_EQ(Text(p, 1457), L"d.icc");
        EXPECT_EQ(Text(p, 1459), L"d.icc");
        const S r = t.Read();
        EXPECT_EQ(r.sInputProfileRGBPixel, L"d.icc");
        EXPECT_EQ(r.sInputProfileRGBVector, L"b.icc");
        EXPECT_EQ(r.sInputProfileRGBText, L"c.icc");
        EXPECT_EQ(r.nRI_RGBVector, 3);
        EXPECT_EQ(r.nRI_RGBText, 4);
        EXPECT_EQ(r.nUseEmbedRgbVector, 0);
        EXPECT_EQ(r.nUseEmbedRgbText, 0);
    }
}

// The vector and text controls show the pixel entries while all-the-same is set; clearing it
// takes them over as they stand, and from then on each class is read on its own.
TEST(PsCsPages, ClearingAllTheSameStartsVectorAndTextFromThePixelEntries) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        for (const char* n : {"a.icc", "b.icc", "c.icc"})
            t.env.PutProfile(std::string("InputCmyk/") + n);
        S s = Integrated();
        s.nCMYKUseAllTheSame = 1;
        s.sInputProfileCMYKVector = L"b.icc";
        s.sInputProfileCMYKPixel = L"a.icc";
        s.sInputProfileCMYKText = L"c.icc";
        t.Open(*family, s);
        CPageModel& p = t.P1();
        ASSERT_TRUE(p.UserSetCheck(1610, 0));
        ASSERT_TRUE(p.UserCommand(1610));
        EXPECT_EQ(Text(p, 1460), L"a.icc");
        EXPECT_EQ(Text(p, 1462), L"a.icc");
        for (unsigned int id : {1460u, 1462u, 1267u, 1269u, 1456u, 1081u})
            EXPECT_TRUE(Enabled(p, id)) << id;
        ASSERT_TRUE(p.UserSelect(1462, L"c.icc"));
        ASSERT_TRUE(p.UserCommand(1462));
        EXPECT_EQ(Text(p, 1460), L"a.icc");
        const S r = t.Read();
        EXPECT_EQ(r.nCMYKUseAllTheSame, 0);
        EXPECT_EQ(r.sInputProfileCMYKText, L"c.icc");
        EXPECT_EQ(r.sInputProfileCMYKVector, L"a.icc");
        EXPECT_EQ(r.sInputProfileCMYKPixel, L"a.icc");
    }
}

TEST(PsCsPages, IntentFiveShownAndStoredAsTwoWithoutAdvancedIntents) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        SPsPdfInterpreterDesc desc;
        desc.bAdvancedIntents = 0;
        t.env.context->SetInterpreterDesc(family->defaultsInterpreter, desc);
        S s = Integrated();
        s.nRGBUseAllTheSame = 0;
        s.nRI_RGBPixel = 5, s.nRI_RGBText = 5, s.nRI_CMYKPixel = 5;
        t.Open(*family, s);
        CPageModel& p = t.P1();
        const std::wstring relative = CDlgRIHelper::TrafoRiEnm2Str(2);
        EXPECT_EQ(Text(p, 1265), relative);
        EXPECT_EQ(Text(p, 1266), relative);
        EXPECT_EQ(Text(p, 1268), relative);
        const auto& items = p.Control(1265)->items;
        EXPECT_EQ(std::count(items.begin(), items.end(), CDlgRIHelper::TrafoRiEnm2Str(5)), 0);
        const S r = t.Read();
        EXPECT_EQ(r.nRI_RGBPixel, 2);
        EXPECT_EQ(r.nRI_RGBText, 2);
        EXPECT_EQ(r.nRI_CMYKPixel, 2);
    }
}

TEST(PsCsPages, IntentFiveStaysWithAdvancedIntents) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nRI_RGBPixel = 5;
        t.Open(*family, s);
        EXPECT_EQ(Text(t.P1(), 1265), CDlgRIHelper::TrafoRiEnm2Str(5));
        EXPECT_EQ(t.Read().nRI_RGBPixel, 5);
    }
}

TEST(PsCsPages, InterpreterAnyKeepsAdvancedIntentsWhateverTheFamilysDescriptionSays) {
    Session t;
    SPsPdfInterpreterDesc desc;
    desc.bAdvancedIntents = 0;
    t.env.context->SetInterpreterDesc(PsPdfPostScript, desc);
    S s = Integrated();
    s.nRI_RGBPixel = 5;
    t.Open(kPsCsFamilyPostScript, s, {.interpreter = PsPdfAny});
    EXPECT_EQ(t.Read().nRI_RGBPixel, 5);
}

TEST(PsCsPages, CmykIntentListFollowsTheUserSettingOnPostScriptAndGhostscriptOnly) {
    const std::wstring kOnly = CDlgRIHelper::TrafoRiEnm2Str(6); // a black-preserving intent
    for (int advanced : {0, 1}) {
        for (const SPsCsFamily* family : kFamilies) {
            SCOPED_TRACE(family->name);
            Session t;
            t.env.usm->PutInt(US_ShowAdvancedRIs, advanced);
            t.Open(*family, Integrated());
            const auto& cmyk = t.P1().Control(1268)->items;
            const auto& rgb = t.P1().Control(1265)->items;
            const bool offered = std::count(cmyk.begin(), cmyk.end(), kOnly) != 0;
            EXPECT_EQ(offered, advanced == 1 && !family->pdfRules);
            EXPECT_EQ(std::count(rgb.begin(), rgb.end(), kOnly), 0);
        }
    }
}

TEST(PsCsPages, IntegratedOffWithChannelMaskOneShowsOnlyTheRgbPixelControls) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        S s;
        s.nUseIntegratedColormanagement = 0;
        t.Open(*family, s, {.channelMask = 1});
        CPageModel& p = t.P1();
        for (const SPsCsRow* row : family->rows) {
            std::vector<unsigned int> ids{row->allSameId};
            for (int c = 0; c < kPsCsClasses; ++c)
                ids.insert(ids.end(), {row->fileIds[c], row->intentIds[c], row->embedIds[c]});
            for (unsigned int id : ids) {
                const bool expected = id == 1458 || id == 1265;
                EXPECT_EQ(Shown(p, id), expected) << id;
            }
        }
        EXPECT_TRUE(Shown(p, IDC_PSCS_INTEGRATED));
    }
}

TEST(PsCsPages, TurningIntegratedOnShowsEveryRow) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, S{}, {.channelMask = 2});
        CPageModel& p = t.P1();
        EXPECT_FALSE(Shown(p, 1458));
        EXPECT_TRUE(Shown(p, 1461));
        ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_INTEGRATED, 1));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_INTEGRATED));
        for (const SPsCsRow* row : family->rows)
            for (int c = 0; c < kPsCsClasses; ++c) {
                EXPECT_TRUE(Shown(p, row->fileIds[c])) << row->fileIds[c];
                EXPECT_TRUE(Shown(p, row->embedIds[c])) << row->embedIds[c];
            }
        EXPECT_EQ(t.Read().nUseIntegratedColormanagement, 1);
    }
}

TEST(PsCsPages, MissingIntegratedBoxSetsTheFlagAndShowsEveryRow) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        SPsPdfInterpreterDesc desc;
        desc.absentControls[0] = {IDC_PSCS_INTEGRATED};
        t.env.context->SetInterpreterDesc(family->defaultsInterpreter, desc);
        t.Open(*family, S{}, {.channelMask = 1});
        EXPECT_EQ(t.P1().Control(IDC_PSCS_INTEGRATED), nullptr);
        EXPECT_TRUE(Shown(t.P1(), 1461)); // CMYK pixel, though the device has no CMYK
        EXPECT_TRUE(Shown(t.P1(), 1457));
        EXPECT_EQ(t.Read().nUseIntegratedColormanagement, 1);
    }
}

TEST(PsCsPages, PdfRowChangeChecksOnlyThatRow) {
    Session t;
    S s = Integrated();
    s.nRGBUseAllTheSame = 1;
    s.nCMYKUseAllTheSame = 1;
    t.Open(kPsCsFamilyPDF, s);
    auto& p1 = static_cast<CPrPgPDFAurelonCsPage1&>(t.P1());
    ASSERT_TRUE(p1.UserSetCheck(1610, 0));
    ASSERT_TRUE(p1.UserCommand(1610));
    EXPECT_TRUE(Enabled(p1, 1460));
    // The page turns read-only behind its back; a change in the RGB row applies the rule to
    // the RGB row alone.
    p1.SetEnableStates(true, false);
    ASSERT_TRUE(p1.UserSetCheck(1609, 0));
    ASSERT_TRUE(p1.UserCommand(1609));
    EXPECT_FALSE(Enabled(p1, 1457));
    EXPECT_TRUE(Enabled(p1, 1460));
    p1.CheckControlsEnabledCMYK();
    EXPECT_FALSE(Enabled(p1, 1460));
}

TEST(PsCsPages, PostScriptRowChangeChecksEveryRow) {
    Session t;
    S s = Integrated();
    s.nRGBUseAllTheSame = 0;
    s.nCMYKUseAllTheSame = 0;
    t.Open(kPsCsFamilyPostScript, s);
    CPageModel& p = t.P1();
    p.SetEnableStates(true, false);
    ASSERT_TRUE(p.UserCommand(1458));
    EXPECT_FALSE(Enabled(p, 1457));
    EXPECT_FALSE(Enabled(p, 1460));
}

// --- outer page --------------------------------------------------------------------------------

TEST(PsCsPages, SetDataKeepsEveryFieldGivenThoughItReadsTheConfigurationFirst) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.env.usm.reset();
        t.env.context.reset();
        // The configuration of every interpreter differs from what the preset holds.
        std::string ini;
        for (const char* section : {"PostscriptOptions", "GhostsciptSeparationOptions",
                                    "AurelonPDFOptions", "DummyOptions"})
            ini += std::string("[") + section +
                   "]\nTreatGrayAsRgb=1\nRI_RGBPixel=3\nInputProfileRGBPixel=conf.icc\n"
                   "SimulateOverprinting=0\n";
        Env env(ini);
        SPsCsPageParams params;
        params.context = env.context.get();
        params.interpreter = family->defaultsInterpreter;
        auto page = MakePage(*family, params);
        S given;
        int n = 0;
        for (const SPsCsField& f : PsCsFields()) {
            if (f.intField)
                given.*f.intField = 20 + n++;
            else
                given.*f.textField = L"given" + std::to_wstring(n++) + L".icc";
        }
        page->SetData(given);
        S r;
        page->GetData(r);
        EXPECT_EQ(r, given);
    }
}

TEST(PsCsPages, GetDataGivesTheControlsOfTheOpenPages) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated());
        ASSERT_TRUE(t.P2().UserSetCheck(IDC_PSCS_CMYK_DEVICEN, 0));
        EXPECT_EQ(t.page->Settings().nUseCMYKColorManagementForDeviceN, 1);
        EXPECT_EQ(t.Read().nUseCMYKColorManagementForDeviceN, 0);
    }
}

TEST(PsCsPages, ReadOnlyOuterOnOkChangesNothing) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated(), {.readOnly = 1});
        const S before = t.page->Settings();
        ASSERT_TRUE(t.P2().UserSetCheck(IDC_PSCS_CMYK_DEVICEN, 0));
        ASSERT_TRUE(t.P1().UserSetCheck(1078, 0));
        t.page->OnOK();
        EXPECT_EQ(t.page->Settings(), before);
    }
}

TEST(PsCsPages, OnOkReadsTheControlsOfAnEditablePage) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nRGBUseAllTheSame = 0;
        t.Open(*family, s);
        ASSERT_TRUE(t.P2().UserSetCheck(IDC_PSCS_CMYK_DEVICEN, 0));
        ASSERT_TRUE(t.P1().UserSetCheck(1455, 0));
        t.page->OnOK();
        EXPECT_EQ(t.page->Settings().nUseCMYKColorManagementForDeviceN, 0);
        EXPECT_EQ(t.page->Settings().nUseEmbedRgbVector, 0);
    }
}

TEST(PsCsPages, ControlChangesReachTheOuterPage) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated());
        const int outer = t.page->Changes();
        const int sub = t.P2().Changes();
        ASSERT_TRUE(t.P2().UserSetCheck(IDC_PSCS_CMYK_DEVICEN, 0));
        ASSERT_TRUE(t.P2().UserCommand(IDC_PSCS_CMYK_DEVICEN));
        EXPECT_EQ(t.page->Changes(), outer + 1);
        EXPECT_EQ(t.P2().Changes(), sub);
        EXPECT_EQ(t.page->Settings().nUseCMYKColorManagementForDeviceN, 0);
    }
}

TEST(PsCsPages, SubPageWithoutItsOuterPageTellsItself) {
    Env env;
    S data = Integrated();
    SPsCsPageParams params;
    params.context = env.context.get();
    CPrPgPsCsPage2 page(params, data);
    page.Create(nullptr);
    const int before = page.Changes();
    ASSERT_TRUE(page.UserCommand(IDC_PSCS_CMYK_DEVICEN));
    EXPECT_EQ(page.Changes(), before + 1);
}

TEST(PsCsPages, SubPagesTakeTheirDialogsFromTheDescription) {
    Session t;
    SPsPdfInterpreterDesc desc;
    desc.nPageDialog = {7001, 7002};
    t.env.context->SetInterpreterDesc(PsPdfGhostscriptSep, desc);
    t.Open(kPsCsFamilyGhostSep, S{}, {}, false);
    EXPECT_EQ(t.page->DialogId(), 26406u);
    EXPECT_EQ(t.P1().DialogId(), 7001u);
    EXPECT_EQ(t.P2().DialogId(), 7002u);
    EXPECT_EQ(CPrPgGhostSepCsPage1::GetDialogResource(t.env.context.get(), PsPdfAny), 7001u);
    EXPECT_EQ(CPrPgPsCsPage2::GetDialogResource(t.env.context.get(), PsPdfAny), 0u);
}

// --- second sub-page ---------------------------------------------------------------------------

TEST(PsCsPages, TurningOnOipAsOutputClearsOipAsSimulationAndDisablesItsBox) {
    for (const SPsCsFamily* family : {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep}) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nUseOIPAsSimProf = 1;
        t.Open(*family, s, {.first = 0});
        CPageModel& p = t.P2();
        EXPECT_TRUE(Shown(p, IDC_PSCS_OIP_AS_OUT));
        EXPECT_TRUE(Enabled(p, IDC_PSCS_OIP_AS_SIM));
        EXPECT_EQ(Check(p, IDC_PSCS_OIP_AS_SIM), 1);
        ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_OIP_AS_OUT, 1));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_OIP_AS_OUT));
        EXPECT_EQ(Check(p, IDC_PSCS_OIP_AS_SIM), 0);
        EXPECT_FALSE(Enabled(p, IDC_PSCS_OIP_AS_SIM));
        EXPECT_FALSE(p.UserSetCheck(IDC_PSCS_OIP_AS_SIM, 1));
        const S r = t.Read();
        EXPECT_EQ(r.nUseOIPAsSimProf, 0);
        EXPECT_EQ(r.nUseOIPAsOutProf, 1);
    }
}

TEST(PsCsPages, OipAsOutputInThePresetClearsOipAsSimulationWhenThePageOpens) {
    for (const SPsCsFamily* family : {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep}) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nUseOIPAsSimProf = 1;
        s.nUseOIPAsOutProf = 1;
        t.Open(*family, s, {.first = 0});
        EXPECT_EQ(t.page->Settings().nUseOIPAsSimProf, 0);
        EXPECT_FALSE(Enabled(t.P2(), IDC_PSCS_OIP_AS_SIM));
    }
}

TEST(PsCsPages, PresetPageHidesTheOutputIntentOptions) {
    for (const SPsCsFamily* family : {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep}) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated(), {.first = 1});
        for (unsigned int id : {1466u, 1467u, 1469u, 1082u, 1083u, 1612u})
            EXPECT_FALSE(Shown(t.P2(), id)) << id;
    }
}

TEST(PsCsPages, OipAsOutputNeedsCmykOnAJobPage) {
    Session t;
    t.Open(kPsCsFamilyPostScript, Integrated(), {.first = 0, .channelMask = 1});
    EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_OIP_AS_SIM));
    EXPECT_FALSE(Shown(t.P2(), IDC_PSCS_OIP_AS_OUT));
}

TEST(PsCsPages, NoReplacementZeroesBothReplacementSettingsWhenThePageOpens) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nUseNCReplacement = 1;
        s.nUseNCReplacementForDeviceN = 1;
        t.Open(*family, s, {.noReplacement = 1});
        EXPECT_FALSE(Shown(t.P2(), IDC_PSCS_NC_REPLACEMENT));
        if (!family->pdfRules) {
            EXPECT_FALSE(Shown(t.P2(), IDC_PSCS_NC_REPLACEMENT_DEVICEN));
        }
        const S r = t.Read();
        EXPECT_EQ(r.nUseNCReplacement, 0);
        EXPECT_EQ(r.nUseNCReplacementForDeviceN, 0);
    }
}

TEST(PsCsPages, ReplacementSettingsStayWithoutNoReplacement) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        S s = Integrated();
        s.nUseNCReplacement = 1;
        s.nUseNCReplacementForDeviceN = 1;
        t.Open(*family, s);
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_NC_REPLACEMENT));
        const S r = t.Read();
        EXPECT_EQ(r.nUseNCReplacement, 1);
        EXPECT_EQ(r.nUseNCReplacementForDeviceN, 1);
    }
}

TEST(PsCsPages, PdfPageOfAnyInterpreterButFiveClearsTheInterpreterFiveFlag) {
    for (ePsPdfInterpreter i : {PsPdfPostScript, PsPdfAdobePPE, PsPdfGhostscriptSep, PsPdfPDF,
                                PsPdfAny, static_cast<ePsPdfInterpreter>(1)}) {
        SCOPED_TRACE(static_cast<int>(i));
        Env env;
        S s = Integrated();
        s.nInterpreter5Option = 1;
        CPrPgPDFAurelonCs page(3, 0, 0, L"pdf", env.context.get(), i);
        page.SetData(s);
        page.Create(nullptr);
        EXPECT_EQ(page.Settings().nInterpreter5Option, 0);
        EXPECT_FALSE(Shown(page.Page2(), IDC_PSCS_INTERPRETER5));
    }
}

TEST(PsCsPages, PdfPageOfInterpreterFiveKeepsAndShowsTheFlag) {
    Env env;
    S s = Integrated();
    s.nInterpreter5Option = 1;
    CPrPgPDFAurelonCs page(3, 0, 0, L"pdf", env.context.get(), PsPdfPDFVariant);
    page.SetData(s);
    page.Create(nullptr);
    EXPECT_TRUE(Shown(page.Page2(), IDC_PSCS_INTERPRETER5));
    EXPECT_EQ(Check(page.Page2(), IDC_PSCS_INTERPRETER5), 1);
    S r;
    page.GetData(r);
    EXPECT_EQ(r.nInterpreter5Option, 1);
}

TEST(PsCsPages, DefaultOutputsFollowIntegratedFlagAndChannelMask) {
    for (const SPsCsFamily* family : {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep}) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, S{}, {.channelMask = 3});
        for (unsigned int id : {1463u, 1212u, 1597u, 1471u, 1213u, 1598u, 1464u, 1472u, 1531u})
            EXPECT_FALSE(Shown(t.P2(), id)) << id;
        Session u;
        u.Open(*family, Integrated(), {.channelMask = 2});
        for (unsigned int id : {1463u, 1212u, 1597u, 1464u, 1472u, 1531u, 1468u})
            EXPECT_TRUE(Shown(u.P2(), id)) << id;
        for (unsigned int id : {1471u, 1213u, 1598u}) EXPECT_FALSE(Shown(u.P2(), id)) << id;
    }
}

TEST(PsCsPages, PdfDefaultOutputsFollowTheChannelMaskAlone) {
    Session t;
    t.Open(kPsCsFamilyPDF, S{}, {.channelMask = 1});
    for (unsigned int id : {1471u, 1213u, 1598u, 1469u, 1082u, 1083u, 1612u, 1531u, 1472u})
        EXPECT_TRUE(Shown(t.P2(), id)) << id;
    for (unsigned int id : {1463u, 1212u, 1597u}) EXPECT_FALSE(Shown(t.P2(), id)) << id;
}

TEST(PsCsPages, IntermediateSpaceShowsItsIntentAndTheAlternativeTexts) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated(), {.first = 0});
        CPageModel& p = t.P2();
        const std::wstring own = p.Control(1597)->sLabel;
        EXPECT_FALSE(Shown(p, IDC_PSCS_AFTER_INTERMEDIATE_RI));
        EXPECT_FALSE(Shown(p, 1109));
        ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_INTERMEDIATE, 1));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_INTERMEDIATE));
        EXPECT_TRUE(Shown(p, IDC_PSCS_AFTER_INTERMEDIATE_RI));
        EXPECT_TRUE(Shown(p, 1109));
        EXPECT_EQ(p.Control(1597)->sLabel, LoadPageString(13531));
        EXPECT_FALSE(LoadPageString(13531).empty());
        if (!family->pdfRules) {
            EXPECT_EQ(p.Control(1598)->sLabel, LoadPageString(13532));
            EXPECT_EQ(p.Control(1467)->sLabel, LoadPageString(13533));
        }
        ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_INTERMEDIATE, 0));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_INTERMEDIATE));
        EXPECT_EQ(p.Control(1597)->sLabel, own);
    }
}

TEST(PsCsPages, CmykDefaultOutputIsOfferedWithIntermediateSpaceWhenNotOptional) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        SPsPdfInterpreterDesc desc;
        desc.bDefaultOutputOptional = 0;
        t.env.context->SetInterpreterDesc(family->defaultsInterpreter, desc);
        S s = Integrated();
        s.nUseIntermediateColorSpace = 1;
        t.Open(*family, s, {.channelMask = 1});
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_DEFOUT_CMYK));
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_IMPORT_CMYK));
        Session u;
        u.Open(*family, s, {.channelMask = 1});
        EXPECT_FALSE(Shown(u.P2(), IDC_PSCS_DEFOUT_CMYK));
    }
}

TEST(PsCsPages, OutputIntentBoxesFollowDefaultPdfxHandlingOnGhostscriptAndPdf) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, Integrated(), {.first = 0});
        CPageModel& p = t.P2();
        EXPECT_TRUE(Enabled(p, IDC_PSCS_OI_CMYK_PIXEL));
        ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_PDFX_DEFAULT, 1));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_PDFX_DEFAULT));
        for (unsigned int id : {1469u, 1082u, 1083u, 1612u})
            EXPECT_EQ(Enabled(p, id), !family->outputIntentByPdfx) << id;
    }
}

TEST(PsCsPages, PdfIntermediateBoxTextFollowsDefaultPdfxHandling) {
    Session t;
    t.Open(kPsCsFamilyPDF, Integrated());
    CPageModel& p = t.P2();
    const std::wstring own = p.Control(IDC_PSCS_INTERMEDIATE)->sLabel;
    ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_PDFX_DEFAULT, 1));
    ASSERT_TRUE(p.UserCommand(IDC_PSCS_PDFX_DEFAULT));
    EXPECT_EQ(p.Control(IDC_PSCS_INTERMEDIATE)->sLabel, LoadPageString(26368));
    EXPECT_NE(own, LoadPageString(26368));
    ASSERT_TRUE(p.UserSetCheck(IDC_PSCS_PDFX_DEFAULT, 0));
    ASSERT_TRUE(p.UserCommand(IDC_PSCS_PDFX_DEFAULT));
    EXPECT_EQ(p.Control(IDC_PSCS_INTERMEDIATE)->sLabel, own);
}

TEST(PsCsPages, MissingPdfxBoxReadsAsNoDefaultPdfxHandling) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        SPsPdfInterpreterDesc desc;
        desc.absentControls[1] = {IDC_PSCS_PDFX_DEFAULT, IDC_PSCS_CMYK_DEVICEN};
        t.env.context->SetInterpreterDesc(family->defaultsInterpreter, desc);
        S s = Integrated();
        s.nUseDefaultPDFXHandling = 1;
        s.nUseCMYKColorManagementForDeviceN = 0;
        t.Open(*family, s);
        EXPECT_EQ(t.P2().Control(IDC_PSCS_PDFX_DEFAULT), nullptr);
        EXPECT_FALSE(t.P2().UserCommand(IDC_PSCS_CMYK_DEVICEN));
        const S r = t.Read();
        EXPECT_EQ(r.nUseDefaultPDFXHandling, 0);
        // A missing box leaves its setting as it was.
        EXPECT_EQ(r.nUseCMYKColorManagementForDeviceN, 0);
    }
}

TEST(PsCsPages, DefaultOutputCombosListTheirFoldersAndExchangeFileNames) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.env.PutProfile("Printer/p1.icc");
        t.env.PutProfile("Printer/p2.icc");
        t.env.PutProfile("Printer/RGB/r1.icc");
        S s = Integrated();
        s.sDefaultOutputProfileCMYK = t.env.In(L"Printer", L"p1.icc");
        t.Open(*family, s);
        CPageModel& p = t.P2();
        const auto& items = p.Control(IDC_PSCS_DEFOUT_CMYK)->items;
        ASSERT_EQ(items.size(), 3u);
        EXPECT_EQ(items[0], LoadPageString(13395));
        EXPECT_EQ(Text(p, IDC_PSCS_DEFOUT_CMYK), L"p1.icc");
        EXPECT_EQ(p.Control(IDC_PSCS_DEFOUT_RGB)->items.size(), 2u);
        ASSERT_TRUE(p.UserSelect(IDC_PSCS_DEFOUT_CMYK, L"p2.icc"));
        ASSERT_TRUE(p.UserCommand(IDC_PSCS_DEFOUT_CMYK));
        EXPECT_EQ(t.Read().sDefaultOutputProfileCMYK, L"p2.icc");
    }
}

TEST(PsCsPages, ImportProfileRgbWithACmykProfileReports903AndCopiesNothing) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        const std::wstring source = presettest::W(kvrtest::CorpusProfile("default_cmyk.icc"));
        t.services.choices.push_back(source);
        fs::create_directories(t.env.base / "Printer" / "RGB");
        t.Open(*family, Integrated());
        ASSERT_TRUE(t.P2().UserCommand(IDC_PSCS_IMPORT_RGB));
        ASSERT_EQ(t.services.messages.size(), 1u);
        EXPECT_EQ(t.services.messages[0], IccErrorText(903, L"default_cmyk.icc"));
        EXPECT_FALSE(fs::exists(t.env.base / "Printer" / "RGB" / "default_cmyk.icc"));
        EXPECT_EQ(t.P2().Control(IDC_PSCS_DEFOUT_RGB)->items.size(), 1u);
    }
}

TEST(PsCsPages, ImportProfileOfAnUnreadableFileReports901AndCopiesNothing) {
    Session t;
    t.env.PutProfile("elsewhere/broken.icc", "not a profile");
    t.services.choices.push_back(t.env.In(L"elsewhere", L"broken.icc"));
    t.Open(kPsCsFamilyPostScript, Integrated());
    ASSERT_TRUE(t.P2().UserCommand(IDC_PSCS_IMPORT_CMYK));
    ASSERT_EQ(t.services.messages.size(), 1u);
    EXPECT_EQ(t.services.messages[0], IccErrorText(901, L"broken.icc"));
    EXPECT_FALSE(fs::exists(t.env.base / "Printer" / "broken.icc"));
}

TEST(PsCsPages, ImportProfileCopiesARightProfileAndLeavesTheSelection) {
    for (const SPsCsFamily* family : kFamilies) {
        SCOPED_TRACE(family->name);
        Session t;
        t.env.PutProfile("Printer/old.icc");
        S s = Integrated();
        s.sDefaultOutputProfileCMYK = L"old.icc";
        t.services.choices.push_back(presettest::W(kvrtest::CorpusProfile("default_cmyk.icc")));
        t.Open(*family, s);
        auto& p2 = static_cast<CPrPgPsCsPage2Base&>(t.P2());
        EXPECT_EQ(p2.ImportProfile(0), 1);
        EXPECT_TRUE(t.services.messages.empty());
        EXPECT_TRUE(fs::exists(t.env.base / "Printer" / "default_cmyk.icc"));
        const auto& items = p2.Control(IDC_PSCS_DEFOUT_CMYK)->items;
        EXPECT_EQ(std::count(items.begin(), items.end(), L"default_cmyk.icc"), 1);
        EXPECT_EQ(Text(p2, IDC_PSCS_DEFOUT_CMYK), L"old.icc");
    }
}

TEST(PsCsPages, ImportProfileGivesAnUnknownExtensionTheIcmExtension) {
    Session t;
    const fs::path copy = t.env.dir / "srgb.profile";
    fs::copy_file(kvrtest::CorpusProfile("sRGB.icc"), copy);
    fs::create_directories(t.env.base / "Printer" / "RGB");
    t.services.choices.push_back(presettest::W(copy));
    t.Open(kPsCsFamilyGhostSep, Integrated());
    auto& p2 = static_cast<CPrPgPsCsPage2Base&>(t.P2());
    EXPECT_EQ(p2.OnImportProfileRGB(), 1);
    EXPECT_TRUE(fs::exists(t.env.base / "Printer" / "RGB" / "srgb.icm"));
}

TEST(PsCsPages, ImportCancelledDoesNothing) {
    Session t;
    t.Open(kPsCsFamilyPDF, Integrated());
    auto& p2 = static_cast<CPrPgPsCsPage2Base&>(t.P2());
    EXPECT_EQ(p2.ImportProfile(1), 0);
    EXPECT_TRUE(t.services.messages.empty());
}

TEST(PsCsPages, EveryControlHasALabel) {
    for (const SPsCsFamily* family : kFamilies) {
        Session t;
        t.Open(*family, Integrated());
        for (CPageModel* p : t.page->SubPages())
            for (const auto& [id, c] : p->Controls())
                EXPECT_FALSE(c.sLabel.empty()) << family->name << " " << id;
    }
}

TEST(PsCsPages, SecondPageTakesTheIntegratedFlagOfTheFirstWhenItBecomesActive) {
    for (const SPsCsFamily* family : {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep}) {
        SCOPED_TRACE(family->name);
        Session t;
        t.Open(*family, S{}, {.channelMask = 3});
        EXPECT_FALSE(Shown(t.P2(), IDC_PSCS_DEFOUT_CMYK));
        ASSERT_TRUE(t.P1().UserSetCheck(IDC_PSCS_INTEGRATED, 1));
        ASSERT_TRUE(t.P1().UserCommand(IDC_PSCS_INTEGRATED));
        t.P2().OnSetActive();
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_DEFOUT_CMYK));
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_DEFOUT_RGB));
        EXPECT_TRUE(Shown(t.P2(), IDC_PSCS_INTERMEDIATE));
    }
}
