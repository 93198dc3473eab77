#include "CliSupport.h"

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>

#include "base/Settings.h"
#include "base/WideString.h"
#include "colorlink/native/ColorLink.h"
#include "icc/IccProfileGen.h"
#include "image/TiffWriter.h"
#include "support/Files.h"
#include "support/FuncTab.h"

extern char** environ;

namespace clitest {

// ---------------------------------------------------------------------------------------------
// Running the program

RunResult RunCli(const std::vector<std::string>& args, const std::string& ini,
                 const std::string& input) {
    TempDir io("kvr-cli");
    const std::string in = io / "stdin", out = io / "stdout", err = io / "stderr";
    WriteBytes(in, {input.begin(), input.end()});

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

    std::vector<std::string> argStore = {KVR_CLI_PATH};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : argStore) argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> envStore;
    for (char** e = environ; *e; ++e)
        if (ini.empty() || std::strncmp(*e, "KVR_INI=", 8) != 0) envStore.push_back(*e);
    if (!ini.empty()) envStore.push_back("KVR_INI=" + ini);
    std::vector<char*> envp;
    for (auto& e : envStore) envp.push_back(e.data());
    envp.push_back(nullptr);

    RunResult r;
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, KVR_CLI_PATH, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        ADD_FAILURE() << "cannot start " << KVR_CLI_PATH << ": " << std::strerror(rc);
        return r;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = kvrtest::ReadText(out);
    r.err = kvrtest::ReadText(err);
    return r;
}

size_t LineCount(const std::string& text) {
    size_t n = size_t(std::count(text.begin(), text.end(), '\n'));
    if (!text.empty() && text.back() != '\n') ++n;
    return n;
}

void WriteIniWithBasePath(const std::string& iniPath, const std::string& basePath) {
    const char* own = std::getenv("KVR_INI");
    std::istringstream lines(own ? kvrtest::ReadText(own) : std::string());
    std::string text, line;
    bool inProfiles = false, written = false, presets = false;
    while (std::getline(lines, line)) {
        if (!line.empty() && line[0] == '[') {
            if (inProfiles && !written) {
                text += "BasePath=" + basePath + "\n";
                written = true;
            }
            inProfiles = line.rfind("[ColorProfiles]", 0) == 0;
        }
        if (inProfiles && line.rfind("BasePath=", 0) == 0) {
            text += "BasePath=" + basePath + "\n";
            written = true;
            continue;
        }
        // Presets the programs store go below the test's folder too, never into the shared one.
        if (line.rfind("SettingsFolder=", 0) == 0) {
            text += "SettingsFolder=" + basePath + "/presets\n";
            presets = true;
            continue;
        }
        text += line + "\n";
    }
    if (!written) text += "[ColorProfiles]\nBasePath=" + basePath + "\n";
    if (!presets) text += "[UserSettings]\nSettingsFolder=" + basePath + "/presets\n";
    WriteBytes(iniPath, {text.begin(), text.end()});
}

// ---------------------------------------------------------------------------------------------
// Images

std::vector<uint16_t> TestSamples(size_t count, unsigned bits, uint32_t seed) {
    std::vector<uint16_t> s(count);
    uint32_t x = seed * 2654435761u + 12345u;
    for (size_t i = 0; i < count; ++i) {
        x = x * 1664525u + 1013904223u;
        s[i] = bits == 8 ? uint16_t(x >> 24) : uint16_t(x >> 16);
    }
    // The corners of the range too: black, white, full inks.
    for (size_t i = 0; i < std::min<size_t>(count, 16); ++i)
        s[i] = (i & 1) ? (bits == 8 ? 255 : 65535) : 0;
    return s;
}

// libtiff's warnings about n-colour files (it counts inks beyond four as extra samples) are
// expected here and would only clutter the test output.
void QuietTiff() {
    TIFFSetWarningHandler(nullptr);
}

