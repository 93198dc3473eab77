// Replays saved inputs through a fuzz target without the fuzzing engine: every file named on
// the command line, and every file inside each folder named there (in name order), is fed once
// to LLVMFuzzerTestOneInput. Built with the ordinary compiler, so that the sanitizer build runs
// the whole corpus as a test; a fault aborts the run through the sanitizer's report.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Optional in a target.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fs = std::filesystem;

static bool RunFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>()};
    // A copy of exactly the input's size, as the engine hands it over.
    std::vector<uint8_t> exact(bytes);
    exact.shrink_to_fit();
    static uint8_t none = 0; // the engine never passes a null pointer, not even for 0 bytes
    LLVMFuzzerTestOneInput(exact.empty() ? &none : exact.data(), exact.size());
    return true;
}

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE-OR-FOLDER...\n", argv[0]);
        return 2;
    }
    unsigned runs = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> files;
        if (fs::is_directory(argv[i])) {
            for (const auto& e : fs::directory_iterator(argv[i]))
                if (e.is_regular_file()) files.push_back(e.path());
            std::sort(files.begin(), files.end());
        } else {
            files.emplace_back(argv[i]);
        }
        for (const auto& f : files) {
            ok = RunFile(f) && ok;
            ++runs;
        }
    }
    std::printf("%u inputs replayed\n", runs);
    // A folder that holds no input replays nothing, which must not pass unnoticed.
    return ok && runs > 0 ? 0 : 1;
}
