#include "TableInUse.h"

#include <gmock/gmock.h>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Snapshot : public TableInUse {
  protected:
    using Entries = Table::SwTableEntries_py;

    static Numbers keysOf(Entries const& snapshot) {
        Numbers result;
        for (Entries::TableEntries::IteratorConst i{snapshot.tableEntries()}; i; ++i) {
            EXPECT_EQ(i->value().key(), i->fwkKey());
            result.push_back(i->fwkKey().number());
        }
        std::ranges::sort(result);
        return result;
    }
    static Entry valueIn(Entries const& snapshot, unsigned number) {
        auto const* const node = snapshot.tableEntries()[Key{number}];
        return node == nullptr ? Entry{} : node->value();
    }
};

TEST_F(Snapshot, IsEmptyWhenMadeAndHasOneReference) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    EXPECT_EQ(snapshot->tableEntries().size(), 0U);
    EXPECT_EQ(snapshot->refCount(), 1U);
}

TEST_F(Snapshot, TellsNobodyOfItsChanges) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    EXPECT_EQ(snapshot->publisher(), nullptr);
}

TEST_F(Snapshot, HoldsTheVisibleTable) {
    committed({1, 2, 3, 4});
    remove(1);
    commitAll(); // in deletion
    remove(2);   // pending removal
    write(3, 9); // pending overwrite
    write(5);    // pending
    auto const snapshot = table->getTableEntries_py();
    EXPECT_THAT(keysOf(*snapshot), ElementsAre(3, 4, 5));
    EXPECT_EQ(valueIn(*snapshot, 3), entryOf(3, 9));
    EXPECT_EQ(valueIn(*snapshot, 4), entryOf(4));
}

TEST_F(Snapshot, OfAnEmptyTableIsEmpty) {
    EXPECT_THAT(keysOf(*table->getTableEntries_py()), IsEmpty());
}

TEST_F(Snapshot, DuringARemoveAllHoldsOnlyTheKeysWrittenSince) {
    committed({1, 2});
    write(3);
    table->entryRemoveAll(nullptr);
    write(4);
    EXPECT_THAT(keysOf(*table->getTableEntries_py()), ElementsAre(4));
}

TEST_F(Snapshot, DoesNotFollowTheTableAfterwards) {
    committed({1});
    auto const snapshot = table->getTableEntries_py();
    write(1, 9);
    write(2);
    table->clearTable(false);
    EXPECT_THAT(keysOf(*snapshot), ElementsAre(1));
    EXPECT_EQ(valueIn(*snapshot, 1), entryOf(1));
}

// Unlike a sweep, which ends at such an entry.
TEST_F(Snapshot, HoldsAnEntryEqualToTheDefaultEntryAndWhatIsBehindIt) {
    committed({1, 2, 3});
    table->entryWrite(Key{}, Entry{}, nullptr);
    EXPECT_THAT(keysOf(*table->getTableEntries_py()), ElementsAre(0, 1, 2, 3));
}

TEST_F(Snapshot, IsCountedOnItsOwnTracker) {
    auto const live = [] { return Zet::AllocTrackTypeInfo::live(Entries::memAllocationTracker_); };
    auto const before = live();
    {
        auto const snapshot = table->getTableEntries_py();
        EXPECT_EQ(live(), before + 1);
    }
    EXPECT_EQ(live(), before);
}

TEST_F(Snapshot, SettingAnEntryOverwritesTheOneOfItsKey) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    snapshot->tableEntriesIs(entryOf(1, 1));
    snapshot->tableEntriesIs(entryOf(2, 2));
    snapshot->tableEntriesIs(entryOf(1, 3));
    EXPECT_THAT(keysOf(*snapshot), ElementsAre(1, 2));
    EXPECT_EQ(valueIn(*snapshot, 1), entryOf(1, 3));
}

TEST_F(Snapshot, DeletingAKeyGivesItsEntry) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    snapshot->tableEntriesIs(entryOf(1, 7));
    snapshot->tableEntriesIs(entryOf(2));
    EXPECT_EQ(snapshot->tableEntriesDel(Key{1}), entryOf(1, 7));
    EXPECT_THAT(keysOf(*snapshot), ElementsAre(2));
}

TEST_F(Snapshot, DeletingAnAbsentKeyGivesTheDefaultEntry) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    snapshot->tableEntriesIs(entryOf(1));
    EXPECT_EQ(snapshot->tableEntriesDel(Key{9}), Entry{});
    EXPECT_THAT(keysOf(*snapshot), ElementsAre(1));
}

TEST_F(Snapshot, DeletingAllLeavesNone) {
    auto const snapshot = Ombra::ptrIs<Entries>();
    snapshot->tableEntriesIs(entryOf(1));
    snapshot->tableEntriesIs(entryOf(2));
    snapshot->tableEntriesDelAll();
    EXPECT_THAT(keysOf(*snapshot), IsEmpty());
}

using SnapshotDeathTest = Snapshot;

TEST_F(SnapshotDeathTest, ANodeKeepsItsKey) {
    Entries::HN_TableEntries node{entryOf(1)};
    EXPECT_DEATH(node.valueIs(entryOf(2)),
                 "Assertion `fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)' failed");
}

} // namespace
} // namespace LoamSystemAcl
