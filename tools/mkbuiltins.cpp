// mkbuiltins: writes the library's built-in grid tables and its Lab identity profile.
//
//     kvrmkbuiltins <output folder>
//
// writes RGBTOCMYK.mft, LABTOCMYK.mft, LABTORGB.mft, CMYKTORGB.mft, CMYKV2TORGB.mft,
// CMYKV2TOLAB.mft, SRGBTOLAB.mft (object archives, each of one table) and LABPROFILE.icc. The
// build compiles these files into the library as resources. The output depends on nothing but
// this program: the same build writes the same bytes.
//
// The colour models behind the tables:
//
// sRGB. IEC 61966-2-1: primaries R (0.64, 0.33), G (0.30, 0.60), B (0.15, 0.06), white D65
// (0.3127, 0.3290), the piecewise transfer function (linear below 0.04045, else exponent 2.4).
// The matrix is derived from these chromaticities, and its XYZ is adapted to the D50 white of
// the connection space (0.9642, 1.0, 0.8249) by the Bradford transform. sRGB white is thus
// Lab (100, 0, 0); values outside the sRGB gamut are clipped per channel after the matrix.
//
// The press. A Yule-Nielsen modified Neugebauer model on the 16 measured full-tone ink
// combinations of a coated-paper CMYK press (the table kPrimaries below, CIELAB D50 relative
// to the paper). The ink amounts are the dot areas; the Demichel weights of the 16 primaries
// are averaged in XYZ raised to 1/n, and the result raised to n, with n = 2: the n-factor
// stands for the optical dot gain of light scattering in paper, and 2 is the usual value for
// coated stock. At the 16 corners the model gives the measured colours.
//
// Separation (RGBTOCMYK, LABTOCMYK): the model is inverted numerically. For a target Lab,
// first C, M and Y are solved with no black; their smallest, g, is the grey component. Black
// is then K = (g - 0.25) / 0.75, limited to 0..1 (no black for a grey component below 25%,
// full black where the three inks are all full), and C, M, Y are solved again with that black.
// Where that black would make the target unreachable (a grey lighter than black alone, say),
// black is lowered to the greatest amount that still matches about as well as the best black.
// The solution minimises the CIE76 colour difference by a bounded Levenberg-Marquardt search,
// so colours outside the press gamut are mapped to a nearby press colour. The total ink
// C + M + Y + K is limited to 300%: the search penalises any excess, and a remaining excess
// is removed by scaling C, M and Y down.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/Colorimetry.h"
#include "base/File.h"
#include "base/Matrix3.h"
#include "colorfunc/Func.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"
#include "gridtable/TabMft.h"
#include "icc/IccProfileGen.h"

namespace {

// ---------------------------------------------------------------------------------------------
// Colorimetry

using Vec3 = std::array<double, 3>;

CVect3 ToV(const Vec3& v) {
    return CVect3(v[0], v[1], v[2]);
}
Vec3 FromV(const CVect3& v) {
    return {v[0], v[1], v[2]};
}

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

// XYZ of a chromaticity at Y = 1.
CVect3 XyzOf(double x, double y) {
    return CVect3(x / y, 1.0, (1.0 - x - y) / y);
}

// The Bradford transform from white `from` to white `to`.
CMatrix3 Bradford(const CVect3& from, const CVect3& to) {
    const CMatrix3 cone(0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296);
    CMatrix3 coneInv;
    cone.Invers(coneInv);
    const CVect3 s = cone * from;
    const CVect3 d = cone * to;
    const CMatrix3 scale(d[0] / s[0], 0, 0, 0, d[1] / s[1], 0, 0, 0, d[2] / s[2]);
    return coneInv * (scale * cone);
}

// sRGB: linear RGB to XYZ relative to D50, and back.
struct SRgb {
    CMatrix3 toXyz;
    CMatrix3 fromXyz;

    SRgb() {
        const CVect3 r = XyzOf(0.64, 0.33), g = XyzOf(0.30, 0.60), b = XyzOf(0.15, 0.06);
        const CVect3 white = XyzOf(0.3127, 0.3290);
        const CMatrix3 prim(r[0], g[0], b[0], r[1], g[1], b[1], r[2], g[2], b[2]);
        CMatrix3 primInv;
        prim.Invers(primInv);
        const CVect3 s = primInv * white; // luminance of each primary in white
        const CMatrix3 d65(prim[0][0] * s[0], prim[0][1] * s[1], prim[0][2] * s[2],
                           prim[1][0] * s[0], prim[1][1] * s[1], prim[1][2] * s[2],
                           prim[2][0] * s[0], prim[2][1] * s[1], prim[2][2] * s[2]);
        toXyz = Bradford(white, CVect3(kD50X, kD50Y, kD50Z)) * d65;
        toXyz.Invers(fromXyz);
    }

