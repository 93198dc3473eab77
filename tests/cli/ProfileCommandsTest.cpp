// kvrcolor dump and kvrcolor info.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "CliSupport.h"
#include "base/Digest.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "icc/IccDump.h"
#include "icc/IccProfileGen.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

class ProfileCommandsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

// The library's text of a loaded profile: header, table, then each entry's tag.
std::string LibraryDump(const std::string& path) {
    CUserSettingsMgr settings;
    CIccProfileRead p(&settings);
    EXPECT_TRUE(p.Open(Utf8ToWide(path).c_str())) << path;
    std::wstring text = DumpHeader(p) + DumpTagTable(p);
    for (unsigned i = 0; i < p.GetCount(); ++i)
        text += DumpTagData(p.GetTagData(i), p.Tag(i), p.GetTagDataSize(i));
    return WideToUtf8(text);
}

// Offsets differ between a generated profile (counted from the end of the table) and the same
// profile read from its file (counted from the start of the file); everything else is equal.
std::string WithoutOffsets(const std::string& text) {
    std::string result;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        end = end == std::string::npos ? text.size() : end + 1;
        std::string line = text.substr(at, end - at);
        for (const std::string head : {"--- tag at offset ", "offset           "})
            if (line.rfind(head, 0) == 0) {
                const size_t number = line.find_first_not_of("0123456789abcdefx", head.size());
                line = head + "?" + line.substr(number);
            }
        result += line;
        at = end;
    }
    return result;
}

TEST_F(ProfileCommandsTest, DumpOfAGeneratedProfileEqualsTheLibraryText) {
    CUserSettingsMgr settings;
    CIccProfileGen1 gen(&settings);
    gen.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, 1);
    gen.AddProfileDescriptionTag("Dump test");
    gen.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    gen.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
    gen.AddCurveTag(icSigGrayTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(1.8), 5);
    const std::string path = work / "dump.icc";
    ASSERT_TRUE(gen.OnSaveDocument(Utf8ToWide(path).c_str()));

    const RunResult r = RunCli({"dump", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, LibraryDump(path));
    EXPECT_EQ(WithoutOffsets(r.out), WithoutOffsets(WideToUtf8(gen.DumpText())));
    EXPECT_EQ(r.out.rfind("---icHeader---\r\n", 0), 0u);
    EXPECT_NE(r.out.find("sig              desc\r\nStructure containing invariant"),
              std::string::npos);
    EXPECT_NE(r.out.find("Dump test\r\n"), std::string::npos);
}

TEST_F(ProfileCommandsTest, DumpOfTableProfilesEqualsTheLibraryText) {
    for (const auto& path : {s_p.cmyk, s_p.gray, s_p.six}) {
        const RunResult r = RunCli({"dump", path});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.out, LibraryDump(path)) << path;
        const char* type =
            path == s_p.gray ? "type             curv\r\n" : "type             mft2\r\n";
        EXPECT_NE(r.out.find(type), std::string::npos) << path;
    }
}

TEST_F(ProfileCommandsTest, DumpOfAMissingOrBadFile) {
    RunResult r = RunCli({"dump", work / "none.icc"});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(r.err, "kvrcolor: " + work.File("none.icc") + ": no such profile file\n");
    EXPECT_EQ(r.out, "");
    WriteBytes(work / "bad.icc", std::vector<uint8_t>(300, 7));
    r = RunCli({"dump", work / "bad.icc"});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(r.err, "kvrcolor: " + work.File("bad.icc") +
                         ": not an ICC profile (no profile signature 'acsp' at byte 36)\n");
}

// The lines of `text` that start with `label`, the label removed and the value trimmed.
std::string Field(const std::string& text, const std::string& label) {
    const size_t at = text.find("\n" + label);
    const size_t start = at == std::string::npos ? (text.rfind(label, 0) == 0 ? 0 : at) : at + 1;
    if (start == std::string::npos) return "<missing " + label + ">";
    size_t from = start + label.size();
    while (from < text.size() && text[from] == ' ') ++from;
    return text.substr(from, text.find('\n', from) - from);
}

