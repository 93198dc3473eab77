// Copying a profile stream out of a PDF file: the stream is placed inside a file of other bytes,
// as a PDF holds it, and described by offset, length and filter names.
#include "icc/PdfProfile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <filesystem>
#include <new>
#include <random>

#include "base/WideString.h"
#include "support/Files.h"
#include "support/Sanitizers.h"
#include "support/TempDir.h"
#include "support/TestData.h"

namespace fs = std::filesystem;
using kvrtest::Bytes;
using kvrtest::ReadBytes;
using kvrtest::TempDir;
using kvrtest::WriteBytes;

namespace {

std::wstring Wide(const fs::path& p) {
    return p.wstring();
}

Bytes Deflate(const Bytes& data, int level = Z_BEST_COMPRESSION) {
    uLongf size = compressBound(uLong(data.size()));
    Bytes out(size);
    EXPECT_EQ(compress2(out.data(), &size, data.data(), uLong(data.size()), level), Z_OK);
    out.resize(size);
    return out;
}

// `count` zero bytes deflated, fed in pieces so that the test never holds them all.
Bytes DeflateZeros(uint64_t count) {
    z_stream s{};
    EXPECT_EQ(deflateInit(&s, Z_BEST_SPEED), Z_OK); // some 230:1 on zeros, and fast
    const Bytes zeros(1 << 20, 0);
    Bytes out;
    uint8_t buffer[1 << 16];
    uint64_t left = count;
    int flush = Z_NO_FLUSH;
    do {
        const size_t piece = size_t(std::min<uint64_t>(left, zeros.size()));
        left -= piece;
        flush = left == 0 ? Z_FINISH : Z_NO_FLUSH;
        s.next_in = const_cast<uint8_t*>(zeros.data());
        s.avail_in = uInt(piece);
        do {
            s.next_out = buffer;
            s.avail_out = sizeof buffer;
            deflate(&s, flush);
            out.insert(out.end(), buffer, buffer + (sizeof buffer - s.avail_out));
        } while (s.avail_out == 0);
    } while (flush != Z_FINISH);
    deflateEnd(&s);
    return out;
}

Bytes RandomBytes(size_t n, uint32_t seed) {
    std::mt19937 gen(seed);
    Bytes b(n);
    for (auto& x : b) x = uint8_t(gen());
    return b;
}

// A file of `before` bytes, the stream, and `after` bytes, with the description of the stream.
struct Embedded {
    fs::path pdf;
    CPsInfo info;
};

Embedded Embed(const TempDir& dir, const Bytes& stream, std::vector<std::wstring> filters,
               size_t before = 317, size_t after = 45) {
    Bytes file = RandomBytes(before, 1);
    file.insert(file.end(), stream.begin(), stream.end());
    const Bytes tail = RandomBytes(after, 2);
    file.insert(file.end(), tail.begin(), tail.end());
    Embedded e;
    e.pdf = dir / "doc.pdf";
    EXPECT_TRUE(WriteBytes(e.pdf, file));
    e.info.bProfilePresent = 1;
    e.info.nStreamOffset = int64_t(before);
    e.info.nStreamLength = stream.size();
    e.info.StreamFilters.assign(filters.begin(), filters.end());
    return e;
}

// Data that deflates to about a tenth of its size: random bytes followed by zeros, the zeros
// sized from the compressed length so that the ratio comes out near 10.
Bytes RatioTenData() {
    const Bytes random = RandomBytes(3000, 7);
    Bytes data = random;
    for (int round = 0; round < 4; ++round) {
        const size_t compressed = Deflate(data).size();
        data = random;
        data.resize(10 * compressed, 0);
    }
    return data;
}

long PeakKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

} // namespace

