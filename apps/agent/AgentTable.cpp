#include <apps/agent/AgentTable.h>
#include <apps/agent/LogPlace.h>
#include <apps/agent/Operation.h>

namespace LoamAgent {

AgentTable::~AgentTable() = default;

Handle AgentTable::loggedPlace() const {
    return Ombra::ptrIs<LogPlace>(tableId(), loggedVersion());
}

char const* nameOf(Operation::Kind kind) {
    switch (kind) {
    case Operation::Kind::write:
        return "write";
    case Operation::Kind::remove:
        return "remove";
    case Operation::Kind::removeAll:
        break;
    }
    return "remove-all";
}

char const* nameOf(Operation::Stage stage) {
    return stage == Operation::Stage::queued ? "queued" : "refused";
}

char const* nameOf(TableEvent::What what) {
    using enum TableEvent::What;
    switch (what) {
    case written:
        return "written";
    case removed:
        return "removed";
    case committed:
        return "committed";
    case applied:
        return "applied";
    case marking:
        return "marking";
    case sweeping:
        break;
    }
    return "swept";
}

} // namespace LoamAgent
