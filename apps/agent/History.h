#pragma once

#include <apps/agent/Platform.h>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

// When a table's operations were asked for, logged and applied: a few samples of its counters,
// taken when the loop comes round, so that a write costs nothing for it.
//
// The answer is the first sample at which it had happened, so that what it says is late by the time
// between two samples. Bounded: when there are many, every second one goes, and those that stay are
// further apart.
namespace LoamAgent {

class History {
  public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t mostSamples = 512; // per table
    static constexpr std::chrono::milliseconds period{5};

    explicit History(Platform const& platform) : platform_{platform} {}

    void sample(Clock::time_point now = Clock::now());

    // Operations of the table that were ever asked for, in this run.
    std::uint64_t enqueued(std::size_t table) const;

    // How long ago it had happened; nothing when no sample says so.
    std::optional<Clock::duration> sinceEnqueued(std::size_t table, std::uint64_t number) const;
    std::optional<Clock::duration> sinceLogged(std::size_t table, std::uint64_t version) const;

  private:
    struct Sample {
        Clock::time_point time;
        std::uint64_t enqueued;
        std::uint64_t logged;
    };

    std::optional<Clock::duration> since(std::size_t table, std::uint64_t Sample::*counter,
                                         std::uint64_t reached) const;

    Platform const& platform_;
    std::vector<std::vector<Sample>> samples_; // by the place in `Platform::tables`
    Clock::time_point next_{};
};

} // namespace LoamAgent
