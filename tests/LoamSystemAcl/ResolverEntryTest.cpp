#include "WritePath.h"

#include <OrderedTable/OrderedSwTableAccessor.h>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

constexpr std::uint32_t limit = 1000000;

TEST(ResolverEntry, TheLimitOfTheLogIsAMillionRecords) {
    EXPECT_EQ(Asic::entryLogCapacityLimit, limit);
}

TEST(ResolverEntry, WithoutDependencyIsResolvedWhileTheLogHasRoom) {
    EntryPath t;
    t.write(1, 7);
    EXPECT_TRUE(t.head()->isResolved());
}

// A dependant waits for nothing but the end of `entryPending`.
TEST(ResolverEntry, IsResolvedByEveryStateOfItsDependencyButPending) {
    for (unsigned state = 0; state <= 6; ++state) {
        SCOPED_TRACE(state);
        EntryPath t;
        t.write(1, 7, t.handleIn(State(state)));
        EXPECT_EQ(t.head()->isResolved(), state != 0);
    }
}

TEST(ResolverEntry, BecomesResolvedWhenItsDependencyIsCommitted) {
    EntryPath t;
    auto const first = t.write(1, 7);
    t.write(2, 8, first);
    auto const head = t.head();
    t.commitOne();
    EXPECT_NE(t.head(), head);
    EXPECT_EQ(first->entryState(), State::entryInLog);
    EXPECT_TRUE(t.head()->isResolved());
}

TEST(ResolverEntry, AWriteTracesWhatItAskedAndRefreshesItsResourcePointers) {
    EntryPath t;
    t.write(0x2a, 7);
    auto const head = t.head();
    TraceCapture const traces{t.tableName() + "*"};
    head->isResolved();
    EXPECT_EQ(traces.lines,
              (Lines{t.own(8, "setRsrcPtrs", "key: 0x0000002a, refresh: true"),
                     t.algorithm(3, "isResolverEntryResolved",
                                 "key: 0x0000002a, isEntryDeleted: false, isTableDeleted: false, "
                                 "resolved: true")}));
}

TEST(ResolverEntry, ARemoveDoesNotRefreshResourcePointers) {
    EntryPath t;
    t.remove(0x2a);
    auto const head = t.head();
    TraceCapture const traces{t.tableName() + "*"};
    head->isResolved();
    EXPECT_EQ(traces.lines,
              (Lines{t.algorithm(3, "isResolverEntryResolved",
                                 "key: 0x0000002a, isEntryDeleted: true, isTableDeleted: false, "
                                 "resolved: true")}));
}

TEST(ResolverEntry, ARemoveAllRefreshesThoseOfItsPlaceholderAndTracesTheDefaultKey) {
    EntryPath t;
    t.removeAll();
    auto const head = t.head();
    TraceCapture const traces{t.tableName() + "*"};
    head->isResolved();
    EXPECT_EQ(traces.lines,
              (Lines{t.own(8, "setRsrcPtrs", "key: 0x00000000, refresh: true"),
                     t.algorithm(3, "isResolverEntryResolved",
                                 "key: 0x00000000, isEntryDeleted: false, isTableDeleted: true, "
                                 "resolved: true")}));
}

TEST(ResolverEntry, APendingDependencyIsTracedAndNothingElseIsDone) {
    EntryPath t;
    t.write(0x2a, 7, t.handleIn(State::entryPending));
    auto const head = t.head();
    TraceCapture const traces{t.tableName() + "*"};
    EXPECT_FALSE(head->isResolved());
    EXPECT_EQ(traces.lines,
              (Lines{t.algorithm(3, "isResolverEntryResolved",
                                 "key: 0x0000002a dependant entry not yet resolved")}));
}

TEST(ResolverEntry, AnEndedDependencyIsTracedAsResolvedAlsoWhenItFailed) {
    for (auto const state : {State::entryApplied, State::entryFailed}) {
        EntryPath t;
        t.remove(0x2a, t.handleIn(state));
        auto const head = t.head();
        TraceCapture const traces{t.tableName() + "*", 1U << 3 | 1U << 1};
        EXPECT_TRUE(head->isResolved());
        EXPECT_EQ(traces.texts(3),
                  (std::vector<std::string>{
                      "key: 0x0000002a dependant entry is resolved",
                      "key: 0x0000002a, isEntryDeleted: true, isTableDeleted: false, "
                      "resolved: true"}));
        EXPECT_TRUE(traces.texts(1).empty());
    }
}

TEST(ResolverEntry, AskingTwiceChangesNothing) {
    EntryPath t;
    auto const handle = t.write(1, 7);
    auto const before = t.places(1);
    EXPECT_TRUE(t.head()->isResolved());
    EXPECT_TRUE(t.head()->isResolved());
    EXPECT_EQ(t.places(1), before);
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(t.table->stats()->commitCnt(), 0U);
}

TEST(ResolverEntry, CommitsThroughItsTable) {
    EntryPath t;
    auto const handle = t.write(1, 7);
    auto const head = t.head();
    head->commitEntry(head);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->stats()->commitCnt(), 1U);
}

// One test for all that a full log means, because filling one takes seconds.
TEST(ResolverEntry, AMillionRecordsInTheLogHoldEverythingBackUntilTheStatusMakesRoom) {
    ActionPath t;
    auto const& log = *t.table->entryLog();
    auto const fill = [&](LogVersion version) {
        log.tableEntryLog()->entryLogConfigIs(
            ActionPath::LogSlateEntry{version, EntryFlags::none, 0, t.entryOf(1, 1).logEntry()});
    };
    for (LogVersion version = 1; version < limit; ++version) {
        fill(version);
    }
    auto const pending = t.handleIn(State::entryPending);
    auto const handle = t.write(0x2a, 7);
    t.remove(0x2b, pending);
    ASSERT_EQ(t.logged(), limit - 1);
    EXPECT_TRUE(t.head()->isResolved());

    fill(limit);
    log.tableEntryLog()->control()->scratchpadIs(limit);
    t.table->entryLog()->tableVersionIs(limit);
    auto const write = t.head();
    auto const remove = t.table->transientRemoveEntry(ActionPath::Key{0x2b});
    auto const before = t.places(0x2a);
    {
        TraceCapture const traces{t.tableName() + "*"};
        EXPECT_EQ(t.commitAll(), 0U);
        EXPECT_EQ(traces.lines,
                  (Lines{t.algorithm(1, "isResolverEntryResolved",
                                     "key: 0x0000002a, isEntryDeleted: false : no space in "
                                     "entryLog!")}));
        EXPECT_FALSE(write->isResolved()); // and says so at each question
        EXPECT_EQ(traces.lines.size(), 2U);
    }
    { // the dependency, which is pending, isn't looked at
        auto const blocked = Ombra::ptrIs<ActionPath::ResolverEntry>(
            pending, EntryFlags::flagEntryDeleted, t.table.get(), remove);
        TraceCapture const traces{t.tableName() + "*"};
        EXPECT_FALSE(blocked->isResolved());
        EXPECT_EQ(traces.lines,
                  (Lines{t.algorithm(1, "isResolverEntryResolved",
                                     "key: 0x0000002b, isEntryDeleted: true : no space in "
                                     "entryLog!")}));
    }
    EXPECT_EQ(t.places(0x2a), before);
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_TRUE(t.table->hasPendingHwWrites());

    t.table->tableStatusVersion(1);
    EXPECT_EQ(t.logged(), limit - 1);
    EXPECT_EQ(t.commitAll(), 1U);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), limit + 1);
}

} // namespace
} // namespace LoamSystemAcl
