#include <Zet/SassertHelper.h>

#include <gtest/gtest.h>

#include <string>

namespace Zet {

namespace {

void checkAlignment(int value) {
    ZET_SASSERT(value == 8, "value == 8",
                "Unsupported value: " << value << " for "
                                      << "buffers");
}

} // namespace

TEST(SassertDeathTest, FailsWithTheExpressionInQuotesComparedToNullptr) {
    EXPECT_DEATH(checkAlignment(16), "Assertion `\"value == 8\" == nullptr' failed");
}

TEST(SassertDeathTest, NamesThePlace) {
    EXPECT_DEATH(checkAlignment(16), "SassertTest.cpp:[0-9]+: checkAlignment");
}

TEST(SassertDeathTest, ReportsTheMessageFirst) {
    EXPECT_DEATH(checkAlignment(16),
                 "^value == 8: Unsupported value: 16 for buffers\n[^\n]*Assertion");
}

TEST(Sassert, AHeldInvariantEvaluatesNoMessage) {
    int evaluated = 0;
    auto const text = [&] {
        ++evaluated;
        return "never";
    };
    ZET_SASSERT(true, "true", text());
    EXPECT_EQ(evaluated, 0);
}

TEST(Sassert, TheHelperReportsWhenItIsDestroyedAndDoesNotEndTheProcess) {
    testing::internal::CaptureStderr();
    {
        SassertHelper helper{"entry"};
        helper << "key " << 7;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        testing::internal::CaptureStderr();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "entry: key 7\n");
}

TEST(Sassert, StandsAsOneStatement) {
    bool reached = false;
    if (reached)
        ZET_SASSERT(false, "false", "unreachable");
    else
        reached = true;
    EXPECT_TRUE(reached);
}

} // namespace Zet
