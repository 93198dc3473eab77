// `kvrcolor extract` on PDF files: documents made by Ghostscript's pdfwrite from images drawn in
// ICCBased colour spaces and with an output intent, the same documents rewritten by qpdf
// (recompressed, uncompressed, with object streams, linearised), and documents written here
// byte by byte for the colour-space forms and filters that the real tools do not produce.
// Every profile taken out must equal the one that went in, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "CliSupport.h"
#include "ExtractTestUtil.h"
#include "support/TestData.h"

using namespace clitest;
using namespace extracttest;

namespace {

struct Source {
    std::string name; // corpus profile
    unsigned channels;
};

// Ghostscript's PostScript for one page with a 64 x 64 image (large enough to become an image
// object, not an inline image) in an ICCBased space read from `profile`.
std::string ImagePage(const fs::path& profile, unsigned channels, uint32_t seed) {
    const char* alternate = channels == 1   ? "/DeviceGray"
                            : channels == 3 ? "/DeviceRGB"
                                            : "/DeviceCMYK";
    std::string decode;
    for (unsigned c = 0; c < channels; ++c) decode += "0 1 ";
    const std::vector<uint16_t> samples = TestSamples(64 * 64 * channels, 8, seed);
    Bytes data;
    for (uint16_t s : samples) data.push_back(uint8_t(s));
    const Bytes hex = HexOf(data);
    return "<< /PageSize [72 72] >> setpagedevice\n"
           "[/ICCBased << /N " +
           std::to_string(channels) + " /Alternate " + alternate + " /DataSource (" +
           profile.string() +
           ") (r) file >>] setcolorspace\n"
           "gsave 72 72 scale\n"
           "<< /ImageType 1 /Width 64 /Height 64 /BitsPerComponent 8 /Decode [" +
           decode +
           "] /ImageMatrix [64 0 0 -64 0 64]\n"
           "   /DataSource <" +
           std::string(hex.begin(), hex.end()) +
           " >> image\n"
           "grestore showpage\n";
}

// pdfmark operators that give the document an output intent with `profile`.
std::string OutputIntent(const fs::path& profile, unsigned channels) {
    return "[/_objdef {icc_oi} /type /stream /OBJ pdfmark\n"
           "[{icc_oi} << /N " +
           std::to_string(channels) +
           " >> /PUT pdfmark\n"
           "[{icc_oi} (" +
           profile.string() +
           ") (r) file /PUT pdfmark\n"
           "[/_objdef {oi} /type /dict /OBJ pdfmark\n"
           "[{oi} << /Type /OutputIntent /S /GTS_PDFX /OutputConditionIdentifier (Test press)\n"
           "         /RegistryName (http://www.color.org) /DestOutputProfile {icc_oi} >> /PUT "
           "pdfmark\n"
           "[{Catalog} << /OutputIntents [ {oi} ] >> /PUT pdfmark\n";
}

// Runs Ghostscript's pdfwrite on `ps`; `extra` are more options.
void Pdfwrite(const TempDir& dir, const std::string& ps, const fs::path& pdf,
              const std::string& extra = {}) {
    const fs::path script = dir / (pdf.stem().string() + ".ps");
    ASSERT_TRUE(kvrtest::WriteText(script, "%!PS\n" + ps));
    const std::string command =
        "gs -q -dBATCH -dNOPAUSE -dSAFER --permit-file-read=" + Q(dir.path().string() + "/") +
        " -sDEVICE=pdfwrite " + extra + " -o " + Q(pdf) + " " + Q(script);
    ASSERT_EQ(Shell(command, dir / "gs.log"), 0) << command << "\n"
                                                 << kvrtest::ReadText(dir / "gs.log");
}

// The profiles written by --all, as a sorted list of their bytes.
std::vector<Bytes> ExtractAll(const fs::path& pdf, const fs::path& folder, size_t expected) {
    const RunResult r = RunCli({"extract", pdf.string(), "--all", folder.string()});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(LineCount(r.out), expected) << r.out;
    std::vector<Bytes> found;
    if (fs::is_directory(folder))
        for (const auto& f : fs::directory_iterator(folder)) found.push_back(ReadBytes(f.path()));
    std::sort(found.begin(), found.end());
    return found;
}

class ExtractPdf : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(HaveProgram("gs"));
        ASSERT_TRUE(HaveProgram("qpdf"));
        for (const Source& s : m_sources) {
            ASSERT_TRUE(kvrtest::HaveCorpusProfile(s.name));
            fs::copy_file(kvrtest::CorpusProfile(s.name), m_dir / s.name);
            m_expected.push_back(ReadBytes(m_dir / s.name));
        }
        std::sort(m_expected.begin(), m_expected.end());
        // Three pages of images in RGB, grey and CMYK, and the output intent.
        std::string ps = OutputIntent(m_dir / m_sources[3].name, m_sources[3].channels);
        for (unsigned i = 0; i < 3; ++i)
            ps += ImagePage(m_dir / m_sources[i].name, m_sources[i].channels, i + 1);
        Pdfwrite(m_dir, ps, m_images);
    }

    TempDir m_dir{"kvr-extract-pdf"};
    const std::vector<Source> m_sources = {
        {"sRGB.icc", 3}, {"ps_gray.icc", 1}, {"default_cmyk.icc", 4}, {"FOGRA39L_low.icc", 4}};
    std::vector<Bytes> m_expected;
    const fs::path m_images = m_dir / "images.pdf";
};

} // namespace

