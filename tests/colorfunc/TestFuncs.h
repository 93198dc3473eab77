// Colour functions for the tests: a shift by a constant that counts its calls and its
// destruction, and answers what the test tells it to.
#pragma once

#include <string>
#include <vector>

#include "colorfunc/Func.h"

namespace functest {

// What the test observes of one or more test functions.
struct Probe {
    int trnCalls = 0;
    int invCalls = 0;
    int destroyed = 0;
    std::vector<std::string> log; // names, in the order of calls and destructions
};

// out[j] = in[j % inputChan] + add (Trn) and in[j % outputChan] - add (Inv), modulo the
// sample range. Trn answers trnResult, Inv answers invResult.
template <class T> class TTestFunc : public FuncOf_t<T> {
public:
    TTestFunc(Probe& probe, std::string name, unsigned in, unsigned out, int add = 0,
              int trnResult = 1, int invResult = 1)
        : FuncOf_t<T>(in, out), m_probe(probe), m_name(std::move(name)), m_add(add),
          m_trnResult(trnResult), m_invResult(invResult) {}
    ~TTestFunc() override {
        ++m_probe.destroyed;
        m_probe.log.push_back("~" + m_name);
    }

    int Trn(const T* in, T* out) const override {
        ++m_probe.trnCalls;
        m_probe.log.push_back(m_name + ".Trn");
        for (unsigned j = 0; j < this->outputChan(); ++j)
            out[j] = static_cast<T>(in[j % this->inputChan()] + m_add);
        return m_trnResult;
    }
    int Inv(const T* in, T* out) const override {
        ++m_probe.invCalls;
        m_probe.log.push_back(m_name + ".Inv");
        for (unsigned j = 0; j < this->inputChan(); ++j)
            out[j] = static_cast<T>(in[j % this->outputChan()] - m_add);
        return m_invResult;
    }

private:
    Probe& m_probe;
    std::string m_name;
    int m_add;
    int m_trnResult;
    int m_invResult;
};

using TestFunc8 = TTestFunc<uint8_t>;
using TestFunc16 = TTestFunc<uint16_t>;

} // namespace functest
