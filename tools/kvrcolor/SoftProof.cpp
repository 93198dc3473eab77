#include "SoftProof.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Chain.h"
#include "CliError.h"
#include "Engine.h"
#include "NativeLimits.h"
#include "Options.h"
#include "ParallelTrn.h"
#include "Profiles.h"
#include "SafeOutput.h"
#include "base/IniEntries.h"
#include "base/WideString.h"
#include "colorlink/Factories.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "icc/IccRecords.h"
#include "image/ImageReader.h"
#include "image/ImageWriter.h"
#include "image/SampleCodec.h"

namespace {

using LinkPtr = std::unique_ptr<CMdlColorLink>;

// The settings of the run, with the monitor profile that the command resolved: the preview and
// monitor factories read the monitor from the settings they are given.
// The same settings answer the key CMS with the engine of the run, so that every factory makes
// its link with it.
class ProofSettings : public CPrintUSM {
public:
    std::wstring MonitorProfileName() const override {
        return m_monitor.empty() ? CPrintUSM::MonitorProfileName() : m_monitor;
    }
    int GetInt(const _INIENTRY& entry) const override {
        return IsCmsEntry(entry) ? CmsValueOf(m_engine) : CPrintUSM::GetInt(entry);
    }
    // The default RGB or CMYK source file that the command found (FoundDefaultInput), which the
    // factories then read in place of the configured name.
    std::wstring GetString(const _INIENTRY& entry) const override {
        if (&entry == &IniCpInputRgb && !m_inputRgb.empty()) return m_inputRgb;
        if (&entry == &IniCpInputCmyk && !m_inputCmyk.empty()) return m_inputCmyk;
        return CPrintUSM::GetString(entry);
    }
    void SetMonitor(std::wstring path) { m_monitor = std::move(path); }
    void SetEngine(Engine engine) { m_engine = engine; }
    void SetInput(bool rgb, std::wstring fileName) {
        (rgb ? m_inputRgb : m_inputCmyk) = std::move(fileName);
    }

private:
    std::wstring m_monitor;
    std::wstring m_inputRgb, m_inputCmyk; // file names in their folders; empty: as configured
    Engine m_engine = Engine::Native;
};

// Pixels out of gamut are painted in mid grey: the colours a printer misses are the saturated
// ones, and a neutral stands out against them.
template <class T> constexpr T kGamutMarkLevel = T(std::numeric_limits<T>::max() / 2 + 1);

// The gamut answer is 0 inside; outside, profiles give the full scale or a distance (the
// default profiles: 256 per unit of colour difference). A pixel counts as out once the answer
// reaches one unit, its high byte: below that lie the traces that interpolation leaves along
// the border of the gamut.
inline bool OutOfGamut(uint8_t answer) {
    return answer != 0;
}
inline bool OutOfGamut(uint16_t answer) {
    return answer >= 0x100;
}

// The default RGB or CMYK source profile as convert finds it: the configured file if it is
// there, else the first profile of its folder (an installation without the configured file).
// The settings then name the file found, so that the factories read the file checked here.
std::string FoundDefaultInput(bool rgb, ProofSettings& usm) {
    const std::wstring found =
        rgb ? FindDefaultRGBInputProfile(&usm) : FindDefaultCMYKInputProfile(&usm);
    if (found.empty())
        return WideToUtf8(rgb ? GetDefaultRGBInputProfile(&usm) : GetDefaultCMYKInputProfile(&usm));
    usm.SetInput(rgb, std::filesystem::path(found).filename().wstring());
    return WideToUtf8(found);
}

// The monitor: --monitor, else the configured one, else the default RGB profile. An RGB
// profile, checked here so that the message names it.
std::string ResolveMonitor(const ProofOptions& o, ProofSettings& usm) {
    std::string path = o.monitor;
    if (path.empty()) path = WideToUtf8(usm.MonitorProfileName());
    if (path.empty()) path = FoundDefaultInput(true, usm);
    const ProfileFacts facts = ReadProfileFacts(path);
    if (facts.colorSpace != icSigRgbData)
        throw CliError(kExitProfile, path + ": the monitor profile must be RGB, it is " +
                                         SigText(facts.colorSpace));
    usm.SetMonitor(Utf8ToWide(path));
    return path;
}

// The printer: --printer, of its own kind and channels, else the configured one.
std::unique_ptr<CPrintEnv> ResolvePrinter(const ProofOptions& o, ProofSettings& usm,
                                          std::string& path) {
    if (!o.printer.empty()) {
        path = o.printer;
        const ProfileFacts facts = ReadProfileFacts(path);
        // No inks given: the profile's own channels decide.
        return std::make_unique<CPrintEnv>(&usm, Utf8ToWide(path), facts.colorSpace == icSigRgbData,
                                           std::vector<enmDevicePrimColor>{});
    }
    std::unique_ptr<CPrintEnv> env(usm.CreatePrintEnv(nullptr, 0));
    path = WideToUtf8(env->GetPathNameIccProfile());
    if (path.empty())
        throw CliError(kExitProfile, "no printer profile is configured (IccProfile of [Printer] "
                                     "in the settings); give --printer");
    ReadProfileFacts(path);
    return env;
}

// Where the pixels come from on their way to Lab: --from as a checked chain of one step, the
// default profile of their space, or nothing for Lab pixels.
struct Source {
    std::optional<ResolvedChain> from; // --from
    std::string defaultPath;           // the default of RGB or CMYK pixels
    enmRenderingIntent defaultIntent = IntentDefault;
};

// The default source of RGB or CMYK pixels: its factory's profile, checked here so that the
// message names it.
Source DefaultSource(const ImageInfo& info, ProofSettings& usm) {
    const bool rgb = info.space.model == ColourModel::Rgb;
    const _INIENTRY& entry = rgb ? IniCpInputRgb : IniCpInputCmyk;
    const char* name = rgb ? "RGB" : "CMYK";
    if (usm.GetString(entry).empty())
        throw CliError(kExitProfile, info.path + ": no default " + std::string(name) +
                                         " source profile is configured; give --from");
    Source source;
    source.defaultPath = FoundDefaultInput(rgb, usm);
    source.defaultIntent =
        enmRenderingIntent(usm.GetInt(rgb ? IniCpDefaultRiRgb : IniCpDefaultRiCmyk));
    ReadProfileFacts(source.defaultPath);
    return source;
}

Source ResolveSource(const ProofOptions& o, ProofSettings& usm, const ImageInfo& info) {
    if (!o.from.empty()) {
        // The intent of the default source of the same kind: RGB for RGB, CMYK for the rest.
        const int intent = usm.GetInt(info.space.model == ColourModel::Rgb ? IniCpDefaultRiRgb
                                                                           : IniCpDefaultRiCmyk);
        ChainOptions chain;
        chain.steps = {o.from + ":dev2pcs:" + std::to_string(intent)};
        Source source;
        source.from = ResolveChain(ParseChainOptions(chain), info.space, info.path);
        if (!(source.from->out == LabSpace()))
            throw CliError(kExitProfile, o.from + ": --from must lead to Lab, it gives " +
                                             SpaceName(source.from->out));
        return source;
    }
    switch (info.space.model) {
    case ColourModel::Lab:
        return {};
    case ColourModel::Rgb:
    case ColourModel::Cmyk:
        return DefaultSource(info, usm);
    default:
        throw CliError(kExitProfile, info.path + ": no default source profile for " +
                                         SpaceName(info.space) + " pixels; give --from");
    }
}

bool AnswersGamut(ProofOutput output) {
    return output == ProofOutput::GamutMask || output == ProofOutput::Overlay;
}

// Every step of every link the run makes, as one chain for the choice of the engine: the
// source, the printer's preview and the monitor, the printer's gamut table.
ResolvedChain StepsOfRun(const ProofOptions& o, ProofSettings& usm, const Source& source,
                         const std::string& printer, const std::string& monitor,
                         const ImageInfo& info) {
    ResolvedChain run;
    run.in = info.space;
    const bool gamut = AnswersGamut(o.output);
    run.out = gamut ? GamutSpace() : RgbSpace();
    if (source.from) run.steps = source.from->steps;
    if (!source.defaultPath.empty())
        run.steps.push_back(
            {source.defaultPath, CMdlColorLink::ProfStepDevToPcs, source.defaultIntent});
    const auto printerIntent = enmRenderingIntent(usm.GetInt(IniCpOutputRi));
    if (o.output != ProofOutput::GamutMask) {
        run.steps.push_back({printer, CMdlColorLink::ProfStepPreview, printerIntent});
        run.steps.push_back({monitor, CMdlColorLink::ProfStepPcsToDev, IntentDefault});
    }
    if (gamut) run.steps.push_back({printer, CMdlColorLink::ProfStepGamut, printerIntent});
    return run;
}

// The engine of the run. Beyond what ChooseEngine refuses: the ICM engine takes each profile of
// its list one way and has no preview or gamut step, and only the native engine gives the gamut
// answer for Lab (the lcms engine builds no chain of a gamut step alone), so a run with that
// answer is native or refused.
EngineChoice ChooseRunEngine(const ProofOptions& o, const ResolvedChain& run) {
    const Engine requested = ParseEngine(o.engine);
    if (requested == Engine::Icm)
        throw CliError(kExitLink, "the icm engine has no preview or gamut step (it takes each "
                                  "profile one way); use native or lcms");
    if (!AnswersGamut(o.output)) return ChooseEngine(requested, run);
    if (requested == Engine::Lcms)
        throw CliError(kExitLink, "the lcms engine gives no gamut answer for Lab (it builds no "
                                  "chain of a gamut step alone); use native");
    if (std::string limit = NativeLimit(run); !limit.empty())
        throw CliError(kExitLink, limit + " (only the native engine gives the gamut answer, so "
                                          "this run cannot be carried out as its profiles mean)");
    return ChooseEngine(requested, run);
}

// The pixels to Lab; null for Lab pixels, which need no step.
LinkPtr SourceLink(const Source& source, Engine engine, ProofSettings& usm, const ImageInfo& info) {
    if (source.from) return BuildLink(*source.from, engine);
    if (source.defaultPath.empty()) return nullptr;
    const bool rgb = info.space.model == ColourModel::Rgb;
    LinkPtr link(rgb ? CreateDefaultRGBInputTrans(&usm) : CreateDefaultCMYKInputTrans(&usm));
    if (!link)
        throw CliError(kExitProfile, source.defaultPath + ": the default " +
                                         std::string(rgb ? "RGB" : "CMYK") +
                                         " source profile gives no link to Lab; give --from");
    return link;
}

struct Links {
    LinkPtr toLab;   // null for Lab input
    LinkPtr proof;   // Lab through the printer to the monitor
    LinkPtr monitor; // Lab to the monitor: the original, for side by side
    LinkPtr gamut;   // Lab to the gamut answer
};

Links MakeLinks(const ProofOptions& o, ProofSettings& usm, CPrintEnv& env,
                const std::string& printer, const Source& source, Engine engine,
                const ImageInfo& info) {
    Links links;
    usm.SetEngine(engine);
    links.toLab = SourceLink(source, engine, usm, info);
    CPrintEnvContext ctx(&env);
    if (o.output != ProofOutput::GamutMask) {
        links.proof.reset(CreatePreviewTrans(&ctx));
        if (!links.proof)
            throw CliError(kExitProfile,
                           printer + ": no proof through this printer profile (it does not fit "
                                     "the printer's inks, or lacks a preview or output table)");
    }
    if (o.output == ProofOutput::SideBySide) {
        links.monitor.reset(CreateMonitorTrans(&usm));
        if (!links.monitor)
            throw CliError(kExitProfile, WideToUtf8(usm.MonitorProfileName()) +
                                             ": the monitor profile gives no link from Lab");
    }
    if (o.output == ProofOutput::GamutMask || o.output == ProofOutput::Overlay) {
        links.gamut.reset(CreateGamutTrans(&ctx));
        if (!links.gamut)
            throw CliError(kExitProfile,
                           printer + ": no gamut answer from this printer profile (it does not "
                                     "fit the printer's inks, or lacks a gamut table)");
    }
    return links;
}

void Transform(ParallelTrn& pool, CMdlColorLink& link, const uint8_t* src, uint8_t* dst, size_t n) {
    pool.Pixels8(link, src, dst, n);
}
void Transform(ParallelTrn& pool, CMdlColorLink& link, const uint16_t* src, uint16_t* dst,
               size_t n) {
    pool.Pixels16(link, src, dst, n);
}

constexpr unsigned kRgbChannels = 3;

// Work buffers of one band, in samples.
template <class T> struct Band {
    std::vector<T> file;    // as read: colour channels and extras
    std::vector<T> colour;  // colour channels alone, in the link's encoding
    std::vector<T> lab;     // after the source link
    std::vector<T> proof;   // monitor RGB through the printer
    std::vector<T> monitor; // monitor RGB of the original
    std::vector<T> gamut;   // the gamut answer
    std::vector<T> out;     // as written
};

// Puts the RGB of `rgb` and the extras of the file pixels into `out`, `stride` samples a pixel.
template <class T>
void PutPixels(const T* rgb, const T* file, unsigned nIn, unsigned extras, size_t pixels, T* out,
               size_t stride) {
    for (size_t p = 0; p < pixels; ++p) {
        std::copy_n(rgb + p * kRgbChannels, kRgbChannels, out + p * stride);
        std::copy_n(file + p * (nIn + extras) + nIn, extras, out + p * stride + kRgbChannels);
    }
}

template <class T>
void Stream(ImageReader& reader, ImageWriter& writer, const OutputSpec& spec, Links& links,
            ProofOutput mode, ParallelTrn& pool, ProofResult& result) {
    const ImageInfo& info = reader.Info();
    const unsigned nIn = info.space.channels, ex = info.extras;
    const size_t rowMax = std::max(info.rowBytes(), spec.rowBytes());
    const uint32_t bandRows =
        uint32_t(std::clamp<size_t>(kImageBandBytes / rowMax, 1, info.height));
    const size_t bandPixels = size_t(bandRows) * info.width;
    Band<T> b;
    b.file.resize(bandPixels * (nIn + ex));
    b.colour.resize(bandPixels * nIn);
    if (links.toLab) b.lab.resize(bandPixels * 3);
    if (links.proof) b.proof.resize(bandPixels * kRgbChannels);
    if (links.monitor) b.monitor.resize(bandPixels * kRgbChannels);
    if (links.gamut) b.gamut.resize(bandPixels);
    b.out.resize(size_t(bandRows) * spec.rowBytes() / sizeof(T));

    for (uint32_t row = 0; row < info.height;) {
        const uint32_t rows = std::min(bandRows, info.height - row);
        const size_t pixels = size_t(rows) * info.width;
        reader.ReadRows(rows, b.file.data());
        for (size_t p = 0; p < pixels; ++p)
            std::copy_n(&b.file[p * (nIn + ex)], nIn, &b.colour[p * nIn]);
        DecodeToLink(info, b.colour.data(), pixels);
        const T* lab = b.colour.data();
        if (links.toLab) {
            Transform(pool, *links.toLab, b.colour.data(), b.lab.data(), pixels);
            lab = b.lab.data();
        }
        if (links.proof) Transform(pool, *links.proof, lab, b.proof.data(), pixels);
        if (links.monitor) Transform(pool, *links.monitor, lab, b.monitor.data(), pixels);
        if (links.gamut) {
            Transform(pool, *links.gamut, lab, b.gamut.data(), pixels);
            for (size_t p = 0; p < pixels; ++p) {
                if (!OutOfGamut(b.gamut[p])) continue;
                ++result.outOfGamut;
                if (mode == ProofOutput::Overlay)
                    std::fill_n(&b.proof[p * kRgbChannels], kRgbChannels, kGamutMarkLevel<T>);
            }
        }
        result.pixels += pixels;

        const size_t stride = kRgbChannels + ex;
        switch (mode) {
        case ProofOutput::GamutMask:
            std::copy_n(b.gamut.data(), pixels, b.out.data());
            break;
        case ProofOutput::Proof:
        case ProofOutput::Overlay:
            PutPixels(b.proof.data(), b.file.data(), nIn, ex, pixels, b.out.data(), stride);
            break;
        case ProofOutput::SideBySide:
            // Each output row: the original's row, then the proof's.
            for (uint32_t r = 0; r < rows; ++r) {
                const size_t first = size_t(r) * info.width;
                T* outRow = b.out.data() + size_t(r) * 2 * info.width * stride;
                const T* fileRow = b.file.data() + first * (nIn + ex);
                PutPixels(&b.monitor[first * kRgbChannels], fileRow, nIn, ex, info.width, outRow,
                          stride);
                PutPixels(&b.proof[first * kRgbChannels], fileRow, nIn, ex, info.width,
                          outRow + size_t(info.width) * stride, stride);
            }
            break;
        }
        writer.WriteRows(rows, b.out.data());
        row += rows;
    }
}
} // namespace

