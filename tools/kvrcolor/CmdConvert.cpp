// kvrcolor convert IN OUT: an image through a chain of profiles with the engine of --engine.
//
// The image streams through in bands of rows, in three overlapping stages: a reader thread reads
// the next band while the bands are converted on the threads of --threads (all cores by default,
// never more than the cores) and a writer thread writes the band before. A band holds about
// 4 MiB of samples and three bands are under way at most, so that memory stays bounded whatever
// the size of the image. The link is built once a page and the converting threads are made once
// for the whole run. The output does not depend on the number of threads nor on the size of the
// bands: each band is cut into contiguous pieces that the link converts as one serial call
// would.
#include <CLI/CLI.hpp>
#include <tiffio.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BandPipeline.h"
#include "Chain.h"
#include "CliError.h"
#include "Commands.h"
#include "ParallelTrn.h"
#include "Progress.h"
#include "SafeOutput.h"
#include "image/ImageReader.h"
#include "image/ImageWriter.h"
#include "image/SampleCodec.h"

namespace {

struct ConvertOptions {
    std::string in;
    std::string out;
    ChainOptions chain;
    unsigned threads = 0;
    std::string compress = "none";
    std::string format; // empty: from the output's name
    int quality = kDefaultJpegQuality;
    unsigned depth = 0; // 0: the input's
    unsigned page = 0;  // from 1; 0: every page
    bool noEmbed = false;
    bool quiet = false;
    uint32_t bandRows = 0; // 0: about kImageBandBytes a band
};

// How the pixels meet the link: the ICM engine takes some with their channels reversed.
struct LinkSides {
    unsigned reverseIn = 0;  // channels of an input pixel to reverse, 0 for none
    unsigned reverseOut = 0; // the same for the output
};

void Transform(ParallelTrn& pool, CMdlColorLink& link, uint8_t* src, uint8_t* dst, size_t n,
               const LinkSides& sides) {
    if (sides.reverseIn) ReverseChannels(src, n, sides.reverseIn);
    pool.Pixels8(link, src, dst, n);
    if (sides.reverseOut) ReverseChannels(dst, n, sides.reverseOut);
}
void Transform(ParallelTrn& pool, CMdlColorLink& link, uint16_t* src, uint16_t* dst, size_t n,
               const LinkSides&) {
    pool.Pixels16(link, src, dst, n);
}

// Samples left uninitialised when made: every one is written before it is read, and a band's
// megabytes need no zero-fill first.
template <class T> class Samples {
public:
    void resize(size_t n) { m_data = std::make_unique_for_overwrite<T[]>(n); }
    T* data() { return m_data.get(); }
    T& operator[](size_t i) { return m_data[i]; }

private:
    std::unique_ptr<T[]> m_data;
};

// Work buffers of one band of rows, in samples: whole pixels as in the files.
template <class T> struct Band { Samples<T> in, out; };

// The colour channels alone of a band, when there are extra channels.
template <class T> struct ColourBuffers { Samples<T> in, out; };

// One band: split off the extra channels, bring the samples into the link's encoding, convert,
// bring them into the file's encoding, and put the extra channels back unchanged.
template <class T>
void ConvertBand(CMdlColorLink& link, const ImageInfo& info, const OutputSpec& spec, Band<T>& b,
                 ColourBuffers<T>& colour, size_t pixels, ParallelTrn& pool,
                 const LinkSides& sides) {
    const size_t nIn = info.space.channels, nOut = spec.space.channels, ex = info.extras;
    T* src = b.in.data();
    T* dst = b.out.data();
    if (ex) {
        src = colour.in.data();
        dst = colour.out.data();
        for (size_t p = 0; p < pixels; ++p) std::copy_n(&b.in[p * (nIn + ex)], nIn, &src[p * nIn]);
    }
    DecodeToLink(info, src, pixels);
    Transform(pool, link, src, dst, pixels, sides);
    EncodeFromLink(spec.lab, dst, pixels);
    if (ex) {
        for (size_t p = 0; p < pixels; ++p) {
            std::copy_n(&dst[p * nOut], nOut, &b.out[p * (nOut + ex)]);
            std::copy_n(&b.in[p * (nIn + ex) + nIn], ex, &b.out[p * (nOut + ex) + nOut]);
        }
    }
}

// `bandRows` 0 takes bands of about kImageBandBytes.
template <class T>
void Stream(ImageReader& reader, ImageWriter& writer, CMdlColorLink& link, const OutputSpec& spec,
            ParallelTrn& pool, Progress& progress, const LinkSides& sides, uint32_t bandRows) {
    const ImageInfo& info = reader.Info();
    const size_t rowMax = std::max(info.rowBytes(), spec.rowBytes());
    if (bandRows == 0)
        bandRows = uint32_t(std::clamp<size_t>(kImageBandBytes / rowMax, 1, info.height));
    bandRows = std::min(bandRows, info.height);
    const size_t bandPixels = size_t(bandRows) * info.width;
    std::vector<Band<T>> slots(BandPipeline::kSlots);
    for (Band<T>& b : slots) {
        b.in.resize(bandPixels * info.samplesPerPixel());
        b.out.resize(bandPixels * (spec.space.channels + spec.extras));
    }
    ColourBuffers<T> colour; // only the converting stage uses them
    if (info.extras) {
        colour.in.resize(bandPixels * info.space.channels);
        colour.out.resize(bandPixels * spec.space.channels);
    }
    BandPipeline::Stages stages;
    stages.read = [&](size_t s, uint32_t n) { reader.ReadRows(n, slots[s].in.data()); };
    stages.convert = [&](size_t s, uint32_t n) {
        ConvertBand(link, info, spec, slots[s], colour, size_t(n) * info.width, pool, sides);
    };
    stages.write = [&](size_t s, uint32_t n) { writer.WriteRows(n, slots[s].out.data()); };
    stages.converted = [&](uint32_t row) { progress.Update(row); };
    BandPipeline::Run(info.height, bandRows, slots.size(), stages);
}

Compression ParseCompression(const std::string& text) {
    if (text == "lzw") return Compression::Lzw;
    if (text == "deflate") return Compression::Deflate;
    return Compression::None;
}

// Every file the conversion reads: the output may be none of them.
std::vector<std::string> InputsOf(const ConvertOptions& o) {
    std::vector<std::string> inputs{o.in, o.chain.from, o.chain.to};
    for (const std::string& step : o.chain.steps) inputs.push_back(step.substr(0, step.find(':')));
    return inputs;
}

// What a page of the input becomes: size, depth, space, extra channels, profile, metadata.
OutputSpec SpecOf(const ConvertOptions& o, const ImageInfo& info, const ResolvedChain& chain,
                  ImageFormat format) {
    OutputSpec spec;
    spec.format = format;
    spec.width = info.width;
    spec.height = info.height;
    spec.bits = o.depth ? o.depth : info.bits;
    spec.space = chain.out;
    spec.extras = info.extras;
    spec.extraKinds = info.extraKinds;
    if (chain.out.model == ColourModel::Lab)
        spec.lab = info.lab == LabEncoding::IccLab ? LabEncoding::IccLab : LabEncoding::CieLab;
    if (!chain.outputProfile.empty() && !o.noEmbed)
        spec.icc = ProfileFileBytes(chain.outputProfile); // shared, not copied
    spec.compression = ParseCompression(o.compress);
    spec.quality = o.quality;
    spec.meta = info.meta;
    return spec;
}

// The input's page `page` (from 0), 16-bit when the output is.
std::unique_ptr<ImageReader> OpenPage(const ConvertOptions& o, unsigned page) {
    auto reader = OpenImage(o.in, page);
    return o.depth == 16 ? WidenTo16(std::move(reader)) : std::move(reader);
}

int RunConvert(const ConvertOptions& o) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    // The output is checked before any work, so that a refusal costs nothing.
    const ImageFormat format = ChooseFormat(o.out, o.format);
    SafeOutput::CheckTarget(o.out, InputsOf(o));
    auto reader = OpenPage(o, o.page ? o.page - 1 : 0);
    const unsigned pages = o.page ? 1 : reader->Info().pages;
    if (pages > 1 && format != ImageFormat::Tiff)
        throw CliError(kExitUsage, o.in + " has " + std::to_string(pages) + " pages and a " +
                                       FormatName(format) +
                                       " holds one: choose one with --page, or write a TIFF");

