// The ICM back-end over its lcms2 platform, as the factory makes it: real profiles, real
// pixels, compared with lcms2 on the chain the back-end builds; and bad profiles, which end in
// 901 or 904 with nothing left open.
#include <gtest/gtest.h>

#include <memory>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "colorlink/IcmLcmsUtil.h"
#include "colorlink/icm/LcmsIcmPlatform.h"
#include "colorlink/icm/WinColorLink.h"

namespace {

using namespace icmtest;
using namespace linktest;
using kvrtest::CorpusProfile;
using kvrtest::SourcePixels;

constexpr unsigned kPixels = 2048;

std::wstring Corpus(const char* name) {
    return CorpusProfile(name).wstring();
}

// Settings of a test: the colour-profile section with the given lines.
class TestSettings {
public:
    explicit TestSettings(const std::string& lines) : m_dir("kvr-icm-ini") {
        kvrtest::WriteText(m_dir / "kvrcolor.ini",
                           "[" + WideToUtf8(IniCpCMS.section) + "]\n" + lines);
        m_settings = std::make_unique<CUserSettingsMgr>((m_dir / "kvrcolor.ini").wstring());
    }
    CUserSettingsMgr* get() { return m_settings.get(); }

private:
    kvrtest::TempDir m_dir;
    std::unique_ptr<CUserSettingsMgr> m_settings;
};

// The Lab pixels of a Lab-to-CMYK link against lcms2 on the built-in Lab profile and the
// printer; the output bytes come as K, Y, M, C.
void ExpectLabToCmykAgrees(CMdlColorLink& link, const std::wstring& printer, uint32_t intent) {
    const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> got(kPixels * 4);
    link.TrnPixels8(src.data(), got.data(), kPixels);
    RefProfile lab = RefOpen(LabProfileBytes()), cmyk = RefOpen(printer);
    const std::vector<uint8_t> want =
        RefConvert({lab.get(), cmyk.get()}, intent, TYPE_Lab_8, TYPE_CMYK_8, src, kPixels);
    EXPECT_LE(MaxDiff(got, Reversed(want, 4)), 1);
}

class WinColorLinkLcmsTest : public ::testing::Test {
protected:
    ~WinColorLinkLcmsTest() override { EXPECT_EQ(icm.OpenProfileCount(), 0u); }