TEST_F(ExtractPdf, GhostscriptImagesAndOutputIntentComeOutByteForByte) {
    EXPECT_EQ(ExtractAll(m_images, m_dir / "out", 4), m_expected);
}

TEST_F(ExtractPdf, ListingShowsPlaceChannelsSizeClassSpaceDescriptionAndMd5) {
    const RunResult r = RunCli({"extract", "--list", m_images.string()});
    ASSERT_EQ(r.code, 0) << r.err;
    ASSERT_EQ(LineCount(r.out), 4u) << r.out;
    std::istringstream lines(r.out);
    std::string line;
    std::getline(lines, line);
    // The output intent comes first, then the pages in order.
    EXPECT_NE(line.find("output intent GTS_PDFX, object "), std::string::npos) << line;
    EXPECT_NE(line.find(Md5(ReadBytes(m_dir / "FOGRA39L_low.icc"))), std::string::npos) << line;
    EXPECT_NE(line.find(" 4 "), std::string::npos) << line;
    EXPECT_NE(line.find(std::to_string(fs::file_size(m_dir / "FOGRA39L_low.icc"))),
              std::string::npos);
    EXPECT_NE(line.find("prtr  CMYK"), std::string::npos) << line;
    for (unsigned page = 1; page <= 3; ++page) {
        std::getline(lines, line);
        const Source& s = m_sources[page - 1];
        EXPECT_EQ(line.rfind(std::to_string(page + 1) + " ", 0), 0u) << line;
        EXPECT_NE(line.find("page " + std::to_string(page) + ", object "), std::string::npos)
            << line;
        EXPECT_NE(line.find(" " + std::to_string(s.channels) + " "), std::string::npos) << line;
        EXPECT_NE(line.find(Md5(ReadBytes(m_dir / s.name))), std::string::npos) << line;
        // Ghostscript stores the profiles as they are or deflated: the library's routine
        // copies every one of them.
        EXPECT_EQ(line.find("decoded by qpdf"), std::string::npos) << line;
    }
    EXPECT_NE(r.out.find("\"sRGB"), std::string::npos) << r.out; // description of sRGB.icc
}

TEST_F(ExtractPdf, RewrittenByQpdfTheProfilesStayTheSame) {
    const std::vector<std::pair<std::string, std::string>> variants = {
        {"recompressed", ""},
        {"uncompressed", "--stream-data=uncompress"},
        {"objstreams", "--object-streams=generate"},
        {"linearized", "--linearize"},
        {"linearized-objstreams", "--linearize --object-streams=generate"},
    };
    for (const auto& [name, options] : variants) {
        SCOPED_TRACE(name);
        const fs::path pdf = m_dir / (name + ".pdf");
        ASSERT_EQ(Shell("qpdf " + options + " " + Q(m_images) + " " + Q(pdf)), 0);
        EXPECT_EQ(ExtractAll(pdf, m_dir / name, 4), m_expected);
        const RunResult list = RunCli({"extract", "--list", pdf.string()});
        EXPECT_EQ(list.code, 0) << list.err;
        EXPECT_EQ(list.out.find("decoded by qpdf"), std::string::npos) << list.out;
    }
}

