// The transform factories: each gives a link whose pixels equal those of a link built by hand
// with the same steps and formats, on the corpus's installed profiles and on the project's
// default profiles, reads the settings it names, and answers null on every failure path.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "base/IniEntries.h"
#include "base/WideString.h"
#include "colorlink/Factories.h"
#include "colorlink/LinkTestUtil.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "support/SampleLinks.h"
#include "support/TestData.h"

namespace fs = std::filesystem;
using namespace linktest;

namespace {

using LinkPtr = std::unique_ptr<CMdlColorLink>;

struct Step {
    std::wstring path;
    int kind;
    enmRenderingIntent intent;
};

const fs::path kDefaults = fs::path(KVR_BINARY_DIR) / "profiles";

// A link built by hand through the same back-end choice; null if a step or the build fails.
LinkPtr Hand(CUserSettingsMgr* usm, const std::vector<Step>& steps, unsigned inFmt, unsigned nIn,
             unsigned outFmt, unsigned nOut) {
    LinkPtr link(CreateMdlColorLink(usm));
    for (const Step& s : steps)
        if (!link->AddProfile(s.path.c_str(), s.kind, s.intent)) return nullptr;
    if (!link->CreateLink(inFmt, nIn, outFmt, nOut)) return nullptr;
    return link;
}

// Both links give the same formats and the same pixels, 16-bit and 8-bit.
::testing::AssertionResult SamePixels(CMdlColorLink* made, CMdlColorLink* hand) {
    if (!made) return ::testing::AssertionFailure() << "the factory gave no link";
    if (!hand) return ::testing::AssertionFailure() << "the link by hand could not be built";
    if (made->InFormat() != hand->InFormat() || made->OutFormat() != hand->OutFormat() ||
        made->nInChannels() != hand->nInChannels() || made->nOutChannels() != hand->nOutChannels())
        return ::testing::AssertionFailure() << "formats differ";
    constexpr size_t kPixels = 4096;
    const unsigned in = made->nInChannels(), out = made->nOutChannels();
    const auto src16 = kvrtest::SourcePixels<uint16_t>(kPixels, in);
    std::vector<uint16_t> a16(kPixels * out), b16(kPixels * out);
    made->TrnPixels16(src16.data(), a16.data(), kPixels);
    hand->TrnPixels16(src16.data(), b16.data(), kPixels);
    if (a16 != b16) return ::testing::AssertionFailure() << "16-bit pixels differ";
    const auto src8 = kvrtest::SourcePixels<uint8_t>(kPixels, in);
    std::vector<uint8_t> a8(kPixels * out), b8(kPixels * out);
    made->TrnPixels8(src8.data(), a8.data(), kPixels);
    hand->TrnPixels8(src8.data(), b8.data(), kPixels);
    if (a8 != b8) return ::testing::AssertionFailure() << "8-bit pixels differ";
    return ::testing::AssertionSuccess();
}

// Two links that give different 16-bit pixels.
bool Differ(CMdlColorLink* a, CMdlColorLink* b) {
    if (!a || !b) return false;
    constexpr size_t kPixels = 4096;
    const auto src = kvrtest::SourcePixels<uint16_t>(kPixels, a->nInChannels());
    std::vector<uint16_t> x(kPixels * a->nOutChannels()), y(kPixels * b->nOutChannels());
    a->TrnPixels16(src.data(), x.data(), kPixels);
    b->TrnPixels16(src.data(), y.data(), kPixels);
    return x != y;
}

// A profile root of the test's own with the profiles the factories look for, and settings
// pointing at it.
class Factories : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kvrtest::HaveFile(kDefaults / "Printer" / "kvr-cmyk.icc",
                                      "build the target kvrdefaults"));
        for (const char* name : {"sRGB.icc", "default_cmyk.icc", "FOGRA39L_low.icc"})
            ASSERT_TRUE(kvrtest::HaveCorpusProfile(name));
        fs::create_directories(base / "Printer" / "RGB");
        fs::create_directories(base / "InputRgb");
        fs::create_directories(base / "InputCmyk");
        Copy(kDefaults / "Printer" / "kvr-cmyk.icc", "Printer");
        Copy(kDefaults / "InputRgb" / "kvr-srgb.icc", "InputRgb");
        Copy(kvrtest::CorpusProfile("default_cmyk.icc"), "Printer");
        Copy(kvrtest::CorpusProfile("FOGRA39L_low.icc"), "Printer");
        Copy(kvrtest::CorpusProfile("sRGB.icc"), "Printer/RGB");
        Copy(kDefaults / "Printer" / "kvr-cmyk.icc", "InputCmyk");
        ASSERT_TRUE(usm.PutString(IniCpBasePath, base.wstring().c_str()));
        ASSERT_TRUE(usm.PutString(US_MonitorProfile, Corpus("sRGB.icc").c_str()));
    }

    void Copy(const fs::path& from, const std::string& folder) {
        fs::copy_file(from, base / folder / from.filename(), fs::copy_options::overwrite_existing);
    }
    static std::wstring Corpus(const char* name) { return kvrtest::CorpusProfile(name).wstring(); }
    std::wstring Printer(const std::string& name) const {
        return (base / "Printer" / name).wstring();
    }

    // Configures the printer: profile file name, RGB or not, inks.
    void SetPrinter(const std::wstring& profile, bool rgb, const std::wstring& inks = L"1,2,3,0") {
        ASSERT_TRUE(usm.PutString(IniPrnIccProfile, profile.c_str()));
        ASSERT_TRUE(usm.PutInt(IniPrnRgbPrinter, rgb ? 1 : 0));
        ASSERT_TRUE(usm.PutString(IniPrnInks, inks.c_str()));
    }

    // An RGB printer profile without a gamut tag whose B2A0 and B2A1 differ, so that the
    // intent shows in the pixels.
    std::wstring RgbPrinterByIntent() {
        kvrtest::ProfileSpec spec;
        spec.colorSpace = icSigRgbData;
        TableSpec b2a0{.sig = icSigBToA0Tag, .in = 3, .out = 3, .points = 9};
        b2a0.node = [](const double* x, uint16_t* y) {
            for (int c = 0; c < 3; ++c) y[c] = U16(x[c]);
        };
        TableSpec b2a1 = b2a0;
        b2a1.sig = icSigBToA1Tag;
        b2a1.node = [](const double* x, uint16_t* y) {
            // Never at 0 or full scale: inside the gamut everywhere, where B2A0 is not.
            for (int c = 0; c < 3; ++c) y[c] = U16(0.25 + 0.5 * x[(c + 1) % 3]);
        };
        spec.tables = {b2a0, b2a1};
        return WriteProfile(tmp, "Printer/RGB/byintent.icc", spec);
    }

    // A printer of six inks whose header says 6CLR, or CMYK when `cmykHeader`.
    std::wstring SixInkPrinter(bool cmykHeader) {
        kvrtest::ProfileSpec spec;
        spec.colorSpace = cmykHeader ? icSigCmykData : icSig6colorData;
        for (uint32_t sig : {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag}) {
            TableSpec t{.sig = sig, .in = 3, .out = 6, .points = 5};
            t.node = [](const double* x, uint16_t* y) {
                for (int c = 0; c < 6; ++c) y[c] = U16(x[c % 3] * (c + 1) / 6.0);
            };
            spec.tables.push_back(t);
        }
        return WriteProfile(tmp, cmykHeader ? "Printer/six-cmyk.icc" : "Printer/six.icc", spec);
    }

    kvrtest::TempDir tmp{"kvr-factories"};
    fs::path base = tmp.path();
    CPrintUSM usm{(tmp / "kvrcolor.ini").wstring()};
};

