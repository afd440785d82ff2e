#include "TableInUse.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <Pallet/SlabAlloc.h>
#include <Zet/Trace.h>

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Tracing : public TableInUse {
  protected:
    // A piece of every operation that traces, with a restart in the middle.
    void everyOperation() {
        committed({1, 2, 3});
        write(1, 2);
        remove(2);
        remove(99);
        table->updateEntry(Key{3});
        table->updateEntry(Key{98});
        static_cast<void>(table->entryRead(Key{97}));
        static_cast<void>(table->entryHas(Key{1}));
        static_cast<void>(table->hasPendingHwWrites());
        table->getTableEntries_py();
        static_cast<void>(table->entryIteratorConst(Key{1}));
        commitAll();
        table->entryRemoveAll(nullptr);
        commitAll();
        write(5);
        commitAll();
        table = nullptr;
        agent.restart();
        table = agent.makeSwTable<Family>(0, false);
        write(5);
        commitAll();
        table->sweep();
        table->clearTable(true);
        agent.makeSwTable<Family>(0, true);
        agent.tableIntf<Family>()->reconcile();
    }
};

TEST_F(Tracing, WithEveryLevelOffNoTraceIsFormatted) {
    Zet::TraceHandle::levelsIs("*", 0);
    std::size_t traced = 0;
    auto former = Ombra::traceSinkIs([&](auto const&) { ++traced; });
    everyOperation();
    EXPECT_EQ(traced, 0U);
    Zet::TraceHandle::levelsIs("*", 0xffff);
    everyOperation();
    EXPECT_GT(traced, 100U); // the same operations do trace
    Zet::TraceHandle::levelsIs("*", 0);
    Ombra::traceSinkIs(std::move(former));
}

TEST_F(Tracing, EachLevelIsSwitchedByItsOwnBit) {
    for (unsigned level = 0; level < 16; ++level) {
        testing_support::TraceCapture traces{"*", static_cast<std::uint16_t>(1U << level)};
        everyOperation();
        EXPECT_TRUE(std::ranges::all_of(traces.lines,
                                        [&](auto const& line) { return line.level == level; }));
        bool const used =
            level == 1 || level == 2 || level == 3 || level == 6 || level == 8 || level == 9;
        EXPECT_EQ(!traces.lines.empty(), used) << level;
    }
}

// `entrys()` is an argument of the trace of a restored table. It asks the entry log, which leaves
// traces of its own under another handle.
TEST_F(Tracing, AnArgumentIsEvaluatedOnlyWhenItsTraceIsOn) {
    auto const asked = [this](std::uint16_t levelsOfTheInterface) {
        table = nullptr;
        agent.restart();
        testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntryEntryLog"};
        Zet::TraceHandle::levelsIs("Ipv4SystemPolicyTcamEntryInterface", levelsOfTheInterface);
        table = agent.makeSwTable<Family>(0, false);
        Zet::TraceHandle::levelsIs("*", 0);
        return std::ranges::count_if(traces.lines,
                                     [](auto const& line) { return line.function == "entrys"; });
    };
    EXPECT_EQ(asked(0), 0);
    EXPECT_EQ(asked(static_cast<std::uint16_t>(~(1U << 2))), 0);
    EXPECT_EQ(asked(1U << 2), 1);
}

// Counts how often it is shown.
struct Shown {
    unsigned* times;
};

Zet::TraceHandle const& counted(unsigned& times) {
    static Zet::TraceHandle const handle{"TracingTest", false};
    ++times;
    return handle;
}

} // namespace
} // namespace LoamSystemAcl

template <>
struct fmt::formatter<LoamSystemAcl::Shown> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(LoamSystemAcl::Shown const& shown, Context& context) const {
        ++*shown.times;
        return fmt::format_to(context.out(), "shown");
    }
};

