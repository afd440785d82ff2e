#include <Asic/Constants.h>
#include <LoamSystemAcl/XxxTypes.h>

namespace LoamSystemAcl {

Ombra::String XxxConstants::configSlatePath(Asic::UnitId unitId) {
    return Asic::Constants::configSlatePath(
        Asic::Constants::canonicalizeGroupName(agentName, groupName), tableNamespace, tableName,
        unitId);
}

Ombra::String XxxConstants::tableEntryLogSlatePath() {
    return Asic::Constants::tableEntryLogSlatePath(
        Asic::Constants::canonicalizeGroupName(agentName, groupName), tableNamespace, tableName);
}

} // namespace LoamSystemAcl
