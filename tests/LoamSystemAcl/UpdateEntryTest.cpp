#include "TableInUse.h"

#include <OrderedTable/OrderedSwTableRead.h>
#include <OrderedTable/OrderedSwTableUpdate.h>

#include <gmock/gmock.h>

#include <optional>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Changes the entry to `value`, if there is one, and answers `logged`.
class Recomputing : public Ipv4SystemPolicyTcamEntryFamily::SwTableHelperBase {
  public:
    using Family = Ipv4SystemPolicyTcamEntryFamily;

    bool finalizeOnResourceUpdate(Ombra::Ptr<Family::EntryWrapper> const& entry,
                                  Ombra::Ptr<Family::SwTable> const& swTable,
                                  bool someResourceHasFailed) override {
        ++calls;
        saw = entry->swTableEntry();
        table = swTable.get();
        failed = someResourceHasFailed;
        if (value) {
            entry->swTableEntry().fields()[10] = static_cast<std::byte>(*value);
        }
        return logged;
    }

    std::optional<unsigned> value;
    bool logged = true;
    unsigned calls = 0;
    Family::Entry saw;
    Family::SwTable* table = nullptr;
    bool failed = true;
};

class UpdateEntry : public TableInUse {
  protected:
    using Accessor = Asic::OrderedSwTableAccessor<Table>;

    Ombra::Ptr<Recomputing> recomputing(std::optional<unsigned> value, bool logged) {
        auto helper = Ombra::ptrIs<Recomputing>();
        helper->value = value;
        helper->logged = logged;
        table->swTableHelperIs(helper);
        return helper;
    }
};

TEST_F(UpdateEntry, OfAnAbsentKeyGivesNullAndChangesNothing) {
    auto const helper = recomputing(9, true);
    testing_support::TraceCapture traces{"*", 1U << 3};
    EXPECT_EQ(table->updateEntry(Key{1}), nullptr);
    EXPECT_THAT(traces.texts(3), ElementsAre(" key: 0x00000001 entry does not exist "));
    EXPECT_EQ(traces.lines[0].function, "updateEntry");
    EXPECT_EQ(helper->calls, 0U);
    EXPECT_EQ(tableVersion(), 0U);
    EXPECT_EQ(table->stats()->updateCnt(), 0U);
}

TEST_F(UpdateEntry, OfAPendingKeyThatHasNoRecordGivesNull) {
    write(1);
    EXPECT_EQ(table->updateEntry(Key{1}), nullptr);
}

TEST_F(UpdateEntry, OfAKeyInDeletionGivesNull) {
    committed({1});
    remove(1);
    commitAll();
    EXPECT_EQ(table->updateEntry(Key{1}), nullptr);
}

TEST_F(UpdateEntry, WithTheBaseHelperGivesTheVersionThatThereIsAndLogsNothing) {
    committed({1, 2});
    auto const version = table->entryLog()->entryLogVersion(Key{1}, 0);
    ASSERT_NE(version, 0U);
    testing_support::TraceCapture traces{"*", 1U << 3};
    auto const handle = table->updateEntry(Key{1});
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), version);
    EXPECT_EQ(tableVersion(), 2U);
    EXPECT_EQ(logRecords(), 0U);
    EXPECT_EQ(table->stats()->updateCnt(), 0U);
    EXPECT_THAT(traces.texts(3), ElementsAre(" key: 0x00000001, commitToLog: true, no change in "
                                             "logEntry or don't commit to log"));
}

TEST_F(UpdateEntry, ThatChangesTheEntryLogsOneRecordWithANewVersion) {
    committed({1, 2});
    auto const helper = recomputing(9, true);
    testing_support::TraceCapture traces{"*", 1U << 3};
    auto const handle = table->updateEntry(Key{1});
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), 3U);
    EXPECT_EQ(tableVersion(), 3U);
    ASSERT_EQ(logRecords(), 1U);
    EXPECT_EQ(logRecord(3).logEntry, entryOf(1, 9).logEntry());
    EXPECT_EQ(table->entryFromConfig(Key{1}), entryOf(1, 9));
    EXPECT_EQ(table->stats()->updateCnt(), 1U);
    EXPECT_THAT(traces.texts(3),
                ElementsAre(" key: 0x00000001, neededEntry: {}, entryLogVersion: 3 "));
}

TEST_F(UpdateEntry, ThatChangesTheEntryAndIsNotToBeLoggedDropsTheChange) {
    committed({1});
    auto const helper = recomputing(9, false);
    testing_support::TraceCapture traces{"*", 1U << 3};
    auto const handle = table->updateEntry(Key{1});
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), 1U);
    EXPECT_EQ(tableVersion(), 1U);
    EXPECT_EQ(table->entryFromConfig(Key{1}), entryOf(1));
    EXPECT_EQ(table->stats()->updateCnt(), 0U);
    EXPECT_THAT(traces.texts(3), ElementsAre(" key: 0x00000001, commitToLog: false, no change in "
                                             "logEntry or don't commit to log"));
}

TEST_F(UpdateEntry, GivesTheHelperWhatIsCommittedAndTheTable) {
    committed({1}, 5);
    write(1, 6);
    auto const helper = recomputing(std::nullopt, true);
    table->updateEntry(Key{1});
    EXPECT_EQ(helper->calls, 1U);
    EXPECT_EQ(helper->saw, entryOf(1, 5));
    EXPECT_EQ(helper->table, table.get());
    EXPECT_FALSE(helper->failed);
}

