#include "WritePath.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

template <typename Family>
class Commit : public testing::Test {};
TYPED_TEST_SUITE(Commit, TwoFamilies);

// ---- the routes, for every table

TYPED_TEST(Commit, OfAnOvertakenWriteGoesToTheLogAndLeavesTheNewerOnesStateAlone) {
    WritePath<TypeParam> t;
    auto const older = t.write(1, 7);
    auto const newer = t.write(1, 8);
    t.commitOne();
    EXPECT_EQ(older->entryState(), State::entryInLog);
    EXPECT_EQ(t.change(1)->logEntry, t.entryOf(1, 7).logEntry());
    EXPECT_EQ(t.table->transientAddEntry(typename TypeParam::Key{1})->entryHandle(), newer);
    EXPECT_EQ(t.places(1), (Places{.version = 1, .add = 1, .queued = 1, .inLog = 1, .logged = 1}));
}

TYPED_TEST(Commit, OfAnOvertakenRemoveGoesToTheLogAndLeavesTheNewerOnesStateAlone) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.remove(1);
    t.remove(1);
    t.commitOne();
    EXPECT_EQ(t.change(2)->logFlags, EntryFlags::flagEntryDeleted);
    EXPECT_EQ(t.places(1),
              (Places{.version = 1, .remove = 1, .queued = 1, .inLog = 1, .logged = 1}));
}

TYPED_TEST(Commit, OfAWriteOvertakenByARemoveLeavesTheRemovesStateAlone) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    t.remove(1);
    t.commitOne();
    EXPECT_EQ(t.places(1),
              (Places{.version = 1, .remove = 1, .queued = 1, .inLog = 1, .logged = 1}));
    EXPECT_FALSE(t.table->entryHas(typename TypeParam::Key{1}));
}

TYPED_TEST(Commit, OfTheNewestWriteEmptiesAllThreeCollectionsOfTheKey) {
    WritePath<TypeParam> t;
    t.write(1, 7);
    t.remove(1);
    t.write(1, 8);
    t.commitAll();
    EXPECT_EQ(t.places(1), (Places{.inLog = 3, .logged = 3}));
    EXPECT_EQ(t.config(1)->logVersion(), 3U);
}

TYPED_TEST(Commit, OfAWriteStoresItInTheConfigurationTableAndInTheLog) {
    WritePath<TypeParam> t;
    auto const handle = t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(handle->logVersion(), 1U);
    EXPECT_EQ(t.config(1)->entry(), t.entryOf(1, 7));
    EXPECT_EQ(t.config(1)->logVersion(), 1U);
    EXPECT_EQ(t.change(1)->logFlags, EntryFlags::none);
    EXPECT_EQ(t.change(1)->unitId, 0U);
    EXPECT_EQ(t.change(1)->logEntry, t.entryOf(1, 7).logEntry());
    EXPECT_EQ(t.table->entryHandleInLogBack(), handle);
}

// A failed dependency refuses the operation in these states, and no other.
TYPED_TEST(Commit, IsRefusedByADependencyInStateThreeFiveOrSix) {
    for (unsigned state = 1; state <= 6; ++state) {
        SCOPED_TRACE(state);
        WritePath<TypeParam> t;
        unsigned answered = 0;
        auto const handle = t.write(1, 7, t.handleIn(State(state)), [&](AnyHandle const& done) {
            ++answered;
            EXPECT_EQ(done->entryState(), State::entryFailed);
        });
        EXPECT_EQ(t.commitAll(), 1U);
        bool const fails = state == 3 || state == 5 || state == 6;
        EXPECT_EQ(handle->entryState(), fails ? State::entryFailed : State::entryInLog);
        EXPECT_EQ(answered, fails ? 1U : 0U);
        EXPECT_EQ(t.places(1),
                  fails ? (Places{.version = 0, .add = 0}) : (Places{.inLog = 1, .logged = 1}));
    }
}

TYPED_TEST(Commit, RefusedForARemoveLeavesItPendingForReaders) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    auto const handle = t.remove(1, t.handleIn(State::entryFailed));
    t.commitAll();
    EXPECT_EQ(handle->entryState(), State::entryFailed);
    EXPECT_EQ(t.places(1), (Places{.version = 0, .remove = 0}));
    EXPECT_FALSE(t.table->entryHas(typename TypeParam::Key{1}));
    EXPECT_EQ(t.config(1)->entry(), t.entryOf(1, 7));
    EXPECT_TRUE(t.table->hasPendingHwWrites());
}

