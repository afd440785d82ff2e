#include <Ombra/Exception.h>

#include <Inspect/Error.h>
#include <array>
#include <cstddef>
#include <python/Errors.h>
#include <string>

namespace py = pybind11;

namespace LoamPython {

namespace {

using Code = Inspect::Error::Code;

struct ErrorClass {
    Code code;
    char const* name;
    PyObject** builtin;
    char const* doc;
};

ErrorClass const errorClasses[] = {
    {Code::unknownClass, "UnknownClass", &PyExc_LookupError, "There is no class of that name."},
    {Code::unknownAttribute, "UnknownAttribute", &PyExc_AttributeError,
     "The class has no attribute or operation of that name."},
    {Code::notAllowed, "NotAllowed", &PyExc_TypeError,
     "The attribute does not allow what was asked."},
    {Code::readOnly, "ReadOnly", &PyExc_AttributeError, "The attribute or object is read only."},
    {Code::wrongArguments, "WrongArguments", &PyExc_TypeError,
     "An operation was given too few or too many arguments."},
    {Code::wrongValue, "WrongValue", &PyExc_ValueError,
     "A value is of another type than declared, or out of its range."},
    {Code::noObject, "NoObject", &PyExc_TypeError, "Something was asked of no object."},
    {Code::refused, "Refused", &PyExc_RuntimeError, "It is allowed, and would do harm now."},
};

PyObject* errorBase = nullptr;
PyObject* corruptionError = nullptr;
PyObject* platformError = nullptr;
std::array<PyObject*, std::size(errorClasses)> errors{};

PyObject* makeClass(py::module_& module, char const* name, char const* doc, py::tuple bases) {
    std::string const full = std::string{"loam."} + name;
    PyObject* const made = PyErr_NewExceptionWithDoc(full.c_str(), doc, bases.ptr(), nullptr);
    if (made == nullptr) {
        throw py::error_already_set{};
    }
    module.add_object(name, py::handle{made});
    return made;
}

py::object builtin(PyObject* exception) {
    return py::reinterpret_borrow<py::object>(exception);
}

} // namespace

void makeErrors(py::module_& module) {
    errorBase = makeClass(module, "Error", "What the library refuses. Nothing has changed.",
                          py::make_tuple(builtin(PyExc_Exception)));
    for (std::size_t i = 0; i < errors.size(); ++i) {
        errors[i] =
            makeClass(module, errorClasses[i].name, errorClasses[i].doc,
                      py::make_tuple(builtin(errorBase), builtin(*errorClasses[i].builtin)));
    }
    platformError = makeClass(module, "PlatformError",
                              "Shared memory, state store or ring trace could not do its part.",
                              py::make_tuple(builtin(errorBase), builtin(PyExc_OSError)));
    corruptionError =
        makeClass(module, "CorruptionDetected", "Shared memory was found inconsistent at a read.",
                  py::make_tuple(builtin(platformError)));
}

void raiseCurrent() {
    try {
        throw;
    } catch (py::error_already_set& raised) {
        raised.restore();
    } catch (Inspect::Error const& error) {
        PyErr_SetString(errors[static_cast<std::size_t>(error.code())], error.what());
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        PyErr_SetString(corruptionError, corruption.what());
    } catch (Ombra::Exception const& exception) {
        PyErr_SetString(platformError, exception.what());
    } catch (std::bad_alloc const&) {
        PyErr_NoMemory();
    } catch (std::exception const& exception) {
        PyErr_SetString(PyExc_RuntimeError, exception.what());
    }
}

} // namespace LoamPython
