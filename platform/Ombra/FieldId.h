#pragma once

#include <cstdint>

// The number under which a change of an attribute is published, and by which the inspection layer
// knows it. Unique within a class.
namespace Ombra {

enum class FieldId : std::uint16_t {};

} // namespace Ombra
