#pragma once

#include <Ombra/ModuleInspectData.h>

// The inspection module of the ordered-table platform. The places of its classes are fixed
// (InspectClasses.h).
namespace Asic {

LOAM_EXPORT extern Ombra::ModuleInspectData const orderedTableModuleData;

inline Ombra::ModuleInspectData const& orderedTableModule() {
    return orderedTableModuleData;
}

inline constexpr int swTableInterfacesSingletonType = 7;

} // namespace Asic
