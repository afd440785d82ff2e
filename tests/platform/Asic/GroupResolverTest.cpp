#include <Asic/GroupResolver.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Asic;
using State = SwTableBase::EntryState;

class Handle : public SwTableBase::EntryHandle {
  public:
    TableVersion entryTableVersion() const override { return {}; }
    Ombra::String tableName() const override { return {}; }
    SwTableId tableId() const override { return {}; }
};

// What an entry of any lane does, and what happened to it.
struct Behaviour {
    bool ready = true;
    unsigned asked = 0;
    std::function<void()> onCommit;
    std::vector<std::pair<int, ResolverEntry::Ahead>> ahead; // by number, what was asked for
};

// An operation of the table `lane`: a class of its own per table, as the family has.
template <char lane>
class Operation : public ResolverEntry {
  public:
    Operation(int number, Behaviour& behaviour, std::vector<std::string>& committed,
              Ombra::Ptr<Handle> const& dependency)
        : ResolverEntry{dependency, EntryFlags::none}, number_{number}, behaviour_{behaviour},
          committed_{committed} {}

    // As a table: what it waits for must have ended.
    bool isResolved() override {
        ++behaviour_.asked;
        auto const& dependency = dependantEntryHandle();
        return behaviour_.ready && (!dependency || dependency->entryState() != State::entryPending);
    }
    void fetchAhead(Ahead what) const noexcept override {
        behaviour_.ahead.emplace_back(number_, what);
    }
    void commitEntry(Ombra::Ptr<ResolverEntry> const& resolvedEntry) override {
        EXPECT_EQ(resolvedEntry.get(), this);
        committed_.push_back(std::string{lane} + std::to_string(number_));
        if (behaviour_.onCommit) {
            behaviour_.onCommit();
        }
    }

  private:
    int number_;
    Behaviour& behaviour_;
    std::vector<std::string>& committed_;
};

class Resolver : public testing::Test {
  protected:
    template <char lane>
    void enq(int number, Ombra::Ptr<Handle> const& dependency = nullptr) {
        resolver->resolverQueueEnq(
            Ombra::ptrIs<Operation<lane>>(number, behaviourOf<lane>(), committed, dependency));
        resolver->updateGenId();
        resolver->maybeUpdateSuspend();
    }
    template <char lane>
    Behaviour& behaviourOf() {
        return lane == 'a' ? a : lane == 'b' ? b : c;
    }

    using Names = std::vector<std::string>;

    Ombra::Ptr<GroupResolver> resolver = Ombra::ptrIs<GroupResolver>();
    Behaviour a, b, c;
    Names committed;
};

TEST_F(Resolver, CommitsATablesOperationsInTheOrderOfTheCalls) {
    for (int number = 1; number <= 5; ++number) {
        enq<'a'>(number);
    }
    EXPECT_EQ(resolver->queued(), 5U);
    auto const result = resolver->run();
    EXPECT_EQ(result.committed, 5U);
    EXPECT_FALSE(result.more);
    EXPECT_EQ(committed, (Names{"a1", "a2", "a3", "a4", "a5"}));
    EXPECT_EQ(resolver->queued(), 0U);
}

TEST_F(Resolver, AsksForWhatATurnNeedsBeforeItsFirstCommit) {
    using enum ResolverEntry::Ahead;
    constexpr int turn = 32;
    for (int number = 1; number <= turn + 1; ++number) {
        enq<'a'>(number);
    }
    decltype(a.ahead) expected;
    auto const expectTurn = [&](int first, int last) {
        for (auto const what : {operation, place, record}) {
            for (int number = first; number <= last; ++number) {
                expected.emplace_back(number, what);
            }
        }
    };
    expectTurn(1, turn);
    a.onCommit = [&] {
        if (committed.size() == turn + 1) {
            expectTurn(turn + 1, turn + 1);
        }
        EXPECT_EQ(a.ahead, expected) << committed.back();
    };
    resolver->run();
    EXPECT_EQ(committed.size(), turn + 1U);
}

TEST_F(Resolver, AsksForNothingOnBehalfOfAHeadThatIsNotReady) {
    a.ready = false;
    enq<'a'>(1);
    enq<'a'>(2);
    resolver->run();
    EXPECT_THAT(a.ahead, testing::IsEmpty());
}

