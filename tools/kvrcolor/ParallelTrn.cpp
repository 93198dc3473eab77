#include "ParallelTrn.h"

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

// A fixed set of worker threads. A run is published as a job of `pieces` pieces; the workers
// and the calling thread take the next piece until none is left, and the caller waits until
// every piece taken is done.
struct ParallelTrn::Pool {
    unsigned threads = 1;
    std::vector<std::thread> workers;

    std::mutex mutex;
    std::condition_variable wake; // a new job, or the end
    std::condition_variable done; // the last piece of a job finished
    bool stop = false;
    unsigned long generation = 0; // counts the jobs, so a worker sees each one once
    std::function<void(size_t)> job;
    size_t pieces = 0;
    size_t next = 0;     // next piece to take
    size_t finished = 0; // pieces done

    // Takes and converts pieces of the current job until none is left. Called with the lock.
    void TakePieces(std::unique_lock<std::mutex>& lock) {
        while (next < pieces) {
            const size_t piece = next++;
            lock.unlock();
            job(piece);
            lock.lock();
            if (++finished == pieces) done.notify_all();
        }
    }

    void Work() {
        std::unique_lock<std::mutex> lock(mutex);
        unsigned long seen = generation;
        for (;;) {
            wake.wait(lock, [&] { return stop || generation != seen; });
            if (stop) return;
            seen = generation;
            TakePieces(lock);
        }
    }

    void Run(size_t count, const std::function<void(size_t)>& piece) {
        std::unique_lock<std::mutex> lock(mutex);
        job = piece;
        pieces = count;
        next = 0;
        finished = 0;
        ++generation;
        wake.notify_all();
        TakePieces(lock);
        done.wait(lock, [&] { return finished == pieces; });
        job = nullptr;
    }
};

unsigned ParallelTrn::EffectiveThreads(unsigned requested) {
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    return requested == 0 ? cores : std::min(requested, cores);
}

ParallelTrn::ParallelTrn(unsigned threads) : m(std::make_unique<Pool>()) {
    m->threads = EffectiveThreads(threads);
}

ParallelTrn::~ParallelTrn() {
    {
        std::lock_guard<std::mutex> lock(m->mutex);
        m->stop = true;
    }
    m->wake.notify_all();
    for (auto& w : m->workers) w.join();
}

unsigned ParallelTrn::threads() const {
    return m->threads;
}

void ParallelTrn::RunPieces(size_t pieces, const std::function<void(size_t)>& piece) {
    // The workers are made at the first run that is cut into pieces, then serve every run
    // after it: an image too small to share (runs below two pieces) starts none.
    if (m->workers.empty() && m->threads > 1) {
        m->workers.reserve(m->threads - 1);
        for (unsigned i = 1; i < m->threads; ++i)
            m->workers.emplace_back([p = m.get()] { p->Work(); });
    }
    m->Run(pieces, piece);
}

namespace {

// The run cut into at most `threads` contiguous pieces of at least kMinPixelsPerThread pixels
// (one piece below that), given to `run` as the function of one piece.
template <class T, class Convert, class Run>
void Split(unsigned threads, CMdlColorLink& link, const T* src, T* dst, size_t count,
           Convert convert, Run run) {
    const size_t nIn = link.nInChannels(), nOut = link.nOutChannels();
    // The pixel operations take an unsigned count: longer pieces go in slices of that size.
    constexpr size_t kMaxRun = std::numeric_limits<unsigned>::max();
    const auto range = [&](size_t first, size_t n) {
        while (n > 0) {
            const size_t k = std::min(n, kMaxRun);
            convert(src + first * nIn, dst + first * nOut, unsigned(k));
            first += k;
            n -= k;
        }
    };
    const size_t pieces =
        std::max<size_t>(1, std::min<size_t>(threads, count / ParallelTrn::kMinPixelsPerThread));
    if (pieces == 1) {
        range(0, count);
        return;
    }
    const size_t step = count / pieces, extra = count % pieces;
    run(pieces,
        [&](size_t p) { range(p * step + std::min(p, extra), step + (p < extra ? 1 : 0)); });
}
} // namespace

void ParallelTrn::Pixels8(CMdlColorLink& link, const unsigned char* src, unsigned char* dst,
                          size_t count) {
    Split(
        threads(), link, src, dst, count,
        [&link](const unsigned char* s, unsigned char* d, unsigned n) { link.TrnPixels8(s, d, n); },
        [this](size_t pieces, const std::function<void(size_t)>& f) { RunPieces(pieces, f); });
}

void ParallelTrn::Pixels16(CMdlColorLink& link, const unsigned short* src, unsigned short* dst,
                           size_t count) {
    Split(
        threads(), link, src, dst, count,
        [&link](const unsigned short* s, unsigned short* d, unsigned n) {
            link.TrnPixels16(s, d, n);
        },
        [this](size_t pieces, const std::function<void(size_t)>& f) { RunPieces(pieces, f); });
}
