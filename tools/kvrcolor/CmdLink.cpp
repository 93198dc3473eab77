// kvrcolor link OUT.icc: a chain built by the native engine, saved as a device-link profile.
#include <CLI/CLI.hpp>

#include "Chain.h"
#include "CliError.h"
#include "Commands.h"
#include "DeviceLinkWriter.h"
#include "colorlink/native/ColorLink.h"

namespace {

struct LinkOptions {
    std::string out;
    ChainOptions chain;
    std::string inFormat;
};

// The ICC header's intent (0 perceptual, 1 relative, 2 saturation, 3 absolute) of a library
// intent after the native engine's reduction.
unsigned HeaderIntent(enmRenderingIntent intent) {
    switch (TranslateBlackPreservingRI(intent)) {
    case IntentRelative:
    case IntentRelativeBpc:
        return 1;
    case IntentSaturation:
        return 2;
    case IntentAbsolute:
        return 3;
    default:
        return 0;
    }
}

int RunLink(const LinkOptions& o) {
    const PixelSpace in =
        o.inFormat.empty() ? ImpliedInputSpace(o.chain) : ParseInFormat(o.inFormat);
    const ResolvedChain chain = ResolveChain(o.chain, in, "the input");
    auto link = BuildLink(chain);
    const CFunc_16TabBaseMft* table = link->Table16();
    if (!table)
        throw CliError(kExitLink, DescribeChain(chain) + ": the link copies its input and has no "
                                                         "table to save");
    const enmRenderingIntent intent =
        chain.steps.empty() ? kDefaultIntent : chain.steps.back().intent;
    const std::string description = "kvrcolor link " + SpaceName(chain.in) + " to " +
                                    SpaceName(chain.out) + ": " + DescribeChain(chain) + ", " +
                                    IntentName(intent);
    WriteDeviceLink(o.out, *table, chain.in, chain.out, HeaderIntent(intent), description);
    return kExitOk;
}
} // namespace

Command RegisterLink(CLI::App& parent) {
    auto o = std::make_shared<LinkOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "link", "Build the native link of a chain and save it as an ICC device-link profile");
    cmd->add_option("OUT", o->out, "Device-link profile to write (.icc)")->required();
    AddChainOptions(*cmd, o->chain);
    AddInFormatOption(*cmd, o->inFormat);
    return {cmd, [o] { return RunLink(*o); }};
}
