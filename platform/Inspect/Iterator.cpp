#include <Inspect/Class.h>
#include <Inspect/Iterator.h>

namespace Inspect {

Iterator::Iterator(Ombra::Ptr<Ombra::Node const> node, Attribute const& attribute, void const* key)
    : node_{std::move(node)}, attribute_{&attribute}, methods_{attribute.code->iterator},
      iterator_{methods_->make(const_cast<Ombra::Node*>(node_.get()), key)} {}

Iterator& Iterator::operator=(Iterator&& other) noexcept {
    std::swap(node_, other.node_);
    std::swap(attribute_, other.attribute_);
    std::swap(methods_, other.methods_);
    std::swap(iterator_, other.iterator_);
    return *this;
}

Iterator::~Iterator() {
    if (iterator_ != nullptr) {
        methods_->del(iterator_);
    }
}

Value Iterator::key() const {
    if (attribute_->keyType == nullptr) {
        return {};
    }
    return Value::make(*attribute_->keyType, [&](void* room) {
        methods_->key(iterator_, room);
        return true;
    });
}

Value Iterator::value() const {
    return Value::make(*attribute_->type, [&](void* room) {
        methods_->obj(iterator_, room);
        return true;
    });
}

void Iterator::next() {
    methods_->inc(iterator_);
}

} // namespace Inspect
