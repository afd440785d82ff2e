// One write, from the call to the acknowledgement, in the smallest agent there is: both sides in
// one process, over memory that no other process sees. An agent with an event loop is apps/agent.
//
//     cmake --install build/release --prefix TREE
//     cmake -S examples/client -B CLIENT -DCMAKE_PREFIX_PATH=TREE && cmake --build CLIENT
#include <Asic/Constants.h>
#include <Asic/GroupSlates.h>
#include <Asic/MountSlate.h>
#include <Asic/OrderedTableInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryFamily.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntrySwTable.h>
#include <Orbis/EntityManager.h>
#include <Zet/Entity.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstdio>

int main() {
    using Family = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
    bool constexpr local = true;
    auto const entityManager = Ombra::ptrIs<Orbis::EntityManager>("client", local);
    auto const sharedMem = Asic::sharedMemOf(*entityManager);
    auto const tables = Ombra::ptrIs<Asic::OrderedTableInterface>(entityManager);
    auto const table = Family::Interface::getIntf(tables)->makeSwTable(0, nullptr, true);

    // The client's side: a ticket at once, and everybody sees the entry at once.
    Family::Key const key{7};
    auto const handle = table->entryWrite(key, Family::Entry{key}, nullptr);
    bool const seen = table->entryHas(key);

    // The agent's loop: commits what is ready into the log and the configuration table.
    auto const groupName = Asic::Constants::canonicalizeGroupName("LoamSystemAcl", "LoamSystemAcl");
    auto const group = tables->groupIntf(groupName);
    group->groupResolver()->run();

    // The hardware side: has applied the table up to this version. The agent's loop hears of it.
    auto const applied = Asic::mountSlate<Asic::TableVersionMap>(
        *sharedMem, Asic::Constants::tableVersionMapPath(groupName),
        ZetSlate::ZetSlateType::writer);
    applied->recordIs(Asic::TableVersion{table->tableId(), handle->logVersion()});
    group->pollTableVersions();

    bool const done = handle->entryState() == Asic::SwTableBase::EntryState::entryApplied;
    std::printf("seen at once: %d, applied: %d\n", seen, done);
    Zet::Entity::singletonsDelAll();
    return seen && done ? 0 : 1;
}