namespace LoamSystemAcl {
namespace {

TEST_F(Tracing, ATraceThatIsOffMakesNoArgumentAndDoesNotFetchItsHandle) {
    unsigned fetched = 0;
    unsigned made = 0;
    unsigned shown = 0;
    auto const argument = [&] {
        ++made;
        return Shown{&shown};
    };
    auto const trace = [&] { ZET_TRACE(counted(fetched), 9, "TracingTest", "{}", argument()); };
    Zet::TraceHandle::levelsIs("*", 0);
    trace();
    EXPECT_EQ(fetched, 0U);
    EXPECT_EQ(made, 0U);
    {
        testing_support::TraceCapture others{"SwTableIter", 1U << 9};
        trace();
        EXPECT_EQ(fetched, 1U); // some handle has the level
        EXPECT_EQ(made, 0U);
    }
    testing_support::TraceCapture traces{"TracingTest", 1U << 9};
    trace();
    EXPECT_EQ(made, 1U);
    EXPECT_EQ(shown, 1U);
    EXPECT_TRUE(traces.has(9, "shown"));
}

TEST_F(Tracing, TheHandlesOfATableAreThreeAndThatOfIterationIsOneForAll) {
    testing_support::TraceCapture traces;
    everyOperation();
    agent.makeSwTable<Ipv4SystemPolicyTcamActionFamily>(0, false)->sweep();
    std::set<std::string> handles;
    for (auto const& line : traces.lines) {
        handles.insert(line.handle);
    }
    EXPECT_THAT(handles,
                testing::UnorderedElementsAre(
                    "Ipv4SystemPolicyTcamEntryInterface", "Ipv4SystemPolicyTcamEntryEntryLog",
                    "Ipv4SystemPolicyTcamEntrySwTable", "Ipv4SystemPolicyTcamActionInterface",
                    "Ipv4SystemPolicyTcamActionEntryLog", "Ipv4SystemPolicyTcamActionSwTable",
                    "SwTableIter"));
}

TEST_F(Tracing, TheAlgorithmsTraceUnderTheNameOfTheirTable) {
    testing_support::TraceCapture traces;
    everyOperation();
    std::size_t seen = 0;
    for (auto const& line : traces.lines) {
        if (line.className == "OrderedSwTableAccessor") {
            EXPECT_EQ(line.handle, "Ipv4SystemPolicyTcamEntrySwTable");
            ++seen;
        }
        EXPECT_EQ(line.className == "IterStateAccessor", line.handle == "SwTableIter");
    }
    EXPECT_GT(seen, 0U);
}

TEST_F(Tracing, TheUnitOfTheWrapperTracesUnderTheNameOfTheTable) {
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable", 1U << 8};
    write(1);
    commitAll();
    EXPECT_TRUE(std::ranges::any_of(traces.lines, [](auto const& line) {
        return line.className == "Ipv4SystemPolicyTcamEntryEntryWrapper" &&
               line.function == "finalizeOnSuccess";
    }));
}

TEST_F(Tracing, ATableIdIsShownInThreeParts) {
    auto const id = table->tableId();
    EXPECT_EQ(fmt::format("{}", id),
              fmt::format("{:02x}:{:02x}:{:04x}", id.agentId(), id.groupId(), id.tblId()));
    EXPECT_EQ(fmt::format("{}", Asic::SwTableId{0x0a0b000c}), "0a:0b:000c");
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntryInterface", 1U << 2};
    agent.makeSwTable<Family>(0, true);
    EXPECT_TRUE(traces.has(2, fmt::format(" Clearing entries for table id: {:02x}:{:02x}:{:04x}",
                                          id.agentId(), id.groupId(), id.tblId())));
}

// --- a constructor that throws

// Throws from the trace of that text, and so from the constructor that traces it.
class ThrowingTrace {
  public:
    explicit ThrowingTrace(std::string text)
        : former_{Ombra::traceSinkIs([text = std::move(text)](auto const& record) {
              if (record.text.starts_with(text)) {
                  throw std::runtime_error{text};
              }
          })} {
        Zet::TraceHandle::levelsIs("*", 0xffff);
    }
    ThrowingTrace(ThrowingTrace const&) = delete;
    ThrowingTrace& operator=(ThrowingTrace const&) = delete;
    ~ThrowingTrace() {
        Zet::TraceHandle::levelsIs("*", 0);
        Ombra::traceSinkIs(std::move(former_));
    }

