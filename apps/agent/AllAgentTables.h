#pragma once

#include <LoamAgent/XxxAgentTable.h>

// How to make each table of the catalogue, in the order of their identifiers.
namespace LoamAgent {

// clang-format off
inline constexpr auto agentTableMakers = {
    &xxxAgentTable,
};
// clang-format on

} // namespace LoamAgent
