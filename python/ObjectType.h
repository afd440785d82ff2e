#pragma once

// `loam.Object`: an object of the library, held by a counted pointer. Each class of the inspection
// layer has a subclass, made when its first object is met (loam/_classes.py); calling it makes an
// object by the class's constructor arguments.

#include <Inspect/Object.h>
#include <pybind11/pybind11.h>

namespace LoamPython {

PyTypeObject* makeObjectType();

// What makes the Python class of a class of the layer: called with it, gives a subclass of
// `loam.Object`.
void classMakerIs(pybind11::object maker);

// A borrowed reference, which lives as long as the module.
PyTypeObject* pythonClassOf(Inspect::Class const& cls);

// A new reference. Throws `pybind11::error_already_set`.
PyObject* objectOf(Inspect::Object object);

// Null when it is none.
Inspect::Object const* maybeObject(PyObject* given) noexcept;

} // namespace LoamPython