    static double Decode(double v) {
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    }
    static double Encode(double l) {
        l = std::clamp(l, 0.0, 1.0);
        return l <= 0.0031308 ? 12.92 * l : 1.055 * std::pow(l, 1.0 / 2.4) - 0.055;
    }

    // Encoded sRGB (0..1) to Lab.
    Vec3 ToLab(const Vec3& rgb) const {
        const CVect3 lin(Decode(rgb[0]), Decode(rgb[1]), Decode(rgb[2]));
        return XyzToLab(FromV(toXyz * lin));
    }
    // XYZ (D50) to encoded sRGB (0..1), clipped per channel.
    Vec3 FromXyz(const Vec3& xyz) const {
        const CVect3 lin = fromXyz * ToV(xyz);
        return {Encode(lin[0]), Encode(lin[1]), Encode(lin[2])};
    }
};

// ---------------------------------------------------------------------------------------------
// The press model

// CIELAB D50 of the 16 full-tone combinations, by c, m, y, k present (the last index fastest).
constexpr double kPrimaries[16][3] = {
    {100.00, -0.00, -0.00},  {22.35, 1.07, 0.06},   {95.08, -6.30, 90.35},  {20.49, -2.26, 11.71},
    {53.95, 76.14, -6.56},   {13.98, 15.88, -0.39}, {53.60, 69.81, 45.20},  {15.04, 11.57, 6.38},
    {63.61, -41.39, -48.34}, {16.78, -8.02, -9.98}, {58.88, -67.54, 27.13}, {16.84, -13.47, 4.38},
    {30.92, 19.99, -48.36},  {10.63, 7.70, -9.10},  {29.01, 0.48, -1.36},   {11.77, 0.77, 0.33},
};

constexpr double kYuleNielsenN = 2.0;
constexpr double kTotalInkLimit = 3.0; // 300%
constexpr double kGreyStart = 0.25;    // grey component at which black begins

class CPressModel {
public:
    CPressModel() {
        for (int p = 0; p < 16; ++p) {
            const Vec3 xyz = LabToXyz({kPrimaries[p][0], kPrimaries[p][1], kPrimaries[p][2]});
            for (int c = 0; c < 3; ++c) m_root[p][c] = std::pow(xyz[c], 1.0 / kYuleNielsenN);
        }
    }

