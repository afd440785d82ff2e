#include "ListeningHelper.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using Field = EntryPath::SwTable::Field;

// Makes one line of each change of the table's attributes among the traces.
Ombra::Subscription noteChanges(EntryPath const& t, TraceCapture& traces) {
    return t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        traces.lines.push_back(
            {"", 0, "", "", fmt::format("change of {:#x}", static_cast<unsigned>(change.fieldId))});
    });
}

TraceCapture::Line changeOf(unsigned field) {
    return {"", 0, "", "", fmt::format("change of {:#x}", field)};
}

TraceCapture::Line log(std::string function, std::string text) {
    return {EntryPath::tableName() + "EntryLog", 8, EntryPath::tableName() + "EntryLog",
            std::move(function), std::move(text)};
}

TraceCapture::Line finalized(std::string text) {
    return {EntryPath::swTableName(), 8, EntryPath::wrapperName(), "finalizeOnSuccess",
            std::move(text)};
}

TEST(CommitOrder, AWriteIsFinalisedThenLeavesTheCollectionsThenGoesToTheLog) {
    EntryPath t;
    auto const handle = t.write(0x2a, 7);
    TraceCapture traces{t.tableName() + "*"};
    auto const subscription = noteChanges(t, traces);
    t.head()->commitEntry(t.head());
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "commitEntry",
                           "Entry: 0x0000002a, isEntryDeleted: false, isTableDeleted: false"),
               finalized(" key: 0x0000002a isDeleted: false"), changeOf(0x303), changeOf(0x305),
               t.own(8, "getNeededEntrySet", "key: 0x0000002a"),
               t.algorithm(8, "entryFromConfig", "key: 0x0000002a"),
               log("entryIs", fmt::format(" logEntry: {} neededEntry: {{}} version: 1 unitId: 0 "
                                          "suppressIdenticalWrites: false",
                                          t.entryOf(0x2a, 7).logEntry())),
               changeOf(0x316)} +
         t.looksAtPending(true)));
}

TEST(CommitOrder, ARemoveLeavesTheCollectionsThenIsFinalisedThenGoesToTheLog) {
    EntryPath t;
    t.applied(0x2a, 7);
    t.remove(0x2a);
    TraceCapture traces{t.tableName() + "*"};
    auto const subscription = noteChanges(t, traces);
    t.head()->commitEntry(t.head());
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "commitEntry",
                           "Entry: 0x0000002a, isEntryDeleted: true, isTableDeleted: false"),
               t.algorithm(8, "entryFromConfig", "key: 0x0000002a"), changeOf(0x304),
               changeOf(0x305), finalized(" key: 0x0000002a isDeleted: true"),
               log("entryDel", " key:0x0000002a neededEntry: {} unitId: 0"), changeOf(0x316)} +
         t.looksAtPending(true)));
}

