#pragma once

// `loam.Record`: a plain value of the library that Python has no type for: a key, an entry, a
// version, an identifier. It is immutable, shows itself by its text, compares by value, and stands
// for its number where it has one (a key is equal to its number and hashes as it).

#include <Inspect/Value.h>
#include <pybind11/pybind11.h>

namespace LoamPython {

PyTypeObject* makeRecordType();

// A new reference. Throws `pybind11::error_already_set`.
PyObject* recordOf(Inspect::Value value);

// Null when it is none.
Inspect::Value const* maybeRecord(PyObject* given) noexcept;

} // namespace LoamPython