    // Ink amounts 0..1 (c, m, y, k) to XYZ relative to D50.
    Vec3 Xyz(const double* ink) const {
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
    Vec3 Lab(const double* ink) const { return XyzToLab(Xyz(ink)); }

    // C, M and Y for the target Lab with black fixed at k, by a bounded Levenberg-Marquardt
    // search from a few starting points. Answers the squared residual of the best solution.
    double SolveCmy(const Vec3& target, double k, double* cmy) const {
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

    // The separation of a target Lab: grey-component rule and total ink limit (see the head of
    // this file).
    void Separate(const Vec3& target, double* cmyk) const {
        double cmy[3];
        const double costNoBlack = SolveCmy(target, 0.0, cmy);
        const double grey = std::min({cmy[0], cmy[1], cmy[2]});
        double k = std::clamp((grey - kGreyStart) / (1.0 - kGreyStart), 0.0, 1.0);
        // Black must not take away what the press could reach: where the rule's black makes
        // the target unreachable (a grey lighter than black alone, say), the black nearest to
        // the rule's that still matches about as well as the best of the blacks 0, 20, ...,
        // 100% (within 0.5 units of colour difference) is found by bisection between the two.
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

private:
    // Residuals: the Lab difference and the ink excess over the limit, weighted so that 1% of
    // excess ink weighs like two units of colour difference.
    void Residual(const Vec3& target, double k, const double* x, double* r) const {
        const double ink[4] = {x[0], x[1], x[2], k};
        const Vec3 lab = Lab(ink);
        for (int c = 0; c < 3; ++c) r[c] = lab[c] - target[c];
        r[3] = 200.0 * std::max(0.0, x[0] + x[1] + x[2] + k - kTotalInkLimit);
    }
    static double Cost(const double* r) {
        return r[0] * r[0] + r[1] * r[1] + r[2] * r[2] + r[3] * r[3];
    }

    double Search(const Vec3& target, double k, double* x) const {
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

    double m_root[16][3]; // primaries' XYZ to the power 1/n
};

// ---------------------------------------------------------------------------------------------
// Sample encodings

uint16_t Round16(double v) {
    return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0));
}
uint8_t Round8(double v) {
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

// Full-range 16-bit Lab: L 100 at 0xFFFF, a and b at 257 units each with neutral at 0x8080.
// Samples are truncated, not rounded.
void EncodeLabFullRange(const Vec3& lab, uint16_t* enc) {
    const double v[3] = {lab[0] * 655.35, (lab[1] + 128.0) * 257.0, (lab[2] + 128.0) * 257.0};
    for (int c = 0; c < 3; ++c) enc[c] = static_cast<uint16_t>(std::clamp(v[c], 0.0, 65535.0));
}

// 8-bit Lab as the pipelines take it: L 100 at 255, a and b neutral at 128.
Vec3 DecodeLab8(const uint8_t* v) {
    return {v[0] * 100.0 / 255.0, v[1] - 128.0, v[2] - 128.0};
}

// ---------------------------------------------------------------------------------------------
// The tables as colour functions, sampled by DefineByFunc

class CSRgbToLab16 : public CFunc_16 {
public:
    explicit CSRgbToLab16(const SRgb& s) : CFunc_16(3, 3), m_s(s) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        EncodeLabFullRange(m_s.ToLab({in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0}), out);
        return 1;
    }

private:
    const SRgb& m_s;
};

class CCmykToLabV2 : public CFunc_16 {
public:
    explicit CCmykToLabV2(const CPressModel& m) : CFunc_16(4, 3), m_m(m) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        const double ink[4] = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0, in[3] / 65535.0};
        const Vec3 lab = m_m.Lab(ink);
        IccEncodeLab16(lab.data(), out);
        return 1;
    }

private:
    const CPressModel& m_m;
};

class CCmykToRgb16 : public CFunc_16 {
public:
    CCmykToRgb16(const CPressModel& m, const SRgb& s) : CFunc_16(4, 3), m_m(m), m_s(s) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        const double ink[4] = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0, in[3] / 65535.0};
        const Vec3 rgb = m_s.FromXyz(m_m.Xyz(ink));
        for (int c = 0; c < 3; ++c) out[c] = Round16(rgb[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
    const SRgb& m_s;
};

class CCmykToRgb8 : public CFunc_8 {
public:
    CCmykToRgb8(const CPressModel& m, const SRgb& s) : CFunc_8(4, 3), m_m(m), m_s(s) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        const double ink[4] = {in[0] / 255.0, in[1] / 255.0, in[2] / 255.0, in[3] / 255.0};
        const Vec3 rgb = m_s.FromXyz(m_m.Xyz(ink));
        for (int c = 0; c < 3; ++c) out[c] = Round8(rgb[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
    const SRgb& m_s;
};

class CRgbToCmyk8 : public CFunc_8 {
public:
    CRgbToCmyk8(const CPressModel& m, const SRgb& s) : CFunc_8(3, 4), m_m(m), m_s(s) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        double cmyk[4];
        m_m.Separate(m_s.ToLab({in[0] / 255.0, in[1] / 255.0, in[2] / 255.0}), cmyk);
        for (int c = 0; c < 4; ++c) out[c] = Round8(cmyk[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
    const SRgb& m_s;
};

class CLabToCmyk8 : public CFunc_8 {
public:
    explicit CLabToCmyk8(const CPressModel& m) : CFunc_8(3, 4), m_m(m) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        double cmyk[4];
        m_m.Separate(DecodeLab8(in), cmyk);
        for (int c = 0; c < 4; ++c) out[c] = Round8(cmyk[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
};

class CLabToRgb8 : public CFunc_8 {
public:
    explicit CLabToRgb8(const SRgb& s) : CFunc_8(3, 3), m_s(s) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        const Vec3 rgb = m_s.FromXyz(LabToXyz(DecodeLab8(in)));
        for (int c = 0; c < 3; ++c) out[c] = Round8(rgb[c]);
        return 1;
    }

private:
    const SRgb& m_s;
};

// ---------------------------------------------------------------------------------------------
// The Lab identity profile

// Identity lookup table of the profile: curves with entry i = 16 * i over 4096 entries, and a
// grid of two points whose eight nodes are the corners.
class CLabIdentityTab : public CMTab {
public:
    CLabIdentityTab() {
        inputChan = 3;
        outputChan = 3;
        clutPoints = 2;
        inputEnt = 4096;
        outputEnt = 4096;
    }
    unsigned short InputValue(unsigned entry, unsigned) const override {
        return static_cast<unsigned short>(16 * entry);
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        if (node >= 8) return 0;
        for (unsigned c = 0; c < 3; ++c) values[c] = ((node >> (2 - c)) & 1) ? 65535 : 0;
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        if (node >= 8) return 0;
        for (unsigned c = 0; c < 3; ++c) values[c] = ((node >> (2 - c)) & 1) ? 255 : 0;
        return 1;
    }
    unsigned short OutputValue(unsigned entry, unsigned) const override {
        return static_cast<unsigned short>(16 * entry);
    }
};

// The profile's author notice. Its length is fixed by the profile's size: a text tag of 444
// bytes holds 432 to 435 characters.
constexpr char kLabProfileNotice[] =
    "Copyright (c) KVRCOLOR colour library developers. Lab Output: an identity colour space "
    "conversion profile from CIELAB to CIELAB, relative to the D50 white of the ICC profile "
    "connection space, carried inside the colour library as a built-in resource and used as "
    "the Lab stage of device colour transforms. It holds no device data and may be copied, "
    "used and passed on freely, alone or together with the library, without any restriction.";
static_assert(sizeof(kLabProfileNotice) - 1 >= 432 && sizeof(kLabProfileNotice) - 1 <= 435,
              "the notice must fill a 444-byte text tag");

// A generator whose header carries no creation time and no identifier, so that every run
// writes the same bytes.
class CFixedProfileGen : public CIccProfileGen1 {
public:
    CFixedProfileGen() : CIccProfileGen1(nullptr) {}
    void ClearStamps() {
        std::memset(&m_Header.date, 0, sizeof m_Header.date);
        std::memset(m_Header.reserved, 0, sizeof m_Header.reserved);
    }
};

bool WriteLabProfile(const std::filesystem::path& path) {
    CFixedProfileGen gen;
    gen.SetHeader(icSigColorSpaceClass, icSigLabData, icSigLabData, icPerceptual);
    gen.ClearStamps();
    gen.AddProfileDescriptionTag(" Lab Output");
    const CLabIdentityTab identity;
    gen.AddLut16Tag(icSigAToB0Tag, identity);
    gen.AddLut16Tag(icSigBToA0Tag, identity);
    gen.AddXYZTag(icSigMediaWhitePointTag,
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50X)),
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50Y)),
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50Z)));
    gen.AddTextTag(icSigCopyrightTag, kLabProfileNotice);
    return gen.OnSaveDocument(path.wstring().c_str()) != 0;
}

// ---------------------------------------------------------------------------------------------
// Output

bool WriteArchive(const std::filesystem::path& path, const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar.WriteObject(&obj);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(mem.GetBuffer()),
              static_cast<std::streamsize>(mem.GetLength()));
    return static_cast<bool>(out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const std::filesystem::path dir(argv[1]);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);