TEST_F(Resolver, AsksForNoMoreThanItsBudget) {
    for (int number = 1; number <= 5; ++number) {
        enq<'a'>(number);
    }
    resolver->run(2);
    EXPECT_THAT(a.ahead, testing::SizeIs(2U * 3U));
}

TEST_F(Resolver, AnEmptyOneHasNothingToDo) {
    auto const result = resolver->run();
    EXPECT_EQ(result.committed, 0U);
    EXPECT_FALSE(result.more);
    EXPECT_TRUE(resolver->suspended());
    EXPECT_EQ(resolver->headOf(typeid(Operation<'a'>)), nullptr);
    EXPECT_EQ(resolver->queuedIn(typeid(Operation<'a'>)), 0U);
}

TEST_F(Resolver, AnUnreadyHeadHoldsBackItsOwnTableAndNoOther) {
    a.ready = false;
    enq<'a'>(1);
    enq<'a'>(2);
    enq<'b'>(1);
    EXPECT_EQ(resolver->run().committed, 1U);
    EXPECT_EQ(committed, (Names{"b1"}));
    EXPECT_EQ(resolver->queuedIn(typeid(Operation<'a'>)), 2U);
    a.ready = true;
    resolver->updateGenId();
    resolver->run();
    EXPECT_EQ(committed, (Names{"b1", "a1", "a2"}));
}

TEST_F(Resolver, AHeadThatSaidNoIsAskedAgainOnlyWhenTheGenerationHasMoved) {
    a.ready = false;
    enq<'a'>(1);
    resolver->run();
    EXPECT_EQ(a.asked, 1U);
    resolver->run();
    EXPECT_EQ(a.asked, 1U);
    resolver->updateGenId();
    resolver->run();
    EXPECT_EQ(a.asked, 2U);
}

TEST_F(Resolver, AHeadThatWaitsForAPendingHandleIsNotAskedInVain) {
    auto const handle = Ombra::ptrIs<Handle>();
    enq<'a'>(1, handle);
    resolver->run();
    EXPECT_EQ(a.asked, 1U);
    resolver->updateGenId();
    EXPECT_EQ(resolver->run().committed, 0U);
    EXPECT_EQ(a.asked, 1U);
    handle->entryStateIs(State::entryInLog); // alone is enough
    EXPECT_EQ(resolver->run().committed, 1U);
}

TEST_F(Resolver, AWaitThatEndsWithinARunIsSeenInTheSameRun) {
    auto const handle = Ombra::ptrIs<Handle>();
    enq<'a'>(1, handle);
    b.onCommit = [&] { handle->entryStateIs(State::entryInLog); };
    enq<'b'>(1);
    EXPECT_EQ(resolver->run().committed, 2U);
    EXPECT_EQ(committed, (Names{"b1", "a1"}));
}

TEST_F(Resolver, CommitsNoMoreThanItsBudgetAndSaysWhetherMoreIsReady) {
    for (int number = 1; number <= 5; ++number) {
        enq<'a'>(number);
    }
    auto const first = resolver->run(3);
    EXPECT_EQ(first.committed, 3U);
    EXPECT_TRUE(first.more);
    EXPECT_FALSE(resolver->suspended());
    auto const second = resolver->run(2);
    EXPECT_EQ(second.committed, 2U);
    EXPECT_FALSE(second.more);
}

TEST_F(Resolver, NoTableStarvesBehindABusyOne) {
    for (int number = 0; number < 1000; ++number) {
        enq<'a'>(number);
    }
    enq<'b'>(1);
    enq<'c'>(1);
    resolver->run(100);
    EXPECT_EQ(committed.size(), 100U);
    EXPECT_NE(std::ranges::find(committed, "b1"), committed.end());
    EXPECT_NE(std::ranges::find(committed, "c1"), committed.end());
}

TEST_F(Resolver, ABudgetOfOneGoesRoundTheTables) {
    enq<'a'>(1);
    enq<'a'>(2);
    enq<'b'>(1);
    resolver->run(1);
    resolver->run(1);
    EXPECT_EQ(committed, (Names{"a1", "b1"}));
}

