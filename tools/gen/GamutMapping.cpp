#include "tools/gen/GamutMapping.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/Colorimetry.h"

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kChromaCeiling = 0.5; // Oklab chroma beyond any print or sRGB colour
constexpr int kChromaSteps = 14;       // bisection of the boundary: 1/16384 of the ceiling
constexpr int kReachSteps = 30;        // bisection along a line, on the tables only
constexpr int kNearestSamples = 200;   // lightnesses tried by the nearest-colour search
constexpr int kDeepScan = 30;          // chromas tried below the darkest neutral,
constexpr double kDeepCeiling = 0.15;  // up to this one: dark colours have little chroma
// The deep levels span this fraction of the darkest neutral's lightness below it: a press
// prints little darker than its darkest neutral (this one the blue of three inks).
constexpr double kDeepSpan = 0.15;
// The share of the way to the printer's cusp lightness that a colour at the source's cusp
// chroma moves. The whole way holds the mapped lightness level over long stretches of the
// ramps from a primary toward white or black, where the falling chroma takes back the move as
// fast as the source's lightness changes; the table's interpolation then turns such a ramp
// back (blue toward white most). At this share the ramps keep their direction with margin,
// and the primaries still keep most of the printer's chroma.
constexpr double kLightnessShift = 0.6;
// Lightness counts up to twice in the relative intent's colour difference: a colour far beyond
// the gamut then moves to the boundary more across chroma than across lightness, so that along
// a ramp toward white or black its printed lightness keeps the ramp's direction (with equal
// weights the nearest colour of a fading blue slides down the boundary below the cusp).
constexpr double kRelativeLightnessWeight = 2.0;
// Oklab distance outside the gamut from which that weight holds in full (from 1 at the gamut).
constexpr double kWeightReach = 0.06;
// Oklab lightness above the darkest neutral over which the lightness move toward the printer's
// cusp fades in (about L* 15 to 21): none at the darkest neutral, all of it from there on. The
// move differs from hue to hue with the two gamuts' cusps, and in full it gave the table's
// nodes around the black point, of one source lightness and a little chroma, lightnesses a
// few tenths of L* apart from hue to hue; interpolated between them, ramps to black turned
// back next to black.
constexpr double kShiftFade = 0.06;

// The matrices between D50 XYZ and Oklab's cone responses.
struct SOklabMatrices {
    CMatrix3 toLms, fromLms; // D50 XYZ (adapted to D65) to linear LMS, and back
    CMatrix3 toLab, fromLab; // cube roots of LMS to Oklab, and back
    SOklabMatrices() {
        const CVect3 d65(0.3127 / 0.3290, 1.0, (1.0 - 0.3127 - 0.3290) / 0.3290);
        const CMatrix3 adapt = Bradford(CVect3(kD50X, kD50Y, kD50Z), d65);
        const CMatrix3 m1(0.8189330101, 0.3618667424, -0.1288597137, 0.0329845436, 0.9293118715,
                          0.0361456387, 0.0482003018, 0.2643662691, 0.6338517070);
        toLms = m1 * adapt;
        toLms.Invers(fromLms);
        toLab = CMatrix3(0.2104542553, 0.7936177850, -0.0040720468, 1.9779984951, -2.4285922050,
                         0.4505937099, 0.0259040371, 0.7827717662, -0.8086757660);
        toLab.Invers(fromLab);
    }
};

const SOklabMatrices& Oklab() {
    static const SOklabMatrices m;
    return m;
}

} // namespace

Vec3 LabToOklab(const Vec3& lab) {
    const Vec3 xyz = LabToXyz(lab);
    const CVect3 lms = Oklab().toLms * CVect3(xyz[0], xyz[1], xyz[2]);
    const CVect3 ok =
        Oklab().toLab * CVect3(std::cbrt(lms[0]), std::cbrt(lms[1]), std::cbrt(lms[2]));
    return {ok[0], ok[1], ok[2]};
}

Vec3 OklabToLab(const Vec3& oklab) {
    const CVect3 root = Oklab().fromLab * CVect3(oklab[0], oklab[1], oklab[2]);
    const CVect3 lms(root[0] * root[0] * root[0], root[1] * root[1] * root[1],
                     root[2] * root[2] * root[2]);
    const CVect3 xyz = Oklab().fromLms * lms;
    return XyzToLab({xyz[0], xyz[1], xyz[2]});
}

SLch ToLch(const Vec3& oklab) {
    double h = std::atan2(oklab[2], oklab[1]);
    if (h < 0.0) h += kTwoPi;
    return {oklab[0], std::hypot(oklab[1], oklab[2]), h};
}

