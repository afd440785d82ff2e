#include <LoamSystemAcl/XxxInspect.h>
#include <Zet/ModuleTables.h>

#include <cstddef>

// All classes of the table but those of the unit XxxSwTable, as the inspection layer sees them, and
// its plain types. The compiler lays out each class; offsetof tells where.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace Zet {

using namespace LoamSystemAcl;

template <>
struct Described<XxxInterface> {
    using T = XxxInterface;
    using Base = Asic::TableInterfaceBase;
    static char const* isNew(void*, void* const*) {
        return Asic::SwTableInterfacesSingleton::get()->swTableIntfHas(T::registryKey)
                   ? "the interface is initialised, and is so once"
                   : nullptr;
    }
    static char const* isReady(void* object, void* const*) {
        auto const& intf = *static_cast<T*>(object);
        return intf.entryLog() && intf.swTableStatus() && intf.swTableSet()
                   ? nullptr
                   : "its entryLog, swTableStatus or swTableSet was taken away";
    }
    static constexpr char const* doc = "The front door of the table Xxx, one per process.";
    static constexpr auto fields = fieldsFrom(
        0x102,
        attribute<&T::tableName, &T::tableNameIs>("tableName")
            .stored(offsetof(T, tableName_))
            .doc("The table's name."),
        attribute<&T::tableId>("tableId").doc("Identity of the table."),
        attribute<&T::groupName, &T::groupNameIs>("groupName")
            .stored(offsetof(T, groupName_))
            .doc("Name of the group."),
        attribute<&T::agentName, &T::agentNameIs>("agentName")
            .stored(offsetof(T, agentName_))
            .doc("Name of the agent."),
        attribute<&T::tableNamespace, &T::tableNamespaceIs>("tableNamespace")
            .stored(offsetof(T, tableNamespace_))
            .doc("Namespace of the table."),
        constructedPointer<&T::entryLog, &T::entryLogIs, &T::entryLogDel>(
            "entryLog", "tableId, entityManager!, groupInterface!, agentName")
            .stored(offsetof(T, entryLog_))
            .hazardous()
            .doc("The table's durable memory."),
        constructedPointer<&T::swTableStatus, &T::swTableStatusIs, &T::swTableStatusDel>(
            "swTableStatus", "tableId")
            .stored(offsetof(T, swTableStatus_))
            .hazardous()
            .doc("Whether the hardware has something outstanding."),
        constructedPointer<&T::swTableSet, &T::swTableSetIs, &T::swTableSetDel>(
            "swTableSet", "tableId, swTableStatus!")
            .stored(offsetof(T, swTableSet_))
            .hazardous()
            .doc("The table's object of each unit."),
        operation<&T::makeSwTable>("makeSwTable", "unitId, swTableHelper, reset")
            .checkedBy(isReady)
            .doc("The table of a unit; no helper keeps the one that it has. With reset it is empty "
                 "then; without, what shared memory holds stays, and a new table starts to mark."),
        operation<&T::getIntf>("getIntf", "ordTblIntf!")
            .doc("The process's interface; made at the first call, whose argument counts."),
        operation<&T::handleInitialized>("handleInitialized")
            .checkedBy(isNew)
            .hazardous()
            .doc("What the constructor does last; once."),
        operation<&T::onDelete>("onDelete").hazardous().doc("Leaves the agent's registry."));
};

