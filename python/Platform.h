#pragma once

// What a script needs of the platform and of the policy file that is no attribute of an object: the
// root folder, the doorbells, values made from their type's name, and the end.

#include <pybind11/pybind11.h>

namespace LoamPython {

void describePlatform(pybind11::module_& module);

} // namespace LoamPython
