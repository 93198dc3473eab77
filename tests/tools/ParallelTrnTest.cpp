// The command-line tool's parallel pixel loop: the bytes of one serial call whatever the number
// of threads and the length of the run, one fixed set of threads for every run, and never more
// threads than cores.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "ParallelTrn.h"
#include "colorlink/MdlColorLink.h"
#include "support/SampleLinks.h"
#include "support/TestData.h"

namespace {

unsigned Cores() {
    return std::max(1u, std::thread::hardware_concurrency());
}

// sRGB to the CMYK printer from the back-end the (default) settings choose.
std::unique_ptr<CMdlColorLink> BuildRgbToCmyk() {
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(nullptr));
    if (!link || !kvrtest::MakeRgbToCmyk(*link)) return nullptr;
    return link;
}

using kvrtest::SourcePixels;

template <class T> void Serial(CMdlColorLink& link, const T* src, T* dst, unsigned n) {
    if constexpr (sizeof(T) == 1)
        link.TrnPixels8(src, dst, n);
    else
        link.TrnPixels16(src, dst, n);
}

template <class T>
void Parallel(ParallelTrn& pool, CMdlColorLink& link, const T* src, T* dst, size_t n) {
    if constexpr (sizeof(T) == 1)
        pool.Pixels8(link, src, dst, n);
    else
        pool.Pixels16(link, src, dst, n);
}

class ParallelTrnTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_link = BuildRgbToCmyk().release(); }
    static void TearDownTestSuite() {
        delete s_link;
        s_link = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
        ASSERT_TRUE(kvrtest::HaveCorpusProfile("default_cmyk.icc"));
        ASSERT_NE(s_link, nullptr) << "the link could not be built";
    }

    // Every length on pools of several sizes, each pool reused for all lengths: the bytes of
    // the serial call, and nothing written past the run.
    template <class T> static void SameAsSerial() {
        constexpr size_t kMost = 100003;
        const auto src = SourcePixels<T>(kMost, 3);
        for (unsigned threads : {0u, 1u, 3u, 8u, 1000000u}) {
            ParallelTrn pool(threads);
            for (size_t count : {size_t(0), size_t(1), size_t(4095), size_t(3 * 4096 + 7), kMost}) {
                std::vector<T> serial(kMost * 4, T(0x5A));
                Serial(*s_link, src.data(), serial.data(), unsigned(count));
                std::vector<T> parallel(kMost * 4, T(0x5A));
                Parallel(pool, *s_link, src.data(), parallel.data(), count);
                ASSERT_EQ(parallel, serial) << count << " pixels on " << threads << " threads";
            }
        }
    }

    static inline CMdlColorLink* s_link = nullptr;
};

// A link of one channel in and out that adds one to each sample and notes the threads that
// call it.
class CountingLink : public CMdlColorLink {
public:
    void TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned n) override {
        Note();
        for (unsigned i = 0; i < n; ++i) dst[i] = uint16_t(src[i] + 1);
    }
    void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned n) override {
        Note();
        for (unsigned i = 0; i < n; ++i) dst[i] = uint8_t(src[i] + 1);
    }
    int AddProfile(const wchar_t*, int, enmRenderingIntent) override { return 0; }
    int AddGradation(const std::vector<unsigned short*>&) override { return 0; }
    int CreateLink(unsigned, unsigned, unsigned, unsigned) override { return 1; }
    unsigned GetLinkError() override { return 0; }
    void TrnBgrPixels8(const unsigned char* s, unsigned char* d, unsigned n) override {
        TrnPixels8(s, d, n);
    }
    void Reserved1() override {}
    void Reserved2() override {}
    unsigned nInChannels() override { return 1; }
    unsigned nOutChannels() override { return 1; }
    unsigned InFormat() override { return LinkFmtGray; }
    unsigned OutFormat() override { return LinkFmtGray; }
    int SupportsGradation() override { return 0; }

    std::set<std::thread::id> callers() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_callers;
    }

private:
    void Note() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_callers.insert(std::this_thread::get_id());
    }
    std::mutex m_mutex;
    std::set<std::thread::id> m_callers;
};

} // namespace

TEST_F(ParallelTrnTest, EightBitRunsGiveTheBytesOfOneSerialCall) {
    SameAsSerial<uint8_t>();
}

TEST_F(ParallelTrnTest, SixteenBitRunsGiveTheBytesOfOneSerialCall) {
    SameAsSerial<uint16_t>();
}

TEST(ParallelTrnThreads, ZeroMeansEveryCoreAndNoCountGoesBeyondTheCores) {
    EXPECT_EQ(ParallelTrn::EffectiveThreads(0), Cores());
    EXPECT_EQ(ParallelTrn::EffectiveThreads(1), 1u);
    EXPECT_EQ(ParallelTrn::EffectiveThreads(Cores()), Cores());
    EXPECT_EQ(ParallelTrn::EffectiveThreads(Cores() + 1), Cores());
    EXPECT_EQ(ParallelTrn::EffectiveThreads(1000000), Cores());
    EXPECT_EQ(ParallelTrn(1000000).threads(), Cores());
    EXPECT_EQ(ParallelTrn(0).threads(), Cores());
    EXPECT_EQ(ParallelTrn(1).threads(), 1u);
}

TEST(ParallelTrnThreads, OnePoolServesEveryRunWithTheSameThreads) {
    CountingLink link;
    ParallelTrn pool(0);
    const size_t count = ParallelTrn::kMinPixelsPerThread * 4 + 3;
    std::vector<uint8_t> src(count), dst(count);
    for (size_t i = 0; i < count; ++i) src[i] = uint8_t(i * 7);
    for (unsigned run = 0; run < 40; ++run) {
        std::fill(dst.begin(), dst.end(), 0);
        pool.Pixels8(link, src.data(), dst.data(), count);
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(dst[i], uint8_t(src[i] + 1)) << "pixel " << i << ", run " << run;
    }
    // Fresh threads per run would show up as up to 40 times as many callers.
    const auto callers = link.callers();
    EXPECT_GE(callers.size(), 1u);
    EXPECT_LE(callers.size(), size_t(pool.threads()));
    EXPECT_TRUE(callers.count(std::this_thread::get_id())) << "the caller takes a piece too";
}

TEST(ParallelTrnThreads, ShortRunsStayOnTheCallingThread) {
    CountingLink link;
    ParallelTrn pool(0);
    std::vector<uint16_t> src(ParallelTrn::kMinPixelsPerThread * 2 - 1, 41), dst(src.size());
    pool.Pixels16(link, src.data(), dst.data(), src.size());
    EXPECT_EQ(dst, std::vector<uint16_t>(src.size(), 42));
    EXPECT_EQ(link.callers(), std::set<std::thread::id>{std::this_thread::get_id()});
}
