#pragma once

// What the library throws, as Python raises it. Each class has, beside `loam.Error`, the built-in
// class that a Python programmer would catch.

#include <exception>
#include <pybind11/pybind11.h>
#include <utility>

namespace LoamPython {

void makeErrors(pybind11::module_& module);

// Sets Python's error from what is being handled. Call it in a catch block.
void raiseCurrent();

// For functions that Python calls: runs `body`; what it throws becomes Python's error, and the
// result is null.
template <typename Body>
PyObject* guarded(Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        raiseCurrent();
        return nullptr;
    }
}

} // namespace LoamPython
