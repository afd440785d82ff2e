#pragma once

#include <Asic/Identifiers.h>
#include <LoamSystemAclTypes/EntryBase.h>
#include <LoamSystemAclTypes/EntryKeyBase.h>
#include <Ombra/String.h>
#include <catalogue/Catalogue.h>

// The plain values of the table Xxx.
namespace LoamSystemAcl {

class XxxEntryKey : public EntryKeyBase<XxxEntryKey> {
    using EntryKeyBase::EntryKeyBase;
};

class XxxResourceKeys : public ResourceKeysBase<XxxResourceKeys> {};

// Identity, names and paths of the table.
struct XxxConstants {
    static constexpr catalogue::Row row = catalogue::row("Xxx");

    static constexpr Asic::SwTableId tableId{row.tableId};
    static constexpr char const* tableName = "Xxx";
    static constexpr char const* groupName = "LoamSystemAcl";
    static constexpr char const* agentName = "LoamSystemAcl";
    static constexpr char const* tableNamespace = "LoamSystemAcl";

    // Where the configuration table of a unit lies in shared memory.
    static Ombra::String configSlatePath(Asic::UnitId unitId);

    // Where the change log of the table lies in shared memory.
    static Ombra::String tableEntryLogSlatePath();
};

class XxxLogEntry : public LogEntryBase<XxxLogEntry, XxxEntryKey, XxxConstants::row> {
    using LogEntryBase::LogEntryBase;
};

class XxxEntry : public EntryBase<XxxEntry, XxxEntryKey, XxxLogEntry, XxxResourceKeys> {
    using EntryBase::EntryBase;
};

static_assert(sizeof(XxxEntryKey) == 4 && alignof(XxxEntryKey) == 2);
static_assert(sizeof(XxxLogEntry) == XxxConstants::row.logEntryBytes);
static_assert(sizeof(XxxEntry) == XxxConstants::row.logEntryBytes + 4 && alignof(XxxEntry) == 4);
static_assert(std::is_trivially_copyable_v<XxxEntry>);

} // namespace LoamSystemAcl

template <>
struct fmt::formatter<LoamSystemAcl::XxxEntryKey>
    : LoamSystemAcl::EntryKeyFormatter<LoamSystemAcl::XxxEntryKey> {};
template <>
struct fmt::formatter<LoamSystemAcl::XxxLogEntry>
    : LoamSystemAcl::EntryFormatter<LoamSystemAcl::XxxLogEntry> {};
template <>
struct fmt::formatter<LoamSystemAcl::XxxEntry>
    : LoamSystemAcl::EntryFormatter<LoamSystemAcl::XxxEntry> {};
