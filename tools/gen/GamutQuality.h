// Quality figures of the default printer profile for sRGB input: how much of the printer's
// chroma the primaries and a hue circle keep, how far their hues move, how smooth the ramps
// from each primary and secondary to white and to black print, and how the greys print.
//
// sRGB colours are converted to CMYK by one of two converters, the library's native link
// (CreateMdlColorLink with the sRGB and printer profiles, as the command-line tool builds it)
// or lcms2 (a transform between the same two files); the CMYK is read back through the
// printer profile's A2B1 by lcms2: the measurement is of the profile. Chroma and hue are
// measured in Oklab (GamutMapping.h); lightness and the neutrality of greys in CIELAB D50.
//
// The printer's greatest chroma at a hue is found from the profile too: its A2B1 sampled at
// 21 steps per ink within the total ink limit, the greatest chroma kept for each of 72 hue
// sectors of 5 degrees.
#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/gen/PrinterModel.h"

namespace gamutquality {

enum class EConverter { Native, Lcms };
enum class EIntent { Perceptual, Relative, RelativeBpc, Saturation };

const char* Name(EConverter c);
const char* Name(EIntent i);

// The six primaries and secondaries, red, yellow, green, cyan, blue, magenta.
constexpr int kPrimaries = 6;
extern const char* const kPrimaryNames[kPrimaries];

struct SHueFigures {
    double keptPct[kPrimaries] = {}; // chroma kept, % of the printer's greatest at the hue
    Vec3 printed[kPrimaries] = {};   // CIELAB of the printed primaries
    double keptAvg = 0;              // average over the six
    double circleAvg = 0;            // average over a 72-colour hue circle
    double circleMin = 0;
    double shiftMax = 0;       // largest Oklab hue shift of the six, degrees
    double circleShiftMax = 0; // the same over the circle
};

// The 12 ramps of 32 steps in sRGB values from each primary and secondary to white and to
// black, printed. A reversal is a step against the ramp's direction in lightness, by more
// than 0.1 L* (chroma may rise and fall along a ramp that passes a cusp); a plateau is a step that
// is, relative to the source's step, less than a tenth of the ramp's median of that ratio (the
// source's own steps are uneven: small near a channel's 0, where sRGB is linear); steps are CIE76.
struct SRampFigures {
    int reversals = 0;
    int plateaus = 0;
    double worstStepRatio = 0; // largest step over its ramp's median step
    std::string worstRamp;
    std::vector<std::string> faults; // each reversal and plateau: ramp, step, what
};

// The 256 sRGB greys.
struct SGreyFigures {
    double maxAbsAb = 0;    // largest |a*| or |b*| of the printed greys
    bool lMonotonic = true; // printed L* never falls (by 0.01) as the grey gets lighter
    int distinctDark = 0;   // of the greys 0..40, how many print lighter than the one before
    Vec3 black{};           // printed sRGB black
    double maxInkStep = 0;  // largest change of one ink between neighbouring greys (0..1)
    double maxInkRise = 0;  // largest total rise of one ink from black to white (0..1)
};

struct SFigures {
    SHueFigures hue;
    SRampFigures ramps;
    SGreyFigures greys;
};

class CQuality {
public:
    CQuality(const std::filesystem::path& srgbProfile, const std::filesystem::path& cmykProfile);
    ~CQuality();
    CQuality(const CQuality&) = delete;
    CQuality& operator=(const CQuality&) = delete;

    // False, with a message in Error(), when a profile or a conversion cannot be opened.
    bool Ok() const { return m_error.empty(); }
    const std::string& Error() const { return m_error; }

    SFigures Measure(EConverter converter, EIntent intent);

    // The printer's greatest Oklab chroma at hue h (radians).
    double MaxChroma(double h) const;
    // L* of the darkest neutral of the press model behind the profile.
    double DarkestGreyL() const { return m_darkestL; }

    // sRGB values (0..1) to CMYK (0..1) by the converter, and CMYK to CIELAB by A2B1.
    std::vector<std::array<double, 4>> Convert(EConverter converter, EIntent intent,
                                               const std::vector<Vec3>& rgb);
    std::vector<Vec3> Print(const std::vector<std::array<double, 4>>& cmyk) const;

private:
    SHueFigures MeasureHues(EConverter converter, EIntent intent);
    SRampFigures MeasureRamps(EConverter converter, EIntent intent);
    SGreyFigures MeasureGreys(EConverter converter, EIntent intent);

    std::filesystem::path m_srgb, m_cmyk;
    void* m_srgbProfile = nullptr;
    void* m_cmykProfile = nullptr;
    void* m_labProfile = nullptr;
    void* m_print = nullptr;           // lcms2 transform CMYK -> Lab by A2B1
    std::array<double, 72> m_sector{}; // greatest chroma by 5-degree hue sector
    double m_darkestL = 0;
    std::string m_error;
};

// Writes the figures of every converter and intent as text.
std::string Report(CQuality& quality);

} // namespace gamutquality
