#pragma once

#include <Asic/InspectClasses.h>
#include <Zet/Describe.h>

// What the tables of an agent share, as the inspection layer sees it.
namespace Zet {

template <>
struct Described<Asic::OrderedTableInterface> {
    using T = Asic::OrderedTableInterface;
    using Base = Ombra::Node;
    static Ombra::Ptr<T> make(Ombra::Ptr<Orbis::EntityManager> const& entityManager) {
        return Ombra::ptrIs<T>(entityManager);
    }
    static constexpr char const* doc = "An agent's access to the ordered-table platform.";
    static constexpr auto fields = fieldsFrom(
        0x82, attribute<&T::entityManager>("entityManager").doc("The agent's state store."),
        operation<&T::makeGroupIntf>("makeGroupIntf", "agentName, groupName, agentAndGroupId")
            .doc("The group interface of that agent and group; made at the first call."),
        operation<&T::groupIntf>("groupIntf", "canonicalName")
            .doc("The group interface of that canonical name, or none."),
        operation<&T::swTableIntf>("swTableIntf", "name")
            .doc("The table interface of a class's full name, or none."),
        attribute<&T::swTableIntfs>("swTableIntfs").doc("All table interfaces."),
        operation<&T::reconcileSwTables>("reconcileSwTables")
            .doc("Reconciles every table, once the clients of a restarted agent have made theirs."),
        attribute<&T::restoredTablesSkipMark, &T::restoredTablesSkipMarkIs>(
            "restoredTablesSkipMark")
            .doc("What is restored is no candidate for the next sweep; set before tables are "
                 "made."));
    static constexpr auto constructor = constructedBy<&make>("entityManager!");
};

template <>
struct Described<Asic::GroupInterface> {
    using T = Asic::GroupInterface;
    using Base = Ombra::Node;
    static constexpr char const* doc = "What the tables of one group share.";
    static constexpr auto fields = fieldsFrom(
        0x82, attribute<&T::agentName>("agentName").doc("Name of the agent."),
        attribute<&T::groupName>("groupName").doc("Name of the group."),
        attribute<&T::canonicalName>("canonicalName").doc("Both in one."),
        attribute<&T::agentAndGroupId>("agentAndGroupId").doc("Identity of both."),
        attribute<&T::groupResolver>("groupResolver").doc("Holds the operations of the tables."),
        attribute<&T::tableVersionMap>("tableVersionMap")
            .doc("What the hardware side has applied; none while it has never run."),
        collection<&T::swTableSets>("swTableSet").doc("The tables, by identity."),
        attribute<&T::sweepableSwTables>("sweepableSwTables")
            .doc("The tables that take part in mark and sweep."),
        operation<&T::sweepSwTables>("sweepSwTables")
            .doc("Closes the marking phase of every table that takes part."),
        operation<&T::pollTableVersions>("pollTableVersions")
            .doc("Tells each table how far the hardware side has come since the last poll; gives "
                 "the number of tables that were told."),
        attribute<&T::agentRun>("agentRun").doc("The number of this run of the agent, from 1."));
};

template <>
struct Described<Asic::GroupResolver> {
    using T = Asic::GroupResolver;
    using Base = Ombra::Node;
    static char const* mayRun(void* object, void* const*) {
        return static_cast<T*>(object)->running()
                   ? "it is running, and a commit or a response handler can't run it again"
                   : nullptr;
    }
    static constexpr char const* doc =
        "Holds the operations of a group's tables until they are ready, and commits them.";
    static constexpr auto fields = fieldsFrom(
        0x82, attribute<&T::queued>("queued").doc("Operations that wait."),
        attribute<&T::suspended>("suspended")
            .doc("Every operation has said no, and nothing has moved since."),
        attribute<&T::genId>("genId").doc("The group's generation."),
        attribute<&T::failedCommits>("failedCommits").doc("Commits that threw."),
        operation<&T::run>("run", "budget")
            .checkedBy(mayRun)
            .doc("Commits what is ready, at most so many operations."),
        operation<&T::updateGenId>("updateGenId")
            .doc("The group's state has moved on: what said no may say yes now."),
        operation<&T::maybeUpdateSuspend>("maybeUpdateSuspend")
            .doc("Takes note of whether the group's state has moved on since the last run."));
};

template <>
struct Described<Asic::OrderedSwTableSet> {
    using T = Asic::OrderedSwTableSet;
    using Base = Ombra::Node;
    static constexpr char const* doc = "The objects of one table, one per chip unit.";
    static constexpr auto fields =
        fieldsFrom(0x82, attribute<&T::tableId>("tableId").doc("Identity of the table."),
                   attribute<&T::swTableStatus>("swTableStatus").doc("What the units share."),
                   collection<&T::swTables>("swTable").doc("The table of each unit."),
                   operation<&T::maybeUpdatePendingHwWrites>("maybeUpdatePendingHwWrites")
                       .doc("Sets the status to whether any unit has pending hardware writes."),
                   operation<&T::tableStatusVersion>("tableStatusVersion", "version")
                       .doc("Tells every unit's table how far the hardware side has come."));
};

template <>
struct Described<Asic::OrderedSwTableStatus> {
    using T = Asic::OrderedSwTableStatus;
    using Base = Ombra::Node;
    static Ombra::Ptr<T> make(Asic::SwTableId tableId) { return Ombra::ptrIs<T>(tableId); }
    static constexpr char const* doc = "What a table, all its units together, shows.";
    static constexpr auto fields =
        fieldsFrom(0x82,
                   attribute<&T::pendingHwWrites, &T::pendingHwWritesIs>("pendingHwWrites")
                       .published(T::pendingHwWritesField)
                       .doc("The table holds something that the hardware has not confirmed."),
                   attribute<&T::tableId>("tableId").doc("Identity of the table."));
    static constexpr auto constructor = constructedBy<&make>("tableId");
};

template <>
struct Described<Asic::SwTableInterfacesSingleton> {
    using T = Asic::SwTableInterfacesSingleton;
    using Base = Entity;
    static constexpr char const* doc = "The process-wide registry of table interfaces.";
    static constexpr auto fields =
        fieldsFrom(0x102,
                   operation<&T::swTableIntfHas>("swTableIntfHas", "name")
                       .doc("Whether there is one of a class's full name."),
                   operation<&T::swTableIntf>("swTableIntf", "name").doc("It, or none."),
                   operation<&T::get>("get").doc("The registry; made at the first call."));
};

template <typename Slate>
struct DescribedSlate {
    using T = Slate;
    using Base = Ombra::Node;
    static constexpr char const* doc = "A collection in shared memory.";
    static constexpr auto fields =
        fieldsFrom(0x102, attribute<&T::path>("path").doc("Where it lies in shared memory."),
                   attribute<&T::writable>("writable").doc("This process writes it."),
                   attribute<&T::stale>("stale").doc("Its file was replaced by another one."),
                   attribute<&T::memberCount>("memberCount").doc("The records in it."));
};
template <>
struct Described<Asic::AnnouncementSlate> : DescribedSlate<Asic::AnnouncementSlate> {};
template <>
struct Described<Asic::TableVersionMap> : DescribedSlate<Asic::TableVersionMap> {};
template <>
struct Described<Asic::AgentSlate> : DescribedSlate<Asic::AgentSlate> {};

} // namespace Zet
