#include "EmbeddedProfiles.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "CliError.h"
#include "SafeOutput.h"

namespace {

// A PDF's header may follow some bytes of other data; readers look for it in the first
// kilobyte.
constexpr size_t kPdfHeaderWindow = 1024;

bool StartsWith(const std::vector<uint8_t>& head, const char* magic, size_t n) {
    return head.size() >= n && std::memcmp(head.data(), magic, n) == 0;
}

bool IsPdf(const std::vector<uint8_t>& head) {
    static const char kMagic[] = "%PDF-";
    return std::search(head.begin(), head.end(), kMagic, kMagic + 5) != head.end();
}

} // namespace

void EmbeddedProfiles::Write(size_t index, const std::string& outPath) {
    WriteProfileFile(outPath, Bytes(index));
}

void WriteProfileFile(const std::string& outPath, const std::vector<uint8_t>& bytes) {
    SafeOutput out(outPath, {});
    FILE* f = std::fopen(out.tempPath().c_str(), "wb");
    if (!f) throw CliError(kExitOutput, outPath + ": cannot be written");
    const bool written =
        bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    if (std::fclose(f) != 0 || !written)
        throw CliError(kExitOutput, outPath + ": cannot be written (disk full?)");
    out.Commit();
}

std::unique_ptr<EmbeddedProfiles> OpenEmbeddedProfiles(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) throw CliError(kExitInput, path + ": no such file");
    if (std::filesystem::is_directory(path, ec)) throw CliError(kExitInput, path + ": is a folder");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CliError(kExitInput, path + ": cannot be opened");
    std::vector<uint8_t> head(kPdfHeaderWindow);
    in.read(reinterpret_cast<char*>(head.data()), std::streamsize(head.size()));
    head.resize(size_t(in.gcount()));

    if (StartsWith(head, "\x89PNG\r\n\x1A\n", 8)) return OpenPngProfiles(path);
    if (StartsWith(head, "\xFF\xD8\xFF", 3)) return OpenJpegProfiles(path);
    // Classic and big TIFF, in both byte orders.
    if (StartsWith(head, "II*\0", 4) || StartsWith(head, "II+\0", 4) ||
        StartsWith(head, "MM\0*", 4) || StartsWith(head, "MM\0+", 4))
        return OpenTiffProfiles(path);
    if (IsPdf(head)) return OpenPdfProfiles(path);
    throw CliError(kExitInput, path + ": not a PDF, TIFF, PNG or JPEG file");
}
