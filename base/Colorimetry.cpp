#include "base/Colorimetry.h"

#include <cmath>

namespace {

// The exact CIE constants rather than the rounded 0.008856 and 903.3, which leave a small jump
// in the curve where the cube root meets the linear part.
constexpr double kEpsilon = 216.0 / 24389.0;
constexpr double kKappa = 24389.0 / 27.0;

double LabFInv(double f) {
    double f3 = f * f * f;
    return f3 > kEpsilon ? f3 : (116.0 * f - 16.0) / kKappa;
}

} // namespace

double LabF(double t) {
    return t > kEpsilon ? std::cbrt(t) : (kKappa * t + 16.0) / 116.0;
}

void LabFromF(const double* f, double* lab) {
    lab[0] = 116.0 * f[1] - 16.0;
    lab[1] = 500.0 * (f[0] - f[1]);
    lab[2] = 200.0 * (f[1] - f[2]);
}

void lab2XYZ(const double* lab, double* xyz, const double* white) {
    const double L = lab[0];
    const double fy = (L + 16.0) / 116.0;
    const double fx = fy + lab[1] / 500.0;
    const double fz = fy - lab[2] / 200.0;
    // Y from L directly in the linear part, which is exact there.
    const double y = L > kKappa * kEpsilon ? fy * fy * fy : L / kKappa;
    xyz[0] = LabFInv(fx) * white[0];
    xyz[1] = y * white[1];
    xyz[2] = LabFInv(fz) * white[2];
}

void XYZ2lab(const double* xyz, double* lab, const double* white) {
    const double f[3] = {LabF(xyz[0] / white[0]), LabF(xyz[1] / white[1]), LabF(xyz[2] / white[2])};
    LabFromF(f, lab);
}

void IccDecodeLab16(const unsigned short* enc, double* lab) {
    lab[0] = enc[0] / 652.8;
    lab[1] = enc[1] / 256.0 - 128.0;
    lab[2] = enc[2] / 256.0 - 128.0;
}

void IccEncodeLab16(const double* lab, unsigned short* enc) {
    enc[0] = RoundLimit16(lab[0] * 652.8);
    enc[1] = RoundLimit16((lab[1] + 128.0) * 256.0);
    enc[2] = RoundLimit16((lab[2] + 128.0) * 256.0);
}

void IccLab8ToLab16(const unsigned char* lab8, unsigned short* lab16) {
    for (int i = 0; i < 3; ++i) lab16[i] = static_cast<unsigned short>(lab8[i] << 8);
}

void IccLab16ToLab8(const unsigned short* lab16, unsigned char* lab8) {
    for (int i = 0; i < 3; ++i) {
        unsigned v = (static_cast<unsigned>(lab16[i]) + 128u) >> 8;
        lab8[i] = static_cast<unsigned char>(v > 255u ? 255u : v);
    }
}
