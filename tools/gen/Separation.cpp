#include "tools/gen/Separation.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double kReachableCost = 4e-4; // squared residual a black must reach: 0.02 units
constexpr double kExactCost = 1e-10;    // squared residual of a final separation
constexpr double kQuickGain = 1e-3;     // searches that only decide whether a colour prints
constexpr double kFineGain = 1e-7;      // searches whose result is used
constexpr int kOntoSteps = 12;          // bisection onto the gamut: 1/4096 of the line
constexpr int kBlackSteps = 14;         // bisection of black
constexpr double kNeutralBand = 0.5;    // relative chroma over which the rule's black joins
constexpr double kShadowRamp = 8.0;     // units of CIE76 difference to full grey component
constexpr double kDarkChromaFade = 8.0; // CIELAB chroma of which half stays, deep below
constexpr double kDarkFadeDepth = 2.5;  // L* below the darkest neutral where the fade starts

// The press's inside test for the boundary: printable from the last inside colour's inks.
CGamutBoundary::InsideTest PressTest(const CPressModel& press) {
    return [&press, ink = std::array<double, 4>{0.2, 0.2, 0.2, 0.0}](const Vec3& lab) mutable {
        return press.Prints(lab, ink.data(), true);
    };
}

// sRGB's inside test after the black point scaling: every channel within 0..1.
CGamutBoundary::InsideTest SrgbTest(const SRgb& srgb, const CBlackScaling& scaling) {
    return [&srgb, &scaling](const Vec3& lab) {
        const Vec3 xyz = LabToXyz(scaling.ToPerceptualUnclamped(lab));
        const CVect3 lin = srgb.fromXyz * CVect3(xyz[0], xyz[1], xyz[2]);
        for (int c = 0; c < 3; ++c)
            if (lin[c] < -1e-9 || lin[c] > 1.0 + 1e-9) return false;
        return true;
    };
}

} // namespace

CPrinterGamut::CPrinterGamut()
    : m_darkestGreyL(m_press.DarkestGreyL()), m_scaling(m_darkestGreyL),
      m_printer(LabToOklab({m_darkestGreyL, 0.0, 0.0})[0], [this] { return PressTest(m_press); }),
      m_source(LabToOklab({m_darkestGreyL, 0.0, 0.0})[0],
               [this] { return SrgbTest(m_srgb, m_scaling); }),
      m_mapper(m_printer, m_source, SrgbTest(m_srgb, m_scaling), m_scaling) {
    // Before any mapping: the mapper reads the source's cusps.
    m_source.RaiseCuspHollows();
}

CPrinterSeparation::CPrinterSeparation(const CPrinterGamut& gamut, EIntent intent)
    : m_gamut(gamut),
      m_intent(intent), m_last4{0.2, 0.2, 0.2, 0.0}, m_lastCmy0{0.2, 0.2, 0.2}, m_lastCmyk{0.2, 0.2,
                                                                                           0.2,
                                                                                           0.0} {}

double CPrinterSeparation::GreyBlack(double L, double darkestL) {
    const double t = (100.0 - L) / (100.0 - darkestL);
    const double s = std::clamp((t - kBlackStart) / (1.0 - kBlackStart), 0.0, 1.0);
    // Linear with a parabolic start: the slope rises from 0 over the first kBlackSoftStart of
    // the way, so that black sets in without a kink. A curve flat at the dark end as well
    // would leave the last darkening to C, M and Y, which would then have to fall where black
    // rises faster: along the grey axis of this press only a nearly linear black keeps C, M and
    // Y monotonic.
    constexpr double w = kBlackSoftStart;
    return s < w ? s * s / (2.0 * w) / (1.0 - w / 2.0) : (s - w / 2.0) / (1.0 - w / 2.0);
}

Vec3 CPrinterSeparation::Map(const Vec3& target, double* ink4) const {
    const CPressModel& press = m_gamut.Press();
    std::copy(m_last4, m_last4 + 4, ink4);
    Vec3 goal = target, anchor, mapped;
    switch (m_intent) {
    case EIntent::Relative:
        if (press.Prints(target, ink4, true)) return target;
        // A dark colour that does not print is raised to the darkest neutral's lightness before
        // the search: one of the press's few deeper colours (blues of three inks) would print
        // darker than black's neutral, and ramps to black would turn back.
        if (goal[0] < m_gamut.DarkestGreyL()) {
            // The gamut narrows to a point at the darkest neutral, where a little chroma takes
            // a large trade of inks: colours below it keep the share c / (c + fade) of their
            // chroma c, so that the nodes next to the dark end of the grey axis hold inks
            // nearer the neutral's and greys that fall between them print alike. The fade sets
            // in only some way below the neutral and grows with the depth: colours just below
            // it share the table's cells with printable ones, which are to print as they are.
            const double depth = m_gamut.DarkestGreyL() - goal[0];
            const double fade =
                kDarkChromaFade * std::clamp(depth / kDarkFadeDepth - 1.0, 0.0, 1.0);
            goal[0] = m_gamut.DarkestGreyL();
            const double c = std::hypot(goal[1], goal[2]);
            const double keep = c > 0.0 ? c / (c + fade) : 0.0;
            goal[1] *= keep;
            goal[2] *= keep;
        }
        if (press.Prints(goal, ink4, true)) return goal;
        mapped = m_gamut.Mapper().Relative(goal, anchor);
        break;
    case EIntent::Perceptual:
        mapped = m_gamut.Mapper().Perceptual(target, anchor);
        break;
    case EIntent::Saturation:
        mapped = m_gamut.Mapper().Saturation(target, anchor);
        break;
    }
    // The last printable colour on a line from `from` (printable) to `to`, by bisection.
    const auto onto = [&](const Vec3& from, const Vec3& to) {
        const auto along = [&](double f) {
            return Vec3{from[0] + f * (to[0] - from[0]), from[1] + f * (to[1] - from[1]),
                        from[2] + f * (to[2] - from[2])};
        };
        double lo = 0.0, hi = 1.0;
        for (int step = 0; step < kOntoSteps; ++step) {
            const double mid = 0.5 * (lo + hi);
            (press.Prints(along(mid), ink4, false) ? lo : hi) = mid;
        }
        return along(lo);
    };
    if (press.Prints(mapped, ink4, true)) {
        // The relative intent's table boundary can lie inside the press's: the colour goes on
        // toward the target as far as the press prints, so that it is the boundary's.
        return m_intent == EIntent::Relative ? onto(mapped, goal) : mapped;
    }
    // Onto the gamut along the line from the anchor, a colour within the press's range.
    press.Prints(anchor, ink4, true);
    return onto(anchor, mapped);
}

