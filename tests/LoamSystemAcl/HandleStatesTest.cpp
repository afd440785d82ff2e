#include "WritePath.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;

// ---- the transitions of a handle

struct Transition {
    char const* from;
    char const* event;
    std::function<void(EntryPath&)> before;
    std::function<Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const>(EntryPath&,
                                                                      EntryPath::Handler const&)>
        make;
    std::function<void(EntryPath&)> happens;
    State to;
    bool enqueued;
    unsigned answered;
};

AnyHandle removeAllsHandle(EntryPath& t, Dependency const& dependency,
                           EntryPath::Handler const& handler) {
    t.table->entryRemoveAllWithResponseHandler(dependency, handler);
    return t.head()->entry()->entryHandle();
}

TEST(HandleStates, EachTransitionIsAsStated) {
    auto const nothing = [](EntryPath&) {};
    auto const stored = [](EntryPath& t) { t.applied(1, 7); };
    auto const marking = [](EntryPath& t) {
        t.applied(1, 7);
        t.table->inMarkingStateIs(true);
    };
    auto const failed = [](EntryPath& t) { return t.handleIn(State::entryFailed); };
    auto const commit = [](EntryPath& t) { t.commitAll(); };
    auto const status = [](EntryPath& t) {
        t.commitAll();
        t.acknowledge();
    };
    Transition const transitions[] = {
        {"new", "made by a write", nothing,
         [](auto& t, auto const& h) { return t.write(1, 7, nullptr, h); }, nothing,
         State::entryPending, false, 0},
        {"new", "made by a remove", nothing,
         [](auto& t, auto const& h) { return t.remove(1, nullptr, h); }, nothing,
         State::entryPending, false, 0},
        {"new", "made by a remove-all", nothing,
         [](auto& t, auto const& h) { return removeAllsHandle(t, nullptr, h); }, nothing,
         State::entryPending, false, 0},
        {"entryPending", "dependency of a write failed", nothing,
         [&](auto& t, auto const& h) { return t.write(1, 7, failed(t), h); }, commit,
         State::entryFailed, false, 1},
        {"entryPending", "dependency of a remove failed", stored,
         [&](auto& t, auto const& h) { return t.remove(1, failed(t), h); }, commit,
         State::entryFailed, false, 1},
        {"entryPending", "dependency of a remove-all failed", stored,
         [&](auto& t, auto const& h) { return removeAllsHandle(t, failed(t), h); }, commit,
         State::entryFailed, false, 1},
        {"entryPending", "write committed above the cleaned version", stored,
         [](auto& t, auto const& h) { return t.write(1, 8, nullptr, h); }, commit,
         State::entryInLog, true, 0},
        {"entryPending", "write committed not above the cleaned version", marking,
         [](auto& t, auto const& h) { return t.write(1, 7, nullptr, h); }, commit,
         State::entryApplied, false, 1},
        {"entryPending", "remove committed", stored,
         [](auto& t, auto const& h) { return t.remove(1, nullptr, h); }, commit, State::entryInLog,
         true, 0},
        {"entryPending", "remove committed that the log ignored", stored,
         [](auto& t, auto const& h) { return t.remove(2, nullptr, h); }, commit,
         State::entryApplied, false, 1},
        {"entryPending", "remove-all committed on a table with entries", stored,
         [](auto& t, auto const& h) { return removeAllsHandle(t, nullptr, h); }, commit,
         State::entryInLog, false, 0},
        {"entryPending", "remove-all committed on an empty table", nothing,
         [](auto& t, auto const& h) { return removeAllsHandle(t, nullptr, h); }, commit,
         State::entryPending, false, 0},
        {"entryInLog", "the status covers a write", nothing,
         [](auto& t, auto const& h) { return t.write(1, 7, nullptr, h); }, status,
         State::entryApplied, false, 1},
        {"entryInLog", "the status covers a remove", stored,
         [](auto& t, auto const& h) { return t.remove(1, nullptr, h); }, status,
         State::entryApplied, false, 1},
        {"entryInLog", "the status covers a remove-all", stored,
         [](auto& t, auto const& h) { return removeAllsHandle(t, nullptr, h); }, status,
         State::entryInLog, false, 0},
        {"entryFailed", "nothing follows", nothing,
         [&](auto& t, auto const& h) { return t.write(1, 7, failed(t), h); }, status,
         State::entryFailed, false, 1},
    };
    for (auto const& transition : transitions) {
        SCOPED_TRACE(testing::Message() << transition.from << ": " << transition.event);
        EntryPath t;
        transition.before(t);
        unsigned answered = 0;
        State atAnswer{};
        auto const handle = transition.make(t, [&](AnyHandle const& done) {
            ++answered;
            atAnswer = done->entryState();
        });
        transition.happens(t);
        EXPECT_EQ(handle->entryState(), transition.to);
        EXPECT_EQ(t.table->entryHandleInLogQueue().size(), transition.enqueued ? 1U : 0U);
        EXPECT_EQ(answered, transition.answered);
        if (answered != 0) {
            EXPECT_EQ(atAnswer, transition.to); // the state is set before the call
        }
    }
}