const enmRenderingIntent kIntents[] = {IntentPerceptual, IntentRelative, IntentAbsolute,
                                       IntentRelativeBpc};

} // namespace

TEST(FactoryIntents, TranslateBlackPreservingReducesSixToThirteenOnly) {
    const int expected[] = {0, 1, 2, 3, 4, 5, 1, 2, 3, 5, 1, 2, 3, 5, 14};
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(expected[i], TranslateBlackPreservingRI(enmRenderingIntent(i))) << i;
}

TEST_F(Factories, LabToDevEqualsTheLinkByHandOnDefaultAndInstalledPrinters) {
    for (const wchar_t* name : {L"kvr-cmyk.icc", L"default_cmyk.icc", L"FOGRA39L_low.icc"}) {
        SetPrinter(name, false);
        CPrintEnv env(&usm);
        CPrintEnvContext ctx(&env);
        for (enmRenderingIntent intent : kIntents) {
            LinkPtr made(CreateLabToDevTrans(&ctx, intent));
            LinkPtr hand = Hand(&usm, {{Printer(WideToUtf8(name)), kPcsToDev, intent}}, kFmtLab, 3,
                                kFmtCmyk, 4);
            EXPECT_TRUE(SamePixels(made.get(), hand.get())) << WideToUtf8(name) << " " << intent;
        }
    }
}

