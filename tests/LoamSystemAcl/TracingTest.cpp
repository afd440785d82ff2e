#include "TableInUse.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <Zet/Trace.h>

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <utility>

namespace LoamSystemAcl {
namespace {

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

// In a process that has traced nothing yet, as ctest runs this.
TEST_F(Tracing, EveryHandleIsListedBeforeItsFirstTrace) {
    auto const names = [] {
        std::vector<std::string> all;
        for (auto const& handle : Zet::TraceHandle::all()) {
            all.push_back(handle.name);
        }
        return all;
    };
    auto const atLoad = names();
    EXPECT_THAT(atLoad, testing::IsSupersetOf({"GroupInterface", "GroupResolver", "SwTableIter",
                                               "Ipv4SystemPolicyTcamActionEntryLog"}));
    testing_support::TraceCapture const traces;
    everyOperation();
    EXPECT_EQ(names(), atLoad);
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

} // namespace
} // namespace LoamSystemAcl