// The write asks whether the version is cleaned, the remove only whether there is one.
TEST(HandleStates, AWriteAndARemoveDecideDifferentlyWhetherToWait) {
    EntryPath t;
    t.table->entryLog()->logCleanedVersionIs(100); // as if the status had run ahead
    auto const written = t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(written->entryState(), State::entryApplied);
    auto const removed = t.remove(1);
    t.commitAll();
    EXPECT_EQ(removed->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->entryHandleInLogBack(), removed);
}

TEST(HandleStates, AWriteAtExactlyTheCleanedVersionDoesNotWait) {
    EntryPath t;
    t.table->entryLog()->logCleanedVersionIs(1);
    auto const first = t.write(1, 7);
    auto const second = t.write(2, 7);
    t.commitAll();
    EXPECT_EQ(first->entryState(), State::entryApplied); // version 1
    EXPECT_EQ(second->entryState(), State::entryInLog);  // version 2
}

// ---- the queue, as the table's attribute

class HandleQueue : public testing::Test {
  protected:
    Ombra::Ptr<EntryPath::Handle> newHandle() {
        return EntryPath::SwTable::entryHandleFactory(EntryVersion::first(), Key{next_++},
                                                      t.table.get());
    }
    Ombra::Ptr<EntryPath::Handle> enq() {
        auto handle = newHandle();
        t.table->entryHandleInLogEnq(handle);
        return handle;
    }
    Ombra::RQueueBase const& queue() { return t.table->entryHandleInLogQueue(); }

    EntryPath t;
    std::uint32_t next_ = 1;
};

TEST_F(HandleQueue, NumbersFromOneAndGoesOnAfterDraining) {
    auto const first = enq();
    EXPECT_EQ(t.table->entryHandleInLog(1), first);
    EXPECT_EQ(t.table->entryHandleInLogDeq(), first);
    auto const second = enq();
    EXPECT_EQ(t.table->entryHandleInLog(1), nullptr);
    EXPECT_EQ(t.table->entryHandleInLog(2), second);
}

TEST_F(HandleQueue, ANewOneHasNothing) {
    EXPECT_EQ(t.table->entryHandleInLog(0), nullptr);
    EXPECT_FALSE(t.table->entryHandleInLogHas(0));
    EXPECT_EQ(t.table->entryHandleInLogFront(), nullptr);
    EXPECT_EQ(t.table->entryHandleInLogBack(), nullptr);
    EXPECT_EQ(t.table->entryHandleInLogDeq(), nullptr);
    EXPECT_EQ(queue().size(), 0U);
    EXPECT_FALSE(queue().hasBlocks());
}

