#include "presets/PsColorSettings.h"

#include <gtest/gtest.h>

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "common/TempFileMgr.h"
#include "presets/PresetTestEnv.h"

namespace {

using namespace presettest;

TEST(PsColorSettings, SectionsOfTheInterpreters) {
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfPostScript), IniPostscriptOptions);
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfAdobePPE), L"AdobePPEOptions");
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfGhostscriptSep), L"GhostsciptSeparationOptions");
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfPDF), L"AurelonPDFOptions");
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfPDFVariant), L"DummyOptions");
    EXPECT_STREQ(PsColorDefaultsSection(PsPdfAny), L"DummyOptions");
    EXPECT_STREQ(PsColorDefaultsSection(static_cast<ePsPdfInterpreter>(1)), L"DummyOptions");
    EXPECT_STREQ(PsColorDefaultsSection(static_cast<ePsPdfInterpreter>(77)), L"DummyOptions");
}

TEST(PsColorSettings, InterpreterOneReadsItsDefaultsFromTheSectionDummyOptions) {
    Env env("[DummyOptions]\nTreatGrayAsRgb=1\nRI_GrayText=3\nInputProfileGrayText=g.icc\n"
            "[PostscriptOptions]\nTreatGrayAsRgb=0\nRI_GrayText=2\n");
    SPostscriptColorSettings s;
    LoadPsColorDefaults(s, static_cast<ePsPdfInterpreter>(1), env.usm.get());
    EXPECT_EQ(s.nTreatGrayAsRgb, 1);
    EXPECT_EQ(s.nRI_GrayText, 3);
    EXPECT_EQ(s.sInputProfileGrayText, env.In(L"InputGray", L"g.icc"));
    SPostscriptColorSettings p;
    LoadPsColorDefaults(p, PsPdfPostScript, env.usm.get());
    EXPECT_EQ(p.nTreatGrayAsRgb, 0);
    EXPECT_EQ(p.nRI_GrayText, 2);
}

TEST(PsColorSettings, MissingKeysGiveTheEntriesDefaultsAndTheOptionIsNotRead) {
    Env env("[GhostsciptSeparationOptions]\nInterpreter5Option=1\nSimulateOverprinting=0\n");
    SPostscriptColorSettings s;
    s.nInterpreter5Option = 4;
    s.nUseEmbedRgbText = 9;
    LoadPsColorDefaults(s, PsPdfGhostscriptSep, env.usm.get());
    EXPECT_EQ(s.nInterpreter5Option, 4);
    EXPECT_EQ(s.nSimulateOverprinting, 0);
    EXPECT_EQ(s.nUseEmbedRgbText, 1);
    EXPECT_EQ(s.nAfterIntermediateOutputProfileRI, 2);
    EXPECT_EQ(s.sInputProfileRGBVector, L"");
}

TEST(PsColorSettings, NothingIsReadWithoutSettings) {
    SPostscriptColorSettings s;
    s.nUseNCReplacement = 5;
    LoadPsColorDefaults(s, PsPdfPostScript, nullptr);
    EXPECT_EQ(s.nUseNCReplacement, 5);
}

TEST(PsColorSettings, ExpandingMovesAForeignFolderToTheStandardOne) {
    Env env;
    SPostscriptColorSettings s;
    s.sInputProfileCMYKVector = L"/elsewhere/entirely/coated.icc";
    s.sDefaultOutputProfileCMYK = L"printer.icc";
    s.sDefaultOutputProfileRGB = L"C:\\Windows\\rgb.icc";
    ExpandPsColorProfilePaths(s, env.usm.get());
    EXPECT_EQ(s.sInputProfileCMYKVector, env.In(L"InputCmyk", L"coated.icc"));
    EXPECT_EQ(s.sDefaultOutputProfileCMYK, env.In(L"Printer", L"printer.icc"));
    EXPECT_EQ(s.sDefaultOutputProfileRGB, env.In(L"Printer/RGB", L"rgb.icc"));
    EXPECT_EQ(s.sInputProfileRGBPixel, L""); // empty stays empty
}

TEST(PsColorSettings, TemporaryFilesKeepTheirPathOnExpandingButNotOnReducing) {
    Env env;
    const std::wstring temp = BuildFileName(CTempFileMgr::TempFolder(), L"~kvrjob.icc");
    SPostscriptColorSettings s;
    s.sInputProfileLabPixel = temp;
    ExpandPsColorProfilePaths(s, env.usm.get());
    EXPECT_EQ(s.sInputProfileLabPixel, temp);
    ReducePsColorProfilePaths(s);
    EXPECT_EQ(s.sInputProfileLabPixel, L"~kvrjob.icc");
}

} // namespace
