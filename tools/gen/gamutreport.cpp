// kvrgamutreport: prints the quality figures of the default printer profile for sRGB input
// (GamutQuality.h), through the native link and through lcms2, at every intent.
//
//     kvrgamutreport [<sRGB profile> <printer profile>]
//
// Without arguments it reads the default profiles of the build tree.
#include <cstdio>

#include "tools/gen/GamutQuality.h"

int main(int argc, char** argv) {
    if (argc != 1 && argc != 3) {
        std::fprintf(stderr, "usage: %s [<sRGB profile> <printer profile>]\n", argv[0]);
        return 2;
    }
    const std::filesystem::path profiles = KVR_DEFAULT_PROFILE_DIR;
    const std::filesystem::path rgb = argc == 3 ? argv[1] : profiles / "InputRgb" / "kvr-srgb.icc";
    const std::filesystem::path cmyk = argc == 3 ? argv[2] : profiles / "Printer" / "kvr-cmyk.icc";
    gamutquality::CQuality quality(rgb, cmyk);
    if (!quality.Ok()) {
        std::fprintf(stderr, "%s: %s\n", argv[0], quality.Error().c_str());
        return 1;
    }
    const std::string report = gamutquality::Report(quality);
    std::fputs(report.c_str(), stdout);
    return quality.Ok() ? 0 : 1;
}
