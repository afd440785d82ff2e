#include <Asic/Doorbell.h>
#include <Asic/OrderedTableInterface.h>
#include <Orbis/EntityManager.h>
#include <RingScribe/TraceHandle.h>
#include <Zet/Entity.h>
#include <ZetSharedMem/EntityManager.h>

#include <fmt/format.h>

#include <apps/policy/Policy.h>
#include <memory>
#include <pybind11/stl.h>
#include <python/Convert.h>
#include <python/ObjectType.h>
#include <python/Platform.h>
#include <python/RecordType.h>
#include <string>
#include <variant>

namespace py = pybind11;

namespace LoamPython {

namespace {

Ombra::ValueType const& valueType(std::string_view name) {
    std::string there;
    for (auto const* module : Ombra::ModuleInspectData::all()) {
        for (std::size_t i = 0; i < module->types.size(); ++i) {
            auto const* const type = module->types[i].value;
            if (type == nullptr) {
                continue;
            }
            if (module->typeNames[i] == name || type->name == name) {
                return *type;
            }
            there += fmt::format("{}{}", there.empty() ? "" : ", ", module->typeNames[i]);
        }
    }
    throw Inspect::Error{
        Inspect::Error::Code::unknownClass,
        fmt::format("There is no plain value \"{}\". There are: {}.", name, there)};
}

Orbis::EntityManager& managerOf(py::handle given) {
    Inspect::Object const* const object = maybeObject(given.ptr());
    auto* const manager =
        object == nullptr ? nullptr : dynamic_cast<Orbis::EntityManager*>(object->node().get());
    if (manager == nullptr) {
        throw py::type_error{"expected an entity manager, and was given " +
                             std::string{py::repr(given)}};
    }
    return *manager;
}

// Everything that the platform holds in this process is given up; a local manager's content goes.
void stop(py::handle given) {
    auto& manager = managerOf(given);
    Zet::Entity::singletonsDelAll();
    auto const sharedMem = Asic::sharedMemOf(manager);
    sharedMem->closeAll();
    if (sharedMem->local()) {
        sharedMem->discardLocal();
    }
    RingScribe::close();
}

py::tuple recordTuple(LoamPolicy::TableRecord const& record) {
    return py::make_tuple(
        record.tblId, record.key,
        py::bytes{reinterpret_cast<char const*>(record.fields.data()), record.fields.size()});
}

py::list policy(std::string const& path) {
    auto const loaded = LoamPolicy::Policy::load(path);
    if (auto const* const error = std::get_if<LoamPolicy::PolicyError>(&loaded)) {
        throw Inspect::Error{Inspect::Error::Code::wrongValue, error->text()};
    }
    py::list rules;
    for (auto const& rule : std::get<LoamPolicy::Policy>(loaded).rules()) {
        rules.append(py::make_tuple(recordTuple(rule.action), recordTuple(rule.entry), rule.text));
    }
    return rules;
}

} // namespace

void describePlatform(py::module_& module) {
    module.def("root_is", [](std::string const& root) {
        ZetSharedMem::setRoot(root);
        Orbis::setRoot(root);
    });
    module.def("stop", &stop);
    module.def("policy", &policy);
    module.def("record", [](std::string_view type, py::handle key, py::bytes const& fields) {
        auto const pair = py::make_tuple(key, fields);
        return py::reinterpret_steal<py::object>(
            recordOf(fromPython(pair.ptr(), valueType(type)).as(valueType(type), "The record")));
    });
    module.def("parse", [](std::string_view type, std::string_view text) {
        return py::reinterpret_steal<py::object>(
            toPython(Inspect::Value::parse(valueType(type), text)));
    });
    module.def("record_types", [] {
        py::list names;
        for (auto const* each : Ombra::ModuleInspectData::all()) {
            for (std::size_t i = 0; i < each->types.size(); ++i) {
                if (each->types[i].value != nullptr) {
                    names.append(each->typeNames[i]);
                }
            }
        }
        return names;
    });
    py::class_<Asic::DoorbellRinger>(module, "HwBell", "Wakes the hardware side.")
        .def(py::init([](std::string const& manager) {
            return std::make_unique<Asic::DoorbellRinger>(Ombra::String{manager},
                                                          Asic::DoorbellReceiver::hw);
        }))
        .def("ring", &Asic::DoorbellRinger::ring);
}

} // namespace LoamPython
