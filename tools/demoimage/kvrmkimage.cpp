// kvrmkimage: writes generated RGB TIFF images.
//
//   demo    a 1600 x 1000 demonstration picture: hue against lightness and against saturation,
//           a continuous and a stepped grey ramp, patches of a colour checker chart, and the
//           primaries and secondaries.
//   noise   random pixels from a fixed seed: the worst case for a colour cache.
//   smooth  smooth gradients in all three channels.
//
// Images are written uncompressed by the TIFF writer of the kvrcolor tool, in bands of about
// 1 MiB of rows, so that the memory used stays the same however large the image is (20000 x
// 20000 takes a few MiB).
// No ICC profile is embedded unless asked for, so that a converter applies its default source.
#include <lcms2.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "image/TiffWriter.h"

namespace {

constexpr size_t kBandBytes = size_t(1) << 20;
constexpr uint32_t kMaxSide = 1u << 20;

void Usage(FILE* f) {
    std::fputs(
        "Usage: kvrmkimage demo OUT.tif [options]\n"
        "       kvrmkimage noise WIDTH HEIGHT OUT.tif [options]\n"
        "       kvrmkimage smooth WIDTH HEIGHT OUT.tif [options]\n"
        "\n"
        "Writes a generated RGB TIFF, uncompressed.\n"
        "  demo    1600 x 1000 demonstration picture: hue/lightness and hue/saturation\n"
        "          gradients, grey ramps, colour checker patches, primaries and secondaries\n"
        "  noise   random pixels from a fixed seed\n"
        "  smooth  smooth gradients in all three channels\n"
        "\n"
        "Options:\n"
        "  --16        16 bits per sample (default 8)\n"
        "  --srgb      embed an sRGB profile (default: no profile embedded)\n"
        "  --icc FILE  embed the ICC profile read from FILE\n"
        "  --seed N    seed of the noise image (default 1)\n"
        "  --quiet     print nothing on success\n",
        f);
}

// Rows of an image, produced in order from the top, as 16-bit samples or as 8-bit samples.
class RowSource {
public:
    virtual ~RowSource() = default;
    virtual void Row16(uint32_t y, uint16_t* rgb) = 0;
    // 8-bit rows: by default the 16-bit row rounded to the nearest 8-bit value.
    virtual void Row8(uint32_t y, uint8_t* rgb) {
        static const std::vector<uint8_t> to8 = [] {
            std::vector<uint8_t> t(65536);
            for (uint32_t v = 0; v < 65536; ++v) t[v] = uint8_t((v * 255u + 32767u) / 65535u);
            return t;
        }();
        tmp_.resize(size_t(width_) * 3);
        Row16(y, tmp_.data());
        const uint16_t* in = tmp_.data();
        const uint8_t* t = to8.data();
        for (size_t i = 0, n = tmp_.size(); i < n; ++i) rgb[i] = t[in[i]];
    }
    uint32_t Width() const { return width_; }
    uint32_t Height() const { return height_; }

protected:
    RowSource(uint32_t w, uint32_t h) : width_(w), height_(h) {}
    uint32_t width_, height_;

private:
    std::vector<uint16_t> tmp_;
};

// ---------------------------------------------------------------------------------------------
// Noise: a splitmix64 stream over the whole image in row order, so that the pixels depend only
// on the seed, the size and the sample width, not on the strip size.

class NoiseSource : public RowSource {
public:
    NoiseSource(uint32_t w, uint32_t h, uint64_t seed) : RowSource(w, h), state_(seed) {}
    void Row16(uint32_t, uint16_t* rgb) override { Fill(reinterpret_cast<uint8_t*>(rgb), 6); }
    void Row8(uint32_t, uint8_t* rgb) override { Fill(rgb, 3); }

private:
    uint64_t Next() {
        uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    void Fill(uint8_t* p, size_t bytesPerPixel) {
        size_t n = size_t(width_) * bytesPerPixel;
        size_t i = 0;
        for (; i + 8 <= n; i += 8) {
            uint64_t r = Next();
            std::memcpy(p + i, &r, 8);
        }
        if (i < n) {
            uint64_t r = Next();
            std::memcpy(p + i, &r, n - i);
        }
    }
    uint64_t state_;
};

// ---------------------------------------------------------------------------------------------
// Smooth: red rises from left to right, green from top to bottom, blue falls along the
// diagonal; neighbouring pixels differ by at most a step or two.

class SmoothSource : public RowSource {
public:
    SmoothSource(uint32_t w, uint32_t h) : RowSource(w, h), col_(w) {
        for (uint32_t x = 0; x < w; ++x) col_[x] = Ramp(x, w);
    }
    void Row16(uint32_t y, uint16_t* rgb) override {
        uint32_t g = Ramp(y, height_);
        for (uint32_t x = 0; x < width_; ++x) {
            uint32_t r = col_[x];
            rgb[0] = uint16_t(r);
            rgb[1] = uint16_t(g);
            rgb[2] = uint16_t(65535u - (r + g + 1) / 2);
            rgb += 3;
        }
    }

private:
    static uint32_t Ramp(uint32_t i, uint32_t n) {
        return n > 1 ? uint32_t((uint64_t(i) * 65535u + (n - 1) / 2) / (n - 1)) : 0u;
    }
    std::vector<uint32_t> col_;
};

// ---------------------------------------------------------------------------------------------
// Demonstration picture, 1600 x 1000, drawn in sRGB-encoded values.

struct Rgb {
    double r, g, b;
};

// HSL to RGB with hue in [0, 1), saturation and lightness in [0, 1].
Rgb Hsl(double h, double s, double l) {
    auto channel = [](double p, double q, double t) {
        t -= std::floor(t);
        if (t < 1.0 / 6) return p + (q - p) * 6 * t;
        if (t < 0.5) return q;
        if (t < 2.0 / 3) return p + (q - p) * (2.0 / 3 - t) * 6;
        return p;
    };
    double q = l < 0.5 ? l * (1 + s) : l + s - l * s;
    double p = 2 * l - q;
    return {channel(p, q, h + 1.0 / 3), channel(p, q, h), channel(p, q, h - 1.0 / 3)};
}

struct Patch {
    uint32_t x0, y0, x1, y1; // half-open rectangle
    Rgb c;
};

class DemoSource : public RowSource {
public:
    static constexpr uint32_t kW = 1600, kH = 1000;
    // Bands from the top: hue against lightness, hue against saturation, continuous grey
    // ramp, stepped grey ramp, then the patches on a neutral background.
    static constexpr uint32_t kHueLightEnd = 480, kHueSatEnd = 600, kGreyEnd = 660, kStepEnd = 720;

