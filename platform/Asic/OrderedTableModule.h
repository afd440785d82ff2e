#pragma once

#include <Ombra/ModuleInspectData.h>

// The inspection module of the ordered-table platform. The places of its classes are fixed.
namespace Asic {

LOAM_EXPORT Ombra::ModuleInspectData const& orderedTableModule();

inline constexpr int swTableInterfacesSingletonType = 7;

} // namespace Asic
