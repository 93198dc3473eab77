// The link interface, back-end selection and the native pixel loops.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "colorlink/native/ColorLink.h"

namespace {

// A temporary INI file holding the given lines; removed at the end of the test.
class TempIni {
public:
    explicit TempIni(const std::string& text) {
        path_ =
            std::filesystem::temp_directory_path() /
            ("kvr_link_" + std::to_string(::getpid()) + "_" + std::to_string(counter_++) + ".ini");
        Write(text);
    }
    ~TempIni() { std::filesystem::remove(path_); }
    void Write(const std::string& text) const { std::ofstream(path_) << text; }
    std::wstring Path() const { return path_.wstring(); }

private:
    static inline int counter_ = 0;
    std::filesystem::path path_;
};

// A 16-bit table stand-in: records the last input and answers fixed outputs.
class RecordingFunc : public CFunc_16TabBaseMft {
public:
    RecordingFunc(unsigned in, std::vector<uint16_t> answer)
        : CFunc_16TabBaseMft(in, unsigned(answer.size())), answer_(std::move(answer)) {}
    void InitMftTrn() override {}
    CFunc_16TabBaseMft* CreateClone() const override { return nullptr; }
    int Trn(const uint16_t* in, uint16_t* out) const override {
        last_.assign(in, in + inputChan());
        ++calls_;
        std::copy(answer_.begin(), answer_.end(), out);
        return 1;
    }
    mutable std::vector<uint16_t> last_;
    mutable int calls_ = 0;
    std::vector<uint16_t> answer_;
};

// Gives the pixel loops a table of our own, as the link build does.
class LinkWithTable : public CColorLink {
public:
    LinkWithTable(std::unique_ptr<CFunc_16TabBaseMft> table, unsigned inFmt, unsigned nIn,
                  unsigned outFmt, unsigned nOut)
        : CColorLink(nullptr) {
        CreateLink(LinkFmtNColor, nIn, LinkFmtNColor, nIn); // store the counts
        CreateLink(inFmt, nIn, outFmt, nOut);
        SetTable16(std::move(table));
    }
};

constexpr unsigned kNColor = CMdlColorLink::LinkFmtNColor;

} // namespace

TEST(BackEndSelection, CmsValues0135AndOthersGiveTheNativeBackEnd) {
    TempIni ini("");
    CUserSettingsMgr settings(ini.Path().c_str());
    for (int cms : {0, 1, 3, 5, 99, -1}) {
        ini.Write("[" + WideToUtf8(IniCpCMS.section) + "]\n" + WideToUtf8(IniCpCMS.key) + "=" +
                  std::to_string(cms) + "\n");
        ASSERT_EQ(settings.GetInt(IniCpCMS), cms);
        std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(&settings));
        ASSERT_NE(link, nullptr);
        EXPECT_NE(dynamic_cast<CColorLink*>(link.get()), nullptr) << "IniCpCMS " << cms;
        EXPECT_EQ(link->SupportsGradation(), 0);
    }
}

TEST(BackEndSelection, ANewLinkStartsEmptyWithoutError) {
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(nullptr));
    EXPECT_EQ(link->GetLinkError(), 0u);
    EXPECT_EQ(link->nInChannels(), 0u);
    EXPECT_EQ(link->nOutChannels(), 0u);
    EXPECT_EQ(link->InFormat(), 0u);
    EXPECT_EQ(link->OutFormat(), 0u);
}

TEST(BackEndSelection, GridSizesComeFromTheRipSettingsOfTheFirstLink) {
    TempIni ini("[" + WideToUtf8(IniClpColorLink3.section) + "]\n" +
                WideToUtf8(IniClpColorLink3.key) + "=-21\n" + WideToUtf8(IniClpColorLink4.key) +
                "=13\n");
    ASSERT_EQ(IniClpColorLink3.section, std::wstring(IniClpColorLink4.section));
    const char* old = std::getenv("KVR_INI");
    std::string saved = old ? old : "";
    setenv("KVR_INI", WideToUtf8(ini.Path()).c_str(), 1);
    CColorLink::s_nGrid3 = 0;
    CColorLink::s_nGrid4 = 0;
    { CColorLink link(nullptr); }
    EXPECT_EQ(CColorLink::s_nGrid3, -21);
    EXPECT_EQ(CColorLink::s_nGrid4, 13);
    // Once set, a later change of the file does not reach them.
    ini.Write("[" + WideToUtf8(IniClpColorLink3.section) + "]\n" +
              WideToUtf8(IniClpColorLink3.key) + "=40\n");
    { CColorLink link(nullptr); }
    EXPECT_EQ(CColorLink::s_nGrid3, -21);
    if (old)
        setenv("KVR_INI", saved.c_str(), 1);
    else
        unsetenv("KVR_INI");
    CColorLink::s_nGrid3 = CColorLink::s_nGrid4 = 0;
}

