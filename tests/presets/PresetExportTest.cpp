#include "presets/PresetExport.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/PathUtil.h"
#include "common/TempFileMgr.h"
#include "presets/PSOInputProfiles.h"
#include "presets/PSOPsCs.h"
#include "presets/PSOSimTargetPrinter.h"
#include "presets/PresetTestEnv.h"

namespace {

using namespace presettest;

SPrPgPsCsControl Control(Env& env) {
    SPrPgPsCsControl c;
    c.pContext = env.context.get();
    return c;
}

void NoProfiles(CPSOInputProfiles& p) {
    for (const SPreSetItemDesc* d :
         {&PRS_RgbProfileName, &PRS_CmykProfileName, &PRS_LabProfileName, &PRS_GrayProfileName})
        p.Data().SetItem(*d, L"");
}

TEST(PresetExport, PresetWithoutAnyProfileGetsFlagZeroAndAddsNothing) {
    Env env;
    CPSOInputProfiles in(env.context.get(), 0);
    NoProfiles(in);
    CPSOPsCs ps(Control(env));
    for (IPreSetObj* p : std::initializer_list<IPreSetObj*>{&in, &ps}) {
        RecordingDialog dlg;
        RecordingArchive arch;
        p->CheckExportOptions(&dlg);
        p->OnExportTo(&arch);
        EXPECT_EQ(dlg.flag, 0);
        EXPECT_TRUE(arch.added.empty());
    }
}

TEST(PresetExport, AnyProfileGivesFlagOne) {
    Env env;
    CPSOInputProfiles in(env.context.get(), 0);
    NoProfiles(in);
    in.Data().SetItem(PRS_GrayProfileName, L"g.icc");
    RecordingDialog d1;
    in.CheckExportOptions(&d1);
    EXPECT_EQ(d1.flag, 1);
    CPSOPsCs ps(Control(env));
    ps.Data().sDefaultOutputProfileRGB = L"r.icc";
    RecordingDialog d2;
    ps.CheckExportOptions(&d2);
    EXPECT_EQ(d2.flag, 1);
}

TEST(PresetExport, WithTheArchivesFirstFlagClearedNothingIsAdded) {
    Env env;
    CPSOInputProfiles in(env.context.get(), 0);
    in.Data().SetItem(PRS_RgbProfileName, L"a.icc");
    CPSOPsCs ps(Control(env));
    ps.Data().sInputProfileRGBText = L"a.icc";
    RecordingArchive arch;
    arch.options.bExportProfiles = 0;
    in.OnExportTo(&arch);
    ps.OnExportTo(&arch);
    EXPECT_TRUE(arch.added.empty());
}

TEST(PresetExport, InputProfilePresetWithAllFourNamesAddsExactlyFourFiles) {
    Env env;
    CPSOInputProfiles in(env.context.get(), 0);
    in.Data().SetItem(PRS_RgbProfileName, L"r.icc");
    in.Data().SetItem(PRS_CmykProfileName, L"c.icc");
    in.Data().SetItem(PRS_LabProfileName, L"l.icc");
    in.Data().SetItem(PRS_GrayProfileName, L"g.icc");
    RecordingArchive arch;
    in.OnExportTo(&arch);
    ASSERT_EQ(arch.added.size(), 4u);
    EXPECT_EQ(arch.added[0], std::make_pair(2, env.In(L"InputRgb", L"r.icc")));
    EXPECT_EQ(arch.added[1], std::make_pair(3, env.In(L"InputCmyk", L"c.icc")));
    EXPECT_EQ(arch.added[2], std::make_pair(4, env.In(L"InputLab", L"l.icc")));
    EXPECT_EQ(arch.added[3], std::make_pair(9, env.In(L"InputGray", L"g.icc")));
}

TEST(PresetExport, PostScriptPresetWithALabVectorProfileAddsTheBareNameWithDestinationFour) {
    Env env;
    CPSOPsCs ps(Control(env));
    ps.Data().sInputProfileLabVector = env.In(L"InputLab", L"lab.icc");
    RecordingArchive arch;
    ps.OnExportTo(&arch);
    ASSERT_EQ(arch.added.size(), 1u);
    EXPECT_EQ(arch.added[0], std::make_pair(4, std::wstring(L"lab.icc")));
}

TEST(PresetExport, InterpreterPresetAddsItsFieldsInTheStatedOrder) {
    Env env;
    CPSOGhostSepCs gs(Control(env));
    for (const SPsCsField& f : PsCsFields())
        if (f.textField) gs.Data().*f.textField = std::wstring(f.tag) + L".icc";
    RecordingArchive arch;
    gs.OnExportTo(&arch);
    std::vector<int> dests;
    for (const auto& a : arch.added) dests.push_back(a.first);
    EXPECT_EQ(dests, (std::vector<int>{2, 2, 2, 3, 3, 3, 7, 8, 4, 4, 4, 9, 9, 9}));
    EXPECT_EQ(arch.added[0].second, env.In(L"InputRgb", L"InputProfileRGBVector.icc"));
    EXPECT_EQ(arch.added[6].second, env.In(L"Printer", L"DefaultOutputProfileCMYK.icc"));
    EXPECT_EQ(arch.added[7].second, env.In(L"Printer\\RGB", L"DefaultOutputProfileRGB.icc"));
    EXPECT_EQ(arch.added[11].second, L"InputProfileGrayVector.icc");
}

TEST(PresetExport, FieldWithATemporaryFilesPathIsExportedFromTheStandardFolder) {
    Env env;
    const std::wstring temp = BuildFileName(CTempFileMgr::TempFolder(), L"~kvrjob.icc");
    CPSOPsCs ps(Control(env));
    ps.Data().sInputProfileCMYKPixel = temp;
    RecordingArchive arch;
    ps.OnExportTo(&arch);
    ASSERT_EQ(arch.added.size(), 1u);
    EXPECT_EQ(arch.added[0], std::make_pair(3, env.In(L"InputCmyk", L"~kvrjob.icc")));
}

TEST(PresetExport, SimulationTargetExportsNothingAndLeavesTheDialogAlone) {
    Env env;
    CPSOSimTargetPrinter st(env.context.get());
    st.Data().m_sProfileName = L"x.icc";
    RecordingDialog dlg;
    RecordingArchive arch;
    st.CheckExportOptions(&dlg);
    st.OnExportTo(&arch);
    EXPECT_EQ(dlg.flag, -1);
    EXPECT_TRUE(arch.added.empty());
}

// From one base folder to an empty second one, through a zip file.
TEST(PresetExport, ExportAndImportIntoAnEmptySecondBaseFolder) {
    Env from, to;
    from.PutProfile("InputRgb/rgb.icc", "RGB");
    from.PutProfile("InputCmyk/cmyk.icc", "CMYK");
    from.PutProfile("InputLab/lab.icc", "LAB");
    from.PutProfile("InputGray/gray.icc", "GRAY");
    from.PutProfile("Printer/out.icc", "OUT");
    from.PutProfile("Printer/RGB/outrgb.icc", "OUTRGB");
    CPSOPsCs a(Control(from));
    a.Data().sInputProfileRGBVector = from.In(L"InputRgb", L"rgb.icc");
    a.Data().sInputProfileCMYKText = from.In(L"InputCmyk", L"cmyk.icc");
    a.Data().sInputProfileLabPixel = from.In(L"InputLab", L"lab.icc");
    a.Data().sInputProfileGrayPixel = from.In(L"InputGray", L"gray.icc");
    a.Data().sDefaultOutputProfileCMYK = from.In(L"Printer", L"out.icc");
    a.Data().sDefaultOutputProfileRGB = from.In(L"Printer\\RGB", L"outrgb.icc");
    a.Data().nUseOIPAsSimProf = 1;
    std::unique_ptr<CPreSetObjStoreFile> store(
        CPSOFactoryPsCs::CreatePSOStore(from.usm.get(), nullptr));
    ASSERT_EQ(store->Save(L"Office", &a), 1);

    CPSOPsCs stored(Control(from));
    ASSERT_EQ(store->Load(L"Office", &stored), 1);
    CKvZipExport exp(from.Base());
    ASSERT_EQ(ExportPreset(stored, kExtPsCs, L"Office", exp), 1);
    EXPECT_TRUE(exp.Missing().empty());
    const std::wstring zip = W(from.dir / "office.zip");
    ASSERT_EQ(exp.Write(zip.c_str()), 1) << WideToUtf8(exp.GetLastError());

    CKvZipImport imp;
    ASSERT_EQ(imp.Open(zip.c_str()), 1) << WideToUtf8(imp.GetLastError());
    CPSOPsCs probe(Control(to));
    std::wstring error;
    ASSERT_EQ(ImportPreset(imp, probe, to.Base(), W(to.presets), nullptr, error), 1)
        << WideToUtf8(error);
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputRgb/rgb.icc"), "RGB");
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputCmyk/cmyk.icc"), "CMYK");
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputLab/lab.icc"), "LAB");
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputGray/gray.icc"), "GRAY");
    EXPECT_EQ(kvrtest::ReadText(to.base / "Printer/out.icc"), "OUT");
    EXPECT_EQ(kvrtest::ReadText(to.base / "Printer/RGB/outrgb.icc"), "OUTRGB");

    // The preset loads there and equals the original, with the new base's paths.
    std::unique_ptr<CPreSetObjStoreFile> toStore(
        CPSOFactoryPsCs::CreatePSOStore(to.usm.get(), nullptr));
    CPSOPsCs back(Control(to));
    ASSERT_EQ(toStore->Load(L"Office", &back), 1);
    EXPECT_EQ(back.Data().sDefaultOutputProfileRGB, to.In(L"Printer\\RGB", L"outrgb.icc"));
    CPSOPsCs expected(Control(to));
    expected.Data() = static_cast<SPostscriptColorSettings&>(a.Data());
    ExpandPsColorProfilePaths(expected.Data(), to.usm.get());
    EXPECT_EQ(back.DataMatch(&expected), 1);
}

TEST(PresetExport, InputProfilePresetTravelsWithItsProfiles) {
    Env from, to;
    from.PutProfile("InputRgb/r.icc", "R");
    from.PutProfile("InputGray/g.icc", "G");
    CPSOInputProfiles a(from.context.get(), 0);
    NoProfiles(a);
    a.Data().SetItem(PRS_RgbProfileName, L"r.icc");
    a.Data().SetItem(PRS_GrayProfileName, L"g.icc");
    a.Data().SetItem(PRS_GrayRenderingIntent, 3);
    CKvZipExport exp(from.Base());
    ASSERT_EQ(ExportPreset(a, kExtInputProfiles, L"Photo", exp), 1);
    const std::wstring zip = W(from.dir / "photo.zip");
    ASSERT_EQ(exp.Write(zip.c_str()), 1);
    CKvZipImport imp;
    ASSERT_EQ(imp.Open(zip.c_str()), 1);
    CPSOInputProfiles probe(to.context.get(), 0);
    std::wstring error;
    ASSERT_EQ(ImportPreset(imp, probe, to.Base(), W(to.presets), nullptr, error), 1);
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputRgb/r.icc"), "R");
    EXPECT_EQ(kvrtest::ReadText(to.base / "InputGray/g.icc"), "G");
    CPSOInputProfiles back(to.context.get(), 0);
    ASSERT_EQ(back.LoadFromName(W(to.presets / "Photo.InputProfiles").c_str()), 1);
    for (const SPreSetItemDesc* d : a.Data().Items()) {
        std::wstring x, y;
        EXPECT_EQ(a.Data().Lookup(*d, x), back.Data().Lookup(*d, y));
        EXPECT_EQ(x, y) << WideToUtf8(d->name);
    }
}

TEST(PresetExport, ImportRefusesAPresetOfAnotherKindAndWritesNothing) {
    Env from, to;
    from.PutProfile("InputRgb/r.icc", "R");
    CPSOInputProfiles a(from.context.get(), 0);
    NoProfiles(a);
    a.Data().SetItem(PRS_RgbProfileName, L"r.icc");
    CKvZipExport exp(from.Base());
    ASSERT_EQ(ExportPreset(a, kExtInputProfiles, L"Photo", exp), 1);
    const std::wstring zip = W(from.dir / "photo.zip");
    ASSERT_EQ(exp.Write(zip.c_str()), 1);
    CKvZipImport imp;
    ASSERT_EQ(imp.Open(zip.c_str()), 1);
    CPSOPsCs wrongKind(Control(to));
    std::wstring error;
    EXPECT_EQ(ImportPreset(imp, wrongKind, to.Base(), W(to.presets), nullptr, error), 0);
    EXPECT_NE(error.find(L"another kind"), std::wstring::npos) << WideToUtf8(error);
    EXPECT_FALSE(fs::exists(to.base));
    EXPECT_FALSE(fs::exists(to.presets));
}

} // namespace
