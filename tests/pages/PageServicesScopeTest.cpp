#include "pages/PageServicesScope.h"

#include <gtest/gtest.h>

#include <thread>

#include "PageTestEnv.h"

TEST(PageServicesScope, NestsAndRestores) {
    pagetest::ScriptedServices a, b;
    EXPECT_EQ(CurrentPageServices(), nullptr);
    {
        CScopedPageServices sa(&a);
        EXPECT_EQ(CurrentPageServices(), &a);
        {
            CScopedPageServices sb(&b);
            EXPECT_EQ(CurrentPageServices(), &b);
            CScopedPageServices none(nullptr); // keeps the caller's
            EXPECT_EQ(CurrentPageServices(), &b);
        }
        EXPECT_EQ(CurrentPageServices(), &a);
    }
    EXPECT_EQ(CurrentPageServices(), nullptr);
}

TEST(PageServicesScope, BelongsToTheThread) {
    pagetest::ScriptedServices a;
    CScopedPageServices sa(&a);
    IPageServices* seen = &a;
    std::thread([&] { seen = CurrentPageServices(); }).join();
    EXPECT_EQ(seen, nullptr);
}
