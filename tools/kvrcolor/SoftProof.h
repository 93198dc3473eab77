// What `kvrcolor proof` and `kvrcolor gamut` share: an image seen on the monitor as the printer
// would print it, built from the transform factories that a print host uses.
//
// Every pixel goes to Lab first: through --from (a device-to-PCS step), else through the
// default-input factory of its space (CreateDefaultRGBInputTrans, CreateDefaultCMYKInputTrans);
// Lab images need no step. From Lab, the proof goes through the printer's preview step to the
// monitor (CreatePreviewTrans), the original straight to the monitor (CreateMonitorTrans), and
// the gamut answer comes from CreateGamutTrans. The printer is --printer, else the one of the
// print environment ([Printer] of the settings); the monitor is --monitor, else the configured
// monitor profile, else the default RGB profile. The factories take the configured intents.
//
// All links of a run are of one engine (--engine, Engine.h): the factories make theirs through
// settings that answer that engine's choice. auto takes the native engine unless one of the
// run's steps is beyond it, and lcms2 then. The gamut answer comes from the native engine
// alone, and the icm engine makes no soft proof; such runs are refused with the reason.
#pragma once

#include <string>

namespace CLI {
class App;
}

// What the image becomes.
enum class ProofOutput {
    Proof,      // the proof in monitor RGB
    SideBySide, // the original and the proof next to each other, both in monitor RGB
    GamutMask,  // one channel: the gamut link's answer as it stands
    Overlay,    // the proof with the pixels out of gamut painted in kGamutMarkColour
};

struct ProofOptions {
    std::string in;
    std::string out;
    std::string from;    // --from: the source profile instead of the default of the space
    std::string printer; // --printer: instead of the configured printer
    std::string monitor; // --monitor: instead of the configured one
    unsigned threads = 0;
    std::string engine = "auto"; // --engine: auto, native, lcms, icm
    ProofOutput output = ProofOutput::Proof;
};

// --from, --printer, --monitor, --engine and --threads.
void AddProofOptions(CLI::App& cmd, ProofOptions& options);

// What a run found; the share of pixels out of gamut is counted for the gamut outputs only.
struct ProofResult {
    unsigned long long pixels = 0;
    unsigned long long outOfGamut = 0;
};

// Reads the image, writes the output through SafeOutput (nothing is left on failure) and
// answers the counts. Throws CliError with the tool's exit codes.
ProofResult RunSoftProof(const ProofOptions& options);
