// kvrcolor extract IN [OUT.icc]: the ICC profiles that a PDF document or a TIFF, PNG or JPEG
// image carries, listed (--list) or written out, one (the first, or --index N) or all of them
// (--all DIR). Profiles are numbered from 1 in the order in which they are found.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <optional>

#include "CliError.h"
#include "Commands.h"
#include "PixelSpace.h"
#include "ProfileText.h"
#include "Profiles.h"
#include "base/Digest.h"
#include "base/WideString.h"
#include "extract/EmbeddedProfiles.h"
#include "icc/IccProfile.h"

namespace {

struct ExtractOptions {
    std::string in;
    std::string out;
    bool list = false;
    size_t index = 0; // from 1; 0 none given
    std::string all;
};

// The listing's columns after the place: channels, size, class, space, description, MD5.
std::string Describe(std::vector<uint8_t> bytes) {
    CMD5Digest md5;
    md5.Update(bytes.data(), bytes.size());
    const std::string digest = WideToUtf8(md5.AsString());
    std::string kind = "?     ?     (not an ICC profile)";
    CIccProfileRead profile(&Settings());
    if (bytes.size() <= size_t(INT32_MAX) && profile.Open(bytes.data(), int(bytes.size()))) {
        char head[32];
        std::snprintf(head, sizeof head, "%-5s %-5s ",
                      SigText(profile.Header().deviceClass).c_str(),
                      SigText(profile.Header().colorSpace).c_str());
        kind = head + ("\"" + ProfileDescription(profile) + "\"");
    }
    char size[32];
    std::snprintf(size, sizeof size, "%9zu  ", bytes.size());
    return size + kind + "  " + digest;
}

std::string ListLine(size_t number, const EmbeddedProfileEntry& entry, const std::string& rest) {
    char head[128];
    std::snprintf(head, sizeof head, "%-3zu %-36s %2u ", number, entry.where.c_str(),
                  entry.channels);
    std::string line = head + rest;
    if (entry.how != "copied") line += "  [" + entry.how + "]";
    return line + "\n";
}

int List(EmbeddedProfiles& file, size_t first, size_t last) {
    std::string text;
    std::optional<CliError> failure;
    for (size_t i = first; i < last; ++i) {
        try {
            text += ListLine(i + 1, file.Entries()[i], Describe(file.Bytes(i)));
        } catch (const CliError& e) {
            text += ListLine(i + 1, file.Entries()[i], "cannot be decoded");
            if (!failure) failure = e;
        }
    }
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    if (failure) throw *failure;
    return kExitOk;
}

void WriteOne(EmbeddedProfiles& file, size_t i, const std::string& out) {
    file.Write(i, out);
    std::error_code ec;
    const auto size = std::filesystem::file_size(out, ec);
    std::printf("%s: profile %zu of %zu (%s), %llu bytes\n", out.c_str(), i + 1,
                file.Entries().size(), file.Entries()[i].where.c_str(),
                static_cast<unsigned long long>(size));
}

int RunExtract(const ExtractOptions& o) {
    if (!o.all.empty() && (!o.out.empty() || o.index))
        throw CliError(kExitUsage, "--all writes every profile: give neither OUT nor --index");
    if (o.out.empty() && o.all.empty() && !o.list)
        throw CliError(kExitUsage, "give OUT.icc, --all DIR or --list");
    auto file = OpenEmbeddedProfiles(o.in);
    const size_t count = file->Entries().size();
    if (count == 0) throw CliError(kExitProfile, o.in + ": carries no ICC profile");
    if (o.index > count)
        throw CliError(kExitUsage, o.in + ": no profile " + std::to_string(o.index) +
                                       " (the file carries " + std::to_string(count) + ")");
    if (o.list) {
        if (o.index) return List(*file, o.index - 1, o.index);
        return List(*file, 0, count);
    }
    if (!o.all.empty()) {
        std::error_code ec;
        std::filesystem::create_directories(o.all, ec);
        if (!std::filesystem::is_directory(o.all))
            throw CliError(kExitOutput, o.all + ": cannot be made a folder");
        const std::string stem = std::filesystem::path(o.in).stem().string();
        for (size_t i = 0; i < count; ++i)
            WriteOne(*file, i,
                     (std::filesystem::path(o.all) / (stem + "-" + std::to_string(i + 1) + ".icc"))
                         .string());
        return kExitOk;
    }
    WriteOne(*file, o.index ? o.index - 1 : 0, o.out);
    return kExitOk;
}

} // namespace

Command RegisterExtract(CLI::App& parent) {
    auto o = std::make_shared<ExtractOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "extract", "Take the ICC profiles out of a PDF (ICCBased colour spaces, output intents) "
                   "or a TIFF, PNG or JPEG image");
    cmd->add_option("IN", o->in, "PDF, TIFF, PNG or JPEG file")->required();
    cmd->add_option("OUT", o->out, "profile file to write (the first profile, or --index N)");
    cmd->add_flag("--list", o->list,
                  "list the profiles: number, where found, channels, size, class, colour space, "
                  "description, MD5");
    cmd->add_option("--index", o->index, "the profile to write or list, from 1 as listed")
        ->check(CLI::PositiveNumber);
    cmd->add_option("--all", o->all, "write every profile into this folder as IN-N.icc");
    return {cmd, [o] { return RunExtract(*o); }};
}
