// `loam._loam`: the inspection layer as Python sees it, plain. What is comfortable stands in the
// package's Python files.
//
// No table class is known here. The interpreter's lock is held throughout: a script is an agent
// with one thread.

#include <Ombra/Exception.h>

#include <Inspect/Iterator.h>
#include <pybind11/stl.h>
#include <python/Convert.h>
#include <python/Errors.h>
#include <python/ObjectType.h>
#include <python/OperationType.h>
#include <python/Platform.h>
#include <python/RecordType.h>
#include <vector>

namespace py = pybind11;

namespace LoamPython {

namespace {

Inspect::Object const& object(py::handle given) {
    Inspect::Object const* const found = maybeObject(given.ptr());
    if (found == nullptr) {
        throw py::type_error{"expected a loam.Object, and was given " +
                             std::string{py::repr(given)}};
    }
    return *found;
}

py::object python(Inspect::Value const& value) {
    return py::reinterpret_steal<py::object>(toPython(value));
}

Inspect::Value keyFor(Inspect::Attribute const& attribute, py::handle key) {
    return fromPython(key.ptr(),
                      attribute.keyType == nullptr ? Ombra::Impl::nothingType : *attribute.keyType);
}

Inspect::Value valueFor(Inspect::Attribute const& attribute, py::handle value) {
    return fromPython(value.ptr(), *attribute.type);
}

std::vector<Inspect::Value> values(std::span<Inspect::Argument const> declared,
                                   py::args const& given) {
    std::vector<Inspect::Value> result;
    for (std::size_t i = 0; i < given.size(); ++i) {
        result.push_back(fromPython(
            given[i].ptr(), i < declared.size() ? *declared[i].type : Ombra::Impl::nothingType));
    }
    return result;
}

// Pairs of key and value; of the queue, whose elements have no keys, the key is None.
class Pairs {
  public:
    explicit Pairs(Inspect::Iterator&& iterator) : iterator_{std::move(iterator)} {}

    py::tuple next() {
        if (!iterator_) {
            throw py::stop_iteration{};
        }
        auto pair = py::make_tuple(python(iterator_.key()), python(iterator_.value()));
        iterator_.next();
        return pair;
    }

