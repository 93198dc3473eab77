#include "Options.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include "CliError.h"

namespace {
struct IntentEntry {
    const char* name;
    enmRenderingIntent value;
    const char* meaning;
    const char* engines; // which engines carry it out as named
};

// Numbers as in the library's enmRenderingIntent. Only lcms2 keeps black; the native and icm
// engines would reduce 6 to 13 to 1, 2, 3, 5, so the tool sends those chains to lcms2 (auto) or
// refuses them. The icm engine has no black point compensation.
constexpr IntentEntry kIntents[] = {
    {"default", IntentDefault, "whatever the profile takes first", "all"},
    {"perceptual", IntentPerceptual, "perceptual", "all"},
    {"relative", IntentRelative, "relative colorimetric", "all"},
    {"saturation", IntentSaturation, "saturation", "all"},
    {"absolute", IntentAbsolute, "absolute colorimetric", "all"},
    {"relative-bpc", IntentRelativeBpc, "relative colorimetric with black point compensation",
     "native, lcms; icm: as relative"},
    {"perceptual-keep-k", IntentPerceptualKeepK, "perceptual, black kept as K only", "lcms"},
    {"relative-keep-k", IntentRelativeKeepK, "relative, black kept as K only", "lcms"},
    {"saturation-keep-k", IntentSaturationKeepK, "saturation, black kept as K only", "lcms"},
    {"relative-bpc-keep-k", IntentRelativeBpcKeepK, "relative with BPC, black kept as K only",
     "lcms"},
    {"perceptual-keep-plane", IntentPerceptualKeepPlane, "perceptual, K plane kept", "lcms"},
    {"relative-keep-plane", IntentRelativeKeepPlane, "relative, K plane kept", "lcms"},
    {"saturation-keep-plane", IntentSaturationKeepPlane, "saturation, K plane kept", "lcms"},
    {"relative-bpc-keep-plane", IntentRelativeBpcKeepPlane, "relative with BPC, K plane kept",
     "lcms"},
};

struct StepEntry {
    const char* name;
    int kind;
};
constexpr StepEntry kSteps[] = {
    {"dev2pcs", CMdlColorLink::ProfStepDevToPcs}, {"pcs2dev", CMdlColorLink::ProfStepPcsToDev},
    {"preview", CMdlColorLink::ProfStepPreview},  {"abstract", CMdlColorLink::ProfStepAbstract},
    {"gamut", CMdlColorLink::ProfStepGamut},
};

bool IsIntentText(const std::string& text) {
    try {
        ParseIntent(text);
        return true;
    } catch (const CliError&) {
        return false;
    }
}
} // namespace

void AddChainOptions(CLI::App& cmd, ChainOptions& options) {
    cmd.add_option("--from", options.from, "Source profile (device to connection space)");
    cmd.add_option("--to", options.to, "Destination profile (connection space to device)");
    cmd.add_option("--intent", options.intent,
                   "Rendering intent, name or number 0-13 (default perceptual)");
    cmd.add_option("--step", options.steps,
                   "PROFILE:STEP[:INTENT], repeatable, source first; STEP is dev2pcs, pcs2dev, "
                   "preview, abstract or gamut. Replaces --from/--to")
        ->allow_extra_args(false); // one profile per --step, so positionals may follow
    AddEngineOption(cmd, options.engine);
    cmd.add_option("--gradation", options.gradation,
                   "Per-channel curves after the printer step (lcms engine): a text file of one "
                   "line per output channel, 256 numbers 0-65535 each");
}

void AddEngineOption(CLI::App& cmd, std::string& engine) {
    cmd.add_option("--engine", engine,
                   "Colour engine: auto (default: native, or lcms for what the native engine "
                   "does not carry out), native, lcms, icm (8-bit pixels only)")
        ->check(CLI::IsMember({"auto", "native", "lcms", "icm"}));
}