namespace {

// The spec as the tool's own TIFF writer takes it, when the writer makes exactly that layout:
// chunky strips of 8 or 16 unsigned bits, uncompressed, LZW or deflate, and the photometric
// interpretation, ink set and ink count that the writer gives such colour channels. Empty for
// the unusual layouts that only the tests make.
std::optional<OutputSpec> AsOutputSpec(const TiffSpec& t) {
    if (t.tiled || t.planar != PLANARCONFIG_CONTIG || t.sampleFormat != SAMPLEFORMAT_UINT ||
        (t.bits != 8 && t.bits != 16) || t.extraKinds.size() >= t.samplesPerPixel)
        return std::nullopt;
    OutputSpec o;
    o.width = t.width;
    o.height = t.height;
    o.bits = t.bits;
    o.extras = unsigned(t.extraKinds.size());
    o.extraKinds = t.extraKinds;
    o.icc = t.icc;
    const unsigned colour = t.samplesPerPixel - o.extras;
    const bool noInks = t.inkset == 0 && t.numberOfInks == 0;
    switch (t.photometric) {
    case PHOTOMETRIC_RGB:
        if (colour != 3 || !noInks) return std::nullopt;
        o.space = RgbSpace();
        break;
    case PHOTOMETRIC_MINISBLACK:
        if (colour != 1 || !noInks) return std::nullopt;
        o.space = GraySpace();
        break;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
        if (colour != 3 || !noInks) return std::nullopt;
        o.space = LabSpace();
        o.lab = t.photometric == PHOTOMETRIC_CIELAB ? LabEncoding::CieLab : LabEncoding::IccLab;
        break;
    case PHOTOMETRIC_SEPARATED:
        if (colour == 4 && t.inkset == INKSET_CMYK && t.numberOfInks == 0)
            o.space = CmykSpace();
        else if (colour >= 2 && colour <= 15 && t.inkset == INKSET_MULTIINK &&
                 t.numberOfInks == colour)
            o.space = NColorSpace(colour);
        else
            return std::nullopt;
        break;
    default:
        return std::nullopt;
    }
    switch (t.compression) {
    case COMPRESSION_NONE:
        o.compression = Compression::None;
        break;
    case COMPRESSION_LZW:
        o.compression = Compression::Lzw;
        break;
    case COMPRESSION_ADOBE_DEFLATE:
        o.compression = Compression::Deflate;
        break;
    default:
        return std::nullopt;
    }
    return o;
}

// Layouts the tool never writes (tiles, planes, palettes, floating point, odd depths, unusual
// tags), written field by field with libtiff.
void WriteUnusualTiff(const std::string& path, const TiffSpec& spec,
                      const std::vector<uint16_t>& s) {
    QuietTiff();
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr) << path;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, spec.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, spec.height);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, spec.bits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, spec.samplesPerPixel);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, spec.photometric);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, spec.planar);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, spec.sampleFormat);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, spec.compression);
    if (!spec.extraKinds.empty())
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(spec.extraKinds.size()),
                     spec.extraKinds.data());
    if (spec.inkset) TIFFSetField(tif, TIFFTAG_INKSET, spec.inkset);
    if (spec.photometric == PHOTOMETRIC_PALETTE) {
        // A grey ramp of 2^bits entries; made for palette images only, since for 32-bit samples
        // it would be 8 GB.
        std::vector<uint16_t> ramp(size_t(1) << spec.bits);
        for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = uint16_t(i * 65535 / (ramp.size() - 1));
        TIFFSetField(tif, TIFFTAG_COLORMAP, ramp.data(), ramp.data(), ramp.data());
    }
    if (spec.numberOfInks) TIFFSetField(tif, TIFFTAG_NUMBEROFINKS, spec.numberOfInks);
    if (!spec.icc.empty())
        TIFFSetField(tif, TIFFTAG_ICCPROFILE, uint32_t(spec.icc.size()), spec.icc.data());
    const size_t bytesPerSample = spec.bits / 8;
    const unsigned spp = spec.samplesPerPixel;
    // 32-bit floating point samples are the 16-bit codes given, divided by 65535.
    const bool isFloat = spec.sampleFormat == SAMPLEFORMAT_IEEEFP && spec.bits == 32;
    const auto put = [&](uint16_t v, uint8_t* at) {
        if (isFloat) {
            const float f = float(v) / 65535.0f;
            std::memcpy(at, &f, 4);
        } else if (bytesPerSample == 1) {
            *at = uint8_t(v);
        } else {
            std::memcpy(at, &v, 2);
        }
    };
    // Pack the samples of one row (or one plane's row) as the file holds them.
    const auto pack = [&](size_t first, size_t n, size_t step, std::vector<uint8_t>& row) {
        row.resize(n * bytesPerSample);
        for (size_t i = 0; i < n; ++i) put(s[first + i * step], &row[i * bytesPerSample]);
    };
    std::vector<uint8_t> row;
    if (spec.tiled) {
        // Tiles of 16 x 16, the samples of the image where it covers them and 0 beyond it;
        // planar images have a tile per plane.
        constexpr uint32_t kTile = 16;
        TIFFSetField(tif, TIFFTAG_TILEWIDTH, kTile);
        TIFFSetField(tif, TIFFTAG_TILELENGTH, kTile);
        const bool planar = spec.planar == PLANARCONFIG_SEPARATE;
        const unsigned planes = planar ? spp : 1, perTile = planar ? 1 : spp;
        std::vector<uint8_t> tile(size_t(TIFFTileSize(tif)), 0);
        for (unsigned c = 0; c < planes; ++c)
            for (uint32_t y = 0; y < spec.height; y += kTile)
                for (uint32_t x = 0; x < spec.width; x += kTile) {
                    std::fill(tile.begin(), tile.end(), uint8_t(0));
                    if (!s.empty())
                        for (uint32_t r = 0; r < kTile && y + r < spec.height; ++r)
                            for (uint32_t i = 0; i < kTile && x + i < spec.width; ++i)
                                for (unsigned k = 0; k < perTile; ++k) {
                                    const size_t pixel = size_t(y + r) * spec.width + x + i;
                                    put(s[pixel * spp + (planar ? c : k)],
                                        &tile[((r * kTile + i) * perTile + k) * bytesPerSample]);
                                }
                    TIFFWriteTile(tif, tile.data(), x, y, 0, uint16_t(c));
                }
    } else if (spec.planar == PLANARCONFIG_SEPARATE) {
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 8u);
        for (unsigned c = 0; c < spp; ++c)
            for (uint32_t y = 0; y < spec.height; ++y) {
                pack(size_t(y) * spec.width * spp + c, spec.width, spp, row);
                TIFFWriteScanline(tif, row.data(), y, uint16_t(c));
            }
    } else {
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 8u);
        for (uint32_t y = 0; y < spec.height; ++y) {
            pack(size_t(y) * spec.width * spp, size_t(spec.width) * spp, 1, row);
            ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
        }
    }
    TIFFClose(tif);
}

} // namespace