// The stored bytes of an encrypted document are not the profile: qpdf decrypts and decodes.
TEST_F(ExtractPdf, EncryptedDocumentIsDecodedByQpdf) {
    const fs::path pdf = m_dir / "encrypted.pdf";
    ASSERT_EQ(Shell("qpdf --encrypt '' owner 256 -- " + Q(m_images) + " " + Q(pdf)), 0);
    EXPECT_EQ(ExtractAll(pdf, m_dir / "encrypted", 4), m_expected);
    const RunResult list = RunCli({"extract", "--list", pdf.string()});
    EXPECT_EQ(list.code, 0) << list.err;
    EXPECT_NE(list.out.find("decoded by qpdf (encrypted document)"), std::string::npos) << list.out;
}

TEST_F(ExtractPdf, OneProfileByIndexToAFile) {
    const fs::path out = m_dir / "third.icc";
    const RunResult r = RunCli({"extract", m_images.string(), "--index", "3", out.string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(out), ReadBytes(m_dir / "ps_gray.icc"));
    EXPECT_NE(r.out.find("profile 3 of 4 (page 2, object "), std::string::npos) << r.out;
    // Without --index: the first.
    const RunResult first = RunCli({"extract", m_images.string(), out.string()});
    ASSERT_EQ(first.code, 0) << first.err;
    EXPECT_EQ(ReadBytes(out), ReadBytes(m_dir / "FOGRA39L_low.icc"));
    // --list with --index: that line alone.
    const RunResult one = RunCli({"extract", "--list", "--index", "2", m_images.string()});
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(LineCount(one.out), 1u);
    EXPECT_EQ(one.out.rfind("2 ", 0), 0u) << one.out;
}

TEST_F(ExtractPdf, IndexBeyondTheProfilesIsAUsageError) {
    const RunResult r =
        RunCli({"extract", m_images.string(), "--index", "5", (m_dir / "x.icc").string()});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_FALSE(fs::exists(m_dir / "x.icc"));
}

// Ghostscript's PDF/X mode: the output intent that the document must carry, in a PDF/X-3 file.
TEST(ExtractPdfX, GhostscriptPdfxOutputIntentComesOutByteForByte) {
    ASSERT_TRUE(HaveProgram("gs"));
    TempDir dir("kvr-extract-pdfx");
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("FOGRA39L_low.icc"));
    fs::copy_file(kvrtest::CorpusProfile("FOGRA39L_low.icc"), dir / "press.icc");
    const std::string ps = OutputIntent(dir / "press.icc", 4) +
                           "[ /GTS_PDFXVersion (PDF/X-3:2002) /Title (T) /Trapped /False "
                           "/DOCINFO pdfmark\n"
                           "<< /PageSize [72 72] >> setpagedevice 0 0 0 1 setcmykcolor "
                           "0 0 36 36 rectfill showpage\n";
    Pdfwrite(dir, ps, dir / "x.pdf", "-dPDFX -sColorConversionStrategy=CMYK");
    const RunResult list = RunCli({"extract", "--list", (dir / "x.pdf").string()});
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_EQ(LineCount(list.out), 1u) << list.out;
    EXPECT_NE(list.out.find("output intent GTS_PDFX"), std::string::npos) << list.out;
    const RunResult r = RunCli({"extract", (dir / "x.pdf").string(), (dir / "out.icc").string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir / "out.icc"), ReadBytes(dir / "press.icc"));
}

// ---------------------------------------------------------------------------------------------
// Files written here