TEST(PdfProfile, NoProfilePresentAnswersZeroAndTouchesNoFile) {
    TempDir dir("kvr-pdfprofile");
    const fs::path out = dir / "out.icc";
    ASSERT_TRUE(WriteBytes(out, {1, 2, 3}));
    CPsInfo info;
    info.bProfilePresent = 0;
    info.StreamFilters = {L"None"};
    info.nStreamLength = 3;
    EXPECT_EQ(
        ReadPdfProfileData(Wide(dir / "does-not-exist.pdf").c_str(), &info, Wide(out).c_str()), 0);
    EXPECT_EQ(ReadBytes(out), (Bytes{1, 2, 3}));
}

TEST(PdfProfile, MissingPdfAnswersZero) {
    TempDir dir("kvr-pdfprofile");
    CPsInfo info;
    info.bProfilePresent = 1;
    info.StreamFilters = {L"None"};
    EXPECT_EQ(
        ReadPdfProfileData(Wide(dir / "missing.pdf").c_str(), &info, Wide(dir / "out.icc").c_str()),
        0);
    EXPECT_FALSE(fs::exists(dir / "out.icc"));
    EXPECT_EQ(ReadPdfProfileData(nullptr, &info, Wide(dir / "out.icc").c_str()), 0);
    EXPECT_EQ(ReadPdfProfileData(Wide(dir / "missing.pdf").c_str(), nullptr,
                                 Wide(dir / "out.icc").c_str()),
              0);
}

TEST(PdfProfile, OtherFilterNameAnswersZero) {
    TempDir dir("kvr-pdfprofile");
    const Bytes profile = ReadBytes(kvrtest::CorpusProfile("sRGB.icc"));
    ASSERT_FALSE(profile.empty());
    for (const wchar_t* name : {L"ASCIIHexDecode", L"LZWDecode", L"flatedecode", L"none",
                                L"/FlateDecode", L"FlateDecode ", L"Fl", L""}) {
        Embedded e = Embed(dir, Deflate(profile), {name});
        EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0)
            << WideToUtf8(name);
        EXPECT_FALSE(fs::exists(dir / "o.icc"));
    }
}

TEST(PdfProfile, NoFilterNameAnswersZero) {
    TempDir dir("kvr-pdfprofile");
    Embedded e = Embed(dir, RandomBytes(500, 3), {});
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0);
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
}

TEST(PdfProfile, ChainOfTwoFiltersAnswersZero) {
    TempDir dir("kvr-pdfprofile");
    const Bytes profile = ReadBytes(kvrtest::CorpusProfile("sRGB.icc"));
    // The first name alone would be taken: the count decides.
    Embedded e = Embed(dir, Deflate(profile), {L"FlateDecode", L"ASCIIHexDecode"});
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0);
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
    e.info.StreamFilters = {L"None", L"None"};
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0);
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
}

TEST(PdfProfile, NoneCopiesTheStoredBytes) {
    TempDir dir("kvr-pdfprofile");
    const Bytes profile = ReadBytes(kvrtest::CorpusProfile("FOGRA39L_low.icc"));
    ASSERT_FALSE(profile.empty());
    Embedded e = Embed(dir, profile, {L"None"});
    PdfProfileTrace trace;
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
              1);
    EXPECT_EQ(ReadBytes(dir / "o.icc"), profile);
    EXPECT_EQ(trace.written, profile.size());
    EXPECT_TRUE(trace.capacities.empty());
}

TEST(PdfProfile, OutputIsOverwritten) {
    TempDir dir("kvr-pdfprofile");
    const Bytes stream = RandomBytes(100, 4);
    Embedded e = Embed(dir, stream, {L"None"});
    ASSERT_TRUE(WriteBytes(dir / "o.icc", RandomBytes(5000, 5)));
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 1);
    EXPECT_EQ(ReadBytes(dir / "o.icc"), stream);
}

