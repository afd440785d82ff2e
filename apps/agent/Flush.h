#pragma once

#include <apps/agent/LogTail.h>
#include <apps/agent/Platform.h>
#include <apps/agent/Task.h>
#include <cstddef>
#include <cstdint>
#include <vector>

// Empties all tables, each with one change per unit: the tables of entries, and behind them in the
// hardware's order those of actions. A marking phase that is open ends with it.
//
//     flush.start();
//     loop: flush.feed(budget), run the resolver, serve the other events
//
// Agent's thread.
namespace LoamAgent {

class Flush final : public Task {
  public:
    Flush(Platform& platform, std::size_t unitCount) : platform_{platform}, unitCount_{unitCount} {}

    void start();

    bool feed(std::size_t budget) override;
    bool fed() const override { return phase_ == Phase::fed; }
    Amount amount() const override; // entries that there were, and those gone from the hardware
    std::string summary(std::uint64_t written, std::uint64_t suppressed) const override;
    void stop() override { phase_ = Phase::fed; }

  private:
    enum class Phase { entries, committingEntries, actions, committingActions, fed };

    struct Pair {
        std::uint16_t entries; // tblId
        std::uint16_t actions; // likewise
        std::uint64_t entryCount;
        std::uint64_t actionCount;
    };

    std::uint64_t entrysOf(std::uint16_t tblId) const;
    void removeAll(std::uint16_t tblId, Handle const& dependency) const;
    void noteGone(std::uint16_t tblId, std::uint64_t entries);

    Platform& platform_;
    std::size_t unitCount_;
    Phase phase_ = Phase::fed;
    std::vector<Pair> pairs_;
    std::vector<LogTail> tails_;
    std::uint64_t total_ = 0;
};

} // namespace LoamAgent
