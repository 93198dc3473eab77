// kvrcolor dump PROFILE and kvrcolor info FILES.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstring>
#include <fstream>

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

// A file with the profile signature at its place is a profile; anything else is looked into
// for embedded profiles (TIFF, PNG, JPEG, PDF).
bool IsProfileFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    char head[40] = {};
    return in.read(head, sizeof head) && std::memcmp(head + 36, "acsp", 4) == 0;
}

Command RegisterInfo(CLI::App& parent) {
    auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App* cmd = parent.add_subcommand(
        "info", "Summarise profiles: class, spaces, version, description, profile ID and MD5, "
                "white, tags; of an image or PDF, the profiles embedded in it");
    cmd->add_option("FILES", *paths, "ICC profiles, or images (TIFF, PNG, JPEG) and PDF files")
        ->required();
    return {cmd, [paths] {
                std::string text;
                for (size_t i = 0; i < paths->size(); ++i) {
                    const std::string& path = (*paths)[i];
                    if (i) text += "\n";
                    text +=
                        IsProfileFile(path) ? ProfileInfoText(path) : EmbeddedProfileInfoText(path);
                }
                return WriteOut(text);
            }};
}