TEST_F(ProfileCommandsTest, InfoSummarisesAProfile) {
    const RunResult r = RunCli({"info", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(Field(r.out, "File:"), s_p.cmyk);
    EXPECT_EQ(Field(r.out, "Class:"), "prtr (output device)");
    EXPECT_EQ(Field(r.out, "Colour space:"), "CMYK");
    EXPECT_EQ(Field(r.out, "Connection space:"), "Lab");
    EXPECT_EQ(Field(r.out, "Version:"), "2.0.0");
    EXPECT_EQ(Field(r.out, "Description:"), "Test CMYK printer");
    // 63190, 65536, 54061 in s15Fixed16, times 100.
    EXPECT_EQ(Field(r.out, "Media white:"), "X 96.42  Y 100.00  Z 82.49");
    EXPECT_EQ(Field(r.out, "Rendering intent:"), "0 (perceptual)");

    CUserSettingsMgr settings;
    CIccProfileRead p(&settings);
    ASSERT_TRUE(p.Open(Utf8ToWide(s_p.cmyk).c_str()));
    EXPECT_EQ(Field(r.out, "MD5:"), WideToUtf8(p.GetProfileMD5String()) + " (computed)");
    CMD5Digest digest;
    const auto bytes = ReadBytes(s_p.cmyk);
    digest.Update(bytes.data(), bytes.size());
    EXPECT_EQ(Field(r.out, "MD5:"), WideToUtf8(digest.AsString()) + " (computed)"); // the file's

    EXPECT_EQ(Field(r.out, "Tags:"), std::to_string(p.GetCount()));
    for (unsigned i = 0; i < p.GetCount(); ++i) {
        const icTag& tag = p.Tag(i);
        char sig[5] = {char(tag.sig >> 24), char(tag.sig >> 16), char(tag.sig >> 8), char(tag.sig),
                       0};
        char line[96];
        std::snprintf(line, sizeof line, "%s  %-4s  %10u bytes", sig,
                      std::string(sig) == "desc"   ? "desc"
                      : std::string(sig) == "cprt" ? "text"
                      : std::string(sig) == "wtpt" ? "XYZ"
                                                   : "mft2",
                      tag.size);
        EXPECT_NE(r.out.find(line), std::string::npos) << line << " in\n" << r.out;
    }
}

TEST_F(ProfileCommandsTest, InfoOfAVersionFourProfileReadsItsMultiLanguageDescription) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    const std::string path = kvrtest::CorpusProfile("colord-sRGB.icc").string();
    const RunResult r = RunCli({"info", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Field(r.out, "Version:").substr(0, 2), "4.");
    EXPECT_EQ(Field(r.out, "Class:"), "mntr (display)");
    EXPECT_EQ(Field(r.out, "Colour space:"), "RGB");
    EXPECT_EQ(Field(r.out, "Connection space:"), "XYZ");
    EXPECT_EQ(Field(r.out, "Description:"), "sRGB");
}

TEST_F(ProfileCommandsTest, InfoShowsTheHeadersProfileIdAndTheComputedMd5EachLabelled) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    const std::string path = kvrtest::CorpusProfile("colord-sRGB.icc").string();
    const auto bytes = ReadBytes(path);
    std::string id;
    for (size_t i = 84; i < 100; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", bytes[i]);
        id += hex;
    }
    ASSERT_NE(id, std::string(32, '0')); // the corpus profile states its ID
    const RunResult r = RunCli({"info", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Field(r.out, "Profile ID:"), id + " (from the header)");
    const std::string md5 = Field(r.out, "MD5:");
    ASSERT_EQ(md5.size(), 32 + std::string(" (computed)").size()) << md5;
    EXPECT_EQ(md5.substr(32), " (computed)");
}

TEST_F(ProfileCommandsTest, InfoTakesSeveralFiles) {
    const RunResult r = RunCli({"info", s_p.cmyk, s_p.rgb});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("File:             " + s_p.cmyk + "\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("File:             " + s_p.rgb + "\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Test CMYK printer"), std::string::npos);
    EXPECT_LT(r.out.find(s_p.cmyk), r.out.find(s_p.rgb)); // in the order given
}

TEST_F(ProfileCommandsTest, InfoOfAnImageDescribesTheProfileEmbeddedInIt) {
    TiffSpec spec;
    spec.icc = ReadBytes(s_p.rgb);
    WriteTiff(work / "tagged.tif", spec, TestSamples(spec.SampleCount(), 8, 301));
    const RunResult r = RunCli({"info", work / "tagged.tif"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Field(r.out, "File:").rfind((work / "tagged.tif").string() + " (embedded", 0), 0u)
        << r.out;
    EXPECT_EQ(Field(r.out, "Colour space:"), "RGB");
    EXPECT_EQ(Field(r.out, "Size:"), std::to_string(spec.icc.size()) + " bytes");

    WriteTiff(work / "bare.tif", TiffSpec{}, TestSamples(TiffSpec{}.SampleCount(), 8, 302));
    const RunResult none = RunCli({"info", work / "bare.tif"});
    EXPECT_EQ(none.code, 4);
    EXPECT_NE(none.err.find("no embedded profile"), std::string::npos) << none.err;
}

} // namespace
