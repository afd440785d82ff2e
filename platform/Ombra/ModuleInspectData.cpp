#include <Ombra/ModuleInspectData.h>

#include <algorithm>

namespace Ombra {

namespace {

std::vector<ModuleInspectData const*>& modules() {
    static std::vector<ModuleInspectData const*> announced;
    return announced;
}

} // namespace

void ModuleInspectData::loaded(ModuleInspectData const& module) {
    modules().push_back(&module);
}

std::vector<ModuleInspectData const*> const& ModuleInspectData::all() {
    return modules();
}

ModuleInspectData const* ModuleInspectData::find(std::string_view name) {
    auto const found = std::ranges::find(modules(), name, &ModuleInspectData::name);
    return found == modules().end() ? nullptr : *found;
}

} // namespace Ombra