TEST(PdfProfile, NoneStreamEndingPastTheEndOfTheFileAnswersZeroWithoutOutput) {
    TempDir dir("kvr-pdfprofile");
    Embedded e = Embed(dir, RandomBytes(400, 6), {L"None"}, 100, 0);
    for (uint64_t length : {uint64_t(401), uint64_t(1) << 40, ~uint64_t(0)}) {
        e.info.nStreamLength = length;
        EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0)
            << length;
        EXPECT_FALSE(fs::exists(dir / "o.icc"));
    }
    // An offset past the end, or before the start.
    e.info.nStreamLength = 1;
    for (int64_t offset : {int64_t(501), int64_t(1) << 50, int64_t(-1)}) {
        e.info.nStreamOffset = offset;
        EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 0)
            << offset;
        EXPECT_FALSE(fs::exists(dir / "o.icc"));
    }
}

TEST(PdfProfile, NoneStreamEndingAtTheEndOfTheFileIsCopied) {
    TempDir dir("kvr-pdfprofile");
    const Bytes stream = RandomBytes(400, 6);
    Embedded e = Embed(dir, stream, {L"None"}, 100, 0);
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 1);
    EXPECT_EQ(ReadBytes(dir / "o.icc"), stream);
}

TEST(PdfProfile, NoneOfLengthZeroWritesAnEmptyFile) {
    TempDir dir("kvr-pdfprofile");
    Embedded e = Embed(dir, {}, {L"None"});
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str()), 1);
    ASSERT_TRUE(fs::exists(dir / "o.icc"));
    EXPECT_EQ(fs::file_size(dir / "o.icc"), 0u);
}

TEST(PdfProfile, FlateOfRatioBelowTwoIsInflatedInTheFirstAttempt) {
    TempDir dir("kvr-pdfprofile");
    const Bytes data = RandomBytes(20000, 11); // random bytes do not compress
    const Bytes stream = Deflate(data);
    Embedded e = Embed(dir, stream, {L"FlateDecode"});
    PdfProfileTrace trace;
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
              1);
    EXPECT_EQ(ReadBytes(dir / "o.icc"), data);
    EXPECT_EQ(trace.capacities, (std::vector<uint64_t>{2 * stream.size()}));
}

// Real profiles, deflated as PDF writers deflate them: each attempt doubles the room until the
// profile fits.
TEST(PdfProfile, FlateOfRealProfilesComesOutWhole) {
    TempDir dir("kvr-pdfprofile");
    for (const auto& path : kvrtest::CorpusProfiles()) {
        SCOPED_TRACE(path.filename().string());
        const Bytes profile = ReadBytes(path);
        const Bytes stream = Deflate(profile);
        Embedded e = Embed(dir, stream, {L"FlateDecode"});
        PdfProfileTrace trace;
        EXPECT_EQ(
            ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
            1);
        EXPECT_EQ(ReadBytes(dir / "o.icc"), profile);
        std::vector<uint64_t> expected = {2 * stream.size()};
        while (expected.back() < profile.size()) expected.push_back(2 * expected.back());
        EXPECT_EQ(trace.capacities, expected);
    }
}

TEST(PdfProfile, FlateOfRatioTenSucceedsInTheFourthAttemptAtSixteenTimesTheLength) {
    TempDir dir("kvr-pdfprofile");
    const Bytes data = RatioTenData();
    const Bytes stream = Deflate(data);
    const double ratio = double(data.size()) / double(stream.size());
    ASSERT_GT(ratio, 9.5);
    ASSERT_LT(ratio, 10.5);
    Embedded e = Embed(dir, stream, {L"FlateDecode"});
    PdfProfileTrace trace;
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
              1);
    const uint64_t L = stream.size();
    EXPECT_EQ(trace.capacities, (std::vector<uint64_t>{2 * L, 4 * L, 8 * L, 16 * L}));
    // total_out bytes, not the capacity of the last attempt.
    EXPECT_EQ(trace.written, data.size());
    EXPECT_EQ(fs::file_size(dir / "o.icc"), data.size());
    EXPECT_EQ(ReadBytes(dir / "o.icc"), data);
}

