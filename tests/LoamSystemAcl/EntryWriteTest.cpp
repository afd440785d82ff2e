#include "WritePath.h"

#include <memory>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

template <typename Family>
class EntryWrite : public testing::Test {};
TYPED_TEST_SUITE(EntryWrite, TwoFamilies);

TYPED_TEST(EntryWrite, TheFirstWriteOfAKeyGetsVersionZero) {
    WritePath<TypeParam> t;
    auto const handle = t.write(1, 7);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(handle->logVersion(), 0U);
    EXPECT_EQ(handle->key(), typename TypeParam::Key{1});
    EXPECT_EQ(handle->swTable(), t.table.get());
}

TYPED_TEST(EntryWrite, TracesItsStepsAndThatAFirstKeyWasNotFound) {
    WritePath<TypeParam> t;
    TraceCapture const traces{t.tableName() + "*"};
    t.write(0x2a, 7);
    EXPECT_EQ(
        traces.lines,
        (Lines{t.own(8, "entryWrite", " key: 0x0000002a"),
               t.own(8, "entryWriteWithResponseHandler", " key: 0x0000002a"),
               t.algorithm(8, "entryWriteGeneric", "key: 0x0000002a"),
               t.algorithm(8, "entryWriteGeneric",
                           " Key: 0x0000002a not found in entry version collection"),
               t.algorithm(2, "entryWriteGeneric", "Done processing write for key: 0x0000002a ")} +
         t.looksAtPending(true)));
}

TYPED_TEST(EntryWrite, ASecondWriteDoesNotTraceThatTheKeyWasNotFound) {
    WritePath<TypeParam> t;
    t.write(0x2a, 7);
    TraceCapture const traces{t.tableName() + "*"};
    t.write(0x2a, 8);
    EXPECT_FALSE(traces.has(8, " Key: 0x0000002a not found in entry version collection"));
    EXPECT_TRUE(traces.has(2, "Done processing write for key: 0x0000002a "));
}

TYPED_TEST(EntryWrite, ASecondWriteBeforeCommitGetsVersionOne) {
    WritePath<TypeParam> t;
    auto const first = t.write(1, 7);
    auto const second = t.write(1, 8);
    EXPECT_EQ(first->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(second->entryVersion(), EntryVersion(1, 0));
    EXPECT_EQ(t.table->transientVersionForKey(typename TypeParam::Key{1}), EntryVersion(1, 0));
    EXPECT_EQ(t.table->transientAddEntrys(), 1U);
    auto const wrapper = t.table->transientAddEntry(typename TypeParam::Key{1});
    EXPECT_EQ(wrapper->entryHandle(), second);
    EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(1, 8));
}

TYPED_TEST(EntryWrite, BothOverlappingWritesStayQueuedInOrder) {
    WritePath<TypeParam> t;
    auto const first = t.write(1, 7);
    auto const second = t.write(1, 8);
    EXPECT_EQ(t.queued(), 2U);
    EXPECT_EQ(t.head()->entry()->entryHandle(), first);
    t.commitOne();
    EXPECT_EQ(t.queued(), 1U);
    EXPECT_EQ(t.head()->entry()->entryHandle(), second);
}

TYPED_TEST(EntryWrite, AWriteAfterAPendingRemoveTakesItsPlaceAndCountsOn) {
    WritePath<TypeParam> t;
    auto const removed = t.remove(1);
    auto const written = t.write(1, 8);
    EXPECT_EQ(removed->entryVersion(), EntryVersion(0, 0));
    EXPECT_EQ(written->entryVersion(), EntryVersion(1, 0));
    EXPECT_EQ(t.places(1), (Places{.version = 1, .add = 1, .queued = 2}));
    EXPECT_EQ(t.head()->entry()->entryHandle(), removed);
}

TYPED_TEST(EntryWrite, AKeyWrittenAgainAfterItsCommitGetsVersionZeroAgain) {
    WritePath<TypeParam> t;
    auto const first = t.write(1, 7);
    t.commitAll();
    auto const second = t.write(1, 8);
    EXPECT_EQ(first->entryVersion(), second->entryVersion());
}

TYPED_TEST(EntryWrite, KeysCountTheirVersionsApart) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    t.write(1, 8);
    EXPECT_EQ(t.write(2, 7)->entryVersion(), EntryVersion(0, 0));
}

TYPED_TEST(EntryWrite, TheNextVersionRaisesTheMajorAndKeepsTheMinor) {
    WritePath<TypeParam> t;
    t.table->transientVersionForKeyIs(typename TypeParam::Key{1}, EntryVersion{5, 7});
    EXPECT_EQ(t.write(1, 7)->entryVersion(), EntryVersion(6, 7));
    EXPECT_EQ(t.remove(1)->entryVersion(), EntryVersion(7, 7));
}

TYPED_TEST(EntryWrite, WhileTheTableMarksAWriteMarksItsKeyAndMayBeSuppressed) {
    WritePath<TypeParam> t;
    t.table->inMarkingStateIs(true);
    t.write(1, 7);
    EXPECT_TRUE(t.table->markedKeyHas(typename TypeParam::Key{1}));
    EXPECT_EQ(t.head()->flags(), EntryFlags::flagSuppressIdenticalWrites);
}

