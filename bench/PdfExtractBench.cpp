// Listing and extracting every profile of a large PDF with `kvrcolor extract`, run as a child
// process so that its own time and peak memory are measured.
//
// The document is written in the setup, into a temporary folder removed at the end: 400 pages,
// each with one 512 x 512 grey image of random bytes (256 KiB, stored without a filter) in an
// ICCBased colour space of its own, whose profile stream is a Flate copy of one of the
// repository's corpus profiles: about 100 MiB.
//
// Measured, one child process per iteration, wall clock:
//   List      kvrcolor extract --list big.pdf (qpdf reads the document, every profile decoded)
//   ExtractAll kvrcolor extract big.pdf --all DIR (every profile copied by ReadPdfProfileData)
// Counters: profiles, MiB of the document, peak_MiB (the child's peak resident set size).
//
//   bench_PdfExtractBench
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr int kPages = 400;
constexpr int kSide = 512; // grey image of kSide x kSide bytes

struct Document {
    fs::path dir;
    fs::path pdf;
    size_t bytes = 0;
    ~Document() {
        std::error_code ec;
        if (!dir.empty()) fs::remove_all(dir, ec);
    }
};

Bytes ReadFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes Deflate(const Bytes& data) {
    uLongf size = compressBound(uLong(data.size()));
    Bytes out(size);
    compress2(out.data(), &size, data.data(), uLong(data.size()), Z_DEFAULT_COMPRESSION);
    out.resize(size);
    return out;
}

void Append(Bytes& file, const std::string& s) {
    file.insert(file.end(), s.begin(), s.end());
}

// Writes the document object by object, with its cross-reference table.
const Document& BigPdf() {
    static Document doc;
    if (!doc.pdf.empty()) return doc;
    doc.dir = fs::temp_directory_path() / ("kvr-bench-pdf-" + std::to_string(getpid()));
    fs::create_directories(doc.dir);
    doc.pdf = doc.dir / "big.pdf";

    std::vector<Bytes> profiles;
    for (const auto& e : fs::directory_iterator(fs::path(KVR_SOURCE_DIR) / "tests/data/profiles"))
        if (e.path().extension() == ".icc") profiles.push_back(Deflate(ReadFile(e.path())));

    std::mt19937 gen(1);
    Bytes pixels(size_t(kSide) * kSide);
    std::ofstream out(doc.pdf, std::ios::binary);
    std::vector<size_t> offsets;
    size_t at = 0;
    const auto object = [&](const Bytes& body) {
        offsets.push_back(at);
        Bytes o;
        Append(o, std::to_string(offsets.size()) + " 0 obj\n");
        o.insert(o.end(), body.begin(), body.end());
        Append(o, "\nendobj\n");
        out.write(reinterpret_cast<const char*>(o.data()), std::streamsize(o.size()));
        at += o.size();
        return int(offsets.size());
    };
    const auto stream = [&](const std::string& dict, const Bytes& data) {
        Bytes body;
        Append(body, "<< " + dict + " /Length " + std::to_string(data.size()) + " >>\nstream\n");
        body.insert(body.end(), data.begin(), data.end());
        Append(body, "\nendstream");
        return object(body);
    };
    const auto text = [](const std::string& s) { return Bytes(s.begin(), s.end()); };

    const std::string header = "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n";
    out.write(header.data(), std::streamsize(header.size()));
    at = header.size();
    // Catalog 1, page tree 2, then per page: profile, image, content, page.
    object(text("<< /Type /Catalog /Pages 2 0 R >>"));
    std::string kids;
    for (int i = 0; i < kPages; ++i) kids += std::to_string(3 + 4 * i + 3) + " 0 R ";
    object(text("<< /Type /Pages /Count " + std::to_string(kPages) + " /Kids [" + kids + "] >>"));
    for (int i = 0; i < kPages; ++i) {
        const int icc = stream("/N 1 /Filter /FlateDecode", profiles[size_t(i) % profiles.size()]);
        for (auto& p : pixels) p = uint8_t(gen());
        const int image =
            stream("/Type /XObject /Subtype /Image /Width " + std::to_string(kSide) + " /Height " +
                       std::to_string(kSide) + " /BitsPerComponent 8 /ColorSpace [/ICCBased " +
                       std::to_string(icc) + " 0 R]",
                   pixels);
        const int content = stream("", text("q 72 0 0 72 0 0 cm /Im0 Do Q"));
        object(text("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 72 72] /Contents " +
                    std::to_string(content) + " 0 R /Resources << /XObject << /Im0 " +
                    std::to_string(image) + " 0 R >> >> >>"));
    }
    Bytes tail;
    Append(tail, "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n");
    for (size_t o : offsets) {
        char entry[32];
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", o);
        Append(tail, entry);
    }
    Append(tail, "trailer\n<< /Size " + std::to_string(offsets.size() + 1) +
                     " /Root 1 0 R >>\nstartxref\n" + std::to_string(at) + "\n%%EOF\n");
    out.write(reinterpret_cast<const char*>(tail.data()), std::streamsize(tail.size()));
    out.close();
    doc.bytes = fs::file_size(doc.pdf);
    return doc;
}

struct ChildRun {
    double seconds = 0;
    double peakMiB = 0;
    int code = -1;
};

// Runs the tool with `args`, its output to /dev/null.
ChildRun Run(const std::vector<std::string>& args) {
    std::vector<std::string> store = {KVR_CLI_PATH};
    store.insert(store.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : store) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    ChildRun r;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, KVR_CLI_PATH, &actions, nullptr, argv.data(), environ) != 0) return r;
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    r.peakMiB = double(usage.ru_maxrss) / 1024.0;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

void Measure(benchmark::State& state, const std::vector<std::string>& args) {
    const Document& doc = BigPdf();
    double peak = 0;
    for (auto _ : state) {
        const ChildRun r = Run(args);
        if (r.code != 0) {
            state.SkipWithError("kvrcolor extract failed");
            return;
        }
        state.SetIterationTime(r.seconds);
        peak = std::max(peak, r.peakMiB);
    }
    state.counters["profiles"] = kPages;
    state.counters["doc_MiB"] = double(doc.bytes) / (1 << 20);
    state.counters["peak_MiB"] = peak;
}

void List(benchmark::State& state) {
    Measure(state, {"extract", "--list", BigPdf().pdf.string()});
}

void ExtractAll(benchmark::State& state) {
    const Document& doc = BigPdf();
    Measure(state, {"extract", doc.pdf.string(), "--all", (doc.dir / "out").string()});
}

BENCHMARK(List)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(ExtractAll)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

} // namespace

BENCHMARK_MAIN();
