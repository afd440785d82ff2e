#pragma once

#include <Ombra/FieldDescriptor.h>
#include <Ombra/TypeData.h>

// An attribute: the class that declares it, and its number there.
namespace Zet {

struct ZetAttr {
    Ombra::TypeData type;
    Ombra::FieldDescriptor field;
};

} // namespace Zet