// Whether it may be suppressed is asked when its resolver entry is made, behind all the changes.
TYPED_TEST(EntryWrite, OfAPhaseThatASubscriberEndsMeanwhileIsNotSuppressed) {
    WritePath<TypeParam> t;
    using Field = typename TypeParam::SwTable::Field;
    for (auto const field :
         {Field::markedKey, Field::transientRemoveEntry, Field::transientAddEntry}) {
        t.remove(1);
        t.table->inMarkingStateIs(true);
        auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
            if (change.fieldId == field) {
                t.table->inMarkingStateIs(false);
            }
        });
        t.write(1, 7);
        t.commitOne();
        EXPECT_EQ(t.head()->flags(), EntryFlags::none);
        EXPECT_TRUE(t.table->markedKeyHas(typename TypeParam::Key{1}));
        t.commitAll();
        t.table->markedKeyDelAll();
    }
}

TYPED_TEST(EntryWrite, WhileTheTableDoesNotMarkAWriteDoesNeither) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    EXPECT_EQ(t.table->markedKeyColl().size(), 0U);
    EXPECT_EQ(t.head()->flags(), EntryFlags::none);
}

TYPED_TEST(EntryWrite, TheKeyArgumentRulesOverTheKeyWithinTheEntry) {
    WritePath<TypeParam> t;
    using Key = typename TypeParam::Key;
    auto const handle = t.table->entryWrite(Key{1}, t.entryOf(2, 7), nullptr);
    EXPECT_EQ(handle->key(), Key{1});
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 7));
    EXPECT_FALSE(t.table->entryHas(Key{2}));
    t.commitAll();
    EXPECT_EQ(t.table->entryFromConfig(Key{1}), t.entryOf(1, 7));
    EXPECT_FALSE(t.config(2));
}

TYPED_TEST(EntryWrite, AWriteBehindAPendingRemoveAllIsAcceptedAsAnyOther) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.removeAll();
    auto const handle = t.write(1, 8);
    EXPECT_EQ(t.places(1), (Places{.version = 0, .add = 0, .queued = 2}));
    EXPECT_EQ(t.table->transientRemoveAllVersion(), MajorVersion{0});
    EXPECT_EQ(t.commitAll(), 2U);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->entryRead(typename TypeParam::Key{1}), t.entryOf(1, 8));
}

TYPED_TEST(EntryWrite, ANullDependencyIsNone) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    EXPECT_EQ(t.head()->dependantEntryHandle(), nullptr);
}

TYPED_TEST(EntryWrite, TheResolverEntryHoldsTheOperationAndItsDependency) {
    WritePath<TypeParam> t;
    auto const dependency = t.handleIn(State::entryPending);
    auto const handle = t.write(1, 7, dependency);
    auto const head = t.head();
    EXPECT_EQ(head->dependantEntryHandle(), dependency);
    EXPECT_EQ(head->swTable(), t.table.get());
    EXPECT_EQ(head->entry(), t.table->transientAddEntry(typename TypeParam::Key{1}));
    EXPECT_EQ(head->entry()->entryHandle(), handle);
}

TYPED_TEST(EntryWrite, WithoutAResponseHandlerTheHandlesOneIsEmpty) {
    WritePath<TypeParam> t;
    auto const plain = t.write(1, 7);
    auto const empty = t.write(2, 7, nullptr, typename WritePath<TypeParam>::Handler{});
    EXPECT_FALSE(plain->responseHandler());
    EXPECT_FALSE(empty->responseHandler());
    t.commitAll();
    t.acknowledge(); // an empty function that was called would throw
    EXPECT_EQ(plain->entryState(), State::entryApplied);
    EXPECT_EQ(empty->entryState(), State::entryApplied);
}

TYPED_TEST(EntryWrite, TheHandleOwnsACopyOfTheResponseHandler) {
    WritePath<TypeParam> t;
    auto const token = std::make_shared<int>(0);
    {
        typename WritePath<TypeParam>::Handler handler = [token](auto const&) { ++*token; };
        t.write(1, 7, nullptr, handler);
        EXPECT_EQ(token.use_count(), 3); // ours, the caller's handler, the handle's copy
    }
    EXPECT_EQ(token.use_count(), 2);
    t.commitAll();
    t.acknowledge();
    EXPECT_EQ(*token, 1);
    EXPECT_EQ(token.use_count(), 1); // nobody held the handle any more
}

