#pragma once

#include <Asic/EntryLogBase.h>
#include <Asic/GroupInterface.h>
#include <Asic/GroupSlates.h>
#include <Asic/InspectValues.h>
#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedTableInterface.h>
#include <Asic/OrderedTableModule.h>
#include <Asic/ResolverEntry.h>
#include <Asic/SwTableInterfacesSingleton.h>
#include <Asic/SwTableIteratorStateBase.h>
#include <Asic/TableInterfaceBase.h>
#include <Ombra/ValueTypeOf.h>
#include <Orbis/InspectClasses.h>

// The places of the platform's classes in its inspection module, for whoever describes a class that
// refers to one of them.
namespace Ombra {

template <>
struct TypeOf<Asic::OrderedTableInterface> {
    static constexpr std::string_view name = "Asic::OrderedTableInterface";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 0};
};

template <>
struct TypeOf<Asic::GroupInterface> {
    static constexpr std::string_view name = "Asic::GroupInterface";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 1};
};

template <>
struct TypeOf<Asic::GroupResolver> {
    static constexpr std::string_view name = "Asic::GroupResolver";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 2};
};

template <>
struct TypeOf<Asic::OrderedSwTableSet> {
    static constexpr std::string_view name = "Asic::OrderedSwTableSet";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 3};
};

template <>
struct TypeOf<Asic::OrderedSwTableStatus> {
    static constexpr std::string_view name = "Asic::OrderedSwTableStatus";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 4};
};

template <>
struct TypeOf<Asic::SwTableStats> {
    static constexpr std::string_view name = "Asic::SwTableStats";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 5};
};

template <>
struct TypeOf<Asic::NeededEntry> {
    static constexpr std::string_view name = "Asic::NeededEntry";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 6};
};

template <>
struct TypeOf<Asic::SwTableInterfacesSingleton> {
    static constexpr std::string_view name = "Asic::SwTableInterfacesSingleton";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 7};
};

template <>
struct TypeOf<Asic::CanonicalTableName> {
    static constexpr std::string_view name = "Asic::CanonicalTableName";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 8};
};

template <>
struct TypeOf<Asic::AnnouncementSlate> {
    static constexpr std::string_view name = "Asic::AnnouncementSlate";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 9};
};

template <>
struct TypeOf<Asic::TableVersionMap> {
    static constexpr std::string_view name = "Asic::TableVersionMap";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 10};
};

template <>
struct TypeOf<Asic::AgentSlate> {
    static constexpr std::string_view name = "Asic::AgentSlate";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 11};
};

template <>
struct TypeOf<Asic::SwTableBase> {
    static constexpr std::string_view name = "Asic::SwTableBase";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 12};
};

template <>
struct TypeOf<Asic::NamedSwTable> {
    static constexpr std::string_view name = "Asic::NamedSwTable";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 13};
};

template <>
struct TypeOf<Asic::OrderedSwTable> {
    static constexpr std::string_view name = "Asic::OrderedSwTable";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 14};
};

template <>
struct TypeOf<Asic::OrderedSwTableWithMarkSweep> {
    static constexpr std::string_view name = "Asic::OrderedSwTableWithMarkSweep";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 15};
};

template <>
struct TypeOf<Asic::SwTableBase::EntryHandle> {
    static constexpr std::string_view name = "Asic::SwTableBase::EntryHandle";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 16};
};

template <>
struct TypeOf<Asic::OrderedSwTable::EntryHandle> {
    static constexpr std::string_view name = "Asic::OrderedSwTable::EntryHandle";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 17};
};

template <>
struct TypeOf<Asic::ResolverEntry> {
    static constexpr std::string_view name = "Asic::ResolverEntry";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 18};
};

template <>
struct TypeOf<Asic::EntryLogBase> {
    static constexpr std::string_view name = "Asic::EntryLogBase";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 19};
};

template <>
struct TypeOf<Asic::TableInterfaceBase> {
    static constexpr std::string_view name = "Asic::TableInterfaceBase";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 20};
};

template <>
struct TypeOf<Asic::SwTableIteratorStateBase> {
    static constexpr std::string_view name = "Asic::SwTableIteratorStateBase";
    static constexpr TypeData data{&Asic::orderedTableModuleData, 21};
};

static_assert(typeDataOf<Asic::SwTableInterfacesSingleton>.index ==
              Asic::swTableInterfacesSingletonType);

} // namespace Ombra
