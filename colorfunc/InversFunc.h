// The inverse direction of a colour function as a function of its own: Trn is the wrapped
// Inv and Inv the wrapped Trn, so the channel counts are swapped.
#pragma once

#include <cstdint>
#include <memory>

#include "colorfunc/Func.h"

// Common body of CInversFunc_8 and CInversFunc_16.
template <class T> class TInversFunc : public FuncOf_t<T> {
public:
    using Base = FuncOf_t<T>;

    // By reference: the function stays the caller's and must outlive this object.
    explicit TInversFunc(const Base& func)
        : Base(func.outputChan(), func.inputChan()), m_func(&func) {}
    // By pointer: the function is owned and deleted with this object.
    explicit TInversFunc(Base* func)
        : Base(func->outputChan(), func->inputChan()), m_func(func), m_ownedFunc(func) {}

    // No copies: nothing needs them, and a member-wise copy would delete the owned function
    // twice.
    TInversFunc(const TInversFunc&) = delete;
    TInversFunc& operator=(const TInversFunc&) = delete;

    int Trn(const T* in, T* out) const override { return m_func->Inv(in, out); }
    int Inv(const T* in, T* out) const override { return m_func->Trn(in, out); }

    const Base* func() const { return m_func; }

private:
    const Base* m_func;
    std::unique_ptr<Base> m_ownedFunc; // null when given by reference
};

class CInversFunc_8 : public TInversFunc<uint8_t> {
    DECLARE_DYNAMIC(CInversFunc_8)
public:
    using TInversFunc::TInversFunc;
};

class CInversFunc_16 : public TInversFunc<uint16_t> {
    DECLARE_DYNAMIC(CInversFunc_16)
public:
    using TInversFunc::TInversFunc;
};
