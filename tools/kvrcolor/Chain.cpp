#include "Chain.h"

#include <filesystem>

#include "CliError.h"
#include "Gradation.h"
#include "NativeLimits.h"
#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "colorlink/Factories.h"
#include "icc/IccRecords.h"

namespace fs = std::filesystem;

namespace {

std::string FileName(const std::string& path) {
    return fs::path(path).filename().string();
}

// What the first step of a kind takes from the profile.
PixelSpace StepInput(const ProfileFacts& p, int kind) {
    if (kind == CMdlColorLink::ProfStepDevToPcs) {
        if (auto s = SpaceOfSignature(p.colorSpace)) return *s;
        throw CliError(kExitProfile,
                       p.path + ": colour space " + SigText(p.colorSpace) + " is not supported");
    }
    if (p.pcs != icSigLabData && p.pcs != icSigXYZData)
        throw CliError(kExitProfile,
                       p.path + ": connection space " + SigText(p.pcs) + " is neither Lab nor XYZ");
    return LabSpace();
}

// What the last step of a kind gives.
PixelSpace StepOutput(const ProfileFacts& p, int kind) {
    uint32_t sig = 0;
    switch (kind) {
    case CMdlColorLink::ProfStepGamut:
        return GamutSpace();
    case CMdlColorLink::ProfStepPreview:
    case CMdlColorLink::ProfStepAbstract:
        return LabSpace();
    case CMdlColorLink::ProfStepDevToPcs:
        sig = p.pcs; // a device link's second space, else Lab or XYZ
        break;
    default:
        sig = p.colorSpace;
        break;
    }
    if (sig == icSigGrayData)
        throw CliError(kExitProfile,
                       p.path + ": grey output is not supported by the native engine");
    if (auto s = SpaceOfSignature(sig)) return *s;
    throw CliError(kExitProfile, p.path + ": colour space " + SigText(sig) + " is not supported");
}

void CheckFirstStep(const ProfileFacts& p, int kind, const PixelSpace& input,
                    const std::string& inputName) {
    const PixelSpace takes = StepInput(p, kind);
    if (takes == input) return;
    throw CliError(kExitProfile, p.path + ": " + StepKindName(kind) + " takes " + SpaceName(takes) +
                                     ", but " + inputName + " is " + SpaceName(input));
}

bool SameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::equivalent(a, b, ec)) return true;
    return ReadFileBytes(a, kExitProfile) == ReadFileBytes(b, kExitProfile);
}

// `path` if it names a regular file, else empty.
std::string ExistingFile(const std::wstring& path) {
    const std::string utf8 = WideToUtf8(path);
    std::error_code ec;
    return fs::is_regular_file(utf8, ec) ? utf8 : std::string();
}

