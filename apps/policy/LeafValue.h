#pragma once

/// One JSON value on its way into a leaf, and the types of leaves that the policy file has.
///
/// A leaf type accepts what RFC 7951 gives as the encoding of its YANG type and nothing else:
/// integers up to 32 bits are JSON numbers without fraction, everything named is a string, an
/// identity of another module carries that module's name. Each function stores the value and
/// returns nothing, or returns why it refuses.

#include <fmt/format.h>

#include <apps/policy/PolicyKind.h>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace LoamPolicy {

struct LeafValue {
    enum class Kind : std::uint8_t { Text, Unsigned, Negative, Fraction, Boolean, Null };
    Kind kind{};
    bool boolean{};
    std::uint64_t number{};
    std::string_view text{}; ///< of a string; of a negative or fractional number as written
};

/// Why a value is refused, for people; nothing when it is taken.
using Refusal = std::optional<std::string>;

/// A name of an enumeration or an identity, and the number that stands for it.
struct NamedNumber {
    std::string_view name;
    std::uint32_t number;
};

/// Text of the file as part of a message: quoted, control characters escaped, cut when long.
std::string inQuotes(std::string_view text);

/// What the value is, for messages: `the string "80"`, `the number 70000`, `null`.
std::string describeValue(LeafValue const& value);

Refusal refuse(std::string_view expected, LeafValue const& value);

/// A JSON number from `low` to `high`.
std::optional<std::uint64_t> numberIn(LeafValue const& value, std::uint64_t low,
                                      std::uint64_t high);

/// The name of one of `names`.
std::optional<std::uint32_t> enumeration(LeafValue const& value,
                                         std::span<NamedNumber const> names);

/// "name, name, ..." of all.
std::string listNames(std::span<NamedNumber const> names);

/// The part of an identity's name behind `module` and a colon; the plain name as well when the
/// leaf is of the same module. Empty when the value is no identity of the module.
std::string_view identityOf(LeafValue const& value, std::string_view module, bool sameModule);

/// YANG strings hold no control characters except tab, line feed and carriage return.
bool isYangString(std::string_view text);

/// Stores into a number or an optional number.
template <class T>
Refusal takeNumber(LeafValue const& value, std::uint64_t low, std::uint64_t high, T& target) {
    auto const number = numberIn(value, low, high);
    if (!number) {
        return refuse(fmt::format("a number from {} to {}", low, high), value);
    }
    if constexpr (std::is_integral_v<T>) {
        target = static_cast<T>(*number);
    } else {
        target = static_cast<typename T::value_type>(*number);
    }
    return std::nullopt;
}

/// Stores into an enumeration or an optional one; `names` holds its values.
template <class E, class T>
Refusal takeEnumeration(LeafValue const& value, std::span<NamedNumber const> names, T& target) {
    auto const number = enumeration(value, names);
    if (!number) {
        return refuse("one of " + listNames(names), value);
    }
    target = static_cast<E>(*number);
    return std::nullopt;
}

} // namespace LoamPolicy