TEST_F(Factories, LabToDevWithoutIntentUsesTheConfiguredOne) {
    SetPrinter(L"kvr-cmyk.icc", false);
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    LinkPtr made(CreateLabToDevTrans(&ctx));
    LinkPtr rel =
        Hand(&usm, {{Printer("kvr-cmyk.icc"), kPcsToDev, IntentRelative}}, kFmtLab, 3, kFmtCmyk, 4);
    LinkPtr perc = Hand(&usm, {{Printer("kvr-cmyk.icc"), kPcsToDev, IntentPerceptual}}, kFmtLab, 3,
                        kFmtCmyk, 4);
    ASSERT_TRUE(Differ(rel.get(), perc.get()));
    EXPECT_TRUE(SamePixels(made.get(), rel.get()));
}

TEST_F(Factories, BlackPreservingIntentIsPassedOnAsItIs) {
    SetPrinter(L"kvr-cmyk.icc", false);
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    for (int i = 6; i <= 13; ++i) {
        const auto intent = enmRenderingIntent(i);
        LinkPtr made(CreateLabToDevTrans(&ctx, intent));
        LinkPtr hand =
            Hand(&usm, {{Printer("kvr-cmyk.icc"), kPcsToDev, intent}}, kFmtLab, 3, kFmtCmyk, 4);
        EXPECT_TRUE(SamePixels(made.get(), hand.get())) << i;
    }
}

TEST_F(Factories, SixChannelPrinterAsksForNColorSix) {
    const std::wstring six = SixInkPrinter(false);
    SetPrinter(six, false, L"1,2,3,0,4,5");
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    LinkPtr made(CreateLabToDevTrans(&ctx, IntentPerceptual));
    ASSERT_TRUE(made);
    EXPECT_EQ(kFmtNColor, made->OutFormat());
    EXPECT_EQ(6u, made->nOutChannels());
    LinkPtr hand = Hand(&usm, {{six, kPcsToDev, IntentPerceptual}}, kFmtLab, 3, kFmtNColor, 6);
    EXPECT_TRUE(SamePixels(made.get(), hand.get()));
}

TEST_F(Factories, LinkThatCannotBeBuiltGivesNull) {
    // The record tells six inks from the tables, the native link sees the CMYK header: the
    // N-colour output does not fit and the build fails.
    const std::wstring six = SixInkPrinter(true);
    SetPrinter(six, false, L"1,2,3,0,4,5");
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreateLabToDevTrans(&ctx, IntentPerceptual));
}

TEST_F(Factories, DevToLabEqualsTheLinkByHand) {
    for (const wchar_t* name : {L"kvr-cmyk.icc", L"default_cmyk.icc", L"FOGRA39L_low.icc"}) {
        SetPrinter(name, false);
        CPrintEnv env(&usm);
        CPrintEnvContext ctx(&env);
        for (enmRenderingIntent intent : {IntentPerceptual, IntentRelative}) {
            LinkPtr made(CreateDevToLabTrans(&ctx, intent));
            LinkPtr hand = Hand(&usm, {{Printer(WideToUtf8(name)), kDevToPcs, intent}}, kFmtCmyk, 4,
                                kFmtLab, 3);
            EXPECT_TRUE(SamePixels(made.get(), hand.get())) << WideToUtf8(name) << " " << intent;
        }
    }
    // An RGB printer is read as RGB.
    SetPrinter(L"sRGB.icc", true, L"");
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
    LinkPtr made(CreateDevToLabTrans(&ctx));
    const std::wstring rgb = (base / "Printer" / "RGB" / "sRGB.icc").wstring();
    LinkPtr hand = Hand(&usm, {{rgb, kDevToPcs, IntentRelative}}, kFmtRgb, 3, kFmtLab, 3);
    EXPECT_TRUE(SamePixels(made.get(), hand.get()));
}

