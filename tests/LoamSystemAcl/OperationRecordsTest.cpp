#include "WritePath.h"

#include <Ombra/MemTrack.h>
#include <Pallet/SlabAlloc.h>

#include <map>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using Handle = EntryPath::Handle;
using Wrapper = EntryPath::Wrapper;
using Zet::AllocTrackTypeInfo;

TEST(EntryHandle, StartsWithAnEmptyHandlerAndWhatItIsMadeFrom) {
    EntryPath t;
    auto const handle = Ombra::ptrIs<Handle>(EntryVersion{3, 4}, Key{5}, t.table.get());
    EXPECT_FALSE(handle->responseHandler());
    EXPECT_EQ(handle->entryVersion(), EntryVersion(3, 4));
    EXPECT_EQ(handle->key(), Key{5});
    EXPECT_EQ(handle->swTable(), t.table.get());
    EXPECT_EQ(handle->logVersion(), 0U);
    EXPECT_EQ(handle->refCount(), 1U);
}

TEST(EntryHandle, BearsTheStateThatItsMakerGivesIt) {
    EntryPath t;
    for (unsigned state = 0; state <= 6; ++state) {
        EXPECT_EQ(t.handleIn(State(state))->entryState(), State(state));
    }
}

TEST(EntryHandle, ItsFactoriesMakeTheSameAsItsConstructor) {
    EntryPath t;
    for (auto const& handle :
         {EntryPath::SwTable::entryHandleFactory(EntryVersion{1, 2}, Key{3}, t.table.get()),
          Handle::EntryHandleIs(EntryVersion{1, 2}, Key{3}, t.table.get())}) {
        EXPECT_EQ(handle->entryVersion(), EntryVersion(1, 2));
        EXPECT_EQ(handle->key(), Key{3});
        EXPECT_EQ(handle->swTable(), t.table.get());
        EXPECT_EQ(handle->refCount(), 1U); // the list's
    }
}

TEST(EntryHandle, TellsItsTablesNameAndIdUnderItsOwnClassName) {
    EntryPath t;
    auto const handle = t.handleIn(State::entryPending);
    TraceCapture const traces{t.tableName() + "*"};
    EXPECT_EQ(handle->tableName(), "OrderedSwTable.LoamSystemAcl.Ipv4SystemPolicyTcamEntry");
    EXPECT_EQ(handle->tableId(), Asic::SwTableId{0x08080404});
    EXPECT_EQ(traces.lines,
              (Lines{TraceCapture::Line{t.swTableName(), 8, "EntryHandle", "tableName", ""},
                     TraceCapture::Line{t.swTableName(), 8, "EntryHandle", "tableId", ""}}));
}

TEST(EntryHandle, ItsPlaceIsItsTablesIdAndItsLogVersion) {
    EntryPath t;
    auto const handle = t.handleIn(State::entryPending);
    EXPECT_EQ(handle->entryTableVersion(), (Asic::TableVersion{t.table->tableId(), {0}}));
    handle->logVersionIs(9);
    EXPECT_EQ(handle->entryTableVersion(), (Asic::TableVersion{t.table->tableId(), {9}}));
}

TEST(EntryHandle, AChangeOfItsTableIsToldWithTheFormerOneAndOnlyOnAChange) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    auto const handle = t.handleIn(State::entryPending);
    std::vector<EntryPath::SwTable*> formers;
    auto const subscription = handle->publisher()->subscribe([&](Ombra::Change const& change) {
        EXPECT_EQ(change.fieldId, Ombra::FieldId{0x203});
        EXPECT_EQ(handle->swTable(), other.get());
        formers.push_back(*static_cast<EntryPath::SwTable* const*>(change.former));
    });
    handle->swTableIs(other.get());
    handle->swTableIs(other.get());
    EXPECT_EQ(formers, std::vector{t.table.get()});
}

TEST(EntryHandle, DoesNotKeepItsTableAlive) {
    EntryPath t;
    auto const before = t.table->refCount();
    auto const handle = t.handleIn(State::entryPending);
    EXPECT_EQ(t.table->refCount(), before);
}

TEST(EntryHandle, IsToldFromHandlesOfOtherTables) {
    ActionPath actions;
    auto const entries = actions.agent.makeSwTable<EntryPath::Family>(0);
    auto const own = EntryPath::SwTable::entryHandleFactory({}, Key{1}, entries.get());
    EXPECT_EQ(Handle::exactly(own), own);
    EXPECT_EQ(Handle::exactly(actions.handleIn(State::entryPending)), nullptr);
    EXPECT_EQ(Handle::exactly(nullptr), nullptr);
}

TEST(OperationWrapper, HoldsItsOwnCopyOfTheEntryAndAReferenceToTheHandle) {
    EntryPath t;
    auto entry = t.entryOf(1, 7);
    auto const handle = t.handleIn(State::entryPending);
    auto const wrapper = Ombra::ptrIs<Wrapper>(entry, handle);
    entry = t.entryOf(2, 8);
    EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(1, 7));
    EXPECT_EQ(wrapper->key(), Key{1});
    EXPECT_EQ(wrapper->logEntry(), t.entryOf(1, 7).logEntry());
    EXPECT_EQ(wrapper->entryHandle(), handle);
    EXPECT_EQ(handle->refCount(), 2U);
}

