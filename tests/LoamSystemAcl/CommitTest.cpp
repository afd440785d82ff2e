#include "WritePath.h"

#include <stdexcept>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using Field = EntryPath::SwTable::Field;

// A client's helper that tells what it is called with.
class ListeningHelper : public EntryPath::Helper {
  public:
    using Listener = std::function<void(Ombra::Ptr<EntryPath::Wrapper> const&, bool isDelete)>;
    explicit ListeningHelper(Listener listener) : listener_{std::move(listener)} {}

    void finalizeOnSuccess(Ombra::Ptr<EntryPath::Wrapper> const& entry, bool isDelete,
                           Ombra::Ptr<EntryPath::SwTable> const&) override {
        listener_(entry, isDelete);
    }

  private:
    Listener listener_;
};

// Makes one line of each change of the table's attributes among the traces.
Ombra::Subscription noteChanges(EntryPath const& t, TraceCapture& traces) {
    return t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        traces.lines.push_back(
            {"", 0, "", "", fmt::format("change of {:#x}", static_cast<unsigned>(change.fieldId))});
    });
}

TraceCapture::Line changeOf(unsigned field) {
    return {"", 0, "", "", fmt::format("change of {:#x}", field)};
}

TraceCapture::Line log(std::string function, std::string text) {
    return {EntryPath::tableName() + "EntryLog", 8, EntryPath::tableName() + "EntryLog",
            std::move(function), std::move(text)};
}

TraceCapture::Line finalized(std::string text) {
    return {EntryPath::swTableName(), 8, EntryPath::wrapperName(), "finalizeOnSuccess",
            std::move(text)};
}

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

// ---- order

TEST(CommitOrder, AWriteIsFinalisedThenLeavesTheCollectionsThenGoesToTheLog) {
    EntryPath t;
    auto const handle = t.write(0x2a, 7);
    TraceCapture traces{t.tableName() + "*"};
    auto const subscription = noteChanges(t, traces);
    t.head()->commitEntry(t.head());
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "commitEntry",
                           "Entry: 0x0000002a, isEntryDeleted: false, isTableDeleted: false"),
               finalized(" key: 0x0000002a isDeleted: false"), changeOf(0x303), changeOf(0x305),
               t.own(8, "getNeededEntrySet", "key: 0x0000002a"),
               t.algorithm(8, "entryFromConfig", "key: 0x0000002a"),
               log("entryIs", fmt::format(" logEntry: {} neededEntry: {{}} version: 1 unitId: 0 "
                                          "suppressIdenticalWrites: false",
                                          t.entryOf(0x2a, 7).logEntry())),
               changeOf(0x316)} +
         t.looksAtPending(true)));
}

TEST(CommitOrder, ARemoveLeavesTheCollectionsThenIsFinalisedThenGoesToTheLog) {
    EntryPath t;
    t.applied(0x2a, 7);
    t.remove(0x2a);
    TraceCapture traces{t.tableName() + "*"};
    auto const subscription = noteChanges(t, traces);
    t.head()->commitEntry(t.head());
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "commitEntry",
                           "Entry: 0x0000002a, isEntryDeleted: true, isTableDeleted: false"),
               t.algorithm(8, "entryFromConfig", "key: 0x0000002a"), changeOf(0x304),
               changeOf(0x305), finalized(" key: 0x0000002a isDeleted: true"),
               log("entryDel", " key:0x0000002a neededEntry: {} unitId: 0"), changeOf(0x316)} +
         t.looksAtPending(true)));
}