void AddProofOptions(CLI::App& cmd, ProofOptions& o) {
    cmd.add_option("IN", o.in, "Input image: TIFF or PNG (RGB, CMYK or Lab; others need --from)")
        ->required();
    cmd.add_option("OUT", o.out,
                   "Output TIFF, written whole or not at all; \"-\" for standard output")
        ->required();
    cmd.add_option("--from", o.from,
                   "Source profile (device to Lab) instead of the default RGB or CMYK profile "
                   "of the settings; a profile embedded in the image is not used");
    cmd.add_option("--printer", o.printer,
                   "Printer profile instead of the printer of the settings ([Printer])");
    cmd.add_option("--monitor", o.monitor,
                   "Monitor profile (RGB); default: the monitor profile of the settings, else "
                   "the default RGB profile");
    AddEngineOption(cmd, o.engine);
    cmd.add_option("--threads", o.threads,
                   "Threads for the pixels; 0 = all cores (default); at most the cores");
}

ProofResult RunSoftProof(const ProofOptions& o) {
    const ImageFormat format = ChooseFormat(o.out, {});
    std::vector<std::string> inputs{o.in, o.from, o.printer, o.monitor};
    SafeOutput::CheckTarget(o.out, inputs);
    auto reader = OpenImage(o.in);
    const ImageInfo& info = reader->Info();

    ProofSettings usm;
    const std::string monitor = ResolveMonitor(o, usm);
    std::string printer;
    std::unique_ptr<CPrintEnv> env = ResolvePrinter(o, usm, printer);
    const Source source = ResolveSource(o, usm, info);
    const EngineChoice engine =
        ChooseRunEngine(o, StepsOfRun(o, usm, source, printer, monitor, info));
    Links links = MakeLinks(o, usm, *env, printer, source, engine.engine, info);

    OutputSpec spec;
    spec.width = info.width;
    spec.height = info.height;
    spec.bits = info.bits;
    if (o.output == ProofOutput::GamutMask) {
        spec.space = GamutSpace();
    } else {
        spec.space = RgbSpace();
        spec.extras = info.extras;
        spec.extraKinds = info.extraKinds;
        spec.icc = ProfileFileBytes(monitor);
    }
    if (o.output == ProofOutput::SideBySide) {
        if (info.width > std::numeric_limits<uint32_t>::max() / 2)
            throw CliError(kExitLayout, o.in + ": too wide to be shown twice side by side");
        spec.width = info.width * 2;
    }

    inputs.push_back(printer);
    inputs.push_back(monitor);
    ProofResult result;
    spec.format = format;
    if (const std::string why = CannotHold(spec); !why.empty())
        throw CliError(kExitUsage, o.out + ": " + why);
    SafeOutput output(o.out, inputs);
    const std::unique_ptr<ImageWriter> file = OpenWriter(output.fd(), spec, o.out);
    output.ReleaseFd();
    ImageWriter& writer = *file;
    ParallelTrn pool(o.threads);
    if (info.bits == 8)
        Stream<uint8_t>(*reader, writer, spec, links, o.output, pool, result);
    else
        Stream<uint16_t>(*reader, writer, spec, links, o.output, pool, result);
    writer.Finish();
    output.Commit();
    // Standard output and the gamut share are the results; that another engine than the native
    // one made the links goes to the error stream.
    if (engine.engine != Engine::Native)
        std::fprintf(stderr, "kvrcolor: engine %s (%s)\n", EngineName(engine.engine),
                     engine.why.c_str());
    return result;
}
