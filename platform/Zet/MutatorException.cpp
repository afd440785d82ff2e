#include <Zet/MutatorException.h>

#include <fmt/format.h>

#include <cstddef>
#include <string>

namespace Zet {

namespace {

std::string className(Ombra::ModuleInspectData const* module, int value) {
    auto const index = static_cast<std::size_t>(value);
    if (module != nullptr && index < module->typeNames.size()) {
        return std::string{module->typeNames[index]};
    }
    return fmt::format("type {}", value);
}

} // namespace

void throwMutatorArgNullPointerException(Ombra::ModuleInspectData const* module, int value,
                                         Ombra::FieldId field) {
    throw Ombra::NullPointerException{fmt::format(
        "Attribute {:#x} of {} in module {} was set to a null pointer, which it cannot hold: give "
        "it an object, or delete the element.",
        static_cast<unsigned>(field), className(module, value),
        module == nullptr ? std::string_view{"(none)"} : module->name)};
}

} // namespace Zet
