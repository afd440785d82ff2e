#include <LoamSystemAcl/XxxInspect.h>
#include <LoamSystemAcl/XxxSwTable.h>
#include <Zet/ModuleTables.h>

#include <cstddef>

// The table, its handle, its snapshot and its iterator's state, as the inspection layer sees them.
// The compiler lays out each class; offsetof tells where.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace Zet {

using namespace LoamSystemAcl;

template <>
struct Described<XxxSwTable::EntryHandle> {
    using T = XxxSwTable::EntryHandle;
    using Base = Asic::OrderedSwTable::EntryHandle;
    static constexpr char const* doc = "The ticket for one write, remove or remove-all of Xxx.";
    static constexpr auto fields = fieldsFrom(
        0x202, attribute<&T::key>("key").doc("The key of the operation; zero for a remove-all."),
        attribute<&T::swTable>("swTable")
            .stored(offsetof(T, swTable_))
            .published(T::swTableField)
            .doc("The operation's table."));
    static constexpr auto constructor = constructedBy<&T::EntryHandleIs>("version, key, swTable!");
};

template <>
struct Described<XxxSwTable::SwTableEntries_py> {
    using T = XxxSwTable::SwTableEntries_py;
    using Base = Ombra::Node;
    static constexpr char const* doc = "A copy of the visible table at one moment.";
    static constexpr auto fields = fieldsFrom(
        0x82, collection<&T::tableEntries, &T::tableEntriesIs, &T::tableEntriesDel>("tableEntries")
                  .stored(offsetof(T, tableEntries_))
                  .doc("The entries, by key."));
};

