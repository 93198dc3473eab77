#include "Chain.h"

#include <filesystem>

#include "CliError.h"
#include "Gradation.h"
#include "NativeLimits.h"
#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "colorlink/Factories.h"
#include "colorspace/BaseColorSpace.h"
#include "icc/IccRecords.h"

namespace fs = std::filesystem;

namespace {

std::string FileName(const std::string& path) {
    return fs::path(path).filename().string();
}

// The pixels as the library's colour spaces declare them, for the queries of what a step
// takes; null for the gamut answer, which no step reads.
std::unique_ptr<CBaseColorSpace> ColourSpaceOf(const PixelSpace& pixels) {
    auto space = std::make_unique<CBaseColorSpace>();
    switch (pixels.model) {
    case ColourModel::Rgb:
        space->SetRgb(int(pixels.channels));
        break;
    case ColourModel::Cmyk:
        space->SetCmykPlus(int(pixels.channels));
        break;
    case ColourModel::Lab:
        space->SetLab(int(pixels.channels));
        break;
    case ColourModel::Gray:
        space->SetGray();
        break;
    case ColourModel::NColor:
        // Five inks and more are of the CMYK kind; two to four other inks an open space.
        if (pixels.channels >= 5)
            space->SetCmykPlus(int(pixels.channels));
        else
            space->SetCountColorManagedChannels(int(pixels.channels));
        break;
    case ColourModel::Gamut:
        return nullptr;
    }
    return space;
}

// Whether `pixels` are exactly data of `sig`, a signature the tool converts.
bool PixelsAre(const PixelSpace& pixels, uint32_t sig) {
    if (!SpaceOfSignature(sig)) return false;
    const auto space = ColourSpaceOf(pixels);
    return space && space->HoldsDataOfSignature(icColorSpaceSignature(sig));
}

// What the first step of a kind takes from the profile.
PixelSpace StepInput(const ProfileFacts& p, int kind) {
    const uint32_t sig = CBaseColorSpace::StepInputSignature(p.header, kind);
    if (kind == CMdlColorLink::ProfStepDevToPcs) {
        if (auto s = SpaceOfSignature(sig)) return *s;
        throw CliError(kExitProfile,
                       p.path + ": colour space " + SigText(p.colorSpace) + " is not supported");
    }
    if (sig == 0)
        throw CliError(kExitProfile,
                       p.path + ": connection space " + SigText(p.pcs) + " is neither Lab nor XYZ");
    return LabSpace();
}

// What the last step of a kind gives.
PixelSpace StepOutput(const ProfileFacts& p, int kind) {
    if (kind == CMdlColorLink::ProfStepGamut) return GamutSpace();
    const uint32_t sig = CBaseColorSpace::StepOutputSignature(p.header, kind);
    if (sig == icSigGrayData)
        throw CliError(kExitProfile,
                       p.path + ": grey output is not supported by the native engine");
    if (auto s = SpaceOfSignature(sig)) return *s;
    throw CliError(kExitProfile, p.path + ": colour space " + SigText(sig) + " is not supported");
}

void CheckFirstStep(const ProfileFacts& p, int kind, const PixelSpace& input,
                    const std::string& inputName) {
    const PixelSpace takes = StepInput(p, kind);
    if (PixelsAre(input, CBaseColorSpace::StepInputSignature(p.header, kind))) return;
    throw CliError(kExitProfile, p.path + ": " + StepKindName(kind) + " takes " + SpaceName(takes) +
                                     ", but " + inputName + " is " + SpaceName(input));
}

bool SameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::equivalent(a, b, ec)) return true;
    return ReadFileBytes(a, kExitProfile) == ReadFileBytes(b, kExitProfile);
}

