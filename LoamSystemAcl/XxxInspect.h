#pragma once

#include <Asic/InspectClasses.h>
#include <LoamSystemAcl/InspectRecords.h>
#include <LoamSystemAcl/XxxInterface.h>
#include <LoamSystemAcl/XxxLogSlate.h>
#include <Ombra/ModuleInspectData.h>

// The inspection modules of the table Xxx: one per source unit, and one for its plain types. Used
// by the units alone; others find a module by its name, or through an object's `typeData()`.
namespace LoamSystemAcl {

extern Ombra::ModuleInspectData const xxxInterfaceModule;
extern Ombra::ModuleInspectData const xxxSwTableModule;
extern Ombra::ModuleInspectData const xxxEntryLogModule;
extern Ombra::ModuleInspectData const xxxSwTableHelperBaseModule;
extern Ombra::ModuleInspectData const xxxInfraTypesModule;
extern Ombra::ModuleInspectData const xxxTypesModule;

} // namespace LoamSystemAcl

namespace Ombra {

template <>
struct TypeOf<LoamSystemAcl::XxxEntryKey> {
    static constexpr std::string_view name = "XxxEntryKey";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 0};
};
template <>
struct ValueTraits<LoamSystemAcl::XxxEntryKey>
    : LoamSystemAcl::EntryKeyTraits<LoamSystemAcl::XxxEntryKey> {};

template <>
struct TypeOf<LoamSystemAcl::XxxEntry> {
    static constexpr std::string_view name = "XxxEntry";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 1};
};
template <>
struct ValueTraits<LoamSystemAcl::XxxEntry>
    : LoamSystemAcl::EntryTraits<LoamSystemAcl::XxxEntry, LoamSystemAcl::XxxEntryKey> {};

template <>
struct TypeOf<LoamSystemAcl::XxxLogEntry> {
    static constexpr std::string_view name = "XxxLogEntry";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 2};
};
template <>
struct ValueTraits<LoamSystemAcl::XxxLogEntry>
    : LoamSystemAcl::EntryTraits<LoamSystemAcl::XxxLogEntry, LoamSystemAcl::XxxEntryKey> {};

template <>
struct TypeOf<LoamSystemAcl::XxxResourceKeys> {
    static constexpr std::string_view name = "XxxResourceKeys";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 3};
};
template <>
struct ValueTraits<LoamSystemAcl::XxxResourceKeys>
    : LoamSystemAcl::ResourceKeysTraits<LoamSystemAcl::XxxResourceKeys> {};

template <>
struct TypeOf<LoamSystemAcl::XxxConfigSlate> {
    static constexpr std::string_view name = "XxxConfigSlate";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 4};
};

template <>
struct TypeOf<LoamSystemAcl::XxxEntryLogSlate> {
    static constexpr std::string_view name = "XxxEntryLogSlate";
    static constexpr TypeData data{&LoamSystemAcl::xxxTypesModule, 5};
};

template <>
struct TypeOf<LoamSystemAcl::XxxInterface> {
    static constexpr std::string_view name = "XxxInterface";
    static constexpr TypeData data{&LoamSystemAcl::xxxInterfaceModule, 0};
};

template <>
struct TypeOf<LoamSystemAcl::XxxSwTable::EntryHandle> {
    static constexpr std::string_view name = "XxxSwTable::EntryHandle";
    static constexpr TypeData data{&LoamSystemAcl::xxxSwTableModule, 0};
};

template <>
struct TypeOf<LoamSystemAcl::XxxSwTable::SwTableEntries_py> {
    static constexpr std::string_view name = "XxxSwTable::SwTableEntries_py";
    static constexpr TypeData data{&LoamSystemAcl::xxxSwTableModule, 1};
};

template <>
struct TypeOf<LoamSystemAcl::XxxSwTable> {
    static constexpr std::string_view name = "XxxSwTable";
    static constexpr TypeData data{&LoamSystemAcl::xxxSwTableModule, 2};
};

template <>
struct TypeOf<LoamSystemAcl::XxxSwTableIteratorState> {
    static constexpr std::string_view name = "XxxSwTableIteratorState";
    static constexpr TypeData data{&LoamSystemAcl::xxxSwTableModule, 3};
};

template <>
struct TypeOf<LoamSystemAcl::XxxEntryLog> {
    static constexpr std::string_view name = "XxxEntryLog";
    static constexpr TypeData data{&LoamSystemAcl::xxxEntryLogModule, 0};
};

template <>
struct TypeOf<LoamSystemAcl::XxxSwTableHelperBase> {
    static constexpr std::string_view name = "XxxSwTableHelperBase";
    static constexpr TypeData data{&LoamSystemAcl::xxxSwTableHelperBaseModule, 0};
};

template <>
struct TypeOf<LoamSystemAcl::XxxEntryWrapper> {
    static constexpr std::string_view name = "XxxEntryWrapper";
    static constexpr TypeData data{&LoamSystemAcl::xxxInfraTypesModule, 0};
};

template <>
struct TypeOf<LoamSystemAcl::XxxResolverEntry> {
    static constexpr std::string_view name = "XxxResolverEntry";
    static constexpr TypeData data{&LoamSystemAcl::xxxInfraTypesModule, 1};
};

} // namespace Ombra
