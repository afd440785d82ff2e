#pragma once

#include <LoamSystemAcl/XxxTypes.h>
#include <LoamSystemAclTypes/RecordBase.h>

#include <cstddef>
#include <type_traits>

// The records of the table Xxx in shared memory.
namespace LoamSystemAcl {

class XxxConfigSlateEntry : public ConfigSlateEntryBase<XxxConfigSlateEntry, XxxEntryKey, XxxEntry,
                                                        XxxLogEntry, XxxResourceKeys> {
    using ConfigSlateEntryBase::ConfigSlateEntryBase;
};

struct XxxLogSlateEntry : LogSlateEntryBase<XxxLogSlateEntry, XxxLogEntry> {
    using LogSlateEntryBase::LogSlateEntryBase;
};

static_assert(sizeof(XxxConfigSlateEntry) == sizeof(XxxLogEntry) + 16);
static_assert(XxxConfigSlateEntry::logVersionOffset == sizeof(XxxLogEntry) + 4);
static_assert(XxxConfigSlateEntry::inDeletionOffset == sizeof(XxxLogEntry) + 12);
static_assert(sizeof(XxxLogSlateEntry) == sizeof(XxxLogEntry) + 12);
static_assert(offsetof(XxxLogSlateEntry, version) == 0);
static_assert(offsetof(XxxLogSlateEntry, logFlags) == 8);
static_assert(offsetof(XxxLogSlateEntry, unitId) == 10);
static_assert(offsetof(XxxLogSlateEntry, logEntry) == 12);
static_assert(alignof(XxxConfigSlateEntry) == 4 && alignof(XxxLogSlateEntry) == 4);
static_assert(std::is_trivially_copyable_v<XxxConfigSlateEntry>);
static_assert(std::is_trivially_copyable_v<XxxLogSlateEntry>);

} // namespace LoamSystemAcl
