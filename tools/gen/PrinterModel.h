// The colour models of the build-time generators (kvrmkbuiltins, kvrmkdefaults): sRGB and a
// CMYK press, with the separation of Lab into the press's inks. Both generators compute their
// tables from these models, so the built-in tables and the default profiles describe the same
// devices.
//
// sRGB. IEC 61966-2-1: primaries R (0.64, 0.33), G (0.30, 0.60), B (0.15, 0.06), white D65
// (0.3127, 0.3290), the piecewise transfer function (linear below 0.04045, else exponent 2.4).
// The matrix is derived from these chromaticities, and its XYZ is adapted to the D50 white of
// the connection space (0.9642, 1.0, 0.8249) by the Bradford transform. sRGB white is thus
// Lab (100, 0, 0); values outside the sRGB gamut are clipped per channel after the matrix.
//
// The press. A Yule-Nielsen modified Neugebauer model on the 16 measured full-tone ink
// combinations of a coated-paper CMYK press (CIELAB D50 relative to the paper). The ink amounts
// are the dot areas; the Demichel weights of the 16 primaries are averaged in XYZ raised to
// 1/n, and the result raised to n, with n = 2: the n-factor stands for the optical dot gain of
// light scattering in paper, and 2 is the usual value for coated stock. At the 16 corners the
// model gives the measured colours. The paper is Lab (100, 0, 0): the model is relative to it.
//
// Separation (of the built-in Lab table): the model is inverted numerically. For a target Lab,
// first C, M and Y are solved with no black; their smallest, g, is the grey component. Black is
// then K = (g - 0.25) / 0.75, limited to 0..1 (no black for a grey component below 25%, full black
// where the three inks are all full), and C, M, Y are solved again with that black. Where that
// black would make the target unreachable (a grey lighter than black alone, say), black is lowered
// to the greatest amount that still matches about as well as the best black. The solution minimises
// the CIE76 colour difference by a bounded Levenberg-Marquardt search, so colours outside the press
// gamut are mapped to a nearby press colour. The total ink C + M + Y + K is limited to 300%: the
// search penalises any excess, and a remaining excess is removed by scaling C, M and Y down.
#pragma once

#include <array>

#include "base/Matrix3.h"

using Vec3 = std::array<double, 3>;

// CIE Lab and XYZ relative to the D50 white of the connection space.
Vec3 LabToXyz(const Vec3& lab);
Vec3 XyzToLab(const Vec3& xyz);

// The Bradford transform from white `from` to white `to`.
CMatrix3 Bradford(const CVect3& from, const CVect3& to);

// sRGB: linear RGB to XYZ relative to D50, and back.
struct SRgb {
    CMatrix3 toXyz;      // columns: the D50-adapted XYZ of the red, green and blue primaries
    CMatrix3 fromXyz;    // its inverse
    CMatrix3 adaptation; // the Bradford transform from the sRGB white D65 to D50

    SRgb();

    // The transfer function: encoded value (0..1) to linear light, and back.
    static double Decode(double v);
    static double Encode(double l);

    // Encoded sRGB (0..1) to Lab.
    Vec3 ToLab(const Vec3& rgb) const;
    // XYZ (D50) to encoded sRGB (0..1), clipped per channel.
    Vec3 FromXyz(const Vec3& xyz) const;
};

// CIELAB D50 of the 16 full-tone combinations, by c, m, y, k present (the last index fastest).
extern const double kPressPrimaries[16][3];

constexpr double kYuleNielsenN = 2.0;
constexpr double kTotalInkLimit = 3.0; // 300%
constexpr double kGreyStart = 0.25;    // grey component at which black begins

class CPressModel {
public:
    CPressModel();

    // Ink amounts 0..1 (c, m, y, k) to XYZ relative to D50.
    Vec3 Xyz(const double* ink) const;
    Vec3 Lab(const double* ink) const { return XyzToLab(Xyz(ink)); }

    // C, M and Y for the target Lab with black fixed at k, by a bounded Levenberg-Marquardt
    // search from a few starting points. Answers the squared residual of the best solution.
    double SolveCmy(const Vec3& target, double k, double* cmy) const;

    // The separation of a target Lab: grey-component rule and total ink limit (see the head of
    // this file).
    void Separate(const Vec3& target, double* cmyk) const;

    // Inks for the target Lab by a bounded Levenberg-Marquardt search from `ink` (c, m, y, k),
    // which it replaces: all four inks with `freeBlack`, else C, M and Y with black fixed. The
    // residuals are those of SolveCmy. The search ends when the squared residual reaches
    // `goal`, when a step gains less than the fraction `minGain` of it, or after 100 steps:
    // with a large `minGain` a colour that cannot be reached costs a few steps only. Inks at
    // their bounds are held there while the descent pushes outward. Answers the squared
    // residual.
    double Fit(const Vec3& target, double* ink, bool freeBlack, double goal, double minGain) const;

    // Whether the press prints `lab` within 0.01 units of CIE76 difference, by a quick search
    // of all four inks from `ink`, and with `tryFixedStarts` from a few fixed inks where that
    // fails. On success `ink` receives inks that print it; otherwise it stays as it was.
    bool Prints(const Vec3& lab, double* ink, bool tryFixedStarts) const;

    // The L of the darkest neutral grey (a = b = 0) that the press prints.
    double DarkestGreyL() const;

private:
    // Residuals: the Lab difference and the ink excess over the limit, weighted so that 1% of
    // excess ink weighs like two units of colour difference.
    void Residual(const Vec3& target, double k, const double* x, double* r) const;
    static double Cost(const double* r);
    double Search(const Vec3& target, double k, double* x) const;

    double m_root[16][3]; // primaries' XYZ to the power 1/n
};
