#include <Ombra/Node.h>

namespace Ombra {

bool ThreadControl::tsp_ = false;

Node::~Node() = default;

void Node::lastUserGone() const {
    delete this;
}

void Node::refIncAtomically() const noexcept {
    atomicCount().fetch_add(1, std::memory_order_relaxed);
}

void Node::refDecAtomically() const {
    if (atomicCount().fetch_sub(1, std::memory_order_acq_rel) == 1) {
        lastUserGone();
    }
}

Publisher* Node::publisher() const {
    return nullptr;
}

TypeData Node::typeData() const {
    return {};
}

} // namespace Ombra
