#include "TableInUse.h"

#include <Pallet/SlabAlloc.h>

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

// Which allocator serves what, and under which tracker it is counted.
namespace LoamSystemAcl {
namespace {

class Allocation : public TableInUse {
  protected:
    static std::uint64_t blocksOf(Pallet::SlabAllocationPattern pattern) {
        std::uint64_t result = 0;
        for (auto const& each : Pallet::slabStats().classes) {
            result += each.pattern == pattern ? each.liveBlocks : 0;
        }
        return result;
    }

    // That `make` takes one block, and of that pattern.
    template <typename Make>
    static void expectPattern(char const* name, Pallet::SlabAllocationPattern pattern,
                              Make const& make) {
        auto const other = pattern == Pallet::SlabAllocationPattern::longLived
                               ? Pallet::SlabAllocationPattern::perOperation
                               : Pallet::SlabAllocationPattern::longLived;
        auto const before = blocksOf(pattern);
        auto const othersBefore = blocksOf(other);
        {
            auto const made = make();
            EXPECT_EQ(blocksOf(pattern), before + 1) << name;
            EXPECT_EQ(blocksOf(other), othersBefore) << name;
        }
        EXPECT_EQ(blocksOf(pattern), before) << name;
    }
};

TEST_F(Allocation, WhatEveryWriteMakesAnewHasItsOwnPattern) {
    constexpr auto pattern = Pallet::SlabAllocationPattern::perOperation;
    auto const version = Asic::EntryVersion::first();
    auto const handle = Ombra::ptrIs<Table::EntryHandle>(version, Key{1}, table.get());
    auto const wrapper = Ombra::ptrIs<Family::EntryWrapper>(entryOf(1), handle);
    expectPattern("EntryHandle", pattern,
                  [&] { return Table::EntryHandle::EntryHandleIs(version, Key{1}, table.get()); });
    expectPattern("EntryWrapper", pattern,
                  [&] { return Ombra::ptrIs<Family::EntryWrapper>(entryOf(1), handle); });
    expectPattern("ResolverEntry", pattern, [&] {
        return Ombra::ptrIs<Family::ResolverEntry>(nullptr, Asic::EntryFlags::none, table.get(),
                                                   wrapper);
    });
    expectPattern("NeededEntry", pattern, [] { return Ombra::ptrIs<Asic::NeededEntry>(); });
}

TEST_F(Allocation, WhatStaysHasNone) {
    constexpr auto pattern = Pallet::SlabAllocationPattern::longLived;
    expectPattern("CanonicalTableName", pattern, [] {
        return Ombra::ptrIs<Asic::CanonicalTableName>(Asic::OrderedTableType::orderedSwTable,
                                                      "group", "namespace", "table");
    });
    expectPattern("OrderedSwTableStatus", pattern,
                  [this] { return Ombra::ptrIs<Asic::OrderedSwTableStatus>(table->tableId()); });
    expectPattern("OrderedSwTableSet", pattern, [this] {
        return Ombra::ptrIs<Asic::OrderedSwTableSet>(table->tableId(), table->status());
    });
    expectPattern("SwTableHelperBase", pattern,
                  [] { return Ombra::ptrIs<Family::SwTableHelperBase>(); });
    expectPattern("SwTableIteratorState", pattern,
                  [] { return Ombra::ptrIs<Family::IteratorState>(); });
    expectPattern("SwTableEntries_py", pattern,
                  [] { return Ombra::ptrIs<Table::SwTableEntries_py>(); });
}

// Interface, log and table make other objects with them, which a count of blocks can't tell apart.
template <typename Class, typename Base>
constexpr bool hasNoPattern = std::is_base_of_v<Zet::Tracked<Class, Base, Zet::noPattern>, Class>;
static_assert(hasNoPattern<Ipv4SystemPolicyTcamEntryInterface, Asic::TableInterfaceBase>);
static_assert(hasNoPattern<Ipv4SystemPolicyTcamEntryEntryLog, Asic::EntryLogBase>);
static_assert(hasNoPattern<Ipv4SystemPolicyTcamEntrySwTable, Asic::OrderedSwTableWithMarkSweep>);

// The library makes the objects and this program reads the counts: they have one tracker per class.
TEST_F(Allocation, TheTrackersOfTheLibraryAreThoseOfTheProgram) {
    write(1);
    auto const snapshot = table->getTableEntries_py();
    auto const state = table->initIterState();
    auto const live = [](auto const* tracker) { return Zet::AllocTrackTypeInfo::live(tracker); };
    EXPECT_EQ(live(Family::Interface::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::EntryLog::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::SwTable::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::SwTableHelperBase::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::EntryWrapper::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::ResolverEntry::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Table::EntryHandle::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Family::IteratorState::memAllocationTracker_), 1U);
    EXPECT_EQ(live(Table::SwTableEntries_py::memAllocationTracker_), 1U);
}

TEST_F(Allocation, TheSlotsOfACollectionAreCountedUnderItsNodeClass) {
    constexpr unsigned entries = 1000; // an emptied collection keeps room for some
    auto const slots = [](std::string const& collection) {
        std::uint64_t result = 0;
        for (auto const& totals : Zet::AllocTrackTypeInfo::dump()) {
            result +=
                totals.typeName.ends_with("TcamEntrySwTable::" + collection) ? totals.live : 0;
        }
        return result;
    };
    char const* const collections[] = {"HN_TransientAddEntry", "HN_TransientVersionForKey",
                                       "HN_MarkedKey"};
    std::map<std::string, std::uint64_t> before;
    for (auto const* const collection : collections) {
        before[collection] = slots(collection);
    }
    table->mark();
    for (unsigned number = 1; number <= entries; ++number) {
        write(number);
    }
    for (auto const* const collection : collections) {
        EXPECT_GE(slots(collection), before[collection] + entries) << collection;
    }
    commitAll();
    table->sweep();
    for (auto const* const collection : collections) {
        EXPECT_LT(slots(collection), before[collection] + entries) << collection;
    }
}

} // namespace
} // namespace LoamSystemAcl
