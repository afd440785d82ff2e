#include <fmt/format.h>

#include <Inspect/Call.h>
#include <Inspect/Object.h>
#include <algorithm>
#include <cstring>
#include <new>

namespace Inspect {

namespace FieldFlag = Ombra::FieldFlag;

namespace {

AttributeKind kindOf(std::uint16_t flags) {
    return (flags & FieldFlag::operation) != 0     ? AttributeKind::operation
           : (flags & FieldFlag::set) != 0         ? AttributeKind::set
           : (flags & FieldFlag::collection) != 0  ? AttributeKind::collection
           : (flags & FieldFlag::queue) != 0       ? AttributeKind::queue
           : (flags & FieldFlag::constructed) != 0 ? AttributeKind::constructedPointer
           : (flags & FieldFlag::pointer) != 0     ? AttributeKind::pointer
                                                   : AttributeKind::scalar;
}

std::string_view withoutNamespace(std::string_view name, std::string_view known) {
    if (name.size() > known.size() + 2 && name.ends_with(known) &&
        name.substr(name.size() - known.size() - 2, 2) == "::") {
        return known;
    }
    return name;
}

// Appends what is told of arguments, and gives how many there are.
void addArguments(Ombra::ModuleInspectData const& module, std::uint16_t first, std::uint16_t count,
                  Ombra::ValueType const* const* types, std::vector<Argument>& out) {
    for (std::uint16_t i = 0; i < count; ++i) {
        auto const& record = module.arguments[static_cast<std::size_t>(first) + i];
        out.push_back(Argument{module.nameAt(record.name).data(), types[i],
                               (record.flags & Ombra::ArgumentFlag::optional) != 0,
                               (record.flags & Ombra::ArgumentFlag::nonNull) != 0});
    }
}

} // namespace

std::string_view textOf(AttributeKind kind) noexcept {
    static constexpr std::string_view texts[] = {
        "scalar", "pointer", "constructed pointer", "collection", "set", "queue", "operation"};
    return texts[static_cast<std::size_t>(kind)];
}

std::string Attribute::signature() const {
    std::string text{name};
    text += '(';
    for (Argument const& each : arguments) {
        text += &each == arguments.data() ? "" : ", ";
        text += each.name;
        text += each.optional ? "?" : "";
    }
    return text + ')';
}

Class::Class(Ombra::ModuleInspectData const& module, int index)
    : name_{module.typeNames[static_cast<std::size_t>(index)]}, module_{module.name} {
    auto const& type = module.types[static_cast<std::size_t>(index)];
    doc_ = type.doc;
    generic_ = type.generic;
    if (type.base.module != nullptr) {
        base_ = &of(type.base);
    }
    makeOwn(module, type);
    if (base_ != nullptr) {
        all_ = base_->all_;
    }
    for (Attribute const& each : own_) {
        all_.push_back(&each);
    }
    std::ranges::stable_sort(all_, {}, &Attribute::number);
    for (Attribute const* each : all_) {
        byNumber_.resize(std::max<std::size_t>(byNumber_.size(), each->number + std::size_t{1}));
        byNumber_[each->number] = each;
    }
    makeNames();
}

void Class::makeOwn(Ombra::ModuleInspectData const& module, Ombra::TypeRecord const& type) {
    auto const fields = module.fields.subspan(type.firstField, type.fieldCount);
    auto const codes = module.codes.subspan(type.firstField, type.fieldCount);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        addArguments(module, fields[i].firstArgument, fields[i].argumentCount,
                     codes[i].argumentTypes, arguments_);
    }
    addArguments(module, type.firstArgument, type.argumentCount, generic_->ctorArgumentTypes,
                 arguments_);
    std::span<Argument const> left{arguments_};
    auto const take = [&](std::size_t count) {
        auto const taken = left.first(count);
        left = left.subspan(count);
        return taken;
    };
    for (std::size_t i = 0; i < fields.size(); ++i) {
        auto const& field = fields[i];
        auto const& code = codes[i];
        auto const has = [&](std::uint16_t flag) { return (field.flags & flag) != 0; };
        own_.push_back(Attribute{this, field.number, kindOf(field.flags), has(FieldFlag::readOnly),
                                 !has(FieldFlag::notCallable), has(FieldFlag::ofClass),
                                 has(FieldFlag::constant), has(FieldFlag::nonNull),
                                 has(FieldFlag::derived), has(FieldFlag::hazardous), field.storage,
                                 module.nameAt(field.name).data(),
                                 code.otherName == nullptr ? "" : code.otherName, code.doc,
                                 code.type, code.key, take(field.argumentCount), &code});
    }
    constructor_ = left;
}

