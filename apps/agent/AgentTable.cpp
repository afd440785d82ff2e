#include <apps/agent/AgentTable.h>
#include <apps/agent/LogPlace.h>

namespace LoamAgent {

AgentTable::~AgentTable() = default;

Handle AgentTable::loggedPlace() const {
    return Ombra::ptrIs<LogPlace>(tableId(), loggedVersion());
}

} // namespace LoamAgent
