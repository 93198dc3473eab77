// Adapters between the two sample widths and between the two 16-bit scales, and the
// channel copier with which a link drops or pads channels.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "colorfunc/Func.h"

// 8 to 16 bits: 255 becomes 65535.
constexpr uint16_t WidenSample(uint8_t v) {
    return static_cast<uint16_t>(v * 257u);
}
// 16 to 8 bits: the high byte, a plain truncation.
constexpr uint8_t NarrowSample(uint16_t v) {
    return static_cast<uint8_t>(v >> 8);
}

// Presents a function on samples of type Inner as one on samples of type Outer. Input
// samples are moved to the wrapped width, the wrapped function runs on the scratch vectors,
// and its output is moved back. The wrapped function is not owned.
template <class Outer, class Inner> class TWidthAdapter : public FuncOf_t<Outer> {
public:
    using Base = FuncOf_t<Outer>;
    using InnerFunc = FuncOf_t<Inner>;

    explicit TWidthAdapter(const InnerFunc& func) : TWidthAdapter(func, 0) {}
    // Shares the wrapped function and gets scratch vectors of its own.
    TWidthAdapter(const TWidthAdapter&) = default;
    TWidthAdapter& operator=(const TWidthAdapter&) = default;

    int Trn(const Outer* in, Outer* out) const override {
        for (unsigned i = 0; i < this->inputChan(); ++i) m_inBuf[i] = ToInner(in[i]);
        const int r = m_func->Trn(m_inBuf.data(), m_outBuf.data());
        for (unsigned i = 0; i < this->outputChan(); ++i) out[i] = ToOuter(m_outBuf[i]);
        return r;
    }

    int Inv(const Outer* in, Outer* out) const override {
        for (unsigned i = 0; i < this->outputChan(); ++i) m_outBuf[i] = ToInner(in[i]);
        const int r = m_func->Inv(m_outBuf.data(), m_inBuf.data());
        for (unsigned i = 0; i < this->inputChan(); ++i) out[i] = ToOuter(m_inBuf[i]);
        return r;
    }

    const InnerFunc* func() const { return m_func; }

protected:
    // minBuf: the least length of each scratch vector, for subclasses that always move a
    // fixed number of samples whatever the wrapped function's counts.
    TWidthAdapter(const InnerFunc& func, unsigned minBuf)
        : Base(func.inputChan(), func.outputChan()), m_func(&func),
          m_inBuf(std::max(func.inputChan(), minBuf)),
          m_outBuf(std::max(func.outputChan(), minBuf)) {}

    static Inner ToInner(Outer v) {
        if constexpr (std::is_same_v<Outer, uint16_t>)
            return NarrowSample(v);
        else
            return WidenSample(v);
    }
    static Outer ToOuter(Inner v) {
        if constexpr (std::is_same_v<Outer, uint16_t>)
            return WidenSample(v);
        else
            return NarrowSample(v);
    }

    const InnerFunc* m_func;
    // Written by the const Trn/Inv: one object must not serve two threads at once.
    mutable std::vector<Inner> m_inBuf;  // func->inputChan() samples
    mutable std::vector<Inner> m_outBuf; // func->outputChan() samples
};

// A CFunc_8 as a 16-bit function: inputs narrowed to their high byte, outputs widened by 257.
class CFunc8To16 : public TWidthAdapter<uint16_t, uint8_t> {
    DECLARE_DYNAMIC(CFunc8To16)
public:
    explicit CFunc8To16(const CFunc_8& func) : TWidthAdapter(func) {}

protected:
    CFunc8To16(const CFunc_8& func, unsigned minBuf) : TWidthAdapter(func, minBuf) {}
};

// A CFunc_16 as an 8-bit function: inputs widened by 257, outputs narrowed to their high byte.
class CFunc16To8 : public TWidthAdapter<uint8_t, uint16_t> {
    DECLARE_DYNAMIC(CFunc16To8)
public:
    explicit CFunc16To8(const CFunc_16& func) : TWidthAdapter(func) {}
};

// An 8-bit Lab function as a 16-bit Lab function. Converts through the ICC Lab encodings
// instead of the x*257 rule, which would move the neutral axis of a and b (128 would become
// 0x8080 instead of 0x8000). Always three samples of Lab each way.
class CFuncLab8ToLab16 : public CFunc8To16 {
    DECLARE_DYNAMIC(CFuncLab8ToLab16)
public:
    explicit CFuncLab8ToLab16(const CFunc_8& func) : CFunc8To16(func, 3) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};

// One sample of CL8To16::Trn: x * 257 / 256 rounded half up, limited to 65535. x * 257 / 256
// has eight fraction bits, so adding half (128 / 256) and dropping them rounds it exactly.
constexpr uint16_t L8ScaleToFull(uint16_t x) {
    const uint32_t v = (x * 257u + 128u) >> 8;
    return static_cast<uint16_t>(v > 65535u ? 65535u : v);
}
// One sample of CL8To16::Inv: x * 256 / 257 rounded half up. (512 x + 257) / 514 is exactly
// x * 256 / 257 + 1/2; its fraction is a multiple of 1/514 and never 0 or 1/2 away from an
// integer by less than that, so the floored integer quotient is the rounding in any precision.
constexpr uint16_t FullToL8Scale(uint16_t x) {
    return static_cast<uint16_t>((x * 512u + 257u) / 514u);
}

// Moves three samples between the 16-bit scale on which 100 per cent is 65280 (an 8-bit
// value shifted left by 8) and the full one on which it is 65535. Trn goes to the full scale.
class CL8To16 : public CFunc_16 {
    DECLARE_DYNAMIC(CL8To16)
public:
    CL8To16() : CFunc_16(3, 3) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};

// Copies the channels both sides have and gives 0 to the rest, in both directions.
class CFunc16CopyInOut : public CFunc_16 {
    DECLARE_DYNAMIC(CFunc16CopyInOut)
public:
    CFunc16CopyInOut(unsigned in, unsigned out) : CFunc_16(in, out) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};
