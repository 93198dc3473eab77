// `kvrcolor extract` on damaged files: each gives one line on stderr and a non-zero exit code,
// writes no file, and keeps its memory bounded.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <jpeglib.h>

#include "CliSupport.h"
#include "ExtractTestUtil.h"
#include "support/Sanitizers.h"
#include "support/TestData.h"

using namespace clitest;
using namespace extracttest;

namespace {

Bytes Profile(const std::string& name) {
    Bytes b = ReadBytes(kvrtest::CorpusProfile(name));
    EXPECT_FALSE(b.empty()) << name;
    return b;
}

// A one-page document with one ICCBased space whose stream holds `data` under `filter`.
Bytes OneProfilePdf(const Bytes& data, const std::string& filter, long long length = -1,
                    long long xrefOffset = -1) {
    MiniPdf pdf;
    const int icc =
        pdf.AddStream("/N 3" + (filter.empty() ? "" : " /Filter /" + filter), data, length);
    if (xrefOffset >= 0) pdf.SetXrefOffset(icc, xrefOffset);
    return pdf.Build(OnePage(pdf, "[/ICCBased " + Ref(icc) + "]"));
}

// The folder holds nothing but the input: no output, no temporary left behind.
void ExpectOnlyInput(const TempDir& dir) {
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"in"});
}

// Runs list, extract to a file and extract --all; each must fail with `code` and one line.
void ExpectRefused(const TempDir& dir, int code, const std::string& reason) {
    const std::string in = dir.File("in");
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"extract", "--list", in},
          std::vector<std::string>{"extract", in, dir.File("out.icc")},
          std::vector<std::string>{"extract", in, "--all", dir.File("all")}}) {
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, code) << args[1] << "\n" << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
        fs::remove(dir / "all"); // --all makes its folder before it finds the stream damaged
    }
    ExpectOnlyInput(dir);
}

long LargestChildKiB() {
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return u.ru_maxrss;
}

} // namespace

TEST(ExtractBadInput, TruncatedPdfIsRefused) {
    TempDir dir("kvr-extract-bad");
    const Bytes whole = OneProfilePdf(Deflate(Profile("sRGB.icc")), "FlateDecode");
    // Cut inside the profile stream, and cut before the cross-reference table only.
    for (size_t keep : {whole.size() / 2, whole.size() - 40}) {
        SCOPED_TRACE(keep);
        ASSERT_TRUE(kvrtest::WriteBytes(dir / "in", Bytes(whole.begin(), whole.begin() + keep)));
        ExpectRefused(dir, 3, "damaged PDF");
    }
}

TEST(ExtractBadInput, StreamLengthPastTheEndOfTheFileIsRefused) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteBytes(
        dir / "in", OneProfilePdf(Deflate(Profile("sRGB.icc")), "FlateDecode", 10000000)));
    ExpectRefused(dir, 3, "damaged PDF");
}

TEST(ExtractBadInput, CrossReferenceOutsideTheFileIsRefused) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteBytes(
        dir / "in", OneProfilePdf(Deflate(Profile("sRGB.icc")), "FlateDecode", -1, 9000000000LL)));
    ExpectRefused(dir, 3, "damaged PDF");
}

TEST(ExtractBadInput, CorruptFlateStreamIsRefused) {
    TempDir dir("kvr-extract-bad");
    Bytes stream = Deflate(Profile("sRGB.icc"));
    for (size_t i = 40; i < stream.size(); i += 7) stream[i] ^= 0x5A;
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "in", OneProfilePdf(stream, "FlateDecode")));
    ExpectRefused(dir, 3, "profile 1 (page 1, object");
}

// 300 MiB of zeros in some 1.4 MiB: the listing stops qpdf's decoding at the largest profile,
// and the library's routine raises its failure at the same size.
TEST(ExtractBadInput, FlateBombIsRefusedWithBoundedMemory) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteBytes(
        dir / "in", OneProfilePdf(DeflateZeros(uint64_t(300) << 20), "FlateDecode")));
    const long before = LargestChildKiB();
    // The listing (qpdf's decoding) and the extraction (the library's routine).
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"extract", "--list", dir.File("in")},
          std::vector<std::string>{"extract", dir.File("in"), dir.File("out.icc")}}) {
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, 3) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find("256 MiB"), std::string::npos) << r.err;
    }
    ExpectOnlyInput(dir);
    const long peak = LargestChildKiB();
    // Bounded by the largest profile (256 MiB) and the program's own needs.
    if (peak > before) {
        EXPECT_LT(uint64_t(peak) * 1024,
                  (uint64_t(256 + 96) << 20) + kvrtest::kSanitizerPeakSlackBytes)
            << "KiB";
    }
}

