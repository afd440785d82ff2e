#pragma once

#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <support/AgentInProcess.h>
#include <vector>

// The agent that the benchmarks of a process work on: its tables over real files, in a folder of
// its own in shared memory that goes with the process, and the hardware side's part of an
// acknowledgement.
namespace bench {

using Family = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
using Table = Family::SwTable;
using Key = LoamSystemAcl::Ipv4SystemPolicyTcamEntryEntryKey;
using Entry = LoamSystemAcl::Ipv4SystemPolicyTcamEntryEntry;
using ConfigRecord = LoamSystemAcl::Ipv4SystemPolicyTcamEntryConfigSlateEntry;
using LogRecord = LoamSystemAcl::Ipv4SystemPolicyTcamEntryLogSlateEntry;

constexpr std::size_t keyCount = 65'536;
constexpr std::size_t inFlight = 64;

// `keyCount` keys in random order, always the same.
std::vector<Key> const& randomKeys();

// The entry that the write number `number` gives its key: no two writes of a key in a row are the
// same.
inline Entry entryOf(Key const& key, std::size_t number) {
    Entry entry{key};
    auto const fields = entry.fields();
    fields[20] = std::byte(number);
    fields[21] = std::byte(number >> 8);
    fields[22] = std::byte(number >> 16);
    return entry;
}

// A folder in shared memory, for the files of this process.
std::filesystem::path const& folder();

class Agent {
  public:
    // Keys are committed on unit 0.
    static Agent& get();

    Table& table(Asic::UnitId unitId = 0);

    // Commits what is ready, a resolver run at a time.
    void resolve() { agent_.resolve(); }

    // The hardware side has applied the log up to there, and the agent hears of it.
    void acknowledge(Asic::LogVersion version) { agent_.acknowledge(tableId, version); }
    void acknowledgeAll() { acknowledge(logged()); }
    Asic::LogVersion logged() { return table().entryLog()->tableVersion(); }

    // One run of the resolver, as the agent's loop makes it; whether there is more to do.
    bool resolveOnce() { return agent_.group()->groupResolver()->run().more; }

    // The agent dies and comes up again with unit 0 alone. Tables handed out before are gone.
    void restart();

    // Writes and has acknowledged the keys from `first` to `last` on a unit.
    void fill(Asic::UnitId unitId, std::size_t first, std::size_t last);

  private:
    static constexpr Asic::SwTableId tableId =
        LoamSystemAcl::Ipv4SystemPolicyTcamEntryConstants::tableId;

    Agent();

    testing_support::AgentInProcess agent_;
    std::vector<Ombra::Ptr<Table>> tables_; // by unit
};

} // namespace bench