    kvrtest::TempDir dir{"kvr-icm"};
    CLcmsIcmPlatform icm;
};

TEST_F(WinColorLinkLcmsTest, IniCpCmsTwoGivesTheIcmBackEndAndItsLabToCmykHoldsBothProfiles) {
    TestSettings settings(WideToUtf8(IniCpCMS.key) + "=2\n");
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(settings.get()));
    ASSERT_NE(dynamic_cast<CWinColorLink*>(link.get()), nullptr);
    EXPECT_EQ(link->SupportsGradation(), 0);
    const std::wstring printer = Corpus("default_cmyk.icc");
    ASSERT_EQ(link->AddProfile(printer.c_str(), kPcsToDev, IntentRelative), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(link->GetLinkError(), 0u);
    ExpectLabToCmykAgrees(*link, printer, INTENT_RELATIVE_COLORIMETRIC);
}

TEST_F(WinColorLinkLcmsTest, AnEngineThatCannotBeSelectedStillGivesAWorkingLinkOnTheDefault) {
    TestSettings settings(WideToUtf8(IniCpCMS.key) + "=2\n" + WideToUtf8(IniCpSelectCMM.key) +
                          "=12345\n");
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(settings.get()));
    ASSERT_NE(dynamic_cast<CWinColorLink*>(link.get()), nullptr);
    auto* platform = dynamic_cast<CLcmsIcmPlatform*>(&DefaultIcmPlatform());
    ASSERT_NE(platform, nullptr);
    EXPECT_EQ(platform->SelectedCMM(), 0u);
    const std::wstring printer = Corpus("default_cmyk.icc");
    ASSERT_EQ(link->AddProfile(printer.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    ExpectLabToCmykAgrees(*link, printer, INTENT_PERCEPTUAL);
}

TEST_F(WinColorLinkLcmsTest, RgbPixelsStandBlueFirst) {
    CWinColorLink link(nullptr, 0, icm);
    const std::wstring rgb = Corpus("sRGB.icc"), cmyk = Corpus("default_cmyk.icc");
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link.AddProfile(cmyk.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    const std::vector<uint8_t> bgr = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> got(kPixels * 4);
    link.TrnPixels8(bgr.data(), got.data(), kPixels);
    RefProfile r = RefOpen(rgb), c = RefOpen(cmyk);
    const std::vector<uint8_t> want = RefConvert({r.get(), c.get()}, INTENT_PERCEPTUAL, TYPE_RGB_8,
                                                 TYPE_CMYK_8, Reversed(bgr, 3), kPixels);
    EXPECT_LE(MaxDiff(got, Reversed(want, 4)), 1);
}

TEST_F(WinColorLinkLcmsTest, TrnBgrPixels8ConvertsBlueGreenRedOnBothSides) {
    CWinColorLink link(nullptr, 0, icm);
    const std::wstring a = Corpus("sRGB.icc"), b = Corpus("compatibleWithAdobeRGB1998.icc");
    ASSERT_EQ(link.AddProfile(a.c_str(), kDevToPcs, IntentRelative), 1);
    ASSERT_EQ(link.AddProfile(b.c_str(), kPcsToDev, IntentRelative), 1);
    ASSERT_EQ(link.CreateLink(kFmtRgb, 3, kFmtRgb, 3), 1);
    const std::vector<uint8_t> bgr = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> viaBgr(kPixels * 3), viaTrn(kPixels * 3);
    link.TrnBgrPixels8(bgr.data(), viaBgr.data(), kPixels);
    link.TrnPixels8(bgr.data(), viaTrn.data(), kPixels);
    EXPECT_EQ(viaBgr, viaTrn);
    RefProfile ra = RefOpen(a), rb = RefOpen(b);
    const std::vector<uint8_t> want = RefConvert({ra.get(), rb.get()}, INTENT_RELATIVE_COLORIMETRIC,
                                                 TYPE_RGB_8, TYPE_RGB_8, Reversed(bgr, 3), kPixels);
    EXPECT_LE(MaxDiff(viaBgr, Reversed(want, 3)), 1);
}

TEST_F(WinColorLinkLcmsTest, IntentFiveActsAsRelativeColorimetric) {
    const std::wstring rgb = Corpus("sRGB.icc"), cmyk = Corpus("default_cmyk.icc");
    std::vector<uint8_t> out[2];
    const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
    const enmRenderingIntent intents[2] = {IntentRelativeBpc, IntentRelative};
    for (int i = 0; i < 2; ++i) {
        CWinColorLink link(nullptr, 0, icm);
        ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, intents[i]), 1);
        ASSERT_EQ(link.AddProfile(cmyk.c_str(), kPcsToDev, intents[i]), 1);
        ASSERT_EQ(link.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
        out[i].resize(kPixels * 4);
        link.TrnPixels8(src.data(), out[i].data(), kPixels);
    }
    EXPECT_EQ(out[0], out[1]);
}

TEST_F(WinColorLinkLcmsTest, ABlackPreservingIntentGivesTheSamePixelsAsItsReducedValue) {
    const std::wstring cmyk = Corpus("default_cmyk.icc");
    const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
    for (int keep = IntentPerceptualKeepK; keep <= IntentRelativeBpcKeepPlane; ++keep) {
        std::vector<uint8_t> out[2];
        const enmRenderingIntent intents[2] = {
            enmRenderingIntent(keep), TranslateBlackPreservingRI(enmRenderingIntent(keep))};
        for (int i = 0; i < 2; ++i) {
            CWinColorLink link(nullptr, 0, icm);
            ASSERT_EQ(link.AddProfile(cmyk.c_str(), kPcsToDev, intents[i]), 1);
            ASSERT_EQ(link.CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
            out[i].resize(kPixels * 4);
            link.TrnPixels8(src.data(), out[i].data(), kPixels);
        }
        EXPECT_EQ(out[0], out[1]) << "intent " << keep;
    }
}

TEST_F(WinColorLinkLcmsTest, ADeviceLinkAtTheHeadConvertsAloneAndTheRestIsIgnored) {
    const std::wstring link = WriteProfile(dir, "link.icc", RgbToCmykLink());
    const std::wstring gray = Corpus("Gray.icc");
    CWinColorLink l(nullptr, 0, icm);
    ASSERT_EQ(l.AddProfile(link.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(l.AddProfile(gray.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(l.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    const std::vector<uint8_t> bgr = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> got(kPixels * 4);
    l.TrnPixels8(bgr.data(), got.data(), kPixels);
    RefProfile r = RefOpen(link);
    const std::vector<uint8_t> want = RefConvert({r.get()}, INTENT_PERCEPTUAL, TYPE_RGB_8,
                                                 TYPE_CMYK_8, Reversed(bgr, 3), kPixels);
    EXPECT_LE(MaxDiff(got, Reversed(want, 4)), 1);
}

TEST_F(WinColorLinkLcmsTest, FiveToEightInksAreWrittenInTheProfilesOrder) {
    for (unsigned n = 5; n <= 8; ++n) {
        SCOPED_TRACE(std::to_string(n) + " inks");
        const std::wstring printer =
            WriteProfile(dir, std::to_string(n) + "clr.icc", InkPrinter(n));
        CWinColorLink link(nullptr, 0, icm);
        ASSERT_EQ(link.AddProfile(printer.c_str(), kPcsToDev, IntentPerceptual), 1);
        ASSERT_EQ(link.CreateLink(kFmtLab, 3, kFmtNColor, n), 1);
        const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
        std::vector<uint8_t> got(size_t(kPixels) * n);
        link.TrnPixels8(src.data(), got.data(), kPixels);
        RefProfile lab = RefOpen(LabProfileBytes()), p = RefOpen(printer);
        const cmsUInt32Number inks =
            COLORSPACE_SH(PT_MCH5 + (n - 5)) | CHANNELS_SH(n) | BYTES_SH(1);
        EXPECT_LE(MaxDiff(got, RefConvert({lab.get(), p.get()}, INTENT_PERCEPTUAL, TYPE_Lab_8, inks,
                                          src, kPixels)),
                  1);
    }
}

TEST_F(WinColorLinkLcmsTest, ALinkThatFailedLeavesTheDestinationAsItWas) {
    CWinColorLink link(nullptr, 0, icm);
    const std::wstring cmyk = Corpus("default_cmyk.icc");
    ASSERT_EQ(link.AddProfile(cmyk.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 0);
    const std::vector<uint8_t> src(30, 128);
    std::vector<uint8_t> dst(40, 9);
    link.TrnPixels8(src.data(), dst.data(), 10);
    link.TrnBgrPixels8(src.data(), dst.data(), 10);
    EXPECT_EQ(dst, std::vector<uint8_t>(40, 9));
}

// ---------------------------------------------------------------------------------------------
// Bad profiles.

TEST_F(WinColorLinkLcmsTest, AMissingOrMalformedProfileFailsWith901) {
    const kvrtest::Bytes good = kvrtest::ReadBytes(CorpusProfile("default_cmyk.icc"));
    ASSERT_GT(good.size(), 300u);
    kvrtest::Bytes badMagic = good;
    badMagic[36] ^= 0xFF;
    const std::pair<const char*, kvrtest::Bytes> files[] = {
        {"empty.icc", {}},
        {"short.icc", kvrtest::Bytes(good.begin(), good.begin() + 64)},
        {"magic.icc", badMagic},
        {"text.icc", kvrtest::Bytes(4000, ' ')},
    };
    CWinColorLink link(nullptr, 0, icm);
    const std::wstring missing = (dir / "missing.icc").wstring();
    EXPECT_EQ(link.AddProfile(missing.c_str(), kDevToPcs, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), CMdlColorLink::LinkErrOpenProfile);
    for (const auto& [name, bytes] : files) {
        ASSERT_TRUE(kvrtest::WriteBytes(dir / name, bytes));
        const std::wstring path = (dir / name).wstring();
        EXPECT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 0) << name;
        EXPECT_EQ(link.GetLinkError(), CMdlColorLink::LinkErrOpenProfile) << name;
    }
    EXPECT_EQ(icm.OpenProfileCount(), 0u);
    // Nothing was added: the link has no steps to build.
    EXPECT_EQ(link.CreateLink(kFmtCmyk, 4, kFmtLab, 3), 0);
    EXPECT_EQ(link.GetLinkError(), CMdlColorLink::LinkErrNoTable);
}

TEST_F(WinColorLinkLcmsTest, AProfileWithDamagedTablesFailsWith904AndLeavesNothingOpen) {
    // A printer whose header and tag table are sound but whose tables are not: each table's
    // type signature is overwritten.
    const std::wstring path = WriteProfile(dir, "damaged.icc", CmykPrinter());
    kvrtest::Bytes bytes = kvrtest::ReadBytes(path);
    ASSERT_GT(bytes.size(), 132u);
    auto be = [&](size_t at) {
        return (uint32_t(bytes[at]) << 24) | (uint32_t(bytes[at + 1]) << 16) |
               (uint32_t(bytes[at + 2]) << 8) | bytes[at + 3];
    };
    const uint32_t count = be(128);
    unsigned damaged = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t entry = 132 + 12 * size_t(i);
        const uint32_t sig = be(entry), offset = be(entry + 4);
        if (sig == icSigAToB0Tag || sig == icSigAToB1Tag || sig == icSigBToA0Tag ||
            sig == icSigBToA1Tag) {
            ASSERT_LT(offset + 4, bytes.size());
            std::fill(bytes.begin() + offset, bytes.begin() + offset + 4, 'x');
            ++damaged;
        }
    }
    ASSERT_EQ(damaged, 4u);
    ASSERT_TRUE(kvrtest::WriteBytes(path, bytes));

    for (unsigned out : {kFmtCmyk, kFmtLab}) {
        CWinColorLink link(nullptr, 0, icm);
        ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentPerceptual), 1);
        EXPECT_EQ(link.CreateLink(kFmtLab, 3, out, out == kFmtCmyk ? 4 : 3), 0);
        EXPECT_EQ(link.GetLinkError(), CMdlColorLink::LinkErrNoTable);
        EXPECT_EQ(icm.OpenProfileCount(), 0u);
        EXPECT_EQ(icm.TransformCount(), 0u);
    }
}

TEST_F(WinColorLinkLcmsTest, ALinkDeletedBeforeItWasBuiltLeavesNothingOpen) {
    {
        CWinColorLink link(nullptr, 0, icm);
        const std::wstring a = Corpus("sRGB.icc"), b = Corpus("default_cmyk.icc");
        ASSERT_EQ(link.AddProfile(a.c_str(), kDevToPcs, IntentPerceptual), 1);
        ASSERT_EQ(link.AddProfile(b.c_str(), kPcsToDev, IntentPerceptual), 1);
        EXPECT_EQ(icm.OpenProfileCount(), 2u);
    }
    EXPECT_EQ(icm.OpenProfileCount(), 0u);
}

TEST_F(WinColorLinkLcmsTest, ABuiltLinkHoldsOneTransformAndNoProfile) {
    CWinColorLink link(nullptr, 0, icm);
    const std::wstring cmyk = Corpus("default_cmyk.icc");
    ASSERT_EQ(link.AddProfile(cmyk.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link.CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(icm.OpenProfileCount(), 0u);
    EXPECT_EQ(icm.TransformCount(), 1u);
}

} // namespace