    const SRgb srgb;
    const CPressModel press;
    bool ok = true;

    {
        CMft3_8 t(17, 4);
        t.DefineByFunc(CRgbToCmyk8(press, srgb));
        ok &= WriteArchive(dir / "RGBTOCMYK.mft", t);
    }
    {
        CFunc_8Tab3Mft t(9, 4);
        t.DefineByFunc(CLabToCmyk8(press));
        ok &= WriteArchive(dir / "LABTOCMYK.mft", t);
    }
    {
        CFunc_8Tab3Mft t(9, 3);
        t.DefineByFunc(CLabToRgb8(srgb));
        ok &= WriteArchive(dir / "LABTORGB.mft", t);
    }
    {
        CMft4_8 t(7, 3);
        t.DefineByFunc(CCmykToRgb8(press, srgb));
        ok &= WriteArchive(dir / "CMYKTORGB.mft", t);
    }
    {
        CMft4_16 t(18, 3);
        t.DefineByFunc(CCmykToRgb16(press, srgb));
        ok &= WriteArchive(dir / "CMYKV2TORGB.mft", t);
    }
    {
        CMft4_16 t(16, 3);
        t.DefineByFunc(CCmykToLabV2(press));
        ok &= WriteArchive(dir / "CMYKV2TOLAB.mft", t);
    }
    {
        CMft3_16 t(33, 3);
        t.DefineByFunc(CSRgbToLab16(srgb));
        ok &= WriteArchive(dir / "SRGBTOLAB.mft", t);
    }
    ok &= WriteLabProfile(dir / "LABPROFILE.icc");

    if (!ok) {
        std::fprintf(stderr, "%s: cannot write the built-in resources to %s\n", argv[0],
                     dir.string().c_str());
        return 1;
    }
    return 0;
}
