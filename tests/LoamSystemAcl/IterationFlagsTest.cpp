#include "IterationFixture.h"

#include <string>

namespace LoamSystemAcl {
namespace {

struct FlagRow {
    char const* name;
    unsigned committed; // entries, from key 1 on
    bool removeAll;     // pending when the iteration begins
    unsigned pending;   // writes, of other keys
    unsigned steps;     // that are made before the one that the row is about
    bool removed;       // all entries, between these and that one
    unsigned before;
    bool delivers;
    unsigned after;
};

class IterationFlags : public Iteration, public testing::WithParamInterface<FlagRow> {
  public:
    static std::string nameOf(testing::TestParamInfo<FlagRow> const& row) { return row.param.name; }
};

constexpr unsigned valid = 1;
constexpr unsigned inAdd = 2;
constexpr unsigned inCfg = 4;
constexpr unsigned skip = 8;
constexpr unsigned bookmark = 16;

constexpr FlagRow flagRows[] = {
    {"APendingWriteWithAnotherBehind", 0, false, 2, 0, false, inAdd, true,
     inAdd | valid | bookmark},
    {"TheLastPendingWrite", 0, false, 1, 0, false, inAdd, true, inCfg | valid},
    {"TheLastPendingWriteAtABookmark", 0, false, 2, 1, false, inAdd | valid | bookmark, true,
     inCfg | valid},
    {"TheLastPendingWriteOfASkippedTable", 1, true, 1, 0, false, inAdd | skip, true, valid | skip},
    {"TheStepBehindTheLastPendingWriteOfASkippedTable", 1, true, 1, 1, false, valid | skip, false,
     skip},
    {"NoPendingWriteAndTwoRecords", 2, false, 0, 0, false, inAdd, true, inCfg | valid | bookmark},
    {"NoPendingWriteAndOneRecord", 1, false, 0, 0, false, inAdd, true, valid},
    {"NoPendingWriteAndNoRecord", 0, false, 0, 0, false, inAdd, false, 0},
    {"NoPendingWriteOfASkippedTable", 1, true, 0, 0, false, inAdd | skip, false, skip},
    {"ARecordWithAnotherBehind", 3, false, 0, 1, false, inCfg | valid | bookmark, true,
     inCfg | valid | bookmark},
    {"ARecordWithNoneBehind", 2, false, 0, 1, false, inCfg | valid | bookmark, true, valid},
    {"ARecordBehindTheAdditions", 1, false, 1, 1, false, inCfg | valid, true, valid},
    {"NoRecordThatPasses", 2, false, 0, 1, true, inCfg | valid | bookmark, false, bookmark},
    {"NoRecordBehindTheAdditions", 0, false, 1, 1, false, inCfg | valid, false, 0},
    {"NeitherAfterTheLastEntry", 1, false, 0, 1, false, valid, false, 0},
    {"NeitherAfterTheEnd", 0, false, 0, 1, false, 0, false, 0},
};

TEST_P(IterationFlags, AStepLeavesThoseOfItsRow) {
    auto const& row = GetParam();
    for (unsigned number = 1; number <= row.committed; ++number) {
        committed({number});
    }
    if (row.removeAll) {
        table->entryRemoveAll(nullptr);
    }
    for (unsigned number = 101; number <= 100 + row.pending; ++number) {
        write(number);
    }
    auto const state = table->initIterState();
    for (unsigned each = 0; each < row.steps; ++each) {
        state->maybeUpdateCurrentEntry();
    }
    for (unsigned number = 1; row.removed && number <= row.committed; ++number) {
        remove(number);
    }
    ASSERT_EQ(state->state().bits(), row.before);
    auto const entry = state->maybeUpdateCurrentEntry();
    EXPECT_EQ(state->state().bits(), row.after);
    EXPECT_EQ(entry != Entry{}, row.delivers);
}

INSTANTIATE_TEST_SUITE_P(Rows, IterationFlags, testing::ValuesIn(flagRows), IterationFlags::nameOf);

} // namespace
} // namespace LoamSystemAcl
