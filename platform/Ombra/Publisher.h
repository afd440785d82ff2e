#pragma once

#include <Ombra/Export.h>
#include <Ombra/FieldId.h>

#include <cstdint>
#include <functional>
#include <memory>

// Where an object announces the changes of its attributes.
//
// One machine word in the object: 1 while nobody subscribes, so that an unwatched change costs one
// load and one comparison. `subscribe` gives a `Subscription` that ends with its own life. Changes
// are told in the order in which they happen, after the attribute has changed and before a former
// value is let go; a subscriber may change the object again, subscribe, or end any subscription
// from within its call.
//
// Used on the thread of the object that owns it.
namespace Ombra {

// One change. The pointers are valid during the call only; their types are the attribute's.
struct Change {
    using KeyIsEq = bool (*)(void const*, void const*);

    FieldId fieldId;
    void const* key = nullptr;    // the element's key in a collection, null for a single attribute
    void const* former = nullptr; // the former value, null when there was none
    KeyIsEq keyIsEq = nullptr; // compares two keys of the collection; null for a single attribute
};

class Publisher;

namespace Impl {
struct Subscribers;
struct Subscriber;
} // namespace Impl

// Ends the subscription when it dies. May outlive the publisher.
class LOAM_EXPORT Subscription {
  public:
    Subscription();
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;
    ~Subscription();

    void end();
    explicit operator bool() const noexcept;

  private:
    friend class Publisher;
    explicit Subscription(std::shared_ptr<Impl::Subscriber> subscriber) noexcept;

    std::shared_ptr<Impl::Subscriber> subscriber_;
};

class LOAM_EXPORT Publisher {
  public:
    using Handler = std::function<void(Change const&)>;

    Publisher() noexcept = default;
    Publisher(Publisher const&) = delete;
    Publisher& operator=(Publisher const&) = delete;
    ~Publisher();

    bool hasSubscribers() const noexcept { return word_ != noSubscribers; }

    [[nodiscard]] Subscription subscribe(Handler handler);

    // A change of a single attribute, or of a queue (then `key` is the sequence number).
    void publishChange(FieldId fieldId, void const* former = nullptr, void const* key = nullptr) {
        if (hasSubscribers()) {
            tell(Change{fieldId, key, former, nullptr});
        }
    }

    // A change of one element of a collection, whose value may itself be an object with attributes:
    // who follows the collection's owner follows its elements too.
    void publishChangeRecursive(FieldId fieldId, void const* key, void const* former,
                                Change::KeyIsEq keyIsEq) {
        if (hasSubscribers()) {
            tell(Change{fieldId, key, former, keyIsEq});
        }
    }

  private:
    friend class Subscription;
    static constexpr std::uintptr_t noSubscribers = 1;

    void tell(Change const& change);
    void drop(Impl::Subscriber const& subscriber);
    Impl::Subscribers* subscribers() const noexcept;

    std::uintptr_t word_ = noSubscribers;
};

} // namespace Ombra
