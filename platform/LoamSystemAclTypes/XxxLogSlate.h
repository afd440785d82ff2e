#pragma once

#include <LoamSystemAcl/XxxLogTypes.h>
#include <ZetSharedMem/TypeRegistration.h>
#include <ZetSlate/KeyedSlate.h>

// The entities of the table Xxx in shared memory.
namespace LoamSystemAcl {

// The content of the table on one chip unit.
class LOAM_EXPORT XxxConfigSlate final
    : public ZetSlate::KeyedSlate<XxxConfigSlate, XxxConfigSlateEntry, XxxEntryKey,
                                  &XxxConfigSlateEntry::key> {
  public:
    using KeyedSlate::KeyedSlate;
    static constexpr char const* typeName = "LoamSystemAcl::XxxConfigSlate";

    Map& swTableEntries() { return map(); }
    void swTableEntriesIs(XxxConfigSlateEntry const& record) { recordIs(record); }
    bool swTableEntriesDel(XxxEntryKey const& key) { return recordDel(key); }
};

// The changes of the table, all units together, that the hardware side has not acknowledged.
class LOAM_EXPORT XxxEntryLogSlate final
    : public ZetSlate::KeyedSlate<XxxEntryLogSlate, XxxLogSlateEntry, Asic::LogVersion,
                                  &XxxLogSlateEntry::version> {
  public:
    using KeyedSlate::KeyedSlate;
    static constexpr char const* typeName = "LoamSystemAcl::XxxEntryLogSlate";

    Map& entryLogConfig() { return map(); }
    void entryLogConfigIs(XxxLogSlateEntry const& record) { recordIs(record); }
    bool entryLogConfigDel(Asic::LogVersion version) { return recordDel(version); }
};

// A mount knows a class by its name alone.
inline ZetSharedMem::TypeRegistration<XxxConfigSlate> const xxxConfigSlateRegistration{
    XxxConfigSlate::typeName};
inline ZetSharedMem::TypeRegistration<XxxEntryLogSlate> const xxxEntryLogSlateRegistration{
    XxxEntryLogSlate::typeName};

} // namespace LoamSystemAcl