TEST(OperationWrapper, ItsFactoriesMakeTheSameAsItsConstructor) {
    EntryPath t;
    auto const handle = t.handleIn(State::entryPending);
    for (auto const& wrapper :
         {Wrapper::Ipv4SystemPolicyTcamEntryEntryWrapperIs(t.entryOf(1, 7), handle),
          ipv4SystemPolicyTcamEntryEntryWrapperFactory(t.entryOf(1, 7), handle)}) {
        EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(1, 7));
        EXPECT_EQ(wrapper->entryHandle(), handle);
    }
}

TEST(OperationResolverEntry, HoldsWhatItIsMadeFromAndDoesNotKeepItsTableAlive) {
    EntryPath t;
    auto const dependency = t.handleIn(State::entryApplied);
    auto const wrapper = Ombra::ptrIs<Wrapper>(t.entryOf(1, 7), t.handleIn(State::entryPending));
    auto const tableReferences = t.table->refCount();
    for (auto const& entry :
         {EntryPath::ResolverEntry::Ipv4SystemPolicyTcamEntryResolverEntryIs(
              dependency, EntryFlags::flagEntryDeleted, t.table.get(), wrapper),
          ipv4SystemPolicyTcamEntryResolverEntryFactory(dependency, EntryFlags::flagEntryDeleted,
                                                        t.table.get(), wrapper)}) {
        EXPECT_EQ(entry->dependantEntryHandle(), dependency);
        EXPECT_EQ(entry->flags(), EntryFlags::flagEntryDeleted);
        EXPECT_EQ(entry->swTable(), t.table.get());
        EXPECT_EQ(entry->entry(), wrapper);
    }
    EXPECT_EQ(t.table->refCount(), tableReferences);
}

TEST(OperationResolverEntry, ItsFlagsTellTheOperation) {
    struct Row {
        std::function<void(EntryPath&)> operation;
        bool marking;
        EntryFlags flags;
    };
    Row const rows[] = {
        {[](EntryPath& t) { t.write(1, 7); }, false, EntryFlags::none},
        {[](EntryPath& t) { t.write(1, 7); }, true, EntryFlags::flagSuppressIdenticalWrites},
        {[](EntryPath& t) { t.remove(1); }, false, EntryFlags::flagEntryDeleted},
        {[](EntryPath& t) { t.remove(1); }, true, EntryFlags::flagEntryDeleted},
        {[](EntryPath& t) { t.removeAll(); }, false, EntryFlags::flagTableDeleted},
        {[](EntryPath& t) { t.removeAll(); }, true, EntryFlags::flagTableDeleted},
    };
    for (auto const& row : rows) {
        EntryPath t;
        t.table->inMarkingStateIs(row.marking);
        row.operation(t);
        EXPECT_EQ(t.head()->flags(), row.flags);
        EXPECT_EQ(t.head()->isEntryDeleted(), row.flags == EntryFlags::flagEntryDeleted);
        EXPECT_EQ(t.head()->isTableDeleted(), row.flags == EntryFlags::flagTableDeleted);
    }
}

TEST(NeededEntrySet, IsNewAndEmptyAtEachCallAlsoForARemoveAllsPlaceholder) {
    EntryPath t;
    t.removeAll();
    auto const wrapper = t.head()->entry();
    TraceCapture const traces{t.tableName() + "*"};
    auto const first = t.table->getNeededEntrySet(wrapper);
    first->add(Asic::TableVersion{t.table->tableId(), {5}});
    auto const second = t.table->getNeededEntrySet(wrapper);
    EXPECT_NE(first, second);
    EXPECT_TRUE(second->empty());
    EXPECT_EQ(traces.lines, (Lines{t.own(8, "getNeededEntrySet", "key: 0x00000000"),
                                   t.own(8, "getNeededEntrySet", "key: 0x00000000")}));
}

TEST(ResourcePointers, SettingThemTracesAndDoesNothingElse) {
    EntryPath t;
    auto const wrapper = Ombra::ptrIs<Wrapper>(t.entryOf(0x2a, 7), t.handleIn(State::entryPending));
    TraceCapture const traces{t.tableName() + "*"};
    t.table->setRsrcPtrs(wrapper, false);
    EXPECT_EQ(traces.lines, (Lines{t.own(8, "setRsrcPtrs", "key: 0x0000002a, refresh: false")}));
    EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(0x2a, 7));
}

// ---- allocation

// Objects that exist now, by class.
std::map<std::string, std::uint64_t> liveObjects() {
    std::map<std::string, std::uint64_t> live;
    for (auto const& each : AllocTrackTypeInfo::dump()) {
        live["objects of " + each.typeName] += each.live;
    }
    for (auto const& each : Ombra::MemTrack::dump()) {
        live["slots of " + each.typeName] += each.live;
    }
    std::erase_if(live, [](auto const& each) { return each.second == 0; });
    return live;
}

