#include <fmt/format.h>

#include <new>
#include <python/Convert.h>
#include <python/Errors.h>
#include <python/RecordType.h>
#include <utility>

namespace py = pybind11;

namespace LoamPython {

namespace {

struct PyRecord {
    PyObject_HEAD Inspect::Value value;
};

PyTypeObject* recordType = nullptr;

Inspect::Value& held(PyObject* self) {
    return reinterpret_cast<PyRecord*>(self)->value;
}

PyObject* unicode(std::string_view text) {
    return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
}

void destroy(PyObject* self) {
    PyTypeObject* const type = Py_TYPE(self);
    held(self).~Value();
    type->tp_free(self);
    Py_DECREF(type);
}

PyObject* represent(PyObject* self) {
    return guarded([&] {
        auto const& value = held(self);
        return unicode(fmt::format("<{} {}>", value.type().name, value.text()));
    });
}

PyObject* text(PyObject* self) {
    return guarded([&] { return unicode(held(self).text()); });
}

PyObject* number(PyObject* self) {
    return guarded([&] { return PyLong_FromUnsignedLongLong(held(self).asNumber()); });
}

PyObject* compare(PyObject* self, PyObject* other, int operation) {
    if (operation != Py_EQ && operation != Py_NE) {
        return Py_NewRef(Py_NotImplemented);
    }
    return guarded([&]() -> PyObject* {
        auto const& left = held(self);
        auto const* const right = maybeRecord(other);
        if (right == nullptr && !(PyLong_Check(other) && left.hasNumber())) {
            return Py_NewRef(Py_NotImplemented);
        }
        if (right != nullptr) {
            return PyBool_FromLong((left == *right) == (operation == Py_EQ) ? 1 : 0);
        }
        auto const own = py::reinterpret_steal<py::object>(number(self));
        return PyObject_RichCompare(own.ptr(), other, operation);
    });
}

Py_hash_t hash(PyObject* self) {
    auto const hashed =
        py::reinterpret_steal<py::object>(held(self).hasNumber() ? number(self) : text(self));
    return hashed ? PyObject_Hash(hashed.ptr()) : -1;
}

PyObject* typeName(PyObject* self, void*) {
    return unicode(held(self).type().name);
}

PyObject* fields(PyObject* self, void*) {
    return guarded([&] {
        auto const bytes = held(self).bytes();
        return PyBytes_FromStringAndSize(reinterpret_cast<char const*>(bytes.data()),
                                         static_cast<Py_ssize_t>(bytes.size()));
    });
}

PyObject* json(PyObject* self, PyObject*) {
    return guarded([&] { return unicode(held(self).json()); });
}

} // namespace

PyTypeObject* makeRecordType() {
    static PyGetSetDef attributes[] = {
        {"type", typeName, nullptr, "The name of its type.", nullptr},
        {"fields", fields, nullptr, "Of an entry: the bytes behind the key.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyMethodDef methods[] = {{"json", json, METH_NOARGS, "The value as JSON."},
                                    {nullptr, nullptr, 0, nullptr}};
    static PyType_Slot slots[] = {
        {Py_tp_doc, const_cast<char*>("A plain value: a key, an entry, a version, an identifier.")},
        {Py_tp_dealloc, reinterpret_cast<void*>(destroy)},
        {Py_tp_repr, reinterpret_cast<void*>(represent)},
        {Py_tp_str, reinterpret_cast<void*>(text)},
        {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
        {Py_tp_hash, reinterpret_cast<void*>(hash)},
        {Py_tp_getset, attributes},
        {Py_tp_methods, methods},
        {Py_nb_int, reinterpret_cast<void*>(number)},
        {Py_nb_index, reinterpret_cast<void*>(number)},
        {0, nullptr}};
    static PyType_Spec spec{"loam.Record", sizeof(PyRecord), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
    recordType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&spec));
    if (recordType == nullptr) {
        throw py::error_already_set{};
    }
    return recordType;
}

PyObject* recordOf(Inspect::Value value) {
    PyObject* const self = recordType->tp_alloc(recordType, 0);
    if (self == nullptr) {
        throw py::error_already_set{};
    }
    new (&held(self)) Inspect::Value{std::move(value)};
    return self;
}

Inspect::Value const* maybeRecord(PyObject* given) noexcept {
    return Py_TYPE(given) == recordType ? &held(given) : nullptr;
}

} // namespace LoamPython
