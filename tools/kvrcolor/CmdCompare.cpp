// kvrcolor compare: one chain built by every engine that can build it, a fixed sample of colours
// (or the pixels of an image) through each, and the CIEDE2000 differences between each pair of
// engines, measured in Lab: each engine's device output goes through the destination profile's
// device-to-Lab table with lcms2 (relative colorimetric), so that all engines are measured
// by one and the same yardstick that none of them built.
//
// The fixed sample is a cube grid of the input space, a grey ramp and pseudo-random colours from
// a fixed seed, all on 8-bit values, so that the 8-bit ICM engine sees exactly the colours the
// 16-bit engines see.
#include <CLI/CLI.hpp>
#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Chain.h"
#include "CliError.h"
#include "ColourValues.h"
#include "Commands.h"
#include "Engine.h"
#include "image/ImageReader.h"
#include "image/SampleCodec.h"

namespace {

struct CompareOptions {
    ChainOptions chain;
    std::string inFormat;
    std::string image;
    std::vector<std::string> engines{"native", "lcms", "icm"};
};

// The colours of the sample as the link's 16-bit codes, with where each came from.
struct Sample {
    PixelSpace space;
    std::vector<uint16_t> codes; // space.channels a colour
    std::vector<std::string> where;
    bool eightBit = true; // every code is an 8-bit value widened, so 8-bit engines see it whole
    std::string summary;