// The default source profile of a colour space, or a clear failure.
std::string DefaultSource(const PixelSpace& input, const std::string& inputName) {
    const auto none = [&](const std::string& where) {
        return CliError(kExitProfile, inputName + ": no " + SpaceName(input) +
                                          " source profile (none embedded, none in " +
                                          ProfileBasePath() + "/" + where + "); give --from");
    };
    switch (input.model) {
    case ColourModel::Rgb: {
        const std::string p = WideToUtf8(FindDefaultRGBInputProfile(&Settings()));
        if (p.empty()) throw none("InputRgb");
        return p;
    }
    case ColourModel::Cmyk: {
        // A configured CMYK source first; otherwise the printer's own device-to-PCS table, so
        // that CMYK made for the default printer prints as it was meant.
        if (!Settings().GetString(IniCpInputCmyk).empty())
            if (std::string p = WideToUtf8(FindDefaultCMYKInputProfile(&Settings())); !p.empty())
                return p;
        const std::string p = WideToUtf8(FindDefaultPrinterProfile(&Settings()));
        if (p.empty()) throw none("Printer");
        if (!PixelsAre(CmykSpace(), ReadProfileHead(p).colorSpace))
            throw CliError(kExitProfile, inputName +
                                             ": no CMYK source profile (the default "
                                             "printer " +
                                             p + " is not CMYK); give --from");
        return p;
    }
    case ColourModel::Gray: {
        const std::string p = WideToUtf8(FindDefaultGrayInputProfile(&Settings()));
        if (p.empty()) throw none("InputGray");
        return p;
    }
    default:
        throw CliError(kExitProfile, inputName + ": no default source profile for " +
                                         SpaceName(input) + " input; give --from");
    }
}

std::string ErrorMeaning(unsigned error) {
    switch (error) {
    case CMdlColorLink::LinkErrOpenProfile:
        return "the profile cannot be opened";
    case CMdlColorLink::LinkErrNoTable:
        return "the profile has no table for this step";
    case CMdlColorLink::LinkErrFormat:
        return "formats or steps do not fit together";
    default:
        return "no further detail";
    }
}

PixelSpace ImpliedSpace(const ChainSettings& settings) {
    if (!settings.steps.empty())
        return StepInput(ReadProfileHead(settings.steps.front().path), settings.steps.front().kind);
    if (!settings.from.empty())
        return StepInput(ReadProfileHead(settings.from), CMdlColorLink::ProfStepDevToPcs);
    return RgbSpace();
}
} // namespace

PixelSpace ImpliedInputSpace(const ChainSettings& settings) {
    HeadReads heads; // as in ResolveChain: a refused profile is named before other problems
    try {
        return ImpliedSpace(settings);
    } catch (const CliError&) {
        LoadWhole(heads.Paths());
        throw;
    }
}

namespace {

// --step given: exactly those steps.
ResolvedChain ChainOfSteps(const ChainSettings& settings, const PixelSpace& input,
                           const std::string& inputName) {
    ResolvedChain chain;
    chain.in = input;
    chain.steps = settings.steps;
    CheckFirstStep(ReadProfileHead(chain.steps.front().path), chain.steps.front().kind, input,
                   inputName);
    const StepSpec& last = chain.steps.back();
    chain.out = StepOutput(ReadProfileHead(last.path), last.kind);
    if (last.kind == CMdlColorLink::ProfStepPcsToDev) chain.outputProfile = last.path;
    return chain;
}

// The profile embedded in the image as the source, written out for the link; it must be a
// profile of the pixels' space.
std::string EmbeddedSource(ResolvedChain& chain, const std::vector<uint8_t>& embedded,
                           const std::string& inputName) {
    chain.embedded = std::make_unique<TempProfileFile>(embedded);
    ProfileFacts facts;
    try {
        facts = ReadProfileFacts(chain.embedded->path());
    } catch (const CliError&) {
        throw CliError(kExitProfile,
                       inputName +
                           ": the embedded profile is not a valid ICC profile; give --from");
    }
    if (!PixelsAre(chain.in, CBaseColorSpace::StepInputSignature(facts.header,
                                                                 CMdlColorLink::ProfStepDevToPcs)))
        throw CliError(kExitProfile, inputName + ": the embedded profile is " +
                                         SigText(facts.colorSpace) + ", the pixels are " +
                                         SpaceName(chain.in) + "; give --from");
    return chain.embedded->path();
}
} // namespace

