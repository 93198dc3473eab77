// Bit-exactness of grid interpolation. The reference below restates the interpolation
// arithmetic in the plainest form, independently of the classes: per call it computes node
// indices and fractions, reads corner values straight from the grid (no difference tables),
// picks the tetrahedron or simplex, forms the weighted sum with 32-bit wrap-around and
// rounds. Trn of all four classes must agree with it on every sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"

namespace {

// ---------------------------------------------------------------- reference

struct RefGrid {
    unsigned inputs;
    unsigned P;
    unsigned outputs;
    std::vector<uint32_t> v; // samples, first input slowest, outputs adjacent
};

// Value of the node at axis indices idx, channel c.
uint32_t NodeSample(const RefGrid& g, const unsigned* idx, unsigned c) {
    uint64_t n = 0;
    for (unsigned k = 0; k < g.inputs; ++k) n = n * g.P + idx[k];
    return g.v[n * g.outputs + c];
}

// Neighbour in the direction dir (0/1 per input) minus the base node; 0 outside the grid.
int32_t Difference(const RefGrid& g, const unsigned* idx, const int* dir, unsigned c) {
    unsigned nb[4];
    for (unsigned k = 0; k < g.inputs; ++k) {
        nb[k] = idx[k] + unsigned(dir[k]);
        if (nb[k] > g.P - 1) return 0;
    }
    return int32_t(NodeSample(g, nb, c)) - int32_t(NodeSample(g, idx, c));
}

struct Term {
    std::array<int, 4> dir;
    uint32_t weight;
};

// Final step for one channel, from the wrapped 32-bit sum.
uint32_t Finish16(uint32_t base, uint32_t sum) {
    const int64_t q = int64_t(int32_t(sum)) / 65535; // signed, truncating toward zero
    return uint32_t(((int64_t(base) + q) % 65536 + 65536) % 65536);
}

uint32_t Finish8(uint32_t base, uint32_t sum) {
    const int64_t s = int32_t(sum);
    const int64_t q = s >= 0 ? (s * 257 + 128) >> 16 : -((128 - s * 257) >> 16);
    return uint32_t(((int64_t(base) + q) % 256 + 256) % 256);
}

// Statistics on how hard the samples pushed the arithmetic.
struct Stats {
    uint64_t wrapped = 0;  // true sum outside the signed 32-bit range
    uint64_t negative = 0; // signed sum below zero
};

void Evaluate(const RefGrid& g, const unsigned* idx, const std::vector<Term>& terms,
              uint32_t halfUnit, bool eightBit, uint32_t* out, Stats& st) {
    for (unsigned c = 0; c < g.outputs; ++c) {
        uint32_t sum = halfUnit;
        int64_t exact = halfUnit;
        for (const Term& t : terms) {
            const int32_t d = Difference(g, idx, t.dir.data(), c);
            sum += t.weight * uint32_t(d);
            exact += int64_t(t.weight) * d;
        }
        if (exact > INT32_MAX || exact < INT32_MIN) ++st.wrapped;
        if (int32_t(sum) < 0) ++st.negative;
        const uint32_t base = NodeSample(g, idx, c);
        out[c] = eightBit ? Finish8(base, sum) : Finish16(base, sum);
    }
}

// Node index and fraction of one input value.
void Split(uint32_t x, unsigned P, bool eightBit, unsigned& index, uint32_t& frac) {
    const uint32_t S = eightBit ? 255 : 65535;
    const uint32_t p = x * (P - 1);
    index = p / S;
    frac = p % S;
}

void Reference3(const RefGrid& g, const uint32_t* in, bool eightBit, uint32_t* out, Stats& st) {
    unsigned i[3];
    uint32_t f[3];
    for (int k = 0; k < 3; ++k) {
        Split(in[k], g.P, eightBit, i[k], f[k]);
        // 8-bit three-input grids put 128 on the middle node when there is one.
        if (eightBit && in[k] == 128 && (g.P - 1) % 2 == 0) f[k] = 0;
    }
    const uint32_t f0 = f[0], f1 = f[1], f2 = f[2];
    std::vector<Term> t;
    if (f0 >= f1 && f2 < f1)
        t = {{{1, 0, 0}, f0 - f1}, {{1, 1, 0}, f1 - f2}, {{1, 1, 1}, f2}};
    else if (f0 >= f1 && f2 < f0)
        t = {{{1, 0, 0}, f0 - f2}, {{1, 0, 1}, f2 - f1}, {{1, 1, 1}, f1}};
    else if (f0 >= f1)
        t = {{{0, 0, 1}, f2 - f0}, {{1, 0, 1}, f0 - f1}, {{1, 1, 1}, f1}};
    else if (f2 < f0)
        t = {{{0, 1, 0}, f1 - f0}, {{1, 1, 0}, f0 - f2}, {{1, 1, 1}, f2}};
    else if (f2 < f1)
        t = {{{0, 1, 0}, f1 - f2}, {{0, 1, 1}, f2 - f0}, {{1, 1, 1}, f0}};
    else
        t = {{{0, 0, 1}, f2 - f1}, {{0, 1, 1}, f1 - f0}, {{1, 1, 1}, f0}};
    Evaluate(g, i, t, eightBit ? 127 : 32767, eightBit, out, st);
}

void Reference4(const RefGrid& g, const uint32_t* in, bool eightBit, uint32_t* out, Stats& st) {
    unsigned i[4];
    uint32_t f[4];
    for (int k = 0; k < 4; ++k) Split(in[k], g.P, eightBit, i[k], f[k]);
    std::array<int, 4> o = {0, 1, 2, 3};
    std::stable_sort(o.begin(), o.end(), [&](int a, int b) { return f[a] < f[b]; });
    // The simplex walks from the base corner along the axes of largest fraction first.
    std::array<int, 4> e3{}, e2{}, e1{}, e0{1, 1, 1, 1};
    e3[o[3]] = 1;
    e2 = e3;
    e2[o[2]] = 1;
    e1 = e2;
    e1[o[1]] = 1;
    std::vector<Term> t = {
        {e0, f[o[0]]}, {e1, f[o[1]] - f[o[0]]}, {e2, f[o[2]] - f[o[1]]}, {e3, f[o[3]] - f[o[2]]}};
    Evaluate(g, i, t, eightBit ? 127 : 32767, eightBit, out, st);
}

// ---------------------------------------------------------------- grids and inputs

enum class Fill { uniform, extremes, nearExtremes, mixed };

template <class T> std::vector<T> RandomGrid(size_t n, Fill fill, std::mt19937& rng) {
    const uint32_t S = sizeof(T) == 1 ? 255 : 65535;
    std::uniform_int_distribution<uint32_t> any(0, S), coin(0, 1), small(0, 3), pct(0, 99);
    std::vector<T> v(n);
    for (auto& x : v) {
        uint32_t r = any(rng);
        switch (fill) {
        case Fill::uniform:
            break;
        case Fill::extremes:
            r = coin(rng) ? S : 0;
            break;
        case Fill::nearExtremes:
            r = coin(rng) ? S - small(rng) : small(rng);
            break;
        case Fill::mixed:
            if (pct(rng) < 60) r = coin(rng) ? S : 0;
            break;
        }
        x = T(r);
    }
    return v;
}

// Inputs: every node (or a random subset of them for large grids), inputs a step or two off a
// node, and uniform random ones.
template <class T>
std::vector<std::array<uint32_t, 4>> Inputs(unsigned inputs, unsigned P, size_t nodeCap,
                                            size_t nearCount, size_t randomCount,
                                            std::mt19937& rng) {
    const uint32_t S = sizeof(T) == 1 ? 255 : 65535;
    const uint32_t gm = P - 1;
    auto nodeValue = [&](uint32_t i) { return (i * S + (gm >> 1)) / gm; };
    std::vector<std::array<uint32_t, 4>> r;
    size_t nodes = 1;
    for (unsigned k = 0; k < inputs; ++k) nodes *= P;
    std::uniform_int_distribution<uint32_t> any(0, S), node(0, gm), off(0, 4);
    auto decode = [&](size_t n) {
        std::array<uint32_t, 4> a{};
        for (unsigned k = inputs; k-- > 0;) {
            a[k] = nodeValue(uint32_t(n % P));
            n /= P;
        }
        return a;
    };
    if (nodes <= nodeCap) {
        for (size_t n = 0; n < nodes; ++n) r.push_back(decode(n));
    } else {
        std::uniform_int_distribution<size_t> pick(0, nodes - 1);
        for (size_t n = 0; n < nodeCap; ++n) r.push_back(decode(pick(rng)));
    }
    for (size_t n = 0; n < nearCount; ++n) {
        std::array<uint32_t, 4> a{};
        for (unsigned k = 0; k < inputs; ++k) {
            const int64_t v = int64_t(nodeValue(node(rng))) + int64_t(off(rng)) - 2;
            a[k] = uint32_t(std::clamp<int64_t>(v, 0, S));
        }
        r.push_back(a);
    }
    for (size_t n = 0; n < randomCount; ++n) {
        std::array<uint32_t, 4> a{};
        for (unsigned k = 0; k < inputs; ++k) a[k] = any(rng);
        r.push_back(a);
    }
    return r;
}

struct Outcome {
    uint64_t samples = 0;
    uint64_t mismatches = 0;
    Stats stats;
};

template <class Mft>
void CheckGrid(unsigned inputs, unsigned P, unsigned outputs, Fill fill, size_t nodeCap,
               size_t nearCount, size_t randomCount, std::mt19937& rng, Outcome& res) {
    using T = typename Mft::Sample;
    constexpr bool eightBit = sizeof(T) == 1;
    Mft mft(P, outputs);
    const std::vector<T> data = RandomGrid<T>(mft.TabEntries(), fill, rng);
    mft.Define(data.data());
    mft.InitTrn();
    const RefGrid g{inputs, P, outputs, std::vector<uint32_t>(data.begin(), data.end())};

    std::vector<std::array<uint32_t, 4>> ins =
        Inputs<T>(inputs, P, nodeCap, nearCount, randomCount, rng);
    if (eightBit) {
        // The value 128 is handled specially in one class; make sure it is well represented.
        std::uniform_int_distribution<uint32_t> any(0, 255), around(127, 129);
        for (int n = 0; n < 300; ++n) {
            std::array<uint32_t, 4> a{};
            for (unsigned k = 0; k < inputs; ++k) a[k] = (n + k) % 2 ? around(rng) : any(rng);
            ins.push_back(a);
        }
    }
    T in[4];
    T out[8];
    uint32_t ref[8];
    for (const auto& a : ins) {
        for (unsigned k = 0; k < inputs; ++k) in[k] = T(a[k]);
        ASSERT_EQ(mft.Trn(in, out), 1);
        if (inputs == 3)
            Reference3(g, a.data(), eightBit, ref, res.stats);
        else
            Reference4(g, a.data(), eightBit, ref, res.stats);
        ++res.samples;
        bool same = true;
        for (unsigned c = 0; c < outputs; ++c) same = same && out[c] == ref[c];
        if (!same) {
            if (res.mismatches < 5) {
                ADD_FAILURE() << "P=" << P << " outputs=" << outputs << " in=(" << a[0] << ","
                              << a[1] << "," << a[2] << "," << a[3] << ") channel 0: got "
                              << uint32_t(out[0]) << ", reference " << ref[0];
            }
            ++res.mismatches;
        }
    }
}

template <class Mft>
Outcome RunAll(unsigned inputs, std::initializer_list<unsigned> sizes, size_t nodeCap,
               size_t nearCount, size_t randomCount, uint32_t seed) {
    std::mt19937 rng(seed);
    Outcome res;
    const Fill fills[] = {Fill::uniform, Fill::extremes, Fill::nearExtremes, Fill::mixed};
    unsigned turn = 0;
    for (unsigned P : sizes)
        for (unsigned outputs = 1; outputs <= 8; ++outputs)
            CheckGrid<Mft>(inputs, P, outputs, fills[turn++ % 4], nodeCap, nearCount, randomCount,
                           rng, res);
    return res;
}

} // namespace