TEST(RenderingIntent, BlackPreservingIntentsReduceToTheirPlainValue) {
    const std::array<int, 14> expected = {0, 1, 2, 3, 4, 5, 1, 2, 3, 5, 1, 2, 3, 5};
    for (int i = 0; i < 14; ++i)
        EXPECT_EQ(TranslateBlackPreservingRI(enmRenderingIntent(i)), expected[size_t(i)]) << i;
    EXPECT_EQ(TranslateBlackPreservingRI(enmRenderingIntent(14)), 14);
    EXPECT_EQ(TranslateBlackPreservingRI(enmRenderingIntent(-1)), -1);
}

TEST(NativeLink, ReservedOperationsDoNothing) {
    CColorLink link(nullptr);
    ASSERT_EQ(link.CreateLink(kNColor, 5, kNColor, 5), 1);
    link.Reserved1();
    link.Reserved2();
    EXPECT_EQ(link.GetLinkError(), 0u);
    EXPECT_EQ(link.nInChannels(), 5u);
    EXPECT_EQ(link.InFormat(), kNColor);
    std::array<uint16_t, 5> src = {1, 2, 3, 4, 5}, dst{};
    link.TrnPixels16(src.data(), dst.data(), 1);
    EXPECT_EQ(dst, src);
    EXPECT_EQ(link.AddGradation({}), 0);
}

TEST(NativeLink, EmptyListNColorSixToSixIsAnIdentityLink) {
    CColorLink link(nullptr);
    EXPECT_EQ(link.CreateLink(kNColor, 6, kNColor, 6), 1);
    EXPECT_EQ(link.InFormat(), kNColor);
    EXPECT_EQ(link.OutFormat(), kNColor);
    EXPECT_EQ(link.GetLinkError(), 0u);
}

TEST(NativeLink, EmptyListGamutToGamutIsAnIdentityLink) {
    CColorLink link(nullptr);
    EXPECT_EQ(link.CreateLink(CMdlColorLink::LinkFmtGamut, 1, CMdlColorLink::LinkFmtGamut, 1), 1);
}

TEST(NativeLink, EmptyListWithLabRgbCmykOrGrayFailsWithoutErrorNumber) {
    for (unsigned fmt : {CMdlColorLink::LinkFmtLab, CMdlColorLink::LinkFmtRgb,
                         CMdlColorLink::LinkFmtCmyk, CMdlColorLink::LinkFmtGray}) {
        CColorLink link(nullptr);
        unsigned n = fmt == CMdlColorLink::LinkFmtCmyk   ? 4
                     : fmt == CMdlColorLink::LinkFmtGray ? 1
                                                         : 3;
        EXPECT_EQ(link.CreateLink(fmt, n, fmt, n), 0) << fmt;
        EXPECT_EQ(link.GetLinkError(), 0u);
        EXPECT_EQ(link.InFormat(), 0u);   // formats are stored only on success
        EXPECT_EQ(link.nInChannels(), n); // counts are stored whatever the outcome
    }
}

TEST(NativeLink, EmptyListWithDifferentCountsOrFormatsFails) {
    CColorLink a(nullptr), b(nullptr);
    EXPECT_EQ(a.CreateLink(kNColor, 6, kNColor, 5), 0);
    EXPECT_EQ(b.CreateLink(kNColor, 4, CMdlColorLink::LinkFmtGamut, 4), 0);
}

TEST(NativeLink, IdentityLinkCopiesExactlyInBothWidths) {
    CColorLink link(nullptr);
    ASSERT_EQ(link.CreateLink(kNColor, 7, kNColor, 7), 1);
    std::vector<uint16_t> src16(7 * 100), dst16(7 * 100, 0xBEEF);
    std::vector<uint8_t> src8(7 * 100), dst8(7 * 100, 0xEE);
    for (size_t i = 0; i < src16.size(); ++i) {
        src16[i] = uint16_t(i * 2654435761u >> 7);
        src8[i] = uint8_t(i * 40503u >> 3);
    }
    link.TrnPixels16(src16.data(), dst16.data(), 100);
    link.TrnPixels8(src8.data(), dst8.data(), 100);
    EXPECT_EQ(dst16, src16);
    EXPECT_EQ(dst8, src8);
}

