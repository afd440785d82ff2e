#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>
#include <Ombra/FieldId.h>
#include <Ombra/ModuleInspectData.h>

namespace Zet {

// A setter was given a null pointer that its attribute can't hold: throws
// `Ombra::NullPointerException`, whose sentence names the module, the class and the field. `value`
// is the class's place in the module; one that the module does not have is named by its number.
[[noreturn]] LOAM_EXPORT void
throwMutatorArgNullPointerException(Ombra::ModuleInspectData const* module, int value,
                                    Ombra::FieldId field);

} // namespace Zet
