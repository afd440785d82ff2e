#pragma once

#include <Ombra/Prefetch.h>
#include <Slate/Crc32c.h>
#include <Slate/Extents.h>
#include <Slate/Geometry.h>
#include <Slate/Layout.h>
#include <Slate/Mapping.h>
#include <Slate/Shared.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace Slate {

// The records of a store, each in a slot with the means to tell that it is whole.
//
// A slot is filled in this order: state `writing`, then record, key and checksum, then state
// `live`. State words never repeat (they carry a sequence number), so a reader that finds the same
// live state before and after its copy has copied one record and not the mixture of two.
//
// The checksum covers the state word, the key, the slot's number and the record, and starts from a
// value of the file's own: a record that is copied to another slot or file does not pass there.
class SlotArea {
  public:
    SlotArea(Mapping const& mapping, Geometry const& geometry, Extents& extents,
             std::uint32_t fileSeed, std::string const& name);

    std::uint32_t count() const { return count_; }

    // Whether there is such a slot, and its memory may be touched; `ensure` asks for the memory.
    bool present(std::uint32_t slot) const { return slot < presentBelow_ || presentBeyond(slot); }
    void ensure(std::uint32_t slot) {
        if (slot >= presentBelow_) [[unlikely]] {
            extents_.ensure(offset(slot), stride_);
        }
    }

    void write(std::uint32_t slot, std::uint64_t key, std::uint64_t sequence, void const* record);
    void retire(std::uint32_t slot) {
        SlotHeader* const at = header(slot);
        storeRelease(&at->state,
                     packState(SlotState::retired, sequenceOf(loadRelaxed(&at->state))));
    }

    std::uint64_t key(std::uint32_t slot) const { return loadRelaxed(&header(slot)->key); }
    std::uint64_t state(std::uint32_t slot) const { return loadAcquire(&header(slot)->state); }
    void const* record(std::uint32_t slot) const { return header(slot) + 1; }

    // Whether the slot holds a live, whole record of `key`, which is not changing.
    bool whole(std::uint32_t slot, std::uint64_t key) const {
        SlotHeader const* const at = header(slot);
        std::uint64_t const state = loadAcquire(&at->state);
        return stateOf(state) == SlotState::live && stateWhole(state) &&
               loadRelaxed(&at->key) == key &&
               __atomic_load_n(&at->checksum, __ATOMIC_RELAXED) ==
                   crc_.sum(head(state, key, slot), words(at));
    }

    enum class Copy { whole, changed, damaged };

    struct Seen {
        Copy outcome;
        std::uint64_t key;
        std::uint64_t state;
    };

    // Copies a record that may be changing, and tells what key and state were found in the slot.
    Seen copy(std::uint32_t slot, void* record) const {
        SlotHeader const* const at = header(slot);
        std::uint64_t const state = loadAcquire(&at->state);
        std::uint64_t const key = loadRelaxed(&at->key);
        std::uint32_t const expected = __atomic_load_n(&at->checksum, __ATOMIC_RELAXED);
        std::uint32_t const found = crc_.copyIn(head(state, key, slot), record, words(at));
        std::atomic_thread_fence(std::memory_order_acquire);
        if (loadRelaxed(&at->state) != state) {
            return {Copy::changed, key, state};
        }
        bool const live = stateOf(state) == SlotState::live && stateWhole(state);
        return {live && expected == found ? Copy::whole : Copy::damaged, key, state};
    }

    // A sentence about a slot that is not a whole record of `key`.
    std::string describe(std::uint32_t slot, std::uint64_t key) const;

    void prefetch(std::uint32_t slot) const noexcept { Ombra::prefetch(place(slot), stride_); }

    // The same for any number, if its slot is known to be present.
    void prefetchKnown(std::uint32_t slot) const noexcept {
        if (slot < presentBelow_) {
            prefetch(slot);
        }
    }

  private:
    bool presentBeyond(std::uint32_t slot) const;
    std::uint64_t offset(std::uint32_t slot) const {
        return origin_ + std::uint64_t{slot} * stride_;
    }
    std::byte* place(std::uint32_t slot) const {
        if constexpr (Mapping::atOnce) {
            return slots_ + std::size_t{slot} * stride_;
        } else {
            return mapping_.at(offset(slot));
        }
    }
    SlotHeader* header(std::uint32_t slot) const {
        return reinterpret_cast<SlotHeader*>(place(slot));
    }
    static std::uint64_t const* words(SlotHeader const* at) {
        return reinterpret_cast<std::uint64_t const*>(at + 1);
    }
    Crc32c::Head head(std::uint64_t state, std::uint64_t key, std::uint32_t slot) const {
        return {seed_, state, key, slot};
    }

    Extents& extents_;
    std::string const& name_;
    Mapping const& mapping_;
    std::byte* slots_; // of a file that is mapped at once
    std::uint64_t origin_;
    std::uint32_t stride_;
    std::uint32_t count_;
    mutable std::uint32_t presentBelow_ = 0; // memory is never given back
    std::uint32_t seed_;
    Crc32c crc_;
};

} // namespace Slate
