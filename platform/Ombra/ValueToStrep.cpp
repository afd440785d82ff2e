#include <Ombra/GenericIf.h>
#include <Ombra/ValueToStrep.h>

namespace Ombra::Impl {

String valueToStrep(ModuleInspectData const& module, int index, void const* value) {
    std::string text;
    auto const& type = module.types[static_cast<std::size_t>(index)];
    if (type.value != nullptr) {
        type.value->text(value, text);
    } else {
        nodeText(static_cast<Node const*>(value), module.typeNames[static_cast<std::size_t>(index)],
                 text);
    }
    return text;
}

} // namespace Ombra::Impl
