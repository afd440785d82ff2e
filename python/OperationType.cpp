#include <fmt/format.h>

#include <array>
#include <python/Convert.h>
#include <python/Errors.h>
#include <python/ObjectType.h>
#include <python/OperationType.h>
#include <structmember.h>

namespace py = pybind11;

namespace LoamPython {

namespace {

struct PyOperation {
    PyObject_HEAD vectorcallfunc vectorcall;
    Inspect::Attribute const* operation;
};

PyTypeObject* operationType = nullptr;

Inspect::Attribute const& held(PyObject* self) {
    return *reinterpret_cast<PyOperation*>(self)->operation;
}

Inspect::Object const& objectAmong(PyObject* const* arguments, std::size_t count,
                                   Inspect::Attribute const& operation) {
    Inspect::Object const* const object = count == 0 ? nullptr : maybeObject(arguments[0]);
    if (object == nullptr || !object->cls().derivesFrom(*operation.owner)) {
        throw Inspect::Error{Inspect::Error::Code::noObject,
                             fmt::format("{} needs an object of {} first.", operation.signature(),
                                         operation.owner->name())};
    }
    return *object;
}

PyObject* call(PyObject* self, PyObject* const* arguments, std::size_t flagged,
               PyObject* keywords) {
    return guarded([&] {
        auto const& operation = held(self);
        auto count = static_cast<std::size_t>(PyVectorcall_NARGS(flagged));
        if (keywords != nullptr && PyTuple_GET_SIZE(keywords) != 0) {
            throw Inspect::Error{Inspect::Error::Code::wrongArguments,
                                 fmt::format("{} takes no keywords.", operation.signature())};
        }
        Inspect::Object const& object = objectAmong(arguments, count, operation);
        constexpr std::size_t most = 8;
        std::array<Inspect::Value, most> values;
        std::size_t const given = --count;
        // Too many are passed on as far as they fit: the layer says how many there should be.
        std::size_t const taken = std::min(given, most);
        for (std::size_t i = 0; i < taken; ++i) {
            values[i] = fromPython(arguments[1 + i], i < operation.arguments.size()
                                                         ? *operation.arguments[i].type
                                                         : Ombra::Impl::nothingType);
        }
        return toPython(object.call(operation, std::span{values.data(), taken}));
    });
}

// Bound like a function's method; the interpreter takes the short way without it.
PyObject* bind(PyObject* self, PyObject* object, PyObject*) {
    return object == nullptr ? Py_NewRef(self) : PyMethod_New(self, object);
}

PyObject* represent(PyObject* self) {
    return guarded([&] {
        auto const& operation = held(self);
        return PyUnicode_FromFormat("<operation %s of %s>", operation.signature().c_str(),
                                    std::string{operation.owner->name()}.c_str());
    });
}

PyObject* doc(PyObject* self, void*) {
    return guarded([&] {
        auto const& operation = held(self);
        auto const text = fmt::format("{}\n\n{}", operation.signature(), operation.doc);
        return PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
    });
}

PyObject* name(PyObject* self, void*) {
    auto const text = held(self).name;
    return PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
}

void destroy(PyObject* self) {
    PyTypeObject* const type = Py_TYPE(self);
    type->tp_free(self);
    Py_DECREF(type);
}

} // namespace

PyTypeObject* makeOperationType() {
    static PyGetSetDef attributes[] = {{"__doc__", doc, nullptr, nullptr, nullptr},
                                       {"__name__", name, nullptr, nullptr, nullptr},
                                       {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyMemberDef members[] = {
        {"__vectorcalloffset__", T_PYSSIZET, offsetof(PyOperation, vectorcall), READONLY, nullptr},
        {nullptr, 0, 0, 0, nullptr}};
    static PyType_Slot slots[] = {{Py_tp_call, reinterpret_cast<void*>(PyVectorcall_Call)},
                                  {Py_tp_descr_get, reinterpret_cast<void*>(bind)},
                                  {Py_tp_dealloc, reinterpret_cast<void*>(destroy)},
                                  {Py_tp_repr, reinterpret_cast<void*>(represent)},
                                  {Py_tp_getset, attributes},
                                  {Py_tp_members, members},
                                  {0, nullptr}};
    static PyType_Spec spec{"loam.Operation", sizeof(PyOperation), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_VECTORCALL |
                                Py_TPFLAGS_METHOD_DESCRIPTOR | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                            slots};
    operationType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&spec));
    if (operationType == nullptr) {
        throw py::error_already_set{};
    }
    return operationType;
}

PyObject* operationOf(Inspect::Attribute const& operation) {
    PyObject* const self = operationType->tp_alloc(operationType, 0);
    if (self == nullptr) {
        throw py::error_already_set{};
    }
    auto* const made = reinterpret_cast<PyOperation*>(self);
    made->vectorcall = call;
    made->operation = &operation;
    return self;
}

} // namespace LoamPython
