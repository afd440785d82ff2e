#pragma once

#include <Ombra/RQueueBase.h>

#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

// A first-in-first-out queue that numbers its elements (see RQueueBase.h for blocks and numbers).
//
// `T` is one pointer wide, `Ombra::Ptr` in practice; `Tag` is the element class under which the
// slots are counted. The last argument is false throughout the system. An element never moves once
// stored; the queue holds one reference to each. Adding and taking cost constant time, apart from a
// block change; `at` walks the blocks, of which there are few.
//
// The queue announces nothing: whoever owns it publishes with the numbers that `enq` and `deq`
// give. An owner that dies calls `doClear(false)` before the queue does.
//
//     auto const number = queue.enq(handle);
//     if (auto taken = queue.deq()) { use(taken->number, taken->element); }
namespace Ombra {

template <typename T, typename Tag, bool flag>
class RQueue : public RQueueBase {
    static_assert(sizeof(T) == sizeof(void*) && alignof(T) <= alignof(void*));
    static_assert(std::is_nothrow_move_constructible_v<T>);

  public:
    struct Taken {
        T element;
        std::uint32_t number;
    };

    RQueue() = default;
    ~RQueue() { doClear(false); }

    // An empty queue whose first element gets the number `next`.
    explicit RQueue(std::uint32_t next) { markerIs(next, trackers_); }

    // The element with that number; null outside the queue's range.
    T at(std::uint32_t number) const {
        Array const* block = blockOf(number);
        return block == nullptr ? T{} : element(block->slots()[number - block->base()]);
    }

    T front() const { return empty() ? T{} : element(firstBlock()->slots()[firstBlock()->head()]); }

    T back() const {
        return empty() ? T{} : element(lastBlock()->slots()[lastBlock()->tail() - 1]);
    }

    // Appends and gives the new element's number.
    std::uint32_t enq(T value) {
        new (slotForEnq(trackers_)) T(std::move(value));
        return newestNumber();
    }

    // Takes out the oldest element; nothing when the queue is empty.
    std::optional<Taken> deq() {
        if (empty()) {
            return std::nullopt;
        }
        std::optional<Taken> taken{Taken{take(headSlot()), oldestNumber()}};
        headDone(trackers_);
        return taken;
    }

    // Lets every element go. With `keepNumbering` the next element gets the number that it would
    // have had; without it no block remains and the numbers start again.
    void doClear(bool keepNumbering) {
        if (!hasBlocks()) {
            return;
        }
        std::uint32_t const next = newestNumber() + 1;
        while (hasBlocks()) {
            auto& block = popBlock();
            for (auto slot = block.head(); slot != block.tail(); ++slot) {
                T const released = take(&block.slots()[slot]);
            }
            freeBlock(block, trackers_);
        }
        if (keepNumbering) {
            markerIs(next, trackers_);
        }
    }

    static Trackers const& trackers() noexcept { return trackers_; }

  private:
    static T const& element(void* const& slot) noexcept {
        return *std::launder(reinterpret_cast<T const*>(&slot));
    }

    static T take(void** slot) noexcept {
        T& stored = *std::launder(reinterpret_cast<T*>(slot));
        T taken{std::move(stored)};
        std::destroy_at(&stored);
        return taken;
    }

    LOAM_EXPORT static inline Trackers trackers_{nullptr, nullptr, typeid(Tag)};
};

} // namespace Ombra
