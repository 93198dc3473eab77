// Three small colour models that need no profile: the Neugebauer model of a four-ink print, a
// fast polar view of 8-bit a and b (CChromaHue, one shared instance ChromaHue), and the gamut
// flag that ends a gamut link (CRGBToGamut). Also the chroma limit of 16-bit Lab, which works
// through ChromaHue.
#pragma once

#include <cstdint>
#include <memory>

#include "colorfunc/Func.h"

// Neugebauer model of a four-ink print, 4 in, 3 out. The primaries are the colours (0..255) of
// the 16 combinations of full inks, indexed by the presence of ink 0, 1, 2, 3 and the output
// channel. The output is the sum of the 16 primaries weighted by their Demichel weights, each
// term truncated before it is added, in byte arithmetic: the sum can fall up to 16 short of the
// exact value, and it wraps modulo 256 rather than clip. Primaries are expected to keep the sum
// within a byte.
class CFunc_8Neugebauer : public CFunc_8 {
    DECLARE_DYNAMIC(CFunc_8Neugebauer)
public:
    // `table` holds 8 entries of 3 bytes, indexed by the first three inks: the primaries
    // without the fourth ink. All primaries with the fourth ink are 0: full fourth ink gives 0
    // on every channel.
    explicit CFunc_8Neugebauer(const unsigned char (*table)[2][2][3]);
    CFunc_8Neugebauer(const CFunc_8Neugebauer&) = default;
    CFunc_8Neugebauer& operator=(const CFunc_8Neugebauer&) = default;

    // Always answers 1.
    int Trn(const uint8_t* in, uint8_t* out) const override;

    // The primary for inks present (i, j, k, l), output channel c.
    double Primary(int i, int j, int k, int l, int c) const { return primaries[i][j][k][l][c]; }

private:
    double primaries[2][2][2][2][3];
};

// Polar view of 8-bit a and b (neutral at 128) by table reads instead of a square root and an
// arc tangent. Chroma is in quarter units of a or b (4 is one unit of 8-bit a); hue in 1/1024 of
// a half turn, -1024 to 1024, 0 along the positive a axis, 512 along positive b. The triangular
// tables hold only the first octant (0 <= hue <= 256); the branches of Trn do the sign and
// mirror work. Read-only after construction, so one instance serves all threads.
class CChromaHue {
public:
    static constexpr int kTriangleEntries = 8256; // 128 * 129 / 2
    static constexpr int kQuarterEntries = 513;   // hues 0 ... 512

    CChromaHue();
    virtual ~CChromaHue();
    CChromaHue(const CChromaHue&) = delete;
    CChromaHue& operator=(const CChromaHue&) = delete;

    // ab: a and b bytes; chromaHue receives chroma and hue.
    void Trn(const unsigned char* ab, int* chromaHue) const;
    // chromaHue: chroma and hue; the chroma is limited to the square of a and b of half-width
    // 127 around the neutral point along that hue. ab receives a and b bytes.
    void Inv(const int* chromaHue, unsigned char* ab) const;

    // Table access. Triangular index of (i, j), 1 <= j <= i <= 128: i * (i - 1) / 2 + j - 1.
    static int TriangleIndex(int i, int j) { return i * (i - 1) / 2 + j - 1; }
    int32_t ChromaAt(int k) const { return chromaTab[k]; }
    int32_t HueAt(int k) const { return hueTab[k]; }
    int32_t SinAt(int n) const { return sinTab[n]; }
    int32_t LimitAt(int n) const { return limitTab[n]; }

private:
    std::unique_ptr<int32_t[]> chromaTab; // chroma by triangular index
    std::unique_ptr<int32_t[]> hueTab;    // first-octant hue by triangular index
    std::unique_ptr<int32_t[]> sinTab;    // sine of the quarter circle, 16.16
    std::unique_ptr<int32_t[]> limitTab;  // greatest chroma at a hue
};

// The shared instance, built when the library is loaded.
extern const CChromaHue ChromaHue;

// Last stage of a gamut link: its input is the device RGB a gamut mapping produced. 65535 (out
// of gamut) when any input sample is 0 or 65535, the mapping having reached the edge; else 0.
// The factory makes it 3 to 1. Inv stays the base's and answers 0.
class CRGBToGamut : public CFunc_16 {
    DECLARE_DYNAMIC(CRGBToGamut)
public:
    CRGBToGamut(unsigned inputChan = 3, unsigned outputChan = 1)
        : CFunc_16(inputChan, outputChan) {}

    // Always answers 1; writes out[0] only.
    int Trn(const uint16_t* in, uint16_t* out) const override;
};

// Chroma limit of legacy 16-bit Lab, 3 to 3: chroma is cut to trunc((255 - L8) * factor), in
// the chroma units of CChromaHue, with L8 the 8-bit lightness; L stays, and a colour within the
// limit passes unchanged. Nothing in the library uses it at present.
class CFunc_16ChromaLimit : public CFunc_16 {
    DECLARE_DYNAMIC(CFunc_16ChromaLimit)
public:
    explicit CFunc_16ChromaLimit(double factor) : CFunc_16(3, 3), m_factor(factor) {}

    double Factor() const { return m_factor; }
    void SetFactor(double factor) { m_factor = factor; }

    // Always answers 1.
    int Trn(const uint16_t* in, uint16_t* out) const override;

private:
    double m_factor; // the limiting factor d
};
