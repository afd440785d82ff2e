#pragma once

#include <Ombra/ModuleInspectData.h>
#include <Ombra/ValueTypeOf.h>
#include <Orbis/EntityManager.h>

// The state store's classes, for whoever describes a class that refers to one of them.
namespace Orbis {

LOAM_EXPORT extern Ombra::ModuleInspectData const inspectModule;

} // namespace Orbis

namespace Ombra {

template <>
struct TypeOf<Orbis::EntityManager> {
    static constexpr std::string_view name = "Orbis::EntityManager";
    static constexpr TypeData data{&Orbis::inspectModule, 0};
};

} // namespace Ombra
