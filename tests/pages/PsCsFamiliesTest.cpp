#include "pages/PsCsFamilies.h"

#include <gtest/gtest.h>

#include <set>

#include "common/GlobalContext.h"

namespace {

const SPsCsFamily* const kFamilies[] = {&kPsCsFamilyPostScript, &kPsCsFamilyGhostSep,
                                        &kPsCsFamilyPDF};

SPostscriptColorSettings AllFullPaths() {
    SPostscriptColorSettings s;
    for (const SPsCsRow* row : {&kPsCsRowRgb, &kPsCsRowCmyk, &kPsCsRowGray, &kPsCsRowLab})
        for (PsCsStr f : row->files) s.*f = L"/far/away/" + std::wstring(row->name) + L".icc";
    s.sDefaultOutputProfileCMYK = L"/far/away/out.icc";
    s.sDefaultOutputProfileRGB = L"/far/away/outrgb.icc";
    return s;
}

} // namespace

TEST(PsCsFamilies, RowsOfEachFamily) {
    ASSERT_EQ(kPsCsFamilyPostScript.rows.size(), 2u);
    EXPECT_EQ(kPsCsFamilyPostScript.rows[0], &kPsCsRowRgb);
    EXPECT_EQ(kPsCsFamilyPostScript.rows[1], &kPsCsRowCmyk);
    ASSERT_EQ(kPsCsFamilyGhostSep.rows.size(), 3u);
    EXPECT_EQ(kPsCsFamilyGhostSep.rows[2], &kPsCsRowGray);
    ASSERT_EQ(kPsCsFamilyPDF.rows.size(), 4u);
    EXPECT_EQ(kPsCsFamilyPDF.rows[2], &kPsCsRowLab);
    EXPECT_EQ(kPsCsFamilyPDF.rows[3], &kPsCsRowGray);
}

TEST(PsCsFamilies, OuterDialogsAndDefaultInterpreters) {
    EXPECT_EQ(kPsCsFamilyPostScript.outerDialog, 13335u);
    EXPECT_EQ(kPsCsFamilyGhostSep.outerDialog, 26406u);
    EXPECT_EQ(kPsCsFamilyPDF.outerDialog, 13337u);
    EXPECT_EQ(kPsCsFamilyPostScript.defaultsInterpreter, PsPdfPostScript);
    EXPECT_EQ(kPsCsFamilyGhostSep.defaultsInterpreter, PsPdfGhostscriptSep);
    EXPECT_EQ(kPsCsFamilyPDF.defaultsInterpreter, PsPdfPDF);
}

TEST(PsCsFamilies, RowControlsAreDistinctWithinAPage) {
    for (const SPsCsFamily* family : kFamilies) {
        std::set<unsigned int> ids;
        size_t count = 0;
        for (const SPsCsRow* row : family->rows) {
            for (int c = 0; c < kPsCsClasses; ++c) {
                ids.insert({row->fileIds[c], row->intentIds[c], row->embedIds[c]});
                count += 3;
            }
            ids.insert(row->allSameId);
            ++count;
        }
        EXPECT_EQ(ids.size(), count) << family->name;
        EXPECT_EQ(ids.count(IDC_PSCS_INTEGRATED), 0u);
        EXPECT_EQ(ids.count(IDC_PSCS_BLACKPOINT_P1), 0u);
    }
}

TEST(PsCsFamilies, SecondPageChecksDifferPerFamily) {
    auto field = [](const SPsCsFamily& f, unsigned int id) -> PsCsInt {
        for (const SPsCsCheck& c : PsCsPage2Checks(f))
            if (c.id == id) return c.field;
        return nullptr;
    };
    using S = SPostscriptColorSettings;
    for (const SPsCsFamily* f : kFamilies) {
        EXPECT_EQ(field(*f, 1531), &S::nUseIntermediateColorSpace);
        EXPECT_EQ(field(*f, 1474), &S::nUseDefaultPDFXHandling);
        EXPECT_EQ(field(*f, 1082), &S::nUseEmbeddedOICmykPixel);
    }
    EXPECT_EQ(field(kPsCsFamilyPostScript, 1466), &S::nUseOIPAsSimProf);
    EXPECT_EQ(field(kPsCsFamilyGhostSep, 1467), &S::nUseOIPAsOutProf);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1466), &S::nInterpreter5Option);
    EXPECT_EQ(field(kPsCsFamilyPostScript, 1473), &S::nUseAdobeBlackpointCompensation);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1473), &S::nOnlyColorManageNormalBlendMode);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1174), &S::nUseRGBPageColorSpaceForColorManagement);
    EXPECT_EQ(field(kPsCsFamilyPostScript, 1475), nullptr);
    EXPECT_EQ(field(kPsCsFamilyGhostSep, 1475), &S::nSimulateOverprinting);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1475), &S::nSimulateOverprinting);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1464), nullptr);
    EXPECT_EQ(field(kPsCsFamilyPDF, 1468), nullptr);
}