    std::unique_ptr<SafeOutput> output;
    std::unique_ptr<ImageWriter> file;
    ParallelTrn pool(o.threads); // the converting threads, for every page
    double linkSeconds = 0;
    uint64_t pixels = 0;
    std::string summary, engineText; // of the first page
    for (unsigned n = 0; n < pages; ++n) {
        if (n > 0) reader = OpenPage(o, n);
        const ImageInfo& info = reader->Info();
        const auto linkStart = Clock::now();
        ResolvedChain chain = ResolveChain(ParseChainOptions(o.chain), info.space, o.in, info.icc);
        const OutputSpec spec = SpecOf(o, info, chain, format);
        if (const std::string why = CannotHold(spec); !why.empty())
            throw CliError(kExitUsage, o.out + ": " + why);
        if (info.bits == 16 && !Converts16Bit(chain.engine.engine))
            throw CliError(kExitLayout, o.in + ": 16-bit pixels; the " +
                                            EngineName(chain.engine.engine) +
                                            " engine converts 8-bit pixels only (use --engine "
                                            "native or lcms)");
        auto link = BuildLink(chain);
        LinkSides sides;
        if (chain.engine.engine == Engine::Icm) {
            if (IcmReversesChannels(chain.in, true)) sides.reverseIn = chain.in.channels;
            if (IcmReversesChannels(chain.out, false)) sides.reverseOut = chain.out.channels;
        }
        chain.embedded.reset(); // the link has read it
        linkSeconds += std::chrono::duration<double>(Clock::now() - linkStart).count();

        if (!output) {
            output = std::make_unique<SafeOutput>(o.out, InputsOf(o));
            file = OpenWriter(output->fd(), spec, o.out);
            output->ReleaseFd();
        } else {
            file->NextPage(spec);
        }
        // In front of the file's writer, for this page: alpha associated again, and 16-bit
        // samples narrowed to the output's 8.
        ImageWriter* writer = file.get();
        std::unique_ptr<ImageWriter> associate, narrow;
        if (format == ImageFormat::Tiff && spec.extras > 0 &&
            spec.extraKinds[0] == EXTRASAMPLE_ASSOCALPHA && spec.lab == LabEncoding::None) {
            associate = AssociateAlpha(*writer, spec);
            writer = associate.get();
        }
        if (info.bits == 16 && spec.bits == 8) {
            narrow = NarrowTo8(*writer, spec);
            writer = narrow.get();
        }
        Progress progress(info.height, !o.quiet);
        if (info.bits == 8)
            Stream<uint8_t>(*reader, *writer, *link, spec, pool, progress, sides, o.bandRows);
        else
            Stream<uint16_t>(*reader, *writer, *link, spec, pool, progress, sides, o.bandRows);
        pixels += uint64_t(info.width) * info.height;
        if (n == 0) {
            char text[256];
            std::snprintf(text, sizeof text, "%ux%u %s %u-bit -> %s", info.width, info.height,
                          SpaceName(info.space).c_str(), info.bits, SpaceName(chain.out).c_str());
            summary = text;
            engineText = std::string(", engine ") + EngineName(chain.engine.engine) + " (" +
                         chain.engine.why + ")";
            if (format != ImageFormat::Tiff || spec.bits != info.bits)
                summary += std::string(" (") + FormatName(format) + " " +
                           std::to_string(spec.bits) + "-bit)";
        }
    }
    file->Finish();
    output->Commit();

