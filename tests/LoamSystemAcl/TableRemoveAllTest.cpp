#include "TableInUse.h"

#include <gmock/gmock.h>

#include <limits>
#include <optional>
#include <string>

// A remove-all, from the call to the commit.
namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;

class TableRemoveAll : public TableInUse {
  protected:
    // The handle that only the resolver entry of the newest remove-all holds.
    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> handleOfTheHead() const {
        auto const head = Ombra::staticCast<Family::ResolverEntry>(
            agent.group()->groupResolver()->headOf(typeid(Family::ResolverEntry)));
        EXPECT_TRUE(head->isTableDeleted());
        return head->entry()->entryHandle();
    }

    Ombra::Ptr<Table::EntryHandle> dependency(State state) {
        auto handle =
            Ombra::ptrIs<Table::EntryHandle>(Asic::EntryVersion::first(), Key{9}, table.get());
        handle->entryStateIs(state);
        return handle;
    }

    std::optional<std::uint64_t> inFlight() const {
        auto const version = table->transientRemoveAllVersion();
        return version.valid() ? std::optional{version.number()} : std::nullopt;
    }
};

TEST_F(TableRemoveAll, DropsThePendingEntriesAndKeepsTheVersionsOfTheirKeys) {
    write(1);
    write(2);
    remove(3);
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(table->transientAddEntrys(), 0U);
    EXPECT_EQ(table->transientRemoveEntrys(), 0U);
    for (unsigned const number : {1U, 2U, 3U}) {
        EXPECT_TRUE(table->transientVersionForKeyHas(Key{number}));
    }
}

TEST_F(TableRemoveAll, WhatItDroppedCommitsAheadOfItAndKeepsItsVersions) {
    auto const handle = write(1);
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(commitAll(), 2U);
    EXPECT_EQ(handle->logVersion(), 1U);
    EXPECT_EQ(tableVersion(), 2U);
    EXPECT_TRUE(record(1).inDeletion());
    EXPECT_TRUE(table->transientVersionForKeyHas(Key{1}));
    EXPECT_EQ(write(1)->entryVersion(), (Asic::EntryVersion{1, 0}));
}

TEST_F(TableRemoveAll, CountsNoRemove) {
    committed({1});
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 0U);
    commitAll();
    EXPECT_EQ(table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
}

TEST_F(TableRemoveAll, TouchesNothingInTheLogUntilItCommits) {
    committed({1, 2});
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(tableVersion(), 2U);
    EXPECT_EQ(table->entrys(), 0U);
    commitAll();
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_EQ(logRecord(3).logFlags, Asic::EntryFlags::flagTableDeleted);
}

TEST_F(TableRemoveAll, CommittedKeysAreHiddenFromEntryHasButNotFromEntryRead) {
    committed({1});
    table->entryRemoveAll(nullptr);
    EXPECT_FALSE(table->entryHas(Key{1}));
    EXPECT_EQ(table->entryRead(Key{1}), entryOf(1));
}

TEST_F(TableRemoveAll, TwoInARowHideCommittedKeysUntilBothHaveCommitted) {
    committed({1});
    table->entryRemoveAll(nullptr);
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(inFlight(), 1U);
    commit(1);
    EXPECT_EQ(inFlight(), 0U);
    write(2);
    EXPECT_FALSE(table->entryHas(Key{1}));
    EXPECT_TRUE(table->hasPendingHwWrites());
    commit(1);
    EXPECT_EQ(inFlight(), std::nullopt);
    EXPECT_TRUE(table->entryHas(Key{2}));
}

TEST_F(TableRemoveAll, TheSecondOfTwoFindsTheRecordsInDeletionAndStillWritesItsDelete) {
    committed({1});
    table->entryRemoveAll(nullptr);
    table->entryRemoveAll(nullptr);
    commitAll();
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_EQ(record(1).logVersion(), 2U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 2U);
}

