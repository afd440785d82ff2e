#pragma once

#include <Asic/InspectClasses.h>
#include <Zet/Describe.h>

// The platform's tables, handles and records, as the inspection layer sees them: what the classes
// of a table inherit. The numbers of a class begin where those of its base have room for growth.
namespace Zet {

template <>
struct Described<Asic::SwTableBase> {
    using T = Asic::SwTableBase;
    using Base = Entity;
    static constexpr char const* doc = "The root of every software table.";
    static constexpr auto fields =
        fieldsFrom(0x102, attribute<&T::tableId>("tableId").doc("Identity of the table."),
                   attribute<&T::unitId>("unitId").doc("The chip unit that the object is for."),
                   operation<&T::doCreateHwTable>("doCreateHwTable")
                       .doc("Asks the table to have its hardware twin made; does nothing."),
                   operation<&T::doCreateHwTableResponse>("doCreateHwTableResponse")
                       .doc("Tells the table that its hardware twin was made; does nothing."));
};

template <>
struct Described<Asic::NamedSwTable> {
    using T = Asic::NamedSwTable;
    using Base = Asic::SwTableBase;
    static constexpr char const* doc = "A software table with a name.";
    static constexpr auto fields =
        fieldsFrom(0x182, attribute<&T::tableName>("tableName").doc("The table's full name."),
                   operation<&T::reconcile>("reconcile")
                       .doc("Brings the table in line with its hardware twin; does nothing."));
};

template <>
struct Described<Asic::OrderedSwTable> {
    using T = Asic::OrderedSwTable;
    using Base = Asic::NamedSwTable;
    static constexpr char const* doc = "A software table whose changes are ordered by a log.";
    static constexpr auto fields = fieldsFrom(
        0x202, attribute<&T::swTableSet>("swTableSet").doc("The tables of all units."),
        attribute<&T::stats>("stats").doc("What the table has done since it was made."),
        attribute<&T::status, &T::statusIs>("status").doc(
            "Whether the hardware has something outstanding."),
        operation<&T::tableStatusVersion>("tableStatusVersion", "version")
            .doc("The hardware side has applied the log up to and including the version."),
        operation<&T::hasPendingHwWrites>("hasPendingHwWrites")
            .doc("True while the table holds something that the hardware has not confirmed."));
};

template <>
struct Described<Asic::OrderedSwTableWithMarkSweep> {
    using T = Asic::OrderedSwTableWithMarkSweep;
    using Base = Asic::OrderedSwTable;
    static constexpr char const* doc = "A software table that takes part in mark and sweep.";
    static constexpr auto fields = fieldsFrom(
        0x282,
        operation<&T::mark>("mark").doc("Opens a phase in which a client writes again all that it "
                                        "wants to keep."),
        operation<&T::sweep>("sweep").doc("Closes it, removing what was not written again."));
};

template <>
struct Described<Asic::SwTableBase::EntryHandle> {
    using T = Asic::SwTableBase::EntryHandle;
    using Base = Ombra::Node;
    static constexpr char const* doc = "The ticket for one operation.";
    static constexpr auto fields = fieldsFrom(
        0x102,
        attribute<&T::entryState, &T::entryStateIs>("entryState")
            .doc("Where the operation stands."),
        attribute<&T::entryTableVersion>("entryTableVersion")
            .doc("The operation's place in its table's log; version 0 while it has none."),
        attribute<&T::tableName>("tableName").doc("The full name of the operation's table."),
        attribute<&T::tableId>("tableId").doc("Identity of the operation's table."),
        attribute<&T::hwIndexForDependentField>("hwIndexForDependentField")
            .doc("Where in the hardware the entry went; all ones: not known on this side."));
};

template <>
struct Described<Asic::OrderedSwTable::EntryHandle> {
    using T = Asic::OrderedSwTable::EntryHandle;
    using Base = Asic::SwTableBase::EntryHandle;
    static constexpr char const* doc = "A ticket that knows how far the log got.";
    static constexpr auto fields =
        fieldsFrom(0x182,
                   attribute<&T::entryVersion>("entryVersion")
                       .doc("Which of the overlapping operations of the key it is."),
                   attribute<&T::logVersion>("logVersion")
                       .doc("The version of the change in the log; 0 until it is committed."));
};

template <>
struct Described<Asic::ResolverEntry> {
    using T = Asic::ResolverEntry;
    using Base = Ombra::Node;
    static constexpr char const* doc = "One operation in the group's resolver.";
    static constexpr auto fields = fieldsFrom(
        0x82,
        attribute<&T::dependantEntryHandle>("dependantEntryHandle")
            .doc("What the operation waits for; none for nothing."),
        attribute<&T::flags>("flags").doc("What the operation is and how it is committed."),
        attribute<&T::isEntryDeleted>("isEntryDeleted").doc("It removes an entry."),
        attribute<&T::isTableDeleted>("isTableDeleted").doc("It removes all entries."));
};

template <>
struct Described<Asic::EntryLogBase> {
    using T = Asic::EntryLogBase;
    using Base = Ombra::Node;
    static constexpr char const* doc = "What the durable memory of every table has.";
    static constexpr auto fields = fieldsFrom(
        0x82, attribute<&T::tableId>("tableId").doc("Identity of the table."),
        attribute<&T::entityManager>("entityManager").doc("The agent's state store."),
        attribute<&T::groupInterface>("groupInterface").doc("The group that changes are told to."),
        attribute<&T::agentName>("agentName").doc("Name of the agent."),
        attribute<&T::tableVersion>("tableVersion").doc("The version of the table's last change."),
        attribute<&T::logCleanedVersion>("logCleanedVersion")
            .doc("The version up to which the log was last trimmed; 0 before the first time."));
};

template <>
struct Described<Asic::TableInterfaceBase> {
    using T = Asic::TableInterfaceBase;
    using Base = Ombra::Node;
    static constexpr char const* doc = "What every table's front door has.";
    static constexpr auto fields = fieldsFrom(
        0x82,
        attribute<&T::orderedTableIntf>("orderedTableIntf")
            .doc("The agent's side of the platform."),
        operation<&T::reconcile>("reconcile")
            .doc("Empties what shared memory holds of units that no client has claimed."));
};

template <>
struct Described<Asic::SwTableIteratorStateBase> {
    using T = Asic::SwTableIteratorStateBase;
    using Base = Ombra::Node;
    static constexpr char const* doc = "Where an iteration over a table stands.";
    static constexpr auto fields = fieldsFrom(
        0x82, attribute<&T::entryValid>("entryValid").doc("The last step delivered an entry."),
        attribute<&T::stateBits>("state").doc("All flags, as bits."));
};

template <>
struct Described<Asic::SwTableStats> {
    using T = Asic::SwTableStats;
    using Base = Ombra::Node;
    static constexpr char const* doc = "What one table object has done since it was made.";
    static constexpr auto fields =
        fieldsFrom(0x82, attribute<&T::entryWriteCnt>("entryWriteCnt").doc("Writes."),
                   attribute<&T::entryRemoveCnt>("entryRemoveCnt").doc("Removes."),
                   attribute<&T::commitCnt>("commitCnt").doc("Commits, refused ones too."),
                   attribute<&T::updateCnt>("updateCnt").doc("Updates of committed entries."),
                   attribute<&T::tableClearCnt>("tableClearCnt").doc("Table deletes."),
                   attribute<&T::suppressedWriteCnt>("suppressedWriteCnt")
                       .doc("Writes that changed nothing and were suppressed."),
                   attribute<&T::suppressCheckDiffCnt>("suppressCheckDiffCnt")
                       .doc("Writes that were looked at for suppression and differed."));
};

template <>
struct Described<Asic::NeededEntry> {
    using T = Asic::NeededEntry;
    using Base = Ombra::Node;
    static constexpr char const* doc =
        "The places in other tables' logs that must be applied before a change.";
    static constexpr auto fields =
        fieldsFrom(0x82, attribute<&T::places>("places").doc("One per table, the latest."),
                   attribute<&T::empty>("empty").doc("There is none."),
                   operation<&T::add>("add", "place").doc("Adds a place."));
    static Ombra::Ptr<T> make() { return Ombra::ptrIs<T>(); }
    static constexpr auto constructor = constructedBy<&make>("");
};

template <>
struct Described<Asic::CanonicalTableName> {
    using T = Asic::CanonicalTableName;
    using Base = Ombra::Node;
    static constexpr char const* doc = "The full name of a table.";
    static constexpr auto fields =
        fieldsFrom(0x82, attribute<&T::groupName>("groupName").doc("Name of the group."),
                   attribute<&T::tableNamespace>("tableNamespace").doc("Namespace of the table."),
                   attribute<&T::tableName>("tableName").doc("Name of the table alone."),
                   attribute<&T::name>("name").doc("All in one."));
};

} // namespace Zet
