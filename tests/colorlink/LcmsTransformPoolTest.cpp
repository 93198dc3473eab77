// The pool of built lcms2 transforms: hits and misses, the order of eviction, and two threads
// that make the same transform at once.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <atomic>
#include <barrier>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "colorlink/LcmsTestUtil.h"
#include "colorlink/lcms/LcmsTransform.h"
#include "colorlink/lcms/LcmsTransformPool.h"

using namespace lcmstest;

namespace {

// Counts the transforms that a pool disposes of, and disposes of them.
std::atomic<int> g_deleted{0};
void CountingDelete(cmsHTRANSFORM t) {
    ++g_deleted;
    cmsDeleteTransform(t);
}

// A small real transform: sRGB to itself, made from built-in profiles.
cmsHTRANSFORM MakeTransform() {
    Profile p(cmsCreate_sRGBProfile());
    return cmsCreateTransform(p.get(), TYPE_RGB_8, p.get(), TYPE_RGB_8, INTENT_PERCEPTUAL, 0);
}

std::wstring Key(int i) {
    return L"key" + std::to_wstring(i);
}

class Pool : public ::testing::Test {
protected:
    void SetUp() override { g_deleted = 0; }
};

} // namespace

TEST_F(Pool, AMissAnswersNullAndAHitTheStoredTransform) {
    CLcmsTransformPool pool(CountingDelete);
    EXPECT_EQ(pool.Find(L"absent"), nullptr);
    cmsHTRANSFORM t = MakeTransform();
    cmsHTRANSFORM stored = t;
    pool.Insert(L"k", t);
    EXPECT_EQ(t, stored);
    EXPECT_EQ(pool.Find(L"k"), stored);
    EXPECT_EQ(pool.Find(L"K"), nullptr) << "keys compare with case";
    EXPECT_EQ(pool.Count(), 1u);
    EXPECT_EQ(g_deleted, 0);
}

TEST_F(Pool, ASeventhTransformEvictsTheLeastRecentlyUsed) {
    CLcmsTransformPool pool(CountingDelete);
    for (int i = 0; i < 6; ++i) {
        cmsHTRANSFORM t = MakeTransform();
        pool.Insert(Key(i), t);
    }
    EXPECT_EQ(pool.Count(), CLcmsTransformPool::kCapacity);
    for (int i = 6; i < 9; ++i) {
        cmsHTRANSFORM t = MakeTransform();
        pool.Insert(Key(i), t);
        EXPECT_EQ(pool.Count(), CLcmsTransformPool::kCapacity);
        EXPECT_FALSE(pool.Contains(Key(i - 6))) << "the oldest goes first";
        EXPECT_TRUE(pool.Contains(Key(i - 5)));
    }
    EXPECT_EQ(g_deleted, 3);
}

TEST_F(Pool, AFindRefreshesAnEntry) {
    CLcmsTransformPool pool(CountingDelete);
    for (int i = 0; i < 6; ++i) {
        cmsHTRANSFORM t = MakeTransform();
        pool.Insert(Key(i), t);
    }
    ASSERT_NE(pool.Find(Key(0)), nullptr); // 0 is now the most recent
    cmsHTRANSFORM t = MakeTransform();
    pool.Insert(Key(6), t);
    EXPECT_TRUE(pool.Contains(Key(0)));
    EXPECT_FALSE(pool.Contains(Key(1)));
}

TEST_F(Pool, AnInsertOfAnExistingKeyDoesNotRefreshItAndDeletesTheNewTransform) {
    CLcmsTransformPool pool(CountingDelete);
    cmsHTRANSFORM first = MakeTransform();
    cmsHTRANSFORM stored = first;
    pool.Insert(Key(0), first);
    for (int i = 1; i < 6; ++i) {
        cmsHTRANSFORM t = MakeTransform();
        pool.Insert(Key(i), t);
    }
    cmsHTRANSFORM again = MakeTransform();
    pool.Insert(Key(0), again);
    EXPECT_EQ(again, stored) << "the caller gets the stored transform";
    EXPECT_EQ(g_deleted, 1) << "and its own is deleted";
    cmsHTRANSFORM t = MakeTransform();
    pool.Insert(Key(6), t);
    EXPECT_FALSE(pool.Contains(Key(0))) << "key 0 was still the least recently used";
}

TEST_F(Pool, OfEqualCandidatesTheFirstInKeyOrderGoes) {
    // Uses compare as signed 32-bit values: from 2^31 on, the newest uses look the oldest.
    CLcmsTransformPool pool(CountingDelete, 0x7FFFFFFDull);
    // Uses 0x7FFFFFFE, 0x7FFFFFFF, then 0x80000000 and on, which are negative.
    for (int i = 0; i < 6; ++i) {
        cmsHTRANSFORM t = MakeTransform();
        pool.Insert(Key(i), t);
    }
    cmsHTRANSFORM t = MakeTransform();
    pool.Insert(Key(6), t);
    // The least use as signed value is 0x80000000, key 2's, though keys 0 and 1 are older.
    EXPECT_TRUE(pool.Contains(Key(0)));
    EXPECT_TRUE(pool.Contains(Key(1)));
    EXPECT_FALSE(pool.Contains(Key(2)));
}

TEST_F(Pool, TheProcessWidePoolIsOne) {
    EXPECT_EQ(&CLcmsTransformPool::Instance(), &CLcmsTransformPool::Instance());
}

TEST_F(Pool, TwoThreadsInsertingTheSameKeyKeepOneTransform) {
    CLcmsTransformPool pool(CountingDelete);
    for (int round = 0; round < 20; ++round) {
        const std::wstring key = L"race" + std::to_wstring(round);
        cmsHTRANSFORM made[2] = {MakeTransform(), MakeTransform()};
        cmsHTRANSFORM got[2] = {made[0], made[1]};
        std::barrier start(2);
        auto run = [&](int i) {
            start.arrive_and_wait();
            pool.Insert(key, got[i]);
        };
        std::thread a(run, 0), b(run, 1);
        a.join();
        b.join();
        EXPECT_EQ(got[0], got[1]) << "both callers end with the same transform";
        EXPECT_TRUE(got[0] == made[0] || got[0] == made[1]);
        EXPECT_EQ(pool.Find(key), got[0]);
    }
    EXPECT_EQ(g_deleted, 20 + 20 - int(CLcmsTransformPool::kCapacity))
        << "one loser per round, and the evicted winners";
}

TEST_F(Pool, TwoThreadsMakingTheSameTransformEndWithTheSameHandle) {
    CLcmsTransformPool pool(CountingDelete);
    const std::string printer = Corpus("default_cmyk.icc");
    for (int round = 0; round < 4; ++round) {
        CLcmsTransform t[2] = {CLcmsTransform(pool), CLcmsTransform(pool)};
        std::barrier start(2);
        auto run = [&](int i) {
            t[i].AddProfile(Wide(printer), round, 0);
            start.arrive_and_wait();
            t[i].CreateTransform(2, 3, 4, 4);
        };
        std::thread a(run, 0), b(run, 1);
        a.join();
        b.join();
        ASSERT_NE(t[0].Transform(), nullptr);
        EXPECT_EQ(t[0].Transform(), t[1].Transform());
    }
    EXPECT_EQ(pool.Count(), 4u);
    EXPECT_LE(g_deleted, 4) << "at most the loser of each round";
}