TEST_F(HandleQueue, WithOnlyAnEmptyMarkerHasNoFrontAndNoBack) {
    enq();
    t.table->entryHandleInLogDeq();
    ASSERT_TRUE(queue().hasBlocks());
    EXPECT_TRUE(queue().lastBlock()->isMarker());
    EXPECT_EQ(t.table->entryHandleInLogBack(), nullptr);
    EXPECT_EQ(t.table->entryHandleInLogFront(), nullptr);
}

TEST_F(HandleQueue, GivesItsEndsAndItsElementsByNumber) {
    auto const first = enq();
    auto const second = enq();
    auto const third = enq();
    EXPECT_EQ(t.table->entryHandleInLogFront(), first);
    EXPECT_EQ(t.table->entryHandleInLogBack(), third);
    EXPECT_EQ(t.table->entryHandleInLog(2), second);
    EXPECT_TRUE(t.table->entryHandleInLogHas(3));
    EXPECT_FALSE(t.table->entryHandleInLogHas(4));
    EXPECT_EQ(queue().size(), 3U);
    EXPECT_EQ(first->refCount(), 2U);
}

TEST_F(HandleQueue, TheNinthElementLandsInABlockOfSixteen) {
    for (int i = 0; i < 8; ++i) {
        enq();
    }
    EXPECT_EQ(queue().lastBlock()->slotCount(), 8U);
    enq();
    EXPECT_EQ(queue().lastBlock()->slotCount(), 16U);
}

TEST_F(HandleQueue, AnnouncesEachElementsNumberWhenItComesAndWhenItGoes) {
    std::vector<std::uint32_t> numbers;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        ASSERT_EQ(change.fieldId, Ombra::FieldId{0x316});
        EXPECT_EQ(change.former, nullptr);
        numbers.push_back(*static_cast<std::uint32_t const*>(change.key));
    });
    enq();
    enq();
    t.table->entryHandleInLogDeq();
    t.table->entryHandleInLogDeq();
    t.table->entryHandleInLogDeq(); // empty: nothing is told
    enq();
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2, 1, 2, 3}));
}

TEST_F(HandleQueue, EmptyingKeepsTheNumberingAndTellsSubscribersOfEachElement) {
    for (bool const listened : {false, true}) {
        auto const held = enq();
        enq();
        auto const oldest = queue().oldestNumber();
        std::vector<std::uint32_t> numbers;
        Ombra::Subscription subscription;
        if (listened) {
            subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
                numbers.push_back(*static_cast<std::uint32_t const*>(change.key));
            });
        }
        t.table->entryHandleInLogDelAll();
        EXPECT_EQ(queue().size(), 0U);
        EXPECT_EQ(held->refCount(), 1U);
        EXPECT_EQ(numbers, listened ? (std::vector<std::uint32_t>{oldest, oldest + 1})
                                    : std::vector<std::uint32_t>{});
        subscription.end();
        auto const next = enq();
        EXPECT_EQ(t.table->entryHandleInLog(oldest + 2), next);
        t.table->entryHandleInLogDelAll();
    }
}

TEST_F(HandleQueue, ATableThatEndsLetsItsHandlesGo) {
    auto const held = enq();
    t.table = nullptr;
    t.agent.restart();
    EXPECT_EQ(held->refCount(), 1U);
}

TEST_F(HandleQueue, ABurstOfCommitsWaitsInOrderAndGoesAtOneStatus) {
    constexpr std::uint32_t burst = 3000;
    std::vector<EntryPath::HandlePtr> handles;
    for (std::uint32_t key = 1; key <= burst; ++key) {
        handles.push_back(t.write(key, 7));
    }
    t.commitAll();
    EXPECT_EQ(queue().size(), burst);
    for (std::uint32_t number = 1; number <= burst; ++number) {
        ASSERT_EQ(t.table->entryHandleInLog(number), handles[number - 1]);
        ASSERT_EQ(handles[number - 1]->logVersion(), number);
    }
    t.acknowledge();
    EXPECT_EQ(queue().size(), 0U);
    for (auto const& handle : handles) {
        ASSERT_EQ(handle->entryState(), State::entryApplied);
    }
}

} // namespace
} // namespace LoamSystemAcl