TYPED_TEST(EntryWrite, CountsTheWriteMovesTheGenerationAndTurnsPendingWritesOn) {
    WritePath<TypeParam> t;
    auto const genId = t.resolver().genId();
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
    t.write(1, 7);
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_EQ(t.table->stats()->entryWriteCnt(), 1U);
    EXPECT_EQ(t.table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(t.table->stats()->commitCnt(), 0U);
    EXPECT_FALSE(t.resolver().suspended());
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
}

// As every queued operation: it is queued and counted, then the resolver takes note of it, then the
// set does.
TYPED_TEST(EntryWrite, TheSetTakesNoteOfItLast) {
    using T = WritePath<TypeParam>;
    struct Row {
        std::function<void(T&)> operation;
        std::uint64_t writes;
        std::uint64_t removes;
    };
    Row const rows[] = {{[](T& t) { t.write(1, 7); }, 1, 0},
                        {[](T& t) { t.remove(1); }, 0, 1},
                        {[](T& t) { t.removeAll(); }, 0, 0}};
    for (auto const& row : rows) {
        T t;
        ASSERT_TRUE(t.resolver().suspended());
        unsigned told = 0;
        auto const subscription =
            t.table->status()->publisher()->subscribe([&](Ombra::Change const&) {
                ++told;
                EXPECT_EQ(t.queued(), 1U);
                EXPECT_EQ(t.table->stats()->entryWriteCnt(), row.writes);
                EXPECT_EQ(t.table->stats()->entryRemoveCnt(), row.removes);
                EXPECT_FALSE(t.resolver().suspended());
            });
        row.operation(t);
        EXPECT_EQ(told, 1U);
    }
}

// As every queued operation.
TYPED_TEST(EntryWrite, IsQueuedAndNotYetCountedWhenItSaysThatItIsDone) {
    using T = WritePath<TypeParam>;
    std::function<void(T&)> const operations[] = {
        [](T& t) { t.write(1, 7); }, [](T& t) { t.remove(1); }, [](T& t) { t.removeAll(); }};
    for (auto const& operation : operations) {
        T t;
        auto const genId = t.resolver().genId();
        unsigned said = 0;
        Zet::TraceHandle::levelsIs(t.swTableName(), 1U << 2);
        auto former = Ombra::traceSinkIs([&](Ombra::TraceRecord const&) {
            ++said;
            EXPECT_EQ(t.queued(), 1U);
            EXPECT_EQ(t.resolver().genId(), genId + 1);
            EXPECT_EQ(t.table->stats()->entryWriteCnt() + t.table->stats()->entryRemoveCnt(), 0U);
            EXPECT_TRUE(t.resolver().suspended());
        });
        operation(t);
        Ombra::traceSinkIs(std::move(former));
        Zet::TraceHandle::levelsIs(t.swTableName(), 0);
        EXPECT_EQ(said, 1U);
    }
}

TYPED_TEST(EntryWrite, TouchesNeitherTheLogNorTheConfigurationTable) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    EXPECT_EQ(t.logged(), 0U);
    EXPECT_FALSE(t.config(1));
    EXPECT_EQ(t.table->entryLog()->tableVersion(), 0U);
}

// Where the write and what it overtakes show at each stage of their lives.
TYPED_TEST(EntryWrite, AtEachStageAWriteIsWhereItBelongs) {
    struct Stage {
        char const* name;
        std::function<void(WritePath<TypeParam>&)> happens;
        Places places;
        State older;
        State newer;
    };
    typename WritePath<TypeParam>::HandlePtr older;
    typename WritePath<TypeParam>::HandlePtr newer;
    auto const p = State::entryPending;
    auto const l = State::entryInLog;
    auto const a = State::entryApplied;
    Stage const stages[] = {
        {"written", [&](auto& t) { newer = older = t.write(1, 7); },
         Places{.version = 0, .add = 0, .queued = 1}, p, p},
        {"overtaken by a newer write", [&](auto& t) { newer = t.write(1, 8); },
         Places{.version = 1, .add = 1, .queued = 2}, p, p},
        {"committed, overtaken", [](auto& t) { t.commitOne(); },
         Places{.version = 1, .add = 1, .queued = 1, .inLog = 1, .logged = 1}, l, p},
        {"committed, newest", [](auto& t) { t.commitOne(); }, Places{.inLog = 2, .logged = 2}, l,
         l},
        {"the status has caught up with the first", [](auto& t) { t.table->tableStatusVersion(1); },
         Places{.inLog = 1, .logged = 1}, a, l},
        {"the status has caught up with both", [](auto& t) { t.table->tableStatusVersion(2); },
         Places{}, a, a},
        {"the same written again while marking",
         [&](auto& t) {
             t.table->inMarkingStateIs(true);
             newer = t.write(1, 8);
         },
         Places{.version = 0, .add = 0, .queued = 1}, a, p},
        {"committed, already covered", [](auto& t) { t.commitOne(); }, Places{}, a, a},
    };
    WritePath<TypeParam> t;
    for (auto const& stage : stages) {
        SCOPED_TRACE(stage.name);
        stage.happens(t);
        EXPECT_EQ(t.places(1), stage.places);
        EXPECT_EQ(older->entryState(), stage.older);
        EXPECT_EQ(newer->entryState(), stage.newer);
    }
}

TEST(EntryWriteDeathTest, AnInvalidVersionOfTheKeyStopsTheProcess) {
    EntryPath t;
    t.table->transientVersionForKeyIs(EntryPath::Key{1}, EntryVersion{});
    EXPECT_DEATH(t.write(1, 7), failsWith("currEntryVersion.valid()"));
}

} // namespace
} // namespace LoamSystemAcl
