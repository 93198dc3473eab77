// The band pipeline of the command-line tool: every band read, converted and written once and in
// order whatever the band and slot counts, never more bands under way than slots, a slot never
// used by two stages at once, and a failure in any stage stopping the others and coming back to
// the caller.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BandPipeline.h"

namespace {

// A fake image of `height` rows, row r holding the number r: read copies the rows into the
// slot, convert doubles them, write appends them to the output. Checks the sharing on the way.
struct FakeImage {
    uint32_t height;
    size_t slots;
    std::vector<std::vector<uint32_t>> in, out; // per slot
    std::vector<uint32_t> written;
    uint32_t nextRead = 0;
    std::atomic<int> underWay{0}; // bands read and not yet written
    std::atomic<int> maxUnderWay{0};
    std::vector<std::atomic<int>> users; // stages working on each slot
    std::atomic<bool> sharedSlot{false};

    FakeImage(uint32_t h, size_t s) : height(h), slots(s), in(s), out(s), users(s) {}

    void Enter(size_t slot) {
        if (users[slot].fetch_add(1) != 0) sharedSlot = true;
    }
    void Leave(size_t slot) { users[slot].fetch_sub(1); }

    BandPipeline::Stages Stages() {
        BandPipeline::Stages st;
        st.read = [this](size_t slot, uint32_t rows) {
            Enter(slot);
            const int now = ++underWay;
            for (int m = maxUnderWay; now > m && !maxUnderWay.compare_exchange_weak(m, now);) {
            }
            in[slot].clear();
            for (uint32_t r = 0; r < rows; ++r) in[slot].push_back(nextRead++);
            Leave(slot);
        };
        st.convert = [this](size_t slot, uint32_t rows) {
            Enter(slot);
            EXPECT_EQ(in[slot].size(), rows);
            out[slot].clear();
            for (uint32_t v : in[slot]) out[slot].push_back(2 * v);
            // Slower than the other stages, so that the reader runs ahead as far as it may.
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            Leave(slot);
        };
        st.write = [this](size_t slot, uint32_t rows) {
            Enter(slot);
            EXPECT_EQ(out[slot].size(), rows);
            written.insert(written.end(), out[slot].begin(), out[slot].end());
            --underWay;
            Leave(slot);
        };
        return st;
    }

    std::vector<uint32_t> Expected() const {
        std::vector<uint32_t> v;
        for (uint32_t r = 0; r < height; ++r) v.push_back(2 * r);
        return v;
    }
};

TEST(BandPipelineTest, EveryRowPassesOnceInOrderWhateverTheBandsAndSlots) {
    for (uint32_t height : {1u, 7u, 64u, 101u})
        for (uint32_t bandRows : {1u, 3u, 16u, 200u})
            for (size_t slots : {size_t(1), size_t(2), BandPipeline::kSlots, size_t(5)}) {
                FakeImage image(height, slots);
                std::vector<uint32_t> progress;
                BandPipeline::Stages st = image.Stages();
                st.converted = [&](uint32_t rows) { progress.push_back(rows); };
                BandPipeline::Run(height, bandRows, slots, st);
                const std::string what = std::to_string(height) + " rows, bands of " +
                                         std::to_string(bandRows) + ", " + std::to_string(slots) +
                                         " slots";
                EXPECT_EQ(image.written, image.Expected()) << what;
                EXPECT_LE(image.maxUnderWay, int(slots)) << what;
                EXPECT_FALSE(image.sharedSlot) << what;
                ASSERT_FALSE(progress.empty()) << what;
                EXPECT_EQ(progress.back(), height) << what;
                EXPECT_EQ(progress.size(), (height + bandRows - 1) / bandRows) << what;
            }
}

TEST(BandPipelineTest, ReaderRunsAheadOfTheConversionByTheSlotsAtMost) {
    FakeImage image(200, BandPipeline::kSlots);
    BandPipeline::Run(200, 2, BandPipeline::kSlots, image.Stages());
    EXPECT_EQ(image.written, image.Expected());
    // The conversion is the slow stage: the reader fills every slot, and no more.
    EXPECT_EQ(image.maxUnderWay, int(BandPipeline::kSlots));
}

// Runs the pipeline with `stage` failing at its band `failAt`; answers the message that Run
// throws and checks that no stage went on far beyond the failure.
std::string FailingRun(const std::string& stage, int failAt) {
    FakeImage image(1000, BandPipeline::kSlots);
    BandPipeline::Stages st = image.Stages();
    int calls = 0;
    std::atomic<int> readsAfter{0};
    std::atomic<bool> failed{false};
    auto failing = [&](std::function<void(size_t, uint32_t)> f) {
        return [&, f](size_t slot, uint32_t rows) {
            if (calls++ == failAt) {
                failed = true;
                throw std::runtime_error(stage + " failed");
            }
            f(slot, rows);
        };
    };
    if (stage == "read") st.read = failing(st.read);
    if (stage == "convert") st.convert = failing(st.convert);
    if (stage == "write") st.write = failing(st.write);
    if (stage != "read") {
        auto read = st.read;
        st.read = [&, read](size_t slot, uint32_t rows) {
            if (failed) ++readsAfter;
            read(slot, rows);
        };
    }
    try {
        BandPipeline::Run(1000, 1, BandPipeline::kSlots, st);
    } catch (const std::runtime_error& e) {
        // The reader may have started a band or two before it heard of the failure, and no
        // more than the slots allow.
        EXPECT_LE(readsAfter, int(BandPipeline::kSlots)) << stage;
        EXPECT_LT(image.written.size(), 1000u) << stage;
        return e.what();
    }
    return "no failure";
}

TEST(BandPipelineTest, FailureOfAnyStageStopsTheOthersAndReachesTheCaller) {
    for (const std::string stage : {"read", "convert", "write"})
        for (int at : {0, 5}) EXPECT_EQ(FailingRun(stage, at), stage + " failed") << at;
}

TEST(BandPipelineTest, ImageWithoutRowsRunsNoStage) {
    bool called = false;
    BandPipeline::Stages st;
    st.read = st.convert = st.write = [&](size_t, uint32_t) { called = true; };
    BandPipeline::Run(0, 16, BandPipeline::kSlots, st);
    EXPECT_FALSE(called);
}

} // namespace