// The default source profile of a colour space, or a clear failure.
std::string DefaultSource(const PixelSpace& input, const std::string& inputName) {
    const std::string base = ProfileBasePath();
    const auto none = [&](const std::string& where) {
        return CliError(kExitProfile, inputName + ": no " + SpaceName(input) +
                                          " source profile (none embedded, none in " + base + "/" +
                                          where + "); give --from");
    };
    switch (input.model) {
    case ColourModel::Rgb: {
        // The profile of the default-input factory; when that file is missing, the first
        // profile of its folder.
        std::string p = ExistingFile(GetDefaultRGBInputProfile(&Settings()));
        if (p.empty()) p = DefaultProfileIn("InputRgb");
        if (p.empty()) throw none("InputRgb");
        return p;
    }
    case ColourModel::Cmyk: {
        // A configured CMYK source first (the factory's file, else the first profile of its
        // folder); otherwise the printer's own device-to-PCS table, so that CMYK made for the
        // default printer prints as it was meant.
        if (!Settings().GetString(IniCpInputCmyk).empty()) {
            std::string p = ExistingFile(GetDefaultCMYKInputProfile(&Settings()));
            if (p.empty()) p = DefaultProfileIn("InputCmyk");
            if (!p.empty()) return p;
        }
        const std::string p = DefaultProfileIn("Printer");
        if (p.empty()) throw none("Printer");
        if (ReadProfileFacts(p).colorSpace != icSigCmykData)
            throw CliError(kExitProfile, inputName +
                                             ": no CMYK source profile (the default "
                                             "printer " +
                                             p + " is not CMYK); give --from");
        return p;
    }
    case ColourModel::Gray: {
        const std::string p = DefaultProfileIn("InputGray");
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
} // namespace

PixelSpace ImpliedInputSpace(const ChainOptions& options) {
    if (!options.steps.empty()) {
        const StepSpec first = ParseStep(options.steps.front(), IntentPerceptual);
        return StepInput(ReadProfileFacts(first.path), first.kind);
    }
    if (!options.from.empty())
        return StepInput(ReadProfileFacts(options.from), CMdlColorLink::ProfStepDevToPcs);
    return RgbSpace();
}

namespace {

// --step given: exactly those steps.
ResolvedChain ChainOfSteps(const ChainOptions& options, enmRenderingIntent intent,
                           const PixelSpace& input, const std::string& inputName) {
    if (!options.from.empty() || !options.to.empty())
        throw CliError(kExitUsage, "--step cannot be combined with --from or --to");
    ResolvedChain chain;
    chain.in = input;
    for (const auto& text : options.steps) chain.steps.push_back(ParseStep(text, intent));
    CheckFirstStep(ReadProfileFacts(chain.steps.front().path), chain.steps.front().kind, input,
                   inputName);
    const StepSpec& last = chain.steps.back();
    chain.out = StepOutput(ReadProfileFacts(last.path), last.kind);
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
    const auto space = SpaceOfSignature(facts.colorSpace);
    if (!space || !(*space == chain.in))
        throw CliError(kExitProfile, inputName + ": the embedded profile is " +
                                         SigText(facts.colorSpace) + ", the pixels are " +
                                         SpaceName(chain.in) + "; give --from");
    return chain.embedded->path();
}
} // namespace

namespace {

// The profiles of the chain, in order, with the formats at both ends.
ResolvedChain ResolveSteps(const ChainOptions& options, const PixelSpace& input,
                           const std::string& inputName, const std::vector<uint8_t>& embedded) {
    const enmRenderingIntent intent =
        options.intent.empty() ? kDefaultIntent : ParseIntent(options.intent);
    if (!options.steps.empty()) return ChainOfSteps(options, intent, input, inputName);

    ResolvedChain chain;
    chain.in = input;
    // Source: --from, the embedded profile, or the default of the space. Lab pixels are in
    // the connection space already and need none.
    std::string source = options.from;
    if (source.empty() && input.model != ColourModel::Lab)
        source = embedded.empty() ? DefaultSource(input, inputName)
                                  : EmbeddedSource(chain, embedded, inputName);

    // A device link converts from its first space to its second alone.
    if (!source.empty() && ReadProfileFacts(source).deviceClass == icSigLinkClass) {
        if (!options.to.empty())
            throw CliError(kExitUsage,
                           source + ": a device link converts on its own; give no --to");
        const ProfileFacts link = ReadProfileFacts(source);
        if (!chain.embedded)
            CheckFirstStep(link, CMdlColorLink::ProfStepDevToPcs, input, inputName);
        chain.steps.push_back({source, CMdlColorLink::ProfStepDevToPcs, intent});
        chain.out = StepOutput(link, CMdlColorLink::ProfStepDevToPcs);
        return chain; // no profile describes the output; none is embedded
    }

    std::string destination = options.to;
    if (destination.empty()) {
        destination = DefaultProfileIn("Printer");
        if (destination.empty())
            throw CliError(kExitProfile, "no destination profile (none in " + ProfileBasePath() +
                                             "/Printer); give --to");
    }
    const ProfileFacts dst = ReadProfileFacts(destination);
    if (dst.deviceClass == icSigLinkClass || dst.deviceClass == icSigAbstractClass ||
        dst.deviceClass == icSigNamedColorClass)
        throw CliError(kExitProfile,
                       destination + ": " +
                           WhyNoTable(destination, CMdlColorLink::ProfStepPcsToDev, intent));

    if (source.empty()) {
        CheckFirstStep(dst, CMdlColorLink::ProfStepPcsToDev, input, inputName);
    } else {
        const ProfileFacts src = ReadProfileFacts(source);
        // An embedded profile was checked against the pixels above, naming the image.
        if (!chain.embedded) CheckFirstStep(src, CMdlColorLink::ProfStepDevToPcs, input, inputName);
        // The native engine has no tables of more than four inputs. When an n-colour image
        // already is in the destination's space, there is nothing to convert: the empty chain
        // gives the library's copying link, and the inks pass unchanged.
        if (input.model == ColourModel::NColor && input.channels > 4 &&
            SpaceOfSignature(dst.colorSpace) == std::optional<PixelSpace>(input) &&
            SameFile(source, destination)) {
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

ResolvedChain ResolveChain(const ChainOptions& options, const PixelSpace& input,
                           const std::string& inputName, const std::vector<uint8_t>& embedded) {
    const Engine requested = ParseEngine(options.engine);
    ResolvedChain chain = ResolveSteps(options, input, inputName, embedded);
    AddGradationFile(chain, options.gradation);
    chain.engine = ChooseEngine(requested, chain);
    return chain;
}

std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain) {
    return BuildLink(chain, chain.engine.engine);
}

std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain, Engine engine) {
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(&EngineSettings(engine)));
    if (!link) throw CliError(kExitInternal, "the library made no link");
    for (const auto& step : chain.steps) {
        const std::string shown =
            chain.embedded && step.path == chain.embedded->path() ? "embedded profile" : step.path;
        if (!link->AddProfile(Utf8ToWide(step.path).c_str(), step.kind, step.intent)) {
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
