#pragma once

#include <Asic/OrderedTableInterface.h>

#include <apps/agent/AgentTable.h>
#include <memory>

// The table Xxx for the agent; compiled by itself, because the table's headers are many.
namespace LoamAgent {

std::unique_ptr<AgentTable>
xxxAgentTable(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf);

} // namespace LoamAgent