TEST(PsCsFamilies, PostScriptFirstPagePreparesItsRowsAndTheDefaultOutputs) {
    SPostscriptColorSettings s = AllFullPaths();
    PreparePsCsOnIn(s, kPsCsFamilyPostScript, 0);
    EXPECT_EQ(s.sInputProfileRGBVector, L"RGB.icc");
    EXPECT_EQ(s.sInputProfileCMYKText, L"CMYK.icc");
    EXPECT_EQ(s.sDefaultOutputProfileCMYK, L"out.icc");
    EXPECT_EQ(s.sDefaultOutputProfileRGB, L"outrgb.icc");
    // Gray and Lab are not on this page and keep their paths.
    EXPECT_EQ(s.sInputProfileGrayPixel, L"/far/away/gray.icc");
    EXPECT_EQ(s.sInputProfileLabPixel, L"/far/away/Lab.icc");
}

TEST(PsCsFamilies, GhostscriptFirstPageAlsoPreparesGray) {
    SPostscriptColorSettings s = AllFullPaths();
    PreparePsCsOnIn(s, kPsCsFamilyGhostSep, 0);
    EXPECT_EQ(s.sInputProfileGrayText, L"gray.icc");
    EXPECT_EQ(s.sInputProfileLabPixel, L"/far/away/Lab.icc");
}

TEST(PsCsFamilies, PdfFirstPagePreparesTheTwelveInputFieldsOnly) {
    SPostscriptColorSettings s = AllFullPaths();
    PreparePDFAurelonCsOnIn(s, kPsCsFamilyPDF, 0);
    for (const SPsCsRow* row : kPsCsFamilyPDF.rows)
        for (PsCsStr f : row->files) EXPECT_EQ(s.*f, std::wstring(row->name) + L".icc");
    EXPECT_EQ(s.sDefaultOutputProfileCMYK, L"/far/away/out.icc");
}

TEST(PsCsFamilies, SecondPagesPrepareTheTwoDefaultOutputs) {
    for (const SPsCsFamily* family : kFamilies) {
        SPostscriptColorSettings s = AllFullPaths();
        family->prepare(s, *family, 1);
        EXPECT_EQ(s.sDefaultOutputProfileCMYK, L"out.icc") << family->name;
        EXPECT_EQ(s.sDefaultOutputProfileRGB, L"outrgb.icc") << family->name;
        EXPECT_EQ(s.sInputProfileRGBPixel, L"/far/away/RGB.icc") << family->name;
    }
}

TEST(PsCsFamilies, DialogOfAPageComesFromTheInterpretersDescription) {
    CGlobalContext context;
    SPsPdfInterpreterDesc desc;
    desc.nPageDialog = {501, 502};
    context.SetInterpreterDesc(PsPdfAdobePPE, desc);
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPostScript, PsPdfAdobePPE, 0), 501u);
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPostScript, PsPdfAdobePPE, 1), 502u);
}

TEST(PsCsFamilies, DialogIsZeroWithoutDescriptionOrContext) {
    CGlobalContext context;
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPDF, PsPdfPDF, 0), 0u);
    EXPECT_EQ(PsCsDialogResource(nullptr, kPsCsFamilyPDF, PsPdfPDF, 1), 0u);
}

TEST(PsCsFamilies, InterpreterAnyTakesTheDialogsOfTheFamilysOwn) {
    CGlobalContext context;
    SPsPdfInterpreterDesc ps, gs, pdf;
    ps.nPageDialog = {10, 11};
    gs.nPageDialog = {30, 31};
    pdf.nPageDialog = {40, 41};
    context.SetInterpreterDesc(PsPdfPostScript, ps);
    context.SetInterpreterDesc(PsPdfGhostscriptSep, gs);
    context.SetInterpreterDesc(PsPdfPDF, pdf);
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPostScript, PsPdfAny, 0), 10u);
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyGhostSep, PsPdfAny, 1), 31u);
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPDF, PsPdfAny, 0), 40u);
    // Any other interpreter is looked up as itself.
    EXPECT_EQ(PsCsDialogResource(&context, kPsCsFamilyPDF, PsPdfGhostscriptSep, 0), 30u);
}
