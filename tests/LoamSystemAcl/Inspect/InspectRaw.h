#pragma once

#include "InspectFixture.h"

#include <Ombra/GenericIf.h>
#include <Ombra/ModuleInspectData.h>

#include <optional>
#include <vector>

// The generated functions of a class, called as they are: by number, with raw memory.
namespace LoamSystemAcl {

class Raw {
  public:
    explicit Raw(Ombra::Node& node) : Raw{node, node.typeData()} {}
    Raw(Ombra::Node& node, Ombra::TypeData type)
        : node_{&node}, type_{type},
          generic_{type.module->types[static_cast<std::size_t>(type.index)].generic} {}

    // What `inspectOperation` answers.
    int op(unsigned number, unsigned char op, void* result = nullptr, void* key = nullptr,
           void* value = nullptr) const {
        return generic_->inspectOperation(
            result, node_, Ombra::FieldDescriptor{static_cast<std::uint16_t>(number)}, op, key,
            value);
    }

    // The result of an operation that must be done.
    template <typename T>
    T give(unsigned number, unsigned char op, void* key = nullptr, void* value = nullptr) const {
        alignas(T) std::byte room[sizeof(T)];
        int const answer = this->op(number, op, room, key, value);
        if (answer != Ombra::InspectResult::done) {
            ADD_FAILURE() << number << " answers " << answer << " to " << int{op};
            return T{};
        }
        auto& result = *std::launder(reinterpret_cast<T*>(room));
        T copy{result};
        std::destroy_at(&result);
        return copy;
    }

    template <typename... Args>
    int call(unsigned number, void* result, Args&... arguments) const {
        void* const pointers[] = {&arguments..., nullptr};
        return op(number, Ombra::InspectOp::call, result, nullptr,
                  const_cast<void**>(&pointers[0]));
    }

    Ombra::GenericIf const& generic() const { return *generic_; }
    std::span<Ombra::FieldRecord const> fields() const {
        auto const& record = type_.module->types[static_cast<std::size_t>(type_.index)];
        return type_.module->fields.subspan(record.firstField, record.fieldCount);
    }

  private:
    Ombra::Node* node_;
    Ombra::TypeData type_;
    Ombra::GenericIf const* generic_;
};

// An iterator of the generated functions, ended when this dies.
class RawIterator {
  public:
    RawIterator(Ombra::GenericIf const& generic, Ombra::Node& node, unsigned number,
                void* key = nullptr) {
        void* keys[] = {key};
        void const* methods = nullptr;
        iterator_ =
            generic.iterator(&node, key == nullptr ? nullptr : keys,
                             Ombra::FieldDescriptor{static_cast<std::uint16_t>(number)}, &methods);
        methods_ = static_cast<Ombra::IteratorMethods const*>(methods);
    }
    RawIterator(RawIterator const&) = delete;
    RawIterator& operator=(RawIterator const&) = delete;
    ~RawIterator() {
        if (iterator_ != nullptr) {
            methods_->del(iterator_);
        }
    }

    bool made() const { return iterator_ != nullptr; }
    bool nonnull() const { return methods_->nonnull(iterator_); }
    void inc() const { methods_->inc(iterator_); }
    template <typename T>
    T key() const {
        return taken<T>(methods_->key);
    }
    template <typename T>
    T obj() const {
        return taken<T>(methods_->obj);
    }

  private:
    template <typename T>
    T taken(void (*method)(void*, void*)) const {
        alignas(T) std::byte room[sizeof(T)];
        method(iterator_, room);
        auto& result = *std::launder(reinterpret_cast<T*>(room));
        T copy{result};
        std::destroy_at(&result);
        return copy;
    }

    void* iterator_ = nullptr;
    Ombra::IteratorMethods const* methods_ = nullptr;
};

} // namespace LoamSystemAcl