TEST(MftExactness, Tetrahedral16MatchesPlainArithmeticOnRandomGrids) {
    const Outcome r = RunAll<CMft3_16>(3, {2, 3, 9, 16, 17, 33}, 6000, 6000, 14000, 101);
    EXPECT_GE(r.samples, 1000000u);
    EXPECT_EQ(r.mismatches, 0u);
    // The samples must reach the wrap-around of the 32-bit sum, or the test proves little.
    EXPECT_GT(r.stats.wrapped, 1000u);
    RecordProperty("samples", int(r.samples));
}

TEST(MftExactness, Tetrahedral8MatchesPlainArithmeticOnRandomGrids) {
    const Outcome r = RunAll<CMft3_8>(3, {2, 3, 9, 16, 17, 33}, 6000, 6000, 14000, 202);
    EXPECT_GE(r.samples, 1000000u);
    EXPECT_EQ(r.mismatches, 0u);
    EXPECT_GT(r.stats.negative, 10000u); // the negative branch of the rounding is exercised
    RecordProperty("samples", int(r.samples));
}

TEST(MftExactness, Simplex16MatchesPlainArithmeticOnRandomGrids) {
    const Outcome r = RunAll<CMft4_16>(4, {2, 7, 16, 17}, 9000, 9000, 20000, 303);
    EXPECT_GE(r.samples, 1000000u);
    EXPECT_EQ(r.mismatches, 0u);
    EXPECT_GT(r.stats.wrapped, 1000u);
    RecordProperty("samples", int(r.samples));
}

TEST(MftExactness, Simplex8MatchesPlainArithmeticOnRandomGrids) {
    const Outcome r = RunAll<CMft4_8>(4, {2, 7, 16, 17}, 9000, 9000, 20000, 404);
    EXPECT_GE(r.samples, 1000000u);
    EXPECT_EQ(r.mismatches, 0u);
    EXPECT_GT(r.stats.negative, 10000u);
    RecordProperty("samples", int(r.samples));
}
