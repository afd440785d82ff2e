#include <Slate/Store.h>
#include <ZetSharedMem/Entity.h>

namespace ZetSharedMem {

Entity::Entity(MountContext const& context, std::shared_ptr<Slate::Store> store)
    : path_{context.path()}, fileName_{context.fileName()}, store_{std::move(store)} {}

Entity::~Entity() = default;

bool Entity::writable() const {
    return store_->writable();
}

bool Entity::stale() const {
    return !fileName_.empty() && store_->stale(fileName_.str());
}

void Entity::close() {
    store_->close();
}

} // namespace ZetSharedMem