TEST(NativeLink, CountZeroDoesNothing) {
    CColorLink copy(nullptr);
    ASSERT_EQ(copy.CreateLink(kNColor, 3, kNColor, 3), 1);
    auto* table = new RecordingFunc(3, {1, 2, 3, 4});
    LinkWithTable withTable(std::unique_ptr<CFunc_16TabBaseMft>(table), kNColor, 3, kNColor, 4);
    std::array<uint16_t, 4> src16 = {9, 9, 9, 9}, dst16 = {7, 7, 7, 7};
    std::array<uint8_t, 4> src8 = {9, 9, 9, 9}, dst8 = {7, 7, 7, 7};
    for (CColorLink* link : {&copy, static_cast<CColorLink*>(&withTable)}) {
        link->TrnPixels16(src16.data(), dst16.data(), 0);
        link->TrnPixels8(src8.data(), dst8.data(), 0);
        link->TrnBgrPixels8(src8.data(), dst8.data(), 0);
    }
    EXPECT_EQ(dst16, (std::array<uint16_t, 4>{7, 7, 7, 7}));
    EXPECT_EQ(dst8, (std::array<uint8_t, 4>{7, 7, 7, 7}));
    EXPECT_EQ(table->calls_, 0);
}

TEST(NativeLink, NoTableAndDifferentCountsLeavesTheDestination) {
    CColorLink link(nullptr);
    EXPECT_EQ(link.CreateLink(kNColor, 3, kNColor, 4), 0);
    std::array<uint16_t, 8> src16 = {1, 2, 3, 4, 5, 6}, dst16;
    std::array<uint8_t, 8> src8 = {1, 2, 3, 4, 5, 6}, dst8;
    dst16.fill(0x5A5A);
    dst8.fill(0x5A);
    link.TrnPixels16(src16.data(), dst16.data(), 2);
    link.TrnPixels8(src8.data(), dst8.data(), 2);
    for (auto v : dst16) EXPECT_EQ(v, 0x5A5A);
    for (auto v : dst8) EXPECT_EQ(v, 0x5A);
}

TEST(NativeLink, EightBitSamplesAreWidenedBy257AndNarrowedToTheHighByte) {
    auto* table = new RecordingFunc(3, {0xFFFF, 0x12FF, 0x1200, 0x0080});
    LinkWithTable link(std::unique_ptr<CFunc_16TabBaseMft>(table), kNColor, 3, kNColor, 4);
    const std::array<uint8_t, 3> src = {255, 0x12, 0};
    std::array<uint8_t, 4> dst{};
    link.TrnPixels8(src.data(), dst.data(), 1);
    EXPECT_EQ(table->last_, (std::vector<uint16_t>{65535, 0x1212, 0}));
    // The low byte of the table's answer has no influence on the 8-bit result.
    EXPECT_EQ(dst, (std::array<uint8_t, 4>{255, 0x12, 0x12, 0}));
}

TEST(NativeLink, SixteenBitPixelsGoStraightThroughTheTable) {
    auto* table = new RecordingFunc(3, {11, 22});
    LinkWithTable link(std::unique_ptr<CFunc_16TabBaseMft>(table), kNColor, 3, kNColor, 2);
    const std::array<uint16_t, 6> src = {1, 2, 3, 4, 5, 6};
    std::array<uint16_t, 4> dst{};
    link.TrnPixels16(src.data(), dst.data(), 2);
    EXPECT_EQ(table->calls_, 2);
    EXPECT_EQ(table->last_, (std::vector<uint16_t>{4, 5, 6}));
    EXPECT_EQ(dst, (std::array<uint16_t, 4>{11, 22, 11, 22}));
}

TEST(NativeLink, EightBitOutputChannelsBeyondTheTableAreZero) {
    auto* table = new RecordingFunc(3, {0x8000, 0x4000});
    LinkWithTable link(std::unique_ptr<CFunc_16TabBaseMft>(table), kNColor, 3, kNColor, 4);
    const std::array<uint8_t, 6> src = {1, 2, 3, 4, 5, 6};
    std::array<uint8_t, 8> dst;
    dst.fill(0xAA);
    link.TrnPixels8(src.data(), dst.data(), 2);
    EXPECT_EQ(dst, (std::array<uint8_t, 8>{0x80, 0x40, 0, 0, 0x80, 0x40, 0, 0}));
}

TEST(NativeLink, BgrPixelsEvaluateReversedBytesTimes256AndWriteNothing) {
    auto* table = new RecordingFunc(3, {1, 2, 3});
    LinkWithTable link(std::unique_ptr<CFunc_16TabBaseMft>(table), kNColor, 3, kNColor, 3);
    const std::array<uint8_t, 6> src = {0x10, 0x20, 0xFF, 1, 2, 3};
    std::array<uint8_t, 6> dst;
    dst.fill(0x77);
    link.TrnBgrPixels8(src.data(), dst.data(), 2);
    EXPECT_EQ(table->calls_, 2);
    EXPECT_EQ(table->last_, (std::vector<uint16_t>{0x0300, 0x0200, 0x0100}));
    for (auto v : dst) EXPECT_EQ(v, 0x77);
}
