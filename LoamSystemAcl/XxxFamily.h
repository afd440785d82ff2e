#pragma once

// The classes of the table Xxx, by the names that the algorithms use for them. Declared here,
// defined in the headers that bear their names.
namespace LoamSystemAcl {

class XxxEntryKey;
class XxxEntry;
class XxxLogEntry;
class XxxResourceKeys;
struct XxxConstants;
class XxxConfigSlate;
class XxxConfigSlateEntry;
class XxxEntryLogSlate;
struct XxxLogSlateEntry;
class XxxSwTable;
class XxxSwTableIteratorState;
class XxxEntryWrapper;
class XxxResolverEntry;
class XxxSwTableHelperBase;
class XxxEntryLog;
class XxxInterface;

struct XxxFamily {
    using Key = XxxEntryKey;
    using Entry = XxxEntry;
    using LogEntry = XxxLogEntry;
    using ResourceKeys = XxxResourceKeys;
    using Constants = XxxConstants;
    using ConfigSlate = XxxConfigSlate;
    using ConfigSlateEntry = XxxConfigSlateEntry;
    using EntryLogSlate = XxxEntryLogSlate;
    using LogSlateEntry = XxxLogSlateEntry;
    using SwTable = XxxSwTable;
    using IteratorState = XxxSwTableIteratorState;
    using EntryWrapper = XxxEntryWrapper;
    using ResolverEntry = XxxResolverEntry;
    using SwTableHelperBase = XxxSwTableHelperBase;
    using EntryLog = XxxEntryLog;
    using Interface = XxxInterface;
};

} // namespace LoamSystemAcl
