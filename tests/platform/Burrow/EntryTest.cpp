#include <Burrow/Entry.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

struct Override {
    explicit Override(char const* value) { ::setenv("BURROW_BUFFER_ALIGNMENT_OVERRIDE", value, 1); }
    ~Override() { ::unsetenv("BURROW_BUFFER_ALIGNMENT_OVERRIDE"); }
};

} // namespace

TEST(BufferAlignment, IsEightWithoutAnOverride) {
    EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U);
}

TEST(BufferAlignment, IsEightForOverridesOfEightAndZeroAndForTextThatIsNoNumber) {
    for (char const* const value : {"8", "0", "", "eight"}) {
        Override const set{value};
        EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U) << value;
    }
}

TEST(BufferAlignmentDeathTest, StopsTheProcessForAnotherOverride) {
    Override const set{"16"};
    EXPECT_DEATH(Burrow::Entry::calculateRuntimeBufferAlignment(),
                 "Unsupported buffer alignment override value: 16");
}

TEST(BufferAlignment, IsFoundOncePerProcess) {
    auto const first = Burrow::Entry::runtimeBufferAlignment();
    Override const set{"16"};
    EXPECT_EQ(Burrow::Entry::runtimeBufferAlignment(), first);
}