// A few multipliers are enough where at most half the slots are used.
void Class::makeNames() {
    std::vector<Slot> names;
    for (Attribute const* each : all_) {
        names.push_back({Impl::NameEnds{each->name}, each->name, each});
        if (!each->otherName.empty()) {
            names.push_back({Impl::NameEnds{each->otherName}, each->otherName, each});
        }
    }
    unsigned bits = 1;
    while ((std::size_t{1} << bits) < 2 * names.size()) {
        ++bits;
    }
    for (multiplier_ = 0x9e3779b97f4a7c15U;; multiplier_ += 0x632be59bd9b4e01aU) {
        shift_ = 64 - bits;
        slots_.assign(std::size_t{1} << bits, {});
        bool const free = std::ranges::all_of(names, [&](Slot const& each) {
            Slot& slot = slots_[static_cast<std::size_t>(each.ends.mixed(multiplier_) >> shift_)];
            bool const wasFree = slot.attribute == nullptr || slot.name == each.name;
            slot = each; // a derived class's attribute hides one of its bases
            return wasFree;
        });
        if (free) {
            return;
        }
        if ((multiplier_ & 0x3f) == 0) {
            ++bits;
        }
    }
}

Attribute const& Class::attribute(std::uint16_t number) const {
    if (Attribute const* const found = maybeAttribute(number); found != nullptr) {
        return *found;
    }
    std::string there;
    for (Attribute const* each : all_) {
        there += fmt::format("{}{} ({})", there.empty() ? "" : ", ", each->number, each->name);
    }
    throw Error{Error::Code::unknownAttribute,
                fmt::format("{} has no attribute or operation with the number {}. It has: {}.",
                            name_, number, there)};
}

Attribute const& Class::throwUnknown(std::string_view name) const {
    std::string there;
    for (Attribute const* each : all_) {
        there += there.empty() ? "" : ", ";
        there += each->name;
    }
    throw Error{Error::Code::unknownAttribute,
                fmt::format("{} has no attribute or operation \"{}\". It has: {}.", name_, name,
                            there.empty() ? "none" : there)};
}

Class const& Class::made(Ombra::ModuleInspectData const& module, int index) {
    void const*& found = *module.types[static_cast<std::size_t>(index)].generic->found;
    if (found == nullptr) {
        found = new Class{module, index}; // kept to the end of the process
    }
    return *static_cast<Class const*>(found);
}

namespace {

bool isDescribed(Ombra::TypeData type) {
    auto const index = static_cast<std::size_t>(type.index);
    return type.module != nullptr && index < type.module->types.size() &&
           type.module->types[index].generic != nullptr;
}

} // namespace

Class const& Class::of(Ombra::TypeData type) {
    if (isDescribed(type)) {
        return made(*type.module, type.index);
    }
    throw Error{
        Error::Code::unknownClass,
        fmt::format("The type {} of the module {} has no description as a class.", type.index,
                    type.module == nullptr ? std::string_view{"(none)"} : type.module->name)};
}

Class const& Class::of(Ombra::Node const& node, Ombra::TypeData knownAs) {
    Ombra::TypeData const type = node.typeData();
    return of(isDescribed(type) ? type : knownAs);
}

std::vector<Class const*> Class::all() {
    std::vector<Class const*> classes;
    for (auto const* module : Ombra::ModuleInspectData::all()) {
        for (std::size_t i = 0; i < module->types.size(); ++i) {
            if (module->types[i].generic != nullptr) {
                classes.push_back(&made(*module, static_cast<int>(i)));
            }
        }
    }
    return classes;
}

Class const* Class::maybeFind(std::string_view name) {
    for (auto const* module : Ombra::ModuleInspectData::all()) {
        for (std::size_t i = 0; i < module->types.size(); ++i) {
            if (module->types[i].generic != nullptr &&
                withoutNamespace(name, module->typeNames[i]) == module->typeNames[i]) {
                return &made(*module, static_cast<int>(i));
            }
        }
    }
    return nullptr;
}

Class const& Class::find(std::string_view name) {
    if (Class const* const found = maybeFind(name); found != nullptr) {
        return *found;
    }
    std::string there;
    for (Class const* each : all()) {
        there += there.empty() ? "" : ", ";
        there += each->name();
    }
    throw Error{Error::Code::unknownClass,
                fmt::format("There is no class \"{}\". There are: {}.", name, there)};
}

bool Class::derivesFrom(Class const& other) const noexcept {
    return this == &other || (base_ != nullptr && base_->derivesFrom(other));
}

Object Class::construct(std::span<Value const> arguments) const {
    if (!constructible()) {
        throw Error{
            Error::Code::notAllowed,
            fmt::format("An object of {} is not made by its constructor's arguments.", name_)};
    }
    Attribute constructor{};
    constructor.owner = this;
    constructor.name = name_;
    constructor.arguments = constructor_;
    Impl::Arguments const converted{constructor, arguments};
    return Value::make(pointerType(),
                       [&](void* room) {
                           generic_->constructFromCtorArgs(room, converted.pointers());
                           return true;
                       })
        .asObject();
}

Value Class::call(std::string_view name, std::span<Value const> arguments) const {
    Attribute const& operation = attribute(name);
    if (operation.kind == AttributeKind::operation && !operation.ofClass) {
        throw Error{Error::Code::noObject,
                    fmt::format("{} of {} needs an object.", operation.signature(), name_)};
    }
    return Impl::call(nullptr, operation, arguments);
}

} // namespace Inspect
