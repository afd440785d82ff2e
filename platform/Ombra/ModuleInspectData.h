#pragma once

#include <Ombra/Export.h>
#include <Ombra/TypeData.h>

#include <span>
#include <string_view>
#include <vector>

// The inspection module of one source unit: its name and the names of its classes, in the order
// that `TypeData::index` counts. A unit announces its module once, when the library is loaded;
// tools find it by name afterwards.
namespace Ombra {

struct LOAM_EXPORT ModuleInspectData {
    std::string_view name;
    std::span<std::string_view const> typeNames;

    // Called at load, before any thread exists. The module lives to the end of the process.
    static void loaded(ModuleInspectData const& module);

    // All modules announced so far, in the order of their announcement.
    static std::vector<ModuleInspectData const*> const& all();

    // Null when no module of that name was announced.
    static ModuleInspectData const* find(std::string_view name);
};

} // namespace Ombra
