#include <Asic/DescribeGroup.h>
#include <Asic/DescribeTables.h>
#include <Asic/OrderedTableModule.h>
#include <Zet/ModuleTables.h>

namespace Asic {

constinit Ombra::ModuleInspectData const orderedTableModuleData =
    Zet::ModuleTables<OrderedTableInterface, GroupInterface, GroupResolver, OrderedSwTableSet,
                      OrderedSwTableStatus, SwTableStats, NeededEntry, SwTableInterfacesSingleton,
                      CanonicalTableName, AnnouncementSlate, TableVersionMap, AgentSlate,
                      SwTableBase, NamedSwTable, OrderedSwTable, OrderedSwTableWithMarkSweep,
                      SwTableBase::EntryHandle, OrderedSwTable::EntryHandle, ResolverEntry,
                      EntryLogBase, TableInterfaceBase,
                      SwTableIteratorStateBase>::module("OrderedTable");

namespace {

[[maybe_unused]] bool const announced = [] {
    Ombra::ModuleInspectData::loaded(orderedTableModuleData);
    return true;
}();

} // namespace

Ombra::TypeData OrderedTableInterface::typeData() const {
    return Ombra::typeDataOf<OrderedTableInterface>;
}
Ombra::TypeData GroupInterface::typeData() const {
    return Ombra::typeDataOf<GroupInterface>;
}
Ombra::TypeData GroupResolver::typeData() const {
    return Ombra::typeDataOf<GroupResolver>;
}
Ombra::TypeData OrderedSwTableSet::typeData() const {
    return Ombra::typeDataOf<OrderedSwTableSet>;
}
Ombra::TypeData OrderedSwTableStatus::typeData() const {
    return Ombra::typeDataOf<OrderedSwTableStatus>;
}
Ombra::TypeData SwTableStats::typeData() const {
    return Ombra::typeDataOf<SwTableStats>;
}
Ombra::TypeData NeededEntry::typeData() const {
    return Ombra::typeDataOf<NeededEntry>;
}
Ombra::TypeData CanonicalTableName::typeData() const {
    return Ombra::typeDataOf<CanonicalTableName>;
}

} // namespace Asic