    size_t size() const { return where.size(); }
};

// Colours of the cube grid: about kCubeColours, at least two levels an axis, at most 256.
constexpr double kCubeColours = 4096;
// Colours of the grey ramp and of the random part.
constexpr unsigned kRampSteps = 52; // 0, 5, ..., 255
constexpr unsigned kRandomColours = 1000;
// A fixed seed: the same sample every run, so results can be compared between builds.
constexpr uint32_t kSeed = 20261124;
// Images: at most this many pixels are measured, evenly spread.
constexpr size_t kMaxImagePixels = size_t(1) << 20;

// A 8-bit value as the link's 16-bit code: L, a, b of Lab have 256 codes a unit (0xFF00 is
// L 100), device values span the whole range (255 is 65535).
uint16_t Widen(uint8_t v, const PixelSpace& space) {
    return space.model == ColourModel::Lab ? uint16_t(v << 8) : uint16_t(v * 257);
}
uint8_t Narrow(uint16_t code, const PixelSpace& space) {
    return space.model == ColourModel::Lab ? uint8_t(code >> 8) : uint8_t(code / 257);
}

void Add(Sample& s, const std::vector<uint8_t>& values, const std::string& where) {
    for (uint8_t v : values) s.codes.push_back(Widen(v, s.space));
    s.where.push_back(where);
}

Sample FixedSample(const PixelSpace& space) {
    Sample s;
    s.space = space;
    const unsigned n = space.channels;
    const unsigned levels =
        std::clamp(unsigned(std::floor(std::pow(kCubeColours, 1.0 / n) + 1e-9)), 2u, 256u);
    std::vector<unsigned> index(n, 0);
    size_t cube = 0;
    for (bool more = true; more; ++cube) {
        std::vector<uint8_t> v(n);
        for (unsigned c = 0; c < n; ++c)
            v[c] = uint8_t((index[c] * 255 + (levels - 1) / 2) / (levels - 1));
        Add(s, v, "cube");
        more = false;
        for (unsigned c = n; c-- > 0;) {
            if (++index[c] < levels) {
                more = true;
                break;
            }
            index[c] = 0;
        }
    }
    for (unsigned k = 0; k < kRampSteps; ++k) {
        const uint8_t g = uint8_t(k * 255 / (kRampSteps - 1));
        std::vector<uint8_t> v(n, g);
        if (space.model == ColourModel::Lab) v = {g, 128, 128};                // neutral: a = b = 0
        if (space.model == ColourModel::Cmyk) v = {0, 0, 0, uint8_t(255 - g)}; // black ink only
        Add(s, v, "grey ramp");
    }
    std::mt19937 random(kSeed); // its output is fixed by the standard, whatever the library
    for (unsigned k = 0; k < kRandomColours; ++k) {
        std::vector<uint8_t> v(n);
        for (auto& x : v) x = uint8_t(random() >> 24);
        Add(s, v, "random #" + std::to_string(k + 1));
    }
    s.summary = std::to_string(cube) + " cube (" + std::to_string(levels) + " levels), " +
                std::to_string(kRampSteps) + " grey ramp, " + std::to_string(kRandomColours) +
                " random = " + std::to_string(s.size()) + " colours";
    return s;
}

template <class T> void ReadImagePixels(ImageReader& reader, Sample& s, size_t every) {
    const ImageInfo& info = reader.Info();
    const unsigned n = info.space.channels, spp = info.samplesPerPixel();
    std::vector<T> row(size_t(info.width) * spp), colour(n);
    size_t index = 0;
    for (uint32_t y = 0; y < info.height; ++y) {
        reader.ReadRows(1, row.data());
        for (uint32_t x = 0; x < info.width; ++x, ++index) {
            if (index % every) continue;
            std::copy_n(&row[size_t(x) * spp], n, colour.data());
            DecodeToLink(info, colour.data(), 1);
            for (T v : colour)
                s.codes.push_back(sizeof(T) == 1 ? Widen(uint8_t(v), s.space) : uint16_t(v));
            s.where.push_back("pixel (" + std::to_string(x) + "," + std::to_string(y) + ")");
        }
    }
}

Sample ImageSample(ImageReader& reader) {
    const ImageInfo& info = reader.Info();
    Sample s;
    s.space = info.space;
    s.eightBit = info.bits == 8;
    const size_t pixels = size_t(info.width) * info.height;
    const size_t every = std::max<size_t>(1, (pixels + kMaxImagePixels - 1) / kMaxImagePixels);
    if (info.bits == 8)
        ReadImagePixels<uint8_t>(reader, s, every);
    else
        ReadImagePixels<uint16_t>(reader, s, every);
    s.summary = std::to_string(s.size()) + " pixels of " + info.path +
                (every > 1 ? " (every " + std::to_string(every) + "th)" : "");
    return s;
}

// The device (or Lab) output of one engine for the whole sample, as 16-bit codes.
std::vector<uint16_t> Run(CMdlColorLink& link, Engine engine, const ResolvedChain& chain,
                          const Sample& s) {
    const size_t count = s.size(), nIn = chain.in.channels, nOut = chain.out.channels;
    std::vector<uint16_t> out(count * nOut);
    if (Converts16Bit(engine)) {
        link.TrnPixels16(s.codes.data(), out.data(), unsigned(count));
        return out;
    }
    std::vector<uint8_t> in8(count * nIn), out8(count * nOut);
    for (size_t i = 0; i < in8.size(); ++i) in8[i] = Narrow(s.codes[i], chain.in);
    const bool icm = engine == Engine::Icm; // it has channels of its own order
    if (icm && IcmReversesChannels(chain.in, true)) ReverseChannels(in8.data(), count, nIn);
    link.TrnPixels8(in8.data(), out8.data(), unsigned(count));
    if (icm && IcmReversesChannels(chain.out, false)) ReverseChannels(out8.data(), count, nOut);
    for (size_t i = 0; i < out.size(); ++i) out[i] = Widen(out8[i], chain.out);
    return out;
}

struct ProfileCloser {
    void operator()(void* p) const { cmsCloseProfile(p); }
};
struct TransformDeleter {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};

// The link's output codes as Lab: through the destination profile (relative colorimetric) for
// device output, by the version-2 encoding for Lab output.
class LabMeter {
public:
    explicit LabMeter(const ResolvedChain& chain) : m_out(chain.out) {
        if (chain.out.model == ColourModel::Lab) return;
        if (chain.out.model == ColourModel::Gamut)
            throw CliError(kExitUsage, "compare measures colours; a gamut answer is none");
        if (chain.outputProfile.empty())
            throw CliError(kExitUsage, "compare measures in Lab through the destination profile; "
                                       "this chain has none (a device link alone)");
        m_profile.reset(cmsOpenProfileFromFile(chain.outputProfile.c_str(), "r"));
        std::unique_ptr<void, ProfileCloser> lab(cmsCreateLab4Profile(nullptr));
        if (m_profile && lab) {
            const cmsUInt32Number format =
                cmsFormatterForColorspaceOfProfile(m_profile.get(), 2, 0);
            m_transform.reset(cmsCreateTransform(m_profile.get(), format, lab.get(), TYPE_Lab_DBL,
                                                 INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
        }
        if (!m_transform)
            throw CliError(kExitProfile, chain.outputProfile +
                                             ": lcms2 makes no device-to-Lab transform of it "
                                             "to measure the output in");
    }

    std::vector<cmsCIELab> Measure(const std::vector<uint16_t>& codes) const {
        const size_t count = codes.size() / m_out.channels;
        std::vector<cmsCIELab> lab(count);
        if (m_transform) {
            cmsDoTransform(m_transform.get(), codes.data(), lab.data(), cmsUInt32Number(count));
            return lab;
        }
        for (size_t i = 0; i < count; ++i)
            lab[i] = {codes[3 * i] * 100.0 / 65280.0, codes[3 * i + 1] / 256.0 - 128.0,
                      codes[3 * i + 2] / 256.0 - 128.0};
        return lab;
    }

private:
    PixelSpace m_out;
    std::unique_ptr<void, ProfileCloser> m_profile;
    std::unique_ptr<void, TransformDeleter> m_transform;
};

struct Measured {
    std::string name;
    std::vector<cmsCIELab> lab;
};

void PrintPair(const Measured& a, const Measured& b, const Sample& s) {
    std::vector<double> d(s.size());
    size_t worst = 0;
    double sum = 0;
    for (size_t i = 0; i < d.size(); ++i) {
        d[i] = cmsCIE2000DeltaE(&a.lab[i], &b.lab[i], 1, 1, 1);
        sum += d[i];
        if (d[i] > d[worst]) worst = i;
    }
    const double mean = sum / double(d.size()), max = d[worst];
    const std::string input =
        FormatColour(&s.codes[worst * s.space.channels], s.space, Units::Natural);
    std::vector<double> sorted = d;
    const size_t at95 = size_t(std::ceil(0.95 * double(sorted.size()))) - 1;
    std::nth_element(sorted.begin(), sorted.begin() + long(at95), sorted.end());
    std::printf("%s vs %s: mean %.4f  p95 %.4f  max %.4f at %s (%s %s)\n", a.name.c_str(),
                b.name.c_str(), mean, sorted[at95], max, s.where[worst].c_str(),
                SpaceName(s.space).c_str(), input.c_str());
}

int RunCompare(const CompareOptions& o) {
    if (o.chain.engine != "auto")
        throw CliError(kExitUsage, "compare takes --engines LIST, not --engine");
    std::vector<Engine> engines;
    for (const std::string& name : o.engines) {
        const Engine e = ParseEngine(name);
        if (e == Engine::Auto) throw CliError(kExitUsage, "--engines: name engines, not auto");
        engines.push_back(e);
    }
    if (engines.size() < 2) throw CliError(kExitUsage, "--engines: name two engines or more");

    std::unique_ptr<ImageReader> reader;
    if (!o.image.empty()) {
        if (!o.inFormat.empty())
            throw CliError(kExitUsage, "--in-format: the image tells its own pixels");
        reader = OpenImage(o.image);
    }
    const ChainSettings settings = ParseChainOptions(o.chain);
    const PixelSpace in = reader               ? reader->Info().space
                          : o.inFormat.empty() ? ImpliedInputSpace(settings)
                                               : ParseInFormat(o.inFormat);
    ResolvedChain chain = ResolveChain(settings, in, reader ? o.image : "the input",
                                       reader ? reader->Info().icc : std::vector<uint8_t>{});
    const LabMeter meter(chain);
    const Sample sample = reader ? ImageSample(*reader) : FixedSample(in);
    if (sample.size() == 0) throw CliError(kExitInput, o.image + ": no pixels");

    std::printf("chain: %s, %s -> %s\n", DescribeChain(chain).c_str(), SpaceName(chain.in).c_str(),
                SpaceName(chain.out).c_str());
    std::printf("sample: %s\n", sample.summary.c_str());
    std::vector<Measured> measured;
    for (Engine e : engines) {
        try {
            ChooseEngine(e, chain); // refuses what the engine would not do as asked
            if (!Converts16Bit(e) && !sample.eightBit)
                throw CliError(kExitLink, "16-bit input; it converts 8-bit pixels only");
            auto link = BuildLink(chain, e);
            measured.push_back({EngineName(e), meter.Measure(Run(*link, e, chain, sample))});
        } catch (const CliError& error) {
            std::printf("skipped %s: %s\n", EngineName(e), error.what());
        }
    }
    if (measured.size() < 2)
        throw CliError(kExitLink, "fewer than two engines could build the chain");
    std::printf("dE2000 in Lab %s:\n",
                chain.out.model == ColourModel::Lab
                    ? "as the chain gives it"
                    : ("through " + chain.outputProfile + " (relative colorimetric)").c_str());
    for (size_t i = 0; i < measured.size(); ++i)
        for (size_t j = i + 1; j < measured.size(); ++j)
            PrintPair(measured[i], measured[j], sample);
    if (std::fflush(stdout)) throw CliError(kExitOutput, "stdout: cannot be written");
    return kExitOk;
}
} // namespace

Command RegisterCompare(CLI::App& parent) {
    auto o = std::make_shared<CompareOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "compare", "Convert one chain with every engine and print the dE2000 between them");
    AddChainOptions(*cmd, o->chain);
    AddInFormatOption(*cmd, o->inFormat);
    cmd->add_option("--image", o->image,
                    "Measure the pixels of this TIFF or PNG image instead of the fixed sample");
    cmd->add_option("--engines", o->engines,
                    "Engines to compare, separated by commas (default native,lcms,icm); an "
                    "engine may be named twice")
        ->delimiter(',');
    return {cmd, [o] { return RunCompare(*o); }};
}
