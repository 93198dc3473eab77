#include "colorlink/ParallelTrn.h"

#include <algorithm>
#include <limits>
#include <thread>
#include <vector>

namespace {
// Below this many pixels a piece is not worth a thread of its own.
constexpr size_t kMinPixelsPerThread = 4096;

template <class T, class Run>
void RunParallel(CMdlColorLink& link, const T* src, T* dst, size_t count, unsigned threads,
                 Run run) {
    const size_t nIn = link.nInChannels(), nOut = link.nOutChannels();
    if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
    const size_t pieces =
        std::max<size_t>(1, std::min<size_t>(threads, count / kMinPixelsPerThread));
    // The pixel operations take an unsigned count: longer runs go in slices of that size.
    constexpr size_t kMaxRun = std::numeric_limits<unsigned>::max();
    auto convert = [&](size_t first, size_t n) {
        while (n > 0) {
            const size_t k = std::min(n, kMaxRun);
            run(src + first * nIn, dst + first * nOut, unsigned(k));
            first += k;
            n -= k;
        }
    };
    if (pieces == 1) {
        convert(0, count);
        return;
    }
    std::vector<std::thread> workers;
    workers.reserve(pieces - 1);
    const size_t step = count / pieces, extra = count % pieces;
    size_t first = 0;
    for (size_t p = 0; p < pieces; ++p) {
        const size_t n = step + (p < extra ? 1 : 0);
        if (p + 1 == pieces)
            convert(first, n); // the calling thread takes the last piece
        else
            workers.emplace_back(convert, first, n);
        first += n;
    }
    for (auto& w : workers) w.join();
}
} // namespace

void TrnPixels8Parallel(CMdlColorLink& link, const unsigned char* src, unsigned char* dst,
                        size_t count, unsigned threads) {
    RunParallel(link, src, dst, count, threads,
                [&link](const unsigned char* s, unsigned char* d, unsigned n) {
                    link.TrnPixels8(s, d, n);
                });
}

void TrnPixels16Parallel(CMdlColorLink& link, const unsigned short* src, unsigned short* dst,
                         size_t count, unsigned threads) {
    RunParallel(link, src, dst, count, threads,
                [&link](const unsigned short* s, unsigned short* d, unsigned n) {
                    link.TrnPixels16(s, d, n);
                });
}