template <>
struct Described<XxxSwTable> {
    using T = XxxSwTable;
    using F = T::Field;
    using Base = Asic::OrderedSwTableWithMarkSweep;
    static constexpr char const* doc = "The software table Xxx of one chip unit.";
    static constexpr auto fields = fieldsFrom(
        0x302,
        attribute<&T::swTableHelper, &T::swTableHelperIs>("swTableHelper")
            .stored(offsetof(T, swTableHelper_))
            .published(F::swTableHelper)
            .nonNull()
            .doc("The hooks by which a client takes part in commits."),
        collection<&T::transientAddEntryColl, &T::transientAddEntryIs, &T::transientAddEntryDel>(
            "transientAddEntry")
            .stored(offsetof(T, transientAddEntry_))
            .published(F::transientAddEntry)
            .doc("The newest pending write of each key."),
        collection<&T::transientRemoveEntryColl, &T::transientRemoveEntryIs,
                   &T::transientRemoveEntryDel>("transientRemoveEntry")
            .stored(offsetof(T, transientRemoveEntry_))
            .published(F::transientRemoveEntry)
            .doc("The newest pending remove of each key."),
        collection<&T::transientVersionForKeyColl, &T::transientVersionForKeyIs,
                   &T::transientVersionForKeyDel>("transientVersionForKey")
            .stored(offsetof(T, transientVersionForKey_))
            .published(F::transientVersionForKey)
            .doc("The newest version given out for each key."),
        attribute<&T::transientRemoveAllVersion, &T::transientRemoveAllVersionIs>(
            "transientRemoveAllVersion")
            .stored(offsetof(T, transientRemoveAllVersion_))
            .published(F::transientRemoveAllVersion)
            .doc("The number of pending remove-alls, less one; invalid for none."),
        operationWithOption<&T::entryWrite, &T::entryWriteWithResponseHandler>(
            "entryWrite", "key, entry, depEntryHandle, responseHandler?")
            .doc("Writes the entry of the key, to be committed behind the other operation, if one "
                 "is given. The handler is called when it is applied or refused."),
        unnamed(),
        operationWithOption<&T::entryRemove, &T::entryRemoveWithResponseHandler>(
            "entryRemove", "key, depEntryHandle, responseHandler?")
            .doc("Removes the entry of the key."),
        unnamed(),
        operationWithOption<&T::entryRemoveAll, &T::entryRemoveAllWithResponseHandler>(
            "entryRemoveAll", "depEntryHandle, responseHandler?")
            .doc("Drops all pending operations from sight and deletes all committed entries."),
        unnamed(),
        operation<&T::entryRead>("entryRead", "key")
            .doc("What a client sees of the key; the default entry when there is nothing."),
        operation<&T::entry>("entry", "key").doc("The same."),
        operation<&T::entryHas>("entryHas", "key").doc("Whether a client sees an entry."),
        operation<&T::entrys>("entrys").doc("How many entries a client sees."), //
        unnamed(),
        operation<&T::getTableEntries_py>("getTableEntries_py")
            .doc("A copy of the visible table at this moment."),
        attribute<&T::entryLog>("entryLog")
            .stored(offsetof(T, entryLog_))
            .published(F::entryLog)
            .doc("The table's durable memory."),
        attribute<&T::groupResolver>("groupResolver")
            .stored(offsetof(T, groupResolver_))
            .published(F::groupResolver)
            .doc("Holds the operations until they are ready."),
        unnamed(),
        queue<&T::entryHandleInLogQueue, &T::entryHandleInLogEnq, &T::entryHandleInLogDeq>(
            "entryHandleInLog")
            .stored(offsetof(T, entryHandleInLog_))
            .published(F::entryHandleInLog)
            .doc("The handles that wait for the hardware side, in the order of the log."),
        notCallable<&T::commitEntry>("commitEntry", "resolvedEntry"),
        notCallable<&T::updateEntry>("updateEntry", "key"),
        notCallable<&T::getNeededEntrySet>("getNeededEntrySet", "entry"),
        notCallable<&T::isResolverEntryResolved>("isResolverEntryResolved", "resolverEntry"),
        notCallable<&T::setRsrcPtrs>("setRsrcPtrs", "entry, refresh"),
        notCallable<&T::entryFromConfig>("entryFromConfig", "key"),
        operation<&T::restoreEntries>("restoreEntries").doc("Does nothing."),
        operation<&T::clearTable>("clearTable", "updateResources")
            .doc("Empties the unit's table at once."),
        collection<&T::markedKeyColl, &T::markedKeyIs, &T::markedKeyDel>("markedKey")
            .stored(offsetof(T, markedKey_))
            .published(F::markedKey)
            .doc("The keys that were written since the marking phase began."),
        attribute<&T::inMarkingState, &T::inMarkingStateIs>("inMarkingState")
            .stored(offsetof(T, inMarkingState_))
            .published(F::inMarkingState)
            .doc("A marking phase is open."),
        notCallable<&T::initIterState>("initIterState"),
        notCallable<&T::initIterStateFromKey>("initIterStateFromKey", "key"),
        operation<&T::handleInitialized>("handleInitialized")
            .hazardous()
            .doc("What the constructor does last: a new base helper takes the place of the one "
                 "there is."));
    static constexpr auto constructor = constructedBy<&xxxSwTableFactory>(
        "tableName!, tableId, unitId, swTableSet!, entryLog!, groupResolver!");
};

template <>
struct Described<XxxSwTableIteratorState> {
    using T = XxxSwTableIteratorState;
    using Base = Asic::SwTableIteratorStateBase;
    static char const* hasTable(void* object, void* const*) {
        return static_cast<T*>(object)->swTable() == nullptr ? "it walks no table" : nullptr;
    }
    static constexpr char const* doc = "Where an iteration over the table Xxx stands.";
    static constexpr auto fields =
        fieldsFrom(0x102,
                   operation<&T::maybeUpdateCurrentEntry>("maybeUpdateCurrentEntry")
                       .checkedBy(hasTable)
                       .doc("One step: the next entry, when entryValid says that there is one."),
                   attribute<&T::bookmarkKey, &T::bookmarkKeyIs>("bookmarkKey")
                       .stored(offsetof(T, bookmarkKey_))
                       .doc("The key of the next entry."));
    static constexpr auto constructor = constructedBy<&xxxSwTableIteratorStateFactory>("");
};

} // namespace Zet

namespace LoamSystemAcl {

constinit Ombra::ModuleInspectData const xxxSwTableModule =
    Zet::ModuleTables<XxxSwTable::EntryHandle, XxxSwTable::SwTableEntries_py, XxxSwTable,
                      XxxSwTableIteratorState>::module("XxxSwTable");

} // namespace LoamSystemAcl
