// One built native link serving several threads at once: the pixel operations only read the
// link's table and work on the stack, so every thread gets exactly the bytes that one thread
// alone would get. Built with KVR_TSAN these tests also let ThreadSanitizer watch the sharing.
#include <gtest/gtest.h>

#include <filesystem>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "LinkTestUtil.h"
#include "colorlink/native/ColorLink.h"
#include "support/SampleLinks.h"
#include "support/TestData.h"

namespace {

constexpr unsigned kThreads = 8;
constexpr unsigned kRounds = 3;

::testing::AssertionResult ProfilesPresent() {
    ::testing::AssertionResult rgb = kvrtest::HaveCorpusProfile("sRGB.icc");
    return rgb ? kvrtest::HaveCorpusProfile("default_cmyk.icc") : rgb;
}

// sRGB to the CMYK printer, perceptual, as the RIP makes it for RGB images.
std::unique_ptr<CColorLink> BuildRgbToCmyk() {
    auto link = std::make_unique<CColorLink>(nullptr);
    if (!kvrtest::MakeRgbToCmyk(*link)) return nullptr;
    return link;
}

using kvrtest::SourcePixels;

// Runs body(t) on kThreads threads that start together.
template <class Body> void OnThreads(Body body) {
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            body(t);
        });
    for (auto& th : threads) th.join();
}

class SharedLinkTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (ProfilesPresent()) s_link = BuildRgbToCmyk().release();
    }
    static void TearDownTestSuite() {
        delete s_link;
        s_link = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(ProfilesPresent());
        ASSERT_NE(s_link, nullptr) << "the link could not be built";
        ASSERT_NE(s_link->Table16(), nullptr);
    }

    static inline CColorLink* s_link = nullptr;
};

template <class T> void Convert(CColorLink& link, const T* src, T* dst, unsigned n) {
    if constexpr (sizeof(T) == 1)
        link.TrnPixels8(src, dst, n);
    else
        link.TrnPixels16(src, dst, n);
}

template <class T> void SlicesOnThreads(CColorLink& link) {
    const unsigned count = kThreads * 12501 + 5;
    const auto src = SourcePixels<T>(count, 3);
    std::vector<T> serial(size_t(count) * 4, T(0x5A));
    Convert(link, src.data(), serial.data(), count);
    EXPECT_GT(std::set<T>(serial.begin(), serial.end()).size(), 100u) << "hardly any colours";
    for (unsigned round = 0; round < kRounds; ++round) {
        std::vector<T> shared(size_t(count) * 4, T(0x5A));
        OnThreads([&](unsigned t) {
            const unsigned first = count / kThreads * t;
            const unsigned last = t + 1 == kThreads ? count : count / kThreads * (t + 1);
            Convert(link, src.data() + size_t(first) * 3, shared.data() + size_t(first) * 4,
                    last - first);
        });
        ASSERT_EQ(shared, serial) << "round " << round;
    }
}

template <class T> void SameInputOnThreads(CColorLink& link) {
    const unsigned count = 20011;
    const auto src = SourcePixels<T>(count, 3);
    std::vector<T> serial(size_t(count) * 4, T(0x5A));
    Convert(link, src.data(), serial.data(), count);
    for (unsigned round = 0; round < kRounds; ++round) {
        std::vector<std::vector<T>> outs(kThreads, std::vector<T>(size_t(count) * 4, T(0x5A)));
        OnThreads([&](unsigned t) { Convert(link, src.data(), outs[t].data(), count); });
        for (unsigned t = 0; t < kThreads; ++t)
            ASSERT_EQ(outs[t], serial) << "thread " << t << ", round " << round;
    }
}

} // namespace

TEST_F(SharedLinkTest, ThreadsConvertingTheirOwnSlicesGetTheBytesOfOneThread8Bit) {
    SlicesOnThreads<uint8_t>(*s_link);
}

TEST_F(SharedLinkTest, ThreadsConvertingTheirOwnSlicesGetTheBytesOfOneThread16Bit) {
    SlicesOnThreads<uint16_t>(*s_link);
}

TEST_F(SharedLinkTest, ThreadsConvertingTheSameInputAtOnceGetTheBytesOfOneThread8Bit) {
    SameInputOnThreads<uint8_t>(*s_link);
}

TEST_F(SharedLinkTest, ThreadsConvertingTheSameInputAtOnceGetTheBytesOfOneThread16Bit) {
    SameInputOnThreads<uint16_t>(*s_link);
}

// Different links may be built on different threads at once; only making and deleting them is
// kept on one thread, as the link's shared counters require.
TEST(LinkBuildThreads, LinksBuiltOnSeveralThreadsAtOnceEqualOneBuiltAlone) {
    ASSERT_TRUE(ProfilesPresent());
    linktest::GridSizes grids(-9, -9);
    auto reference = BuildRgbToCmyk();
    ASSERT_NE(reference, nullptr);
    std::vector<std::unique_ptr<CColorLink>> links;
    for (unsigned t = 0; t < kThreads; ++t) links.push_back(std::make_unique<CColorLink>(nullptr));
    std::vector<int> built(kThreads, 0);
    OnThreads([&](unsigned t) {
        CColorLink& link = *links[t];
        built[t] = kvrtest::MakeRgbToCmyk(link);
    });
    for (unsigned t = 0; t < kThreads; ++t) {
        ASSERT_TRUE(built[t]) << "thread " << t;
        EXPECT_TRUE(linktest::SameTable(links[t]->Table16(), *reference->Table16()))
            << "thread " << t;
    }
}
