#include <Zet/Trace.h>
#include <Zet/TraceHandle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Zet::TraceHandle;

class TraceHandleTest : public testing::Test {
  protected:
    TraceHandleTest() {
        TraceHandle::levelsIs("*", 0);
        former_ = Ombra::traceSinkIs(
            [this](Ombra::TraceRecord const& record) { texts_.emplace_back(record.text); });
    }
    ~TraceHandleTest() override {
        TraceHandle::levelsIs("*", 0);
        Ombra::traceSinkIs(former_);
    }

    std::vector<std::string> texts_;

  private:
    Ombra::TraceSink former_;
};

TEST_F(TraceHandleTest, EveryLevelIsOffAtFirst) {
    TraceHandle const handle{"THT_Off", false};
    for (unsigned level = 0; level != 16; ++level) {
        EXPECT_FALSE(handle.isOn(level));
        EXPECT_FALSE(TraceHandle::anyOn(level));
    }
    EXPECT_EQ(handle.name(), "THT_Off");
}

TEST_F(TraceHandleTest, ALevelIsOnWhenItsBitIsSet) {
    TraceHandle const handle{"THT_Bit", false};
    TraceHandle::levelsIs("THT_Bit", 1U << 3 | 1U << 15);
    for (unsigned level = 0; level != 16; ++level) {
        EXPECT_EQ(handle.isOn(level), level == 3 || level == 15);
        EXPECT_EQ(TraceHandle::anyOn(level), level == 3 || level == 15);
    }
}

TEST_F(TraceHandleTest, HandlesOfOneNameShareTheirLevels) {
    TraceHandle const first{"THT_Shared", false};
    TraceHandle const second{Ombra::String{"THT_Shared"}, false};
    TraceHandle::levelsIs("THT_Shared", 1U << 2);
    EXPECT_TRUE(first.isOn(2));
    EXPECT_TRUE(second.isOn(2));
}

TEST_F(TraceHandleTest, APatternReachesHandlesThatAreMadeLater) {
    TraceHandle::levelsIs("THT_Later*", 1U << 8);
    TraceHandle const handle{"THT_LaterOne", false};
    TraceHandle const other{"THT_Other", false};
    EXPECT_TRUE(handle.isOn(8));
    EXPECT_FALSE(other.isOn(8));
}

TEST_F(TraceHandleTest, LaterRulesWin) {
    TraceHandle::levelsIs("THT_W*", 1U << 8);
    TraceHandle::levelsIs("THT_Won", 1U << 2);
    TraceHandle const handle{"THT_Won", false};
    EXPECT_FALSE(handle.isOn(8));
    EXPECT_TRUE(handle.isOn(2));
}

TEST_F(TraceHandleTest, LevelsAreReadFromText) {
    TraceHandle const handle{"THT_Text", false};
    TraceHandle const other{"THT_Text2", false};
    EXPECT_EQ(TraceHandle::levelsFromText("THT_Text=2,9;THT_Text2=all"), "");
    EXPECT_TRUE(handle.isOn(2));
    EXPECT_TRUE(handle.isOn(9));
    EXPECT_FALSE(handle.isOn(3));
    EXPECT_TRUE(other.isOn(15));
    EXPECT_EQ(TraceHandle::levelsFromText("THT_Text2=off"), "");
    EXPECT_FALSE(other.isOn(15));
}

TEST_F(TraceHandleTest, AMalformedTextChangesNothingAndIsNamed) {
    TraceHandle const handle{"THT_Bad", false};
    for (std::string const text : {"THT_Bad", "=3", "THT_Bad=", "THT_Bad=16", "THT_Bad=3x",
                                   "THT_Bad=3,,4", "THT_Bad=3;nonsense", "THT_Bad=-1"}) {
        EXPECT_NE(TraceHandle::levelsFromText(text).find("is not PATTERN=LEVEL"), std::string::npos)
            << text;
        EXPECT_FALSE(handle.isOn(3)) << text;
    }
}

TEST_F(TraceHandleTest, AllHandlesAreListedByName) {
    TraceHandle const handle{"THT_Listed", false};
    TraceHandle::levelsIs("THT_Listed", 5);
    auto const all = TraceHandle::all();
    auto const found = std::ranges::find(all, "THT_Listed", &TraceHandle::State::name);
    ASSERT_NE(found, all.end());
    EXPECT_EQ(found->levels, 5);
    EXPECT_TRUE(std::ranges::is_sorted(all, {}, &TraceHandle::State::name));
}

TEST_F(TraceHandleTest, ATraceThatIsOffEvaluatesNoArgument) {
    int evaluated = 0;
    int fetched = 0;
    TraceHandle const handle{"THT_Guard", false};
    auto const get = [&]() -> TraceHandle const& { return ++fetched, handle; };
    ZET_TRACE(get(), 8, "AClass", "{}", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(fetched, 0);
    TraceHandle::levelsIs("THT_Guard", 1U << 8);
    ZET_TRACE(get(), 8, "AClass", " key: {}", ++evaluated);
    ZET_TRACE(get(), 9, "AClass", " key: {}", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(texts_, std::vector<std::string>{" key: 1"});
}

} // namespace