namespace {

// The profiles of the chain, in order, with the formats at both ends.
ResolvedChain ResolveSteps(const ChainSettings& settings, const PixelSpace& input,
                           const std::string& inputName, const std::vector<uint8_t>& embedded) {
    const enmRenderingIntent intent = settings.intent;
    if (!settings.steps.empty()) return ChainOfSteps(settings, input, inputName);

    ResolvedChain chain;
    chain.in = input;
    // Source: --from, the embedded profile, or the default of the space. Lab pixels are in
    // the connection space already and need none.
    std::string source = settings.from;
    if (source.empty() && input.model != ColourModel::Lab)
        source = embedded.empty() ? DefaultSource(input, inputName)
                                  : EmbeddedSource(chain, embedded, inputName);

    // A device link converts from its first space to its second alone.
    if (!source.empty() && ReadProfileHead(source).deviceClass == icSigLinkClass) {
        if (!settings.to.empty())
            throw CliError(kExitUsage,
                           source + ": a device link converts on its own; give no --to");
        const ProfileFacts link = ReadProfileHead(source);
        if (!chain.embedded)
            CheckFirstStep(link, CMdlColorLink::ProfStepDevToPcs, input, inputName);
        chain.steps.push_back({source, CMdlColorLink::ProfStepDevToPcs, intent});
        chain.out = StepOutput(link, CMdlColorLink::ProfStepDevToPcs);
        return chain; // no profile describes the output; none is embedded
    }

    std::string destination = settings.to;
    if (destination.empty()) {
        destination = WideToUtf8(FindDefaultPrinterProfile(&Settings()));
        if (destination.empty())
            throw CliError(kExitProfile, "no destination profile (none in " + ProfileBasePath() +
                                             "/Printer); give --to");
    }
    const ProfileFacts dst = ReadProfileHead(destination);
    if (dst.deviceClass == icSigLinkClass || dst.deviceClass == icSigAbstractClass ||
        dst.deviceClass == icSigNamedColorClass)
        throw CliError(kExitProfile,
                       destination + ": " +
                           WhyNoTable(destination, CMdlColorLink::ProfStepPcsToDev, intent));

    if (source.empty()) {
        CheckFirstStep(dst, CMdlColorLink::ProfStepPcsToDev, input, inputName);
    } else {
        const ProfileFacts src = ReadProfileHead(source);
        // An embedded profile was checked against the pixels above, naming the image.
        if (!chain.embedded) CheckFirstStep(src, CMdlColorLink::ProfStepDevToPcs, input, inputName);
        // The native engine has no tables of more than four inputs. When an n-colour image
        // already is in the destination's space, there is nothing to convert: the empty chain
        // gives the library's copying link, and the inks pass unchanged.
        if (input.model == ColourModel::NColor && input.channels > 4 &&
            PixelsAre(input, dst.colorSpace) && SameFile(source, destination)) {
            chain.out = input;
            chain.outputProfile = destination;
            return chain;
        }
        chain.steps.push_back({source, CMdlColorLink::ProfStepDevToPcs, intent});
    }
    chain.steps.push_back({destination, CMdlColorLink::ProfStepPcsToDev, intent});
    chain.out = StepOutput(dst, CMdlColorLink::ProfStepPcsToDev);
    chain.outputProfile = destination;
    return chain;
}

// The gradation follows the step that gives the device values of the output: a destination
// (pcs2dev) or a device link. Its curves are the output's channels.
void AddGradationFile(ResolvedChain& chain, const std::string& path) {
    if (path.empty()) return;
    const bool deviceOut = chain.out.model != ColourModel::Lab &&
                           chain.out.model != ColourModel::Gamut && !chain.steps.empty();
    const int lastKind = chain.steps.empty() ? 0 : chain.steps.back().kind;
    if (!deviceOut || (lastKind != CMdlColorLink::ProfStepPcsToDev &&
                       lastKind != CMdlColorLink::ProfStepDevToPcs))
        throw CliError(kExitUsage, "--gradation follows the printer step: the chain must end "
                                   "in device values (a destination profile or a device link)");
    chain.gradation = ReadGradation(path, chain.out.channels);
}
} // namespace

