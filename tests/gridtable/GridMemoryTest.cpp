// Kept grid blocks: a freed block of grid size comes back for the next grid of the same byte
// size, within the bounds; small blocks and blocks beyond the bounds are not kept.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "gridtable/GridMemory.h"

namespace {

constexpr size_t kBig = GridMemory::kKeptFrom * 2;

} // namespace

TEST(GridMemory, AFreedGridBlockComesBackForTheSameSize) {
    GridMemory::Release();
    void* a = GridMemory::Allocate(kBig);
    GridMemory::Free(a, kBig);
    EXPECT_EQ(GridMemory::KeptBytes(), kBig);
    void* b = GridMemory::Allocate(kBig);
    EXPECT_EQ(b, a);
    EXPECT_EQ(GridMemory::KeptBytes(), 0u);
    GridMemory::Free(b, kBig);
    GridMemory::Release();
    EXPECT_EQ(GridMemory::KeptBytes(), 0u);
}

TEST(GridMemory, AnotherSizeGetsAnotherBlock) {
    GridMemory::Release();
    void* a = GridMemory::Allocate(kBig);
    GridMemory::Free(a, kBig);
    void* b = GridMemory::Allocate(kBig + 2);
    EXPECT_NE(b, a);
    EXPECT_EQ(GridMemory::KeptBytes(), kBig);
    GridMemory::Free(b, kBig + 2);
    EXPECT_EQ(GridMemory::KeptBytes(), 2 * kBig + 2);
    GridMemory::Release();
}

TEST(GridMemory, SmallBlocksAreNotKept) {
    GridMemory::Release();
    const size_t small = GridMemory::kKeptFrom - 1;
    GridMemory::Free(GridMemory::Allocate(small), small);
    EXPECT_EQ(GridMemory::KeptBytes(), 0u);
}

TEST(GridMemory, KeptMemoryStaysWithinItsBounds) {
    GridMemory::Release();
    const size_t size = GridMemory::kMaxKeptBytes / 3;
    std::vector<void*> blocks;
    for (int k = 0; k < 4; ++k) blocks.push_back(GridMemory::Allocate(size));
    for (void* p : blocks) GridMemory::Free(p, size);
    EXPECT_EQ(GridMemory::KeptBytes(), 3 * size);
    blocks.clear();
    for (size_t k = 0; k < GridMemory::kMaxKeptBlocks + 2; ++k)
        blocks.push_back(GridMemory::Allocate(GridMemory::kKeptFrom));
    GridMemory::Release();
    for (void* p : blocks) GridMemory::Free(p, GridMemory::kKeptFrom);
    EXPECT_EQ(GridMemory::KeptBytes(), GridMemory::kMaxKeptBlocks * GridMemory::kKeptFrom);
    GridMemory::Release();
}

TEST(GridMemory, AGridVectorOnAKeptBlockStartsAsZeros) {
    GridMemory::Release();
    const size_t n = kBig / sizeof(uint16_t);
    { GridVector<uint16_t> v(n, uint16_t(0xABCD)); }
    GridVector<uint16_t> w(n);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(w[i], 0u) << i;
    GridMemory::Release();
}
