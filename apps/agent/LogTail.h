#pragma once

#include <apps/agent/AgentTable.h>
#include <cstdint>

// The end of a table's log, for operations that give no handles: how much of it the hardware has.
namespace LoamAgent {

struct LogTail {
    AgentTable const* table;
    Asic::LogVersion before;   // the changes are behind this version,
    Asic::LogVersion last;     // up to this one,
    std::uint64_t entries = 0; // and apply to so many entries

    std::uint64_t applied() const {
        auto const version = table->appliedVersion();
        if (version >= last) {
            return entries;
        }
        return version <= before ? 0 : entries * (version - before) / (last - before);
    }
};

} // namespace LoamAgent
