#pragma once

#include <Ombra/Export.h>
#include <Ombra/IntrusiveLinkedTailQueue.h>

#include <cstdint>
#include <typeinfo>

// What every `Ombra::RQueue` does that does not depend on its elements: the chain of blocks and the
// numbering.
//
// An element gets the number behind the one before it, for the whole life of the queue; the first
// one gets 1. Numbers are 32 bits wide and wrap; they are compared by their distance (`notBehind`).
// Elements stand in blocks of 8 to 8192 slots, chained from the oldest to the newest:
//
//     BLOCK FIELD   SIZE            MEANING
//     link          pointer         the next block; the tail's leads to the head; null when
//     unlinked word          4  bits  0-13   head: slot of the oldest element
//                      bits 14-27   tail: slot behind the newest element
//                      bits 28-31   log2 of the number of slots; 0 for a block without slots
//     base          4               number of slot 0
//     slots         slots x pointer the elements
//
// A block without slots, the *empty marker*, carries the numbering across an empty queue and is
// always alone. A drained block is freed, never reused; a block that fills up is followed by one of
// twice the elements in the queue, up to 8192. So a burst costs few allocations, and a queue at
// rest holds one small block. The queue itself is one pointer: to the last block.
//
// Invariants: only a marker has head equal to tail; blocks follow each other without a gap in the
// numbers. Used on the thread of its owner.
namespace Ombra {

class LOAM_EXPORT RQueueBase {
  public:
    class LOAM_EXPORT Array {
      public:
        std::uint32_t head() const noexcept { return word_ & indexMask; }
        std::uint32_t tail() const noexcept { return word_ >> tailShift & indexMask; }
        std::uint32_t capacityLog2() const noexcept { return word_ >> capacityShift; }
        bool isMarker() const noexcept { return capacityLog2() == 0; }
        std::uint32_t slotCount() const noexcept {
            return isMarker() ? 0 : std::uint32_t{1} << capacityLog2();
        }
        std::uint32_t base() const noexcept { return base_; }
        bool full() const noexcept { return tail() == slotCount(); }

        std::uint32_t oldest() const noexcept { return base_ + head(); }
        std::uint32_t newest() const noexcept { return base_ + tail() - 1; }
        bool holds(std::uint32_t number) const noexcept { return number - oldest() < count(); }
        std::uint32_t count() const noexcept { return tail() - head(); }

        void** slots() noexcept { return reinterpret_cast<void**>(this + 1); }
        void* const* slots() const noexcept { return reinterpret_cast<void* const*>(this + 1); }

        static constexpr std::uint32_t tailShift = 14;
        static constexpr std::uint32_t capacityShift = 28;
        static constexpr std::uint32_t indexMask = (1U << tailShift) - 1;

      private:
        friend class RQueueBase;
        friend class IntrusiveLinkedTailQueue<Array>;
        Array(std::uint32_t slotCount, std::uint32_t base);

        void headInc() noexcept { ++word_; }
        void tailInc() noexcept { word_ += 1U << tailShift; }

        IntrusiveTailLink<Array> link_;
        std::uint32_t word_;
        std::uint32_t base_;
    };
    static_assert(sizeof(Array) == sizeof(void*) + 8);

    // The two counts of one kind of queue, and what they are filed under.
    struct Trackers {
        void* block = nullptr; // counts blocks
        void* slot = nullptr;  // counts the slots of blocks
        std::type_info const& elementType;
    };

    static constexpr std::uint32_t minSlots = 8;
    static constexpr std::uint32_t maxSlots = 8192;
    static constexpr std::uint32_t firstNumber = 1;

    // Whether the number `b` is `a` or comes after it.
    static constexpr bool notBehind(std::uint32_t a, std::uint32_t b) noexcept {
        return b - a < 0x7fffffff;
    }

    // How many slots the block gets that follows a full one, with `count` elements in the queue.
    static std::uint32_t nextBlockSlots(std::uint32_t count) noexcept;

    // The log2 of a power of two.
    static std::uint32_t log2Of(std::uint32_t i);

    RQueueBase(RQueueBase const&) = delete;
    RQueueBase& operator=(RQueueBase const&) = delete;

    bool hasBlocks() const noexcept { return !blocks_.empty(); }
    bool empty() const noexcept { return !hasBlocks() || newestNumber() == oldestNumber() - 1; }

    // Newest number - oldest number + 1; 0 without a block.
    std::uint32_t size() const noexcept {
        return hasBlocks() ? newestNumber() - oldestNumber() + 1 : 0;
    }

    // Numbers of the ends. Only with blocks; on an empty queue the newest is one below the oldest.
    std::uint32_t oldestNumber() const noexcept { return blocks_.head()->oldest(); }
    std::uint32_t newestNumber() const noexcept { return blocks_.tail()->newest(); }

    // The number lies between the oldest and the newest.
    bool has(std::uint32_t number) const noexcept {
        return hasBlocks() && notBehind(oldestNumber(), number) &&
               notBehind(number, newestNumber());
    }

    Array const* firstBlock() const noexcept { return blocks_.head(); }
    Array const* lastBlock() const noexcept { return blocks_.tail(); }
    Array const* nextBlock(Array const& block) const noexcept { return blocks_.next(block); }

    // The block whose elements include `number`; null when it is outside the queue.
    Array const* blockOf(std::uint32_t number) const noexcept;

  protected:
    RQueueBase() = default;
    ~RQueueBase() = default; // the blocks are the derived class's affair: their elements are its

    // The slot for one more element, whose number is then `newestNumber()`.
    void** slotForEnq(Trackers& trackers);

    // The slot of the oldest element. Only when there is one. `headDone` takes it out.
    void** headSlot() noexcept;
    void headDone(Trackers& trackers);

    // Unlinks the first block with all its elements; `freeBlock` frees it when they are gone.
    Array& popBlock() { return blocks_.pop(); }
    static void freeBlock(Array& block, Trackers& trackers);

    // Links an empty marker: the next element gets the number `base`. Only without blocks.
    void markerIs(std::uint32_t base, Trackers& trackers);

  private:
    static Array& newBlock(std::uint32_t slotCount, std::uint32_t base, Trackers& trackers);
    void link(std::uint32_t slotCount, std::uint32_t base, Trackers& trackers);

    IntrusiveLinkedTailQueue<Array> blocks_;
};

// Walks a queue from a known element to the newest. It keeps the element's number and so survives
// dequeues between its steps: when its element has gone, the next step is to the oldest that is
// left. Ends for good when it reaches the end. The queue must outlive it.
class LOAM_EXPORT RQueueBaseConstIter {
  public:
    // At the oldest element; at the end of an empty queue.
    explicit RQueueBaseConstIter(RQueueBase const& queue) noexcept;

    bool atEnd() const noexcept { return block_ == nullptr; }
    std::uint32_t number() const noexcept { return number_; }

    // The slot of the element; null when it was dequeued meanwhile, and at the end.
    void* const* slot() const noexcept;

    void increment() noexcept;

  private:
    void toOldest() noexcept;

    RQueueBase const* queue_;
    RQueueBase::Array const* block_ = nullptr; // null at the end
    std::uint32_t index_ = 0;
    std::uint32_t number_ = 0;
};

} // namespace Ombra
