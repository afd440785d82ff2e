#include <Ombra/Assert.h>

#include <gtest/gtest.h>

namespace {

TEST(AssertDeathTest, AFailureSaysTheTextAndNotTheExpression) {
    int const one = 1;
    EXPECT_DEATH(OMBRA_ASSERT(one == 2, "the text()"), "the text\\(\\)");
}

TEST(Assert, WhatHoldsIsEvaluatedOnceAndPasses) {
    int evaluated = 0;
    OMBRA_ASSERT(++evaluated == 1, "once");
    EXPECT_EQ(evaluated, 1);
}

} // namespace
