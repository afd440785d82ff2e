#pragma once

#include <cstdint>

namespace LoamSystemAcl {

// How often the program has called the language's own `new`, which NewCalls.cpp replaces.
std::uint64_t newCalls();

} // namespace LoamSystemAcl
