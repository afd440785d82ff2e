#include <Asic/Constants.h>
#include <Ombra/Exception.h>

#include <charconv>
#include <string_view>

namespace Asic {

namespace {

Ombra::String tablePath(Ombra::String const& canonicalGroup, Ombra::String const& tableNamespace,
                        Ombra::String const& tableName, std::string_view last) {
    return fmt::format("{}/{}/{}/{}", canonicalGroup, tableNamespace, tableName, last);
}

} // namespace

Ombra::String Constants::canonicalizeGroupName(Ombra::String const& agentName,
                                               Ombra::String const& groupName) {
    return fmt::format("{}.{}", agentName, groupName);
}

Ombra::String Constants::tableEntryLogSlatePath(Ombra::String const& canonicalGroup,
                                                Ombra::String const& tableNamespace,
                                                Ombra::String const& tableName) {
    return tablePath(canonicalGroup, tableNamespace, tableName, "entryLog");
}

Ombra::String Constants::canonicalGroupTableConfigSlatePathBase(Ombra::String const& canonicalGroup,
                                                                Ombra::String const& tableNamespace,
                                                                Ombra::String const& tableName) {
    return tablePath(canonicalGroup, tableNamespace, tableName, "config");
}

Ombra::String Constants::configSlatePath(Ombra::String const& canonicalGroup,
                                         Ombra::String const& tableNamespace,
                                         Ombra::String const& tableName, UnitId unitId) {
    return fmt::format(
        "{}/{}", canonicalGroupTableConfigSlatePathBase(canonicalGroup, tableNamespace, tableName),
        unitId);
}

UnitId Constants::getUnitIdFromConfigPath(Ombra::String const& path) {
    std::string_view const text = path;
    std::string_view const number = text.substr(text.rfind('/') + 1);
    UnitId unitId = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), unitId);
    if (error != std::errc{} || end != number.data() + number.size()) {
        throw Ombra::Exception{fmt::format("{}: '{}' is no unit number; a configuration table's "
                                           "path ends in a number from 0 to 65535",
                                           path, number)};
    }
    return unitId;
}

Ombra::String Constants::announcementSlatePathBase(Ombra::String const& canonicalGroup) {
    return canonicalGroup + "/announce";
}

Ombra::String Constants::announcementSlatePath(Ombra::String const& canonicalGroup,
                                               SwTableId tableId) {
    return fmt::format("{}/{:08x}", announcementSlatePathBase(canonicalGroup), tableId.number());
}

std::optional<SwTableId> Constants::getTableIdFromAnnouncementPath(Ombra::String const& path) {
    std::string_view const text = path;
    std::string_view const number = text.substr(text.rfind('/') + 1);
    std::uint32_t id = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), id, 16);
    if (number.size() != 8 || error != std::errc{} || end != number.data() + number.size()) {
        return std::nullopt;
    }
    return SwTableId{id};
}

Ombra::String Constants::tableVersionMapPath(Ombra::String const& canonicalGroup) {
    return canonicalGroup + "/tableVersionMap";
}

Ombra::String Constants::agentSlatePath(Ombra::String const& canonicalGroup) {
    return canonicalGroup + "/agent";
}

Ombra::String Constants::relaunchPath(Ombra::String const& agentName) {
    return Ombra::String{"hardware/spindle/agent/relaunch/config/"} + std::string_view{agentName};
}

} // namespace Asic
