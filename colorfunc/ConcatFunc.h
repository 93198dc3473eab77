// Composition of two colour functions: g(f(x)), written as CConcatFunc(g, f).
// A pointer argument passes ownership to the composition, a reference argument stays the
// caller's and must outlive it. The one-function forms start a chain at the cost of one call.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "colorfunc/Func.h"

// Common body of CConcatFunc_8 and CConcatFunc_16.
template <class T> class TConcatFunc : public FuncOf_t<T> {
public:
    using Base = FuncOf_t<T>;

    // (g, f): f is applied first, g second.
    TConcatFunc(const Base& g, const Base& f) : TConcatFunc(&g, &f, nullptr, nullptr, true) {}
    explicit TConcatFunc(const Base& f) : TConcatFunc(&f, &f, nullptr, nullptr, false) {}
    TConcatFunc(const Base& g, Base* f) : TConcatFunc(&g, f, f, nullptr, true) {}
    TConcatFunc(Base* g, Base* f) : TConcatFunc(g, f, f, g, true) {}
    explicit TConcatFunc(Base* f) : TConcatFunc(f, f, f, nullptr, false) {}
    TConcatFunc(Base* g, const Base& f) : TConcatFunc(g, &f, nullptr, g, true) {}

    // No copies: nothing needs them, and a member-wise copy would share midBuf and the owned
    // functions, so one of the two would later release them under the other. (To wrap another
    // concatenation by reference, pass it as a const Base&: this signature would win.)
    TConcatFunc(const TConcatFunc&) = delete;
    TConcatFunc& operator=(const TConcatFunc&) = delete;

    ~TConcatFunc() override {
        // Scratch first, then the first function, then the second; an object given twice
        // is held by m_ownedSecond alone and so is deleted once.
        m_midBuf.reset();
        m_ownedFirst.reset();
        m_ownedSecond.reset();
    }

    // No short cut: the second part runs even when the first answered 0. The intermediate
    // vector of up to kLocalMid samples lives on the stack, zeroed as the scratch vector
    // starts, so that such a composition may be applied by several threads at once (a link
    // samples its chain that way); a wider one uses the member scratch vector.
    int Trn(const T* in, T* out) const override {
        if (m_firstFunc == m_secondFunc) return m_firstFunc->Trn(in, out);
        if (m_midLen <= kLocalMid) {
            T mid[kLocalMid];
            std::fill_n(mid, m_midLen, T(0));
            const int r1 = m_firstFunc->Trn(in, mid);
            const int r2 = m_secondFunc->Trn(mid, out);
            return r1 & r2;
        }
        const int r1 = m_firstFunc->Trn(in, m_midBuf.get());
        const int r2 = m_secondFunc->Trn(m_midBuf.get(), out);
        return r1 & r2;
    }

    int Inv(const T* in, T* out) const override {
        if (m_firstFunc == m_secondFunc) return m_firstFunc->Inv(in, out);
        if (m_midLen <= kLocalMid) {
            T mid[kLocalMid];
            std::fill_n(mid, m_midLen, T(0));
            const int r1 = m_secondFunc->Inv(in, mid);
            const int r2 = m_firstFunc->Inv(mid, out);
            return r1 & r2;
        }
        const int r1 = m_secondFunc->Inv(in, m_midBuf.get());
        const int r2 = m_firstFunc->Inv(m_midBuf.get(), out);
        return r1 & r2;
    }

    // Intermediate vectors up to this many samples are kept on the stack of each call.
    static constexpr unsigned kLocalMid = 32;

    const Base* firstFunc() const { return m_firstFunc; }
    const Base* secondFunc() const { return m_secondFunc; }

private:
    // second = applied last, first = applied first. twoFunc decides whether a scratch
    // vector is made (the two-argument forms always make one, even for the same object twice).
    // Ownership is taken before the scratch vector is allocated, so a failed allocation
    // still releases the functions handed over by pointer.
    TConcatFunc(const Base* second, const Base* first, Base* ownFirst, Base* ownSecond,
                bool twoFunc)
        : Base(first->inputChan(), second->outputChan()), m_firstFunc(first), m_secondFunc(second),
          m_ownedFirst(ownFirst != ownSecond ? ownFirst : nullptr), m_ownedSecond(ownSecond) {
        if (twoFunc) {
            m_midLen = first->outputChan();
            if (m_midLen > kLocalMid) m_midBuf = std::make_unique<T[]>(m_midLen);
        }
    }

    const Base* m_firstFunc;  // applied first; never null
    const Base* m_secondFunc; // applied second; equals m_firstFunc in the one-function forms
    unsigned m_midLen = 0;    // m_firstFunc->outputChan() in the two-function forms
    // Intermediate vector of m_midLen samples where that exceeds kLocalMid, else null. Written
    // by the const Trn/Inv: such an object must not serve two threads at once.
    std::unique_ptr<T[]> m_midBuf;
    std::unique_ptr<Base> m_ownedFirst;  // what to delete for m_firstFunc, or null
    std::unique_ptr<Base> m_ownedSecond; // what to delete for m_secondFunc, or null
};

class CConcatFunc_8 : public TConcatFunc<uint8_t> {
    DECLARE_DYNAMIC(CConcatFunc_8)
public:
    using TConcatFunc::TConcatFunc;
};

class CConcatFunc_16 : public TConcatFunc<uint16_t> {
    DECLARE_DYNAMIC(CConcatFunc_16)
public:
    using TConcatFunc::TConcatFunc;
};
