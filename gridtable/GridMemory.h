// Memory of grid samples. A link's build allocates its grids afresh each time (the steps'
// tables widened to 16 bits, the link's own grid) and frees them when the link goes; blocks
// of this size come straight from the system and go back to it, so every build paid again for
// mapping and first touching pages it had just given up. Freed blocks of grid size are kept
// instead, within a bound, and handed out again for a grid of the same byte size.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace GridMemory {

// Blocks from this size on are kept when freed; smaller ones come from the heap as usual.
constexpr size_t kKeptFrom = size_t(64) << 10;
// At most this many bytes, in at most kMaxKeptBlocks blocks, are kept at once; a block that
// does not fit is freed.
constexpr size_t kMaxKeptBytes = size_t(8) << 20;
constexpr size_t kMaxKeptBlocks = 16;

// A block of `bytes`: a kept one of exactly that size if there is one, else a new one.
void* Allocate(size_t bytes);
// The same, every byte 0: a block just mapped from the system already is, only a kept or a
// small one is cleared.
void* AllocateZeroed(size_t bytes);
// Gives back a block of `bytes` that Allocate returned.
void Free(void* block, size_t bytes) noexcept;
// Bytes kept right now (for tests).
size_t KeptBytes();
// Frees every kept block.
void Release() noexcept;

// An array of n elements of the trivial type T, left undefined, for a large buffer that is
// written whole at once (a file's bytes, a converted copy): a grid-size one comes from
// Allocate and goes back to Free, so it is mapped at once and kept for reuse like a grid's.
template <class T> std::shared_ptr<T[]> NewSharedArray(size_t n) {
    const size_t bytes = n * sizeof(T);
    if (bytes < kKeptFrom) return std::shared_ptr<T[]>(new T[n]);
    return std::shared_ptr<T[]>(static_cast<T*>(Allocate(bytes)),
                                [bytes](T* p) { Free(p, bytes); });
}

} // namespace GridMemory

// Allocator of the grid sample vectors, over GridMemory. Stateless: any two are equal. Its
// blocks come zeroed, so a sample made without a value (a vector's value-initialisation, which
// for these number types is 0) is left as it stands: a new grid is not cleared a second time.
template <class T> struct GridAllocator {
    static_assert(std::is_arithmetic_v<T>, "grid samples are numbers, for which 0 is all zeros");
    using value_type = T;
    GridAllocator() = default;
    template <class U> GridAllocator(const GridAllocator<U>&) noexcept {}
    T* allocate(size_t n) { return static_cast<T*>(GridMemory::AllocateZeroed(n * sizeof(T))); }
    // Value-initialisation: the zero the block already holds.
    void construct(T*) noexcept {}
    template <class... Args> void construct(T* p, Args&&... args) {
        ::new (static_cast<void*>(p)) T(std::forward<Args>(args)...);
    }
    void deallocate(T* p, size_t n) noexcept { GridMemory::Free(p, n * sizeof(T)); }
    template <class U> bool operator==(const GridAllocator<U>&) const noexcept { return true; }
};

template <class T> using GridVector = std::vector<T, GridAllocator<T>>;