TEST_F(Factories, MissingPrinterProfileGivesNullBeforeALinkIsMade) {
    SetPrinter(L"missing.icc", false);
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreateLabToDevTrans(&ctx));
    EXPECT_EQ(nullptr, CreateLabToDevTrans(&ctx, IntentRelative));
    EXPECT_EQ(nullptr, CreateDevToLabTrans(&ctx));
    EXPECT_EQ(nullptr, CreateDevToLabTrans(&ctx, IntentRelative));
    EXPECT_EQ(nullptr, CreatePreviewTrans(&ctx));
    EXPECT_EQ(nullptr, CreateGamutTrans(&ctx));
    EXPECT_EQ(nullptr, CreateGamutTrans(&usm, &env, IntentDefault));
    EXPECT_EQ(nullptr, CreatePreviewTransLab(&usm, &env, IntentPerceptual));
    EXPECT_EQ(nullptr, CreateLabToDevTrans(nullptr));
    EXPECT_EQ(nullptr,
              CreatePreviewTransLab(&usm, static_cast<CPrintEnv*>(nullptr), IntentPerceptual));
}

TEST_F(Factories, PrinterProfileOfTheWrongKindGivesNull) {
    // An RGB printer configured with a CMYK profile: the colour space refuses it.
    ASSERT_TRUE(usm.PutString(IniPrnIccProfile, Printer("kvr-cmyk.icc").c_str()));
    ASSERT_TRUE(usm.PutInt(IniPrnRgbPrinter, 1));
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreateLabToDevTrans(&ctx, IntentPerceptual));
    EXPECT_EQ(nullptr, CreateDevToLabTrans(&ctx, IntentPerceptual));
    EXPECT_EQ(nullptr, CreatePreviewTrans(&ctx));
    // A separation printer (the order of the primaries counts) has no colour-managed channel.
    SetPrinter(L"kvr-cmyk.icc", false, L"2,1,3,0");
    CPrintEnv sep(&usm);
    CPrintEnvContext sepCtx(&sep);
    EXPECT_EQ(nullptr, CreateLabToDevTrans(&sepCtx, IntentPerceptual));
}

TEST_F(Factories, ProfileWithoutTheStepsTableGivesNull) {
    // sRGB as a CMYK printer's profile is refused by the space; as an RGB printer it loads, and
    // a generated RGB printer profile without A2B tables fails at the step.
    const std::wstring byIntent = RgbPrinterByIntent();
    SetPrinter(byIntent, true, L"");
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreateDevToLabTrans(&ctx, IntentPerceptual));
}

TEST_F(Factories, GamutOfPrintersWithAGamutTagEqualsTheLinkByHand) {
    for (const wchar_t* name : {L"kvr-cmyk.icc", L"FOGRA39L_low.icc"}) {
        SetPrinter(name, false);
        CPrintEnv env(&usm);
        CPrintEnvContext ctx(&env);
        ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
        LinkPtr made(CreateGamutTrans(&ctx));
        LinkPtr hand = Hand(&usm, {{Printer(WideToUtf8(name)), kGamut, IntentRelative}}, kFmtLab, 3,
                            kFmtGamut, 1);
        EXPECT_TRUE(SamePixels(made.get(), hand.get())) << WideToUtf8(name);
        const std::wstring path = Printer(WideToUtf8(name));
        LinkPtr six(CreateGamutTrans(0, &usm, path.c_str(), IntentPerceptual, env.nDevPrimCols(),
                                     env.DevPrimCols()));
        LinkPtr hand6 = Hand(&usm, {{path, kGamut, IntentPerceptual}}, kFmtLab, 3, kFmtGamut, 1);
        EXPECT_TRUE(SamePixels(six.get(), hand6.get())) << WideToUtf8(name);
    }
}

TEST_F(Factories, GamutOfCmykPrinterWithoutGamutTagIsNull) {
    SetPrinter(L"default_cmyk.icc", false);
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreateGamutTrans(&ctx));
    const std::wstring path = Printer("default_cmyk.icc");
    EXPECT_EQ(nullptr,
              CreateGamutTrans(0, &usm, path.c_str(), IntentPerceptual, 4, env.DevPrimCols()));
}

