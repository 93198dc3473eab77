#include "colorfunc/Func16GrayToXYZ.h"

#include "base/Colorimetry.h"

IMPLEMENT_DYNAMIC(CFunc_16GrayToXYZ, CFunc_16TabBaseMft)

CFunc_16GrayToXYZ::CFunc_16GrayToXYZ(const void* curve, int inverse)
    : CFunc_16TabBaseMft(inverse ? 3 : 1, inverse ? 1 : 3), m_inverse(inverse) {
    if (!inverse) {
        inputTab.DefineByIccCurves(curve);
    } else {
        CFunc_16Tab forward(1, nullptr, 0);
        forward.DefineByIccCurves(curve);
        outputTab.DefineByInverseOf(forward);
    }
}

int CFunc_16GrayToXYZ::Trn(const uint16_t* in, uint16_t* out) const {
    if (!m_inverse) {
        uint16_t y = in[0];
        if (!m_skipInputTab) inputTab.Trn(in, &y);
        // The 16-bit gray scale becomes XYZ 1.15: 65535 becomes 32767. X and Z are taken from
        // the halved value before it is cut to an integer, so full gray gives the D50 white of
        // 32767.5 on that scale: (31594, 32767, 27029).
        out[1] = static_cast<uint16_t>(y >> 1);
        const double half = y * 0.5;
        out[2] = static_cast<uint16_t>(half * kD50Z);
        out[0] = static_cast<uint16_t>(half * kD50X);
        return 1;
    }
    uint16_t o = in[1];
    if (!m_skipOutputTab) outputTab.Inv(&in[1], &o);
    // Back from XYZ 1.15 to the 16-bit scale; from 32768 on the doubled value would not fit.
    out[0] = o >= 32768 ? 65535 : static_cast<uint16_t>(o * 2);
    return 1;
}