std::uint64_t liveBlocks(std::optional<Pallet::SlabAllocationPattern> pattern = {}) {
    std::uint64_t live = 0;
    for (auto const& each : Pallet::slabStats().classes) {
        live += !pattern || each.pattern == *pattern ? each.liveBlocks : 0;
    }
    return live;
}

template <typename Family>
class OperationAllocation : public testing::Test {};
TYPED_TEST_SUITE(OperationAllocation, TwoFamilies);

TYPED_TEST(OperationAllocation, AWriteMakesAHandleAWrapperAndAResolverEntryAndNothingElse) {
    WritePath<TypeParam> t;
    using T = WritePath<TypeParam>;
    t.write(1, 7); // the collections have their nodes
    auto const objects = [] {
        std::uint64_t made = 0;
        for (auto const& each : AllocTrackTypeInfo::dump()) {
            made += each.allocated;
        }
        return made;
    };
    auto const handles = AllocTrackTypeInfo::allocated(T::Handle::memAllocationTracker_);
    auto const wrappers = AllocTrackTypeInfo::allocated(T::Wrapper::memAllocationTracker_);
    auto const entries = AllocTrackTypeInfo::allocated(T::ResolverEntry::memAllocationTracker_);
    auto const all = objects();
    auto const blocks = liveBlocks();
    auto const perOperation = liveBlocks(Pallet::SlabAllocationPattern::perOperation);
    auto const handle = t.write(1, 8);
    EXPECT_EQ(AllocTrackTypeInfo::allocated(T::Handle::memAllocationTracker_) - handles, 1U);
    EXPECT_EQ(AllocTrackTypeInfo::allocated(T::Wrapper::memAllocationTracker_) - wrappers, 1U);
    EXPECT_EQ(AllocTrackTypeInfo::allocated(T::ResolverEntry::memAllocationTracker_) - entries, 1U);
    EXPECT_EQ(objects() - all, 3U);
    EXPECT_EQ(liveBlocks() - blocks, 3U); // the overtaken objects still wait in the queue
    EXPECT_EQ(liveBlocks(Pallet::SlabAllocationPattern::perOperation) - perOperation, 3U);
}

TYPED_TEST(OperationAllocation, NothingIsLeftWhenTheAgentHasEnded) {
    auto const life = [] {
        WritePath<TypeParam> t;
        auto const failed = t.handleIn(State::entryFailed);
        for (std::uint32_t key = 1; key <= 40; ++key) {
            t.write(key, 7);
            t.remove(key + 20);
        }
        t.commitAll();
        t.table->tableStatusVersion(30); // some handles wait
        t.write(1, 8, failed);
        t.remove(2, failed);
        t.commitAll(); // refused operations stay in the collections
        t.write(3, 7, nullptr, [keeps = t.handleIn(State::entryPending)](auto const&) {});
        t.removeAll();
        t.write(4, 7); // and some in the queue
        t.restart();
        t.write(5, 7);
        t.commitAll();
        t.table->sweep();
    };
    life(); // what is made once per process is made
    auto const objects = liveObjects();
    auto const blocks = liveBlocks();
    life();
    EXPECT_EQ(liveObjects(), objects);
    EXPECT_EQ(liveBlocks(), blocks);
}

// ---- traces that are off

TEST(OperationTraces, WithEveryLevelOffNoTraceIsMade) {
    EntryPath t;
    TraceCapture const traces{"*", 0};
    t.write(1, 7);
    t.write(2, 7, t.handleIn(State::entryFailed));
    t.remove(99);
    t.removeAll();
    t.commitAll();
    t.acknowledge();
    t.table->entryRead(Key{98});
    t.table->entryHas(Key{98});
    t.table->clearTable(true);
    t.table->mark();
    t.table->sweep();
    EXPECT_TRUE(traces.lines.empty());
}

// The count that the trace of a restored table shows costs a question to the log, which traces.
TEST(OperationTraces, AnArgumentIsNotEvaluatedWhenItsTraceIsOff) {
    auto const questions = [](bool on) {
        EntryPath t;
        t.applied(1, 7);
        t.agent.acknowledge(t.table->tableId(), 1);
        t.table = nullptr;
        t.agent.restart();
        TraceCapture const traces{t.tableName() + "EntryLog", 1U << 8};
        Zet::TraceHandle::levelsIs(t.tableName() + "Interface", on ? 1U << 2 : 0);
        t.agent.makeSwTable<EntryPath::Family>(0, false);
        Zet::TraceHandle::levelsIs(t.tableName() + "Interface", 0);
        return std::ranges::count(traces.lines, "entrys", &TraceCapture::Line::function);
    };
    EXPECT_EQ(questions(true), 1);
    EXPECT_EQ(questions(false), 0);
}

} // namespace
} // namespace LoamSystemAcl
