#include "tools/gen/GamutQuality.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>

#include "colorlink/MdlColorLink.h"
#include "tools/gen/GamutMapping.h"

namespace gamutquality {

namespace {

constexpr double kDeg = 180.0 / std::numbers::pi;
constexpr int kSectors = 72;         // hue sectors of the printer's greatest chroma
constexpr int kInkSteps = 21;        // samples per ink of the printer's gamut
constexpr int kCircle = 72;          // colours of the hue circle
constexpr int kRampSteps = 32;       // steps of each ramp
constexpr double kReversalTol = 0.1; // L*: table interpolation, not a visible reversal
constexpr double kPlateauFraction = 0.1;
constexpr double kDistinctL = 0.01; // L* by which a darker grey must differ to count
constexpr double kGreyLTol = 0.01;  // L*: greys that print alike differ by table rounding

// The primaries and secondaries as sRGB values.
constexpr double kPrimaryRgb[kPrimaries][3] = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                               {0, 1, 1}, {0, 0, 1}, {1, 0, 1}};

double Hue(const Vec3& lab) {
    return ToLch(LabToOklab(lab)).h;
}
double Chroma(const Vec3& lab) {
    return ToLch(LabToOklab(lab)).C;
}
// Difference of two hue angles in degrees, 0..180.
double HueDiff(double a, double b) {
    double d = std::fabs(a - b) * kDeg;
    return d > 180.0 ? 360.0 - d : d;
}
double DeltaE(const Vec3& a, const Vec3& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

// sRGB of the hue circle: full colours of HSV hue 0, 5, ..., 355 degrees.
Vec3 CircleRgb(int i) {
    const double hp = i * 360.0 / kCircle / 60.0;
    const double x = 1.0 - std::fabs(std::fmod(hp, 2.0) - 1.0);
    switch (int(hp)) {
    case 0:
        return {1, x, 0};
    case 1:
        return {x, 1, 0};
    case 2:
        return {0, 1, x};
    case 3:
        return {0, x, 1};
    case 4:
        return {x, 0, 1};
    default:
        return {1, 0, x};
    }
}

cmsUInt32Number LcmsIntent(EIntent i) {
    switch (i) {
    case EIntent::Perceptual:
        return INTENT_PERCEPTUAL;
    case EIntent::Saturation:
        return INTENT_SATURATION;
    default:
        return INTENT_RELATIVE_COLORIMETRIC;
    }
}
enmRenderingIntent NativeIntent(EIntent i) {
    switch (i) {
    case EIntent::Perceptual:
        return IntentPerceptual;
    case EIntent::Saturation:
        return IntentSaturation;
    case EIntent::RelativeBpc:
        return IntentRelativeBpc;
    default:
        return IntentRelative;
    }
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

} // namespace

const char* const kPrimaryNames[kPrimaries] = {"red", "yellow", "green", "cyan", "blue", "magenta"};

const char* Name(EConverter c) {
    return c == EConverter::Native ? "native link" : "lcms2";
}
const char* Name(EIntent i) {
    switch (i) {
    case EIntent::Perceptual:
        return "perceptual";
    case EIntent::Relative:
        return "relative colorimetric";
    case EIntent::RelativeBpc:
        return "relative colorimetric with black point compensation";
    case EIntent::Saturation:
        return "saturation";
    }
    return "";
}

CQuality::CQuality(const std::filesystem::path& srgbProfile,
                   const std::filesystem::path& cmykProfile)
    : m_srgb(srgbProfile), m_cmyk(cmykProfile) {
    m_srgbProfile = cmsOpenProfileFromFile(srgbProfile.string().c_str(), "r");
    m_cmykProfile = cmsOpenProfileFromFile(cmykProfile.string().c_str(), "r");
    m_labProfile = cmsCreateLab4Profile(nullptr);
    if (!m_srgbProfile || !m_cmykProfile || !m_labProfile) {
        m_error = "cannot open " + srgbProfile.string() + " or " + cmykProfile.string();
        return;
    }
    m_print = cmsCreateTransform(m_cmykProfile, TYPE_CMYK_DBL, m_labProfile, TYPE_Lab_DBL,
                                 INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    if (!m_print) {
        m_error = "lcms2 cannot read the A2B1 of " + cmykProfile.string();
        return;
    }
    // The printer's gamut as the profile gives it.
    std::vector<std::array<double, 4>> inks;
    for (int c = 0; c < kInkSteps; ++c)
        for (int m = 0; m < kInkSteps; ++m)
            for (int y = 0; y < kInkSteps; ++y)
                for (int k = 0; k < kInkSteps; ++k) {
                    const std::array<double, 4> ink{
                        c / double(kInkSteps - 1), m / double(kInkSteps - 1),
                        y / double(kInkSteps - 1), k / double(kInkSteps - 1)};
                    if (ink[0] + ink[1] + ink[2] + ink[3] <= kTotalInkLimit + 1e-9)
                        inks.push_back(ink);
                }
    for (const Vec3& lab : Print(inks)) {
        const SLch lch = ToLch(LabToOklab(lab));
        const int s = std::min(kSectors - 1, int(lch.h * kDeg / (360.0 / kSectors)));
        m_sector[s] = std::max(m_sector[s], lch.C);
    }
    m_darkestL = CPressModel().DarkestGreyL();
}

CQuality::~CQuality() {
    if (m_print) cmsDeleteTransform(m_print);
    for (void* p : {m_srgbProfile, m_cmykProfile, m_labProfile})
        if (p) cmsCloseProfile(p);
}

double CQuality::MaxChroma(double h) const {
    // Between the sectors' centres, linearly.
    double x = h * kDeg / (360.0 / kSectors) - 0.5;
    if (x < 0.0) x += kSectors;
    const int lo = int(x) % kSectors, hi = (lo + 1) % kSectors;
    const double w = x - std::floor(x);
    return m_sector[lo] + w * (m_sector[hi] - m_sector[lo]);
}

std::vector<std::array<double, 4>> CQuality::Convert(EConverter converter, EIntent intent,
                                                     const std::vector<Vec3>& rgb) {
    std::vector<uint16_t> in;
    for (const Vec3& v : rgb)
        for (double c : v) in.push_back(uint16_t(std::lround(std::clamp(c, 0.0, 1.0) * 65535.0)));
    std::vector<uint16_t> out(rgb.size() * 4, 0);
    if (converter == EConverter::Lcms) {
        const cmsUInt32Number flags =
            intent == EIntent::RelativeBpc ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0;
        cmsHTRANSFORM t = cmsCreateTransform(m_srgbProfile, TYPE_RGB_16, m_cmykProfile,
                                             TYPE_CMYK_16, LcmsIntent(intent), flags);
        if (!t) {
            m_error = "lcms2 cannot convert sRGB to the printer";
            return {};
        }
        cmsDoTransform(t, in.data(), out.data(), cmsUInt32Number(rgb.size()));
        cmsDeleteTransform(t);
    } else {
        std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(nullptr));
        if (!link ||
            !link->AddProfile(m_srgb.wstring().c_str(), CMdlColorLink::ProfStepDevToPcs,
                              NativeIntent(intent)) ||
            !link->AddProfile(m_cmyk.wstring().c_str(), CMdlColorLink::ProfStepPcsToDev,
                              NativeIntent(intent)) ||
            !link->CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4)) {
            m_error = "the native link of sRGB to the printer cannot be built";
            return {};
        }
        link->TrnPixels16(in.data(), out.data(), unsigned(rgb.size()));
    }
    std::vector<std::array<double, 4>> cmyk(rgb.size());
    for (size_t i = 0; i < rgb.size(); ++i)
        for (int c = 0; c < 4; ++c) cmyk[i][c] = out[4 * i + c] / 65535.0;
    return cmyk;
}

std::vector<Vec3> CQuality::Print(const std::vector<std::array<double, 4>>& cmyk) const {
    std::vector<Vec3> lab(cmyk.size());
    for (size_t i = 0; i < cmyk.size(); ++i) {
        const double pct[4] = {cmyk[i][0] * 100, cmyk[i][1] * 100, cmyk[i][2] * 100,
                               cmyk[i][3] * 100};
        cmsCIELab out;
        cmsDoTransform(m_print, pct, &out, 1);
        lab[i] = {out.L, out.a, out.b};
    }
    return lab;
}

SHueFigures CQuality::MeasureHues(EConverter converter, EIntent intent) {
    SHueFigures f;
    const SRgb srgb;
    std::vector<Vec3> rgb;
    for (const auto& p : kPrimaryRgb) rgb.push_back({p[0], p[1], p[2]});
    for (int i = 0; i < kCircle; ++i) rgb.push_back(CircleRgb(i));
    const std::vector<Vec3> printed = Print(Convert(converter, intent, rgb));
    if (printed.size() != rgb.size()) return f;
    double circleSum = 0.0;
    f.circleMin = 1e9;
    for (size_t i = 0; i < rgb.size(); ++i) {
        const double h = Hue(printed[i]);
        const double kept = 100.0 * Chroma(printed[i]) / MaxChroma(h);
        const double shift = HueDiff(h, Hue(srgb.ToLab(rgb[i])));
        if (i < kPrimaries) {
            f.keptPct[i] = kept;
            f.printed[i] = printed[i];
            f.keptAvg += kept / kPrimaries;
            f.shiftMax = std::max(f.shiftMax, shift);
        } else {
            circleSum += kept;
            f.circleMin = std::min(f.circleMin, kept);
            f.circleShiftMax = std::max(f.circleShiftMax, shift);
        }
    }
    f.circleAvg = circleSum / kCircle;
    return f;
}

SRampFigures CQuality::MeasureRamps(EConverter converter, EIntent intent) {
    SRampFigures f;
    const SRgb srgb;
    for (int p = 0; p < kPrimaries; ++p)
        for (int end = 1; end >= 0; --end) { // to white, then to black
            std::vector<Vec3> rgb;
            for (int s = 0; s <= kRampSteps; ++s) {
                const double t = s / double(kRampSteps);
                Vec3 v;
                for (int c = 0; c < 3; ++c) v[c] = (1.0 - t) * kPrimaryRgb[p][c] + t * end;
                rgb.push_back(v);
            }
            const std::vector<Vec3> lab = Print(Convert(converter, intent, rgb));
            if (lab.size() != rgb.size()) return f;
            // Steps of the print, and of the print relative to those of the source, whose
            // own steps are uneven (small near a channel's 0, where sRGB is linear).
            std::vector<double> steps, gain;
            for (int s = 1; s <= kRampSteps; ++s) {
                steps.push_back(DeltaE(lab[s - 1], lab[s]));
                gain.push_back(steps.back() / DeltaE(srgb.ToLab(rgb[s - 1]), srgb.ToLab(rgb[s])));
            }
            const double median = Median(steps), medianGain = Median(gain);
            const std::string name = std::string(kPrimaryNames[p]) + (end ? "-white" : "-black");
            for (int s = 1; s <= kRampSteps; ++s) {
                const double dL = (lab[s][0] - lab[s - 1][0]) * (end ? 1.0 : -1.0);
                char note[160];
                if (dL < -kReversalTol) {
                    ++f.reversals;
                    std::snprintf(note, sizeof note, "%s step %d: reversal, L* %+.2f", name.c_str(),
                                  s, lab[s][0] - lab[s - 1][0]);
                    f.faults.push_back(note);
                }
                if (gain[s - 1] < kPlateauFraction * medianGain) {
                    ++f.plateaus;
                    std::snprintf(note, sizeof note,
                                  "%s step %d: plateau, step %.3f of the source's %.3f",
                                  name.c_str(), s, steps[s - 1], steps[s - 1] / gain[s - 1]);
                    f.faults.push_back(note);
                }
                if (median > 0.0 && steps[s - 1] / median > f.worstStepRatio) {
                    f.worstStepRatio = steps[s - 1] / median;
                    f.worstRamp = name;
                }
            }
        }
    return f;
}

SGreyFigures CQuality::MeasureGreys(EConverter converter, EIntent intent) {
    SGreyFigures f;
    std::vector<Vec3> rgb;
    for (int v = 0; v < 256; ++v) rgb.push_back({v / 255.0, v / 255.0, v / 255.0});
    const auto cmyk = Convert(converter, intent, rgb);
    const std::vector<Vec3> lab = Print(cmyk);
    if (lab.size() != rgb.size()) return f;
    f.black = lab[0];
    std::array<double, 4> rise{};
    for (int v = 0; v < 256; ++v) {
        f.maxAbsAb = std::max({f.maxAbsAb, std::fabs(lab[v][1]), std::fabs(lab[v][2])});
        if (v == 0) continue;
        if (lab[v][0] < lab[v - 1][0] - kGreyLTol) f.lMonotonic = false;
        if (v <= 40 && lab[v][0] > lab[v - 1][0] + kDistinctL) ++f.distinctDark;
        for (int c = 0; c < 4; ++c) {
            const double d = cmyk[v][c] - cmyk[v - 1][c];
            f.maxInkStep = std::max(f.maxInkStep, std::fabs(d));
            if (d > 0.0) rise[c] += d;
        }
    }
    ++f.distinctDark; // grey 0 is distinct from none before it
    f.maxInkRise = *std::max_element(rise.begin(), rise.end());
    return f;
}

SFigures CQuality::Measure(EConverter converter, EIntent intent) {
    SFigures f;
    f.hue = MeasureHues(converter, intent);
    f.ramps = MeasureRamps(converter, intent);
    f.greys = MeasureGreys(converter, intent);
    return f;
}

std::string Report(CQuality& q) {
    std::string out;
    char line[512];
    const auto add = [&](const char* fmt, auto... args) {
        std::snprintf(line, sizeof line, fmt, args...);
        out += line;
    };
    add("sRGB -> default printer, printed colours read back through A2B1; chroma and hue in "
        "Oklab\n");
    add("darkest neutral of the press: L* %.2f\n", q.DarkestGreyL());
    for (EConverter c : {EConverter::Native, EConverter::Lcms}) {
        for (EIntent i :
             {EIntent::Perceptual, EIntent::Relative, EIntent::RelativeBpc, EIntent::Saturation}) {
            const SFigures f = q.Measure(c, i);
            if (!q.Ok()) return out + q.Error() + "\n";
            add("\n[%s, %s]\n", Name(c), Name(i));
            add("  chroma kept, %% of the printer's greatest at the hue:");
            for (int p = 0; p < kPrimaries; ++p)
                add(" %s %.0f", kPrimaryNames[p], f.hue.keptPct[p]);
            add("\n  average of the six %.1f%%, 72-colour hue circle average %.1f%% (least "
                "%.1f%%)\n",
                f.hue.keptAvg, f.hue.circleAvg, f.hue.circleMin);
            add("  printed L*/C*ab:");
            for (int p = 0; p < kPrimaries; ++p)
                add(" %s %.1f/%.1f", kPrimaryNames[p], f.hue.printed[p][0],
                    std::hypot(f.hue.printed[p][1], f.hue.printed[p][2]));
            add("\n  largest hue shift: six %.1f deg, circle %.1f deg\n", f.hue.shiftMax,
                f.hue.circleShiftMax);
            add("  12 ramps: %d reversals, %d plateau steps, largest step %.2f x the median "
                "(%s)\n",
                f.ramps.reversals, f.ramps.plateaus, f.ramps.worstStepRatio,
                f.ramps.worstRamp.c_str());
            for (const std::string& fault : f.ramps.faults) add("    %s\n", fault.c_str());
            add("  greys: |a*|,|b*| at most %.2f, L* %s, %d of the greys 0..40 distinct\n",
                f.greys.maxAbsAb, f.greys.lMonotonic ? "monotonic" : "NOT monotonic",
                f.greys.distinctDark);
            add("  sRGB black printed as L* %.2f a* %+.2f b* %+.2f\n", f.greys.black[0],
                f.greys.black[1], f.greys.black[2]);
            add("  grey ramp: largest ink change per 8-bit step %.2f%%, largest rise of an ink "
                "black->white %.2f%%\n",
                100.0 * f.greys.maxInkStep, 100.0 * f.greys.maxInkRise);
        }
    }
    return out;
}

} // namespace gamutquality