void WriteTiff(const std::string& path, const TiffSpec& spec, const std::vector<uint16_t>& s) {
    const auto out = AsOutputSpec(spec);
    if (!out) {
        WriteUnusualTiff(path, spec, s);
        return;
    }
    // The images a converter writes: through the tool's own writer.
    const size_t count = size_t(spec.width) * spec.height * spec.samplesPerPixel;
    ASSERT_GE(s.size(), count) << path;
    std::vector<uint8_t> bytes(count * (spec.bits / 8));
    if (spec.bits == 8)
        std::transform(s.begin(), s.begin() + count, bytes.begin(),
                       [](uint16_t v) { return uint8_t(v); });
    else
        std::memcpy(bytes.data(), s.data(), count * 2);
    QuietTiff();
    try {
        TiffWriter writer(path, *out, path);
        writer.WriteRows(spec.height, bytes.data());
        writer.Finish();
    } catch (const std::exception& e) {
        FAIL() << e.what();
    }
}

AnyImage ReadAnyImage(const std::string& path, unsigned page) {
    AnyImage image;
    QuietTiff();
    try {
        auto reader = OpenImage(path, page);
        image.info = reader->Info();
        const size_t count =
            size_t(image.info.width) * image.info.height * image.info.samplesPerPixel();
        image.samples.resize(count);
        if (image.info.bits == 8) {
            std::vector<uint8_t> bytes(count);
            reader->ReadRows(image.info.height, bytes.data());
            std::copy(bytes.begin(), bytes.end(), image.samples.begin());
        } else {
            reader->ReadRows(image.info.height, image.samples.data());
        }
    } catch (const std::exception& e) {
        ADD_FAILURE() << path << ": " << e.what();
        return {};
    }
    return image;
}

