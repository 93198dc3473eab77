// A table source for the profile generator made of functions: the curves, the grid nodes and
// their 8-bit form are given as callables instead of a hand-written CMTab subclass per test.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "icc/IccProfileGen.h"

namespace kvrtest {

class FuncTab : public CMTab {
public:
    // 16-bit value of entry `entry` of the curve of `channel`.
    using CurveFn = std::function<unsigned short(unsigned entry, unsigned channel)>;
    // Writes the outputs of grid node `node` (ICC order); answers 0 when there is no such node.
    using Node16Fn = std::function<int(unsigned node, unsigned short* values)>;
    using Node8Fn = std::function<int(unsigned node, unsigned char* values)>;
    // Writes the 16-bit outputs of the node at position `x` (each input in [0, 1]).
    using GridFn = std::function<void(const double* x, uint16_t* y)>;

    // How the 8-bit nodes follow from the 16-bit ones when no 8-bit function is given.
    enum class Narrow { HighByte, Div257 };

    // Curves default to the linear ramp over their entries; there are no grid nodes until one
    // of Nodes16, Nodes8 or Grid gives them.
    FuncTab(unsigned in, unsigned out, unsigned points, unsigned inEnt = 2, unsigned outEnt = 2) {
        inputChan = uint8_t(in);
        outputChan = uint8_t(out);
        clutPoints = uint8_t(points);
        inputEnt = uint16_t(inEnt);
        outputEnt = uint16_t(outEnt);
    }

    FuncTab& Input(CurveFn f) {
        m_in = std::move(f);
        return *this;
    }
    FuncTab& Output(CurveFn f) {
        m_out = std::move(f);
        return *this;
    }
    FuncTab& Nodes16(Node16Fn f) {
        m_node16 = std::move(f);
        return *this;
    }
    FuncTab& Nodes8(Node8Fn f) {
        m_node8 = std::move(f);
        return *this;
    }
    FuncTab& Narrowing(Narrow n) {
        m_narrow = n;
        return *this;
    }
    // Nodes from a function of the node's position; the first input varies slowest.
    FuncTab& Grid(GridFn f) {
        return Nodes16([f = std::move(f), in = inputChan,
                        points = clutPoints](unsigned node, unsigned short* values) {
            double x[16];
            for (unsigned i = in; i-- > 0;) {
                x[i] = double(node % points) / (points - 1);
                node /= points;
            }
            f(x, values);
            return 1;
        });
    }

    // Entry `entry` of a linear ramp of `entries` entries from 0 to 65535 (rounded down).
    static unsigned short Ramp(unsigned entry, unsigned entries) {
        return static_cast<unsigned short>(entry * 65535u / (entries - 1));
    }

    unsigned short InputValue(unsigned entry, unsigned channel) const override {
        return m_in ? m_in(entry, channel) : Ramp(entry, inputEnt);
    }
    unsigned short OutputValue(unsigned entry, unsigned channel) const override {
        return m_out ? m_out(entry, channel) : Ramp(entry, outputEnt);
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        return m_node16 ? m_node16(node, values) : 0;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        if (m_node8) return m_node8(node, values);
        unsigned short wide[16];
        if (!NodeValues16(node, wide)) return 0;
        for (unsigned o = 0; o < outputChan; ++o)
            values[o] = static_cast<unsigned char>(m_narrow == Narrow::HighByte ? wide[o] >> 8
                                                                                : wide[o] / 257);
        return 1;
    }

private:
    CurveFn m_in, m_out;
    Node16Fn m_node16;
    Node8Fn m_node8;
    Narrow m_narrow = Narrow::HighByte;
};

} // namespace kvrtest
