// kvrcolor named PROFILE [NAME...]: the named-colour dictionary of a profile's ncl2 tag.
//
// Without names it lists the dictionary: file, prefix, suffix, count, device channels, then one
// line per colour with its name, its connection-space value (Lab, or XYZ for an XYZ profile)
// and its 16-bit device values. With names it resolves each as a job's spot colour resolves:
// the full name, prefix and suffix included, without regard to case. One line per name found;
// a name not found is one line on stderr, and the exit status is then 1.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "CliError.h"
#include "Commands.h"
#include "PixelSpace.h"
#include "Profiles.h"
#include "base/Colorimetry.h"
#include "base/WideString.h"
#include "colorspace/NamedColorsProfile.h"
#include "colorspace/NamedColorsTag.h"

namespace {

// Exit status when a name is not in the dictionary: the plain failure of a lookup, as grep
// answers for a pattern not found.
constexpr int kExitNameNotFound = 1;

// 16-bit XYZ has 1.0 at 32768.
constexpr double kXyz16One = 32768.0;

struct NamedOptions {
    std::string profile;
    std::vector<std::string> names;
};

std::string Quoted(const std::wstring& text) {
    return "\"" + WideToUtf8(text) + "\"";
}

// The connection-space value of a pixel as text: Lab from the legacy 16-bit encoding that the
// ncl2 tag holds, or XYZ.
std::string PcsText(const unsigned short* pixel, uint32_t pcs) {
    char text[96];
    if (pcs == icSigXYZData) {
        std::snprintf(text, sizeof text, "XYZ %.4f %.4f %.4f", pixel[0] / kXyz16One,
                      pixel[1] / kXyz16One, pixel[2] / kXyz16One);
    } else {
        double lab[3];
        IccDecodeLab16(pixel, lab);
        std::snprintf(text, sizeof text, "Lab %.2f %.2f %.2f", lab[0], lab[1], lab[2]);
    }
    return text;
}

std::string DeviceText(const unsigned short* pixel, int n) {
    std::string text = "device";
    for (int k = 0; k < n; ++k) text += " " + std::to_string(pixel[kNamedColorPcsValues + k]);
    return text;
}

std::string ColourLine(const std::wstring& name, const unsigned short* pixel, int n, uint32_t pcs) {
    return Quoted(name) + "  " + PcsText(pixel, pcs) + "  " + DeviceText(pixel, n) + "\n";
}

void Write(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw CliError(kExitOutput, "stdout: cannot be written");
}

int RunNamed(const NamedOptions& o) {
    const ProfileFacts facts = ReadProfileFacts(o.profile);
    CNamedColorsProfile dict;
    if (!dict.LoadFromProfile(Utf8ToWide(o.profile).c_str(), &Settings()))
        throw CliError(kExitProfile, o.profile + ": no named colours (no readable ncl2 tag)");
    const int n = dict.nPrimCols();

    int status = kExitOk;
    if (o.names.empty()) {
        std::string text;
        text += "profile          " + WideToUtf8(dict.GetFileName()) + "\n";
        if (!dict.GetDescription().empty())
            text += "description      " + WideToUtf8(dict.GetDescription()) + "\n";
        text += "prefix           " + Quoted(dict.GetPrefix()) + "\n";
        text += "suffix           " + Quoted(dict.GetSuffix()) + "\n";
        text += "colours          " + std::to_string(dict.GetCount()) + "\n";
        text += "device channels  " + std::to_string(n) + " (" + SigText(facts.colorSpace) + ")\n";
        for (const std::wstring& name : dict.Names())
            text += ColourLine(name, dict.Find(name), n, facts.pcs);
        Write(text);
    } else {
        for (const std::string& name : o.names) {
            unsigned short* pixel = nullptr;
            const std::wstring wide = Utf8ToWide(name);
            if (dict.LookupColorName(wide.c_str(), pixel)) {
                Write(ColourLine(wide, pixel, n, facts.pcs));
            } else {
                std::fflush(stdout);
                std::fprintf(stderr, "kvrcolor: %s: not found in %s\n", Quoted(wide).c_str(),
                             o.profile.c_str());
                status = kExitNameNotFound;
            }
        }
    }
    if (std::fflush(stdout)) throw CliError(kExitOutput, "stdout: cannot be written");
    return status;
}

} // namespace

Command RegisterNamed(CLI::App& parent) {
    auto o = std::make_shared<NamedOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "named", "List the named (spot) colours of a profile, or look names up in them");
    cmd->add_option("PROFILE", o->profile, "ICC profile with an ncl2 tag")->required();
    cmd->add_option("NAME", o->names,
                    "Colour names to look up: the full name, prefix and suffix included, "
                    "without regard to case");
    cmd->footer("Exit status: 0 all found, 1 a name not found, 4 no profile or no named "
                "colours in it.");
    return {cmd, [o] { return RunNamed(*o); }};
}
