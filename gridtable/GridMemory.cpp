#include "gridtable/GridMemory.h"

#include <sys/mman.h>

#include <cstring>
#include <mutex>
#include <new>

namespace GridMemory {
namespace {

// A new block of grid size, every byte 0. Its pages are mapped and zeroed in one call rather than
// one fault at a time as the grid is first written: on a virtual machine a fault costs several
// times what the kernel spends per page when it maps a range at once, and a grid is written whole
// anyway. Address sanitizer builds take the heap, whose bounds it checks.
#if defined(__SANITIZE_ADDRESS__)
void* NewBlock(size_t bytes) {
    return std::memset(::operator new(bytes), 0, bytes);
}
void DeleteBlock(void* block, size_t) noexcept {
    ::operator delete(block);
}
#else
void* NewBlock(size_t bytes) {
    void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    return p;
}
void DeleteBlock(void* block, size_t bytes) noexcept {
    munmap(block, bytes);
}
#endif

struct Kept {
    void* block;
    size_t bytes;
};

std::mutex g_lock;
Kept g_kept[kMaxKeptBlocks];
size_t g_keptCount = 0;
size_t g_keptBytes = 0;

// A kept block of exactly `bytes`, or null.
void* TakeKept(size_t bytes) {
    std::lock_guard<std::mutex> lock(g_lock);
    // The most recently kept block of the size: its pages are the likeliest still cached.
    for (size_t k = g_keptCount; k-- > 0;) {
        if (g_kept[k].bytes != bytes) continue;
        void* block = g_kept[k].block;
        g_kept[k] = g_kept[--g_keptCount];
        g_keptBytes -= bytes;
        return block;
    }
    return nullptr;
}

} // namespace

void* Allocate(size_t bytes) {
    if (bytes < kKeptFrom) return ::operator new(bytes);
    if (void* block = TakeKept(bytes)) return block;
    return NewBlock(bytes); // outside the lock: mapping the pages takes a while
}

void* AllocateZeroed(size_t bytes) {
    void* block = bytes < kKeptFrom ? nullptr : TakeKept(bytes);
    if (!block && bytes >= kKeptFrom) return NewBlock(bytes); // zeroed by the system
    if (!block) block = ::operator new(bytes);
    std::memset(block, 0, bytes);
    return block;
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
        DeleteBlock(block, bytes);
        return;
    }
    ::operator delete(block);
}

size_t KeptBytes() {
    std::lock_guard<std::mutex> lock(g_lock);
    return g_keptBytes;
}

void Release() noexcept {
    std::lock_guard<std::mutex> lock(g_lock);
    for (size_t k = 0; k < g_keptCount; ++k) DeleteBlock(g_kept[k].block, g_kept[k].bytes);
    g_keptCount = 0;
    g_keptBytes = 0;
}

} // namespace GridMemory