  private:
    Inspect::Iterator iterator_;
};

void describeAttributes(py::module_& module) {
    using Inspect::Argument;
    using Inspect::Attribute;
    py::class_<Argument, std::unique_ptr<Argument, py::nodelete>>(module, "Argument")
        .def_property_readonly("name", [](Argument const& self) { return self.name; })
        .def_property_readonly("type", [](Argument const& self) { return self.type->name; })
        .def_property_readonly("kind", [](Argument const& self) { return int(self.type->kind); })
        .def_readonly("optional", &Argument::optional);
    py::class_<Attribute, std::unique_ptr<Attribute, py::nodelete>>(
        module, "Attribute", "An attribute or operation, as its class describes it.")
        .def_readonly("number", &Attribute::number)
        .def_property_readonly("name", [](Attribute const& self) { return self.name; })
        .def_property_readonly("other_name", [](Attribute const& self) { return self.otherName; })
        .def_property_readonly("kind",
                               [](Attribute const& self) { return Inspect::textOf(self.kind); })
        .def_property_readonly("type", [](Attribute const& self) { return self.type->name; })
        .def_property_readonly("value_kind",
                               [](Attribute const& self) { return int(self.type->kind); })
        .def_property_readonly("doc", [](Attribute const& self) { return self.doc; })
        .def_readonly("read_only", &Attribute::readOnly)
        .def_readonly("callable", &Attribute::callable)
        .def_readonly("of_class", &Attribute::ofClass)
        .def_readonly("hazardous", &Attribute::hazardous)
        .def_property_readonly("signature", &Attribute::signature)
        .def_property_readonly("arguments",
                               [](Attribute const& self) {
                                   py::list all;
                                   for (auto const& each : self.arguments) {
                                       all.append(
                                           py::cast(&each, py::return_value_policy::reference));
                                   }
                                   return all;
                               })
        .def("__repr__", [](Attribute const& self) {
            return "<" + std::string{Inspect::textOf(self.kind)} + " " + std::string{self.name} +
                   " of " + std::string{self.owner->name()} + ">";
        });
}

void describeClasses(py::module_& module) {
    using Inspect::Class;
    py::class_<Class, std::unique_ptr<Class, py::nodelete>>(module, "Class",
                                                            "A class, as its module describes it.")
        .def_property_readonly("name", [](Class const& self) { return self.name(); })
        .def_property_readonly("module", [](Class const& self) { return self.moduleName(); })
        .def_property_readonly("doc", [](Class const& self) { return self.doc(); })
        .def_property_readonly(
            "base", [](Class const& self) { return self.base(); },
            py::return_value_policy::reference)
        .def_property_readonly("own_attributes",
                               [](Class const& self) {
                                   py::list all;
                                   for (auto const& each : self.ownAttributes()) {
                                       all.append(
                                           py::cast(&each, py::return_value_policy::reference));
                                   }
                                   return all;
                               })
        .def("call", [](Class const& self, std::string_view name, py::args const& given) {
            return python(self.call(name, values(self.attribute(name).arguments, given)));
        });
    module.def("find_class", &Class::find, py::return_value_policy::reference);
    module.def("all_classes", &Class::all, py::return_value_policy::reference);
    module.def("python_class", [](Class const& cls) {
        return py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(pythonClassOf(cls)));
    });
    module.def("class_maker_is", &classMakerIs);
}

// What properties and views are made of (loam/_classes.py, loam/_views.py).
void describeAccess(py::module_& module) {
    using Inspect::Attribute;
    module.def("get", [](py::handle self, Attribute const& attribute) {
        return python(object(self).get(attribute));
    });
    module.def("set", [](py::handle self, Attribute const& attribute, py::handle value) {
        object(self).set(attribute, valueFor(attribute, value));
    });
    module.def("clear", [](py::handle self, Attribute const& attribute) {
        return python(object(self).del(attribute.name));
    });
    module.def("element", [](py::handle self, Attribute const& attribute, py::handle key) {
        return python(object(self).get(attribute, keyFor(attribute, key)));
    });
    module.def("has", [](py::handle self, Attribute const& attribute, py::handle key) {
        return object(self).has(attribute, keyFor(attribute, key));
    });
    module.def("element_is",
               [](py::handle self, Attribute const& attribute, py::handle key, py::handle value) {
                   object(self).set(attribute, keyFor(attribute, key), valueFor(attribute, value));
               });
    module.def("key_is", [](py::handle self, Attribute const& attribute, py::handle key) {
        object(self).set(attribute, keyFor(attribute, key), Inspect::Value{true});
    });
    module.def("element_del", [](py::handle self, Attribute const& attribute, py::handle key) {
        return object(self).del(attribute, keyFor(attribute, key));
    });
    module.def("size", [](py::handle self, Attribute const& attribute) {
        return object(self).size(attribute);
    });
    module.def("front", [](py::handle self, Attribute const& attribute) {
        return python(object(self).front(attribute.name));
    });
    module.def("back", [](py::handle self, Attribute const& attribute) {
        return python(object(self).back(attribute.name));
    });
    module.def("deq", [](py::handle self, Attribute const& attribute) {
        return python(object(self).deq(attribute.name));
    });
    module.def("enq", [](py::handle self, Attribute const& attribute, py::handle value) {
        object(self).enq(attribute.name, valueFor(attribute, value));
    });
    module.def("iterate", [](py::handle self, Attribute const& attribute, py::handle key) {
        return key.is_none() ? Pairs{object(self).iterate(attribute)}
                             : Pairs{object(self).iterate(attribute, keyFor(attribute, key))};
    });
    py::class_<Pairs>(module, "Pairs")
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &Pairs::next);
    module.def(
        "attribute",
        [](py::handle self, std::string_view name) { return &object(self).attribute(name); },
        py::return_value_policy::reference, "Raises UnknownAttribute with those there are.");
    module.def("operation", [](Attribute const& attribute) {
        return py::reinterpret_steal<py::object>(operationOf(attribute));
    });
}

void addType(py::module_& module, char const* name, PyTypeObject* type) {
    module.add_object(name, py::handle{reinterpret_cast<PyObject*>(type)});
}

} // namespace

} // namespace LoamPython

PYBIND11_MODULE(_loam, module) {
    using namespace LoamPython;
    makeErrors(module);
    py::register_exception_translator(
        [](std::exception_ptr thrown) { // by value: a pointer to function is wanted
            try {
                std::rethrow_exception(thrown);
            } catch (Ombra::Exception const&) {
                raiseCurrent();
            }
        });
    addType(module, "Object", makeObjectType());
    addType(module, "Record", makeRecordType());
    addType(module, "Operation", makeOperationType());
    describeAttributes(module);
    describeClasses(module);
    describeAccess(module);
    describePlatform(module);
}