TEST(ExtractBadInput, NotAPdfOrImageIsRefused) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteText(dir / "in", "just some text, not a document\n"));
    ExpectRefused(dir, 3, "not a PDF, TIFF, PNG or JPEG file");
}

TEST(ExtractBadInput, MissingInputIsRefused) {
    TempDir dir("kvr-extract-bad");
    const RunResult r = RunCli({"extract", "--list", dir.File("nothing.pdf")});
    EXPECT_EQ(r.code, 3);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
}

TEST(ExtractBadInput, UnwritableOutputIsAnOutputError) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "in",
                                    OneProfilePdf(Deflate(Profile("sRGB.icc")), "FlateDecode")));
    const RunResult r = RunCli({"extract", dir.File("in"), dir.File("no-folder/out.icc")});
    EXPECT_EQ(r.code, 7);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    ExpectOnlyInput(dir);
}

TEST(ExtractBadInput, ContradictoryOptionsAreUsageErrors) {
    TempDir dir("kvr-extract-bad");
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "in",
                                    OneProfilePdf(Deflate(Profile("sRGB.icc")), "FlateDecode")));
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"extract", dir.File("in")},
          std::vector<std::string>{"extract", dir.File("in"), dir.File("o.icc"), "--all",
                                   dir.File("all")},
          std::vector<std::string>{"extract", dir.File("in"), "--index", "0", dir.File("o.icc")}}) {
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, 2) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    }
    ExpectOnlyInput(dir);
}

// ---------------------------------------------------------------------------------------------
// JPEG markers

namespace {

// A 16 x 16 grey JPEG with the given APP2 markers (each: number, count, bytes).
struct Chunk {
    int number;
    int count;
    Bytes data;
};

Bytes JpegWithChunks(const std::vector<Chunk>& chunks) {
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &buffer, &size);
    c.image_width = 16;
    c.image_height = 16;
    c.input_components = 1;
    c.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&c);
    jpeg_start_compress(&c, TRUE);
    for (const Chunk& k : chunks) {
        Bytes marker = {'I',
                        'C',
                        'C',
                        '_',
                        'P',
                        'R',
                        'O',
                        'F',
                        'I',
                        'L',
                        'E',
                        0,
                        uint8_t(k.number),
                        uint8_t(k.count)};
        marker.insert(marker.end(), k.data.begin(), k.data.end());
        jpeg_write_marker(&c, JPEG_APP0 + 2, marker.data(), unsigned(marker.size()));
    }
    std::vector<uint8_t> row(16, 128);
    while (c.next_scanline < 16) {
        JSAMPROW r = row.data();
        jpeg_write_scanlines(&c, &r, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    Bytes jpeg(buffer, buffer + size);
    free(buffer);
    return jpeg;
}

} // namespace

TEST(ExtractBadInput, JpegWithWronglyNumberedIccChunksIsRefused) {
    TempDir dir("kvr-extract-bad");
    const Bytes p = Profile("sRGB.icc");
    const Bytes a(p.begin(), p.begin() + 3000), b(p.begin() + 3000, p.end());
    const std::vector<std::vector<Chunk>> cases = {
        {{1, 2, a}, {1, 2, b}}, // a number twice
        {{1, 2, a}},            // a chunk missing
        {{1, 2, a}, {3, 2, b}}, // a number past the count
        {{0, 2, a}, {1, 2, b}}, // numbers start at 1
        {{1, 2, a}, {2, 3, b}}, // counts disagree
        {{1, 0, a}},            // no chunks at all
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(kvrtest::WriteBytes(dir / "in", JpegWithChunks(cases[i])));
        ExpectRefused(dir, 3, "numbered wrongly");
    }
    // In the wrong order but numbered right: joined by number.
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "in", JpegWithChunks({{2, 2, b}, {1, 2, a}})));
    const RunResult r = RunCli({"extract", dir.File("in"), dir.File("out.icc")});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir / "out.icc"), p);
}

TEST(ExtractBadInput, TruncatedJpegIsRefused) {
    TempDir dir("kvr-extract-bad");
    const Bytes whole = JpegWithChunks({{1, 1, Profile("sRGB.icc")}});
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "in", Bytes(whole.begin(), whole.begin() + 3000)));
    ExpectRefused(dir, 3, "damaged JPEG");
}
