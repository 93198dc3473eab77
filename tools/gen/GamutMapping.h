// Gamut mapping of the default printer profile, in a hue-linear space.
//
// Oklab. CIELAB's hue lines bend (a pure blue of rising chroma drifts toward violet), so
// mapping at constant CIELAB hue shifts hues visibly. Oklab's do not: colours are mapped at
// constant Oklab hue. The connection space's D50 XYZ is adapted to D65, Oklab's white, by the
// Bradford transform, so that the D50 white is neutral in Oklab too.
//
// Gamut boundaries (CGamutBoundary): for each of 120 hues, the greatest chroma at 48
// lightnesses between the darkest neutral and white, found by bisection with an inside test
// (for the press, its model within the ink limit; for sRGB, the channels within 0..1). The
// cusp of a hue is its greatest chroma and the lightness where it lies. Just below the
// darkest neutral, 8 more lightnesses hold the range of chroma that prints there, if any
// (dark blues of three inks are darker than any neutral). Between the entries the boundary is
// interpolated linearly in hue and lightness.
//
// The mappings (CGamutMapper), for a colour of the connection space:
// - Perceptual: black point scaling (CBlackScaling), so that the source's black lands on the
//   printer's darkest neutral; then lightness moved part of the way (0.6) toward the printer's
//   cusp lightness of the hue in proportion to the colour's chroma relative to the source cusp
//   (the whole way would hold lightness level along ramps toward white); then, at constant
//   hue, chroma and lightness compressed along the line toward the neutral point at the
//   printer's cusp lightness: up to 80 % of the printer's boundary along that line a colour
//   stays, beyond it the rest of the source's range is compressed linearly into the last 20 %.
//   The lightness move fades out toward the darkest neutral (below about L* 21), so that
//   dark colours of one lightness and any hue keep one lightness near black.
//   The source gamut is sRGB: version-2 profiles carry no reference gamut of the source.
//   Its cusp lightness, which dips to a sharp corner at its blue, is raised there to the
//   average of the neighbouring hues (RaiseCuspHollows), so that lightness moves smoothly.
//   The steps follow the published descriptions of chroma-dependent lightness mapping with
//   knee compression toward the cusp lightness (the SGCK method of the CIE 156 guidelines).
// - Saturation: the same black point scaling and lightness move, then colours outside the
//   printer's gamut clipped along the same line: the most chroma the printer has at the hue.
// - Relative: colours outside the gamut go to the nearest colour of the printer's gamut at the
//   same Oklab hue (hue-preserving minimum colour difference) no darker than its darkest
//   neutral (a dark colour that does not print would otherwise go to one of the press's few
//   deeper colours, and ramps to black would turn back up to black's neutral). Far outside the
//   gamut lightness weighs up to twice, so that the printed lightness keeps the direction of
//   ramps toward white or black. Greys darker than the darkest neutral go to that neutral.
// The boundaries are tables, so a mapped colour can lie a little outside the true gamut: the
// caller moves it onto the gamut along the line from `Anchor`, a printable neutral.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "tools/gen/PrinterModel.h"

// Oklab from CIELAB D50, and back.
Vec3 LabToOklab(const Vec3& lab);
Vec3 OklabToLab(const Vec3& oklab);

// Oklab lightness, chroma and hue angle (radians, 0..2 pi).
struct SLch {
    double L, C, h;
};
SLch ToLch(const Vec3& oklab);
Vec3 FromLch(const SLch& lch);

// Perceptual and saturation scale the press's lightness range, from its darkest neutral to
// the paper, onto the whole range of the connection space (in XYZ, along the white): a
// source's black prints as the press's darkest neutral and its shadows keep their steps
// instead of being clipped.
class CBlackScaling {
public:
    explicit CBlackScaling(double darkestGreyL);

    // Press colour (relative to the paper) to the perceptual connection space, limited to
    // XYZ >= 0.
    Vec3 ToPerceptual(const Vec3& lab) const;
    // The same without the limit: the exact inverse of FromPerceptual.
    Vec3 ToPerceptualUnclamped(const Vec3& lab) const;
    // The inverse: a perceptual colour to the press's range.
    Vec3 FromPerceptual(const Vec3& lab) const;

private:
    double m_y; // Y of the darkest neutral
};

class CGamutBoundary {
public:
    // Inside test of a CIELAB D50 colour. Tests may keep state between calls (a warm start);
    // `makeTest` gives a fresh one for each hue, so that hues may be computed in any order.
    using InsideTest = std::function<bool(const Vec3& lab)>;

