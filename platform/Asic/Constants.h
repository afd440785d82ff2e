#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Export.h>
#include <Ombra/String.h>

#include <optional>

// Where things lie in shared memory. All paths of a group hang below its canonical name:
//
//     <group>/<namespace>/<table>/entryLog         change log of a table
//     <group>/<namespace>/<table>/config/<unit>    configuration table of a unit, in decimal
//     <group>/announce/<tableId>                   what the agent has announced of a table, in hex
//     <group>/tableVersionMap                      what the hardware side has applied
//     <group>/agent                                which run of the agent this is
namespace Asic {

struct LOAM_EXPORT Constants {
    // "<agent>.<group>"
    static Ombra::String canonicalizeGroupName(Ombra::String const& agentName,
                                               Ombra::String const& groupName);

    static Ombra::String tableEntryLogSlatePath(Ombra::String const& canonicalGroup,
                                                Ombra::String const& tableNamespace,
                                                Ombra::String const& tableName);

    // What the paths of a table's configuration tables have in common, without a slash at the end.
    static Ombra::String canonicalGroupTableConfigSlatePathBase(Ombra::String const& canonicalGroup,
                                                                Ombra::String const& tableNamespace,
                                                                Ombra::String const& tableName);

    static Ombra::String configSlatePath(Ombra::String const& canonicalGroup,
                                         Ombra::String const& tableNamespace,
                                         Ombra::String const& tableName, UnitId unitId);

    // The unit of a path that `configSlatePath` made. Throws `Ombra::Exception` on any other text.
    static UnitId getUnitIdFromConfigPath(Ombra::String const& path);

    static Ombra::String announcementSlatePathBase(Ombra::String const& canonicalGroup);
    static Ombra::String announcementSlatePath(Ombra::String const& canonicalGroup,
                                               SwTableId tableId);

    // The table of a path that `announcementSlatePath` made; nothing for any other text.
    static std::optional<SwTableId> getTableIdFromAnnouncementPath(Ombra::String const& path);

    static Ombra::String tableVersionMapPath(Ombra::String const& canonicalGroup);
    static Ombra::String agentSlatePath(Ombra::String const& canonicalGroup);

    // In the state store: "hardware/spindle/agent/relaunch/config/" and the agent's name.
    static Ombra::String relaunchPath(Ombra::String const& agentName);
};

} // namespace Asic