Vec3 FromLch(const SLch& lch) {
    return {lch.L, lch.C * std::cos(lch.h), lch.C * std::sin(lch.h)};
}

// ---------------------------------------------------------------------------------------------
// Black point scaling

CBlackScaling::CBlackScaling(double darkestGreyL) : m_y(LabToXyz({darkestGreyL, 0.0, 0.0})[1]) {}

Vec3 CBlackScaling::ToPerceptual(const Vec3& lab) const {
    Vec3 xyz = LabToXyz(lab);
    for (int c = 0; c < 3; ++c) xyz[c] = std::max(0.0, (xyz[c] - m_y * kD50White[c]) / (1.0 - m_y));
    return XyzToLab(xyz);
}

Vec3 CBlackScaling::ToPerceptualUnclamped(const Vec3& lab) const {
    Vec3 xyz = LabToXyz(lab);
    for (int c = 0; c < 3; ++c) xyz[c] = (xyz[c] - m_y * kD50White[c]) / (1.0 - m_y);
    return XyzToLab(xyz);
}

Vec3 CBlackScaling::FromPerceptual(const Vec3& lab) const {
    Vec3 xyz = LabToXyz(lab);
    for (int c = 0; c < 3; ++c) xyz[c] = m_y * kD50White[c] + (1.0 - m_y) * xyz[c];
    return XyzToLab(xyz);
}

// ---------------------------------------------------------------------------------------------
// Gamut boundary

CGamutBoundary::CGamutBoundary(double darkOklabL, const std::function<InsideTest()>& makeTest)
    : m_darkL(darkOklabL), m_chroma(size_t(kHues) * kLevels, 0.0),
      m_deepLo(size_t(kHues) * kDeepLevels, 1.0), m_deepHi(size_t(kHues) * kDeepLevels, 0.0),
      m_cuspL(kHues), m_cuspC(kHues) {
    for (int hue = 0; hue < kHues; ++hue) {
        const double h = hue * kTwoPi / kHues;
        InsideTest inside = makeTest();
        // Below the darkest neutral: a coarse scan finds a printable chroma, if any, and
        // bisection the ends of the range around it.
        for (int level = kDeepLevels - 1; level >= 0; --level) {
            const double L = DeepL(level);
            const auto at = [&](double C) { return inside(OklabToLab(FromLch({L, C, h}))); };
            double found = -1.0;
            for (int i = 1; i <= kDeepScan && found < 0.0; ++i)
                if (at(kDeepCeiling * i / kDeepScan)) found = kDeepCeiling * i / kDeepScan;
            if (found < 0.0) continue;
            double in = found, out = found - kDeepCeiling / kDeepScan;
            for (int step = 0; step < kChromaSteps; ++step) {
                const double mid = 0.5 * (in + out);
                (at(mid) ? in : out) = mid;
            }
            m_deepLo[size_t(hue) * kDeepLevels + level] = in;
            in = found;
            out = kChromaCeiling;
            for (int step = 0; step < kChromaSteps; ++step) {
                const double mid = 0.5 * (in + out);
                (at(mid) ? in : out) = mid;
            }
            m_deepHi[size_t(hue) * kDeepLevels + level] = in;
        }
        int best = 0;
        for (int level = 0; level < kLevels; ++level) {
            const double L = LevelL(level);
            double lo = 0.0, hi = kChromaCeiling;
            if (inside(OklabToLab({L, 0.0, 0.0}))) {
                for (int step = 0; step < kChromaSteps; ++step) {
                    const double mid = 0.5 * (lo + hi);
                    if (inside(OklabToLab(FromLch({L, mid, h}))))
                        lo = mid;
                    else
                        hi = mid;
                }
            }
            m_chroma[size_t(hue) * kLevels + level] = lo;
            if (lo > m_chroma[size_t(hue) * kLevels + best]) best = level;
        }
        // The cusp: the vertex of the parabola through the greatest entry and its neighbours.
        const double* c = &m_chroma[size_t(hue) * kLevels];
        double at = best, top = c[best];
        if (best > 0 && best < kLevels - 1) {
            const double denom = c[best - 1] - 2.0 * c[best] + c[best + 1];
            if (denom < 0.0) {
                const double off = 0.5 * (c[best - 1] - c[best + 1]) / denom;
                at = best + off;
                top = c[best] - 0.25 * (c[best - 1] - c[best + 1]) * off;
            }
        }
        m_cuspL[hue] = m_darkL + (1.0 - m_darkL) * at / (kLevels - 1);
        m_cuspC[hue] = top;
    }
}

