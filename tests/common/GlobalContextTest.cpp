#include "common/GlobalContext.h"

#include <gtest/gtest.h>

TEST(GlobalContext, InterpreterDescriptionIsTheOneSetLast) {
    CGlobalContext context;
    EXPECT_EQ(context.GetInterpreterDesc(PsPdfPDF), nullptr);
    SPsPdfInterpreterDesc desc;
    desc.bAdvancedIntents = 0;
    desc.bOtherOption = 1;
    context.SetInterpreterDesc(PsPdfPDF, desc);
    desc.bDefaultOutputOptional = 0;
    context.SetInterpreterDesc(PsPdfPDF, desc);
    const SPsPdfInterpreterDesc* got = context.GetInterpreterDesc(PsPdfPDF);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got->bAdvancedIntents, 0);
    EXPECT_EQ(got->bDefaultOutputOptional, 0);
    EXPECT_EQ(got->bOtherOption, 1);
    EXPECT_EQ(context.GetInterpreterDesc(PsPdfPostScript), nullptr);
}