TYPED_TEST(Commit, AfterARefusalTheNextOperationOfTheKeyReplacesAndClearsIt) {
    WritePath<TypeParam> t;
    t.write(1, 7, t.handleIn(State(6)));
    t.commitAll();
    EXPECT_TRUE(t.table->hasPendingHwWrites());
    auto const next = t.write(1, 8);
    EXPECT_EQ(next->entryVersion(), EntryVersion(1, 0));
    t.commitAll();
    EXPECT_EQ(t.places(1), (Places{.inLog = 1, .logged = 1}));
    t.acknowledge();
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

TYPED_TEST(Commit, ARemoveAllAfterARefusalEmptiesTheEntriesAndNotTheVersions) {
    WritePath<TypeParam> t;
    t.write(1, 7, t.handleIn(State(6)));
    t.commitAll();
    t.removeAll();
    EXPECT_EQ(t.places(1), (Places{.version = 0, .queued = 1}));
}

// ---- what a caller sees, by outcome

struct Seen {
    State atCommit;
    LogVersion logVersion;
    unsigned answeredAtCommit;
    State atStatus;
    unsigned answeredInAll;

    friend bool operator==(Seen const&, Seen const&) = default;
};

// Follows one operation on key 1; earlier ones were logged up to version 2.
template <typename T>
Seen follow(T& t, std::function<typename T::HandlePtr(typename T::Handler)> const& operation) {
    unsigned answered = 0;
    auto const handle = operation([&](AnyHandle const&) { ++answered; });
    EXPECT_EQ(handle->entryState(), State::entryPending);
    t.commitAll();
    Seen seen{handle->entryState(), handle->logVersion(), answered, {}, {}};
    t.acknowledge();
    seen.atStatus = handle->entryState();
    seen.answeredInAll = answered;
    return seen;
}

TYPED_TEST(Commit, ACallerSeesTheOutcomesThatAreStated) {
    using T = WritePath<TypeParam>;
    using Handler = typename T::Handler;
    auto const inLog = State::entryInLog;
    auto const applied = State::entryApplied;
    auto const failed = State::entryFailed;
    struct Row {
        char const* outcome;
        bool cleaned; // the earlier records
        bool marking;
        std::function<typename T::HandlePtr(T&, Handler)> operation;
        Seen seen;
    };
    Row const rows[] = {
        {"write written to the log",
         true,
         false,
         [](T& t, Handler h) { return t.write(1, 8, nullptr, h); },
         {inLog, 3, 0, applied, 1}},
        {"remove written to the log",
         true,
         false,
         [](T& t, Handler h) { return t.remove(1, nullptr, h); },
         {inLog, 3, 0, applied, 1}},
        {"identical write while not marking",
         true,
         false,
         [](T& t, Handler h) { return t.write(1, 7, nullptr, h); },
         {inLog, 3, 0, applied, 1}},
        {"other write while marking",
         true,
         true,
         [](T& t, Handler h) { return t.write(1, 8, nullptr, h); },
         {inLog, 3, 0, applied, 1}},
        {"write suppressed, its old version cleaned",
         true,
         true,
         [](T& t, Handler h) { return t.write(1, 7, nullptr, h); },
         {applied, 2, 1, applied, 1}},
        {"write suppressed, its old version not yet cleaned",
         false,
         true,
         [](T& t, Handler h) { return t.write(1, 7, nullptr, h); },
         {inLog, 2, 0, applied, 1}},
        {"remove of an entry that does not exist",
         true,
         false,
         [](T& t, Handler h) { return t.remove(99, nullptr, h); },
         {applied, 0, 1, applied, 1}},
        {"write, dependency failed",
         true,
         false,
         [](T& t, Handler h) { return t.write(1, 8, t.handleIn(State(3)), h); },
         {failed, 0, 1, failed, 1}},
        {"remove, dependency failed",
         true,
         false,
         [](T& t, Handler h) { return t.remove(1, t.handleIn(State(6)), h); },
         {failed, 0, 1, failed, 1}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.outcome);
        T t;
        t.write(2, 1);
        t.write(1, 7);
        t.commitAll();
        if (row.cleaned) {
            t.acknowledge();
        }
        t.table->inMarkingStateIs(row.marking);
        auto const logged = t.logged();
        auto const seen = follow<T>(t, [&](Handler h) { return row.operation(t, h); });
        EXPECT_EQ(seen, row.seen);
        if (row.seen.logVersion != 3) { // nothing was written
            EXPECT_EQ(t.table->entryLog()->tableVersion(), 2U);
            EXPECT_LE(t.logged(), logged);
        }
    }
}

TEST(CommitSuppression, AMarkedIdenticalRewriteAfterARestartEndsWithoutARecordOrAWait) {
    EntryPath t;
    t.write(1, 7);
    t.commitAll();
    t.agent.acknowledge(t.table->tableId(), 1);
    t.restart();
    ASSERT_TRUE(t.table->inMarkingState());
    auto const handle = t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(handle->entryState(), State::entryApplied);
    EXPECT_EQ(handle->logVersion(), 1U);
    EXPECT_EQ(t.places(1), Places{});
    EXPECT_EQ(t.table->entryLog()->tableVersion(), 1U);
    EXPECT_EQ(t.table->stats()->suppressedWriteCnt(), 1U);
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

} // namespace
} // namespace LoamSystemAcl
