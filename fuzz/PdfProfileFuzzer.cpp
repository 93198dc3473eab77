// Fuzz target: copying a profile stream out of a PDF file. The input is the file; its first
// nine bytes also choose the description of the stream: the filter names (byte 0), the offset
// (bytes 1-4) and the length (bytes 5-8), each allowed to reach past the end of the file. When
// the routine answers 1, the output must be the stream's bytes (no filter) or what zlib makes
// of them (Flate); a stream that never ends must fail as an allocation fails, and then leave no
// output behind.
#include <unistd.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <vector>

#include "icc/PdfProfile.h"

namespace fs = std::filesystem;

namespace {

// The input and the output file of this process, removed when it ends.
struct SFiles {
    fs::path dir = fs::temp_directory_path() / ("kvrfuzz-pdf-" + std::to_string(getpid()));
    SFiles() { fs::create_directories(dir); }
    ~SFiles() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
};
const SFiles& Files() {
    static const SFiles files;
    return files;
}

uint32_t Read32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

CPsFilterList FiltersOf(uint8_t selector) {
    switch (selector % 6) {
    case 0:
        return {L"None"};
    case 1:
    case 2:
        return {L"FlateDecode"};
    case 3:
        return {L"FlateDecode", L"ASCIIHexDecode"};
    case 4:
        return {};
    default:
        return {L"LZWDecode"};
    }
}

void Check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 9) return 0;
    const fs::path pdf = Files().dir / "in.pdf", out = Files().dir / "out.icc";
    {
        std::ofstream f(pdf, std::ios::binary | std::ios::trunc);
        f.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    }
    std::error_code ec;
    fs::remove(out, ec);

    CPsInfo info;
    info.bProfilePresent = 1;
    info.StreamFilters = FiltersOf(data[0]);
    info.nStreamOffset = int64_t(Read32(data + 1) % (size + 8));
    info.nStreamLength = Read32(data + 5) % (size + 16);

    int result = 0;
    try {
        result = ReadPdfProfileData(pdf.wstring().c_str(), &info, out.wstring().c_str());
    } catch (const std::bad_alloc&) {
        Check(info.StreamFilters.size() == 1 && info.StreamFilters.front() == L"FlateDecode");
        Check(!fs::exists(out));
        return 0;
    }
    if (!result) {
        Check(!fs::exists(out));
        return 0;
    }
    Check(uint64_t(info.nStreamOffset) + info.nStreamLength <= size);
    std::ifstream in(out, std::ios::binary);
    const std::vector<uint8_t> written{std::istreambuf_iterator<char>(in),
                                       std::istreambuf_iterator<char>()};
    const uint8_t* stream = data + info.nStreamOffset;
    if (info.StreamFilters.front() == L"None") {
        Check(written.size() == info.nStreamLength &&
              std::memcmp(written.data(), stream, written.size()) == 0);
    } else {
        std::vector<uint8_t> expected(written.size() + 1);
        uLongf length = uLongf(expected.size());
        uLong used = uLong(info.nStreamLength);
        Check(uncompress2(expected.data(), &length, stream, &used) == Z_OK);
        Check(length == written.size() &&
              std::memcmp(expected.data(), written.data(), length) == 0);
    }
    return 0;
}
