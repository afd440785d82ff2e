#pragma once

#include <cstdint>
#include <vector>

namespace Slate {

// The free numbers of a range, given out last in, first out: what was just freed is still in the
// cache, and a log that is trimmed as it grows stays within a small window of slots.
//
// Lives in the writer's own memory and is rebuilt from the directory when a store is opened.
// Numbers that were never given out cost nothing. Serves slots and overflow buckets.
class SlotAllocator {
  public:
    explicit SlotAllocator(std::uint32_t count = 0) : count_{count} {}

    // Starts anew with the numbers free that `used` does not mark, lowest first. `used` may be
    // shorter than the range.
    void rebuild(std::vector<bool> const& used) {
        free_.clear();
        fresh_ = 0;
        for (auto number = static_cast<std::uint32_t>(used.size()); number-- > 0;) {
            if (used[number]) {
                fresh_ = fresh_ != 0 ? fresh_ : number + 1;
            } else if (fresh_ != 0) {
                free_.push_back(number);
            }
        }
    }

    bool empty() const { return free_.empty() && fresh_ == count_; }
    std::uint32_t peek() const { return free_.empty() ? fresh_ : free_.back(); }

    void take() {
        if (free_.empty()) {
            ++fresh_;
        } else {
            free_.pop_back();
        }
    }

    void give(std::uint32_t number) { free_.push_back(number); }

  private:
    std::uint32_t count_;
    std::uint32_t fresh_ = 0; // from here on nothing was ever given out
    std::vector<std::uint32_t> free_;
};

} // namespace Slate
