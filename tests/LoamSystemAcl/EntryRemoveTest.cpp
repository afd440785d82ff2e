#include "WritePath.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

template <typename Family>
class EntryRemove : public testing::Test {};
TYPED_TEST_SUITE(EntryRemove, TwoFamilies);

TYPED_TEST(EntryRemove, OfAKeyNeverWrittenIsAppliedAtItsCommit) {
    WritePath<TypeParam> t;
    auto const handle = t.remove(1);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(t.places(1), (Places{.version = 0, .remove = 0, .queued = 1}));
    EXPECT_EQ(t.commitAll(), 1U);
    EXPECT_EQ(handle->entryState(), State::entryApplied);
    EXPECT_EQ(handle->logVersion(), 0U);
    EXPECT_EQ(t.places(1), Places{});
}

TYPED_TEST(EntryRemove, AfterAWriteTakesItsPlaceAndGetsVersionOne) {
    WritePath<TypeParam> t;
    auto const written = t.write(1, 7);
    auto const removed = t.remove(1);
    EXPECT_EQ(written->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(removed->entryVersion(), EntryVersion(1, 0));
    EXPECT_EQ(t.places(1), (Places{.version = 1, .remove = 1, .queued = 2}));
    EXPECT_EQ(t.head()->entry()->entryHandle(), written);
}

TYPED_TEST(EntryRemove, TheWriteThatItOvertookIsLoggedAheadOfIt) {
    WritePath<TypeParam> t;
    auto const written = t.write(1, 7);
    auto const removed = t.remove(1);
    EXPECT_EQ(t.commitAll(), 2U);
    EXPECT_EQ(written->logVersion(), 1U);
    EXPECT_EQ(removed->logVersion(), 2U);
    EXPECT_EQ(t.change(1)->logFlags, EntryFlags::none);
    EXPECT_EQ(t.change(2)->logFlags, EntryFlags::flagEntryDeleted);
    EXPECT_EQ(t.places(1), (Places{.inLog = 2, .logged = 2}));
}

TYPED_TEST(EntryRemove, TracesItsSteps) {
    WritePath<TypeParam> t;
    TraceCapture const traces{t.tableName() + "*"};
    t.remove(0x2a);
    EXPECT_EQ(traces.lines,
              (Lines{t.own(8, "entryRemove", " key: 0x0000002a"),
                     t.own(8, "entryRemoveWithResponseHandler", " key: 0x0000002a"),
                     t.algorithm(8, "entryRemoveGeneric", " Key: 0x0000002a "),
                     t.algorithm(8, "entryRemoveGeneric",
                                 " Key: 0x0000002a not found in entry version collection"),
                     t.algorithm(2, "entryRemoveGeneric",
                                 " Done processing remove for key: 0x0000002a ")} +
               t.looksAtPending(true)));
}

TYPED_TEST(EntryRemove, WhileTheTableMarksLeavesTheMarksAsTheyWere) {
    WritePath<TypeParam> t;
    using Key = typename TypeParam::Key;
    t.table->inMarkingStateIs(true);
    t.table->markedKeyIs(Key{2});
    t.remove(1);
    t.remove(2);
    EXPECT_FALSE(t.table->markedKeyHas(Key{1}));
    EXPECT_TRUE(t.table->markedKeyHas(Key{2}));
}

TYPED_TEST(EntryRemove, IsNeverSuppressed) {
    for (bool const marking : {false, true}) {
        WritePath<TypeParam> t;
        t.table->inMarkingStateIs(marking);
        t.remove(1);
        EXPECT_EQ(t.head()->flags(), EntryFlags::flagEntryDeleted);
    }
}

TYPED_TEST(EntryRemove, CarriesADefaultEntryWithItsKey) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    t.remove(1);
    auto const wrapper = t.table->transientRemoveEntry(typename TypeParam::Key{1});
    EXPECT_EQ(wrapper->swTableEntry(), typename TypeParam::Entry{typename TypeParam::Key{1}});
}

// A subscriber tells at which moment of the call something has happened.
TYPED_TEST(EntryRemove, ItsResolverEntryIsMadeBeforeTheCollectionsChangeAndAWritesAfter) {
    using Tracked = typename TypeParam::ResolverEntry;
    WritePath<TypeParam> t;
    auto const made = [] {
        return Zet::AllocTrackTypeInfo::allocated(Tracked::memAllocationTracker_);
    };
    auto const before = made();
    std::vector<std::uint64_t> madeAtChange;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == TypeParam::SwTable::Field::transientAddEntry ||
            change.fieldId == TypeParam::SwTable::Field::transientRemoveEntry) {
            madeAtChange.push_back(made() - before);
        }
    });
    t.write(1, 7); // enters the writes
    t.remove(1);   // leaves the writes, enters the removes
    t.write(1, 8); // leaves the removes, enters the writes
    EXPECT_EQ(madeAtChange, (std::vector<std::uint64_t>{0, 2, 2, 2, 2}));
    EXPECT_EQ(made() - before, 3U);
}

TYPED_TEST(EntryRemove, HoldsItsDependencyAndACopyOfItsResponseHandler) {
    WritePath<TypeParam> t;
    auto const dependency = t.handleIn(State::entryInLog);
    unsigned answered = 0;
    auto const handle = t.remove(1, dependency, [&](auto const&) { ++answered; });
    EXPECT_EQ(t.head()->dependantEntryHandle(), dependency);
    EXPECT_TRUE(handle->responseHandler());
    EXPECT_FALSE(t.remove(2)->responseHandler());
    t.commitAll();
    EXPECT_EQ(answered, 1U);
}

TYPED_TEST(EntryRemove, CountsTheRemoveMovesTheGenerationAndTurnsPendingWritesOn) {
    WritePath<TypeParam> t;
    auto const genId = t.resolver().genId();
    t.remove(1);
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_EQ(t.table->stats()->entryRemoveCnt(), 1U);
    EXPECT_EQ(t.table->stats()->entryWriteCnt(), 0U);
    EXPECT_FALSE(t.resolver().suspended());
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
}

TYPED_TEST(EntryRemove, TouchesNeitherTheLogNorTheConfigurationTable) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.remove(1);
    EXPECT_EQ(t.logged(), 0U);
    EXPECT_FALSE(t.config(1)->inDeletion());
    EXPECT_EQ(t.table->entryLog()->tableVersion(), 1U);
}

TYPED_TEST(EntryRemove, TheLogsRecordOfItBearsTheStoredEntryAndNotThePlaceholder) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.remove(1);
    t.commitAll();
    EXPECT_EQ(t.change(2)->logEntry, t.entryOf(1, 7).logEntry());
}

TEST(EntryRemoveDeathTest, AnInvalidVersionOfTheKeyStopsTheProcess) {
    EntryPath t;
    t.table->transientVersionForKeyIs(EntryPath::Key{1}, EntryVersion{});
    EXPECT_DEATH(t.remove(1), failsWith("currEntryVersion.valid()"));
}

} // namespace
} // namespace LoamSystemAcl