    DemoSource() : RowSource(kW, kH) {
        // 24 patches in the manner of a colour checker chart (sRGB, 8 bit): skin tones, sky,
        // foliage, flower, then saturated colours, then a neutral row from white to black.
        static const uint8_t checker[24][3] = {
            {115, 82, 68},   {194, 150, 130}, {98, 122, 157}, {87, 108, 67},   {133, 128, 177},
            {103, 189, 170}, {214, 126, 44},  {80, 91, 166},  {193, 90, 99},   {94, 60, 108},
            {157, 188, 64},  {224, 163, 46},  {56, 61, 150},  {70, 148, 73},   {175, 54, 60},
            {231, 199, 31},  {187, 86, 149},  {8, 133, 161},  {243, 243, 242}, {200, 200, 200},
            {160, 160, 160}, {122, 122, 121}, {85, 85, 85},   {52, 52, 52}};
        // Four rows of six, 96 x 50 each, from y 740 to 970.
        const uint32_t top = kStepEnd + 20, cell = 110, pw = 96, ph = 50, rowStep = 60;
        for (uint32_t i = 0; i < 24; ++i) {
            uint32_t x0 = 20 + (i % 6) * cell, y0 = top + (i / 6) * rowStep;
            Rgb c{checker[i][0] / 255.0, checker[i][1] / 255.0, checker[i][2] / 255.0};
            patches_.push_back({x0, y0, x0 + pw, y0 + ph, c});
        }
        // Primaries, secondaries, white and black, and a few memory colours (light and dark
        // skin, sky, grass, sea) as larger patches on the right.
        static const Rgb solid[16] = {
            {1, 0, 0},          {0, 1, 0},          {0, 0, 1},          {0, 1, 1},
            {1, 0, 1},          {1, 1, 0},          {1, 1, 1},          {0, 0, 0},
            {0.96, 0.80, 0.69}, {0.55, 0.36, 0.24}, {0.53, 0.81, 0.92}, {0.20, 0.55, 0.25},
            {0.00, 0.41, 0.58}, {0.50, 0.50, 0.50}, {0.25, 0.25, 0.25}, {0.75, 0.75, 0.75}};
        // Two rows of eight, 110 high, from x 720 to the right margin.
        const uint32_t left = 20 + 6 * cell + 40, sw = (kW - 20 - left) / 8, sh = 110;
        for (uint32_t i = 0; i < 16; ++i) {
            uint32_t x0 = left + (i % 8) * sw, y0 = top + (i / 8) * (sh + 10);
            patches_.push_back({x0 + 4, y0, x0 + sw - 4, y0 + sh, solid[i]});
        }
    }

