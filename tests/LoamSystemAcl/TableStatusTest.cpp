#include "WritePath.h"

// What a table says of its hardware, and what the hardware's progress ends.
namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;

TEST(HasPendingHwWrites, IsTrueWhileTheTableHoldsWhatTheHardwareHasNotConfirmed) {
    EntryPath t;
    auto const becomes = [&](bool pending) {
        EXPECT_EQ(t.table->hasPendingHwWrites(), pending);
        EXPECT_EQ(t.table->status()->pendingHwWrites(), pending);
    };
    becomes(false);
    t.write(1, 7);
    becomes(true); // a pending write
    t.commitAll();
    becomes(true); // committed and not acknowledged
    t.acknowledge();
    becomes(false);
    t.remove(1);
    becomes(true); // a pending remove
    t.commitAll();
    becomes(true);
    t.acknowledge();
    becomes(false);
    t.removeAll();
    becomes(true); // a pending remove-all
    t.commitAll();
    becomes(false); // the table was empty
}

TEST(HasPendingHwWrites, StaysTrueUntilTheStatusHasReportedTheTablesVersion) {
    EntryPath t;
    t.write(1, 7);
    t.write(2, 7);
    t.commitAll();
    t.table->tableStatusVersion(1);
    EXPECT_TRUE(t.table->hasPendingHwWrites());
    t.table->tableStatusVersion(2);
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

// Whatever parks something in a unit's table, and whosever acknowledgement comes next.
TEST(HasPendingHwWrites, OfOneUnitShowsAtTheAcknowledgementOfAnother) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(3);
    auto const wrapper = Ombra::ptrIs<EntryPath::Wrapper>(
        EntryPath::entryOf(9, 1),
        EntryPath::SwTable::entryHandleFactory(EntryVersion::first(), Key{9}, other.get()));
    auto const shows = [&](bool pending) {
        t.table->tableStatusVersion(t.table->entryLog()->tableVersion());
        EXPECT_EQ(t.table->status()->pendingHwWrites(), pending);
    };
    shows(false);
    other->transientAddEntryIs(wrapper);
    shows(true);
    other->transientAddEntryDel(Key{9});
    shows(false);
    other->transientRemoveEntryIs(wrapper);
    shows(true);
    other->transientRemoveEntryDel(Key{9});
    shows(false);
    other->transientRemoveAllVersionIs(MajorVersion{0});
    shows(true);
    other->transientRemoveAllVersionIs(MajorVersion{});
    shows(false);
    other->entryWrite(Key{9}, EntryPath::entryOf(9, 1), nullptr);
    t.commitAll();
    t.table->tableStatusVersion(0); // the log is the table's, and lags for every unit
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
    shows(false);
}

TEST(HasPendingHwWrites, TracesTableUnitAndAnswer) {
    EntryPath t;
    for (bool const pending : {false, true}) {
        TraceCapture const traces{t.tableName() + "*"};
        EXPECT_EQ(t.table->hasPendingHwWrites(), pending);
        EXPECT_EQ(traces.lines, t.looksAtPending(pending));
        t.write(1, 7);
    }
    auto const other = t.agent.makeSwTable<EntryPath::Family>(3);
    TraceCapture const traces{t.tableName() + "*"};
    other->hasPendingHwWrites();
    EXPECT_TRUE(
        traces.has(3, " pendingHwWrites for swTable: tableId: 08:08:0404, unitId3 is false"));
}

// ---- the hardware's acknowledgement

TEST(TableStatusVersion, TakesTheCoveredHandlesInTheOrderOfTheLog) {
    EntryPath t;
    std::vector<std::uint32_t> answered;
    std::vector<EntryPath::HandlePtr> handles;
    for (std::uint32_t key = 1; key <= 4; ++key) {
        handles.push_back(t.write(key, 7, nullptr, [&, key](AnyHandle const& done) {
            EXPECT_EQ(done->entryState(), State::entryApplied);
            answered.push_back(key);
        }));
    }
    t.commitAll();
    TraceCapture const traces{t.tableName() + "SwTable", 1U << 3 | 1U << 8};
    t.table->tableStatusVersion(3); // a handle at the reported version is taken
    EXPECT_EQ(answered, (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_EQ(handles[2]->entryState(), State::entryApplied);
    EXPECT_EQ(handles[3]->entryState(), State::entryInLog);
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "tableStatusVersion", "tableVersion: 3"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 1, key: 0x00000001"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 2, key: 0x00000002"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 3, key: 0x00000003")} +
         t.looksAtPending(true)));
}