  private:
    Ombra::TraceSink former_;
};

using Live = std::map<std::string, std::uint64_t>;

// The objects of each class that exist; classes without one are left out.
Live liveObjects() {
    Live result;
    for (auto const& totals : Zet::AllocTrackTypeInfo::dump()) {
        if (totals.live != 0) {
            result[totals.typeName] = totals.live;
        }
    }
    return result;
}

std::uint64_t liveBlocks() {
    std::uint64_t result = 0;
    for (auto const& each : Pallet::slabStats().classes) {
        result += each.liveBlocks;
    }
    return result;
}

class ThrowingConstructor : public TableInUse {};

TEST_F(ThrowingConstructor, OfATableLeavesTheCountsAndTheSetUnchanged) {
    auto const intf = agent.tableIntf<Family>();
    intf->entryLog()->mountSlateConfig(5, 0); // what was mounted stays mounted
    auto const live = liveObjects();
    auto const blocks = liveBlocks();
    {
        ThrowingTrace const throwing{"doesMarkSweep"};
        EXPECT_THROW(intf->makeSwTable(5, nullptr, true), std::runtime_error);
    }
    EXPECT_EQ(liveObjects(), live);
    EXPECT_EQ(liveBlocks(), blocks);
    EXPECT_FALSE(intf->swTableSet()->swTableHas(5));
    EXPECT_EQ(agent.group()->sweepableSwTables().size(), 1U);
    EXPECT_NE(intf->makeSwTable(5, nullptr, true), nullptr);
}

TEST_F(ThrowingConstructor, OfAnEntryLogLeavesItsCountUnchanged) {
    auto const intf = agent.tableIntf<Family>();
    auto const logs = [] {
        return Zet::AllocTrackTypeInfo::live(Family::EntryLog::memAllocationTracker_);
    };
    auto const before = logs();
    ASSERT_EQ(before, 1U);
    {
        ThrowingTrace const throwing{" Mounted entryLog"};
        EXPECT_THROW(Ipv4SystemPolicyTcamEntryEntryLog::Ipv4SystemPolicyTcamEntryEntryLogIs(
                         table->tableId(), agent.entityManager(), agent.group(), intf->agentName()),
                     std::runtime_error);
    }
    EXPECT_EQ(logs(), before);
}

TEST(ThrowingConstructorOfAnInterface, LeavesTheCountsAndTheRegistriesUnchanged) {
    using Family = Ipv4SystemPolicyTcamEntryFamily;
    testing_support::AgentInProcess agent;
    agent.tableIntf<Ipv4SystemPolicyTcamActionFamily>(); // the group is there
    auto const interfaces = [] {
        return Zet::AllocTrackTypeInfo::live(Family::Interface::memAllocationTracker_);
    };
    auto const logs = [] {
        return Zet::AllocTrackTypeInfo::live(Family::EntryLog::memAllocationTracker_);
    };
    auto const sets = liveObjects()["Asic::OrderedSwTableSet"];
    {
        ThrowingTrace const throwing{" Entry log created"};
        EXPECT_THROW(agent.tableIntf<Family>(), std::runtime_error);
    }
    EXPECT_EQ(interfaces(), 0U);
    EXPECT_EQ(logs(), 0U);
    EXPECT_EQ(liveObjects()["Asic::OrderedSwTableSet"], sets);
    EXPECT_FALSE(
        Asic::SwTableInterfacesSingleton::get()->swTableIntfHas(Family::Interface::registryKey));
    EXPECT_NE(agent.tableIntf<Family>(), nullptr);
    EXPECT_EQ(interfaces(), 1U);
}

// --- the allocators

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
    for (unsigned number = 1; number <= 100; ++number) {
        write(number);
    }
    for (auto const* const collection : collections) {
        EXPECT_GE(slots(collection), before[collection] + 100) << collection;
    }
    commitAll();
    table->sweep();
    for (auto const* const collection : collections) {
        EXPECT_LT(slots(collection), before[collection] + 100) << collection;
    }
}

} // namespace
} // namespace LoamSystemAcl