ChainSettings ParseChainOptions(const ChainOptions& options) {
    ChainSettings settings;
    settings.engine = ParseEngine(options.engine);
    settings.intent = options.intent.empty() ? kDefaultIntent : ParseIntent(options.intent);
    if (!options.steps.empty() && (!options.from.empty() || !options.to.empty()))
        throw CliError(kExitUsage, "--step cannot be combined with --from or --to");
    for (const auto& text : options.steps)
        settings.steps.push_back(ParseStep(text, settings.intent));
    settings.from = options.from;
    settings.to = options.to;
    settings.gradation = options.gradation;
    return settings;
}

enmRenderingIntent ParseIntent(const std::string& text) {
    for (const auto& e : kIntents)
        if (text == e.name) return e.value;
    if (!text.empty() && text.size() <= 2 &&
        text.find_first_not_of("0123456789") == std::string::npos) {
        const int n = std::stoi(text);
        if (n >= 0 && n <= 13) return static_cast<enmRenderingIntent>(n);
    }
    throw CliError(kExitUsage, "unknown rendering intent '" + text +
                                   "' (a name as listed by --help, or 0 to 13)");
}

const char* IntentName(enmRenderingIntent intent) {
    for (const auto& e : kIntents)
        if (e.value == intent) return e.name;
    return "?";
}

std::string IntentTable() {
    char head[192];
    std::snprintf(head, sizeof head, "  %2s  %-24s %-52s %s\n", "", "name", "meaning", "engines");
    std::string text = head;
    for (const auto& e : kIntents) {
        char line[192];
        std::snprintf(line, sizeof line, "  %2d  %-24s %-52s %s\n", int(e.value), e.name, e.meaning,
                      e.engines);
        text += line;
    }
    return text;
}

int ParseStepKind(const std::string& text) {
    for (const auto& e : kSteps)
        if (text == e.name) return e.kind;
    return 0;
}

const char* StepKindName(int kind) {
    for (const auto& e : kSteps)
        if (e.kind == kind) return e.name;
    return "?";
}

StepSpec ParseStep(const std::string& text, enmRenderingIntent fallback) {
    const auto bad = [&](const std::string& why) {
        return CliError(kExitUsage, "--step '" + text + "': " + why);
    };
    const size_t last = text.rfind(':');
    if (last == std::string::npos || last == 0)
        throw bad("expected PROFILE:STEP or PROFILE:STEP:INTENT");
    StepSpec step;
    const std::string tail = text.substr(last + 1);
    if (const int tailKind = ParseStepKind(tail)) {
        step.path = text.substr(0, last);
        step.kind = tailKind;
        step.intent = fallback;
    } else {
        const size_t mid = text.rfind(':', last - 1);
        if (mid == std::string::npos || mid == 0) throw bad("unknown step '" + tail + "'");
        const int kind = ParseStepKind(text.substr(mid + 1, last - mid - 1));
        if (!kind)
            throw bad("unknown step '" + text.substr(mid + 1, last - mid - 1) +
                      "' (dev2pcs, pcs2dev, preview, abstract, gamut)");
        if (!IsIntentText(tail)) throw bad("unknown intent '" + tail + "'");
        step.path = text.substr(0, mid);
        step.kind = kind;
        step.intent = ParseIntent(tail);
    }
    if (step.path.empty()) throw bad("no profile");
    return step;
}

void AddInFormatOption(CLI::App& cmd, std::string& format) {
    cmd.add_option("--in-format", format,
                   "Input pixels: rgb, cmyk, lab, gray or nN (N inks); default: the space of the "
                   "first profile, else rgb");
}

PixelSpace ParseInFormat(const std::string& text) {
    if (text == "rgb") return RgbSpace();
    if (text == "cmyk") return CmykSpace();
    if (text == "lab") return LabSpace();
    if (text == "gray" || text == "grey") return GraySpace();
    if (text.size() >= 2 && text.size() <= 3 && text[0] == 'n' &&
        text.find_first_not_of("0123456789", 1) == std::string::npos) {
        const int n = std::stoi(text.substr(1));
        if (n >= 2 && n <= 15) return NColorSpace(unsigned(n));
    }
    throw CliError(kExitUsage,
                   "unknown --in-format '" + text + "' (rgb, cmyk, lab, gray, n2 to n15)");
}