template <>
struct Described<XxxEntryLog> {
    using T = XxxEntryLog;
    using Base = Asic::EntryLogBase;
    // The unit is the argument at that place.
    template <std::size_t place>
    static char const* isMounted(void* object, void* const* arguments) {
        auto const unitId = *static_cast<Asic::UnitId const*>(arguments[place]);
        auto const& log = *static_cast<T*>(object);
        return log.tableConfigSlate(unitId) && log.tableEntryLog()
                   ? nullptr
                   : "the unit is not mounted; makeSwTable of the interface mounts it";
    }
    static char const* isLogMounted(void* object, void* const*) {
        return static_cast<T*>(object)->tableEntryLog() ? nullptr : "the change log is not mounted";
    }
    static constexpr char const* doc = "The durable memory of the table Xxx.";
    static constexpr auto fields = fieldsFrom(
        0x102,
        attribute<&T::tableEntryLog, &T::tableEntryLogIs>("tableEntryLog")
            .stored(offsetof(T, tableEntryLog_))
            .nonNull()
            .hazardous()
            .doc("The change log."),
        collection<&T::tableConfigSlates, &T::tableConfigSlateIs, &T::tableConfigSlateDel>(
            "tableConfigSlate")
            .stored(offsetof(T, tableConfigSlate_))
            .hazardous()
            .doc("The configuration table of each unit."),
        operation<&T::entryIs>(
            "entryIs", "tableEntry, rsrcKeys, neededEntry, unitId, stats!, suppressIdenticalWrites")
            .checkedBy(isMounted<3>)
            .doc("Stores an entry; gives the version that now stands for it."),
        operation<&T::entryDel>("entryDel", "key, neededEntry, unitId")
            .checkedBy(isMounted<2>)
            .doc("Deletes an entry; gives the version of the delete, 0 for an unknown key."),
        operation<&T::tableDel>("tableDel", "neededEntry, unitId")
            .checkedBy(isMounted<1>)
            .doc("Deletes all entries of the unit; gives the version of the delete."),
        operation<&T::entry>("entry", "key, unitId")
            .checkedBy(isMounted<1>)
            .doc("The committed entry; the default entry when there is none."),
        operation<&T::entryHas>("entryHas", "key, unitId")
            .checkedBy(isMounted<1>)
            .doc("Whether there is a committed entry."),
        operation<&T::entryRsrcKeys>("entryRsrcKeys", "key, unitId")
            .checkedBy(isMounted<1>)
            .doc("The resource keys of a committed entry."),
        operation<&T::entryLogVersion>("entryLogVersion", "key, unitId")
            .checkedBy(isMounted<1>)
            .doc("The version of the last change of an entry."),
        operation<&T::entrys>("entrys", "unitId")
            .checkedBy(isMounted<0>)
            .doc("How many records the unit has, those in deletion too."),
        operation<&T::entrysInDeletion>("entrysInDeletion", "unitId")
            .checkedBy(isMounted<0>)
            .doc("How many records of the unit are in deletion."),
        operation<&T::cleanupEntryLog>("cleanupEntryLog", "tableVersion")
            .checkedBy(isLogMounted)
            .hazardous()
            .doc("The hardware side has acknowledged the changes up to the version: they go."),
        operation<&T::mountSlateChangeLog>("mountSlateChangeLog")
            .hazardous()
            .doc("Mounts the change log."),
        operation<&T::mountSlateConfig>("mountSlateConfig", "unitId, tableVersion")
            .checkedBy(isLogMounted)
            .hazardous()
            .doc("Mounts the configuration table of a unit."),
        operation<&T::handleInitialized>("handleInitialized")
            .hazardous()
            .doc("What the constructor does last."));
    static constexpr auto constructor =
        constructedBy<&T::XxxEntryLogIs>("tableId, entityManager!, groupInterface!, agentName");
};

template <>
struct Described<XxxSwTableHelperBase> {
    using T = XxxSwTableHelperBase;
    using Base = Ombra::Node;
    static constexpr char const* doc = "The hooks by which a client takes part in commits of Xxx.";
    static constexpr auto fields = fieldsFrom(
        0x82,
        operation<&T::finalizeOnSuccess>("finalizeOnSuccess", "entry!, isDelete, swTable!")
            .doc("An operation commits."),
        operation<&T::finalizeOnFailure>("finalizeOnFailure", "entry!, isDelete, swTable!")
            .doc("An operation failed."),
        operation<&T::finalizeOnResourceUpdate>("finalizeOnResourceUpdate",
                                                "entry!, swTable!, someResourceHasFailed")
            .doc("An entry is updated; true: it is to be logged."));
    static constexpr auto constructor = constructedBy<&T::XxxSwTableHelperBaseIs>("");
};