namespace {

Bytes Profile(const std::string& name) {
    Bytes b = ReadBytes(kvrtest::CorpusProfile(name));
    EXPECT_FALSE(b.empty()) << name;
    return b;
}

struct Written {
    TempDir dir{"kvr-extract-mini"};
    fs::path pdf = dir / "doc.pdf";
};

RunResult ListOf(const Written& w) {
    return RunCli({"extract", "--list", w.pdf.string()});
}

} // namespace

TEST(ExtractPdfFilters, TwoFiltersAreDecodedByQpdfAndTheListingSaysSo) {
    Written w;
    MiniPdf pdf;
    const Bytes profile = Profile("sRGB.icc");
    const int icc =
        pdf.AddStream("/N 3 /Filter [/ASCIIHexDecode /FlateDecode]", HexOf(Deflate(profile)));
    ASSERT_TRUE(
        kvrtest::WriteBytes(w.pdf, pdf.Build(OnePage(pdf, "[/ICCBased " + Ref(icc) + "]"))));
    const RunResult list = ListOf(w);
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_NE(list.out.find("decoded by qpdf (2 filters: ASCIIHexDecode, FlateDecode)"),
              std::string::npos)
        << list.out;
    const RunResult r = RunCli({"extract", w.pdf.string(), (w.dir / "o.icc").string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(w.dir / "o.icc"), profile);
}

TEST(ExtractPdfFilters, AnotherFilterIsDecodedByQpdfAndTheListingSaysSo) {
    Written w;
    MiniPdf pdf;
    const Bytes profile = Profile("ps_cmyk.icc");
    const int icc = pdf.AddStream("/N 4 /Filter /ASCIIHexDecode", HexOf(profile));
    ASSERT_TRUE(
        kvrtest::WriteBytes(w.pdf, pdf.Build(OnePage(pdf, "[/ICCBased " + Ref(icc) + "]"))));
    const RunResult list = ListOf(w);
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_NE(list.out.find("decoded by qpdf (filter ASCIIHexDecode)"), std::string::npos)
        << list.out;
    const RunResult r = RunCli({"extract", w.pdf.string(), (w.dir / "o.icc").string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(w.dir / "o.icc"), profile);
}

TEST(ExtractPdfFilters, FlateWithAPredictorIsDecodedByQpdf) {
    Written w;
    MiniPdf pdf;
    const Bytes profile = Profile("Gray.icc");
    // Predictor 2 on one colour of 8 bits and a row of the whole profile: each byte becomes its
    // difference to the one before.
    Bytes diff(profile.size());
    for (size_t i = 0; i < profile.size(); ++i)
        diff[i] = uint8_t(profile[i] - (i ? profile[i - 1] : 0));
    const int icc = pdf.AddStream("/N 1 /Filter /FlateDecode /DecodeParms << /Predictor 2 "
                                  "/Colors 1 /BitsPerComponent 8 /Columns " +
                                      std::to_string(profile.size()) + " >>",
                                  Deflate(diff));
    ASSERT_TRUE(
        kvrtest::WriteBytes(w.pdf, pdf.Build(OnePage(pdf, "[/ICCBased " + Ref(icc) + "]"))));
    const RunResult list = ListOf(w);
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_NE(list.out.find("decoded by qpdf (Flate with a predictor)"), std::string::npos)
        << list.out;
    const RunResult r = RunCli({"extract", w.pdf.string(), (w.dir / "o.icc").string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(w.dir / "o.icc"), profile);
}

// Profiles behind other colour spaces and in other resources, each found once, with the
// page it is on; one that only an unused object names is found by the sweep.
TEST(ExtractPdfPlaces, ProfilesInNestedSpacesFormsPatternsAndShadingsAreFound) {
    Written w;
    MiniPdf pdf;
    const std::vector<std::string> names = {
        "sRGB.icc",   "ps_gray.icc", "ps_cmyk.icc",     "Gray.icc",
        "gs-lab.icc", "Crayons.icc", "colord-sRGB.icc", "compatibleWithAdobeRGB1998.icc"};
    std::vector<int> icc;
    std::vector<Bytes> expected;
    for (const auto& n : names) {
        expected.push_back(Profile(n));
        icc.push_back(pdf.AddStream("/N 3 /Filter /FlateDecode", Deflate(expected.back())));
    }
    const int form = pdf.AddStream(
        "/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Resources << /ColorSpace << /F0 "
        "[/Indexed [/ICCBased " +
            Ref(icc[1]) + "] 1 <000000FFFFFF>] >> >>",
        Bytes{'q', ' ', 'Q'});
    const int image = pdf.AddStream(
        "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 /ColorSpace "
        "[/Separation /Spot [/ICCBased " +
            Ref(icc[2]) + "] " + Ref(pdf.Add("<< /FunctionType 2 /Domain [0 1] /N 1 >>")) + "]",
        Bytes{0});
    const int shading =
        pdf.Add("<< /ShadingType 2 /ColorSpace [/DeviceN [/A /B] [/ICCBased " + Ref(icc[3]) + "] " +
                Ref(pdf.Add("<< /FunctionType 2 /Domain [0 1] /N 1 >>")) +
                " << /Colorants << /A [/ICCBased " + Ref(icc[4]) +
                "] >> >> ] /Coords [0 0 1 1] /Function " +
                Ref(pdf.Add("<< /FunctionType 2 /Domain [0 1] /N 1 >>")) + " >>");
    const int pattern =
        pdf.AddStream("/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 1 1] /XStep 1 /YStep 1 "
                      "/Resources << /ColorSpace << /P0 [/ICCBased " +
                          Ref(icc[5]) + "] >> >>",
                      Bytes{'q', ' ', 'Q'});
    // Named only by an object that nothing uses.
    pdf.Add("[/ICCBased " + Ref(icc[6]) + "]");
    const int catalog = pdf.Add("");
    const int pages = pdf.Add("");
    const int content = pdf.AddStream("", Bytes{'q', ' ', 'Q'});
    const int page1 =
        pdf.Add("<< /Type /Page /Parent " + Ref(pages) + " /MediaBox [0 0 72 72] /Contents " +
                Ref(content) + " /Resources << /ColorSpace << /C0 [/ICCBased " + Ref(icc[0]) +
                "] >> /XObject << /Fm0 " + Ref(form) + " >> >> >>");
    const int page2 =
        pdf.Add("<< /Type /Page /Parent " + Ref(pages) + " /MediaBox [0 0 72 72] /Contents " +
                Ref(content) + " /Group << /S /Transparency /CS [/ICCBased " + Ref(icc[7]) +
                "] >> /Resources << /XObject << /Im0 " + Ref(image) + " >> /Shading << /Sh0 " +
                Ref(shading) + " >> /Pattern << /P0 " + Ref(pattern) +
                " >> /ColorSpace << /C0 [/ICCBased " + Ref(icc[0]) + "] >> >> >>");
    pdf.Set(catalog, "<< /Type /Catalog /Pages " + Ref(pages) + " >>");
    pdf.Set(pages, "<< /Type /Pages /Kids [" + Ref(page1) + " " + Ref(page2) + "] /Count 2 >>");
    ASSERT_TRUE(kvrtest::WriteBytes(w.pdf, pdf.Build(catalog)));

    const RunResult list = ListOf(w);
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_EQ(LineCount(list.out), names.size()) << list.out;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string object = ", object " + std::to_string(icc[i]) + " ";
        const std::string where = i == 0 || i == 1 ? "page 1"
                                  : i == 6         ? "outside the pages"
                                                   : "page 2";
        EXPECT_NE(list.out.find(where + object), std::string::npos) << names[i] << "\n" << list.out;
    }
    std::vector<Bytes> got = ExtractAll(w.pdf, w.dir / "all", names.size());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(got, expected);
}

TEST(ExtractPdfPlaces, DocumentWithoutProfilesSaysSo) {
    Written w;
    MiniPdf pdf;
    ASSERT_TRUE(kvrtest::WriteBytes(w.pdf, pdf.Build(OnePage(pdf, "/DeviceRGB"))));
    const RunResult r = RunCli({"extract", w.pdf.string(), (w.dir / "o.icc").string()});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("carries no ICC profile"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(w.dir / "o.icc"));
}