void CGamutBoundary::RaiseCuspHollows() {
    // Binomial weights over the neighbouring hues, around the circle; only raising.
    constexpr double kWeights[] = {20.0, 15.0, 6.0, 1.0};
    constexpr int kReach = 3;
    std::vector<double> raised(m_cuspL);
    for (int hue = 0; hue < kHues; ++hue) {
        double sum = 0.0, weights = 0.0;
        for (int d = -kReach; d <= kReach; ++d) {
            const double w = kWeights[std::abs(d)];
            sum += w * m_cuspL[size_t((hue + d + kHues) % kHues)];
            weights += w;
        }
        raised[size_t(hue)] = std::max(m_cuspL[size_t(hue)], sum / weights);
    }
    m_cuspL = raised;
}

double CGamutBoundary::DeepL(int level) const {
    return m_darkL * (1.0 - kDeepSpan * (kDeepLevels - level) / kDeepLevels);
}

double CGamutBoundary::LevelL(int level) const {
    return m_darkL + (1.0 - m_darkL) * level / (kLevels - 1);
}

namespace {

// Position of hue h between the table's hues: the lower index and the weight of the upper.
void HuePosition(double h, int kHues, int& lower, double& w) {
    double x = std::fmod(h, kTwoPi) / kTwoPi * kHues;
    if (x < 0.0) x += kHues;
    lower = std::min(int(x), kHues - 1);
    w = x - lower;
}

} // namespace

double CGamutBoundary::MaxChroma(double L, double h) const {
    const double x = (L - m_darkL) / (1.0 - m_darkL) * (kLevels - 1);
    if (x < 0.0 || x > kLevels - 1) return 0.0;
    const int level = std::min(int(x), kLevels - 2);
    const double v = x - level;
    int hue;
    double w;
    HuePosition(h, kHues, hue, w);
    const int next = (hue + 1) % kHues;
    const auto at = [&](int hh, int ll) { return m_chroma[size_t(hh) * kLevels + ll]; };
    const double c0 = at(hue, level) + v * (at(hue, level + 1) - at(hue, level));
    const double c1 = at(next, level) + v * (at(next, level + 1) - at(next, level));
    return c0 + w * (c1 - c0);
}

bool CGamutBoundary::DeepRange(int hue, int level, double& lo, double& hi) const {
    if (level >= kDeepLevels) {
        lo = 0.0;
        hi = m_chroma[size_t(hue) * kLevels];
        return true;
    }
    lo = m_deepLo[size_t(hue) * kDeepLevels + level];
    hi = m_deepHi[size_t(hue) * kDeepLevels + level];
    return lo <= hi;
}

bool CGamutBoundary::ChromaRange(double L, double h, double& lo, double& hi) const {
    if (L >= m_darkL) {
        lo = 0.0;
        hi = MaxChroma(L, h);
        return L <= 1.0;
    }
    const double x = (L / m_darkL - (1.0 - kDeepSpan)) / kDeepSpan * kDeepLevels;
    if (x < 0.0) return false;
    const int level = std::min(int(x), kDeepLevels - 1);
    const double v = x - level;
    int hue;
    double w;
    HuePosition(h, kHues, hue, w);
    const int next = (hue + 1) % kHues;
    // Where any corner of the cell is empty, so is the cell: the range shrinks to nothing
    // toward the empty corners, which interpolation could not tell.
    double l[4], u[4];
    if (!DeepRange(hue, level, l[0], u[0]) || !DeepRange(hue, level + 1, l[1], u[1]) ||
        !DeepRange(next, level, l[2], u[2]) || !DeepRange(next, level + 1, l[3], u[3]))
        return false;
    const auto blend = [&](const double* c) {
        const double c0 = c[0] + v * (c[1] - c[0]), c1 = c[2] + v * (c[3] - c[2]);
        return c0 + w * (c1 - c0);
    };
    lo = blend(l);
    hi = blend(u);
    return lo <= hi;
}

SLch CGamutBoundary::Cusp(double h) const {
    int hue;
    double w;
    HuePosition(h, kHues, hue, w);
    const int next = (hue + 1) % kHues;
    return {m_cuspL[hue] + w * (m_cuspL[next] - m_cuspL[hue]),
            m_cuspC[hue] + w * (m_cuspC[next] - m_cuspC[hue]), h};
}

// ---------------------------------------------------------------------------------------------
// Mapping

