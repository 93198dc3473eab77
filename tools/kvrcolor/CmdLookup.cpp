// kvrcolor lookup: colour values through a chain, one colour per output line.
//
// Values come from the arguments, or from stdin when there are none. Each argument is one
// colour (or several with ';' between them), commas or blanks separating its numbers:
// `lookup 255,0,0 "0 0 255"`. On stdin, each line and each ';' ends a colour; blank lines and
// lines starting with '#' are skipped.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>

#include "Chain.h"
#include "CliError.h"
#include "ColourValues.h"
#include "Commands.h"
#include "colorlink/MdlColorLink.h"

namespace {

struct LookupOptions {
    ChainOptions chain;
    std::string inFormat;
    std::string units = "natural";
    std::vector<std::string> values;
};

std::string Trim(const std::string& s) {
    const size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos) return {};
    return s.substr(a, s.find_last_not_of(" \t\r\n") - a + 1);
}

int RunLookup(const LookupOptions& o) {
    const ChainSettings settings = ParseChainOptions(o.chain);
    const PixelSpace in =
        o.inFormat.empty() ? ImpliedInputSpace(settings) : ParseInFormat(o.inFormat);
    const Units units = o.units == "16" ? Units::Codes16 : Units::Natural;
    const ResolvedChain chain = ResolveChain(settings, in, "the input");
    if (!Converts16Bit(chain.engine.engine))
        throw CliError(kExitLink, std::string("lookup works in 16 bits; the ") +
                                      EngineName(chain.engine.engine) +
                                      " engine converts 8-bit pixels only (use --engine native "
                                      "or lcms)");

    std::vector<uint16_t> codes;
    size_t count = 0;
    const auto add = [&](const std::string& text, const std::string& where) {
        const auto c = ParseColour(text, in, units, where);
        codes.insert(codes.end(), c.begin(), c.end());
        ++count;
    };
    // The colours of one argument or line, between its ';'.
    const auto addAll = [&](const std::string& text, const std::string& where) {
        size_t start = 0, part = 1;
        const bool several = text.find(';') != std::string::npos;
        while (start <= text.size()) {
            size_t end = text.find(';', start);
            if (end == std::string::npos) end = text.size();
            const std::string piece = Trim(text.substr(start, end - start));
            if (!piece.empty())
                add(piece, several ? where + " colour " + std::to_string(part++) : where);
            start = end + 1;
        }
    };
    if (!o.values.empty()) {
        for (size_t i = 0; i < o.values.size(); ++i)
            addAll(o.values[i], "argument " + std::to_string(i + 1));
    } else {
        std::string line;
        for (size_t number = 1; std::getline(std::cin, line); ++number) {
            const std::string piece = Trim(line);
            if (piece.empty() || piece[0] == '#') continue;
            addAll(piece, "stdin line " + std::to_string(number));
        }
    }
    if (count == 0) throw CliError(kExitUsage, "lookup: no colour values given");

    auto link = BuildLink(chain);
    // stdout holds the colours alone; that another engine than the native one took the chain
    // is worth a line on the error stream.
    if (chain.engine.engine != Engine::Native)
        std::fprintf(stderr, "kvrcolor: engine %s (%s)\n", EngineName(chain.engine.engine),
                     chain.engine.why.c_str());
    std::vector<uint16_t> result(count * chain.out.channels);
    for (size_t done = 0; done < count;) {
        const unsigned n = unsigned(std::min<size_t>(count - done, 1u << 20));
        link->TrnPixels16(&codes[done * in.channels], &result[done * chain.out.channels], n);
        done += n;
    }
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += FormatColour(&result[i * chain.out.channels], chain.out, units) + "\n";
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout))
        throw CliError(kExitOutput, "stdout: cannot be written");
    return kExitOk;
}
} // namespace

Command RegisterLookup(CLI::App& parent) {
    auto o = std::make_shared<LookupOptions>();
    CLI::App* cmd = parent.add_subcommand(
        "lookup", "Convert colour values through a chain (one per argument, or from stdin)");
    AddChainOptions(*cmd, o->chain);
    AddInFormatOption(*cmd, o->inFormat);
    cmd->add_option("--units", o->units,
                    "natural: RGB/grey 0-255, inks 0-100 %, Lab L 0-100 a/b -128..127; "
                    "16: codes 0-65535 (default natural)")
        ->check(CLI::IsMember({"natural", "16"}));
    cmd->add_option("VALUES", o->values,
                    "One colour per argument, its numbers separated by commas or blanks (quote "
                    "blanks); ';' also separates colours. Without arguments, from stdin: one "
                    "colour per line, or ';' between colours");
    return {cmd, [o] { return RunLookup(*o); }};
}
