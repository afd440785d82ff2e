#include <fmt/format.h>

#include <new>
#include <python/Convert.h>
#include <python/Errors.h>
#include <python/ObjectType.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace LoamPython {

namespace {

struct PyInspectObject {
    PyObject_HEAD Inspect::Object object;
};

PyTypeObject* objectType = nullptr;
PyObject* classMaker = nullptr;

// Both ways between the layer's classes and Python's, which live to the end of the process.
struct Classes {
    std::unordered_map<Inspect::Class const*, PyTypeObject*> python;
    std::unordered_map<PyTypeObject const*, Inspect::Class const*> layer;
};

Classes& classes() {
    static auto* const made = new Classes;
    return *made;
}

// Of the class itself, or of the one that a script has derived it from.
Inspect::Class const* classOf(PyTypeObject const* type) {
    for (; type != nullptr; type = type->tp_base) {
        auto const place = classes().layer.find(type);
        if (place != classes().layer.end()) {
            return place->second;
        }
    }
    return nullptr;
}

Inspect::Object& held(PyObject* self) {
    return reinterpret_cast<PyInspectObject*>(self)->object;
}

PyObject* wrap(PyTypeObject* type, Inspect::Object object) {
    PyObject* const self = type->tp_alloc(type, 0);
    if (self == nullptr) {
        throw py::error_already_set{};
    }
    new (&held(self)) Inspect::Object{std::move(object)};
    return self;
}

PyObject* construct(PyTypeObject* type, PyObject* arguments, PyObject* keywords) {
    return guarded([&]() -> PyObject* {
        auto const* const cls = classOf(type);
        if (cls == nullptr) {
            throw Inspect::Error{Inspect::Error::Code::notAllowed,
                                 "loam.Object is the base of all classes and is not made itself; "
                                 "loam.classes() lists those there are."};
        }
        if (keywords != nullptr && PyDict_Size(keywords) != 0) {
            throw Inspect::Error{
                Inspect::Error::Code::wrongArguments,
                fmt::format("The constructor arguments of {} have no keywords.", cls->name())};
        }
        auto const declared = cls->constructorArguments();
        std::vector<Inspect::Value> values;
        for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(arguments); ++i) {
            auto const at = static_cast<std::size_t>(i);
            values.push_back(
                fromPython(PyTuple_GET_ITEM(arguments, i),
                           at < declared.size() ? *declared[at].type : Ombra::Impl::nothingType));
        }
        return wrap(type, cls->construct(values));
    });
}

void destroy(PyObject* self) {
    PyTypeObject* const type = Py_TYPE(self);
    held(self).~Object();
    type->tp_free(self);
    Py_DECREF(type);
}

PyObject* represent(PyObject* self) {
    return guarded([&] {
        auto const& object = held(self);
        return PyUnicode_FromFormat("<%s%s at %p>", std::string{object.cls().name()}.c_str(),
                                    object.isConst() ? ", read only" : "", object.node().get());
    });
}

PyObject* compare(PyObject* self, PyObject* other, int operation) {
    auto const* const right = maybeObject(other);
    if (right == nullptr || (operation != Py_EQ && operation != Py_NE)) {
        return Py_NewRef(Py_NotImplemented);
    }
    return PyBool_FromLong((held(self) == *right) == (operation == Py_EQ) ? 1 : 0);
}

Py_hash_t hash(PyObject* self) {
    auto const address = reinterpret_cast<std::uintptr_t>(held(self).node().get());
    return static_cast<Py_hash_t>(address >> 4U); // the low bits are alike; never -1
}

} // namespace

PyTypeObject* makeObjectType() {
    static PyType_Slot slots[] = {
        {Py_tp_doc,
         const_cast<char*>("An object of the library, driven by the names of its attributes.")},
        {Py_tp_new, reinterpret_cast<void*>(construct)},
        {Py_tp_dealloc, reinterpret_cast<void*>(destroy)},
        {Py_tp_repr, reinterpret_cast<void*>(represent)},
        {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
        {Py_tp_hash, reinterpret_cast<void*>(hash)},
        {0, nullptr}};
    static PyType_Spec spec{"loam.Object", sizeof(PyInspectObject), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, slots};
    objectType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&spec));
    if (objectType == nullptr) {
        throw py::error_already_set{};
    }
    return objectType;
}

void classMakerIs(py::object maker) {
    Py_XDECREF(classMaker);
    classMaker = maker.release().ptr();
}

PyTypeObject* pythonClassOf(Inspect::Class const& cls) {
    auto const place = classes().python.find(&cls);
    if (place != classes().python.end()) {
        return place->second;
    }
    auto made = py::handle{classMaker}(py::cast(&cls, py::return_value_policy::reference));
    auto* const type = reinterpret_cast<PyTypeObject*>(made.release().ptr());
    classes().python.emplace(&cls, type);
    classes().layer.emplace(type, &cls);
    return type;
}

PyObject* objectOf(Inspect::Object object) {
    PyTypeObject* const type = pythonClassOf(object.cls());
    return wrap(type, std::move(object));
}

Inspect::Object const* maybeObject(PyObject* given) noexcept {
    return PyObject_TypeCheck(given, objectType) != 0 ? &held(given) : nullptr;
}

} // namespace LoamPython
