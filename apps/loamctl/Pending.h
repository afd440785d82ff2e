#pragma once

#include <apps/loamctl/Context.h>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace LoamCtl {

// The newest operation of a key that a live agent has not logged yet.
struct PendingOperation {
    std::string operation;         // "write" or "remove"
    std::vector<std::byte> fields; // of a write, all bytes behind the key
};

// By unit and key; none when no agent lives. Asks for so many operations at a time as one answer
// has.
std::map<std::pair<Asic::UnitId, std::uint32_t>, PendingOperation> pendingOf(Context const& context,
                                                                             Table const& table);

} // namespace LoamCtl