    if (!o.quiet) {
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        const double mpixel = double(pixels) / 1e6;
        const std::string pageText = pages > 1 ? ", " + std::to_string(pages) + " pages" : "";
        // With the image on standard output the summary goes to the error stream.
        std::fprintf(o.out == "-" ? stderr : stdout,
                     "%s: %s%s, %.1f MPixel in %.2f s, %.1f MPixel/s (link %.2f s)%s\n",
                     o.out.c_str(), summary.c_str(), pageText.c_str(), mpixel, seconds,
                     seconds > 0 ? mpixel / seconds : 0.0, linkSeconds, engineText.c_str());
    }
    return kExitOk;
}
} // namespace

Command RegisterConvert(CLI::App& parent) {
    auto o = std::make_shared<ConvertOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "convert", "Convert a TIFF, PNG or JPEG image through a profile chain into a TIFF, PNG "
                   "or JPEG");
    cmd->add_option("IN", o->in, "Input image: TIFF (every page), PNG or JPEG")->required();
    cmd->add_option("OUT", o->out,
                    "Output image, written whole or not at all; \"-\" for standard output. Its "
                    "format is --format, else its extension (.tif, .png, .jpg; TIFF otherwise). "
                    "An existing file is replaced only if it is a regular, writable file other "
                    "than the input; a symbolic link keeps pointing to the new file")
        ->required();
    AddChainOptions(*cmd, o->chain);
    // More threads than cores are taken as the cores: they could only take turns, and the
    // output is the same for every count.
    cmd->add_option("--threads", o->threads,
                    "Threads for the pixels; 0 = all cores (default); at most the cores");
    cmd->add_option("--compress", o->compress, "Output compression (default none)")
        ->check(CLI::IsMember({"none", "lzw", "deflate"}));
    cmd->add_option("--format", o->format, "Output format: tiff, png or jpeg (default: from OUT)")
        ->check(CLI::IsMember({"tiff", "png", "jpeg"}));
    cmd->add_option("--depth", o->depth,
                    "Output bits per sample, 8 or 16 (default: the input's; 32-bit floating "
                    "point input is converted through the 16-bit path and gives 16)")
        ->check(CLI::IsMember({8, 16}));
    cmd->add_option("--quality", o->quality, "JPEG quality 1-100 (default 90)")
        ->check(CLI::Range(1, 100));
    cmd->add_option("--page", o->page,
                    "Convert only this page (from 1) of a multi-page TIFF; default: every page, "
                    "into a multi-page TIFF")
        ->check(CLI::PositiveNumber);
    cmd->add_flag("--no-embed", o->noEmbed, "Do not embed the destination profile");
    cmd->add_flag("--quiet,-q", o->quiet, "No summary line and no progress bar");
    // Not in the help: the rows of a band, for the tests that check that the output does not
    // depend on them.
    cmd->add_option("--band-rows", o->bandRows, "Rows of a band (default: about 4 MiB)")->group("");
    return {cmd, [o] { return RunConvert(*o); }};
}
