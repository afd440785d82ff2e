#include <fmt/format.h>

#include <Inspect/Call.h>

namespace Inspect::Impl {

std::string nameOf(Attribute const& attribute) {
    return fmt::format("{} of {}", attribute.name, attribute.owner->name());
}

namespace {

void countIsRight(Attribute const& operation, std::size_t given) {
    auto const& declared = operation.arguments;
    bool const lastMayMiss = !declared.empty() && declared.back().optional;
    std::size_t const least = declared.size() - (lastMayMiss ? 1 : 0);
    if (given < least || given > declared.size()) {
        throw Error{Error::Code::wrongArguments,
                    fmt::format("{} of {} takes {}{} arguments and was given {}.",
                                operation.signature(), operation.owner->name(), declared.size(),
                                lastMayMiss ? fmt::format(" or {}", least) : "", given)};
    }
}

} // namespace

Arguments::Arguments(Attribute const& operation, std::span<Value const> given) {
    countIsRight(operation, given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
        Argument const& declared = operation.arguments[i];
        if (declared.optional && given[i].isNothing()) {
            continue;
        }
        Value const* value = &given[i];
        if (!value->is(*declared.type)) {
            converted_[i] =
                value->as(*declared.type,
                          fmt::format("The argument {} of {}", declared.name, nameOf(operation)));
            value = &converted_[i];
        }
        if (declared.nonNull && declared.type->node(value->data()) == nullptr) {
            throw Error{Error::Code::wrongValue,
                        fmt::format("The argument {} of {} can't be none; expected an object of "
                                    "{}.",
                                    declared.name, nameOf(operation), declared.type->name)};
        }
        pointers_[i] = memoryOf(value->data());
    }
}

Value call(Ombra::Node* object, Attribute const& operation, std::span<Value const> arguments) {
    if (operation.kind != AttributeKind::operation) {
        throw Error{Error::Code::notAllowed,
                    fmt::format("{} is a {} and not an operation: it can't be called.",
                                nameOf(operation), textOf(operation.kind))};
    }
    if (!operation.callable) {
        throw Error{
            Error::Code::notAllowed,
            fmt::format("{} is an operation that can't be called from here.", nameOf(operation))};
    }
    Arguments const converted{operation, arguments};
    if (operation.code->check != nullptr) {
        char const* const against = operation.code->check(object, converted.pointers());
        if (against != nullptr) {
            throw Error{Error::Code::refused,
                        fmt::format("{} was not called: {}.", nameOf(operation), against)};
        }
    }
    return Value::make(*operation.type, [&](void* room) {
        operation.code->operation(room, object, fieldOf(operation), Ombra::InspectOp::call, nullptr,
                                  memoryOf(converted.pointers()));
        return true;
    });
}

} // namespace Inspect::Impl