    // `darkOklabL`: Oklab lightness of the darkest neutral the gamut holds.
    CGamutBoundary(double darkOklabL, const std::function<InsideTest()>& makeTest);

    double DarkL() const { return m_darkL; }
    // Greatest chroma at lightness L and hue h (Oklab); 0 outside the lightness range of the
    // neutrals.
    double MaxChroma(double L, double h) const;
    // The chroma range lo..hi of the gamut at lightness L and hue h, also below the darkest
    // neutral, where a press still prints some dark colours of chroma (lo > 0 there). False
    // where the gamut holds no colour of that lightness and hue.
    bool ChromaRange(double L, double h, double& lo, double& hi) const;
    // The cusp of hue h: its lightness and chroma (h is returned as given).
    SLch Cusp(double h) const;

    // Raises the cusp lightness where it dips between neighbouring hues to their weighted
    // average. sRGB's dips to a sharp corner at its blue primary: mapped lightness, which
    // moves with the difference of the two gamuts' cusps, would change as fast across
    // neighbouring nodes of a table there, and its interpolation would turn ramps from blue
    // back.
    void RaiseCuspHollows();

    static constexpr int kHues = 120;     // 3 degrees apart
    static constexpr int kLevels = 48;    // lightnesses from the darkest neutral to white
    static constexpr int kDeepLevels = 8; // lightnesses just below the darkest neutral

private:
    double LevelL(int level) const;
    double DeepL(int level) const;
    // The range of deep level `level` (kDeepLevels is the darkest neutral's); false if empty.
    bool DeepRange(int hue, int level, double& lo, double& hi) const;

    double m_darkL;
    std::vector<double> m_chroma;           // [hue * kLevels + level]
    std::vector<double> m_deepLo, m_deepHi; // [hue * kDeepLevels + level]; lo > hi: empty
    std::vector<double> m_cuspL, m_cuspC;   // by hue
};

class CGamutMapper {
public:
    // `printer`: the press's gamut (relative to the paper); `source`: sRGB's gamut after the
    // black point scaling of `scaling`, and `sourceInside` its exact inside test (without
    // state), which places the source's boundary along a line: sRGB's cusps are sharp
    // corners, which a table rounds off.
    CGamutMapper(const CGamutBoundary& printer, const CGamutBoundary& source,
                 CGamutBoundary::InsideTest sourceInside, const CBlackScaling& scaling)
        : m_printer(printer), m_source(source), m_sourceInside(std::move(sourceInside)),
          m_scaling(scaling) {}

    // Each takes a colour of the connection space and answers the CIELAB D50 colour to print
    // (relative to the paper); `anchor` receives a neutral inside the gamut on whose line
    // toward the result the printable colour is to be sought.
    Vec3 Perceptual(const Vec3& lab, Vec3& anchor) const;
    Vec3 Saturation(const Vec3& lab, Vec3& anchor) const;
    Vec3 Relative(const Vec3& lab, Vec3& anchor) const;

    // Relative chroma of a press colour: its Oklab chroma over the cusp chroma of its hue.
    double RelativeChroma(const Vec3& lab) const;
    // Its chroma over the printer's greatest at its lightness and hue (1 where there is none).
    double BoundaryRatio(const Vec3& lab) const;

    static constexpr double kKnee = 0.8; // fraction of the boundary a colour keeps untouched

private:
    // Black point scaling and the lightness move toward the printer's cusp: the colour in
    // Oklab LCh, with the focal lightness of its hue.
    SLch Prepare(const Vec3& lab, double& focalL) const;
    // Distance from (focalL, 0) along (dL, dC) (unit length) to the printer's boundary.
    double PrinterReach(double focalL, double dL, double dC, double h) const;
    // The same to the source's boundary, in the space after the lightness move.
    double SourceReach(double focalL, double dL, double dC, double h) const;
    // Lightness shift of a colour at chroma C of hue h: toward the printer's cusp.
    double Shift(double C, double h) const;
    // The share of Shift that a colour of (moved) lightness L gets: 0 at the darkest neutral
    // and below, rising smoothly to 1 a little above it.
    double ShiftShare(double L) const;
    // Lightness L moved by `shift` (the Shift of its chroma and hue) times the ShiftShare of
    // the result, and the inverse for a colour of chroma C and hue h.
    double Shifted(double L, double shift) const;
    double Unshifted(double L, double C, double h) const;

    const CGamutBoundary& m_printer;
    const CGamutBoundary& m_source;
    CGamutBoundary::InsideTest m_sourceInside;
    const CBlackScaling& m_scaling;
};
