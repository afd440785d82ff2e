#include <Asic/OrderedTableModule.h>

#include <array>

namespace Asic {

namespace {

constexpr std::array<std::string_view, 12> typeNames{
    "Asic::OrderedTableInterface", "Asic::GroupInterface",
    "Asic::GroupResolver",         "Asic::OrderedSwTableSet",
    "Asic::OrderedSwTableStatus",  "Asic::SwTableStats",
    "Asic::NeededEntry",           "Asic::SwTableInterfacesSingleton",
    "Asic::CanonicalTableName",    "Asic::AnnouncementSlate",
    "Asic::TableVersionMap",       "Asic::AgentSlate"};

constexpr Ombra::ModuleInspectData module{"OrderedTable", typeNames};

[[maybe_unused]] bool const announced = [] {
    Ombra::ModuleInspectData::loaded(module);
    return true;
}();

} // namespace

Ombra::ModuleInspectData const& orderedTableModule() {
    return module;
}

} // namespace Asic