TiffImage ReadTiff(const std::string& path) {
    TiffImage image;
    QuietTiff();
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) {
        ADD_FAILURE() << "cannot open " << path;
        return image;
    }
    TiffSpec& s = image.spec;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &s.width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &s.height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &s.bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &s.samplesPerPixel);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &s.photometric);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &s.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &s.compression);
    uint16_t extraCount = 0;
    uint16_t* extraKinds = nullptr;
    if (TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extraKinds))
        s.extraKinds.assign(extraKinds, extraKinds + extraCount);
    TIFFGetField(tif, TIFFTAG_INKSET, &s.inkset);
    TIFFGetField(tif, TIFFTAG_NUMBEROFINKS, &s.numberOfInks);
    uint32_t iccSize = 0;
    void* icc = nullptr;
    if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &iccSize, &icc) && icc) {
        image.hasIcc = true;
        s.icc.assign(static_cast<uint8_t*>(icc), static_cast<uint8_t*>(icc) + iccSize);
    }
    if (TIFFIsTiled(tif) || s.planar != PLANARCONFIG_CONTIG || (s.bits != 8 && s.bits != 16)) {
        ADD_FAILURE() << path << ": not a chunky strip image of 8 or 16 bits";
        TIFFClose(tif);
        return image;
    }
    const size_t rowSamples = size_t(s.width) * s.samplesPerPixel;
    std::vector<uint8_t> row(size_t(TIFFScanlineSize64(tif)));
    image.samples.reserve(rowSamples * s.height);
    for (uint32_t y = 0; y < s.height; ++y) {
        if (TIFFReadScanline(tif, row.data(), y, 0) < 0) {
            ADD_FAILURE() << path << ": cannot read row " << y;
            break;
        }
        for (size_t i = 0; i < rowSamples; ++i) {
            uint16_t v;
            if (s.bits == 8) {
                v = row[i];
            } else {
                std::memcpy(&v, &row[2 * i], 2);
            }
            image.samples.push_back(v);
        }
    }
    TIFFClose(tif);
    return image;
}

void WritePng(const std::string& path, uint32_t width, uint32_t height, unsigned bits,
              int colorType, const std::vector<uint16_t>& samples, const std::vector<uint8_t>& icc,
              bool interlaced) {
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr) << path;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(f);
        FAIL() << "libpng failed writing " << path;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, width, height, int(bits), colorType,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!icc.empty())
        png_set_iCCP(png, info, "test", PNG_COMPRESSION_TYPE_BASE, icc.data(),
                     png_uint_32(icc.size()));
    png_write_info(png, info);
    const unsigned channels = colorType == 0 ? 1 : colorType == 2 ? 3 : colorType == 4 ? 2 : 4;
    const size_t rowSamples = size_t(width) * channels;
    std::vector<uint8_t> rows(rowSamples * height * (bits / 8));
    for (size_t i = 0; i < rowSamples * height; ++i) {
        if (bits == 8) {
            rows[i] = uint8_t(samples[i]);
        } else { // PNG is big-endian
            rows[2 * i] = uint8_t(samples[i] >> 8);
            rows[2 * i + 1] = uint8_t(samples[i]);
        }
    }
    std::vector<png_bytep> pointers(height);
    for (uint32_t y = 0; y < height; ++y) pointers[y] = &rows[y * rowSamples * (bits / 8)];
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
}

// ---------------------------------------------------------------------------------------------
// Profiles

