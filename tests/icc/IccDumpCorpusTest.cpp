// The dump of every profile of the committed corpus (tests/data/profiles) against its golden
// text <profile>.dump.txt beside it: header, tag table and every tag as the dump prints them.
//
// When a change of the dump is intended, run this program with KVR_UPDATE_GOLDEN=1 in the
// environment: each test then writes its profile's dump as the new golden file instead of
// comparing, and the changed goldens are reviewed and committed with the change.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/WideString.h"
#include "icc/IccDump.h"
#include "icc/IccProfile.h"
#include "support/Files.h"
#include "support/TestData.h"

namespace fs = std::filesystem;

namespace {

// The number of profiles the corpus holds (see tests/data/profiles/README.md).
constexpr size_t kCorpusProfiles = 13;

bool UpdateGoldens() {
    const char* v = std::getenv("KVR_UPDATE_GOLDEN");
    return v && std::string(v) == "1";
}

// The dump of a profile file as UTF-8, lines ending in CR LF as the dump writes them.
std::string DumpOf(const fs::path& path, std::string& error) {
    CIccProfileRead profile(nullptr);
    if (!profile.Open(path.wstring().c_str())) {
        error = "cannot open " + path.string();
        return {};
    }
    std::wstring text = DumpHeader(profile);
    text += DumpTagTable(profile);
    for (unsigned i = 0; i < profile.GetCount(); ++i)
        text += DumpTagData(profile.GetTagData(i), profile.Tag(i), profile.GetTagDataSize(i));
    return WideToUtf8(text);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::vector<std::string> ProfileNames() {
    std::vector<std::string> names;
    for (const fs::path& p : kvrtest::CorpusProfiles()) names.push_back(p.filename().string());
    return names;
}

class IccDumpCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(IccDumpCorpus, DumpEqualsGolden) {
    const fs::path profile = kvrtest::CorpusProfile(GetParam());
    const fs::path golden = kvrtest::CorpusDir() / (GetParam() + ".dump.txt");
    std::string error;
    const std::string dump = DumpOf(profile, error);
    ASSERT_TRUE(error.empty()) << error;
    ASSERT_FALSE(dump.empty());

    if (UpdateGoldens()) {
        ASSERT_TRUE(kvrtest::WriteText(golden, dump)) << "cannot write " << golden;
        std::printf("wrote %s\n", golden.string().c_str());
        return;
    }
    ASSERT_TRUE(kvrtest::HaveFile(golden, "make it with KVR_UPDATE_GOLDEN=1 build/tests/test_icc "
                                          "--gtest_filter='*IccDumpCorpus*'"));
    const std::string expected = kvrtest::ReadText(golden);
    if (dump == expected) return;
    // Name the first line that differs rather than printing two whole dumps.
    const std::vector<std::string> got = Lines(dump), want = Lines(expected);
    size_t i = 0;
    while (i < got.size() && i < want.size() && got[i] == want[i]) ++i;
    ADD_FAILURE() << "the dump of " << profile << " differs from " << golden << " at line " << i + 1
                  << ":\n  golden: " << (i < want.size() ? want[i] : std::string("(end of file)"))
                  << "\n  dump:   " << (i < got.size() ? got[i] : std::string("(end of dump)"))
                  << "\n(" << want.size() << " golden lines, " << got.size()
                  << " dump lines; KVR_UPDATE_GOLDEN=1 rewrites the goldens if the change is "
                     "intended)";
}

INSTANTIATE_TEST_SUITE_P(Corpus, IccDumpCorpus, ::testing::ValuesIn(ProfileNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

// The corpus is all there, each profile with its golden dump, and no golden without profile.
TEST(IccDumpCorpusFiles, EveryProfileHasItsGolden) {
    if (UpdateGoldens()) return; // the goldens are being written by the tests above
    const std::vector<std::string> names = ProfileNames();
    EXPECT_EQ(names.size(), kCorpusProfiles)
        << "profiles in " << kvrtest::CorpusDir() << " (restore the corpus with git)";
    for (const std::string& n : names)
        EXPECT_TRUE(kvrtest::HaveFile(kvrtest::CorpusDir() / (n + ".dump.txt"),
                                      "make it with KVR_UPDATE_GOLDEN=1"));
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(kvrtest::CorpusDir(), ec)) {
        const std::string f = e.path().filename().string();
        const std::string suffix = ".dump.txt";
        if (f.size() <= suffix.size() || f.compare(f.size() - suffix.size(), suffix.size(), suffix))
            continue;
        const std::string profile = f.substr(0, f.size() - suffix.size());
        EXPECT_TRUE(kvrtest::HaveCorpusProfile(profile)) << "golden without profile: " << f;
    }
}

} // namespace
