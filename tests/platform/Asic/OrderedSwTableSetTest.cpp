#include "FakeTable.h"

#include <gtest/gtest.h>

namespace {

using namespace Asic;
using asic_test::FakeTable;

constexpr SwTableId tableId{0x08080401};

class SwTableSet : public testing::Test {
  protected:
    Ombra::Ptr<FakeTable> tableOf(UnitId unitId) {
        auto const table = Ombra::ptrIs<FakeTable>(tableId, unitId, set.get());
        set->swTableIs(table);
        return table;
    }

    Ombra::Ptr<OrderedSwTableStatus> status = Ombra::ptrIs<OrderedSwTableStatus>(tableId);
    Ombra::Ptr<OrderedSwTableSet> set = Ombra::ptrIs<OrderedSwTableSet>(tableId, status);
};

TEST_F(SwTableSet, HoldsOneTablePerUnit) {
    EXPECT_EQ(set->swTable(3), nullptr);
    EXPECT_FALSE(set->swTableHas(3));
    auto const table = tableOf(3);
    EXPECT_EQ(set->swTable(3), table);
    EXPECT_TRUE(set->swTableHas(3));
    EXPECT_FALSE(set->swTableHas(4));
    auto const other = tableOf(3);
    EXPECT_EQ(set->swTable(3), other);
    EXPECT_EQ(table->refCount(), 1U);
}

TEST_F(SwTableSet, ItsStatusIsWhetherAnyUnitHasPendingWrites) {
    set->maybeUpdatePendingHwWrites();
    EXPECT_FALSE(status->pendingHwWrites());
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    set->maybeUpdatePendingHwWrites();
    EXPECT_FALSE(status->pendingHwWrites());
    second->pending = true;
    set->maybeUpdatePendingHwWrites();
    EXPECT_TRUE(status->pendingHwWrites());
    first->pending = true;
    second->pending = false;
    set->maybeUpdatePendingHwWrites();
    EXPECT_TRUE(status->pendingHwWrites());
    first->pending = false;
    set->maybeUpdatePendingHwWrites();
    EXPECT_FALSE(status->pendingHwWrites());
}

TEST_F(SwTableSet, ABusySetIsAskedOneQuestion) {
    std::vector<Ombra::Ptr<FakeTable>> tables;
    for (UnitId unit = 0; unit < 8; ++unit) {
        tables.push_back(tableOf(unit));
    }
    tables[5]->pending = true;
    set->maybeUpdatePendingHwWrites();
    for (auto const& table : tables) {
        table->questions = 0;
    }
    set->maybeUpdatePendingHwWrites();
    unsigned questions = 0;
    for (auto const& table : tables) {
        questions += table->questions;
    }
    EXPECT_EQ(questions, 1U);
    EXPECT_EQ(tables[5]->questions, 1U);
}

TEST_F(SwTableSet, ATableThatWasReplacedIsNotAskedAnyMore) {
    auto const former = tableOf(1);
    former->pending = true;
    set->maybeUpdatePendingHwWrites();
    auto const questions = former->questions;
    tableOf(1);
    set->maybeUpdatePendingHwWrites();
    EXPECT_FALSE(status->pendingHwWrites());
    EXPECT_EQ(former->questions, questions);
}

TEST_F(SwTableSet, WhenNothingWasPendingOnlyTheTableThatChangedIsAsked) {
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    set->maybeUpdatePendingHwWrites();
    first->questions = second->questions = 0;
    set->maybeUpdatePendingHwWritesOf(*first);
    EXPECT_FALSE(status->pendingHwWrites());
    EXPECT_EQ(first->questions, 1U);
    EXPECT_EQ(second->questions, 0U);
}

TEST_F(SwTableSet, ATableThatParksAnOperationIsSeenAtAnyonesChange) {
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    set->maybeUpdatePendingHwWrites();
    set->mayBePending();
    second->pending = true;
    set->maybeUpdatePendingHwWritesOf(*first);
    EXPECT_TRUE(status->pendingHwWrites());
    second->pending = false;
    set->maybeUpdatePendingHwWritesOf(*first);
    EXPECT_FALSE(status->pendingHwWrites());
}

TEST_F(SwTableSet, WhileSomethingIsPendingAllAreAskedBeforeTheStatusFalls) {
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    first->pending = true;
    set->maybeUpdatePendingHwWritesOf(*first);
    EXPECT_TRUE(status->pendingHwWrites());
    second->pending = true;
    first->pending = false;
    set->maybeUpdatePendingHwWritesOf(*first);
    EXPECT_TRUE(status->pendingHwWrites());
}

TEST_F(SwTableSet, ATableThatWasReplacedHasNoSayWhenItChanges) {
    auto const former = tableOf(1);
    tableOf(1);
    set->maybeUpdatePendingHwWrites();
    former->pending = true;
    set->maybeUpdatePendingHwWritesOf(*former);
    EXPECT_FALSE(status->pendingHwWrites());
    EXPECT_EQ(former->questions, 0U);
}

TEST_F(SwTableSet, TellsEveryUnitHowFarTheHardwareHasCome) {
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    set->tableStatusVersion(17);
    EXPECT_EQ(first->versions, (std::vector<LogVersion>{17}));
    EXPECT_EQ(second->versions, (std::vector<LogVersion>{17}));
}

TEST_F(SwTableSet, TheStatusFallsAsSoonAsTheLastTableHasNothingPending) {
    auto const first = tableOf(1);
    auto const second = tableOf(2);
    first->pending = true;
    set->maybeUpdatePendingHwWrites();
    std::vector<bool> seen;
    first->onStatus = [&] {
        first->pending = false;
        set->maybeUpdatePendingHwWritesOf(*first);
    };
    second->onStatus = [&] { seen.push_back(status->pendingHwWrites()); };
    set->tableStatusVersion(1);
    EXPECT_EQ(seen, (std::vector<bool>{false}));
}

TEST_F(SwTableSet, ATableThatIsMadeWhileAllAreToldIsToldToo) {
    auto const first = tableOf(1);
    Ombra::Ptr<FakeTable> later;
    Ombra::Ptr<FakeTable> anew;
    first->onStatus = [&] {
        later = tableOf(2);
        anew = tableOf(1);
    };
    set->tableStatusVersion(5);
    EXPECT_EQ(first->versions, (std::vector<LogVersion>{5}));
    EXPECT_EQ(later->versions, (std::vector<LogVersion>{5}));
    set->tableStatusVersion(6);
    EXPECT_EQ(first->versions, (std::vector<LogVersion>{5}));
    EXPECT_EQ(anew->versions, (std::vector<LogVersion>{6}));
}

TEST_F(SwTableSet, TheStatusAnnouncesOnlyChangesWithTheFormerValue) {
    std::vector<bool> formers;
    auto const subscription = status->publisher()->subscribe([&](Ombra::Change const& change) {
        EXPECT_EQ(change.fieldId, OrderedSwTableStatus::pendingHwWritesField);
        formers.push_back(*static_cast<bool const*>(change.former));
        EXPECT_NE(status->pendingHwWrites(), formers.back());
    });
    auto const table = tableOf(1);
    set->maybeUpdatePendingHwWrites();
    table->pending = true;
    set->maybeUpdatePendingHwWrites();
    set->maybeUpdatePendingHwWrites();
    table->pending = false;
    set->maybeUpdatePendingHwWrites();
    EXPECT_EQ(formers, (std::vector<bool>{false, true}));
}

TEST_F(SwTableSet, ATablesCountersStartAtZeroAndAreMadeOnce) {
    auto const table = tableOf(1);
    EXPECT_EQ(table->stats(), nullptr);
    auto const stats = table->statsIs();
    EXPECT_EQ(table->statsIs(), stats);
    EXPECT_EQ(table->stats(), stats);
    EXPECT_EQ(stats->commitCnt() + stats->entryWriteCnt() + stats->entryRemoveCnt() +
                  stats->updateCnt() + stats->tableClearCnt() + stats->suppressedWriteCnt() +
                  stats->suppressCheckDiffCnt(),
              0U);
    EXPECT_EQ(stats->lastCommitTime, Ombra::Time{});
}

} // namespace
