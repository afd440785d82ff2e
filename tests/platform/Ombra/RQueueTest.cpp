#include "Counted.h"

#include <Ombra/MemTrack.h>
#include <Ombra/Ptr.h>
#include <Ombra/RQueue.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Ombra::Ptr;
using Ombra::RQueueBase;
using OmbraTest::Counted;

struct QE_Test {};
using Queue = Ombra::RQueue<Ptr<Counted>, QE_Test, false>;

std::uint64_t liveBlocks() {
    return Ombra::MemTrack::Impl::live(Queue::trackers().block);
}
std::uint64_t liveSlots() {
    return Ombra::MemTrack::Impl::live(Queue::trackers().slot);
}

void fill(Queue& queue, int count) {
    for (int i = 0; i != count; ++i) {
        queue.enq(Ombra::ptrIs<Counted>(i));
    }
}

class RQueue : public testing::Test {
  protected:
    ~RQueue() override {
        EXPECT_EQ(Counted::live, 0);
        EXPECT_EQ(liveBlocks(), 0U);
        EXPECT_EQ(liveSlots(), 0U);
    }
};

TEST_F(RQueue, IsOnePointerWide) {
    static_assert(sizeof(Queue) == sizeof(void*));
}

TEST_F(RQueue, TheBlockHeaderIsALinkAWordAndABase) {
    static_assert(sizeof(RQueueBase::Array) == sizeof(void*) + 8);
    Queue queue;
    fill(queue, 3);
    queue.deq();
    auto const* words = reinterpret_cast<std::uint32_t const*>(
        reinterpret_cast<char const*>(queue.lastBlock()) + sizeof(void*));
    EXPECT_EQ(words[0], 1U | 3U << 14 | 3U << 28); // head 1, tail 3, 8 slots
    EXPECT_EQ(words[1], 1U);
    EXPECT_EQ(*reinterpret_cast<void* const*>(queue.lastBlock()), queue.lastBlock());
}

TEST_F(RQueue, ANewOneHasNoBlockAndNoElement) {
    Queue const queue;
    EXPECT_FALSE(queue.hasBlocks());
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.size(), 0U);
    EXPECT_EQ(queue.at(0), nullptr);
    EXPECT_FALSE(queue.has(0));
    EXPECT_EQ(queue.front(), nullptr);
    EXPECT_EQ(queue.back(), nullptr);
}

TEST_F(RQueue, TheFirstElementHasNumberOne) {
    Queue queue;
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 1U);
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 2U);
    EXPECT_TRUE(queue.has(1));
    EXPECT_FALSE(queue.has(0));
    EXPECT_FALSE(queue.has(3));
}

TEST_F(RQueue, AfterDrainingTheNextElementHasTheFollowingNumber) {
    Queue queue;
    fill(queue, 3);
    while (queue.deq()) {
    }
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 4U);
}

TEST_F(RQueue, GivesElementsInTheOrderTheyCameWithTheirNumbers) {
    Queue queue;
    fill(queue, 100);
    for (int i = 0; i != 100; ++i) {
        auto const taken = queue.deq();
        ASSERT_TRUE(taken);
        EXPECT_EQ(taken->element->value, i);
        EXPECT_EQ(taken->number, static_cast<std::uint32_t>(i) + 1);
    }
    EXPECT_FALSE(queue.deq());
}

TEST_F(RQueue, HoldsOneReferenceToEachAndGivesItUp) {
    auto const element = Ombra::ptrIs<Counted>();
    Queue queue;
    queue.enq(element);
    EXPECT_EQ(element->refCount(), 2U);
    EXPECT_EQ(queue.front()->refCount(), 3U);
    auto const taken = queue.deq();
    EXPECT_EQ(element->refCount(), 2U);
}

TEST_F(RQueue, FrontAndBackAreTheEnds) {
    Queue queue;
    fill(queue, 20);
    queue.deq();
    EXPECT_EQ(queue.front()->value, 1);
    EXPECT_EQ(queue.back()->value, 19);
    EXPECT_EQ(queue.size(), 19U);
}

TEST_F(RQueue, ANumberFindsItsElementInWhateverBlockItStands) {
    Queue queue;
    fill(queue, 1000);
    for (int i = 0; i != 500; ++i) {
        queue.deq();
    }
    EXPECT_EQ(queue.at(500), nullptr);
    EXPECT_EQ(queue.at(1001), nullptr);
    for (std::uint32_t number = 501; number <= 1000; ++number) {
        ASSERT_TRUE(queue.has(number));
        ASSERT_EQ(queue.at(number)->value, static_cast<int>(number) - 1);
    }
}

TEST_F(RQueue, TheNinthElementInARowLandsInABlockOfSixteenSlots) {
    Queue queue;
    fill(queue, 8);
    EXPECT_EQ(queue.lastBlock()->slotCount(), 8U);
    EXPECT_TRUE(queue.lastBlock()->full());
    fill(queue, 1);
    EXPECT_EQ(queue.lastBlock()->slotCount(), 16U);
    EXPECT_EQ(queue.lastBlock()->base(), 9U);
}

