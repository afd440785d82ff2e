#include "IterationFixture.h"

#include <gmock/gmock.h>

#include <string>
#include <tuple>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Traced = std::tuple<unsigned, std::string, std::string>;

std::vector<Traced> tracedBy(testing_support::TraceCapture& traces) {
    std::vector<Traced> result;
    for (auto const& line : traces.lines) {
        EXPECT_EQ(line.handle, "SwTableIter");
        result.emplace_back(line.level, line.text, line.function);
    }
    traces.lines.clear();
    return result;
}

constexpr char const* step = "maybeUpdateCurrentEntry";

TEST_F(Iteration, TracesEachStep) {
    committed({2});
    write(1);
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};

    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  found entry: 0x00000001", step},
                            Traced{9, "  done with transAdd", "operator()"}));
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in cfgSlate collection", step},
                            Traced{9, "  found entry: 0x00000002", step},
                            Traced{9, "  done with cfgSlate", step}));
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesBothPhasesOfAnEmptyTableInOneStep) {
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  done with transAdd", "operator()"},
                            Traced{9, "  in cfgSlate collection", step},
                            Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesNoSecondPhaseDuringARemoveAll) {
    committed({1});
    table->entryRemoveAll(nullptr);
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  done with transAdd", "operator()"},
                            Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesTheKeyThatItStartsFromButNotAPlainStart) {
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    static_cast<void>(table->initIterState());
    EXPECT_THAT(traces.lines, IsEmpty());
    static_cast<void>(table->initIterStateFromKey(Key{0x2a}));
    ASSERT_EQ(traces.lines.size(), 1U);
    EXPECT_EQ(traces.lines[0].level, 8U);
    EXPECT_EQ(traces.lines[0].text, " key: 0x0000002a");
    EXPECT_EQ(traces.lines[0].function, "initIterStateFromKey");
}

// --- invariants

using IterationDeathTest = Iteration;

TEST_F(IterationDeathTest, TheEndCannotBeRead) {
    EXPECT_DEATH(static_cast<void>(*table->entryIteratorConst()), "Assertion `iter_' failed");
}

TEST_F(IterationDeathTest, TheEndCannotBeStepped) {
    auto iterator = table->entryIteratorConst();
    EXPECT_DEATH(++iterator, "Assertion `iter_' failed");
    Iterator none;
    EXPECT_DEATH(++none, "Assertion `iter_' failed");
}

TEST_F(IterationDeathTest, AStateIsNeverInBothPhases) {
    auto const state = table->initIterState();
    state->state().inTblCfgIs(true);
    EXPECT_DEATH(state->maybeUpdateCurrentEntry(),
                 "Assertion `!iterState_->state\\(\\)\\.inTblCfg\\(\\)' failed");
}

} // namespace
} // namespace LoamSystemAcl
