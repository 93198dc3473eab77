#include "BandPipeline.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace {

// The slots between the stages, and the first failure. A band is handed over under one lock:
// the stages work on whole bands of megabytes, so the lock is taken a few times a band only.
struct Queues {
    using Band = std::pair<size_t, uint32_t>; // slot, rows
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<size_t> free;
    std::deque<Band> read, converted;
    std::exception_ptr error;
    bool failed = false;

    void Fail(std::exception_ptr e) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (!error) error = std::move(e);
            failed = true;
        }
        changed.notify_all();
    }

    // Waits for an element of `queue` and takes it; false when a stage failed meanwhile.
    template <class T> bool Take(std::deque<T>& queue, T& item) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return failed || !queue.empty(); });
        if (failed) return false;
        item = queue.front();
        queue.pop_front();
        return true;
    }

    template <class T> void Put(std::deque<T>& queue, const T& item) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            queue.push_back(item);
        }
        changed.notify_all();
    }
};

// A stage's thread, stopped and joined if Run leaves before joining it (when the second
// thread cannot be made).
struct Joiner {
    Queues& q;
    std::thread thread;
    ~Joiner() {
        if (!thread.joinable()) return;
        q.Fail(nullptr); // the failure that leaves is on its way already
        thread.join();
    }
};
} // namespace

void BandPipeline::Run(uint32_t height, uint32_t bandRows, size_t slots, const Stages& stages) {
    bandRows = std::max<uint32_t>(bandRows, 1);
    if (height == 0) return;
    // One band has nothing to overlap: its stages run in turn on the calling thread, which
    // spares a small image the start of two threads.
    if (height <= bandRows) {
        const size_t slot = 0;
        stages.read(slot, height);
        stages.convert(slot, height);
        if (stages.converted) stages.converted(height);
        stages.write(slot, height);
        return;
    }
    Queues q;
    for (size_t s = 0; s < std::max<size_t>(slots, 1); ++s) q.free.push_back(s);

    Joiner reader{q, std::thread([&] {
                      try {
                          for (uint32_t row = 0; row < height;) {
                              const uint32_t rows = std::min(bandRows, height - row);
                              size_t slot;
                              if (!q.Take(q.free, slot)) return;
                              stages.read(slot, rows);
                              q.Put(q.read, {slot, rows});
                              row += rows;
                          }
                      } catch (...) {
                          q.Fail(std::current_exception());
                      }
                  })};
    Joiner writer{q, std::thread([&] {
                      try {
                          for (uint32_t row = 0; row < height;) {
                              Queues::Band band;
                              if (!q.Take(q.converted, band)) return;
                              stages.write(band.first, band.second);
                              q.Put(q.free, band.first);
                              row += band.second;
                          }
                      } catch (...) {
                          q.Fail(std::current_exception());
                      }
                  })};
    try {
        for (uint32_t row = 0; row < height;) {
            Queues::Band band;
            if (!q.Take(q.read, band)) break;
            stages.convert(band.first, band.second);
            row += band.second;
            if (stages.converted) stages.converted(row);
            q.Put(q.converted, band);
        }
    } catch (...) {
        q.Fail(std::current_exception());
    }
    writer.thread.join();
    reader.thread.join();
    if (q.error) std::rethrow_exception(q.error);
}