double CPrinterSeparation::RuleBlack(const Vec3& t) {
    const CPressModel& press = m_gamut.Press();
    // C, M and Y without black, from the last colour's and from fixed starts.
    double cmy0[4] = {m_lastCmy0[0], m_lastCmy0[1], m_lastCmy0[2], 0.0};
    double cost0 = press.Fit(t, cmy0, false, kExactCost, kFineGain);
    if (cost0 > kExactCost) {
        static constexpr double starts[4][3] = {
            {0.1, 0.1, 0.1}, {0.5, 0.5, 0.5}, {0.9, 0.9, 0.9}, {0.3, 0.6, 0.9}};
        for (const auto& s : starts) {
            double x[4] = {s[0], s[1], s[2], 0.0};
            const double cost = press.Fit(t, x, false, kExactCost, kFineGain);
            if (cost < cost0) {
                cost0 = cost;
                std::copy(x, x + 3, cmy0);
            }
        }
    }
    std::copy(cmy0, cmy0 + 3, m_lastCmy0);
    // A colour beyond the reach of C, M and Y alone has no grey component of its own: the one
    // of the nearest colour they reach grows toward 1 with the distance to it.
    const double beyond = std::min(1.0, std::sqrt(cost0) / kShadowRamp);
    const double nearest = std::min({cmy0[0], cmy0[1], cmy0[2]});
    const double grey = nearest + (1.0 - nearest) * beyond;
    return std::clamp((grey - kGreyStart) / (1.0 - kGreyStart), 0.0, 1.0);
}

void CPrinterSeparation::Separate(const Vec3& target, double* cmyk, Vec3& mapped) {
    const CPressModel& press = m_gamut.Press();
    double ink4[4];
    const Vec3 t = Map(target, ink4);
    mapped = t;
    std::copy(ink4, ink4 + 4, m_last4);

    // Black's aim: the grey axis's curve, scaled down by relative chroma. Away from the axis
    // it is at least the black of the grey-component rule (CPressModel::Separate), which
    // knows when a colour holds much black: dark browns, whose C, M and Y alone would not
    // reach them, need nearly the black of the gamut's boundary well inside it already, and a
    // lower aim there would leave black to jump up between the last nodes before it.
    const double r = m_gamut.Mapper().RelativeChroma(t);
    const double curve = GreyBlack(t[0], m_gamut.DarkestGreyL()) * (1.0 - r);
    const double offAxis = std::min(1.0, r / kNeutralBand);
    const double aim = curve + offAxis * std::max(0.0, RuleBlack(t) - curve);
    double ink[4] = {m_lastCmyk[0], m_lastCmyk[1], m_lastCmyk[2], aim};
    double cost = press.Fit(t, ink, false, kExactCost, kFineGain);
    // Where the aimed black misses the colour, the printability search's black reaches it:
    // the reachable black nearest to the aim lies between the two.
    if (cost > kReachableCost) {
        double good[4] = {ink4[0], ink4[1], ink4[2], ink4[3]};
        double bad = aim;
        for (int step = 0; step < kBlackSteps; ++step) {
            double trial[4] = {good[0], good[1], good[2], 0.5 * (good[3] + bad)};
            if (press.Fit(t, trial, false, kReachableCost, kQuickGain) <= kReachableCost)
                std::copy(trial, trial + 4, good);
            else
                bad = trial[3];
        }
        std::copy(good, good + 4, ink);
        press.Fit(t, ink, false, kExactCost, kFineGain);
    }
    const double sum = ink[0] + ink[1] + ink[2];
    if (sum + ink[3] > kTotalInkLimit && sum > 0.0) {
        const double f = (kTotalInkLimit - ink[3]) / sum;
        for (int c = 0; c < 3; ++c) ink[c] *= f;
    }
    std::copy(ink, ink + 4, cmyk);
    std::copy(ink, ink + 4, m_lastCmyk);
}
