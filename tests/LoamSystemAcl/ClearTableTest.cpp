#include "TableInUse.h"

#include <OrderedTable/SlateRead.h>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace LoamSystemAcl {
namespace {

using testing::StartsWith;

class ClearTable : public TableInUse {
  protected:
    static std::uint64_t wrappersMade() {
        return Zet::AllocTrackTypeInfo::allocated(Family::EntryWrapper::memAllocationTracker_);
    }
    static std::uint64_t handlesMade() {
        return Zet::AllocTrackTypeInfo::allocated(Table::EntryHandle::memAllocationTracker_);
    }
};

TEST_F(ClearTable, DeletesTheRecordsByOneTableDeleteAndCountsOnce) {
    committed({1, 2, 3});
    auto const wrappers = wrappersMade();
    table->clearTable(false);
    EXPECT_EQ(table->entrys(), 0U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
    EXPECT_EQ(tableVersion(), 4U);
    ASSERT_EQ(logRecords(), 1U);
    EXPECT_EQ(logRecord(4).logFlags, Asic::EntryFlags::flagTableDeleted);
    for (unsigned const number : {1U, 2U, 3U}) {
        EXPECT_TRUE(record(number).inDeletion());
        EXPECT_EQ(record(number).logVersion(), 4U);
    }
    EXPECT_EQ(wrappersMade(), wrappers);
    acknowledge();
    EXPECT_EQ(records().memberCount(), 0U);
}

TEST_F(ClearTable, OfAnEmptyTableWritesAndCountsNothing) {
    table->clearTable(false);
    table->clearTable(true);
    EXPECT_EQ(tableVersion(), 0U);
    EXPECT_EQ(logRecords(), 0U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 0U);
}

TEST_F(ClearTable, OfAUnitWithoutAConfigurationTableDoesNothing) {
    committed({1});
    table->entryLog()->tableConfigSlateDel(0);
    table->clearTable(true);
    EXPECT_EQ(tableVersion(), 1U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 0U);
}

TEST_F(ClearTable, OfRecordsThatAreAllInDeletionStillWritesATableDelete) {
    committed({1});
    remove(1);
    commitAll();
    table->clearTable(false);
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
    EXPECT_EQ(record(1).logVersion(), 2U); // that of its own delete
}

TEST_F(ClearTable, GivingBackResourcesMakesAWrapperPerLiveRecordAndOneHandle) {
    committed({1, 2, 3, 4});
    remove(2);
    commitAll();
    auto live = recordOrder();
    std::erase(live, 2U);
    auto const wrappers = wrappersMade();
    auto const wrappersLive =
        Zet::AllocTrackTypeInfo::live(Family::EntryWrapper::memAllocationTracker_);
    auto const handles = handlesMade();
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable", 1U << 8};
    table->clearTable(true);
    EXPECT_EQ(wrappersMade(), wrappers + 3);
    EXPECT_EQ(handlesMade(), handles + 1);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(Family::EntryWrapper::memAllocationTracker_),
              wrappersLive);
    std::vector<std::string> walked;
    std::vector<std::string> expected;
    for (auto const& line : traces.lines) {
        if (line.function == "entryWrapperFromConfig" || line.function == "setRsrcPtrs") {
            walked.push_back(line.text);
        }
    }
    for (unsigned const number : live) {
        expected.push_back(fmt::format("key: {:#010x}, refreshRsrcPtrs: false", number));
        expected.push_back(fmt::format("key: {:#010x}, refresh: false", number));
    }
    EXPECT_EQ(walked, expected);
}

TEST_F(ClearTable, ChangesNothingThatIsPending) {
    committed({1});
    write(2);
    remove(1);
    table->clearTable(false);
    EXPECT_TRUE(table->transientAddEntryHas(Key{2}));
    EXPECT_TRUE(table->transientRemoveEntryHas(Key{1}));
    EXPECT_EQ(agent.group()->groupResolver()->queued(), 2U);
    EXPECT_FALSE(table->transientRemoveAllVersion().valid());
    EXPECT_TRUE(table->entryHas(Key{2}));
}

TEST_F(ClearTable, NeedsNoResolverAndNoVersion) {
    committed({1});
    auto const commits = table->stats()->commitCnt();
    table->clearTable(false);
    EXPECT_EQ(agent.group()->groupResolver()->queued(), 0U);
    EXPECT_EQ(table->stats()->commitCnt(), commits);
    EXPECT_FALSE(table->transientVersionForKeyHas(Key{1}));
    EXPECT_EQ(table->entryHandleInLogFront(), nullptr);
}

TEST_F(ClearTable, LeavesTheMarkingStateAlone) {
    committed({1});
    table->mark();
    write(1);
    table->clearTable(false);
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_TRUE(table->markedKeyHas(Key{1}));
}

TEST_F(ClearTable, TracesItsEntryAndThatOfItsWorker) {
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    table->clearTable(true);
    ASSERT_EQ(traces.lines.size(), 2U);
    EXPECT_EQ(traces.lines[0].level, 8U);
    EXPECT_EQ(traces.lines[0].text, "");
    EXPECT_EQ(traces.lines[0].function, "clearTable");
    EXPECT_EQ(traces.lines[1].level, 8U);
    EXPECT_THAT(traces.lines[1].text, StartsWith(" releaseResources: true, neededEntry:"));
    EXPECT_EQ(traces.lines[1].text.back(), ' ');
    EXPECT_EQ(traces.lines[1].function, "delAllEntries");
    EXPECT_EQ(traces.lines[1].className, "OrderedSwTableAccessor");
}

TEST_F(ClearTable, ADamagedRecordEndsTheWalkIsReportedAndTheDeleteGoesOn) {
    committed({1, 2, 3});
    damage(recordOrder()[0]);
    auto const wrappers = wrappersMade();
    table->clearTable(true);
    EXPECT_EQ(wrappersMade(), wrappers);
    EXPECT_GT(records().corruptionCount(), 0U);
    EXPECT_EQ(tableVersion(), 4U);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
}

TEST_F(ClearTable, ADamagedRecordInTheMiddleEndsTheWalkThere) {
    committed({1, 2, 3});
    damage(recordOrder()[2]);
    auto const wrappers = wrappersMade();
    table->clearTable(true);
    EXPECT_EQ(wrappersMade(), wrappers + 2);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
}

// A map whose steps fail in another way than by damage.
struct FailingMap {
    struct Record {
        Ipv4SystemPolicyTcamEntryEntryKey key;
    };
    static Ipv4SystemPolicyTcamEntryEntryKey keyOf(Record const& record) { return record.key; }
    bool iterFirst(Record*, Slate::IterHint*) const { return true; }
    bool iterNext(Ipv4SystemPolicyTcamEntryEntryKey const&, Record*, Slate::IterHint*) const {
        throw std::runtime_error{"not damage"};
    }
    void doCorruptionDetected(Ombra::String const&) const {}
};

TEST(ClearTableDeathTest, AnyOtherFailureOfAStepEndsTheProcess) {
    FailingMap map;
    OrderedTable::SlateWalk<FailingMap> walk{map};
    EXPECT_DEATH(walk.next(), "terminate called");
}

TEST(ClearTableDeathTest, AWalkThatHasEndedIsNotUsed) {
    testing_support::AgentInProcess agent;
    auto const table = agent.makeSwTable<Ipv4SystemPolicyTcamEntryFamily>(0);
    auto& records = table->entryLog()->tableConfigSlate(0)->swTableEntries();
    OrderedTable::SlateWalk walk{records};
    EXPECT_DEATH(static_cast<void>(walk.record()), "Assertion `iter_' failed");
    EXPECT_DEATH(walk.next(), "Assertion `iter_' failed");
}

} // namespace
} // namespace LoamSystemAcl
