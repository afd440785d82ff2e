#include "WritePath.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

template <typename Family>
class RemoveAll : public testing::Test {};
TYPED_TEST_SUITE(RemoveAll, TwoFamilies);

TYPED_TEST(RemoveAll, EmptiesBothEntryCollectionsAndKeepsTheVersions) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    t.write(2, 7);
    t.write(3, 7);
    t.remove(4);
    t.removeAll();
    EXPECT_EQ(t.table->transientAddEntrys(), 0U);
    EXPECT_EQ(t.table->transientRemoveEntrys(), 0U);
    for (std::uint32_t key = 1; key <= 4; ++key) {
        EXPECT_EQ(t.places(key), (Places{.version = 0, .queued = 5}));
    }
}

TYPED_TEST(RemoveAll, CountsUpFromNoneAndDownAgain) {
    WritePath<TypeParam> t;
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
    t.removeAll();
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{0});
    t.removeAll();
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{1});
    t.commitOne();
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{0});
    t.commitOne();
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{});
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
}

TYPED_TEST(RemoveAll, TracesItsStepsAndWhetherAnotherIsPending) {
    WritePath<TypeParam> t;
    TraceCapture traces{t.tableName() + "*"};
    auto const around = [&](std::string version) {
        return Lines{t.own(8, "entryRemoveAll", ""),
                     t.own(8, "entryRemoveAllWithResponseHandler", ""),
                     t.algorithm(8, "entryRemoveAllGeneric", ""),
                     t.algorithm(8, "entryRemoveAllGeneric", std::move(version)),
                     t.algorithm(2, "entryRemoveAllGeneric", "Done processing remove all ")} +
               t.looksAtPending(true);
    };
    t.removeAll();
    EXPECT_EQ(traces.lines, around("No remove all operation currently enqueued"));
    traces.lines.clear();
    t.removeAll();
    EXPECT_EQ(traces.lines, around("Found valid table remove all version: 0"));
    traces.lines.clear();
    t.removeAll();
    EXPECT_EQ(traces.lines, around("Found valid table remove all version: 1"));
}

TYPED_TEST(RemoveAll, QueuesOneOperationWithADefaultEntryAndVersionZero) {
    WritePath<TypeParam> t;
    auto const genId = t.resolver().genId();
    auto const dependency = t.handleIn(State::entryPending);
    t.removeAll(dependency);
    auto const head = t.head();
    EXPECT_EQ(t.queued(), 1U);
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_EQ(head->flags(), EntryFlags::flagTableDeleted);
    EXPECT_EQ(head->dependantEntryHandle(), dependency);
    EXPECT_EQ(head->entry()->swTableEntry(), typename TypeParam::Entry{});
    auto const handle =
        Ombra::staticCast<typename WritePath<TypeParam>::Handle>(head->entry()->entryHandle());
    EXPECT_EQ(handle->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(handle->key(), typename TypeParam::Key{});
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_FALSE(handle->responseHandler());
}

TYPED_TEST(RemoveAll, MovesNoCounterOfWritesAndRemoves) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.removeAll();
    EXPECT_EQ(t.table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(t.table->stats()->entryWriteCnt(), 1U);
    EXPECT_EQ(t.table->stats()->tableClearCnt(), 0U);
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
    t.commitAll();
    EXPECT_EQ(t.table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(t.table->stats()->tableClearCnt(), 1U);
}

TYPED_TEST(RemoveAll, TouchesNoLogWhenItIsMade) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.removeAll();
    EXPECT_EQ(t.logged(), 0U);
    EXPECT_FALSE(t.config(1)->inDeletion());
}

TYPED_TEST(RemoveAll, WhatItDroppedStillCommitsAheadOfItAndKeepsItsVersions) {
    WritePath<TypeParam> t;
    auto const handle = t.write(1, 7);
    t.removeAll();
    EXPECT_EQ(t.commitAll(), 2U);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(t.change(1)->logFlags, EntryFlags::none);
    EXPECT_EQ(t.change(2)->logFlags, EntryFlags::flagTableDeleted);
    EXPECT_EQ(t.places(1), (Places{.version = 0, .inLog = 1, .logged = 2}));
    EXPECT_EQ(t.write(1, 8)->entryVersion(), EntryVersion(1, 0)); // its numbering goes on
}

// ---- the commit's route

TYPED_TEST(RemoveAll, TheCommitTracesItsVersionAndAsksForTheNeededSetOfItsPlaceholder) {
    WritePath<TypeParam> t;
    t.removeAll();
    TraceCapture const traces{t.tableName() + "*"};
    t.head()->commitEntry(t.head());
    EXPECT_EQ(traces.lines,
              (Lines{t.algorithm(8, "commitEntry",
                                 "Entry: 0x00000000, isEntryDeleted: false, isTableDeleted: true"),
                     t.algorithm(8, "commitEntry", "Committing table delete for version: 0"),
                     t.own(8, "getNeededEntrySet", "key: 0x00000000"),
                     t.algorithm(8, "delAllEntries", " releaseResources: true, neededEntry:{} ")} +
               t.looksAtPending(false)));
}

// A subscriber of the count finds the entries deleted and the handle told.
TYPED_TEST(RemoveAll, TheCommitCountsDownBehindTheDelete) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.removeAll();
    auto const handle = t.head()->entry()->entryHandle();
    unsigned told = 0;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == TypeParam::SwTable::Field::transientRemoveAllVersion) {
            ++told;
            EXPECT_TRUE(t.config(1)->inDeletion());
            EXPECT_EQ(handle->logVersion(), 2U);
            EXPECT_EQ(handle->entryState(), State::entryInLog);
            EXPECT_EQ(t.table->stats()->tableClearCnt(), 1U);
            EXPECT_EQ(t.table->stats()->commitCnt(), 1U); // that of the write
        }
    });
    t.commitAll();
    EXPECT_EQ(told, 1U);
}

