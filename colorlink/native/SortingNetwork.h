// The compare-and-swap steps that order a grid cell's three or four fractions, largest first.
// The scalar pixel path and the SIMD kernels both take them from here, so that they visit the
// corners of a cell in the same order, ties included, and give the same bytes.
#pragma once

#include <cstddef>
#include <iterator>
#include <utility>

// The steps as pairs of positions, in order: the larger fraction goes to the first.
template <unsigned In> struct SCellSortSteps;
template <> struct SCellSortSteps<3> {
    static constexpr unsigned char pairs[3][2] = {{0, 1}, {1, 2}, {0, 1}};
};
template <> struct SCellSortSteps<4> {
    static constexpr unsigned char pairs[5][2] = {{0, 1}, {2, 3}, {0, 2}, {1, 3}, {1, 2}};
};

// Calls order(i, j) for every step, as straight-line code. A caller compiled for another
// instruction set than this header's functions (the SIMD kernels) expands the steps in its own
// body with the same fold, so that its compare-and-swap is inlined rather than called.
template <unsigned In, class CompareSwap> inline void SortCellFractions(CompareSwap&& order) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (order(SCellSortSteps<In>::pairs[I][0], SCellSortSteps<In>::pairs[I][1]), ...);
    }
    (std::make_index_sequence<std::size(SCellSortSteps<In>::pairs)>{});
}