TEST_F(RQueue, SixteenQueuedWhenABlockFillsGiveThirtyTwoSlots) {
    Queue queue;
    fill(queue, 8 + 16);
    for (int i = 0; i != 8; ++i) {
        queue.deq();
    }
    ASSERT_EQ(queue.size(), 16U);
    ASSERT_TRUE(queue.lastBlock()->full());
    fill(queue, 1);
    EXPECT_EQ(queue.lastBlock()->slotCount(), 32U);
}

TEST_F(RQueue, ABacklogOf8192OrMoreGivesBlocksOf8192Slots) {
    Queue queue;
    fill(queue, 40'000);
    EXPECT_EQ(queue.lastBlock()->slotCount(), 8192U);
    auto const* block = queue.firstBlock();
    std::vector<std::uint32_t> slots;
    for (; block != nullptr; block = queue.nextBlock(*block)) {
        slots.push_back(block->slotCount());
        EXPECT_LE(block->tail(), 8192U);
    }
    std::vector<std::uint32_t> const expected{8,    16,   32,   64,   128,  256,  512,
                                              1024, 2048, 4096, 8192, 8192, 8192, 8192};
    EXPECT_EQ(slots, expected);
}

TEST_F(RQueue, TheNextBlockHasMoreSlotsThanElementsAreQueued) {
    EXPECT_EQ(RQueueBase::nextBlockSlots(0), 8U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(0xffffffff), 8U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(1), 8U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(7), 8U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(8), 16U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(15), 16U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(16), 32U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(4096), 8192U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(8191), 8192U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(8192), 8192U);
    EXPECT_EQ(RQueueBase::nextBlockSlots(0xfffffffe), 8192U);
}

TEST_F(RQueue, ADrainedBlockIsFreedWhetherOrNotItWasFull) {
    Queue queue;
    fill(queue, 3);
    EXPECT_EQ(liveSlots(), 8U);
    for (int i = 0; i != 3; ++i) {
        queue.deq();
    }
    ASSERT_TRUE(queue.hasBlocks());
    EXPECT_TRUE(queue.lastBlock()->isMarker());
    EXPECT_EQ(queue.lastBlock()->base(), 4U);
    EXPECT_EQ(queue.lastBlock()->slotCount(), 0U);
    EXPECT_EQ(liveBlocks(), 1U);
    EXPECT_EQ(liveSlots(), 0U);
    EXPECT_EQ(queue.size(), 0U);
    EXPECT_TRUE(queue.empty());
}

TEST_F(RQueue, WithOnlyAMarkerThereIsNothingToGive) {
    Queue queue;
    fill(queue, 1);
    queue.deq();
    EXPECT_EQ(queue.back(), nullptr);
    EXPECT_EQ(queue.front(), nullptr);
    EXPECT_EQ(queue.at(1), nullptr);
    EXPECT_EQ(queue.at(2), nullptr);
    EXPECT_FALSE(queue.has(1));
    EXPECT_FALSE(queue.has(2));
    EXPECT_FALSE(queue.deq());
}

TEST_F(RQueue, AMarkerGivesWayToABlockOfEightSlots) {
    Queue queue;
    fill(queue, 100);
    while (queue.deq()) {
    }
    fill(queue, 1);
    EXPECT_EQ(queue.firstBlock(), queue.lastBlock());
    EXPECT_EQ(queue.lastBlock()->slotCount(), 8U);
    EXPECT_EQ(queue.lastBlock()->base(), 101U);
}

TEST_F(RQueue, ADrainedBlockInFrontOfOthersLeavesNoMarker) {
    Queue queue;
    fill(queue, 9);
    for (int i = 0; i != 8; ++i) {
        queue.deq();
    }
    EXPECT_EQ(liveBlocks(), 1U);
    EXPECT_EQ(queue.firstBlock()->slotCount(), 16U);
    EXPECT_EQ(queue.oldestNumber(), 9U);
}

TEST_F(RQueue, AfterDoClearTrueNumberingContinues) {
    Queue queue;
    fill(queue, 30);
    queue.doClear(true);
    EXPECT_EQ(Counted::live, 0);
    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(queue.lastBlock()->isMarker());
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 31U);
}

TEST_F(RQueue, AfterDoClearFalseNoBlockRemains) {
    Queue queue;
    fill(queue, 30);
    queue.doClear(false);
    EXPECT_FALSE(queue.hasBlocks());
    EXPECT_EQ(liveBlocks(), 0U);
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 1U);
}

TEST_F(RQueue, DoClearOfAnEmptyQueueKeepsItsNumbering) {
    Queue queue;
    queue.doClear(true);
    EXPECT_FALSE(queue.hasBlocks());
    fill(queue, 5);
    queue.doClear(true);
    queue.doClear(true);
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 6U);
}

