// Test access to the protected state of the grid classes: each probe derives from a class and
// only republishes members, so that tests can look at the derived counts and the prepared
// tables that the public interface does not show.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "gridtable/Mft.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"

template <class Base> struct MftProbe : Base {
    using Base::Base;
    using Base::deltaValid;
    using Base::dimPower;
    using Base::gridHalf;
    using Base::gridMax;
    using Base::tabCount;
};

template <class Base> struct Mft3Probe : MftProbe<Base> {
    using MftProbe<Base>::MftProbe;
    using Base::ChooseTetrahedron;
    using Base::delta001;
    using Base::delta010;
    using Base::delta011;
    using Base::delta100;
    using Base::delta101;
    using Base::delta110;
    using Base::delta111;
    using Base::points;
    using Base::points2;
    using Base::points3;
};

struct Mft3Probe8 : Mft3Probe<CMft3_8> {
    using CMft3_8::fracTab;
    using CMft3_8::indexTab;
    using CMft3_8::offset0;
    using CMft3_8::offset1;
    using CMft3_8::offset2;
    using Mft3Probe::Mft3Probe;
};
using Mft3Probe16 = Mft3Probe<CMft3_16>;

template <class Base> struct Mft4Probe : MftProbe<Base> {
    using MftProbe<Base>::MftProbe;
    using Base::ChooseSimplex;
    using Base::deltaCount;
    using Base::deltaTabs;
};

struct Mft4Probe8 : Mft4Probe<CMft4_8> {
    using CMft4_8::fracTab;
    using CMft4_8::indexTab;
    using CMft4_8::offsetTabs;
    using Mft4Probe::Mft4Probe;
};
using Mft4Probe16 = Mft4Probe<CMft4_16>;

// Uniformly random grid contents.
template <class T> std::vector<T> RandomSamples(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, sizeof(T) == 1 ? 255 : 65535);
    std::vector<T> v(n);
    for (auto& x : v) x = T(any(rng));
    return v;
}

// Two 16-bit grids with the same random contents, the first with its difference tables
// prepared and the second left without: the pair the unprepared path is checked against.
template <class Grid>
void DefinePreparedAndUnprepared(Grid& prepared, Grid& unprepared, uint32_t seed) {
    const auto data = RandomSamples<uint16_t>(prepared.TabEntries(), seed);
    prepared.Define(data.data());
    unprepared.Define(data.data());
    prepared.InitTrn();
}