namespace {

double Clamp01(double v) {
    return v < 0 ? 0 : v > 1 ? 1 : v;
}

// Version-2 16-bit Lab of the profiles: L 100 at 0xFF00, a and b 0 at 0x8000.
void EncodeLab(double L, double a, double b, uint16_t* out) {
    const auto lim = [](double v) { return uint16_t(std::lround(std::clamp(v, 0.0, 65535.0))); };
    out[0] = lim(L * 652.8);
    out[1] = lim((a + 128) * 256);
    out[2] = lim((b + 128) * 256);
}
void DecodeLab(const double* in01, double& L, double& a, double& b) {
    L = in01[0] * 65535 / 652.8;
    a = in01[1] * 65535 / 256 - 128;
    b = in01[2] * 65535 / 256 - 128;
}

using NodeFunction = std::function<void(const double* in01, uint16_t* out)>;

// A table of identity curves and a grid sampled from a function of the node's inputs (each
// 0..1); nodes in ICC order, the first input varying slowest.
kvrtest::FuncTab FormulaTab(unsigned in, unsigned out, unsigned points, NodeFunction f) {
    kvrtest::FuncTab tab(in, out, points);
    tab.Grid(std::move(f));
    return tab;
}

void RgbToLab(const double* in, uint16_t* out) {
    const double y = 0.25 * in[0] + 0.6 * in[1] + 0.15 * in[2];
    EncodeLab(100 * std::pow(y, 0.8), 70 * (in[0] - in[1]), 60 * (in[1] - in[2]), out);
}
void LabToRgb(const double* in, uint16_t* out) {
    double L, a, b;
    DecodeLab(in, L, a, b);
    const double l = L / 100;
    const double rgb[3] = {Clamp01(l + a / 200), Clamp01(l - a / 400 + b / 300),
                           Clamp01(l - b / 150)};
    for (int c = 0; c < 3; ++c) out[c] = uint16_t(std::lround(rgb[c] * 65535));
}
// Inks from Lab: the CMYK of a simple separation, and further inks for strong colours.
void LabToInks(const double* in, uint16_t* out, unsigned inks) {
    double L, a, b;
    DecodeLab(in, L, a, b);
    const double base = 1 - L / 100;
    double v[6] = {base * 0.8 - a / 400 - b / 800,
                   base * 0.8 + a / 300,
                   base * 0.8 + b / 300,
                   (base - 0.5) * 1.6,
                   (a + b) / 256,
                   -a / 200};
    for (unsigned c = 0; c < inks; ++c) out[c] = uint16_t(std::lround(Clamp01(v[c]) * 65535));
}
void InksToLab(const double* in, uint16_t* out, unsigned inks) {
    double extra = 0;
    for (unsigned c = 4; c < inks; ++c) extra += in[c] * 0.1;
    const double L =
        100 * Clamp01(1 - in[0] * 0.4 - in[1] * 0.5 - in[2] * 0.1 - extra) * (1 - in[3] * 0.8);
    EncodeLab(L, 60 * (in[1] - in[0] * 0.5), 60 * (in[2] - in[0] * 0.3 - in[1] * 0.2), out);
}
// Out of gamut where the chroma is high.
void LabToGamut(const double* in, uint16_t* out) {
    double L, a, b;
    DecodeLab(in, L, a, b);
    out[0] = uint16_t(std::lround(Clamp01((std::hypot(a, b) - 50) / 20) * 65535));
}

void SaveProfile(CIccProfileGen1& gen, const std::string& path) {
    ASSERT_TRUE(gen.OnSaveDocument(Utf8ToWide(path).c_str())) << path;
}

void Common(CIccProfileGen1& gen, const char* description) {
    gen.AddProfileDescriptionTag(description);
    gen.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    // D50 media white in s15Fixed16.
    gen.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
}

uint32_t NColorSig(unsigned n) {
    return (uint32_t('0' + n) << 24) | (MakeIccSignature("2CLR") & 0x00FFFFFFu);
}
} // namespace

