// kvrcolor dump PROFILE and kvrcolor info PROFILE.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "CliError.h"
#include "Commands.h"
#include "ProfileText.h"
#include "base/WideString.h"

namespace {
// Binary output: the dump's lines end in CR LF, which must reach stdout as they are.
int WriteOut(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout))
        throw CliError(kExitOutput, "stdout: cannot be written");
    return kExitOk;
}
} // namespace

Command RegisterDump(CLI::App& parent) {
    auto path = std::make_shared<std::string>();
    CLI::App* cmd = parent.add_subcommand(
        "dump", "Print the library's text dump of a profile (header, tag table, every tag)");
    cmd->add_option("PROFILE", *path, "ICC profile")->required();
    return {cmd, [path] { return WriteOut(WideToUtf8(ProfileDumpText(*path))); }};
}

Command RegisterInfo(CLI::App& parent) {
    auto path = std::make_shared<std::string>();
    CLI::App* cmd = parent.add_subcommand(
        "info", "Summarise a profile: class, spaces, version, description, MD5, white, tags");
    cmd->add_option("PROFILE", *path, "ICC profile")->required();
    return {cmd, [path] { return WriteOut(ProfileInfoText(*path)); }};
}
