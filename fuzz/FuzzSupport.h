// Small pieces shared by the fuzz targets: test values for colour functions and runs of a
// function on buffers of exactly its channel counts, so that AddressSanitizer sees any sample
// read or written beyond them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kvrfuzz {

// A few values of every width: the ends and the middle of the range, and some taken from the
// input so that the runs differ between inputs.
template <class T> std::vector<T> TestValues(const uint8_t* data, size_t size) {
    std::vector<T> v = {T(0), T(~T(0) / 2 + 1), T(~T(0))};
    for (size_t i = 0; i < size && i < 8; ++i) {
        const size_t at = (i * 131 + 7) % size;
        v.push_back(sizeof(T) == 1 ? T(data[at]) : T(data[at] * 257 + i));
    }
    return v;
}

// Runs f forward and, where it has one, inverse over the values, each pixel in heap buffers of
// exactly the channel counts. F is a CFunc_8 or a CFunc_16.
template <class F, class T> void RunForwardAndInverse(const F& f, const std::vector<T>& values) {
    const unsigned in = f.inputChan(), out = f.outputChan();
    if (in == 0 || out == 0 || in > 64 || out > 64) return;
    for (size_t k = 0; k < values.size(); ++k) {
        std::unique_ptr<T[]> a(new T[in]);
        std::unique_ptr<T[]> b(new T[out]);
        for (unsigned c = 0; c < in; ++c) a[c] = values[(k + c) % values.size()];
        f.Trn(a.get(), b.get());
        std::unique_ptr<T[]> c(new T[out]);
        std::unique_ptr<T[]> d(new T[in]);
        for (unsigned i = 0; i < out; ++i) c[i] = values[(k + i) % values.size()];
        f.Inv(c.get(), d.get());
    }
}

} // namespace kvrfuzz