Profiles MakeProfiles(const std::string& dir) {
    CUserSettingsMgr settings;
    Profiles p;
    p.rgb = dir + "/TestRgb.icc";
    p.rgbAlt = dir + "/TestRgbAlt.icc";
    p.rgbInput = dir + "/TestRgbInput.icc";
    p.cmyk = dir + "/TestCmyk.icc";
    p.gray = dir + "/TestGray.icc";
    p.five = dir + "/TestFive.icc";
    p.six = dir + "/TestSix.icc";
    {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigDisplayClass, icSigRgbData, icSigLabData, 0);
        Common(gen, "Test RGB");
        gen.AddLut16Tag(icSigAToB0Tag, FormulaTab(3, 3, 9, RgbToLab));
        gen.AddLut16Tag(icSigBToA0Tag, FormulaTab(3, 3, 9, LabToRgb));
        SaveProfile(gen, p.rgb);
    }
    {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigDisplayClass, icSigRgbData, icSigLabData, 0);
        Common(gen, "Test RGB, other tables");
        gen.AddLut16Tag(icSigAToB0Tag, FormulaTab(3, 3, 9, [](const double* in, uint16_t* out) {
                            const double swapped[3] = {in[2], in[0], in[1]};
                            RgbToLab(swapped, out);
                        }));
        gen.AddLut16Tag(icSigBToA0Tag, FormulaTab(3, 3, 9, LabToRgb));
        SaveProfile(gen, p.rgbAlt);
    }
    {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigInputClass, icSigRgbData, icSigLabData, 0);
        Common(gen, "Test RGB input only");
        gen.AddLut16Tag(icSigAToB0Tag, FormulaTab(3, 3, 9, RgbToLab));
        SaveProfile(gen, p.rgbInput);
    }
    {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, 0);
        Common(gen, "Test CMYK printer");
        gen.AddLut16Tag(icSigAToB0Tag, FormulaTab(4, 3, 5, [](const double* in, uint16_t* out) {
                            InksToLab(in, out, 4);
                        }));
        gen.AddLut16Tag(icSigBToA0Tag, FormulaTab(3, 4, 9, [](const double* in, uint16_t* out) {
                            LabToInks(in, out, 4);
                        }));
        gen.AddLut16Tag(icSigGamutTag, FormulaTab(3, 1, 9, LabToGamut));
        SaveProfile(gen, p.cmyk);
    }
    {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigDisplayClass, icSigGrayData, icSigXYZData, 0);
        Common(gen, "Test grey");
        gen.AddCurveTag(icSigGrayTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
        SaveProfile(gen, p.gray);
    }
    for (unsigned inks : {5u, 6u}) {
        CIccProfileGen1 gen(&settings);
        gen.SetHeader(icSigOutputClass, NColorSig(inks), icSigLabData, 0);
        Common(gen, inks == 5 ? "Test 5-colour printer" : "Test 6-colour printer");
        gen.AddLut16Tag(icSigAToB0Tag,
                        FormulaTab(inks, 3, 2, [inks](const double* in, uint16_t* out) {
                            InksToLab(in, out, inks);
                        }));
        gen.AddLut16Tag(icSigBToA0Tag,
                        FormulaTab(3, inks, 9, [inks](const double* in, uint16_t* out) {
                            LabToInks(in, out, inks);
                        }));
        SaveProfile(gen, inks == 5 ? p.five : p.six);
    }
    return p;
}

// ---------------------------------------------------------------------------------------------
// The library's own answer

std::vector<uint16_t> LinkPixels(const std::vector<Step>& steps, unsigned inFmt, unsigned nIn,
                                 unsigned outFmt, unsigned nOut,
                                 const std::vector<uint16_t>& colour, unsigned bits) {
    CUserSettingsMgr settings;
    CColorLink link(&settings);
    for (const auto& s : steps) {
        if (!link.AddProfile(Utf8ToWide(s.path).c_str(), s.kind, s.intent)) {
            ADD_FAILURE() << s.path << ": AddProfile failed with " << link.GetLinkError();
            return {};
        }
    }
    if (!link.CreateLink(inFmt, nIn, outFmt, nOut)) {
        ADD_FAILURE() << "CreateLink failed with " << link.GetLinkError();
        return {};
    }
    const size_t pixels = colour.size() / nIn;
    std::vector<uint16_t> result(pixels * nOut);
    if (bits == 8) {
        std::vector<uint8_t> in(colour.begin(), colour.end()), out(pixels * nOut);
        link.TrnPixels8(in.data(), out.data(), unsigned(pixels));
        std::copy(out.begin(), out.end(), result.begin());
    } else {
        link.TrnPixels16(colour.data(), result.data(), unsigned(pixels));
    }
    return result;
}

std::vector<uint16_t> Channels(const std::vector<uint16_t>& samples, unsigned spp, unsigned first,
                               unsigned n) {
    std::vector<uint16_t> out;
    out.reserve(samples.size() / spp * n);
    for (size_t p = 0; p + spp <= samples.size(); p += spp)
        out.insert(out.end(), samples.begin() + long(p + first),
                   samples.begin() + long(p + first + n));
    return out;
}

} // namespace clitest
