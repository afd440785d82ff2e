#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>
#include <ZetSharedMem/MountContext.h>

// Entity classes by name, since a mount is given only the name of the class.
//
// A class announces itself by an object of namespace scope in its source file:
//
//     ZetSharedMem::TypeRegistration<FooConfigSlate> const
//     registration{"LoamSystemAcl::FooConfigSlate"};
//
// The class provides `static EntityFactory prepareMount(String const& typeName, MountInfo const&)`.
// Registering a name again replaces the former entry, so that a reloaded library works.
namespace ZetSlate {
class MountInfo;
}

namespace ZetSharedMem {

using PrepareMount = EntityFactory (*)(Ombra::String const& typeName,
                                       ZetSlate::MountInfo const& info);

LOAM_EXPORT void registerType(Ombra::String const& typeName, PrepareMount prepare);

// Null when no class of that name was registered.
LOAM_EXPORT PrepareMount registeredType(Ombra::String const& typeName);

template <typename T>
struct TypeRegistration {
    explicit TypeRegistration(Ombra::String const& typeName) {
        registerType(typeName, &T::prepareMount);
    }
};

} // namespace ZetSharedMem
