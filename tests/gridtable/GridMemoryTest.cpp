// Kept grid blocks: a freed block of grid size comes back for the next grid of the same byte
// size, within the bounds; small blocks and blocks beyond the bounds are not kept.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
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

TEST(GridMemory, AZeroedBlockIsZeroWhetherKeptNewOrSmall) {
    GridMemory::Release();
    auto* dirty = static_cast<uint8_t*>(GridMemory::Allocate(kBig));
    std::fill(dirty, dirty + kBig, uint8_t(0x5A));
    GridMemory::Free(dirty, kBig); // kept, with its bytes as they are
    for (size_t size : {kBig, kBig + 64, GridMemory::kKeptFrom - 1, size_t(17)}) {
        auto* p = static_cast<uint8_t*>(GridMemory::AllocateZeroed(size));
        for (size_t i = 0; i < size; ++i) ASSERT_EQ(p[i], 0u) << size << " at " << i;
        GridMemory::Free(p, size);
    }
    GridMemory::Release();
}

TEST(GridMemory, AGridVectorGrownStepByStepReadsZerosBeyondWhatWasWritten) {
    GridMemory::Release();
    { GridVector<uint16_t> v(kBig, uint16_t(0x1234)); } // leaves dirty kept blocks
    GridVector<uint16_t> w;
    size_t written = 0;
    for (size_t size : {size_t(100), kBig / 4, kBig}) {
        w.resize(size);
        for (size_t i = written; i < size; ++i) ASSERT_EQ(w[i], 0u) << size << " at " << i;
        std::fill(w.begin(), w.end(), uint16_t(7));
        written = size;
    }
    GridMemory::Release();
}

TEST(GridMemory, SharedArraysOfAnySizeHoldWhatIsWritten) {
    for (size_t n : {size_t(1), size_t(1000), kBig}) {
        std::shared_ptr<uint32_t[]> a = GridMemory::NewSharedArray<uint32_t>(n);
        for (size_t i = 0; i < n; ++i) a[i] = uint32_t(i * 2654435761u);
        std::shared_ptr<uint32_t[]> b = a; // the copy shares the block
        for (size_t i = 0; i < n; ++i) ASSERT_EQ(b[i], uint32_t(i * 2654435761u)) << i;
    }
}
