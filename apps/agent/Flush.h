#pragma once

#include <apps/agent/LogTail.h>
#include <apps/agent/Platform.h>
#include <cstddef>
#include <cstdint>
#include <vector>

// Empties all tables, each with one change per unit: the tables of entries, and behind them in the
// hardware's order those of actions. A marking phase that is open ends with it.
//
//     flush.start();
//     loop: flush.feed(), run the resolver, serve the other events
//
// Agent's thread.
namespace LoamAgent {

class Flush {
  public:
    Flush(Platform& platform, std::size_t unitCount) : platform_{platform}, unitCount_{unitCount} {}

    void start();

    // False when it is no use to call again before the resolver has moved.
    bool feed();

    bool fed() const { return phase_ == Phase::fed; }
    std::uint64_t total() const { return total_; } // entries that there were
    std::uint64_t done() const;                    // of these, gone from the hardware

  private:
    enum class Phase { entries, committingEntries, actions, committingActions, fed };

    struct Pair {
        AgentTable* entries;
        AgentTable* actions;
        std::uint64_t entryCount = 0;
        std::uint64_t actionCount = 0;
    };

    std::uint64_t entrysOf(AgentTable const& table) const;
    void removeAll(AgentTable& table, Handle const& dependency) const;
    void noteGone(AgentTable const& table, std::uint64_t entries);

    Platform& platform_;
    std::size_t unitCount_;
    Phase phase_ = Phase::fed;
    std::vector<Pair> pairs_;
    std::vector<LogTail> tails_;
    std::uint64_t total_ = 0;
};

} // namespace LoamAgent
