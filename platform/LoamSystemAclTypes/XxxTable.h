#pragma once

#include <LoamSystemAcl/XxxLogSlate.h>
#include <LoamSystemAcl/XxxLogTypes.h>
#include <LoamSystemAcl/XxxTypes.h>

namespace LoamSystemAcl {

// Everything that the shared memory of the table Xxx is made of, under the names that all tables
// have in common: what a template over the tables is given (see AllTables.h).
struct XxxTable {
    using Constants = XxxConstants;
    using EntryKey = XxxEntryKey;
    using Entry = XxxEntry;
    using LogEntry = XxxLogEntry;
    using ConfigSlateEntry = XxxConfigSlateEntry;
    using LogSlateEntry = XxxLogSlateEntry;
    using ConfigSlate = XxxConfigSlate;
    using EntryLogSlate = XxxEntryLogSlate;
};

} // namespace LoamSystemAcl
