#include <Slate/SlotArea.h>

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace Slate {

SlotArea::SlotArea(Mapping const& mapping, Geometry const& geometry, Extents& extents,
                   std::uint32_t fileSeed, std::string const& name)
    : extents_{extents}, name_{name}, mapping_{mapping},
      slots_{Mapping::atOnce ? mapping.at(geometry.slotOffset) : nullptr},
      origin_{geometry.slotOffset}, stride_{geometry.slotStride}, count_{geometry.slotCount},
      seed_{fileSeed}, crc_{geometry.recordBytes} {}

// Slots are given out from the lowest on, so that nearly always all are present below some slot.
bool SlotArea::presentBeyond(std::uint32_t slot) const {
    if (slot >= count_ || !extents_.present(offset(slot), stride_)) {
        return false;
    }
    std::uint64_t const end = extents_.knownUpTo(offset(presentBelow_)) - origin_;
    presentBelow_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(count_, end / stride_));
    return true;
}

void SlotArea::write(std::uint32_t slot, std::uint64_t key, std::uint64_t sequence,
                     void const* record) {
    SlotHeader* const at = header(slot);
    std::uint64_t const live = packState(SlotState::live, sequence);
    storeRelaxed(&at->state, withState(live, SlotState::live, SlotState::writing));
    std::atomic_thread_fence(std::memory_order_release);
    std::uint32_t const sum =
        crc_.copyOut(head(live, key, slot), reinterpret_cast<std::uint64_t*>(at + 1), record);
    storeRelaxed(&at->key, key);
    __atomic_store_n(&at->checksum, sum, __ATOMIC_RELAXED);
    storeRelease(&at->state, live);
}

std::string SlotArea::describe(std::uint32_t slot, std::uint64_t key) const {
    SlotHeader const* const at = header(slot);
    std::uint64_t const state = loadAcquire(&at->state);
    if (!stateWhole(state) || stateOf(state) != SlotState::live) {
        return fmt::format("{}: slot {}, key {}: expected a live state word, found {:016x}", name_,
                           slot, key, state);
    }
    if (loadRelaxed(&at->key) != key) {
        return fmt::format("{}: slot {}, key {}: expected this key in the slot, found key {}",
                           name_, slot, key, loadRelaxed(&at->key));
    }
    return fmt::format("{}: slot {}, key {}: expected checksum {:08x}, found {:08x}", name_, slot,
                       key, __atomic_load_n(&at->checksum, __ATOMIC_RELAXED),
                       crc_.sum(head(state, key, slot), words(at)));
}

} // namespace Slate
