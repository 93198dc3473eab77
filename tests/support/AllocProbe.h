// An allocation probe for tests that must show a call refuses its input before allocating.
//
// It replaces the global operator new and delete of the test program, so it is included by
// exactly one source file of a test program. Unarmed it only forwards to malloc and free. Armed
// (by an AllocProbe::Armed object), it records the largest single request, and refuses every
// request above its cap with std::bad_alloc, so that a call that would ask for gigabytes fails
// at once instead of taking the machine's memory.
//
// Aligned forms of new are left to the library: nothing examined here allocates over-aligned
// objects.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace AllocProbe {

inline std::atomic<bool> g_armed{false};
inline std::atomic<size_t> g_largest{0};
inline std::atomic<size_t> g_cap{0};

// Arms the probe for its lifetime. largest() answers the largest single request seen so far.
class Armed {
public:
    explicit Armed(size_t cap) {
        g_largest = 0;
        g_cap = cap;
        g_armed = true;
    }
    ~Armed() { g_armed = false; }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    size_t largest() const { return g_largest; }
};

// Kept out of line, so that the compiler does not pair a free with a new it can see.
[[gnu::noinline]] inline void* Allocate(size_t n) {
    if (g_armed.load(std::memory_order_relaxed)) {
        size_t seen = g_largest.load(std::memory_order_relaxed);
        while (n > seen && !g_largest.compare_exchange_weak(seen, n)) {
        }
        if (n > g_cap.load(std::memory_order_relaxed)) return nullptr;
    }
    return std::malloc(n ? n : 1);
}

[[gnu::noinline]] inline void Release(void* p) noexcept {
    std::free(p);
}

} // namespace AllocProbe

void* operator new(size_t n) {
    if (void* p = AllocProbe::Allocate(n)) return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) {
    if (void* p = AllocProbe::Allocate(n)) return p;
    throw std::bad_alloc();
}
void* operator new(size_t n, const std::nothrow_t&) noexcept {
    return AllocProbe::Allocate(n);
}
void* operator new[](size_t n, const std::nothrow_t&) noexcept {
    return AllocProbe::Allocate(n);
}
void operator delete(void* p) noexcept {
    AllocProbe::Release(p);
}
void operator delete[](void* p) noexcept {
    AllocProbe::Release(p);
}
void operator delete(void* p, size_t) noexcept {
    AllocProbe::Release(p);
}
void operator delete[](void* p, size_t) noexcept {
    AllocProbe::Release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    AllocProbe::Release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    AllocProbe::Release(p);
}
