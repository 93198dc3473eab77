// Golden hashes of the data the build computes: the seven built-in tables and the Lab profile
// that the library carries, and the three default profiles. The MD5 of each file is compared
// with the value recorded when the list was made, so that a restructuring of the generators or
// of the code they call cannot change a byte unnoticed. A deliberate change of a model updates
// the table and says why in its commit.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/Digest.h"
#include "base/WideString.h"

namespace fs = std::filesystem;

namespace {

struct GoldenFile {
    const char* path; // below the build folder
    const char* md5;
};

const GoldenFile kFiles[] = {
    {"resources/RGBTOCMYK.mft", "DE7512D14B1D63DA88822820106CF93B"},
    {"resources/LABTOCMYK.mft", "88D4852CB34C6A44FB4DC98402D6FC2E"},
    {"resources/LABTORGB.mft", "74C6A04930F7A8E62CB5AEBE1B1A0F63"},
    {"resources/CMYKTORGB.mft", "7A7C58F18067B9C443E1A2519CEA6E6A"},
    {"resources/CMYKV2TORGB.mft", "BE12C96F2F2CB59F09A598552F71C0C6"},
    {"resources/CMYKV2TOLAB.mft", "F1B6EF85E8EF794D6C64EA4B6FBF9D5B"},
    {"resources/SRGBTOLAB.mft", "622E74B5202C007FBB894EB0E97BFBD9"},
    {"resources/LABPROFILE.icc", "057D3742AC843E1F5E3295C8C5A5C009"},
    {"profiles/InputRgb/kvr-srgb.icc", "4809A5B789852D559911D9D296946AE6"},
    {"profiles/InputGray/kvr-gray.icc", "A4278FF1C503A64F34FF853BCD094199"},
    {"profiles/Printer/kvr-cmyk.icc", "573827C0709E44542C0749DDDDA0F740"},
};

std::string FileMd5(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    CMD5Digest md5;
    md5.Update(bytes.data(), bytes.size());
    return WideToUtf8(md5.AsString());
}

} // namespace

TEST(DefaultsGolden, BuiltInTablesAndDefaultProfilesKeepTheirBytes) {
    for (const GoldenFile& f : kFiles) {
        const fs::path path = fs::path(KVR_BINARY_DIR) / f.path;
        SCOPED_TRACE(path.string());
        ASSERT_TRUE(fs::is_regular_file(path)) << "missing: build the targets kvrcolor and "
                                                  "kvrdefaults";
        EXPECT_EQ(f.md5, FileMd5(path));
    }
}