TEST_F(Resolver, ACommitMayQueueMoreAlsoForATableThatHadNothing) {
    a.onCommit = [&] {
        a.onCommit = nullptr;
        enq<'a'>(2);
        enq<'c'>(1);
    };
    enq<'a'>(1);
    EXPECT_EQ(resolver->run().committed, 3U);
    EXPECT_EQ(committed, (Names{"a1", "a2", "c1"}));
}

TEST_F(Resolver, AnOperationIsTakenOutOfTheQueueAfterItsCommit) {
    enq<'a'>(1);
    enq<'a'>(2);
    auto const first = resolver->headOf(typeid(Operation<'a'>));
    a.onCommit = [&] {
        EXPECT_EQ(resolver->headOf(typeid(Operation<'a'>)), first);
        EXPECT_EQ(resolver->queuedIn(typeid(Operation<'a'>)), 2U);
        EXPECT_EQ(resolver->queued(), 2U);
    };
    resolver->run(1);
    EXPECT_EQ(resolver->queuedIn(typeid(Operation<'a'>)), 1U);
    EXPECT_EQ(resolver->queued(), 1U);
    EXPECT_EQ(first->refCount(), 1U); // let go of
}

TEST_F(Resolver, ACommitThatThrowsIsCountedAndTheNextRunGoesOnBehindIt) {
    a.onCommit = [&] { throw std::runtime_error{"no"}; };
    enq<'a'>(1);
    enq<'a'>(2);
    EXPECT_THROW(resolver->run(), std::runtime_error);
    EXPECT_EQ(resolver->failedCommits(), 1U);
    EXPECT_EQ(resolver->queued(), 1U);
    a.onCommit = [] { throw 5; }; // not even an exception object
    EXPECT_THROW(resolver->run(), int);
    EXPECT_EQ(resolver->failedCommits(), 2U);
    EXPECT_EQ(resolver->run().committed, 0U);
}

TEST_F(Resolver, IsSuspendedWhenAllHaveSaidNoAndWakesWhenTheGenerationMoves) {
    EXPECT_TRUE(resolver->suspended());
    a.ready = false;
    enq<'a'>(1);
    EXPECT_FALSE(resolver->suspended());
    resolver->run();
    EXPECT_TRUE(resolver->suspended());
    resolver->maybeUpdateSuspend(); // nothing has moved
    EXPECT_TRUE(resolver->suspended());
    resolver->updateGenId();
    resolver->maybeUpdateSuspend();
    EXPECT_FALSE(resolver->suspended());
}

TEST_F(Resolver, KnowsTheHeadOfEachTable) {
    enq<'a'>(1);
    enq<'a'>(2);
    enq<'b'>(1);
    EXPECT_EQ(resolver->queuedIn(typeid(Operation<'a'>)), 2U);
    EXPECT_EQ(resolver->queuedIn(typeid(Operation<'b'>)), 1U);
    auto const head = resolver->headOf(typeid(Operation<'a'>));
    resolver->run(1);
    EXPECT_NE(resolver->headOf(typeid(Operation<'a'>)), head);
}

TEST_F(Resolver, GivesTheOperationsOfALaneInTheirOrderUntilToldToStop) {
    auto const handle = Ombra::ptrIs<Handle>();
    enq<'a'>(1);
    enq<'a'>(2, handle);
    enq<'a'>(3);
    enq<'b'>(1);
    std::vector<bool> waiting;
    resolver->forEachQueued(typeid(Operation<'a'>), [&](Asic::ResolverEntry const& entry) {
        waiting.push_back(entry.dependantEntryHandle() != nullptr);
        return waiting.size() < 2;
    });
    EXPECT_EQ(waiting, (std::vector<bool>{false, true}));
    EXPECT_EQ(resolver->queued(), 4U);
}

TEST_F(Resolver, LetsItsEntriesGoWhenItEnds) {
    auto const handle = Ombra::ptrIs<Handle>();
    enq<'a'>(1, handle);
    EXPECT_EQ(handle->refCount(), 2U);
    resolver = nullptr;
    EXPECT_EQ(handle->refCount(), 1U);
}

using ResolverDeathTest = Resolver;

TEST_F(ResolverDeathTest, ACommitMayNotRunTheResolver) {
    a.onCommit = [&] { resolver->run(); };
    enq<'a'>(1);
    EXPECT_DEATH(resolver->run(), testing::HasSubstr("Assertion `!running_' failed"));
}

} // namespace