TEST(CommitOrder, ARefusalDoesNothingBetweenItsTracesAndTheClosingSteps) {
    struct Row {
        char const* operation;
        std::function<void(EntryPath&, Dependency const&)> queue;
        Lines lines;
    };
    Row const rows[] = {
        {"write",
         [](EntryPath& t, Dependency const& failed) { t.write(0x2a, 7, failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x0000002a, isEntryDeleted: false, isTableDeleted: false"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for key: 0x0000002a"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry key: 0x0000002a")}},
        {"remove",
         [](EntryPath& t, Dependency const& failed) { t.remove(0x2a, failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x0000002a, isEntryDeleted: true, isTableDeleted: false"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for key: 0x0000002a"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry key: 0x0000002a")}},
        {"remove-all",
         [](EntryPath& t, Dependency const& failed) { t.removeAll(failed); },
         {EntryPath::algorithm(8, "commitEntry",
                               "Entry: 0x00000000, isEntryDeleted: false, isTableDeleted: true"),
          EntryPath::algorithm(1, "commitEntry", "Failed dependent entry for remove all"),
          EntryPath::algorithm(1, "commitEntry", "Failed to commit entry remove all operation")}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.operation);
        EntryPath t;
        row.queue(t, t.handleIn(State::entryFailed));
        auto const announced = t.table->entryLog()->tableVersion();
        TraceCapture traces{t.tableName() + "*"};
        auto const subscription = noteChanges(t, traces);
        t.head()->commitEntry(t.head());
        EXPECT_EQ(traces.lines, row.lines + t.looksAtPending(true));
        EXPECT_EQ(t.table->entryLog()->tableVersion(), announced);
    }
}

TEST(CommitOrder, WhenTheHelperIsCalledForAWriteNothingHasChangedYet) {
    EntryPath* path = nullptr;
    EntryPath::HandlePtr handle;
    unsigned calls = 0;
    EntryPath t{Ombra::ptrIs<ListeningHelper>([&](auto const& wrapper, bool isDelete) {
        ++calls;
        EXPECT_FALSE(isDelete);
        EXPECT_EQ(wrapper->entryHandle(), handle);
        EXPECT_EQ(path->places(1), (Places{.version = 0, .add = 0}));
        EXPECT_EQ(handle->entryState(), State::entryPending);
        EXPECT_FALSE(path->config(1));
    })};
    path = &t;
    handle = t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(calls, 1U);
}

TEST(CommitOrder, WhenTheHelperIsCalledForARemoveThePendingStateIsGoneAndTheLogNotWritten) {
    EntryPath* path = nullptr;
    unsigned removes = 0;
    EntryPath t{Ombra::ptrIs<ListeningHelper>([&](auto const&, bool isDelete) {
        if (isDelete) {
            ++removes;
            EXPECT_EQ(path->places(1), Places{});
            EXPECT_FALSE(path->config(1)->inDeletion());
        }
    })};
    path = &t;
    t.applied(1, 7);
    t.remove(1);
    t.commitAll();
    EXPECT_EQ(removes, 1U);
}

TEST(CommitOrder, TheHandleIsQueuedWithItsVersionAndStateOnceTheLogHasTheRecord) {
    EntryPath t;
    auto const handle = t.write(1, 7);
    unsigned queued = 0;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        if (change.fieldId == Field::entryHandleInLog) {
            ++queued;
            EXPECT_EQ(handle->logVersion(), 1U);
            EXPECT_EQ(handle->entryState(), State::entryInLog);
            EXPECT_EQ(t.logged(), 1U);
            EXPECT_EQ(t.table->stats()->commitCnt(), 0U); // counted last
        }
    });
    t.commitAll();
    EXPECT_EQ(queued, 1U);
    EXPECT_EQ(t.table->stats()->commitCnt(), 1U);
}

TEST(CommitOrder, OperationsOfAllUnitsOfATableAreLoggedInTheOrderOfTheCalls) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    auto const first = other->entryWrite(Key{1}, t.entryOf(1, 7), nullptr);
    auto const second = t.write(1, 8);
    auto const third = other->entryWrite(Key{2}, t.entryOf(2, 9), nullptr);
    t.commitAll();
    EXPECT_EQ(first->logVersion(), 1U);
    EXPECT_EQ(second->logVersion(), 2U);
    EXPECT_EQ(third->logVersion(), 3U);
    EXPECT_EQ(t.change(1)->unitId, 1U);
    EXPECT_EQ(t.change(2)->unitId, 0U);
}

// ---- dependencies and closing steps

TEST(CommitNeeds, ADependencysPlaceTravelsWithTheRecord) {
    for (bool const removes : {false, true}) {
        ActionPath actions;
        EntryPath::Family::Interface::getIntf(actions.agent.intf());
        auto const entries = actions.agent.makeSwTable<EntryPath::Family>(0);
        entries->entryWrite(Key{1}, EntryPath::entryOf(1, 6), nullptr);
        auto const action = actions.write(5, 7);
        auto const handle = removes ? entries->entryRemove(Key{1}, action)
                                    : entries->entryWrite(Key{1}, EntryPath::entryOf(1, 7), action);
        actions.commitAll();
        ASSERT_EQ(handle->logVersion(), 2U);
        auto const slate = Ombra::dynamicCast<Asic::AnnouncementSlate>(
            actions.agent.sharedMem()->getEntity(Asic::Constants::announcementSlatePath(
                actions.agent.canonicalGroup(), entries->tableId())));
        bool found = false;
        EXPECT_EQ(slate->map().lookup(1, &found, nullptr).count, 0U);
        EXPECT_FALSE(found); // without dependency, nothing is needed
        auto const record = slate->map().lookup(2, &found, nullptr);
        ASSERT_TRUE(found);
        EXPECT_EQ(record.count, 1U);
        EXPECT_EQ(record.places[0], (Asic::TableVersion{actions.table->tableId(), {1}}));
    }
}

TEST(CommitClosing, CountsAndTimesEveryCommitAlsoTheRefused) {
    EntryPath t;
    auto const before = Zet::System::currentTimeUtc();
    EXPECT_LT(t.table->stats()->lastCommitTime, before);
    t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(t.table->stats()->commitCnt(), 1U);
    auto const failed = t.handleIn(State::entryFailed);
    t.write(1, 7, failed);
    t.remove(1, failed);
    t.removeAll(failed);
    t.table->stats()->lastCommitTime = {};
    t.commitAll();
    EXPECT_EQ(t.table->stats()->commitCnt(), 4U);
    EXPECT_GE(t.table->stats()->lastCommitTime, before);
    t.removeAll();
    t.commitAll();
    EXPECT_EQ(t.table->stats()->commitCnt(), 5U);
}

TEST(CommitClosing, TakesThePendingWritesDownWhenNothingIsLeft) {
    EntryPath t;
    t.remove(1);
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
    t.commitAll();
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
}

// ---- response handlers and exceptions

TEST(CommitHandler, IsCalledWithTheHandleAfterItsStateIsSet) {
    EntryPath t;
    AnyHandle answered;
    auto const handle = t.remove(99, nullptr, [&](AnyHandle const& done) {
        answered = done;
        EXPECT_EQ(done->entryState(), State::entryApplied);
    });
    t.commitAll();
    EXPECT_EQ(answered, handle);
}

TEST(CommitHandler, MayWriteTheSameKeyAgainFromWithinARefusal) {
    EntryPath t;
    EntryPath::HandlePtr again;
    t.write(1, 7, t.handleIn(State::entryFailed), [&](auto const&) { again = t.write(1, 8); });
    EXPECT_EQ(t.commitAll(), 2U);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->entryVersion(), EntryVersion(1, 0));
    EXPECT_EQ(again->entryState(), State::entryInLog);
    EXPECT_EQ(t.places(1), (Places{.inLog = 1, .logged = 1}));
}

TEST(CommitHandler, MayEmptyTheTableFromWithinTheCommit) {
    EntryPath t;
    t.applied(1, 7);
    t.write(2, 7);
    t.remove(99, nullptr, [&](auto const&) {
        t.removeAll();
        t.table->clearTable(true);
        EXPECT_EQ(t.table->entrys(), 0U);
    });
    EXPECT_EQ(t.commitAll(), 3U);
    EXPECT_EQ(t.table->entrys(), 0U);
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
}

TEST(CommitHandler, MayLetGoOfTheLastHandleAndDependency) {
    EntryPath t;
    auto failed = t.handleIn(State::entryFailed);
    EntryPath::HandlePtr handle;
    bool answered = false;
    handle = t.write(1, 7, failed, [&](AnyHandle const& done) {
        handle = nullptr;
        failed = nullptr;
        t.table->transientAddEntryDelAll();
        answered = done->entryState() == State::entryFailed;
    });
    t.commitAll();
    EXPECT_TRUE(answered);
}

TEST(CommitHandler, ThatThrowsReachesTheResolverAndLeavesTheClosingStepsOut) {
    EntryPath t;
    t.remove(99, nullptr, [](auto const&) { throw std::runtime_error{"no"}; });
    EXPECT_THROW(t.commitAll(), std::runtime_error);
    EXPECT_EQ(t.table->stats()->commitCnt(), 0U);
    EXPECT_EQ(t.queued(), 0U);
}

TEST(CommitHelper, ThatThrowsLeavesTheTableAsFarAsItGot) {
    EntryPath t{Ombra::ptrIs<ListeningHelper>([](auto const& wrapper, bool) {
        if (wrapper->key() == Key{1}) {
            throw std::runtime_error{"no"};
        }
    })};
    auto const handle = t.write(1, 7);
    auto const next = t.write(2, 7);
    EXPECT_THROW(t.commitAll(), std::runtime_error);
    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(t.places(1), (Places{.version = 0, .add = 0, .queued = 1}));
    EXPECT_EQ(t.table->stats()->commitCnt(), 0U);
    t.commitAll();
    EXPECT_EQ(next->entryState(), State::entryInLog);
}

// ---- invariants

class ForeignHandle : public Asic::OrderedSwTable::EntryHandle {
  public:
    ForeignHandle() : EntryHandle{EntryVersion::first()} {}
    Ombra::String tableName() const override { return "foreign"; }
    Asic::SwTableId tableId() const override { return {}; }
};

// A resolver entry as no operation of the table makes one.
Ombra::Ptr<EntryPath::ResolverEntry>
resolverEntry(EntryPath& t, EntryFlags flags,
              Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& handle) {
    auto const wrapper = Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(1, 7), handle);
    return Ombra::ptrIs<EntryPath::ResolverEntry>(nullptr, flags, t.table.get(), wrapper);
}

TEST(CommitDeathTest, AnOperationIsNotARemoveAndARemoveAllAtOnce) {
    EntryPath t;
    auto const entry = resolverEntry(t, EntryFlags{3}, t.handleIn(State::entryPending));
    EXPECT_DEATH(t.table->commitEntry(entry), failsWith("!( isEntryDelete && isTableDelete )"));
}

TEST(CommitDeathTest, AnOperationHasAHandle) {
    EntryPath t;
    auto const entry = resolverEntry(t, EntryFlags::none, nullptr);
    EXPECT_DEATH(t.table->commitEntry(entry), failsWith("entryHandle != NULL"));
}

TEST(CommitDeathTest, AHandleOfAnotherClassIsNone) {
    EntryPath t;
    auto const entry = resolverEntry(t, EntryFlags::none, Ombra::ptrIs<ForeignHandle>());
    EXPECT_DEATH(t.table->commitEntry(entry), failsWith("entryHandle != NULL"));
}

TEST(CommitDeathTest, AWriteAndARemoveHaveAValidVersion) {
    EntryPath t;
    for (auto const flags : {EntryFlags::none, EntryFlags::flagEntryDeleted}) {
        auto const handle = Ombra::ptrIs<EntryPath::Handle>(EntryVersion{}, Key{1}, t.table.get());
        auto const entry = resolverEntry(t, flags, handle);
        EXPECT_DEATH(t.table->commitEntry(entry), failsWith("entryConfVersion.valid()"));
    }
}

TEST(CommitDeathTest, TheVersionOfARemoveAllIsNotLookedAt) {
    EntryPath t;
    t.table->transientRemoveAllVersionIs(MajorVersion{0});
    auto const handle = Ombra::ptrIs<EntryPath::Handle>(EntryVersion{}, Key{}, t.table.get());
    t.table->commitEntry(resolverEntry(t, EntryFlags::flagTableDeleted, handle));
    EXPECT_FALSE(t.table->transientRemoveAllVersion().valid());
}

TEST(CommitDeathTest, ARemoveAllThatCommitsIsOneOfThosePending) {
    EntryPath t;
    auto const entry =
        resolverEntry(t, EntryFlags::flagTableDeleted, t.handleIn(State::entryPending));
    EXPECT_DEATH(t.table->commitEntry(entry), failsWith("currRemoveAllVersion.valid()"));
}

} // namespace
} // namespace LoamSystemAcl