TEST_F(TableRemoveAll, ThatFoundEntriesIsInLogForEverAndAnsweredNever) {
    committed({1, 2});
    unsigned answered = 0;
    table->entryRemoveAllWithResponseHandler(nullptr, [&](auto const&) { ++answered; });
    auto const handle = handleOfTheHead();
    EXPECT_EQ(handle->entryVersion(), Asic::EntryVersion::first());
    EXPECT_EQ(handle->entryState(), State::entryPending);
    commitAll();
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), 3U);
    EXPECT_EQ(table->entryHandleInLogFront(), nullptr);
    acknowledge();
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(answered, 0U);
    EXPECT_FALSE(table->hasPendingHwWrites()); // what a client watches instead
}

TEST_F(TableRemoveAll, OfAnEmptyTableStaysPendingAndCountsDownAllTheSame) {
    unsigned answered = 0;
    table->entryRemoveAllWithResponseHandler(nullptr, [&](auto const&) { ++answered; });
    auto const handle = handleOfTheHead();
    EXPECT_EQ(inFlight(), 0U);
    EXPECT_EQ(commitAll(), 1U);
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(handle->logVersion(), 0U);
    EXPECT_EQ(inFlight(), std::nullopt);
    EXPECT_EQ(tableVersion(), 0U);
    EXPECT_EQ(table->stats()->commitCnt(), 1U);
    EXPECT_EQ(answered, 0U);
}

TEST_F(TableRemoveAll, WhoseDependencyFailedIsRefusedAndAnswered) {
    committed({1});
    unsigned answered = 0;
    table->entryRemoveAllWithResponseHandler(
        dependency(State::entryFailed), [&](auto const& handle) {
            ++answered;
            EXPECT_EQ(handle->entryState(), State::entryFailed);
        });
    testing_support::TraceCapture traces{"*", 1U << 1};
    commitAll();
    EXPECT_EQ(answered, 1U);
    EXPECT_EQ(inFlight(), 0U); // nothing but the handle changes
    EXPECT_EQ(tableVersion(), 1U);
    EXPECT_THAT(traces.texts(1), ElementsAre("Failed dependent entry for remove all",
                                             "Failed to commit entry remove all operation"));
}

TEST_F(TableRemoveAll, WaitsForItsDependency) {
    committed({1});
    auto const awaited = dependency(State::entryPending);
    table->entryRemoveAll(awaited);
    EXPECT_EQ(commitAll(), 0U);
    awaited->entryStateIs(State::entryInLog);
    EXPECT_EQ(commitAll(), 1U);
    EXPECT_EQ(tableVersion(), 2U);
}

TEST_F(TableRemoveAll, CallsNoHelper) {
    class Counting : public Family::SwTableHelperBase {
      public:
        void finalizeOnSuccess(Ombra::Ptr<Family::EntryWrapper> const&, bool,
                               Ombra::Ptr<Table> const&) override {
            ++calls;
        }
        unsigned calls = 0;
    };
    committed({1});
    auto const helper = Ombra::ptrIs<Counting>();
    table->swTableHelperIs(helper);
    table->entryRemoveAll(nullptr);
    commitAll();
    EXPECT_EQ(helper->calls, 0U);
}

TEST_F(TableRemoveAll, LeavesOtherUnitsAlone) {
    auto const other = agent.makeSwTable<Family>(1);
    other->entryWrite(Key{7}, entryOf(7), nullptr);
    committed({1});
    table->entryRemoveAll(nullptr);
    commitAll();
    EXPECT_FALSE(table->entryHas(Key{1}));
    EXPECT_TRUE(other->entryHas(Key{7}));
}

TEST_F(TableRemoveAll, TracesTheCallTheCountAndTheCommit) {
    committed({1});
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable", 1U << 2 | 1U << 8};
    table->entryRemoveAll(nullptr);
    ASSERT_GE(traces.lines.size(), 5U);
    char const* const functions[] = {"entryRemoveAll", "entryRemoveAllWithResponseHandler",
                                     "entryRemoveAllGeneric"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(traces.lines[i].level, 8U);
        EXPECT_EQ(traces.lines[i].text, "");
        EXPECT_EQ(traces.lines[i].function, functions[i]);
    }
    EXPECT_EQ(traces.lines[3].text, "No remove all operation currently enqueued");
    EXPECT_EQ(traces.count(2, "Done processing remove all "), 1U);

    table->entryRemoveAll(nullptr);
    EXPECT_EQ(traces.count(8, "Found valid table remove all version: 0"), 1U);
    commitAll();
    EXPECT_EQ(traces.count(8, "Committing table delete for version: 1"), 1U);
    EXPECT_EQ(traces.count(8, "Committing table delete for version: 0"), 1U);
}

