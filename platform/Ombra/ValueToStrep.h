#pragma once

#include <Ombra/ModuleInspectData.h>
#include <Ombra/String.h>

namespace Ombra::Impl {

// The text of a value whose type is the module's `index`th. Of a class, `value` is a `Node const*`,
// and the text is the class's name with the address.
LOAM_EXPORT String valueToStrep(ModuleInspectData const& module, int index, void const* value);

} // namespace Ombra::Impl
