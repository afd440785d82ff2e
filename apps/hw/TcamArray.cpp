#include <algorithm>
#include <apps/hw/TcamArray.h>
#include <cstddef>
#include <iterator>

namespace LoamHw {

namespace {

constexpr std::int64_t reach = 64;    // how far the nearest free slot may be for a plain shift
constexpr std::int64_t gapAtEnds = 3; // free slots left behind the last entry by one that follows

// A free slot between two neighbours that have at least one between them.
std::int64_t slotBetween(std::int64_t below, std::int64_t above, std::int64_t end) {
    std::int64_t const middle = below + (above - below) / 2;
    if (above == end && below >= 0) {
        return std::min(below + 1 + gapAtEnds, middle);
    }
    if (below < 0 && above < end) {
        return std::max(above - 1 - gapAtEnds, middle);
    }
    return middle;
}

template <typename Slots>
auto at(Slots& slots, std::int64_t slot) {
    return slots.begin() + static_cast<std::ptrdiff_t>(slot);
}

} // namespace

TcamArray::TcamArray(std::uint32_t capacity) : capacity_{capacity}, slots_(capacity) {}

std::optional<TcamArray::Slot> TcamArray::freeBelow(Slot slot) const {
    for (Slot const end = std::max<Slot>(slot - reach, -1); slot > end; --slot) {
        if (slots_[static_cast<std::size_t>(slot)] == nullptr) {
            return slot;
        }
    }
    return std::nullopt;
}

std::optional<TcamArray::Slot> TcamArray::freeAbove(Slot slot) const {
    auto const slotCount = static_cast<Slot>(slots_.size());
    for (Slot const end = std::min(slot + reach, slotCount); slot < end; ++slot) {
        if (slots_[static_cast<std::size_t>(slot)] == nullptr) {
            return slot;
        }
    }
    return std::nullopt;
}

void TcamArray::move(Slot from, Slot to) {
    auto*& entry = slots_[static_cast<std::size_t>(from)];
    entry->second = static_cast<std::uint32_t>(to);
    slots_[static_cast<std::size_t>(to)] = entry;
    entry = nullptr;
}

std::uint32_t TcamArray::insert(Rank const& rank) {
    auto const end = static_cast<Slot>(slots_.size());
    auto const next = order_.lower_bound(rank);
    Slot const above = next == order_.end() ? end : static_cast<Slot>(next->second);
    Slot const below = next == order_.begin() ? -1 : static_cast<Slot>(std::prev(next)->second);
    std::uint32_t moved = 0;
    auto const slot = above - below > 1 ? std::optional{slotBetween(below, above, end)}
                                        : shift(below, above, moved);
    auto const added = order_.emplace_hint(next, rank, 0);
    if (slot) {
        added->second = static_cast<std::uint32_t>(*slot);
        slots_[added->second] = &*added;
    } else {
        spread(spareWindow(below < 0 ? above : below), added, moved);
    }
    return moved;
}

// Frees a slot between two neighbours by moving those up to the nearest free one.
std::optional<TcamArray::Slot> TcamArray::shift(Slot below, Slot above, std::uint32_t& moved) {
    auto const low = freeBelow(below);
    auto const high = freeAbove(above);
    if (high && (!low || *high - above <= below - *low)) {
        for (Slot i = *high; i > above; --i, ++moved) {
            move(i - 1, i);
        }
        return above;
    }
    if (low) {
        for (Slot i = *low; i < below; ++i, ++moved) {
            move(i + 1, i);
        }
        return below;
    }
    return std::nullopt;
}

// From a window of one reach, which may be filled to the last slot, to all slots, which may be as
// full as the array is: what a window of a size in between may hold lies in between.
TcamArray::Window TcamArray::spareWindow(Slot around) const {
    auto const slotCount = static_cast<Slot>(slots_.size());
    int levels = 1;
    while (reach << levels < slotCount) {
        ++levels;
    }
    double const spare = 1 - static_cast<double>(order_.size()) / static_cast<double>(slotCount);
    for (int level = 0; level < levels; ++level) {
        Slot const size = reach << level;
        Slot const begin = around / size * size;
        Slot const windowEnd = std::min(begin + size, slotCount);
        auto const free = std::count(at(slots_, begin), at(slots_, windowEnd), nullptr);
        auto const wanted = spare * level / levels * static_cast<double>(windowEnd - begin);
        if (free > 0 && static_cast<double>(free - 1) >= wanted) {
            return {begin, windowEnd, windowEnd - begin - free};
        }
    }
    return {0, slotCount, static_cast<Slot>(order_.size()) - 1};
}

// Spreads the window's entries and the added one, which has no slot yet.
void TcamArray::spread(Window const& window, Order::iterator added, std::uint32_t& moved) {
    auto first = added;
    while (first != order_.begin() && static_cast<Slot>(std::prev(first)->second) >= window.begin) {
        --first;
    }
    std::fill(at(slots_, window.begin), at(slots_, window.end), nullptr);
    Slot const count = window.entries + 1;
    for (Slot i = 0; i < count; ++i, ++first) {
        auto const slot =
            static_cast<std::uint32_t>(window.begin + i * (window.end - window.begin) / count);
        moved += first != added && first->second != slot ? 1 : 0;
        first->second = slot;
        slots_[slot] = &*first;
    }
}

void TcamArray::erase(Rank const& rank) {
    if (auto const found = order_.find(rank); found != order_.end()) {
        slots_[found->second] = nullptr;
        order_.erase(found);
    }
}

void TcamArray::clear() {
    order_.clear();
    std::ranges::fill(slots_, nullptr);
}

void TcamArray::capacityIs(std::uint32_t capacity) {
    capacity_ = capacity;
    if (capacity > slots_.size()) {
        slots_.resize(capacity);
    }
}

std::optional<std::uint32_t> TcamArray::slotOf(Rank const& rank) const {
    auto const found = order_.find(rank);
    return found == order_.end() ? std::nullopt : std::optional{found->second};
}

} // namespace LoamHw
