#include <LoamSystemAcl/XxxInterface.h>

#include <LoamAgent/XxxAgentTable.h>
#include <apps/agent/TypedAgentTable.h>

namespace LoamAgent {

static_assert(agentName == LoamSystemAcl::XxxConstants::agentName);
static_assert(groupName == LoamSystemAcl::XxxConstants::groupName);

std::unique_ptr<AgentTable>
xxxAgentTable(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf) {
    return std::make_unique<TypedAgentTable<LoamSystemAcl::XxxFamily>>(orderedTableIntf);
}

} // namespace LoamAgent
