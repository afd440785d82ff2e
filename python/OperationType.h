#pragma once

// `loam.Operation`: an operation of a class, as a method of its Python class. A type of our own,
// and not a function of the binding library, because a call of a table is the hot path of a script:
// it goes from the interpreter's argument array to the layer without a tuple between.

#include <Inspect/Class.h>
#include <pybind11/pybind11.h>

namespace LoamPython {

PyTypeObject* makeOperationType();

// A new reference. `operation` lives to the end of the process.
PyObject* operationOf(Inspect::Attribute const& operation);

} // namespace LoamPython