ResolvedChain ResolveChain(const ChainSettings& settings, const PixelSpace& input,
                           const std::string& inputName, const std::vector<uint8_t>& embedded) {
    // The profiles are looked at by header and tag table (ReadProfileHead), not loaded whole:
    // the native link's build loads them anyway. Where the chain is refused, a profile that the
    // library's reader refuses is named first, as if each had been loaded whole at once.
    HeadReads heads;
    ResolvedChain chain;
    try {
        chain = ResolveSteps(settings, input, inputName, embedded);
        AddGradationFile(chain, settings.gradation);
        chain.engine = ChooseEngine(settings.engine, chain);
    } catch (const CliError&) {
        LoadWhole(heads.Paths());
        throw;
    }
    chain.headOnly = heads.Paths();
    // Other engines than the native one do not load them with the library's reader.
    if (chain.engine.engine != Engine::Native) LoadWhole(chain.headOnly);
    return chain;
}

std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain) {
    return BuildLink(chain, chain.engine.engine);
}

std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain, Engine engine) {
    // The profiles looked at by their head alone: the native engine loads them with the
    // library's reader, whose verdict is ReadProfileFacts', so where its link fails, a profile
    // that the reader refuses gets the tool's message for it below. The other engines read
    // profiles with readers of their own, which may take a file that the library's reader
    // refuses: for them the profiles are loaded whole first, so that every engine refuses the
    // same files with the same words.
    const auto loadWhole = [&] { LoadWhole(chain.headOnly); };
    if (engine != Engine::Native) loadWhole();
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(&EngineSettings(engine)));
    if (!link) throw CliError(kExitInternal, "the library made no link");
    for (const auto& step : chain.steps) {
        const std::string shown =
            chain.embedded && step.path == chain.embedded->path() ? "embedded profile" : step.path;
        if (!link->AddProfile(Utf8ToWide(step.path).c_str(), step.kind, step.intent)) {
            loadWhole();
            const unsigned e = link->GetLinkError();
            // For a missing table the tool looks for what is actually the matter.
            std::string meaning = ErrorMeaning(e);
            if (e == CMdlColorLink::LinkErrNoTable)
                if (std::string why = WhyNoTable(step.path, step.kind, step.intent); !why.empty())
                    meaning = why;
            throw CliError(kExitLink, shown + ": link failed: error " + std::to_string(e) + " (" +
                                          meaning + ", step " + StepKindName(step.kind) +
                                          ", intent " + IntentName(step.intent) + ")");
        }
    }
    if (!chain.gradation.empty()) {
        std::vector<unsigned short*> curves;
        std::vector<std::vector<uint16_t>> copies = chain.gradation; // the interface takes them
        for (auto& c : copies) curves.push_back(c.data());           // as writable pointers
        if (!link->SupportsGradation() || !link->AddGradation(curves))
            throw CliError(kExitLink, DescribeChain(chain) + ": the " + EngineName(engine) +
                                          " engine refused the gradation: error " +
                                          std::to_string(link->GetLinkError()) + " (" +
                                          std::to_string(curves.size()) + " curves for " +
                                          SpaceName(chain.out) +
                                          "; it takes grey, CMYK and 5 to 15 inks)");
    }
    if (!link->CreateLink(LinkFormat(chain.in), chain.in.channels, LinkFormat(chain.out),
                          chain.out.channels)) {
        loadWhole();
        const unsigned e = link->GetLinkError();
        throw CliError(kExitLink, DescribeChain(chain) + ": link failed: error " +
                                      std::to_string(e) + " (" + ErrorMeaning(e) + ", " +
                                      SpaceName(chain.in) + " to " + SpaceName(chain.out) + ")");
    }
    return link;
}

std::string DescribeChain(const ResolvedChain& chain) {
    if (chain.steps.empty()) return "empty chain";
    std::string text;
    for (const auto& s : chain.steps) {
        if (!text.empty()) text += " -> ";
        text += chain.embedded && s.path == chain.embedded->path() ? "embedded" : FileName(s.path);
    }
    return text;
}
