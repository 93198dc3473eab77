// An 8-bit Lab function that applies a gamma curve to L and scales a and b about the
// neutral 128. It has no inverse: Inv stays the base operation and answers 0.
#pragma once

#include <cstdint>
#include <memory>

#include "colorfunc/Func.h"
#include "colorfunc/GammaTab.h"

class CFuncLab : public CFunc_8 {
    DECLARE_DYNAMIC(CFuncLab)
public:
    CFuncLab() : CFunc_8(3, 3) {}
    // Copies the settings; a source with a gamma table gives the copy a table of its own.
    CFuncLab(const CFuncLab& other);
    CFuncLab& operator=(const CFuncLab& other);
    ~CFuncLab() override = default;

    int Trn(const uint8_t* in, uint8_t* out) const override;

    // A new table for a new gamma; the same gamma changes nothing.
    void SetGamma(double g);
    // The factor applied to a and b; chromaFactor is c * 65535, truncated, so c * 65535 must
    // lie within the range of int.
    void SetChroma(double c);

    double gamma() const { return m_gamma; }
    const CGammaTab* gammaTab() const { return m_gammaTab.get(); }
    double chroma() const { return m_chroma; }
    int chromaFactor() const { return m_chromaFactor; }

private:
    double m_gamma = 1.0;
    std::unique_ptr<CGammaTab> m_gammaTab; // null until a gamma other than 1.0 is set
    double m_chroma = 1.0;
    int m_chromaFactor = 65535;
};
