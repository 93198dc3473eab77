#include "colorfunc/FuncLab.h"

IMPLEMENT_DYNAMIC(CFuncLab, CFunc_8)

CFuncLab::CFuncLab(const CFuncLab& other)
    : CFunc_8(other), m_gamma(other.m_gamma),
      m_gammaTab(other.m_gammaTab ? std::make_unique<CGammaTab>(other.m_gamma) : nullptr),
      m_chroma(other.m_chroma), m_chromaFactor(other.m_chromaFactor) {}

CFuncLab& CFuncLab::operator=(const CFuncLab& other) {
    // The new table is built before the old one goes, which also makes self-assignment safe.
    auto tab = other.m_gammaTab ? std::make_unique<CGammaTab>(other.m_gamma) : nullptr;
    CFunc_8::operator=(other);
    m_gamma = other.m_gamma;
    m_gammaTab = std::move(tab);
    m_chroma = other.m_chroma;
    m_chromaFactor = other.m_chromaFactor;
    return *this;
}

int CFuncLab::Trn(const uint8_t* in, uint8_t* out) const {
    out[0] = m_gammaTab ? m_gammaTab->pTab()[in[0]] : in[0];
    for (int k = 1; k < 3; ++k) {
        // Unsigned on purpose: a value below 128 wraps to a huge product and, after the
        // unsigned division, ends at 255 for any positive factor.
        uint32_t t = (uint32_t{in[k]} - 128u) * static_cast<uint32_t>(m_chromaFactor);
        t = t / 65535u;
        t = t + 128u;
        const int32_t s = static_cast<int32_t>(t);
        out[k] = static_cast<uint8_t>(s < 0 ? 0 : s > 255 ? 255 : s);
    }
    return 1;
}

void CFuncLab::SetGamma(double g) {
    if (g == m_gamma) return;
    m_gammaTab = std::make_unique<CGammaTab>(g);
    m_gamma = g;
}

void CFuncLab::SetChroma(double c) {
    m_chroma = c;
    m_chromaFactor = static_cast<int>(c * 65535);
}
