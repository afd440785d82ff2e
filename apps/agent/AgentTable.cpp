#include <apps/agent/AgentTable.h>

namespace LoamAgent {

AgentTable::~AgentTable() = default;

} // namespace LoamAgent