TEST_F(Factories, GamutOfRgbPrinterWithoutGamutTagUsesItsForwardTable) {
    const std::wstring path = RgbPrinterByIntent();
    LinkPtr made(CreateGamutTrans(1, &usm, path.c_str(), IntentRelative, 0, nullptr));
    ASSERT_TRUE(made);
    LinkPtr hand = Hand(&usm, {{path, kPcsToDev, IntentRelative}}, kFmtLab, 3, kFmtGamut, 1);
    EXPECT_TRUE(SamePixels(made.get(), hand.get()));
    // sRGB, a matrix/shaper profile, as well.
    const std::wstring srgb = (base / "Printer" / "RGB" / "sRGB.icc").wstring();
    LinkPtr made2(CreateGamutTrans(1, &usm, srgb.c_str(), IntentPerceptual, 0, nullptr));
    LinkPtr hand2 = Hand(&usm, {{srgb, kPcsToDev, IntentPerceptual}}, kFmtLab, 3, kFmtGamut, 1);
    EXPECT_TRUE(SamePixels(made2.get(), hand2.get()));
}

TEST_F(Factories, GamutOfRgbProfileWithoutAnyTableIsNull) {
    kvrtest::ProfileSpec bare;
    bare.colorSpace = icSigRgbData;
    const std::wstring path = WriteProfile(tmp, "bare.icc", bare);
    EXPECT_EQ(nullptr, CreateGamutTrans(1, &usm, path.c_str(), IntentPerceptual, 0, nullptr));
    EXPECT_EQ(nullptr, CreateGamutTrans(0, &usm, nullptr, IntentPerceptual, 0, nullptr));
}

TEST_F(Factories, GamutOfThreeArgumentsWithIntentZeroUsesTheConfiguredIntent) {
    const std::wstring path = RgbPrinterByIntent();
    SetPrinter(path, true, L"");
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
    LinkPtr rel = Hand(&usm, {{path, kPcsToDev, IntentRelative}}, kFmtLab, 3, kFmtGamut, 1);
    LinkPtr perc = Hand(&usm, {{path, kPcsToDev, IntentPerceptual}}, kFmtLab, 3, kFmtGamut, 1);
    ASSERT_TRUE(Differ(rel.get(), perc.get()));
    // With the configured printer (no environment given) and with an environment.
    LinkPtr made(CreateGamutTrans(&usm, nullptr, IntentDefault));
    EXPECT_TRUE(SamePixels(made.get(), rel.get()));
    CPrintEnv env(&usm);
    LinkPtr withEnv(CreateGamutTrans(&usm, &env, IntentDefault));
    EXPECT_TRUE(SamePixels(withEnv.get(), rel.get()));
    LinkPtr given(CreateGamutTrans(&usm, &env, IntentPerceptual));
    EXPECT_TRUE(SamePixels(given.get(), perc.get()));
}

TEST_F(Factories, PreviewTransLabWithIntentZeroKeepsZero) {
    SetPrinter(L"kvr-cmyk.icc", false);
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
    const std::wstring path = Printer("kvr-cmyk.icc");
    LinkPtr zero = Hand(&usm, {{path, kPreview, IntentDefault}}, kFmtLab, 3, kFmtLab, 3);
    LinkPtr rel = Hand(&usm, {{path, kPreview, IntentRelative}}, kFmtLab, 3, kFmtLab, 3);
    ASSERT_TRUE(Differ(zero.get(), rel.get()));
    CPrintEnv env(&usm);
    LinkPtr made(CreatePreviewTransLab(&usm, &env, IntentDefault));
    EXPECT_TRUE(SamePixels(made.get(), zero.get()));
    LinkPtr byPath(CreatePreviewTransLab(&usm, path.c_str(), IntentDefault));
    EXPECT_TRUE(SamePixels(byPath.get(), zero.get()));
}

TEST_F(Factories, PreviewTransLabEqualsTheLinkByHand) {
    for (const char* name : {"kvr-cmyk.icc", "default_cmyk.icc", "FOGRA39L_low.icc"}) {
        const std::wstring path = Printer(name);
        for (enmRenderingIntent intent : {IntentPerceptual, IntentRelative}) {
            LinkPtr made(CreatePreviewTransLab(&usm, path.c_str(), intent));
            LinkPtr hand = Hand(&usm, {{path, kPreview, intent}}, kFmtLab, 3, kFmtLab, 3);
            EXPECT_TRUE(SamePixels(made.get(), hand.get())) << name << " " << intent;
        }
    }
    // An RGB profile is checked as RGB; a profile that does not load gives null.
    const std::wstring srgb = (base / "Printer" / "RGB" / "sRGB.icc").wstring();
    LinkPtr made(CreatePreviewTransLab(&usm, srgb.c_str(), IntentPerceptual));
    LinkPtr hand = Hand(&usm, {{srgb, kPreview, IntentPerceptual}}, kFmtLab, 3, kFmtLab, 3);
    EXPECT_TRUE(SamePixels(made.get(), hand.get()));
    EXPECT_EQ(nullptr,
              CreatePreviewTransLab(&usm, Printer("missing.icc").c_str(), IntentPerceptual));
    EXPECT_EQ(nullptr,
              CreatePreviewTransLab(&usm, static_cast<const wchar_t*>(nullptr), IntentPerceptual));
}

