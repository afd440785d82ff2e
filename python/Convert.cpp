#include <fmt/format.h>

#include <limits>
#include <memory>
#include <python/Convert.h>
#include <python/ObjectType.h>
#include <python/RecordType.h>

namespace py = pybind11;

namespace LoamPython {

namespace {

PyObject* checked(PyObject* made) {
    if (made == nullptr) {
        throw py::error_already_set{};
    }
    return made;
}

PyObject* listOf(Inspect::Value const& value) {
    py::list elements{value.count()};
    for (std::size_t i = 0; i < value.count(); ++i) {
        elements[i] = py::reinterpret_steal<py::object>(toPython(value.element(i)));
    }
    return elements.release().ptr();
}

// Text of a signed number is the one form in which the layer gives it to everybody.
PyObject* signedOf(Inspect::Value const& value) {
    return checked(PyLong_FromString(value.text().c_str(), nullptr, 10));
}

Inspect::Value numberFrom(PyObject* given) {
    int overflow = 0;
    long long const number = PyLong_AsLongLongAndOverflow(given, &overflow);
    if (overflow == 0 && number >= 0) {
        return static_cast<std::uint64_t>(number);
    }
    if (overflow == 0 && number >= std::numeric_limits<std::int32_t>::min()) {
        return Inspect::Value::of(static_cast<std::int32_t>(number));
    }
    if (overflow > 0) {
        auto const large = PyLong_AsUnsignedLongLong(given);
        if (PyErr_Occurred() == nullptr) {
            return Inspect::Value{static_cast<std::uint64_t>(large)};
        }
        PyErr_Clear();
    }
    throw Inspect::Error{
        Inspect::Error::Code::wrongValue,
        fmt::format(
            "{} is out of the range of the numbers here, -2147483648 to 18446744073709551615.",
            std::string{py::str(py::handle{given})})};
}

// A callable, held for as long as the library may call it. What it raises can't travel through the
// library: it is reported by `sys.unraisablehook`.
class Callback {
  public:
    explicit Callback(PyObject* callable)
        : callable_{Py_NewRef(callable), [](PyObject* held) {
                        if (Py_IsInitialized() != 0) { // or the interpreter has ended before
                            py::gil_scoped_acquire const lock;
                            Py_DECREF(held);
                        }
                    }} {}

    void operator()(Ombra::Ptr<Ombra::Node const> const& node) const {
        py::gil_scoped_acquire const lock;
        try {
            auto const object = py::reinterpret_steal<py::object>(
                node == nullptr ? Py_NewRef(Py_None) : objectOf(Inspect::Object{node}));
            auto const result = py::reinterpret_steal<py::object>(
                checked(PyObject_CallOneArg(callable_.get(), object.ptr())));
        } catch (py::error_already_set& raised) {
            raised.restore();
            PyErr_WriteUnraisable(callable_.get());
        }
    }

  private:
    std::shared_ptr<PyObject> callable_;
};

Inspect::Value recordFrom(PyObject* given, Ombra::ValueType const& declared) {
    auto const pair = py::reinterpret_borrow<py::tuple>(given);
    if (pair.size() != 2 || !PyLong_Check(pair[0].ptr()) || !PyBytes_Check(pair[1].ptr())) {
        throw Inspect::Error{Inspect::Error::Code::wrongValue,
                             fmt::format("{} is no {}; expected a pair of the key's number and the "
                                         "bytes behind the key.",
                                         std::string{py::repr(pair)}, declared.name)};
    }
    char* bytes = nullptr;
    Py_ssize_t length = 0;
    PyBytes_AsStringAndSize(pair[1].ptr(), &bytes, &length);
    return Inspect::Value::record(
        declared, numberFrom(pair[0].ptr()).asNumber(),
        {reinterpret_cast<std::byte const*>(bytes), static_cast<std::size_t>(length)});
}

} // namespace

PyObject* toPython(Inspect::Value const& value) {
    switch (value.kind()) {
    case Ombra::ValueKind::nothing:
        return Py_NewRef(Py_None);
    case Ombra::ValueKind::boolean:
        return PyBool_FromLong(value.asBool() ? 1 : 0);
    case Ombra::ValueKind::unsignedNumber:
        return checked(PyLong_FromUnsignedLongLong(value.asNumber()));
    case Ombra::ValueKind::signedNumber:
        return signedOf(value);
    case Ombra::ValueKind::string: {
        auto const text = value.asString();
        return checked(
            PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
    }
    case Ombra::ValueKind::optional:
        return value.count() == 0 ? Py_NewRef(Py_None) : toPython(value.element(0));
    case Ombra::ValueKind::list:
        return listOf(value);
    case Ombra::ValueKind::pointer: {
        auto const object = value.asObject();
        return object ? objectOf(object) : Py_NewRef(Py_None);
    }
    case Ombra::ValueKind::record:
    case Ombra::ValueKind::handler:
        break;
    }
    return recordOf(value);
}

Inspect::Value fromPython(PyObject* given, Ombra::ValueType const& declared) {
    if (given == Py_None) {
        return {};
    }
    if (Inspect::Object const* const object = maybeObject(given); object != nullptr) {
        return *object;
    }
    if (Inspect::Value const* const record = maybeRecord(given); record != nullptr) {
        return *record;
    }
    if (PyBool_Check(given)) {
        return given == Py_True;
    }
    if (PyLong_Check(given)) {
        return numberFrom(given);
    }
    if (PyUnicode_Check(given)) {
        Py_ssize_t length = 0;
        char const* const text = PyUnicode_AsUTF8AndSize(given, &length);
        if (text == nullptr) {
            throw py::error_already_set{};
        }
        return std::string_view{text, static_cast<std::size_t>(length)};
    }
    if (PyTuple_Check(given) && declared.fromKeyAndBytes != nullptr) {
        return recordFrom(given, declared);
    }
    if (declared.kind == Ombra::ValueKind::handler && PyCallable_Check(given) != 0) {
        return Ombra::NodeHandler{Callback{given}};
    }
    throw Inspect::Error{Inspect::Error::Code::wrongValue,
                         fmt::format("A {} is no {}; expected {}.", Py_TYPE(given)->tp_name,
                                     declared.name, declared.expects)};
}

} // namespace LoamPython
