#include <Asic/OrderedTableModule.h>
#include <Asic/SwTableInterfacesSingleton.h>

namespace Asic {

namespace {

Zet::ZetType singletonType() {
    return Zet::ZetType{&orderedTableModule(), swTableInterfacesSingletonType};
}

Ombra::Ptr<Zet::Entity> makeSingleton() {
    return Ombra::ptrIs<SwTableInterfacesSingleton>();
}

[[maybe_unused]] bool const factoryRegistered = [] {
    Zet::Entity::singletonFactoryIs(singletonType(), makeSingleton);
    return true;
}();

} // namespace

SwTableInterfacesSingleton::SwTableInterfacesSingleton() = default;
SwTableInterfacesSingleton::~SwTableInterfacesSingleton() = default;

Ombra::Ptr<SwTableInterfacesSingleton> SwTableInterfacesSingleton::get() {
    auto const typeName = orderedTableModule().typeNames[swTableInterfacesSingletonType];
    auto singleton = Zet::Entity::singletonExists(Ombra::String{typeName});
    if (!singleton) {
        singleton = Zet::Entity::singletonIs(singletonType());
    }
    return Ombra::staticCast<SwTableInterfacesSingleton>(singleton);
}

Ombra::TypeData SwTableInterfacesSingleton::typeData() const {
    return singletonType();
}

bool SwTableInterfacesSingleton::swTableIntfHas(Ombra::String const& name) const {
    return swTableIntfs_[TextKey{name}] != nullptr;
}

Ombra::Ptr<TableInterfaceBase>
SwTableInterfacesSingleton::swTableIntf(Ombra::String const& name) const {
    auto const* node = swTableIntfs_[TextKey{name}];
    return node == nullptr ? nullptr : node->value()->thing;
}

void SwTableInterfacesSingleton::swTableIntfIs(Ombra::String const& name,
                                               Ombra::Ptr<TableInterfaceBase> const& swTableIntf) {
    if (auto const* node = swTableIntfs_[TextKey{name}]; node != nullptr) {
        node->value()->thing = swTableIntf;
        return;
    }
    auto const named = Ombra::ptrIs<Named<Ombra::Ptr<TableInterfaceBase>>>(name, swTableIntf);
    TextKey const key{named->name};
    swTableIntfs_.add(SwTableIntfs::keyArg(key), SwTableIntfs::Node{named});
}

} // namespace Asic