TEST_F(UpdateEntry, LeavesAPendingWriteToBeCommittedOverItsResult) {
    committed({1});
    auto const helper = recomputing(9, true);
    auto const pending = write(1, 6);
    table->updateEntry(Key{1});
    EXPECT_EQ(pending->entryState(), State::entryPending);
    EXPECT_EQ(table->entryRead(Key{1}), entryOf(1, 6));
    EXPECT_EQ(table->entryFromConfig(Key{1}), entryOf(1, 9));
    commitAll();
    EXPECT_EQ(pending->logVersion(), 3U);
    EXPECT_EQ(table->entryFromConfig(Key{1}), entryOf(1, 6));
}

TEST_F(UpdateEntry, BypassesTheWritePath) {
    committed({1});
    auto const helper = recomputing(9, true);
    auto const commits = table->stats()->commitCnt();
    auto const writes = table->stats()->entryWriteCnt();
    auto const handle = table->updateEntry(Key{1});
    EXPECT_EQ(handle->entryVersion(), Asic::EntryVersion::first());
    EXPECT_EQ(table->transientAddEntrys(), 0U);
    EXPECT_FALSE(table->transientVersionForKeyHas(Key{1}));
    EXPECT_EQ(agent.group()->groupResolver()->queued(), 0U);
    EXPECT_EQ(table->stats()->commitCnt(), commits);
    EXPECT_EQ(table->stats()->entryWriteCnt(), writes);
}

TEST_F(UpdateEntry, GivesAHandleThatIsInNoQueueAndIsNeverApplied) {
    committed({1});
    auto const helper = recomputing(9, true);
    auto const handle = table->updateEntry(Key{1});
    EXPECT_EQ(table->entryHandleInLogFront(), nullptr);
    acknowledge();
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->refCount(), 1U);
}

TEST_F(UpdateEntry, GivesAHandleThatOthersCanDependOn) {
    committed({1});
    auto const helper = recomputing(9, true);
    auto const handle = table->updateEntry(Key{1});
    EXPECT_EQ(handle->entryTableVersion(), (Asic::TableVersion{table->tableId(), 2}));
    auto const dependant = table->entryWrite(Key{2}, entryOf(2), handle);
    commitAll();
    EXPECT_EQ(dependant->entryState(), State::entryInLog);
}

TEST_F(UpdateEntry, IsNeverSuppressedInAMarkingPhase) {
    committed({1});
    auto const helper = recomputing(9, true);
    table->mark();
    table->updateEntry(Key{1});
    EXPECT_EQ(tableVersion(), 2U);
    EXPECT_FALSE(table->markedKeyHas(Key{1}));
    EXPECT_EQ(table->stats()->suppressedWriteCnt() + table->stats()->suppressCheckDiffCnt(), 0U);
}

TEST_F(UpdateEntry, HasNoTraceOfItsOwnInTheTable) {
    committed({1});
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    table->updateEntry(Key{1});
    ASSERT_FALSE(traces.lines.empty());
    for (auto const& line : traces.lines) {
        EXPECT_FALSE(line.className == "Ipv4SystemPolicyTcamEntrySwTable" &&
                     line.function == "updateEntry");
    }
}

// --- the wrapper of a committed entry

using WrapperFromConfig = UpdateEntry;

TEST_F(WrapperFromConfig, HoldsTheCommittedEntryAndANewHandleOfVersionZero) {
    committed({1}, 5);
    Ombra::Ptr<Table::EntryHandle> handle;
    auto const wrapper = Accessor{table.get()}.entryWrapperFromConfig<Key, Family::EntryWrapper>(
        Key{1}, false, handle);
    EXPECT_EQ(wrapper->swTableEntry(), entryOf(1, 5));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(wrapper->entryHandle(), handle);
    EXPECT_EQ(handle->entryVersion(), (Asic::EntryVersion{0, 0}));
    EXPECT_EQ(handle->key(), Key{1});
    EXPECT_EQ(handle->swTable(), table.get());
    EXPECT_EQ(handle->entryState(), State::entryPending);
}

TEST_F(WrapperFromConfig, KeepsAHandleThatItIsGivenAndMakesNone) {
    committed({1});
    auto const given =
        Ombra::ptrIs<Table::EntryHandle>(Asic::EntryVersion{4, 0}, Key{9}, table.get());
    auto handle = given;
    auto const before =
        Zet::AllocTrackTypeInfo::allocated(Table::EntryHandle::memAllocationTracker_);
    auto const wrapper = Accessor{table.get()}.entryWrapperFromConfig<Key, Family::EntryWrapper>(
        Key{1}, false, handle);
    EXPECT_EQ(handle, given);
    EXPECT_EQ(wrapper->entryHandle(), given);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::allocated(Table::EntryHandle::memAllocationTracker_),
              before);
}

TEST_F(WrapperFromConfig, OfAKeyWithoutARecordBearsTheKeyAllTheSame) {
    Ombra::Ptr<Table::EntryHandle> handle;
    auto const wrapper = Accessor{table.get()}.entryWrapperFromConfig<Key, Family::EntryWrapper>(
        Key{7}, true, handle);
    EXPECT_EQ(wrapper->swTableEntry(), Entry{Key{7}});
}

TEST_F(WrapperFromConfig, TracesItsArgumentsAndWhatItHandsOn) {
    committed({1});
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable", 1U << 8};
    Ombra::Ptr<Table::EntryHandle> handle;
    Accessor{table.get()}.entryWrapperFromConfig<Key, Family::EntryWrapper>(Key{1}, true, handle);
    EXPECT_THAT(traces.texts(8), ElementsAre("key: 0x00000001, refreshRsrcPtrs: true",
                                             "key: 0x00000001", "key: 0x00000001, refresh: true"));
}

} // namespace
} // namespace LoamSystemAcl
