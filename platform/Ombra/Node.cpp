#include <Ombra/Node.h>

namespace Ombra {

bool ThreadControl::tsp_ = false;

Node::~Node() = default;

void Node::lastUserGone() const {
    delete this;
}

Publisher* Node::publisher() const {
    return nullptr;
}

TypeData Node::typeData() const {
    return {};
}

} // namespace Ombra