template <>
struct Described<XxxEntryWrapper> {
    using T = XxxEntryWrapper;
    using Base = Ombra::Node;
    static constexpr auto swTableEntry =
        static_cast<XxxEntry const& (T::*)() const noexcept>(&T::swTableEntry);
    static constexpr char const* doc = "One operation's entry of Xxx, with its handle.";
    static constexpr auto fields = fieldsFrom(
        0x82,
        attribute<swTableEntry>("swTableEntry")
            .stored(offsetof(T, swTableEntry_))
            .alsoNamed("entry")
            .doc("The entry; a placeholder for a remove and a remove-all."),
        attribute<&T::entryHandle>("entryHandle")
            .stored(offsetof(T, entryHandle_))
            .doc("The operation's handle."),
        attribute<&T::key>("key").doc("The key of the entry."),
        attribute<&T::logEntry>("logEntry").doc("What goes to the log."),
        attribute<&T::rsrcKeys>("rsrcKeys").doc("Nothing."),
        operation<&T::setResolvedFields>("setResolvedFields").doc("Does nothing."),
        operation<&T::retrieveClientData>("retrieveClientData").doc("Does nothing."),
        operation<&T::finalizeOnSuccess>("finalizeOnSuccess", "swTable!, isDeleted")
            .doc("Tells the client's helper that the operation commits."),
        operation<&T::finalizeOnFailure>("finalizeOnFailure", "swTable!, isDeleted")
            .doc("Tells the client's helper that the operation failed; gives its answer."));
    static constexpr auto constructor = constructedBy<&T::XxxEntryWrapperIs>("entry, entryHandle!");
};

template <>
struct Described<XxxResolverEntry> {
    using T = XxxResolverEntry;
    using Base = Asic::ResolverEntry;
    static constexpr char const* doc = "One operation of Xxx in the resolver's queue.";
    static constexpr auto fields = fieldsFrom(
        0x102, attribute<&T::swTable>("swTable").stored(offsetof(T, swTable_)).doc("Its table."),
        attribute<&T::entry>("entry")
            .stored(offsetof(T, entry_))
            .alsoNamed("swTableEntry")
            .doc("The entry of the operation."));
    static constexpr auto constructor =
        constructedBy<&T::XxxResolverEntryIs>("dependantEntryHandle, flags, swTable!, entry!");
};

template <typename Slate>
struct XxxDescribedSlate {
    using T = Slate;
    using Base = Ombra::Node;
    static constexpr char const* doc = "A collection of the table Xxx in shared memory.";
    static constexpr auto fields =
        fieldsFrom(0x102, attribute<&T::path>("path").doc("Where it lies in shared memory."),
                   attribute<&T::writable>("writable").doc("This process writes it."),
                   attribute<&T::stale>("stale").doc("Its file was replaced by another one."),
                   attribute<&T::memberCount>("memberCount").doc("The records in it."));
};
template <>
struct Described<XxxConfigSlate> : XxxDescribedSlate<XxxConfigSlate> {};
template <>
struct Described<XxxEntryLogSlate> : XxxDescribedSlate<XxxEntryLogSlate> {};

} // namespace Zet

namespace LoamSystemAcl {

constinit Ombra::ModuleInspectData const xxxInterfaceModule =
    Zet::ModuleTables<XxxInterface>::module("XxxInterface");
constinit Ombra::ModuleInspectData const xxxEntryLogModule =
    Zet::ModuleTables<XxxEntryLog>::module("XxxEntryLog");
constinit Ombra::ModuleInspectData const xxxSwTableHelperBaseModule =
    Zet::ModuleTables<XxxSwTableHelperBase>::module("XxxSwTableHelperBase");
constinit Ombra::ModuleInspectData const xxxInfraTypesModule =
    Zet::ModuleTables<XxxEntryWrapper, XxxResolverEntry>::module("XxxInfraTypes");
constinit Ombra::ModuleInspectData const xxxTypesModule =
    Zet::ModuleTables<XxxEntryKey, XxxEntry, XxxLogEntry, XxxResourceKeys, XxxConfigSlate,
                      XxxEntryLogSlate>::module("XxxTypes");

namespace {

[[maybe_unused]] bool const typesAnnounced = [] {
    Ombra::ModuleInspectData::loaded(xxxTypesModule);
    return true;
}();

} // namespace

} // namespace LoamSystemAcl
