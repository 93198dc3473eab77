// kvrcolor: the colour library's main job for a person at a shell. Converts images through
// chains of ICC profiles with the native engine or lcms2, and looks at, looks up, links and
// compares profiles and engines.
#include <CLI/CLI.hpp>

#include <malloc.h>

#include <cstdio>
#include <exception>

#include "CliError.h"
#include "Commands.h"
#include "FullProgram.h"
#include "Options.h"

namespace {

std::string Footer() {
    return R"(
Examples:
  kvrcolor convert photo.tif print.tif
      RGB photo to the default printer (first profile in <BasePath>/Printer), source
      profile: the embedded one, else the default RGB profile.
  kvrcolor convert scan.png out.tif --from AdobeRGB1998.icc --to press.icc --intent relative-bpc
  kvrcolor convert in.tif out.tif --step sRGB.icc:dev2pcs:perceptual --step proof.icc:preview \
      --step press.icc:pcs2dev:relative --threads 4 --compress lzw
  kvrcolor lookup --from sRGB.icc --to press.icc 255,0,0 "0 0 255"
  printf '50 0 0; 75 -20 30\n' | kvrcolor lookup --in-format lab --to press.icc
  kvrcolor link rgb2press.icc --from sRGB.icc --to press.icc --intent perceptual
  kvrcolor info press.icc photo.tif
  kvrcolor dump press.icc > press.txt
  kvrcolor extract --list document.pdf
  kvrcolor extract document.pdf --index 2 intent.icc
  kvrcolor named spots.icc "PANTONE 185 C"
  kvrcolor preset new PsCs Office
  kvrcolor preset set PsCs Office InputProfileRGBPixel=AdobeRGB1998.icc RI_RGBPixel=3
  kvrcolor preset export PsCs Office office.zip
      The preset with its profiles; on another machine: kvrcolor preset import office.zip
  kvrcolor proof photo.tif proof.tif --side-by-side
      How the printer of the settings ([Printer]) would print the photo, on the monitor.
  kvrcolor gamut photo.tif mask.tif --printer press.icc
  kvrcolor convert in.tif out.tif --to press.icc --intent perceptual-keep-k --gradation cal.txt
  kvrcolor compare --from sRGB.icc --to press.icc --intent relative-bpc

Engines (--engine): auto (default) converts with the native engine wherever it does what the
profiles mean, and with lcms2 where the chain holds what the native engine does not carry out
(a black-preserving intent, a gradation, a parametric tone curve in a destination, a grey
profile with a Lab connection space, a table with a different grid size per input, more than
four inputs, a version-4 table with a Lab connection space); the summary line names the engine
and why. native refuses such a chain with the reason; lcms always uses lcms2; icm uses the ICM
engine (8-bit pixels only: no 16-bit images, no lookup). link is native-only. compare runs a
chain through every engine and prints the dE2000 between each pair.

Gradation files (--gradation, lcms engine): one line per output channel, 256 numbers 0-65535
each separated by blanks or commas (entry i is the output for input i/255); '#' lines are
comments. The curves follow the printer step.

Chains: without --step, the source profile (device to PCS) then the destination profile (PCS
to device), both with --intent. The source is --from, else the profile embedded in the image,
else the default of its colour space: RGB <BasePath>/InputRgb (the configured InputRgb file,
else the first *.icc/*.icm), CMYK the configured InputCmyk file, else the default printer,
grey the first profile in <BasePath>/InputGray. Lab input needs no source profile. The
destination is --to, else the first profile in <BasePath>/Printer. BasePath is the BasePath key
of [ColorProfiles] in the settings file ($KVR_INI, else ~/.config/kvrcolor/kvrcolor.ini).
With --step, the chain is exactly the steps given, source first.

Images in: TIFF (every page, or --page N; strips or tiles, chunky or planar; 8 or 16 bits, or
32-bit floating point converted through the 16-bit path: RGB, CMYK, 2-15 inks, CIELAB, ICCLAB,
grey; MINISWHITE grey is inverted on reading; associated alpha is undone before converting and
redone after, other extra samples are copied unchanged), PNG (8 or 16 bits, grey, RGB or
palette, with or without alpha, not interlaced) and JPEG (grey, RGB, CMYK). Refused: other
depths, 16-bit floating point, other photometrics, interlaced PNG.
Images out: by --format, else OUT's extension (.tif/.tiff, .png, .jpg/.jpeg; TIFF otherwise):
TIFF (any of the above, several pages), PNG (8/16-bit grey or RGB, one alpha at most), JPEG
(8-bit grey, RGB or CMYK, --quality). A format that cannot hold the result is refused before
any work. Depth: the input's, or --depth 8|16. The destination profile is embedded (TIFF tag,
PNG iCCP, JPEG APP2) unless --no-embed. Kept where the output has a place: resolution,
orientation, description, artist, copyright, XMP (TIFF, PNG, JPEG), EXIF (PNG, JPEG), other
PNG text (PNG); PNG gAMA, cHRM and sRGB are dropped for the embedded profile. Grey output is
not supported. An image of 5 or more inks converts with lcms2 (the native engine has tables of
at most four inputs), or, to the same profile it is in, copies its inks unchanged.

Rendering intents (name or number):
)" + IntentTable() +
           R"(
Lookup units: natural = RGB and grey 0-255, CMYK and inks in percent 0-100, Lab L 0-100 and
a/b -128..127; --units 16 = codes 0-65535. Colours: commas or blanks between numbers; one
colour per argument; without arguments, from stdin: one colour per line or ';' between colours.

Exit codes: 0 done, 1 internal error, 2 usage, 3 input file missing or unreadable or
truncated, 4 profile problem (missing, not a profile, wrong colour space for its step),
5 the library refused the chain (its error number is in the message: 901 profile cannot be
opened, 904 no table for the step, 905 formats or steps do not fit), 6 unsupported image
layout, 7 output cannot be written.
)";
}
} // namespace

int main(int argc, char** argv) {
    // Memory the run frees is kept for its next allocations rather than handed back to the
    // system and taken afresh: where the first touch of each page is a costly trap (a virtual
    // machine's guest), a small conversion spent a good part of its time on faults in fresh
    // memory while freed memory was at hand, the image writer's copy of a profile of megabytes
    // among them. Blocks up to 16 MiB come from the heap; up to 32 MiB of free heap is kept.
    mallopt(M_MMAP_THRESHOLD, 16 << 20);
    mallopt(M_TRIM_THRESHOLD, 32 << 20);
    CLI::App app{"kvrcolor: colour conversion through ICC profile chains with the native "
                 "KVRCOLOR engine or lcms2"};
    app.name("kvrcolor");
    app.require_subcommand(1);
    app.set_version_flag("--version", "kvrcolor 0.1");
    const Command commands[] = {RegisterConvert(app), RegisterLookup(app),  RegisterLink(app),
                                RegisterInfo(app),    RegisterDump(app),    RegisterExtract(app),
                                RegisterNamed(app),   RegisterPreset(app),  RegisterProof(app),
                                RegisterGamut(app),   RegisterCompare(app), RegisterUi(app)};
    // Set after the subcommands exist, which would otherwise inherit it: `kvrcolor CMD --help`
    // shows the command's own options, `kvrcolor --help` the manual.
    app.footer(Footer());
    // A first word that is no option and no subcommand is named as such, rather than left to the
    // parser's "not expected" or "a subcommand is required".
    if (argc > 1 && argv[1][0] != '-') {
        bool known = false;
        std::string names;
        for (const auto& c : commands) {
            known = known || c.app->check_name(argv[1]);
            names += (names.empty() ? "" : ", ") + c.app->get_name();
        }
        if (!known) {
            std::fprintf(stderr, "kvrcolor: unknown subcommand '%s' (%s; see kvrcolor --help)\n",
                         argv[1], names.c_str());
            return kExitUsage;
        }
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::fprintf(stderr, "kvrcolor: %s (see kvrcolor --help)\n", e.what());
        return kExitUsage;
    }
    try {
        for (const auto& c : commands)
            if (c.app->parsed()) return c.run();
        return kExitUsage;
    } catch (const NeedsFullProgram& e) {
        // Nothing has been written yet: the full program runs the same command line.
        std::fprintf(stderr, "kvrcolor: %s is needed: %s\n", e.what(),
                     ExecFullProgram(argv).c_str());
        return kExitInternal;
    } catch (const CliError& e) {
        std::fprintf(stderr, "kvrcolor: %s\n", e.what());
        return e.code();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kvrcolor: internal error: %s\n", e.what());
        return kExitInternal;
    }
}
