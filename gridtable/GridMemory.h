// Memory of grid samples. A link's build allocates its grids afresh each time (the steps'
// tables widened to 16 bits, the link's own grid) and frees them when the link goes; blocks
// of this size come straight from the system and go back to it, so every build paid again for
// mapping and first touching pages it had just given up. Freed blocks of grid size are kept
// instead, within a bound, and handed out again for a grid of the same byte size.
#pragma once

#include <cstddef>
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
// Gives back a block of `bytes` that Allocate returned.
void Free(void* block, size_t bytes) noexcept;
// Bytes kept right now (for tests).
size_t KeptBytes();
// Frees every kept block.
void Release() noexcept;

} // namespace GridMemory

// Allocator of the grid sample vectors, over GridMemory. Stateless: any two are equal.
template <class T> struct GridAllocator {
    using value_type = T;
    GridAllocator() = default;
    template <class U> GridAllocator(const GridAllocator<U>&) noexcept {}
    T* allocate(size_t n) { return static_cast<T*>(GridMemory::Allocate(n * sizeof(T))); }
    void deallocate(T* p, size_t n) noexcept { GridMemory::Free(p, n * sizeof(T)); }
    template <class U> bool operator==(const GridAllocator<U>&) const noexcept { return true; }
};

template <class T> using GridVector = std::vector<T, GridAllocator<T>>;
