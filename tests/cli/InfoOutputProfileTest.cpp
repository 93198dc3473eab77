// kvrcolor info on output profiles: the description as the profile record gives it, the ink
// limit measured on the profile's own tables and the illuminant and media white as the print
// side reads them; other classes show none of these lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "CliSupport.h"
#include "base/WideString.h"
#include "colorspace/ColorSpaceTestUtil.h"
#include "colorspace/ProfileQueries.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

// The value after `label` on its line, or "<missing>".
std::string Field(const std::string& text, const std::string& label) {
    const size_t at = text.find("\n" + label);
    if (at == std::string::npos) return "<missing>";
    size_t from = at + 1 + label.size();
    while (from < text.size() && text[from] == ' ') ++from;
    return text.substr(from, text.find('\n', from) - from);
}

std::string Xyz(const double* v) {
    char text[96];
    std::snprintf(text, sizeof text, "X %.2f  Y %.2f  Z %.2f", v[0], v[1], v[2]);
    return text;
}

const std::filesystem::path kPress =
    std::filesystem::path(KVR_BINARY_DIR) / "profiles" / "Printer" / "kvr-cmyk.icc";

TEST(InfoOutputProfileTest, OutputProfileShowsMeasuredInkLimitIlluminantAndMediaWhite) {
    ASSERT_TRUE(kvrtest::HaveFile(kPress, "build the target kvrdefaults"));
    const RunResult r = RunCli({"info", kPress.string()});
    ASSERT_EQ(r.code, 0) << r.err;
    const int limit = GetProfileInkLimit(nullptr, kPress.wstring().c_str());
    ASSERT_GT(limit, 0);
    EXPECT_EQ(Field(r.out, "Ink limit:"),
              std::to_string(limit) + " % (highest ink sum of its B2A tables)");
    double white[3], illuminant[3];
    ASSERT_EQ(GetProfileMediaWhite(nullptr, kPress.wstring().c_str(), white, illuminant), 1);
    EXPECT_EQ(Field(r.out, "Media white:"), Xyz(white));
    EXPECT_EQ(Field(r.out, "Illuminant:"), Xyz(illuminant));
    EXPECT_EQ(Field(r.out, "Shown as:"), Field(r.out, "Description:"));
}

TEST(InfoOutputProfileTest, PrivateDescriptionOverridesDescInShownAs) {
    TempDir dir;
    cstest::Gen gen(icSigOutputClass, icSigCmykData);
    gen.AddProfileDescriptionTag("from desc");
    gen.AddTextTag(icTagSignature(icSigTvr3Tag), "from the private tag");
    const std::string path = WideToUtf8(gen.Save(dir, "private.icc"));
    const RunResult r = RunCli({"info", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Field(r.out, "Description:"), "from desc");
    EXPECT_EQ(Field(r.out, "Shown as:"), "from the private tag");
}

TEST(InfoOutputProfileTest, OutputProfileWithoutB2ATableShowsNoInkLimit) {
    TempDir dir;
    cstest::Gen gen(icSigOutputClass, icSigCmykData);
    gen.AddProfileDescriptionTag("no tables");
    const std::string path = WideToUtf8(gen.Save(dir, "bare.icc"));
    const RunResult r = RunCli({"info", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Field(r.out, "Ink limit:"), "none measured (no B2A table)");
}

TEST(InfoOutputProfileTest, DisplayProfileShowsNoOutputProfileLines) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
    const RunResult r = RunCli({"info", kvrtest::CorpusProfile("sRGB.icc").string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(Field(r.out, "Description:"), "<missing>");
    for (const char* label : {"Shown as:", "Ink limit:", "Illuminant:"})
        EXPECT_EQ(Field(r.out, label), "<missing>") << label;
}

} // namespace