    void Row16(uint32_t y, uint16_t* out) override {
        for (uint32_t x = 0; x < kW; ++x) {
            Rgb c = At(x, y);
            *out++ = Q(c.r);
            *out++ = Q(c.g);
            *out++ = Q(c.b);
        }
    }

private:
    static uint16_t Q(double v) { return uint16_t(std::lround(std::clamp(v, 0.0, 1.0) * 65535)); }

    Rgb At(uint32_t x, uint32_t y) const {
        const double hue = (x + 0.5) / kW;
        if (y < kHueLightEnd) // white at the top, full colour in the middle, black at the bottom
            return Hsl(hue, 1.0, 1.0 - (y + 0.5) / kHueLightEnd);
        if (y < kHueSatEnd) // full colour at the top to mid grey at the bottom
            return Hsl(hue, 1.0 - (y - kHueLightEnd + 0.5) / (kHueSatEnd - kHueLightEnd), 0.5);
        if (y < kGreyEnd) { // black to white
            double v = double(x) / (kW - 1);
            return {v, v, v};
        }
        if (y < kStepEnd) { // 21 steps of 5 %
            double v = std::min(20u, x * 21 / kW) / 20.0;
            return {v, v, v};
        }
        for (const Patch& p : patches_)
            if (x >= p.x0 && x < p.x1 && y >= p.y0 && y < p.y1) return p.c;
        return {0.42, 0.42, 0.42};
    }

    std::vector<Patch> patches_;
};

// ---------------------------------------------------------------------------------------------

bool ParseSize(const char* s, uint32_t& out) {
    char* end = nullptr;
    errno = 0;
    unsigned long v = std::strtoul(s, &end, 10);
    if (errno || end == s || *end || v == 0 || v > kMaxSide) return false;
    out = uint32_t(v);
    return true;
}

bool ReadFile(const char* path, std::vector<uint8_t>& data) {
    std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path, "rb"), std::fclose);
    if (!f) return false;
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0) data.insert(data.end(), buf, buf + n);
    return !std::ferror(f.get());
}

bool SrgbProfile(std::vector<uint8_t>& data) {
    cmsHPROFILE h = cmsCreate_sRGBProfile();
    if (!h) return false;
    cmsUInt32Number n = 0;
    bool ok = cmsSaveProfileToMem(h, nullptr, &n) && n > 0;
    if (ok) {
        data.resize(n);
        ok = cmsSaveProfileToMem(h, data.data(), &n);
    }
    cmsCloseProfile(h);
    return ok;
}

