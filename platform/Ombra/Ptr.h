#pragma once

#include <Ombra/Node.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

// Counted pointer to an `Ombra::Node`, one machine word wide.
//
// A `Ptr` owns one reference or is null. `adopt` takes over a reference that the caller owns (a new
// node's first one); construction from a plain pointer adds a reference; `detach` gives the
// reference up without dropping it. Moving never touches the count.
//
// Thread-safety is that of the count (see Node.h): different `Ptr`s to one node may be used by
// several threads once `ThreadControl::tsp_` is set; one `Ptr` object may not.
namespace Ombra {

template <typename T>
class Ptr {
  public:
    using element_type = T;

    constexpr Ptr() noexcept = default;
    constexpr Ptr(std::nullptr_t) noexcept {}

    explicit Ptr(T* node) noexcept : node_{node} { retain(); }

    Ptr(Ptr const& other) noexcept : node_{other.node_} { retain(); }
    Ptr(Ptr&& other) noexcept : node_{std::exchange(other.node_, nullptr)} {}

    template <typename U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
    noexcept : node_{other.get()} { retain(); }

    template <typename U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : node_{other.detach()} {}

    Ptr& operator=(Ptr const& other) {
        Ptr{other}.swap(*this);
        return *this;
    }

    Ptr& operator=(Ptr&& other) noexcept {
        Ptr{std::move(other)}.swap(*this);
        return *this;
    }

    ~Ptr() {
        if (node_ != nullptr) {
            node_->refDec();
        }
    }

    static Ptr adopt(T* node) noexcept {
        Ptr result;
        result.node_ = node;
        return result;
    }

    [[nodiscard]] T* detach() noexcept { return std::exchange(node_, nullptr); }

    void swap(Ptr& other) noexcept { std::swap(node_, other.node_); }

    T* get() const noexcept { return node_; }
    T& operator*() const noexcept { return *node_; }
    T* operator->() const noexcept { return node_; }
    explicit operator bool() const noexcept { return node_ != nullptr; }

    template <typename U>
    friend bool operator==(Ptr const& left, Ptr<U> const& right) noexcept {
        return left.get() == right.get();
    }
    friend bool operator==(Ptr const& left, std::nullptr_t) noexcept {
        return left.node_ == nullptr;
    }

  private:
    void retain() const noexcept {
        if (node_ != nullptr) {
            node_->refInc();
        }
    }

    T* node_ = nullptr;
};

// A `Ptr` argument that the caller promises not to be null.
template <typename T>
class NonNullPtr {
  public:
    template <typename U>
    requires std::convertible_to<U*, T*> NonNullPtr(Ptr<U> const& pointer)
    noexcept : node_{pointer.get()} {}

    T* get() const noexcept { return node_; }
    T* operator->() const noexcept { return node_; }
    T& operator*() const noexcept { return *node_; }
    operator Ptr<T>() const noexcept { return Ptr<T>{node_}; }

  private:
    T* node_;
};

// Makes a node and gives its first reference to the caller. How the class is allocated and counted
// is the class's own affair (see Zet/Tracked.h); when the constructor throws, both are undone.
template <typename T, typename... Args>
Ptr<T> ptrIs(Args&&... args) {
    return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

// Null when the node is of another class.
template <typename T, typename U>
Ptr<T> dynamicCast(Ptr<U> const& pointer) {
    return Ptr<T>{dynamic_cast<T*>(pointer.get())};
}

template <typename T, typename U>
Ptr<T> staticCast(Ptr<U> const& pointer) {
    return Ptr<T>{static_cast<T*>(pointer.get())};
}

} // namespace Ombra

template <typename T>
struct std::hash<Ombra::Ptr<T>> {
    std::size_t operator()(Ombra::Ptr<T> const& pointer) const noexcept {
        return std::hash<T*>{}(pointer.get());
    }
};
