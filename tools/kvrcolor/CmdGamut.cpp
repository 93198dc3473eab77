// kvrcolor gamut IN OUT: the pixels of an image that the printer cannot reach, as the gamut
// link of the transform factories answers (SoftProof.h), and their share of the image.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

#include "CliError.h"
#include "Commands.h"
#include "SoftProof.h"

namespace {

struct GamutCommand {
    ProofOptions options;
    bool overlay = false;
};

int RunGamut(GamutCommand& c) {
    c.options.output = c.overlay ? ProofOutput::Overlay : ProofOutput::GamutMask;
    const ProofResult r = RunSoftProof(c.options);
    const double percent = r.pixels ? 100.0 * double(r.outOfGamut) / double(r.pixels) : 0.0;
    // With the image on standard output the share goes to the error stream.
    std::fprintf(c.options.out == "-" ? stderr : stdout,
                 "%s: %.2f%% of the pixels out of gamut (%llu of %llu)\n", c.options.in.c_str(),
                 percent, r.outOfGamut, r.pixels);
    return kExitOk;
}
} // namespace

Command RegisterGamut(CLI::App& parent) {
    auto c = std::make_shared<GamutCommand>();
    CLI::App* cmd = parent.add_subcommand(
        "gamut", "The pixels the printer cannot reach: a mask, or the proof with them marked");
    AddProofOptions(*cmd, c->options);
    cmd->add_flag("--overlay", c->overlay,
                  "The soft proof with the pixels out of gamut painted mid grey, instead of the "
                  "mask (one channel: the gamut answer, 0 in gamut)");
    return {cmd, [c] { return RunGamut(*c); }};
}
