// What the subcommands that build a chain share on the command line: the profiles, the intent,
// explicit steps, and the parsing of intent and step texts.
#pragma once

#include <string>
#include <vector>

#include "Engine.h"
#include "PixelSpace.h"
#include "colorlink/MdlColorLink.h"

namespace CLI {
class App;
}

// The chain as typed by the user, not yet checked.
struct ChainOptions {
    std::string from;               // --from: source profile
    std::string to;                 // --to: destination profile
    std::string intent;             // --intent: name or number; empty for the default
    std::vector<std::string> steps; // --step PROFILE:STEP[:INTENT], source first
    std::string engine = "auto";    // --engine: auto, native, lcms, icm
    std::string gradation;          // --gradation: curves after the printer step
};

// One step of a chain: a profile, the way through it (ProfStep*) and its intent.
struct StepSpec {
    std::string path;
    int kind = CMdlColorLink::ProfStepDevToPcs;
    enmRenderingIntent intent = IntentPerceptual;
};

// The default intent when --intent is not given. Perceptual: every ICC output profile carries
// tables for it (A2B0/B2A0 are the ones a profile must have), so a chain of any two profiles
// can be built, and it is the intent the RIP uses for its printer profiles out of the box
// (OutputRi=1 in the settings).
inline constexpr enmRenderingIntent kDefaultIntent = IntentPerceptual;

// The chain's options parsed, once, into what the chain is resolved from.
struct ChainSettings {
    std::string from;                           // source profile; empty for the default
    std::string to;                             // destination; empty for the default
    enmRenderingIntent intent = kDefaultIntent; // of --from/--to, and of steps without one
    std::vector<StepSpec> steps;                // --step, source first
    Engine engine = Engine::Auto;
    std::string gradation; // file of curves; empty for none
};

// Parses the texts: engine, intent, then the steps (which cannot go with --from or --to).
// Throws CliError (usage).
ChainSettings ParseChainOptions(const ChainOptions& options);

// Adds --from, --to, --intent, --step, --engine and --gradation to a subcommand.
void AddChainOptions(CLI::App& cmd, ChainOptions& options);

// --engine alone, for subcommands that build their links otherwise than from ChainOptions.
void AddEngineOption(CLI::App& cmd, std::string& engine);

// "perceptual", "relative", ... or a number 0 to 13. Throws CliError (usage) for anything else.
enmRenderingIntent ParseIntent(const std::string& text);
// The name of an intent as --help lists it.
const char* IntentName(enmRenderingIntent intent);
// Names and numbers of all intents, one per line, for --help.
std::string IntentTable();

// "dev2pcs", "pcs2dev", "preview", "abstract", "gamut" to ProfStep*; 0 for an unknown name.
int ParseStepKind(const std::string& text);
const char* StepKindName(int kind);

// "PROFILE:STEP:INTENT" or "PROFILE:STEP" (the intent then is `fallback`). The profile path may
// itself contain ':'; the step and intent are taken from the end. Throws CliError (usage).
StepSpec ParseStep(const std::string& text, enmRenderingIntent fallback);

// --in-format: the pixels going into a chain that has no image to tell them.
void AddInFormatOption(CLI::App& cmd, std::string& format);
// "rgb", "cmyk", "lab", "gray" (or "grey"), "nN" for N inks (2 to 15). Throws CliError (usage).
PixelSpace ParseInFormat(const std::string& text);