TEST_F(Factories, PreviewEqualsTheLinkByHandThroughTheMonitor) {
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentRelative));
    for (const wchar_t* name : {L"kvr-cmyk.icc", L"FOGRA39L_low.icc"}) {
        SetPrinter(name, false);
        CPrintEnv env(&usm);
        CPrintEnvContext ctx(&env);
        LinkPtr made(CreatePreviewTrans(&ctx));
        LinkPtr hand = Hand(&usm,
                            {{Printer(WideToUtf8(name)), kPreview, IntentRelative},
                             {Corpus("sRGB.icc"), kPcsToDev, IntentDefault}},
                            kFmtLab, 3, kFmtRgb, 3);
        EXPECT_TRUE(SamePixels(made.get(), hand.get())) << WideToUtf8(name);
    }
}

TEST_F(Factories, PreviewWithoutMonitorProfileIsNull) {
    SetPrinter(L"kvr-cmyk.icc", false);
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, L""));
    CPrintEnv env(&usm);
    CPrintEnvContext ctx(&env);
    EXPECT_EQ(nullptr, CreatePreviewTrans(&ctx));
    EXPECT_EQ(nullptr, CreateMonitorTrans(&usm));
    EXPECT_EQ(nullptr, CreateMonitorInvTrans(&usm));
}

TEST_F(Factories, MonitorLinksEqualTheLinksByHand) {
    for (const std::wstring& monitor :
         {Corpus("sRGB.icc"), (kDefaults / "InputRgb" / "kvr-srgb.icc").wstring(),
          Corpus("compatibleWithAdobeRGB1998.icc")}) {
        ASSERT_TRUE(usm.PutString(US_MonitorProfile, monitor.c_str()));
        LinkPtr fwd(CreateMonitorTrans(&usm));
        LinkPtr fwdHand = Hand(&usm, {{monitor, kPcsToDev, IntentDefault}}, kFmtLab, 3, kFmtRgb, 3);
        EXPECT_TRUE(SamePixels(fwd.get(), fwdHand.get()));
        LinkPtr inv(CreateMonitorInvTrans(&usm));
        LinkPtr invHand = Hand(&usm, {{monitor, kDevToPcs, IntentDefault}}, kFmtRgb, 3, kFmtLab, 3);
        EXPECT_TRUE(SamePixels(inv.get(), invHand.get()));
    }
}

TEST_F(Factories, DefaultInputLinksReadTheirFoldersFilesAndIntents) {
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"kvr-srgb.icc"));
    ASSERT_TRUE(usm.PutInt(IniCpDefaultRiRgb, IntentRelative));
    ASSERT_TRUE(usm.PutString(IniCpInputCmyk, L"kvr-cmyk.icc"));
    ASSERT_TRUE(usm.PutInt(IniCpDefaultRiCmyk, IntentPerceptual));
    LinkPtr rgb(CreateDefaultRGBInputTrans(&usm));
    LinkPtr rgbHand =
        Hand(&usm, {{(base / "InputRgb" / "kvr-srgb.icc").wstring(), kDevToPcs, IntentRelative}},
             kFmtRgb, 3, kFmtLab, 3);
    EXPECT_TRUE(SamePixels(rgb.get(), rgbHand.get()));
    const std::wstring cmykPath = (base / "InputCmyk" / "kvr-cmyk.icc").wstring();
    LinkPtr cmyk(CreateDefaultCMYKInputTrans(&usm));
    LinkPtr cmykHand =
        Hand(&usm, {{cmykPath, kDevToPcs, IntentPerceptual}}, kFmtCmyk, 4, kFmtLab, 3);
    LinkPtr cmykRel = Hand(&usm, {{cmykPath, kDevToPcs, IntentRelative}}, kFmtCmyk, 4, kFmtLab, 3);
    EXPECT_TRUE(SamePixels(cmyk.get(), cmykHand.get()));
    ASSERT_TRUE(Differ(cmykHand.get(), cmykRel.get()));
}

