#include "colorfunc/DeviceModels.h"

#include <cmath>
#include <cstdlib>

#include "base/Colorimetry.h"

IMPLEMENT_DYNAMIC(CFunc_8Neugebauer, CFunc_8)
IMPLEMENT_DYNAMIC(CRGBToGamut, CFunc_16)
IMPLEMENT_DYNAMIC(CFunc_16ChromaLimit, CFunc_16)

// ---------------------------------------------------------------------------------------------
// CFunc_8Neugebauer

CFunc_8Neugebauer::CFunc_8Neugebauer(const unsigned char (*table)[2][2][3]) : CFunc_8(4, 3) {
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j)
            for (int k = 0; k < 2; ++k)
                for (int c = 0; c < 3; ++c) {
                    primaries[i][j][k][0][c] = table[i][j][k][c];
                    primaries[i][j][k][1][c] = 0.0;
                }
}

int CFunc_8Neugebauer::Trn(const uint8_t* in, uint8_t* out) const {
    out[0] = out[1] = out[2] = 0;
    for (int i = 0; i < 2; ++i) {
        const double wi = (i ? in[0] : 255 - in[0]) / 255.0;
        for (int j = 0; j < 2; ++j) {
            const double wj = (j ? in[1] : 255 - in[1]) / 255.0;
            for (int k = 0; k < 2; ++k) {
                const double wk = (k ? in[2] : 255 - in[2]) / 255.0;
                const double w = wi * wj * wk; // Demichel weight of the first three inks
                const double without = (255 - in[3]) / 255.0 * w;
                const double with = in[3] / 255.0 * w;
                // Each term is truncated on its own and added in bytes.
                for (int c = 0; c < 3; ++c)
                    out[c] = static_cast<uint8_t>(
                        out[c] + static_cast<unsigned>(without * primaries[i][j][k][0][c]));
                for (int c = 0; c < 3; ++c)
                    out[c] = static_cast<uint8_t>(
                        out[c] + static_cast<unsigned>(with * primaries[i][j][k][1][c]));
            }
        }
    }
    return 1;
}

// ---------------------------------------------------------------------------------------------
// CChromaHue

namespace {
constexpr double kPi = 3.14159265359;
constexpr double kSinStep = 0.0030679615757714844; // kPi / 1024, as stored

int32_t RoundHalfUp(double v) {
    return static_cast<int32_t>(std::floor(v + 0.5));
}
} // namespace

const CChromaHue ChromaHue;

CChromaHue::CChromaHue()
    : chromaTab(new int32_t[kTriangleEntries]), hueTab(new int32_t[kTriangleEntries]),
      sinTab(new int32_t[kQuarterEntries]), limitTab(new int32_t[kQuarterEntries]) {
    int k = 0;
    for (int i = 1; i <= 128; ++i)
        for (int j = 1; j <= i; ++j, ++k) {
            chromaTab[k] = RoundHalfUp(std::hypot(i, j) * 4.0);
            hueTab[k] = RoundHalfUp(std::atan2(j, i) * 1024.0 / kPi);
        }
    for (int n = 0; n <= 512; ++n) sinTab[n] = RoundHalfUp(std::sin(n * kSinStep) * 65536.0);
    // 33292288 = 508 * 65536, 508 = 127 * 4: the distance from the centre to the edge of the
    // square of half-width 127, in chroma units, along hue n.
    for (int n = 0; n <= 255; ++n)
        limitTab[n] = static_cast<int32_t>(std::floor(33292288.0 / sinTab[512 - n]));
    for (int n = 256; n <= 512; ++n)
        limitTab[n] = static_cast<int32_t>(std::floor(33292288.0 / sinTab[n]));
}

CChromaHue::~CChromaHue() = default;

void CChromaHue::Trn(const unsigned char* ab, int* chromaHue) const {
    const int A = ab[0] - 128;
    const int B = ab[1] - 128;
    const int p = std::abs(A);
    const int q = std::abs(B);
    int chroma = 0, hue = 0;
    if (A == 0 && B == 0) {
        chroma = 0;
        hue = 0;
    } else if (B == 0) {
        chroma = 4 * p;
        hue = A > 0 ? 0 : 1024;
    } else if (A == 0) {
        chroma = 4 * q;
        hue = B > 0 ? 512 : -512;
    } else {
        // The octant's table entry: larger value first.
        const bool steep = p <= q;
        const int t = steep ? TriangleIndex(q, p) : TriangleIndex(p, q);
        const int h = hueTab[t];
        chroma = chromaTab[t];
        if (A > 0 && B > 0)
            hue = steep ? 512 - h : h;
        else if (A > 0)
            hue = steep ? h - 512 : -h;
        else if (B > 0)
            hue = steep ? h + 512 : 1024 - h;
        else
            hue = steep ? -512 - h : h - 1024;
    }
    chromaHue[0] = chroma;
    chromaHue[1] = hue;
}

void CChromaHue::Inv(const int* chromaHue, unsigned char* ab) const {
    const int h = chromaHue[1];
    int u = std::abs(h);
    bool folded = false;
    if (u > 512) {
        u = 1024 - u;
        folded = true;
    }
    const int32_t s = h > 0 ? sinTab[u] : -sinTab[u];
    const int32_t c = folded ? -sinTab[512 - u] : sinTab[512 - u];
    const int32_t r = chromaHue[0] < limitTab[u] ? chromaHue[0] : limitTab[u];
    // Rounding by a half before a division that truncates toward zero, as the tables demand.
    ab[0] = static_cast<unsigned char>((r * c + 0x20000) / 0x40000 + 128);
    ab[1] = static_cast<unsigned char>((r * s + 0x20000) / 0x40000 + 128);
}

// ---------------------------------------------------------------------------------------------
// CRGBToGamut

int CRGBToGamut::Trn(const uint16_t* in, uint16_t* out) const {
    bool edge = false;
    for (unsigned c = 0; c < m_inputChan; ++c)
        if (in[c] == 0 || in[c] == 65535) edge = true;
    out[0] = edge ? 65535 : 0;
    return 1;
}

// ---------------------------------------------------------------------------------------------
// CFunc_16ChromaLimit

int CFunc_16ChromaLimit::Trn(const uint16_t* in, uint16_t* out) const {
    out[0] = in[0];
    out[1] = in[1];
    out[2] = in[2];
    unsigned char lab8[3];
    IccLab16ToLab8(in, lab8);
    int chromaHue[2];
    ChromaHue.Trn(lab8 + 1, chromaHue);
    const int r = static_cast<int>((255 - lab8[0]) * m_factor);
    if (chromaHue[0] <= r) return 1;
    chromaHue[0] = r;
    ChromaHue.Inv(chromaHue, lab8 + 1);
    unsigned short lab16[3];
    IccLab8ToLab16(lab8, lab16);
    out[1] = lab16[1];
    out[2] = lab16[2];
    return 1;
}