TEST(CommitOrder, ARefusalDoesNothingBetweenItsTracesAndTheClosingSteps) {
    struct Row {
        char const* operation;
        std::function<void(EntryPath&, Dependency const&)> queue;
        Lines lines;
    };
    Row const rows[] = {
        {"write",
         [](EntryPath& t, Dependency const& failed) { t.write(0x2a, 7, failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x0000002a, isEntryDeleted: false, isTableDeleted: false"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for key: 0x0000002a"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry key: 0x0000002a")}},
        {"remove",
         [](EntryPath& t, Dependency const& failed) { t.remove(0x2a, failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x0000002a, isEntryDeleted: true, isTableDeleted: false"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for key: 0x0000002a"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry key: 0x0000002a")}},
        {"remove-all",
         [](EntryPath& t, Dependency const& failed) { t.removeAll(failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x00000000, isEntryDeleted: false, isTableDeleted: true"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for remove all"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry remove all operation")}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.operation);
        EntryPath t;
        row.queue(t, t.handleIn(State::entryFailed));
        auto const announced = t.table->entryLog()->tableVersion();
        TraceCapture traces{t.tableName() + "*"};
        auto const subscription = noteChanges(t, traces);
        t.head()->commitEntry(t.head());
        EXPECT_EQ(traces.lines, row.lines + t.looksAtPending(true));
        EXPECT_EQ(t.table->entryLog()->tableVersion(), announced);
    }
}

TEST(CommitOrder, TheResolverTakesNoteOfACommitBeforeTheSetDoesAndTheStatisticsAfter) {
    EntryPath t;
    auto const dependency = t.handleIn(State::entryPending);
    t.remove(99, dependency);
    t.commitAll(); // it has said no, and nothing has moved since
    ASSERT_TRUE(t.resolver().suspended());
    dependency->entryStateIs(State::entryApplied);
    t.resolver().updateGenId();
    unsigned told = 0;
    auto const subscription = t.table->status()->publisher()->subscribe([&](Ombra::Change const&) {
        ++told;
        EXPECT_FALSE(t.resolver().suspended());
        EXPECT_EQ(t.table->stats()->commitCnt(), 0U);
        EXPECT_EQ(t.table->stats()->lastCommitTime, Ombra::Time{});
    });
    t.head()->commitEntry(t.head());
    EXPECT_EQ(told, 1U);
    EXPECT_EQ(t.table->stats()->commitCnt(), 1U);
}

TEST(CommitOrder, WhenTheHelperIsCalledForAWriteNothingHasChangedYet) {
    EntryPath* path = nullptr;
    EntryPath::HandlePtr handle;
    unsigned calls = 0;
    EntryPath t{Ombra::ptrIs<ListeningHelper>([&](auto const& wrapper, bool isDelete) {
        ++calls;
        EXPECT_FALSE(isDelete);
        EXPECT_EQ(wrapper->entryHandle(), handle);
        EXPECT_EQ(path->places(1), (Places{.version = 0, .add = 0, .queued = 1}));
        EXPECT_EQ(handle->entryState(), State::entryPending);
        EXPECT_FALSE(path->config(1));
    })};
    path = &t;
    handle = t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(calls, 1U);
}

TEST(CommitOrder, WhenTheHelperIsCalledForARemoveThePendingStateIsGoneAndTheLogNotWritten) {
    EntryPath* path = nullptr;
    unsigned removes = 0;
    EntryPath t{Ombra::ptrIs<ListeningHelper>([&](auto const&, bool isDelete) {
        if (isDelete) {
            ++removes;
            EXPECT_EQ(path->places(1), Places{.queued = 1});
            EXPECT_FALSE(path->config(1)->inDeletion());
        }
    })};
    path = &t;
    t.applied(1, 7);
    t.remove(1);
    t.commitAll();
    EXPECT_EQ(removes, 1U);
}

TEST(CommitOrder, TheHandleIsQueuedWithItsVersionAndStateOnceTheLogHasTheRecord) {
    for (bool const removes : {false, true}) {
        EntryPath t;
        t.applied(1, 6);
        auto const handle = removes ? t.remove(1) : t.write(1, 7);
        unsigned queued = 0;
        auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
            if (change.fieldId == Field::entryHandleInLog) {
                ++queued;
                EXPECT_EQ(handle->logVersion(), 2U);
                EXPECT_EQ(handle->entryState(), State::entryInLog);
                EXPECT_EQ(t.logged(), 1U);
                EXPECT_EQ(t.table->stats()->commitCnt(), 1U); // counted last
            }
        });
        t.commitAll();
        EXPECT_EQ(queued, 1U);
        EXPECT_EQ(t.table->stats()->commitCnt(), 2U);
    }
}

TEST(CommitOrder, OperationsOfAllUnitsOfATableAreLoggedInTheOrderOfTheCalls) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    auto const first = other->entryWrite(Key{1}, t.entryOf(1, 7), nullptr);
    auto const second = t.write(1, 8);
    auto const third = other->entryWrite(Key{2}, t.entryOf(2, 9), nullptr);
    t.commitAll();
    EXPECT_EQ(first->logVersion(), 1U);
    EXPECT_EQ(second->logVersion(), 2U);
    EXPECT_EQ(third->logVersion(), 3U);
    EXPECT_EQ(t.change(1)->unitId, 1U);
    EXPECT_EQ(t.change(2)->unitId, 0U);
}

} // namespace
} // namespace LoamSystemAcl
