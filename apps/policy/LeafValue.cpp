#include <algorithm>
#include <apps/policy/LeafValue.h>

namespace LoamPolicy {

namespace {

constexpr std::size_t maxQuotedSize = 80;

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Cuts at a character's beginning, never inside of a UTF-8 sequence.
std::string_view cut(std::string_view text, std::size_t size) {
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xc0u) == 0x80u) {
        --size;
    }
    return text.substr(0, size);
}

} // namespace

std::string inQuotes(std::string_view text) {
    bool const isLong = text.size() > maxQuotedSize;
    std::string result = "\"";
    for (char const c : isLong ? cut(text, maxQuotedSize) : text) {
        if (isControl(c)) {
            result += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
        } else {
            result += c;
        }
    }
    return result + (isLong ? "...\"" : "\"");
}

std::string describeValue(LeafValue const& value) {
    switch (value.kind) {
    case LeafValue::Kind::Text:
        return "the string " + inQuotes(value.text);
    case LeafValue::Kind::Unsigned:
        return fmt::format("the number {}", value.number);
    case LeafValue::Kind::Negative:
    case LeafValue::Kind::Fraction:
        return fmt::format("the number {}", value.text.substr(0, maxQuotedSize));
    case LeafValue::Kind::Boolean:
        return value.boolean ? "true" : "false";
    case LeafValue::Kind::Null:
        break;
    }
    return "null";
}

Refusal refuse(std::string_view expected, LeafValue const& value) {
    return fmt::format("expected {}, found {}", expected, describeValue(value));
}

std::optional<std::uint64_t> numberIn(LeafValue const& value, std::uint64_t low,
                                      std::uint64_t high) {
    if (value.kind != LeafValue::Kind::Unsigned || value.number < low || value.number > high) {
        return std::nullopt;
    }
    return value.number;
}

std::optional<std::uint32_t> enumeration(LeafValue const& value,
                                         std::span<NamedNumber const> names) {
    if (value.kind != LeafValue::Kind::Text) {
        return std::nullopt;
    }
    auto const found = std::ranges::find(names, value.text, &NamedNumber::name);
    return found == names.end() ? std::nullopt : std::optional(found->number);
}

std::string listNames(std::span<NamedNumber const> names) {
    std::string list;
    for (NamedNumber const& named : names) {
        list += list.empty() ? "" : ", ";
        list += named.name;
    }
    return list;
}

std::string_view identityOf(LeafValue const& value, std::string_view module, bool sameModule) {
    if (value.kind != LeafValue::Kind::Text) {
        return {};
    }
    std::string_view text = value.text;
    if (text.starts_with(module) && text.substr(module.size()).starts_with(':')) {
        return text.substr(module.size() + 1);
    }
    bool const plain = text.find(':') == std::string_view::npos;
    return plain && sameModule ? text : std::string_view();
}

bool isYangString(std::string_view text) {
    return std::ranges::none_of(text, [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
    });
}

} // namespace LoamPolicy