TEST(PdfProfile, UnwritableOutputAnswersZeroAfterTheWholeDecompression) {
    TempDir dir("kvr-pdfprofile");
    const Bytes data = RatioTenData();
    Embedded e = Embed(dir, Deflate(data), {L"FlateDecode"});
    const fs::path out = dir / "no-such-folder" / "o.icc";
    PdfProfileTrace trace;
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(out).c_str(), &trace), 0);
    EXPECT_EQ(trace.capacities.size(), 4u); // every attempt ran, the last one to the end
    EXPECT_EQ(trace.written, 0u);
    EXPECT_FALSE(fs::exists(out));
    // A folder in place of the file: the same.
    fs::create_directory(dir / "folder.icc");
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "folder.icc").c_str()),
              0);
}

TEST(PdfProfile, FlateStreamEndingPastTheEndOfTheFileAnswersZeroWithoutOutput) {
    TempDir dir("kvr-pdfprofile");
    Embedded e = Embed(dir, Deflate(RandomBytes(1000, 8)), {L"FlateDecode"}, 50, 0);
    e.info.nStreamLength += 1;
    PdfProfileTrace trace;
    EXPECT_EQ(ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
              0);
    EXPECT_TRUE(trace.capacities.empty()); // nothing inflated
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
}

// A stream that never reaches its end doubles its room up to the ceiling and then fails as an
// allocation fails, leaving no file: data that is no zlib stream, a zlib stream cut short, a
// raw deflate stream without the zlib header, and an empty stream.
TEST(PdfProfile, CorruptFlateRaisesOutOfMemoryAtTheCeilingWithoutOutput) {
    TempDir dir("kvr-pdfprofile");
    const Bytes good = Deflate(ReadBytes(kvrtest::CorpusProfile("sRGB.icc")));
    Bytes cut(good.begin(), good.begin() + good.size() / 2);
    Bytes raw(good.begin() + 2, good.end() - 4);
    const std::vector<Bytes> streams = {RandomBytes(3000, 9), cut, raw, Bytes{}};
    for (size_t i = 0; i < streams.size(); ++i) {
        Embedded e = Embed(dir, streams[i], {L"FlateDecode"});
        PdfProfileTrace trace;
        EXPECT_THROW(
            ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
            std::bad_alloc)
            << "stream " << i;
        ASSERT_FALSE(trace.capacities.empty());
        EXPECT_LE(trace.capacities.back(), kPdfProfileMaxDecodedBytes);
        if (!streams[i].empty()) {
            EXPECT_GT(2 * trace.capacities.back(), kPdfProfileMaxDecodedBytes);
        }
        EXPECT_FALSE(fs::exists(dir / "o.icc"));
    }
}

// 300 MiB of zeros in some 1.4 MiB: every attempt fills its buffer, up to the ceiling, and the
// memory the call takes stays within it.
TEST(PdfProfile, FlateBombRaisesOutOfMemoryWithBoundedMemory) {
    TempDir dir("kvr-pdfprofile");
    const uint64_t decoded = uint64_t(300) << 20;
    Embedded e = Embed(dir, DeflateZeros(decoded), {L"FlateDecode"});
    const long before = PeakKiB();
    PdfProfileTrace trace;
    EXPECT_THROW(
        ReadPdfProfileData(Wide(e.pdf).c_str(), &e.info, Wide(dir / "o.icc").c_str(), &trace),
        std::bad_alloc);
    const long grown = PeakKiB() - before;
    EXPECT_LE(uint64_t(grown) * 1024, kPdfProfileMaxDecodedBytes + (uint64_t(16) << 20) +
                                          kvrtest::kSanitizerPeakSlackBytes);
    ASSERT_FALSE(trace.capacities.empty());
    EXPECT_LE(trace.capacities.back(), kPdfProfileMaxDecodedBytes);
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
}
