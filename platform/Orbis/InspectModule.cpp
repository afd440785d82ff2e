#include <Orbis/InspectClasses.h>
#include <Zet/ModuleTables.h>

namespace Zet {

template <>
struct Described<Orbis::EntityManager> {
    using T = Orbis::EntityManager;
    using Base = Ombra::Node;
    static Ombra::Ptr<T> make(Ombra::String const& name, bool local) {
        return Ombra::ptrIs<T>(name, local);
    }
    static constexpr char const* doc = "The way to the state store, and to shared memory.";
    static constexpr auto fields = fieldsFrom(
        0x82,
        attribute<&T::name>("name").doc("Its name; managers of one name share their entities."),
        attribute<&T::isLocal>("isLocal").doc("Its entities are this process's own."));
    static constexpr auto constructor = constructedBy<&make>("name, local");
};

} // namespace Zet

namespace Orbis {

constinit Ombra::ModuleInspectData const inspectModule =
    Zet::ModuleTables<EntityManager>::module("Orbis");

namespace {

[[maybe_unused]] bool const announced = [] {
    Ombra::ModuleInspectData::loaded(inspectModule);
    return true;
}();

} // namespace

Ombra::TypeData EntityManager::typeData() const {
    return Ombra::typeDataOf<EntityManager>;
}

} // namespace Orbis
