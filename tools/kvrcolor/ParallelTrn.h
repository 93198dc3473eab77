// Converts runs of pixels on several threads through a built link. A run is cut into
// contiguous pieces, one per thread, and each piece goes through the link's own TrnPixels8 or
// TrnPixels16, so the output is byte for byte that of one serial call. Only for links whose
// pixel operations may be shared by threads (a built native link is one).
//
// The threads are made once, at the first run long enough to share, and serve every run after
// that: an image converted band after band starts no thread per band, and a small one none. The
// calling thread converts a piece too, so a pool of n threads keeps n - 1 of its own.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "colorlink/MdlColorLink.h"

// Images are converted a band of rows at a time, about this many bytes of samples a band, so
// that memory stays bounded whatever the size of the image.
inline constexpr size_t kImageBandBytes = 4u << 20;

class ParallelTrn {
public:
    // Runs below this many pixels per thread are cut into fewer pieces: a piece smaller than
    // that costs more to hand over than it saves.
    static constexpr size_t kMinPixelsPerThread = 4096;

    // `threads` 0 means every core of the machine. More threads than cores are not made: they
    // could only take turns on the cores, and the output does not depend on their number.
    explicit ParallelTrn(unsigned threads = 0);
    ~ParallelTrn();
    ParallelTrn(const ParallelTrn&) = delete;
    ParallelTrn& operator=(const ParallelTrn&) = delete;

    // The number of threads a run may use, the calling one included.
    unsigned threads() const;

    // `count` pixels of the link's formats from `src` to `dst`. One run at a time.
    void Pixels8(CMdlColorLink& link, const unsigned char* src, unsigned char* dst, size_t count);
    void Pixels16(CMdlColorLink& link, const unsigned short* src, unsigned short* dst,
                  size_t count);

    // The count of threads that `requested` gives on this machine: 0 and anything above the
    // number of cores give the number of cores (at least 1).
    static unsigned EffectiveThreads(unsigned requested);

private:
    // Runs piece(0) .. piece(pieces - 1) on the pool and the calling thread, and returns when
    // all are done.
    void RunPieces(size_t pieces, const std::function<void(size_t)>& piece);

    struct Pool;
    std::unique_ptr<Pool> m;
};
