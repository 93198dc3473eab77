// The subcommands. Each registers its options on the application and answers the function
// that runs it once the command line is parsed; the function returns the exit code or throws
// CliError.
#pragma once

#include <functional>

namespace CLI {
class App;
}

struct Command {
    CLI::App* app = nullptr;
    std::function<int()> run;
};

Command RegisterCompare(CLI::App& parent);
Command RegisterConvert(CLI::App& parent);
Command RegisterDump(CLI::App& parent);
Command RegisterExtract(CLI::App& parent);
Command RegisterGamut(CLI::App& parent);
Command RegisterInfo(CLI::App& parent);
Command RegisterLookup(CLI::App& parent);
Command RegisterLink(CLI::App& parent);
Command RegisterNamed(CLI::App& parent);
Command RegisterPreset(CLI::App& parent);
Command RegisterProof(CLI::App& parent);
Command RegisterUi(CLI::App& parent);
