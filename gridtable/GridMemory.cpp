#include "gridtable/GridMemory.h"

#include <mutex>
#include <new>

namespace GridMemory {
namespace {

struct Kept {
    void* block;
    size_t bytes;
};

std::mutex g_lock;
Kept g_kept[kMaxKeptBlocks];
size_t g_keptCount = 0;
size_t g_keptBytes = 0;

} // namespace

void* Allocate(size_t bytes) {
    if (bytes >= kKeptFrom) {
        std::lock_guard<std::mutex> lock(g_lock);
        // The most recently kept block of the size: its pages are the likeliest still cached.
        for (size_t k = g_keptCount; k-- > 0;) {
            if (g_kept[k].bytes != bytes) continue;
            void* block = g_kept[k].block;
            g_kept[k] = g_kept[--g_keptCount];
            g_keptBytes -= bytes;
            return block;
        }
    }
    return ::operator new(bytes);
}

void Free(void* block, size_t bytes) noexcept {
    if (!block) return;
    if (bytes >= kKeptFrom) {
        std::lock_guard<std::mutex> lock(g_lock);
        if (g_keptCount < kMaxKeptBlocks && g_keptBytes + bytes <= kMaxKeptBytes) {
            g_kept[g_keptCount++] = {block, bytes};
            g_keptBytes += bytes;
            return;
        }
    }
    ::operator delete(block);
}

size_t KeptBytes() {
    std::lock_guard<std::mutex> lock(g_lock);
    return g_keptBytes;
}

void Release() noexcept {
    std::lock_guard<std::mutex> lock(g_lock);
    for (size_t k = 0; k < g_keptCount; ++k) ::operator delete(g_kept[k].block);
    g_keptCount = 0;
    g_keptBytes = 0;
}

} // namespace GridMemory
