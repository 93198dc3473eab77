// The contract of every colour function: a fixed number of samples in, a fixed number out.
// Two families, one per sample width, that are twins with deliberate differences.
#pragma once

#include <cstdint>

#include "base/Archive.h"
#include "base/Object.h"

// Common body of CFunc_8 and CFunc_16. Trn and Inv answer 1 for done and 0 for "not defined";
// the base operations answer 0 and leave the output untouched.
template <class T> class TFunc : public CObject {
public:
    using Sample = T;

    TFunc(unsigned in, unsigned out) : m_inputChan(in), m_outputChan(out) {}
    TFunc(const TFunc&) = default;
    TFunc& operator=(const TFunc&) = default;

    // Slot order after CObject's: Trn, then Inv; subclasses append behind these.
    virtual int Trn(const T* /*in*/, T* /*out*/) const { return 0; }
    virtual int Inv(const T* /*in*/, T* /*out*/) const { return 0; }

    unsigned inputChan() const { return m_inputChan; }
    unsigned outputChan() const { return m_outputChan; }

protected:
    // Stores or loads the two channel counts, 4 bytes each.
    void SerializeCounts(CArchive& ar) {
        if (ar.IsStoring())
            ar << m_inputChan << m_outputChan;
        else
            ar >> m_inputChan >> m_outputChan;
    }

    uint32_t m_inputChan;
    uint32_t m_outputChan;
};

class CFunc_8 : public TFunc<uint8_t> {
    DECLARE_DYNCREATE(CFunc_8)
public:
    static constexpr unsigned kFullScale = 255;

    CFunc_8() : TFunc(3, 3) {} // a created object reports 3 and 3 until it is loaded
    CFunc_8(unsigned in, unsigned out) : TFunc(in, out) {}
    void Serialize(CArchive& ar) override { SerializeCounts(ar); }
};

class CFunc_16 : public TFunc<uint16_t> {
    DECLARE_DYNCREATE(CFunc_16)
public:
    static constexpr unsigned kFullScale = 65535;

    CFunc_16() : TFunc(3, 3) {}
    CFunc_16(unsigned in, unsigned out) : TFunc(in, out) {}
    void Serialize(CArchive& ar) override { SerializeCounts(ar); }
};

// The family of a sample type, for code written once for both widths.
template <class T> struct FuncOf;
template <> struct FuncOf<uint8_t> { using type = CFunc_8; };
template <> struct FuncOf<uint16_t> { using type = CFunc_16; };
template <class T> using FuncOf_t = typename FuncOf<T>::type;

// Reads one object of the target's class (or a class derived from it) from an archive.
template <class C> CArchive& ReadTypedObject(CArchive& ar, C*& obj) {
    obj = static_cast<C*>(ar.ReadObject(RUNTIME_CLASS(C)));
    return ar;
}

inline CArchive& operator>>(CArchive& ar, CFunc_8*& f) {
    return ReadTypedObject(ar, f);
}
inline CArchive& operator>>(CArchive& ar, CFunc_16*& f) {
    return ReadTypedObject(ar, f);
}
