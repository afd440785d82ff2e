#pragma once

#include <Ombra/GenericIf.h>
#include <Zet/Describe.h>
#include <Zet/ZetAttr.h>

#include <array>
#include <cstddef>

namespace Zet::Impl {

// The code of each number of a class, from its first one, those that name nothing included.
// This is the switch over field numbers: a jump through a table.
template <typename T>
LOAM_HIDDEN inline constexpr auto operationTable = [] {
    std::array<Ombra::FieldOperation, Described<T>::fields.size()> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        auto const operation = Described<T>::fields[i].code.operation;
        table[i] = operation == nullptr ? noField : operation;
    }
    return table;
}();

template <typename T>
LOAM_HIDDEN inline constexpr auto iteratorTable = [] {
    std::array<Ombra::IteratorMethods const*, Described<T>::fields.size()> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = Described<T>::fields[i].code.iterator;
    }
    return table;
}();

template <typename T>
constexpr unsigned firstNumberOf() {
    return Described<T>::fields.empty() ? 0 : Described<T>::fields.begin()->number;
}

} // namespace Zet::Impl

// The generated functions of a class that has a description. Clients reach them through the class's
// `typeData()`; nobody else has a use for them. They know the class's own fields; those of its
// bases are the bases' affair.
namespace Ombra {

template <typename T>
struct HideMe {
    // See GenericIf.h for the operations, the results and what the pointers point to.
    static int inspectOperation(void* result, void* object, FieldDescriptor field, unsigned char op,
                                void* key, void* value) {
        auto const& table = Zet::Impl::operationTable<T>;
        unsigned const place = field.number() - Zet::Impl::firstNumberOf<T>();
        if (place >= table.size()) {
            return InspectResult::unknownField;
        }
        return table[place](result, object, field, op, key, value);
    }

    // Makes an object from a pointer per constructor argument, and an `Ombra::Ptr` to it in
    // `result`. What the constructor throws passes through; nothing is left behind then.
    static void genericIfConstructFromCtorArgs(void* result, void* const* args) {
        Zet::Described<T>::constructor.construct(result, args);
    }

    // An iterator over a collection or the queue: at its start, or at the element with `*key`.
    // `methods` becomes the `IteratorMethods` of the attribute. Null when the field is neither.
    static void* genericIfIterator(void* object, void** key, FieldDescriptor field,
                                   void const** methods) {
        auto const* found = methodsOf(field);
        *methods = found;
        return found == nullptr ? nullptr : found->make(object, key == nullptr ? nullptr : *key);
    }

    static bool iterNonnull(Zet::ZetAttr attr, void* iterator) {
        return methodsOf(attr.field)->nonnull(iterator);
    }
    static void iterKey(Zet::ZetAttr attr, void* iterator, void* result) {
        methodsOf(attr.field)->key(iterator, result);
    }
    static void iterObj(Zet::ZetAttr attr, void* iterator, void* result) {
        methodsOf(attr.field)->obj(iterator, result);
    }
    static void iterInc(Zet::ZetAttr attr, void* iterator) { methodsOf(attr.field)->inc(iterator); }
    static void iterDel(Zet::ZetAttr attr, void* iterator) { methodsOf(attr.field)->del(iterator); }

  private:
    static IteratorMethods const* methodsOf(FieldDescriptor field) {
        auto const& table = Zet::Impl::iteratorTable<T>;
        unsigned const place = field.number() - Zet::Impl::firstNumberOf<T>();
        return place < table.size() ? table[place] : nullptr;
    }
};

} // namespace Ombra
