#pragma once

#include <chrono>
#include <cstdint>

namespace LoamHw {

using Clock = std::chrono::steady_clock;

// How much one table may do before it is another one's turn: so many steps, and no longer than so
// long, since a slow backend must not keep the other tables and the signals waiting.
class Budget {
  public:
    static constexpr std::uint32_t steps = 256;
    static constexpr std::chrono::microseconds time{2000};

    // Whether there is anything left; takes one step.
    bool take() { return left_ != 0 && (--left_, Clock::now() < end_); }

  private:
    std::uint32_t left_ = steps;
    Clock::time_point end_ = Clock::now() + time;
};

} // namespace LoamHw
