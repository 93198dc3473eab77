// kvrcolor link OUT.icc: a chain built by the native engine, saved as a device-link profile.
// The device link is the native link's grid table; a link of another back-end has none to save.
#include <CLI/CLI.hpp>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "Chain.h"
#include "CliError.h"
#include "Commands.h"
#include "Profiles.h"
#include "SafeOutput.h"
#include "base/WideString.h"
#include "colorlink/native/ColorLink.h"
#include "icc/IccDeviceLinkWriter.h"

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
    if (o.out == "-") throw CliError(kExitUsage, "link writes a file; name it");
    std::vector<std::string> inputs{o.chain.from, o.chain.to};
    for (const std::string& step : o.chain.steps) inputs.push_back(step.substr(0, step.find(':')));
    // The library saves through a temporary and a rename of its own; the tool checks the target
    // first, writes the file a link points to, and gives the new file the old one's mode.
    const SafeOutput::Target target = SafeOutput::CheckTarget(o.out, inputs);
    const ChainSettings settings = ParseChainOptions(o.chain);
    const PixelSpace in =
        o.inFormat.empty() ? ImpliedInputSpace(settings) : ParseInFormat(o.inFormat);
    const ResolvedChain chain = ResolveChain(settings, in, "the input");
    // Only a native link has a table to save; no other engine is put in its place.
    if (chain.engine.engine != Engine::Native)
        throw CliError(kExitLink, DescribeChain(chain) +
                                      ": link saves the native engine's table "
                                      "and is native-only; the chain needs " +
                                      EngineName(chain.engine.engine) + " (" + chain.engine.why +
                                      ")");
    auto link = BuildLink(chain);
    // The one place where the tool needs the native link itself: its table is what is saved.
    const auto* native = dynamic_cast<const CColorLink*>(link.get());
    if (!native) throw CliError(kExitInternal, "the native engine made no native link");
    const CFunc_16TabBaseMft* table = native->Table16();
    if (!table)
        throw CliError(kExitLink, DescribeChain(chain) + ": the link copies its input and has no "
                                                         "table to save");
    const enmRenderingIntent intent =
        chain.steps.empty() ? kDefaultIntent : chain.steps.back().intent;
    const std::string description = "kvrcolor link " + SpaceName(chain.in) + " to " +
                                    SpaceName(chain.out) + ": " + DescribeChain(chain) + ", " +
                                    IntentName(intent);
    switch (WriteIccDeviceLink(&Settings(), Utf8ToWide(target.path).c_str(), *table,
                               SignatureOfSpace(chain.in), SignatureOfSpace(chain.out),
                               HeaderIntent(intent), description.c_str())) {
    case EDeviceLinkResult::Ok:
        ::chmod(target.path.c_str(), target.mode); // best effort: the file is complete anyway
        return kExitOk;
    case EDeviceLinkResult::UnsupportedTable:
        throw CliError(kExitLink, "the link's table is of a kind that lut16 cannot hold");
    case EDeviceLinkResult::UnreadableCurves:
        throw CliError(kExitLink, "the link's curves cannot be read");
    case EDeviceLinkResult::WriteFailed:
        break;
    }
    throw CliError(kExitOutput, o.out + ": cannot be written");
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
