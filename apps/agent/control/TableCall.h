#pragma once

#include <Inspect/Object.h>
#include <apps/agent/control/AgentControl.h>
#include <span>

// Operations of objects that a person calls by name.
namespace LoamAgent {

// While operations are recorded, those of a table go the way of the agent's own, and what changes
// tables behind it is refused. Throws `RequestError` and `Inspect::Error`, and nothing has changed.
Inspect::Value callByName(AgentControl& agent, Inspect::Object const& object,
                          Inspect::Attribute const& operation,
                          std::span<Inspect::Value const> given);

} // namespace LoamAgent
