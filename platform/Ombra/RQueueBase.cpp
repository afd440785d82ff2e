#include <Ombra/Assert.h>
#include <Ombra/MemTrack.h>
#include <Ombra/RQueueBase.h>
#include <Pallet/SlabAlloc.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>
#include <new>

namespace Ombra {

std::uint32_t RQueueBase::log2Of(std::uint32_t i) {
    OMBRA_ASSERT(std::has_single_bit(i), "isPowerOfTwo( i )");
    return static_cast<std::uint32_t>(std::countr_zero(i));
}

std::uint32_t RQueueBase::nextBlockSlots(std::uint32_t count) noexcept {
    if (count - 1 >= 0xfffffffe) {
        return minSlots;
    }
    if (count >= maxSlots) {
        return maxSlots;
    }
    return std::max(minSlots, std::bit_floor(count) * 2);
}

RQueueBase::Array::Array(std::uint32_t slotCount, std::uint32_t base)
    : word_{slotCount == 0 ? 0 : log2Of(slotCount) << capacityShift}, base_{base} {}

RQueueBase::Array& RQueueBase::newBlock(std::uint32_t slotCount, std::uint32_t base,
                                        Trackers& trackers) {
    auto const bytes = static_cast<unsigned>(sizeof(Array) + slotCount * sizeof(void*));
    void* const memory =
        Pallet::slabAllocOrStdMalloc(bytes, Pallet::SlabAllocationPattern::longLived);
    if (memory == nullptr) {
        std::abort();
    }
    MemTrack::Impl::alloc(&trackers.block, typeid(Array), sizeof(Array), 1);
    MemTrack::Impl::alloc(&trackers.slot, trackers.elementType, sizeof(void*), slotCount);
    return *new (memory) Array{slotCount, base};
}

void RQueueBase::freeBlock(Array& block, Trackers& trackers) {
    MemTrack::Impl::dealloc(trackers.block, 1);
    MemTrack::Impl::dealloc(trackers.slot, block.slotCount());
    std::destroy_at(&block);
    Pallet::slabFreeOrStdFree(&block, typeid(Array));
}

void RQueueBase::link(std::uint32_t slotCount, std::uint32_t base, Trackers& trackers) {
    blocks_.push(newBlock(slotCount, base, trackers));
}

void RQueueBase::markerIs(std::uint32_t base, Trackers& trackers) {
    link(0, base, trackers);
}

void** RQueueBase::slotForEnq(Trackers& trackers) {
    if (!hasBlocks()) {
        link(minSlots, firstNumber, trackers);
    } else if (auto& last = *blocks_.tail(); last.isMarker()) {
        auto const next = last.base();
        blocks_.remove(last);
        freeBlock(last, trackers);
        link(minSlots, next, trackers);
    } else if (last.full()) {
        link(nextBlockSlots(size()), last.newest() + 1, trackers);
    }
    auto& block = *blocks_.tail();
    void** const slot = block.slots() + block.tail();
    block.tailInc();
    return slot;
}

void** RQueueBase::headSlot() noexcept {
    auto& block = *blocks_.head();
    return block.slots() + block.head();
}

void RQueueBase::headDone(Trackers& trackers) {
    auto& block = *blocks_.head();
    block.headInc();
    if (block.head() != block.tail()) {
        return;
    }
    auto const next = block.newest() + 1;
    blocks_.pop();
    if (blocks_.empty()) {
        markerIs(next, trackers);
    }
    freeBlock(block, trackers);
}

RQueueBase::Array const* RQueueBase::blockOf(std::uint32_t number) const noexcept {
    if (!hasBlocks()) {
        return nullptr;
    }
    auto const* last = blocks_.tail();
    if (notBehind(last->oldest(), number)) {
        return last->holds(number) ? last : nullptr;
    }
    for (auto const* block = blocks_.head(); block != nullptr; block = blocks_.next(*block)) {
        if (block->holds(number)) {
            return block;
        }
    }
    return nullptr;
}

RQueueBaseConstIter::RQueueBaseConstIter(RQueueBase const& queue) noexcept : queue_{&queue} {
    toOldest();
}

void RQueueBaseConstIter::toOldest() noexcept {
    block_ = queue_->empty() ? nullptr : queue_->firstBlock();
    index_ = block_ == nullptr ? 0 : block_->head();
    number_ = block_ == nullptr ? number_ : block_->oldest();
}

void* const* RQueueBaseConstIter::slot() const noexcept {
    return atEnd() || !queue_->has(number_) ? nullptr : block_->slots() + index_;
}

void RQueueBaseConstIter::increment() noexcept {
    if (atEnd()) {
        return;
    }
    if (!queue_->has(number_)) {
        toOldest();
        return;
    }
    ++number_;
    if (++index_ == block_->tail()) {
        block_ = queue_->nextBlock(*block_);
        index_ = 0;
    }
}

} // namespace Ombra
