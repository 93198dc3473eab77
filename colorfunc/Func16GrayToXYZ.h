// The stage of a gray profile: its one tone curve between the gray channel and XYZ 1.15 on the
// neutral axis of the D50 white. Forward it is a 1-to-3 pipeline whose input curve is the
// profile's curve; inverse it is 3-to-1 and reads Y back through an inverted curve.
#pragma once

#include <cstdint>

#include "gridtable/TabMft.h"

class CFunc_16GrayToXYZ : public CFunc_16TabBaseMft {
    DECLARE_DYNAMIC(CFunc_16GrayToXYZ)
public:
    // `curve` is one ICC curve record (curv or para) in host byte order. Forward (inverse 0):
    // 1 to 3, the curve becomes the input curves. Inverse: 3 to 1, the output curve is built
    // by CFunc_16Tab::DefineByInverseOf from the curve.
    CFunc_16GrayToXYZ(const void* curve, int inverse);
    CFunc_16GrayToXYZ(const CFunc_16GrayToXYZ&) = default;
    CFunc_16GrayToXYZ& operator=(const CFunc_16GrayToXYZ&) = default;

    // Forward: Y = curve(gray) on XYZ 1.15 (65535 becomes 32767), X and Z the D50 white's
    // share of half the curve value, truncated. Inverse: the output curve's Inv of Y, doubled
    // and limited to 65535. Answers 1.
    int Trn(const uint16_t* in, uint16_t* out) const override;

    // No grid: clutEntries stays the base's 0, and there is nothing to prepare.
    void InitMftTrn() override {}
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16GrayToXYZ(*this); }

    int inverse() const { return m_inverse; }

private:
    int m_inverse;
};
