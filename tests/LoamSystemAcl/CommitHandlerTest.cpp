#include "ListeningHelper.h"

#include <stdexcept>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;

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
