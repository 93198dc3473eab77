// kvrcolor proof IN OUT: a soft proof, the image on the monitor as the printer would print it,
// through the transform factories that a print host uses (SoftProof.h).
#include <CLI/CLI.hpp>

#include <memory>

#include "CliError.h"
#include "Commands.h"
#include "SoftProof.h"

namespace {

struct ProofCommand {
    ProofOptions options;
    bool sideBySide = false;
};

int RunProof(ProofCommand& c) {
    c.options.output = c.sideBySide ? ProofOutput::SideBySide : ProofOutput::Proof;
    RunSoftProof(c.options);
    return kExitOk;
}
} // namespace

Command RegisterProof(CLI::App& parent) {
    auto c = std::make_shared<ProofCommand>();
    CLI::App* cmd = parent.add_subcommand(
        "proof", "Soft proof: an image as the printer would print it, for the monitor (TIFF)");
    AddProofOptions(*cmd, c->options);
    cmd->add_flag("--side-by-side", c->sideBySide,
                  "The original (left) and the proof (right) next to each other");
    return {cmd, [c] { return RunProof(*c); }};
}
