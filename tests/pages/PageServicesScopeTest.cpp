#include "pages/PageServicesScope.h"

#include <gtest/gtest.h>

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