TEST(TableStatusVersion, BelowTheFrontHandleTakesNoneAndStillDoesAllElse) {
    EntryPath t;
    t.write(1, 7);
    t.commitAll();
    t.applied(2, 7); // version 2, all taken
    auto const handle = t.write(3, 7);
    t.commitAll(); // version 3
    auto const genId = t.resolver().genId();
    t.table->status()->pendingHwWritesIs(false);
    t.table->tableStatusVersion(2);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->entryHandleInLogQueue().size(), 1U);
    EXPECT_EQ(t.table->entryLog()->logCleanedVersion(), 2U);
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, OnATableWhoseQueueNeverExistedCleansRefreshesAndUpdates) {
    EntryPath t;
    ASSERT_FALSE(t.table->entryHandleInLogQueue().hasBlocks());
    auto const genId = t.resolver().genId();
    t.table->status()->pendingHwWritesIs(true);
    t.table->tableStatusVersion(0);
    EXPECT_FALSE(t.table->entryHandleInLogQueue().hasBlocks());
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, CleansTheLogBeforeHandlesAreTold) {
    EntryPath t;
    t.write(1, 7, nullptr, [&](auto const&) {
        EXPECT_EQ(t.logged(), 0U);
        EXPECT_EQ(t.table->entryLog()->logCleanedVersion(), 1U);
        EXPECT_EQ(t.table->entryHandleInLogQueue().size(), 0U); // taken before it is told
        EXPECT_TRUE(t.table->status()->pendingHwWrites());      // which is brought up to date last
    });
    t.commitAll();
    t.acknowledge();
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, CleansTheLogBeforeTheResolversGenerationMoves) {
    EntryPath t;
    t.write(1, 7);
    t.commitAll();
    auto const genId = t.resolver().genId();
    std::vector<std::pair<std::string, std::uint64_t>> seen;
    Zet::TraceHandle::levelsIs(t.tableName() + "*", 1U << 3 | 1U << 8);
    auto former = Ombra::traceSinkIs([&](Ombra::TraceRecord const& record) {
        seen.emplace_back(record.text, t.resolver().genId());
    });
    t.table->tableStatusVersion(1);
    Ombra::traceSinkIs(std::move(former));
    Zet::TraceHandle::levelsIs(t.tableName() + "*", 0);
    ASSERT_GE(seen.size(), 3U);
    EXPECT_EQ(seen[0], (std::pair{std::string{"tableVersion: 1"}, genId}));
    EXPECT_EQ(seen[1], (std::pair{std::string{" version 1"}, genId}));
    EXPECT_EQ(seen[2],
              (std::pair{std::string{"Processing version: 1, key: 0x00000001"}, genId + 1}));
}

TEST(TableStatusVersion, TheHandlerStaysOnTheHandle) {
    EntryPath t;
    auto const handle = t.write(1, 7, nullptr, [](auto const&) {});
    t.commitAll();
    t.acknowledge();
    EXPECT_TRUE(handle->responseHandler());
}

TEST(TableStatusVersion, AHandlerMayWriteRemoveAndReportTheStatusAgain) {
    EntryPath t;
    std::vector<unsigned> answered;
    t.write(1, 7, nullptr, [&](auto const&) {
        answered.push_back(1);
        t.write(1, 8);
        t.remove(2);
        t.acknowledge();
    });
    t.write(2, 7, nullptr, [&](auto const&) { answered.push_back(2); });
    t.commitAll();
    t.table->tableStatusVersion(1);
    EXPECT_EQ(answered, (std::vector<unsigned>{1, 2}));
    t.commitAll();
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 8));
    EXPECT_FALSE(t.table->entryHas(Key{2}));
}

TEST(TableStatusVersion, TellsEveryUnitsTableOfTheSet) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    auto const first = t.write(1, 7);
    auto const second = other->entryWrite(Key{1}, t.entryOf(1, 8), nullptr);
    t.commitAll();
    t.agent.acknowledge(t.table->tableId(), 2);
    EXPECT_EQ(first->entryState(), State::entryApplied);
    EXPECT_EQ(second->entryState(), State::entryApplied);
}

} // namespace
} // namespace LoamSystemAcl
