#include <gtest/gtest.h>

#include "base/Archive.h"
#include "colorfunc/Func.h"

TEST(Archive, StoresObjectWithNewClassHeaderAndLoadsItBack) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        CFunc_16 f(4, 7);
        ar << static_cast<const CObject*>(&f);
    }
    ASSERT_EQ(mem.GetLength(), 6u + 8u + 8u);
    const uint8_t* b = mem.GetBuffer();
    EXPECT_EQ(b[0], 0xFF);
    EXPECT_EQ(b[1], 0xFF);
    EXPECT_EQ(b[2], 0);
    EXPECT_EQ(b[3], 0);
    EXPECT_EQ(b[4], 8);
    EXPECT_EQ(b[5], 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 6), 8), "CFunc_16");
    EXPECT_EQ(b[14], 4);
    EXPECT_EQ(b[18], 7);

    mem.SeekToBegin();
    CArchive in(&mem, CArchive::load);
    CFunc_16* g = nullptr;
    in >> g;
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->inputChan(), 4u);
    EXPECT_EQ(g->outputChan(), 7u);
    delete g;
}

TEST(Archive, WrongTargetClassFailsTheTypeTest) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        CFunc_8 f(1, 1);
        ar << static_cast<const CObject*>(&f);
    }
    mem.SeekToBegin();
    CArchive in(&mem, CArchive::load);
    CFunc_16* g = nullptr;
    try {
        in >> g;
        FAIL() << "type test passed";
    } catch (const CArchiveException& e) {
        EXPECT_EQ(e.m_cause, CArchiveException::badClass);
    }
}

TEST(Archive, WriteToLoadingArchiveAndReadFromStoringArchiveThrow) {
    CMemFile mem;
    CArchive st(&mem, CArchive::store);
    uint32_t v = 0;
    EXPECT_THROW(st >> v, CArchiveException);
    CArchive ld(&mem, CArchive::load);
    EXPECT_THROW(ld << v, CArchiveException);
}

TEST(Archive, ShortDataRaisesEndOfFileCause3) {
    uint8_t block[3] = {1, 2, 3};
    CMemFile mem(block, sizeof block);
    CArchive ar(&mem, CArchive::load);
    uint32_t v = 0;
    try {
        ar >> v;
        FAIL();
    } catch (const CArchiveException& e) {
        EXPECT_EQ(e.m_cause, 3);
    }
}
