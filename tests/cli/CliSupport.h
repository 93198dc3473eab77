// Helpers of the command-line tool's tests: running the program, writing and reading small
// TIFF and PNG images, generating the profiles the tests convert with, and converting pixels
// through a native link built in the test itself, for comparison with the program's output.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "colorlink/MdlColorLink.h"
#include "image/ImageReader.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace clitest {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Running the program

struct RunResult {
    int code = -1; // exit code; -1 if the program did not exit normally
    std::string out;
    std::string err;
};

// Runs the tool with `args`. `ini` non-empty: the settings file of the child ($KVR_INI);
// otherwise it inherits the test's. `input` is its stdin.
RunResult RunCli(const std::vector<std::string>& args, const std::string& ini = {},
                 const std::string& input = {});

// Number of lines of a text ("a\n" is one line; a last line without '\n' counts too).
size_t LineCount(const std::string& text);

// A fresh folder below the system's temporary folder, removed with the object.
using kvrtest::TempDir;

using kvrtest::ReadBytes;
using kvrtest::WriteBytes;

// A settings file like the test's own ($KVR_INI), with BasePath set to `basePath`.
void WriteIniWithBasePath(const std::string& iniPath, const std::string& basePath);

// ---------------------------------------------------------------------------------------------
// Images. Samples are held as 16-bit numbers whatever the depth, interleaved.

// Deterministic samples spread over the whole range of `bits`, different for each seed.
std::vector<uint16_t> TestSamples(size_t count, unsigned bits, uint32_t seed);

struct TiffSpec {
    uint32_t width = 64;
    uint32_t height = 48;
    uint16_t bits = 8;
    uint16_t photometric = 2; // RGB
    uint16_t samplesPerPixel = 3;
    std::vector<uint16_t> extraKinds; // EXTRASAMPLES, written when not empty
    uint16_t inkset = 0;              // written when not 0
    uint16_t numberOfInks = 0;        // written when not 0
    uint16_t planar = 1;              // contiguous
    uint16_t sampleFormat = 1;        // unsigned integers
    uint16_t compression = 1;         // none
    bool tiled = false;
    std::vector<uint8_t> icc; // written when not empty

    size_t SampleCount() const { return size_t(width) * height * samplesPerPixel; }
};

void WriteTiff(const std::string& path, const TiffSpec& spec, const std::vector<uint16_t>& s);

struct TiffImage {
    TiffSpec spec;
    std::vector<uint16_t> samples;
    bool hasIcc = false;
};
// Reads a chunky strip TIFF of 8 or 16 bits; fails the test (and answers an empty image) on
// anything else.
TiffImage ReadTiff(const std::string& path);

// PNG colour types as libpng numbers them: 0 grey, 2 RGB, 4 grey+alpha, 6 RGBA.
void WritePng(const std::string& path, uint32_t width, uint32_t height, unsigned bits,
              int colorType, const std::vector<uint16_t>& samples,
              const std::vector<uint8_t>& icc = {}, bool interlaced = false);

// Any image the tool reads (TIFF page, PNG, JPEG), through the tool's own readers: what they
// report and the samples as 16-bit numbers (8-bit values if the image has 8 bits). Associated
// alpha comes out undone, as the tool converts it. Fails the test (and answers an empty image)
// if the file cannot be read.
struct AnyImage {
    ImageInfo info;
    std::vector<uint16_t> samples;
};
AnyImage ReadAnyImage(const std::string& path, unsigned page = 0);

// ---------------------------------------------------------------------------------------------
// Profiles, generated with the library's generator. Tables hold smooth made-up device
// behaviour; what matters to these tests is that the program and the library agree on them.

struct Profiles {
    std::string rgb;      // RGB <-> Lab, A2B0 and B2A0
    std::string rgbAlt;   // another RGB <-> Lab, with other tables
    std::string rgbInput; // RGB -> Lab, A2B0 only (no table for pcs2dev)
    std::string cmyk;     // CMYK printer, A2B0 (4 inputs) and B2A0
    std::string gray;     // grey, kTRC gamma 2.2, XYZ connection space
    std::string five;     // 5CLR printer, B2A0 to 5 inks, A2B0 of 5 inputs
    std::string six;      // 6CLR printer, B2A0 to 6 inks, A2B0 of 6 inputs
};
// Writes the profiles into `dir` once per call.
Profiles MakeProfiles(const std::string& dir);

// ---------------------------------------------------------------------------------------------
// The library's own answer

struct Step {
    std::string path;
    int kind;
    enmRenderingIntent intent;
};

// `colour` (nIn samples a pixel, 8-bit values if bits is 8) through a native link built here
// with the same steps and formats; answers nOut samples a pixel. Fails the test if the link
// cannot be built.
std::vector<uint16_t> LinkPixels(const std::vector<Step>& steps, unsigned inFmt, unsigned nIn,
                                 unsigned outFmt, unsigned nOut,
                                 const std::vector<uint16_t>& colour, unsigned bits);

// Takes `n` channels starting at channel `first` of every pixel of `spp` channels.
std::vector<uint16_t> Channels(const std::vector<uint16_t>& samples, unsigned spp, unsigned first,
                               unsigned n);

} // namespace clitest
