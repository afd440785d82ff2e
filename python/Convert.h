#pragma once

// Values of the inspection layer as Python has them, and back.
//
//     nothing, null pointer, empty optional   None
//     boolean, number, text, list             bool, int, str, list
//     record (key, entry, version, ...)       loam.Record
//     pointer to an object                    loam.Object, of the class that the object has
//     handler                                 any callable, taken and never given
//
// Everything runs with the interpreter's lock held.

#include <Inspect/Class.h>
#include <Inspect/Object.h>
#include <Inspect/Value.h>
#include <pybind11/pybind11.h>

namespace LoamPython {

// A new reference. Throws `pybind11::error_already_set`.
PyObject* toPython(Inspect::Value const& value);

// What Python gives where `declared` is wanted; the layer converts the rest of the way. A pair of a
// number and bytes stands for a record that is a key with bytes behind it. Throws
// `pybind11::error_already_set` and `Inspect::Error`.
Inspect::Value fromPython(PyObject* given, Ombra::ValueType const& declared);

} // namespace LoamPython
