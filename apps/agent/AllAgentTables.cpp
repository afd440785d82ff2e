#include <LoamAgent/AllAgentTables.h>

namespace LoamAgent {

std::vector<std::unique_ptr<AgentTable>>
allAgentTables(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf) {
    std::vector<std::unique_ptr<AgentTable>> all;
    for (auto const make : agentTableMakers) {
        all.push_back(make(orderedTableIntf));
    }
    return all;
}

} // namespace LoamAgent
