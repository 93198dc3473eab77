// Streams an image band by band through three stages that overlap: a reader thread reads the
// next band while the calling thread converts one and a writer thread writes the one before.
// The bands go round a fixed set of slots (each a band's input and output buffers), so memory
// stays bounded by the slots whatever the size of the image, and each stage sees the bands in
// order, so the output is that of reading, converting and writing one band after another. An
// image of one band runs its three stages in turn on the calling thread.
//
// A stage that throws stops the others at their next band; Run waits for both threads and
// throws the first failure again in the calling thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

class BandPipeline {
public:
    // Each stage gets the slot of the band and its rows. `read` runs on the reader thread,
    // `write` on the writer thread (both on the calling thread for an image of one band), `convert`
    // and `converted` (the rows converted so far, for a progress display) on the calling thread.
    struct Stages {
        std::function<void(size_t slot, uint32_t rows)> read;
        std::function<void(size_t slot, uint32_t rows)> convert;
        std::function<void(size_t slot, uint32_t rows)> write;
        std::function<void(uint32_t rowsDone)> converted;
    };

    // Three slots: one band read, one converted and one written at the same time.
    static constexpr size_t kSlots = 3;

    // `height` rows in bands of `bandRows` (the last one shorter) over `slots` slots (at least
    // 1; 1 gives no overlap).
    static void Run(uint32_t height, uint32_t bandRows, size_t slots, const Stages& stages);
};
