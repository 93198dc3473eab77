// The tool's words for a profile the reader refused: each kind of damage is named with its
// field or tag, on real profiles damaged byte by byte.
#include "ProfileDiagnosis.h"

#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/TestData.h"

namespace {

std::vector<uint8_t> Corpus(const std::string& name) {
    return kvrtest::ReadBytes(kvrtest::CorpusProfile(name));
}

void PutU32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int k = 0; k < 4; ++k) b[at + k] = uint8_t(v >> (24 - 8 * k));
}
uint32_t GetU32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | b[at + 3];
}

// The byte offset of the table entry of tag `sig` (its signature field).
size_t EntryOf(const std::vector<uint8_t>& b, const char* sig) {
    const uint32_t want =
        uint32_t(sig[0]) << 24 | uint32_t(sig[1]) << 16 | uint32_t(sig[2]) << 8 | uint32_t(sig[3]);
    for (uint32_t i = 0, n = GetU32(b, 128); i < n; ++i)
        if (GetU32(b, 132 + 12 * i) == want) return 132 + 12 * i;
    ADD_FAILURE() << "no tag " << sig;
    return 0;
}

void ExpectProblem(const std::vector<uint8_t>& bytes, bool isProfile,
                   const std::vector<std::string>& words) {
    const ProfileDiagnosis d = DiagnoseProfile(bytes);
    EXPECT_EQ(d.isProfile, isProfile) << d.problem;
    for (const auto& w : words)
        EXPECT_NE(d.problem.find(w), std::string::npos) << w << " in " << d.problem;
}

TEST(ProfileDiagnosis, SoundProfilesHaveNoProblem) {
    for (const auto& path : kvrtest::CorpusProfiles()) {
        const ProfileDiagnosis d = DiagnoseProfile(kvrtest::ReadBytes(path));
        EXPECT_TRUE(d.isProfile) << path;
        EXPECT_EQ(d.problem, "") << path;
    }
}

TEST(ProfileDiagnosis, ShortFileIsNotAProfile) {
    ExpectProblem(std::vector<uint8_t>(100, 0), false, {"100 bytes", "128"});
}

TEST(ProfileDiagnosis, MissingSignatureIsNotAProfile) {
    auto b = Corpus("sRGB.icc");
    b[36] = 'x';
    ExpectProblem(b, false, {"'acsp'", "byte 36"});
    EXPECT_EQ(DiagnosisText(b).rfind("not an ICC profile (", 0), 0u);
}

TEST(ProfileDiagnosis, FileShorterThanItsHeaderSaysIsCutShort) {
    auto b = Corpus("sRGB.icc");
    const size_t full = b.size();
    b.resize(full - 100);
    ExpectProblem(b, true, {"announces " + std::to_string(full), std::to_string(full - 100)});
    EXPECT_EQ(DiagnosisText(b).rfind("damaged ICC profile: ", 0), 0u);
}

TEST(ProfileDiagnosis, TagTableRunningPastTheEndIsNamed) {
    auto b = Corpus("sRGB.icc");
    PutU32(b, 128, 100000);
    ExpectProblem(b, true, {"tag table of 100000 entries"});
}

TEST(ProfileDiagnosis, TagDataPastTheEndNamesTheTag) {
    auto b = Corpus("sRGB.icc");
    PutU32(b, EntryOf(b, "wtpt") + 8, 1000000);
    ExpectProblem(b, true, {"tag 'wtpt'", "run past the end"});
}

TEST(ProfileDiagnosis, TagsSharingAStartWithOtherSizesAreNamed) {
    auto b = Corpus("sRGB.icc");
    const size_t r = EntryOf(b, "rXYZ"), g = EntryOf(b, "gXYZ");
    PutU32(b, g + 4, GetU32(b, r + 4));
    PutU32(b, g + 8, GetU32(b, r + 8) + 4);
    ExpectProblem(b, true, {"'rXYZ'", "'gXYZ'", "different sizes"});
}

TEST(ProfileDiagnosis, DuplicateTagIsNamed) {
    auto b = Corpus("sRGB.icc");
    PutU32(b, EntryOf(b, "gXYZ"), GetU32(b, EntryOf(b, "rXYZ")));
    ExpectProblem(b, true, {"names tag 'rXYZ' twice"});
}

TEST(ProfileDiagnosis, CurveLongerThanItsTagIsNamed) {
    auto b = Corpus("sRGB.icc");
    const size_t e = EntryOf(b, "rTRC");
    PutU32(b, GetU32(b, e + 4) + 8, 60000); // curv count
    ExpectProblem(b, true, {"tag 'rTRC'", "curve of 60000 entries"});
}

TEST(ProfileDiagnosis, TableTagOfAnotherTypeIsNamed) {
    auto b = Corpus("default_cmyk.icc");
    const size_t e = EntryOf(b, "A2B0");
    PutU32(b, GetU32(b, e + 4), 0x74657874); // 'text'
    ExpectProblem(b, true, {"tag 'A2B0'", "type 'text'", "table"});
}

TEST(ProfileDiagnosis, TableChannelsThatDoNotFitTheSpacesAreNamed) {
    auto b = Corpus("default_cmyk.icc");
    const size_t e = EntryOf(b, "A2B0");
    b[GetU32(b, e + 4) + 8] = 3; // input channels of the mft2, where CMYK gives 4
    ExpectProblem(b, true, {"tag 'A2B0'", "3 input channels", "4 come from", "'CMYK'"});
}

TEST(ProfileDiagnosis, GridLargerThanItsTagIsNamed) {
    auto b = Corpus("default_cmyk.icc");
    const size_t e = EntryOf(b, "A2B0");
    b[GetU32(b, e + 4) + 10] = 60; // grid points
    ExpectProblem(b, true, {"tag 'A2B0'", "grid of 60 points"});
}

} // namespace