struct Outcome {
    State state;
    unsigned answered;
    LogVersion logVersion;
    bool stillPending; // the remove-all

    friend bool operator==(Outcome const&, Outcome const&) = default;
};

TYPED_TEST(RemoveAll, ACallerSeesTheOutcomesThatAreStated) {
    struct Row {
        char const* outcome;
        bool entries;
        std::optional<State> dependency;
        Outcome seen;
    };
    Row const rows[] = {
        {"entries existed", true, {}, {State::entryInLog, 0, 2, false}},
        {"entries existed, dependency resolved",
         true,
         State::entryInLog,
         {State::entryInLog, 0, 2, false}},
        {"table empty", false, {}, {State::entryPending, 0, 0, false}},
        {"dependency in state 3", true, State{3}, {State::entryFailed, 1, 0, true}},
        {"dependency in state 5", true, State{5}, {State::entryFailed, 1, 0, true}},
        {"dependency in state 6", false, State{6}, {State::entryFailed, 1, 0, true}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.outcome);
        WritePath<TypeParam> t;
        if (row.entries) {
            t.applied(1, 7);
        }
        Dependency dependency;
        if (row.dependency) {
            dependency = t.handleIn(*row.dependency);
        }
        unsigned answered = 0;
        t.table->entryRemoveAllWithResponseHandler(dependency, [&](auto const&) { ++answered; });
        auto const handle = t.head()->entry()->entryHandle();
        t.commitAll();
        EXPECT_EQ(t.table->entryHandleInLogQueue().size(), 0U); // never enqueued
        t.acknowledge();
        EXPECT_EQ((Outcome{handle->entryState(), answered, handle->logVersion(),
                           t.table->transientRemoveAllVersion().valid()}),
                  row.seen);
        EXPECT_EQ(t.table->hasPendingHwWrites(), row.seen.stillPending);
    }
}

TYPED_TEST(RemoveAll, ARefusedOneLeavesEntriesAndCounterAndGoesOnHidingThem) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.removeAll(t.handleIn(State::entryFailed));
    t.commitAll();
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{0});
    EXPECT_FALSE(t.config(1)->inDeletion());
    EXPECT_FALSE(t.table->entryHas(typename TypeParam::Key{1}));
    EXPECT_EQ(t.table->stats()->commitCnt(), 2U);
}

TYPED_TEST(RemoveAll, AnEmptyTableGetsNoRecordAndCountsDown) {
    WritePath<TypeParam> t;
    t.removeAll();
    t.commitAll();
    EXPECT_EQ(t.logged(), 0U);
    EXPECT_EQ(t.table->entryLog()->tableVersion(), 0U);
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
}

TYPED_TEST(RemoveAll, UntilTheLastOfTwoCommitsTheTableLooksEmpty) {
    WritePath<TypeParam> t;
    using Key = typename TypeParam::Key;
    t.applied(1, 7);
    t.removeAll();
    t.write(2, 8);
    t.removeAll();
    t.commitOne(); // deletes key 1
    t.commitOne(); // commits key 2
    EXPECT_EQ(t.config(2)->entry(), t.entryOf(2, 8));
    EXPECT_FALSE(t.table->entryHas(Key{2}));
    EXPECT_EQ(t.table->entrys(), 0U);
    t.commitOne();
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
    EXPECT_TRUE(t.config(2)->inDeletion());
}

TEST(RemoveAllNeeds, ADependencysPlaceTravelsWithTheTableDelete) {
    EntryPath t;
    auto const actions = t.agent.makeSwTable<Ipv4SystemPolicyTcamActionFamily>(0);
    t.applied(1, 7);
    auto const action = actions->entryWrite(ActionPath::Key{5}, ActionPath::entryOf(5, 7), nullptr);
    t.removeAll(action);
    t.commitAll();
    EXPECT_EQ(t.needed(2), (std::vector<Asic::TableVersion>{{actions->tableId(), {1}}}));
}

TEST(RemoveAllFields, TheCountersChangesAreToldWithTheirFormerValues) {
    EntryPath t;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> heard; // former, new
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == Ombra::FieldId{0x306}) {
            heard.emplace_back(static_cast<MajorVersion const*>(change.former)->number(),
                               t.table->transientRemoveAllVersion().number());
        }
    });
    constexpr auto none = ~std::uint64_t{0};
    t.removeAll();
    t.removeAll();
    t.commitAll();
    using Heard = decltype(heard);
    EXPECT_EQ(heard, (Heard{{none, 0}, {0, 1}, {1, 0}, {0, none}}));
}

} // namespace
} // namespace LoamSystemAcl