double CGamutMapper::Shift(double C, double h) const {
    const SLch src = m_source.Cusp(h), dst = m_printer.Cusp(h);
    const double r = src.C > 0.0 ? std::min(1.0, C / src.C) : 0.0;
    return kLightnessShift * (dst.L - src.L) * r;
}

double CGamutMapper::ShiftShare(double L) const {
    const double x = std::clamp((L - m_printer.DarkL()) / kShiftFade, 0.0, 1.0);
    return x * x * (3.0 - 2.0 * x);
}

double CGamutMapper::Shifted(double L, double shift) const {
    // The moved lightness m solves m - shift * ShiftShare(m) = L; it lies between L and
    // L + shift, where the difference of the two sides changes sign.
    double lo = L + std::min(0.0, shift), hi = L + std::max(0.0, shift);
    for (int step = 0; step < kReachSteps; ++step) {
        const double mid = 0.5 * (lo + hi);
        (mid - shift * ShiftShare(mid) < L ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

double CGamutMapper::Unshifted(double L, double C, double h) const {
    return L - Shift(C, h) * ShiftShare(L);
}

SLch CGamutMapper::Prepare(const Vec3& lab, double& focalL) const {
    SLch lch = ToLch(LabToOklab(m_scaling.FromPerceptual(lab)));
    lch.L = Shifted(lch.L, Shift(lch.C, lch.h));
    // The focal point stays a little inside the lightness range, so that lines from it reach
    // the boundary at every angle.
    const double dark = m_printer.DarkL(), margin = 0.02 * (1.0 - dark);
    focalL = std::clamp(m_printer.Cusp(lch.h).L, dark + margin, 1.0 - margin);
    return lch;
}

namespace {

// The greatest t in 0..tMax for which inside(t) holds, inside(0) assumed.
template <class F> double Reach(double tMax, F inside) {
    if (inside(tMax)) return tMax;
    double lo = 0.0, hi = tMax;
    for (int step = 0; step < kReachSteps; ++step) {
        const double mid = 0.5 * (lo + hi);
        (inside(mid) ? lo : hi) = mid;
    }
    return lo;
}

// The length of the line from (focalL, 0) along (dL, dC) before it leaves the lightness range
// darkL..1 or the chroma ceiling.
double LineLength(double focalL, double dL, double dC, double darkL) {
    double t = dC > 1e-12 ? kChromaCeiling / dC : 10.0;
    if (dL > 1e-12) t = std::min(t, (1.0 - focalL) / dL);
    if (dL < -1e-12) t = std::min(t, (focalL - darkL) / -dL);
    return std::max(t, 0.0);
}

} // namespace

double CGamutMapper::PrinterReach(double focalL, double dL, double dC, double h) const {
    return Reach(LineLength(focalL, dL, dC, m_printer.DarkL()),
                 [&](double t) { return t * dC <= m_printer.MaxChroma(focalL + t * dL, h); });
}

double CGamutMapper::SourceReach(double focalL, double dL, double dC, double h) const {
    return Reach(LineLength(focalL, dL, dC, m_source.DarkL()), [&](double t) {
        const double C = t * dC;
        return m_sourceInside(OklabToLab(FromLch({Unshifted(focalL + t * dL, C, h), C, h})));
    });
}

Vec3 CGamutMapper::Perceptual(const Vec3& lab, Vec3& anchor) const {
    double focalL;
    const SLch lch = Prepare(lab, focalL);
    anchor = {OklabToLab({focalL, 0.0, 0.0})[0], 0.0, 0.0};
    const double dL = lch.L - focalL, d = std::hypot(dL, lch.C);
    if (d < 1e-12) return OklabToLab(FromLch(lch));
    const double uL = dL / d, uC = lch.C / d;
    const double dp = PrinterReach(focalL, uL, uC, lch.h);
    const double ds = SourceReach(focalL, uL, uC, lch.h);
    double f = std::min(d, dp);
    if (ds > dp) {
        // The knee: the inner part stays, the rest of the source's range is compressed into
        // the outer part of the printer's, and beyond the source it is clipped. The curve
        // between is the cubic that leaves the knee at slope 1 and meets the boundary at
        // slope 0: without a kink at either end, the tables interpolate it well, also where
        // their cells straddle the source's boundary. (Its slope stays positive while the
        // source reaches at most three times as far beyond the knee as the printer; beyond
        // that the slope at the knee is held at 3.)
        const double knee = kKnee * dp;
        if (d > knee) {
            const double x = std::min(1.0, (d - knee) / (ds - knee));
            const double m = std::min(3.0, (ds - knee) / (dp - knee));
            f = knee + (dp - knee) * x * (m + x * ((3.0 - 2.0 * m) + x * (m - 2.0)));
        }
    }
    return OklabToLab(FromLch({focalL + f * uL, f * uC, lch.h}));
}

Vec3 CGamutMapper::Saturation(const Vec3& lab, Vec3& anchor) const {
    double focalL;
    const SLch lch = Prepare(lab, focalL);
    anchor = {OklabToLab({focalL, 0.0, 0.0})[0], 0.0, 0.0};
    const double dL = lch.L - focalL, d = std::hypot(dL, lch.C);
    if (d < 1e-12) return OklabToLab(FromLch(lch));
    const double uL = dL / d, uC = lch.C / d;
    const double f = std::min(d, PrinterReach(focalL, uL, uC, lch.h));
    return OklabToLab(FromLch({focalL + f * uL, f * uC, lch.h}));
}

Vec3 CGamutMapper::Relative(const Vec3& lab, Vec3& anchor) const {
    const SLch lch = ToLch(LabToOklab(lab));
    // The nearest colour of the hue's slice: at each lightness the slice holds a range of
    // chroma, so the nearest colour there has the chroma of the range nearest the colour's.
    const auto nearestC = [&](double L, double& C) {
        // Only down to the darkest neutral: the press's few deeper colours would make ramps
        // to black turn back up to black's neutral.
        if (L < m_printer.DarkL()) return false;
        double lo, hi;
        if (!m_printer.ChromaRange(L, lch.h, lo, hi)) return false;
        C = std::clamp(lch.C, lo, hi);
        return true;
    };
    // The lightness of the nearest colour with lightness differences weighted by `weight`, and
    // the squared distance to it.
    const auto search = [&](double weight, double& bestD) {
        const auto distance = [&](double L) {
            double C;
            if (!nearestC(L, C)) return HUGE_VAL;
            const double dL = weight * (L - lch.L);
            return dL * dL + (C - lch.C) * (C - lch.C);
        };
        int best = kNearestSamples;
        bestD = HUGE_VAL;
        for (int i = 0; i <= kNearestSamples; ++i) {
            const double d = distance(double(i) / kNearestSamples);
            if (d < bestD) {
                bestD = d;
                best = i;
            }
        }
        // Golden-section search between the neighbours of the best sample.
        double a = double(std::max(0, best - 1)) / kNearestSamples;
        double b = double(std::min(kNearestSamples, best + 1)) / kNearestSamples;
        const double g = (std::sqrt(5.0) - 1.0) / 2.0;
        for (int step = 0; step < 40; ++step) {
            const double x1 = b - g * (b - a), x2 = a + g * (b - a);
            if (distance(x1) <= distance(x2))
                b = x2;
            else
                a = x1;
        }
        double C;
        const double L = 0.5 * (a + b);
        return nearestC(L, C) ? L : double(best) / kNearestSamples;
    };
    // Lightness weighs more the farther the colour lies outside the gamut: near the boundary
    // the plain nearest colour keeps the table's interpolation between printable nodes and
    // those just outside them close to the press's colours.
    double plainD;
    double L = search(1.0, plainD);
    if (plainD < HUGE_VAL) {
        const double far = std::min(1.0, std::sqrt(plainD) / kWeightReach);
        double weightedD;
        const double weighted = search(1.0 + (kRelativeLightnessWeight - 1.0) * far, weightedD);
        if (weightedD < HUGE_VAL) L = weighted;
    }
    double C = 0.0;
    nearestC(L, C);
    // The anchor: the neutral of that lightness.
    anchor = {OklabToLab({L, 0.0, 0.0})[0], 0.0, 0.0};
    return OklabToLab(FromLch({L, C, lch.h}));
}

double CGamutMapper::RelativeChroma(const Vec3& lab) const {
    const SLch lch = ToLch(LabToOklab(lab));
    const double cusp = m_printer.Cusp(lch.h).C;
    return cusp > 0.0 ? std::clamp(lch.C / cusp, 0.0, 1.0) : 0.0;
}

double CGamutMapper::BoundaryRatio(const Vec3& lab) const {
    const SLch lch = ToLch(LabToOklab(lab));
    double lo, hi;
    if (!m_printer.ChromaRange(lch.L, lch.h, lo, hi) || hi <= 0.0) return 1.0;
    return std::clamp(lch.C / hi, 0.0, 1.0);
}
