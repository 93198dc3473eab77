#include "tools/gen/PrinterModel.h"

#include <algorithm>
#include <cmath>

#include "base/Colorimetry.h"

namespace {

CVect3 ToV(const Vec3& v) {
    return CVect3(v[0], v[1], v[2]);
}
Vec3 FromV(const CVect3& v) {
    return {v[0], v[1], v[2]};
}

// XYZ of a chromaticity at Y = 1.
CVect3 XyzOf(double x, double y) {
    return CVect3(x / y, 1.0, (1.0 - x - y) / y);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Colorimetry

Vec3 LabToXyz(const Vec3& lab) {
    Vec3 xyz;
    lab2XYZ(lab.data(), xyz.data(), kD50White);
    return xyz;
}
Vec3 XyzToLab(const Vec3& xyz) {
    Vec3 lab;
    XYZ2lab(xyz.data(), lab.data(), kD50White);
    return lab;
}

CMatrix3 Bradford(const CVect3& from, const CVect3& to) {
    const CMatrix3 cone(0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296);
    CMatrix3 coneInv;
    cone.Invers(coneInv);
    const CVect3 s = cone * from;
    const CVect3 d = cone * to;
    const CMatrix3 scale(d[0] / s[0], 0, 0, 0, d[1] / s[1], 0, 0, 0, d[2] / s[2]);
    return coneInv * (scale * cone);
}

// ---------------------------------------------------------------------------------------------
// sRGB

SRgb::SRgb() {
    const CVect3 r = XyzOf(0.64, 0.33), g = XyzOf(0.30, 0.60), b = XyzOf(0.15, 0.06);
    const CVect3 white = XyzOf(0.3127, 0.3290);
    const CMatrix3 prim(r[0], g[0], b[0], r[1], g[1], b[1], r[2], g[2], b[2]);
    CMatrix3 primInv;
    prim.Invers(primInv);
    const CVect3 s = primInv * white; // luminance of each primary in white
    const CMatrix3 d65(prim[0][0] * s[0], prim[0][1] * s[1], prim[0][2] * s[2], prim[1][0] * s[0],
                       prim[1][1] * s[1], prim[1][2] * s[2], prim[2][0] * s[0], prim[2][1] * s[1],
                       prim[2][2] * s[2]);
    adaptation = Bradford(white, CVect3(kD50X, kD50Y, kD50Z));
    toXyz = adaptation * d65;
    toXyz.Invers(fromXyz);
}

double SRgb::Decode(double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}
double SRgb::Encode(double l) {
    l = std::clamp(l, 0.0, 1.0);
    return l <= 0.0031308 ? 12.92 * l : 1.055 * std::pow(l, 1.0 / 2.4) - 0.055;
}

Vec3 SRgb::ToLab(const Vec3& rgb) const {
    const CVect3 lin(Decode(rgb[0]), Decode(rgb[1]), Decode(rgb[2]));
    return XyzToLab(FromV(toXyz * lin));
}
Vec3 SRgb::FromXyz(const Vec3& xyz) const {
    const CVect3 lin = fromXyz * ToV(xyz);
    return {Encode(lin[0]), Encode(lin[1]), Encode(lin[2])};
}

// ---------------------------------------------------------------------------------------------
// The press model

const double kPressPrimaries[16][3] = {
    {100.00, -0.00, -0.00},  {22.35, 1.07, 0.06},   {95.08, -6.30, 90.35},  {20.49, -2.26, 11.71},
    {53.95, 76.14, -6.56},   {13.98, 15.88, -0.39}, {53.60, 69.81, 45.20},  {15.04, 11.57, 6.38},
    {63.61, -41.39, -48.34}, {16.78, -8.02, -9.98}, {58.88, -67.54, 27.13}, {16.84, -13.47, 4.38},
    {30.92, 19.99, -48.36},  {10.63, 7.70, -9.10},  {29.01, 0.48, -1.36},   {11.77, 0.77, 0.33},
};

CPressModel::CPressModel() {
    for (int p = 0; p < 16; ++p) {
        const Vec3 xyz =
            LabToXyz({kPressPrimaries[p][0], kPressPrimaries[p][1], kPressPrimaries[p][2]});
        for (int c = 0; c < 3; ++c) m_root[p][c] = std::pow(xyz[c], 1.0 / kYuleNielsenN);
    }
}

Vec3 CPressModel::Xyz(const double* ink) const {
    Vec3 sum{0.0, 0.0, 0.0};
    for (int p = 0; p < 16; ++p) {
        double w = 1.0;
        for (int i = 0; i < 4; ++i) {
            const bool present = (p >> (3 - i)) & 1;
            w *= present ? ink[i] : 1.0 - ink[i];
        }
        for (int c = 0; c < 3; ++c) sum[c] += w * m_root[p][c];
    }
    for (double& v : sum) v = std::pow(std::max(v, 0.0), kYuleNielsenN);
    return sum;
}

double CPressModel::SolveCmy(const Vec3& target, double k, double* cmy) const {
    static constexpr double starts[4][3] = {
        {0.1, 0.1, 0.1}, {0.5, 0.5, 0.5}, {0.9, 0.9, 0.9}, {0.3, 0.6, 0.9}};
    double best = HUGE_VAL;
    for (const auto& s : starts) {
        double x[3] = {s[0], s[1], s[2]};
        const double cost = Search(target, k, x);
        if (cost < best) {
            best = cost;
            std::copy(x, x + 3, cmy);
        }
    }
    return best;
}

void CPressModel::Separate(const Vec3& target, double* cmyk) const {
    double cmy[3];
    const double costNoBlack = SolveCmy(target, 0.0, cmy);
    const double grey = std::min({cmy[0], cmy[1], cmy[2]});
    double k = std::clamp((grey - kGreyStart) / (1.0 - kGreyStart), 0.0, 1.0);
    // Black must not take away what the press could reach: where the rule's black makes the
    // target unreachable (a grey lighter than black alone, say), the black nearest to the
    // rule's that still matches about as well as the best of the blacks 0, 20, ..., 100%
    // (within 0.5 units of colour difference) is found by bisection between the two.
    const double costRule = k > 0.0 ? SolveCmy(target, k, cmy) : costNoBlack;
    if (costRule > 0.25) {
        double costBest = costNoBlack, kBest = 0.0;
        for (int step = 1; step <= 5; ++step) {
            const double cost = SolveCmy(target, step * 0.2, cmy);
            if (cost < costBest) {
                costBest = cost;
                kBest = step * 0.2;
            }
        }
        const double allowed = std::pow(std::sqrt(costBest) + 0.5, 2.0);
        if (costRule > allowed) {
            double good = kBest, bad = k;
            for (int step = 0; step < 8; ++step) {
                const double mid = 0.5 * (good + bad);
                if (SolveCmy(target, mid, cmy) > allowed)
                    bad = mid;
                else
                    good = mid;
            }
            k = good;
        }
    }
    SolveCmy(target, k, cmy);
    const double sum = cmy[0] + cmy[1] + cmy[2];
    if (sum + k > kTotalInkLimit && sum > 0.0) {
        const double f = (kTotalInkLimit - k) / sum;
        for (double& v : cmy) v *= f;
    }
    std::copy(cmy, cmy + 3, cmyk);
    cmyk[3] = k;
}

void CPressModel::Residual(const Vec3& target, double k, const double* x, double* r) const {
    const double ink[4] = {x[0], x[1], x[2], k};
    const Vec3 lab = Lab(ink);
    for (int c = 0; c < 3; ++c) r[c] = lab[c] - target[c];
    r[3] = 200.0 * std::max(0.0, x[0] + x[1] + x[2] + k - kTotalInkLimit);
}

double CPressModel::Cost(const double* r) {
    return r[0] * r[0] + r[1] * r[1] + r[2] * r[2] + r[3] * r[3];
}

double CPressModel::Search(const Vec3& target, double k, double* x) const {
    double r[4];
    Residual(target, k, x, r);
    double cost = Cost(r);
    double lambda = 1e-3;
    for (int iter = 0; iter < 200 && cost > 1e-12; ++iter) {
        // Jacobian by one-sided differences that stay inside 0..1.
        double J[4][3];
        for (int j = 0; j < 3; ++j) {
            const double h = x[j] + 1e-6 <= 1.0 ? 1e-6 : -1e-6;
            double xs[3] = {x[0], x[1], x[2]};
            xs[j] += h;
            double rs[4];
            Residual(target, k, xs, rs);
            for (int i = 0; i < 4; ++i) J[i][j] = (rs[i] - r[i]) / h;
        }
        double A[3][3], g[3];
        for (int a = 0; a < 3; ++a) {
            g[a] = 0.0;
            for (int i = 0; i < 4; ++i) g[a] += J[i][a] * r[i];
            for (int b = 0; b < 3; ++b) {
                A[a][b] = 0.0;
                for (int i = 0; i < 4; ++i) A[a][b] += J[i][a] * J[i][b];
            }
        }
        bool improved = false;
        for (int tries = 0; tries < 20 && !improved; ++tries) {
            CMatrix3 M(A[0][0], A[0][1], A[0][2], A[1][0], A[1][1], A[1][2], A[2][0], A[2][1],
                       A[2][2]);
            for (int d = 0; d < 3; ++d) M[d][d] += lambda * (A[d][d] + 1.0);
            CMatrix3 Minv;
            if (!M.Invers(Minv)) {
                lambda *= 10.0;
                continue;
            }
            const CVect3 step = Minv * CVect3(-g[0], -g[1], -g[2]);
            double xn[3];
            for (int d = 0; d < 3; ++d) xn[d] = std::clamp(x[d] + step[d], 0.0, 1.0);
            double rn[4];
            Residual(target, k, xn, rn);
            const double cn = Cost(rn);
            if (cn < cost) {
                const double moved =
                    std::fabs(xn[0] - x[0]) + std::fabs(xn[1] - x[1]) + std::fabs(xn[2] - x[2]);
                std::copy(xn, xn + 3, x);
                std::copy(rn, rn + 4, r);
                cost = cn;
                lambda = std::max(lambda / 3.0, 1e-9);
                improved = true;
                if (moved < 1e-9) return cost;
            } else {
                lambda *= 4.0;
            }
        }
        if (!improved) break;
    }
    return cost;
}

namespace {

// Solves the n x n system a x = b (n at most 4) by Gaussian elimination with partial pivoting;
// false if the matrix is singular.
bool SolveLinear(int n, double a[4][4], double b[4], double x[4]) {
    for (int col = 0; col < n; ++col) {
        int pivot = col;
        for (int row = col + 1; row < n; ++row)
            if (std::fabs(a[row][col]) > std::fabs(a[pivot][col])) pivot = row;
        if (std::fabs(a[pivot][col]) < 1e-300) return false;
        if (pivot != col) {
            for (int j = 0; j < n; ++j) std::swap(a[pivot][j], a[col][j]);
            std::swap(b[pivot], b[col]);
        }
        for (int row = col + 1; row < n; ++row) {
            const double f = a[row][col] / a[col][col];
            for (int j = col; j < n; ++j) a[row][j] -= f * a[col][j];
            b[row] -= f * b[col];
        }
    }
    for (int row = n - 1; row >= 0; --row) {
        double s = b[row];
        for (int j = row + 1; j < n; ++j) s -= a[row][j] * x[j];
        x[row] = s / a[row][row];
    }
    return true;
}

} // namespace

double CPressModel::Fit(const Vec3& target, double* x, bool freeBlack, double goal,
                        double minGain) const {
    const int n = freeBlack ? 4 : 3;
    const auto residual = [&](const double* ink, double* r) {
        const Vec3 lab = Lab(ink);
        for (int c = 0; c < 3; ++c) r[c] = lab[c] - target[c];
        r[3] = 200.0 * std::max(0.0, ink[0] + ink[1] + ink[2] + ink[3] - kTotalInkLimit);
    };
    double r[4];
    residual(x, r);
    double cost = Cost(r);
    double lambda = 1e-3;
    for (int iter = 0; iter < 100 && cost > goal; ++iter) {
        // Jacobian by one-sided differences that stay inside 0..1.
        double J[4][4];
        for (int j = 0; j < n; ++j) {
            const double h = x[j] + 1e-6 <= 1.0 ? 1e-6 : -1e-6;
            double xs[4] = {x[0], x[1], x[2], x[3]};
            xs[j] += h;
            double rs[4];
            residual(xs, rs);
            for (int i = 0; i < 4; ++i) J[i][j] = (rs[i] - r[i]) / h;
        }
        double A[4][4], g[4];
        for (int a = 0; a < n; ++a) {
            g[a] = 0.0;
            for (int i = 0; i < 4; ++i) g[a] += J[i][a] * r[i];
            for (int b = 0; b < n; ++b) {
                A[a][b] = 0.0;
                for (int i = 0; i < 4; ++i) A[a][b] += J[i][a] * J[i][b];
            }
        }
        // An ink at its bound that the descent would push further out stays there: the step
        // is solved for the other inks only, so that the search runs along the bound instead
        // of being clipped at every step.
        int freeIdx[4], m = 0;
        for (int d = 0; d < n; ++d) {
            const bool stuck = (x[d] <= 0.0 && g[d] > 0.0) || (x[d] >= 1.0 && g[d] < 0.0);
            if (!stuck) freeIdx[m++] = d;
        }
        if (m == 0) break;
        bool improved = false;
        for (int tries = 0; tries < 20 && !improved; ++tries) {
            double M[4][4], rhs[4], step[4];
            for (int a = 0; a < m; ++a) {
                for (int b = 0; b < m; ++b) M[a][b] = A[freeIdx[a]][freeIdx[b]];
                M[a][a] += lambda * (A[freeIdx[a]][freeIdx[a]] + 1.0);
                rhs[a] = -g[freeIdx[a]];
            }
            if (!SolveLinear(m, M, rhs, step)) {
                lambda *= 10.0;
                continue;
            }
            double xn[4] = {x[0], x[1], x[2], x[3]};
            for (int a = 0; a < m; ++a)
                xn[freeIdx[a]] = std::clamp(x[freeIdx[a]] + step[a], 0.0, 1.0);
            double rn[4];
            residual(xn, rn);
            const double cn = Cost(rn);
            if (cn < cost) {
                const bool slow = cost - cn < minGain * cost;
                std::copy(xn, xn + 4, x);
                std::copy(rn, rn + 4, r);
                cost = cn;
                lambda = std::max(lambda / 3.0, 1e-9);
                improved = true;
                if (slow) return cost;
            } else {
                lambda *= 4.0;
            }
        }
        if (!improved) break;
    }
    return cost;
}

// ---------------------------------------------------------------------------------------------
// Printability

namespace {

constexpr double kPrintableCost = 1e-4; // squared residual of a printed colour: 0.01 units
constexpr double kQuickGain = 1e-3;     // searches that only decide whether a colour prints

// Light, middle and dark greys, and the dark tones of each ink.
constexpr double kFixedStarts[6][4] = {{0.2, 0.2, 0.2, 0.0}, {0.5, 0.5, 0.5, 0.3},
                                       {0.6, 0.6, 0.6, 0.9}, {0.9, 0.3, 0.3, 0.8},
                                       {0.3, 0.9, 0.3, 0.8}, {0.3, 0.3, 0.9, 0.8}};

} // namespace

bool CPressModel::Prints(const Vec3& lab, double* ink, bool tryFixedStarts) const {
    double x[4] = {ink[0], ink[1], ink[2], ink[3]};
    if (Fit(lab, x, true, kPrintableCost, kQuickGain) <= kPrintableCost) {
        std::copy(x, x + 4, ink);
        return true;
    }
    if (!tryFixedStarts) return false;
    for (const auto& s : kFixedStarts) {
        std::copy(s, s + 4, x);
        if (Fit(lab, x, true, kPrintableCost, kQuickGain) <= kPrintableCost) {
            std::copy(x, x + 4, ink);
            return true;
        }
    }
    return false;
}

double CPressModel::DarkestGreyL() const {
    // Full black with a third of the remaining ink each is about the darkest the press goes.
    double ink[4] = {2.0 / 3.0, 2.0 / 3.0, 2.0 / 3.0, 1.0};
    double lo = 0.0, hi = 50.0;
    for (int step = 0; step < 30; ++step) {
        const double mid = 0.5 * (lo + hi);
        if (Prints({mid, 0.0, 0.0}, ink, true))
            hi = mid;
        else
            lo = mid;
    }
    return hi;
}
