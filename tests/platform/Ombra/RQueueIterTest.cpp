#include "Counted.h"

#include <Ombra/Ptr.h>
#include <Ombra/RQueue.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Ombra::RQueueBaseConstIter;
using OmbraTest::Counted;

struct QE_Iter {};
using Queue = Ombra::RQueue<Ombra::Ptr<Counted>, QE_Iter, false>;

void fill(Queue& queue, int count) {
    for (int i = 0; i != count; ++i) {
        queue.enq(Ombra::ptrIs<Counted>(i));
    }
}

std::vector<std::uint32_t> rest(RQueueBaseConstIter& iter) {
    std::vector<std::uint32_t> numbers;
    for (; !iter.atEnd(); iter.increment()) {
        numbers.push_back(iter.number());
    }
    return numbers;
}

TEST(RQueueBaseConstIter, WalksFromTheOldestToTheNewestAcrossBlocks) {
    Queue queue;
    fill(queue, 60);
    queue.deq();
    RQueueBaseConstIter iter{queue};
    for (std::uint32_t number = 2; number <= 60; ++number) {
        ASSERT_EQ(iter.number(), number);
        auto const* const element = static_cast<Counted const*>(*iter.slot());
        ASSERT_EQ(element->value, static_cast<int>(number) - 1);
        iter.increment();
    }
    EXPECT_TRUE(iter.atEnd());
    EXPECT_EQ(iter.slot(), nullptr);
}

TEST(RQueueBaseConstIter, IsAtTheEndOfAnEmptyQueueAtOnce) {
    Queue queue;
    EXPECT_TRUE(RQueueBaseConstIter{queue}.atEnd());
    fill(queue, 1);
    queue.deq();
    EXPECT_TRUE(RQueueBaseConstIter{queue}.atEnd());
}

TEST(RQueueBaseConstIter, ResumesAtTheOldestLeftWhenItsElementWasDequeued) {
    Queue queue;
    fill(queue, 60);
    RQueueBaseConstIter iter{queue};
    iter.increment();
    for (int i = 0; i != 40; ++i) {
        queue.deq();
    }
    EXPECT_EQ(iter.slot(), nullptr);
    iter.increment();
    EXPECT_EQ(iter.number(), 41U);
    EXPECT_EQ(rest(iter).size(), 20U);
}

TEST(RQueueBaseConstIter, DequeuesBehindItDoNotDisturbIt) {
    Queue queue;
    fill(queue, 60);
    RQueueBaseConstIter iter{queue};
    for (int i = 0; i != 30; ++i) {
        iter.increment();
        queue.deq();
    }
    EXPECT_EQ(iter.number(), 31U);
    EXPECT_EQ(rest(iter).size(), 30U);
}

TEST(RQueueBaseConstIter, EndsWhenEverythingWasDequeued) {
    Queue queue;
    fill(queue, 20);
    RQueueBaseConstIter iter{queue};
    while (queue.deq()) {
    }
    iter.increment();
    EXPECT_TRUE(iter.atEnd());
    iter.increment();
    EXPECT_TRUE(iter.atEnd());
}

TEST(RQueueBaseConstIter, EndsWhenTheQueueWasClearedForGood) {
    Queue queue;
    fill(queue, 20);
    RQueueBaseConstIter iter{queue};
    queue.doClear(false);
    iter.increment();
    EXPECT_TRUE(iter.atEnd());
}

TEST(RQueueBaseConstIter, GoesOnWithWhatWasQueuedAfterAClear) {
    Queue queue;
    fill(queue, 20);
    RQueueBaseConstIter iter{queue};
    queue.doClear(true);
    fill(queue, 2);
    iter.increment();
    EXPECT_EQ(rest(iter), (std::vector<std::uint32_t>{21, 22}));
}

TEST(RQueueBaseConstIter, ReachesElementsQueuedWhileItWalks) {
    Queue queue;
    fill(queue, 8);
    RQueueBaseConstIter iter{queue};
    fill(queue, 8);
    EXPECT_EQ(rest(iter).size(), 16U);
}

TEST(RQueueBaseConstIter, WalksAcrossTheWrapOfTheNumbers) {
    Queue queue{0xfffffffa};
    fill(queue, 20);
    RQueueBaseConstIter iter{queue};
    auto const numbers = rest(iter);
    ASSERT_EQ(numbers.size(), 20U);
    EXPECT_EQ(numbers.front(), 0xfffffffaU);
    EXPECT_EQ(numbers.back(), 0xdU);
}

} // namespace
