// CIE Lab and XYZ, and the 8-bit and legacy 16-bit ICC encodings of Lab. All arrays hold three
// values: L, a, b or X, Y, Z.
#pragma once

#include <cstdint>

// The D50 white of the ICC connection space, to which all colorimetry here is relative.
constexpr double kD50X = 0.9642;
constexpr double kD50Y = 1.0;
constexpr double kD50Z = 0.8249;
constexpr double kD50White[3] = {kD50X, kD50Y, kD50Z};

// CIE Lab to XYZ relative to white; the result is on the scale of white.
void lab2XYZ(const double* lab, double* xyz, const double* white);
// XYZ, on the scale of white, to CIE Lab.
void XYZ2lab(const double* xyz, double* lab, const double* white);
// The two halves of XYZ2lab, for callers that keep the first one's results: f of CIE Lab of
// one component divided by its white (the cube root above the linear part), and Lab from the
// three values of f (X, Y, Z). XYZ2lab is exactly LabFromF of the three LabF.
double LabF(double t);
void LabFromF(const double* f, double* lab);

// floor(v + 0.5) limited to 0..65535, NaN giving 0: the rounding of the 16-bit encoders. Written
// without floor, which a baseline x86-64 build calls in libm, since a link's nodes pass here
// millions of times: for w = v + 0.5 >= 0 the truncation is the floor, every w at or above
// 65536 floors above 65535, and every w below 0 (or NaN) fails the first test.
inline uint16_t RoundLimit16(double v) {
    const double w = v + 0.5;
    if (!(w >= 0.0)) return 0;
    if (w >= 65536.0) return 65535;
    return static_cast<uint16_t>(w);
}

// Truncation toward zero, limited to 0..65535; NaN gives 0. Values in (-1, 0) truncate to 0 and
// lower ones to a negative number that the limit takes to 0, so every v below 0 gives 0.
inline uint16_t TruncLimit16(double v) {
    if (!(v >= 0.0)) return 0;
    if (v >= 65535.0) return 65535;
    return static_cast<uint16_t>(v);
}

// Legacy (ICC version 2) 16-bit Lab: L = enc / 652.8 (L 100 at 0xFF00); a and b = enc / 256 - 128
// (neutral at 0x8000).
void IccDecodeLab16(const unsigned short* enc, double* lab);
// The inverse, rounded to nearest and limited to 0..65535.
void IccEncodeLab16(const double* lab, unsigned short* enc);

// 8-bit Lab (L 100 at 255, a and b neutral at 128) to legacy 16-bit Lab: v << 8.
void IccLab8ToLab16(const unsigned char* lab8, unsigned short* lab16);
// Legacy 16-bit Lab to 8-bit Lab: (v + 128) >> 8, limited to 255 (rounded to nearest).
void IccLab16ToLab8(const unsigned short* lab16, unsigned char* lab8);