TEST_F(Factories, DefaultInputWithoutProfileIsNull) {
    // The shipped default names no CMYK source profile.
    ASSERT_TRUE(usm.PutString(IniCpInputCmyk, L""));
    EXPECT_EQ(nullptr, CreateDefaultCMYKInputTrans(&usm));
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"missing.icc"));
    EXPECT_EQ(nullptr, CreateDefaultRGBInputTrans(&usm));
}

TEST_F(Factories, InstalledCmykPrinterProfilesGiveTheLinksByHand) {
    // Printer profiles installed on the machine widen the corpus: the test data of the install
    // script brings ghostscript's CMYK printers, so at least one is there.
    int seen = 0;
    for (const fs::path& p : kvrtest::InstalledProfiles("/usr/share/color")) {
        CIccProfileRead r(nullptr);
        if (!r.Open(p.wstring().c_str())) continue;
        if (r.Header().deviceClass != icSigOutputClass || r.Header().colorSpace != icSigCmykData)
            continue;
        ASSERT_TRUE(usm.PutString(IniPrnIccProfile, p.wstring().c_str()));
        CPrintEnv env(&usm);
        CPrintEnvContext ctx(&env);
        LinkPtr made(CreateLabToDevTrans(&ctx, IntentPerceptual));
        LinkPtr hand =
            Hand(&usm, {{p.wstring(), kPcsToDev, IntentPerceptual}}, kFmtLab, 3, kFmtCmyk, 4);
        if (!hand) {
            EXPECT_EQ(nullptr, made) << p;
            continue;
        }
        EXPECT_TRUE(SamePixels(made.get(), hand.get())) << p;
        if (++seen == 4) break;
    }
    EXPECT_GT(seen, 0) << "no installed CMYK printer profile below /usr/share/color";
}

TEST_F(Factories, FoundDefaultInputIsTheConfiguredFileWhereItExists) {
    Copy(kvrtest::CorpusProfile("sRGB.icc"), "InputRgb"); // "sRGB.icc" sorts after "kvr-..."
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"sRGB.icc"));
    EXPECT_EQ((base / "InputRgb" / "sRGB.icc").wstring(), FindDefaultRGBInputProfile(&usm));
    ASSERT_TRUE(usm.PutString(IniCpInputCmyk, L"kvr-cmyk.icc"));
    EXPECT_EQ((base / "InputCmyk" / "kvr-cmyk.icc").wstring(), FindDefaultCMYKInputProfile(&usm));
}

TEST_F(Factories, FoundDefaultInputFallsBackToTheFirstProfileOfItsFolderByName) {
    Copy(kvrtest::CorpusProfile("sRGB.icc"), "InputRgb");
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"missing.icc"));
    EXPECT_EQ((base / "InputRgb" / "kvr-srgb.icc").wstring(), FindDefaultRGBInputProfile(&usm));
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L""));
    EXPECT_EQ((base / "InputRgb" / "kvr-srgb.icc").wstring(), FindDefaultRGBInputProfile(&usm));
}

TEST_F(Factories, FoundPrinterProfileIsTheFirstProfileOfThePrinterFolder) {
    // default_cmyk.icc, FOGRA39L_low.icc and kvr-cmyk.icc: by name, upper case first.
    EXPECT_EQ(Printer("FOGRA39L_low.icc"), FindDefaultPrinterProfile(&usm));
}

TEST_F(Factories, FoundDefaultIgnoresFilesThatAreNoProfilesAndFoldersWithout) {
    fs::create_directories(base / "InputGray");
    std::ofstream(base / "InputGray" / "notes.txt") << "not a profile";
    EXPECT_EQ(L"", FindDefaultGrayInputProfile(&usm));
    Copy(kvrtest::CorpusProfile("sRGB.icc"), "InputGray");
    fs::rename(base / "InputGray" / "sRGB.icc", base / "InputGray" / "grey.ICM");
    EXPECT_EQ((base / "InputGray" / "grey.ICM").wstring(), FindDefaultGrayInputProfile(&usm));
    fs::remove_all(base / "Printer");
    EXPECT_EQ(L"", FindDefaultPrinterProfile(&usm));
}