TEST_F(RQueue, DoClearReleasesOnlyWhatIsStillQueued) {
    auto const gone = Ombra::ptrIs<Counted>();
    auto const stays = Ombra::ptrIs<Counted>();
    Queue queue;
    queue.enq(gone);
    queue.enq(stays);
    auto const taken = queue.deq();
    queue.doClear(false);
    EXPECT_EQ(gone->refCount(), 2U);
    EXPECT_EQ(stays->refCount(), 1U);
}

TEST_F(RQueue, NumbersWrapWithoutABreakInOrder) {
    Queue queue{0xfffffff0};
    fill(queue, 40);
    EXPECT_EQ(queue.size(), 40U);
    EXPECT_EQ(queue.oldestNumber(), 0xfffffff0);
    EXPECT_EQ(queue.newestNumber(), 0x17U);
    for (std::uint32_t i = 0; i != 40; ++i) {
        ASSERT_TRUE(queue.has(0xfffffff0 + i));
        ASSERT_EQ(queue.at(0xfffffff0 + i)->value, static_cast<int>(i));
    }
    EXPECT_FALSE(queue.has(0xffffffef));
    EXPECT_FALSE(queue.has(0x18));
    EXPECT_EQ(queue.at(0x18), nullptr);
    for (std::uint32_t i = 0; i != 40; ++i) {
        ASSERT_EQ(queue.deq()->number, 0xfffffff0 + i);
    }
    EXPECT_EQ(queue.enq(Ombra::ptrIs<Counted>()), 0x18U);
}

TEST_F(RQueue, AnElementWhoseNumberIsZeroIsThereLikeAnyOther) {
    Queue queue{0};
    fill(queue, 1);
    EXPECT_TRUE(queue.has(0));
    EXPECT_EQ(queue.at(0)->value, 0);
}

TEST_F(RQueue, NumbersAreComparedByDistance) {
    EXPECT_TRUE(RQueueBase::notBehind(5, 5));
    EXPECT_TRUE(RQueueBase::notBehind(5, 6));
    EXPECT_FALSE(RQueueBase::notBehind(6, 5));
    EXPECT_TRUE(RQueueBase::notBehind(0xffffffff, 0));
    EXPECT_TRUE(RQueueBase::notBehind(0, 0x7ffffffe));
    EXPECT_FALSE(RQueueBase::notBehind(0, 0x7fffffff));
}

TEST_F(RQueue, BlocksAndTheirSlotsAreCounted) {
    Queue queue;
    fill(queue, 9);
    EXPECT_EQ(liveBlocks(), 2U);
    EXPECT_EQ(liveSlots(), 24U);
}

TEST_F(RQueue, TheLog2OfASlotCountIsExact) {
    EXPECT_EQ(RQueueBase::log2Of(8), 3U);
    EXPECT_EQ(RQueueBase::log2Of(8192), 13U);
}

TEST(RQueueDeathTest, ASlotCountThatIsNoPowerOfTwoIsFatal) {
    EXPECT_DEATH(RQueueBase::log2Of(12), "isPowerOfTwo\\( i \\)");
    EXPECT_DEATH(RQueueBase::log2Of(0), "isPowerOfTwo\\( i \\)");
}

struct Element {
    Ombra::IntrusiveTailLink<Element> link_;
};
using Chain = Ombra::IntrusiveLinkedTailQueue<Element>;

TEST(IntrusiveLinkedTailQueue, TheTailLeadsToTheHead) {
    Element a, b, c;
    Chain chain;
    EXPECT_TRUE(chain.empty());
    chain.push(a);
    chain.push(b);
    chain.push(c);
    EXPECT_EQ(chain.head(), &a);
    EXPECT_EQ(chain.tail(), &c);
    EXPECT_EQ(chain.next(a), &b);
    EXPECT_EQ(chain.next(c), nullptr);
    EXPECT_EQ(&chain.pop(), &a);
    EXPECT_FALSE(a.link_.linked());
    chain.remove(c);
    EXPECT_EQ(chain.tail(), &b);
    chain.remove(b);
    EXPECT_TRUE(chain.empty());
}

TEST(IntrusiveLinkedTailQueueDeathTest, AnEmptyOneHasNothingToPop) {
    Chain chain;
    EXPECT_DEATH(chain.pop(), "tail_ != nullptr");
}

TEST(IntrusiveLinkedTailQueueDeathTest, ALinkedElementMustNotDieOrBeLinkedAgain) {
    auto const dieLinked = [] {
        Chain chain;
        Element element;
        chain.push(element);
    };
    EXPECT_DEATH(dieLinked(), "!linked\\(\\)");
    Chain chain;
    Element element;
    chain.push(element);
    EXPECT_DEATH(chain.push(element), "!linked\\(\\)");
    chain.pop();
}

} // namespace
