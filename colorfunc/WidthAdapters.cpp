#include "colorfunc/WidthAdapters.h"

#include "base/Colorimetry.h"

IMPLEMENT_DYNAMIC(CFunc8To16, CFunc_16)
IMPLEMENT_DYNAMIC(CFunc16To8, CFunc_8)
IMPLEMENT_DYNAMIC(CFuncLab8ToLab16, CFunc8To16)
IMPLEMENT_DYNAMIC(CL8To16, CFunc_16)
IMPLEMENT_DYNAMIC(CFunc16CopyInOut, CFunc_16)

int CFuncLab8ToLab16::Trn(const uint16_t* in, uint16_t* out) const {
    IccLab16ToLab8(in, m_inBuf.data());
    const int r = m_func->Trn(m_inBuf.data(), m_outBuf.data());
    IccLab8ToLab16(m_outBuf.data(), out);
    return r;
}

int CFuncLab8ToLab16::Inv(const uint16_t* in, uint16_t* out) const {
    IccLab16ToLab8(in, m_outBuf.data());
    const int r = m_func->Inv(m_outBuf.data(), m_inBuf.data());
    IccLab8ToLab16(m_inBuf.data(), out);
    return r;
}

int CL8To16::Trn(const uint16_t* in, uint16_t* out) const {
    // x * 257 / 256, rounded half up and limited to 65535, in integers.
    for (int i = 0; i < 3; ++i) out[i] = L8ScaleToFull(in[i]);
    return 1;
}

int CL8To16::Inv(const uint16_t* in, uint16_t* out) const {
    // x * 256 / 257, rounded; never above 65280, so no limit is needed.
    for (int i = 0; i < 3; ++i) out[i] = FullToL8Scale(in[i]);
    return 1;
}

int CFunc16CopyInOut::Trn(const uint16_t* in, uint16_t* out) const {
    std::fill_n(out, outputChan(), uint16_t{0});
    std::copy_n(in, std::min(inputChan(), outputChan()), out);
    return 1;
}

int CFunc16CopyInOut::Inv(const uint16_t* in, uint16_t* out) const {
    std::fill_n(out, inputChan(), uint16_t{0});
    std::copy_n(in, std::min(inputChan(), outputChan()), out);
    return 1;
}
