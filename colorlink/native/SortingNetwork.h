// The compare-and-swap steps that order a grid cell's three or four fractions, largest first.
// The scalar pixel path and the SIMD kernels both take them from here, so that they visit the
// corners of a cell in the same order, ties included, and give the same bytes.
#pragma once

template <unsigned In, class CompareSwap> inline void SortCellFractions(CompareSwap&& order) {
    if constexpr (In == 3) {
        order(0, 1);
        order(1, 2);
        order(0, 1);
    } else {
        static_assert(In == 4, "cells have three or four inputs");
        order(0, 1);
        order(2, 3);
        order(0, 2);
        order(1, 3);
        order(1, 2);
    }
}