TEST_F(TableRemoveAll, TheCountIsPublishedWithItsFormerValueWhenItChanges) {
    std::vector<std::uint64_t> formers;
    auto const subscription = table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == Ombra::FieldId{0x306}) {
            formers.push_back(static_cast<Asic::MajorVersion const*>(change.former)->number());
        }
    });
    table->entryRemoveAll(nullptr);
    table->entryRemoveAll(nullptr);
    commitAll();
    table->transientRemoveAllVersionIs(Asic::MajorVersion{});
    EXPECT_THAT(formers, ElementsAre(std::numeric_limits<std::uint64_t>::max(), 0, 1, 0));
}

TEST_F(TableRemoveAll, WithAListenerEachPendingEntryIsToldAsItGoes) {
    write(1);
    write(2);
    remove(3);
    Numbers gone;
    auto const subscription = table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == Table::Field::transientAddEntry ||
            change.fieldId == Table::Field::transientRemoveEntry) {
            gone.push_back(static_cast<Key const*>(change.key)->number());
        }
    });
    table->entryRemoveAll(nullptr);
    EXPECT_THAT(gone, testing::UnorderedElementsAre(1, 2, 3));
    EXPECT_EQ(table->transientAddEntrys() + table->transientRemoveEntrys(), 0U);
}

using TableRemoveAllDeathTest = TableRemoveAll;

TEST_F(TableRemoveAllDeathTest, CannotCommitWhenNoneIsInFlight) {
    table->entryRemoveAll(nullptr);
    table->transientRemoveAllVersionIs(Asic::MajorVersion{});
    EXPECT_DEATH(commitAll(), "Assertion `currRemoveAllVersion\\.valid\\(\\)' failed");
}

// --- the table of states of the count

enum class Event { removeAll, commit, clearTable };

struct CountRow {
    char const* name;
    std::optional<std::uint64_t> before;
    Event event;
    std::optional<std::uint64_t> after;
};

class RemoveAllCount : public TableRemoveAll, public testing::WithParamInterface<CountRow> {
  public:
    static std::string nameOf(testing::TestParamInfo<CountRow> const& row) {
        return row.param.name;
    }
};

TEST_P(RemoveAllCount, MovesByItsRow) {
    auto const& row = GetParam();
    committed({1});
    for (std::uint64_t i = 0; row.before && i <= *row.before; ++i) {
        table->entryRemoveAll(nullptr);
    }
    ASSERT_EQ(inFlight(), row.before);
    switch (row.event) {
    case Event::removeAll:
        table->entryRemoveAll(nullptr);
        break;
    case Event::commit:
        commit(1);
        break;
    case Event::clearTable:
        table->clearTable(false);
        break;
    }
    EXPECT_EQ(inFlight(), row.after);
}

constexpr CountRow countRows[] = {
    {"TheFirstRemoveAll", std::nullopt, Event::removeAll, 0},
    {"TheSecondRemoveAll", 0, Event::removeAll, 1},
    {"AFurtherRemoveAll", 5, Event::removeAll, 6},
    {"ACommitOfSeveral", 5, Event::commit, 4},
    {"TheCommitOfTheLastButOne", 1, Event::commit, 0},
    {"TheCommitOfTheLast", 0, Event::commit, std::nullopt},
    {"AClearOfNone", std::nullopt, Event::clearTable, std::nullopt},
    {"AClearOfOne", 0, Event::clearTable, 0},
    {"AClearOfSeveral", 3, Event::clearTable, 3},
};

INSTANTIATE_TEST_SUITE_P(Rows, RemoveAllCount, testing::ValuesIn(countRows),
                         RemoveAllCount::nameOf);

} // namespace
} // namespace LoamSystemAcl