bool Write(const std::string& path, RowSource& src, int bits, const std::vector<uint8_t>& icc) {
    OutputSpec spec;
    spec.width = src.Width();
    spec.height = src.Height();
    spec.bits = unsigned(bits);
    spec.space = RgbSpace();
    spec.icc = icc;
    spec.software = "kvrmkimage";
    spec.resolution = 150;
    const size_t rowBytes = spec.rowBytes();
    const uint32_t bandRows = uint32_t(std::clamp<size_t>(kBandBytes / rowBytes, 1, spec.height));
    try {
        TiffWriter writer(path, spec, path);
        std::vector<uint8_t> band(rowBytes * bandRows);
        for (uint32_t y0 = 0; y0 < spec.height; y0 += bandRows) {
            const uint32_t rows = std::min(bandRows, spec.height - y0);
            for (uint32_t r = 0; r < rows; ++r) {
                uint8_t* row = band.data() + r * rowBytes;
                if (bits == 16)
                    src.Row16(y0 + r, reinterpret_cast<uint16_t*>(row));
                else
                    src.Row8(y0 + r, row);
            }
            writer.WriteRows(rows, band.data());
        }
        writer.Finish();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kvrmkimage: %s\n", e.what());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> pos;
    int bits = 8;
    bool srgb = false, quiet = false;
    const char* iccPath = nullptr;
    uint64_t seed = 1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            Usage(stdout);
            return 0;
        } else if (a == "--16") {
            bits = 16;
        } else if (a == "--srgb") {
            srgb = true;
        } else if (a == "--quiet") {
            quiet = true;
        } else if (a == "--icc" && i + 1 < argc) {
            iccPath = argv[++i];
        } else if (a == "--seed" && i + 1 < argc) {
            char* end = nullptr;
            seed = std::strtoull(argv[++i], &end, 10);
            if (*end) {
                std::fprintf(stderr, "kvrmkimage: bad seed '%s'\n", argv[i]);
                return 2;
            }
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "kvrmkimage: unknown option '%s'\n", a.c_str());
            Usage(stderr);
            return 2;
        } else {
            pos.push_back(a);
        }
    }
    if (srgb && iccPath) {
        std::fprintf(stderr, "kvrmkimage: --srgb and --icc exclude each other\n");
        return 2;
    }

    std::unique_ptr<RowSource> src;
    std::string out;
    if (pos.size() == 2 && pos[0] == "demo") {
        src = std::make_unique<DemoSource>();
        out = pos[1];
    } else if (pos.size() == 4 && (pos[0] == "noise" || pos[0] == "smooth")) {
        uint32_t w, h;
        if (!ParseSize(pos[1].c_str(), w) || !ParseSize(pos[2].c_str(), h)) {
            std::fprintf(stderr, "kvrmkimage: width and height must be 1 to %u\n", kMaxSide);
            return 2;
        }
        if (pos[0] == "noise")
            src = std::make_unique<NoiseSource>(w, h, seed);
        else
            src = std::make_unique<SmoothSource>(w, h);
        out = pos[3];
    } else {
        Usage(stderr);
        return 2;
    }

    std::vector<uint8_t> icc;
    if (iccPath && !ReadFile(iccPath, icc)) {
        std::fprintf(stderr, "kvrmkimage: cannot read %s\n", iccPath);
        return 1;
    }
    if (srgb && !SrgbProfile(icc)) {
        std::fprintf(stderr, "kvrmkimage: cannot make the sRGB profile\n");
        return 1;
    }
    if (!Write(out, *src, bits, icc)) {
        std::fprintf(stderr, "kvrmkimage: writing %s failed\n", out.c_str());
        std::remove(out.c_str());
        return 1;
    }
    if (!quiet) {
        double mib = double(src->Width()) * src->Height() * 3 * (bits / 8) / (1 << 20);
        std::printf("%s: %u x %u, %d-bit RGB, %s, %.1f MiB of pixels\n", out.c_str(), src->Width(),
                    src->Height(), bits,
                    icc.empty() ? "no profile" : (srgb ? "sRGB profile" : "profile embedded"), mib);
    }
    return 0;
}
