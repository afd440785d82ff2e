#pragma once

#include <Ombra/GenericIf.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>

#include <Inspect/Value.h>
#include <utility>

namespace Inspect {

struct Attribute;

// A walk over a collection or the queue of an object, which it keeps alive. Survives every change
// between its steps. Not copied.
class LOAM_EXPORT Iterator {
  public:
    Iterator(Ombra::Ptr<Ombra::Node const> node, Attribute const& attribute, void const* key);
    Iterator(Iterator&& other) noexcept
        : node_{std::move(other.node_)}, attribute_{other.attribute_}, methods_{other.methods_},
          iterator_{std::exchange(other.iterator_, nullptr)} {}
    Iterator& operator=(Iterator&& other) noexcept;
    ~Iterator();

    explicit operator bool() const { return methods_->nonnull(iterator_); }

    // Only where there is an element. The queue's has no key: nothing. One of the queue that was
    // dequeued while the iterator stood on it is null.
    Value key() const;
    Value value() const;

    void next();

  private:
    Ombra::Ptr<Ombra::Node const> node_;
    Attribute const* attribute_;
    Ombra::IteratorMethods const* methods_;
    void* iterator_;
};

} // namespace Inspect
