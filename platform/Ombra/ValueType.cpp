#include <Ombra/ModuleInspectData.h>
#include <Ombra/ValueType.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace Ombra {

bool isSame(ValueType const& left, ValueType const& right) noexcept {
    if (&left == &right) {
        return true;
    }
    if (left.kind != right.kind || left.builtin != right.builtin || left.type != right.type ||
        left.constPointee != right.constPointee || left.sizeBytes != right.sizeBytes) {
        return false;
    }
    return left.inner == right.inner ||
           (left.inner != nullptr && right.inner != nullptr && isSame(*left.inner, *right.inner));
}

namespace {

// The length of the UTF-8 sequence at the start of `text`; 0 when there is none.
std::size_t utf8Length(std::string_view text) {
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned const first = byte(0);
    std::size_t const length = first < 0x80   ? 1
                               : first < 0xc2 ? 0
                               : first < 0xe0 ? 2
                               : first < 0xf0 ? 3
                               : first < 0xf5 ? 4
                                              : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) {
            return 0;
        }
    }
    bool const overlongOrOutside =
        (first == 0xe0 && byte(1) < 0xa0) || (first == 0xed && byte(1) > 0x9f) ||
        (first == 0xf0 && byte(1) < 0x90) || (first == 0xf4 && byte(1) > 0x8f);
    return overlongOrOutside ? 0 : length;
}

std::string_view trimmed(std::string_view text) {
    auto const isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string_view unquoted(std::string_view text) {
    text = trimmed(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        return text.substr(1, text.size() - 2);
    }
    return text;
}

// What stands between the braces of a record; false when there are none.
bool insideBraces(std::string_view text, std::string_view& inside) {
    text = trimmed(text);
    if (text.size() < 2 || text.front() != '{' || text.back() != '}') {
        return false;
    }
    inside = trimmed(text.substr(1, text.size() - 2));
    return true;
}

bool appendUtf8(std::uint32_t point, std::string& out) {
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xc0 | point >> 6);
        out += static_cast<char>(0x80 | (point & 0x3f));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xe0 | point >> 12);
        out += static_cast<char>(0x80 | (point >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (point & 0x3f));
    } else if (point < 0x110000) {
        out += static_cast<char>(0xf0 | point >> 18);
        out += static_cast<char>(0x80 | (point >> 12 & 0x3f));
        out += static_cast<char>(0x80 | (point >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (point & 0x3f));
    } else {
        return false;
    }
    return true;
}

bool fourHex(std::string_view text, std::uint32_t& number) {
    if (text.size() < 4) {
        return false;
    }
    auto const [end, error] = std::from_chars(text.data(), text.data() + 4, number, 16);
    return error == std::errc{} && end == text.data() + 4;
}

// One escape of a JSON string behind the backslash; gives the characters it took, 0 for none.
std::size_t unescape(std::string_view text, std::string& out) {
    static constexpr std::string_view names = "\"\\/bfnrt";
    static constexpr std::string_view meant = "\"\\/\b\f\n\r\t";
    if (text.empty()) {
        return 0;
    }
    if (auto const at = names.find(text[0]); at != names.npos) {
        out += meant[at];
        return 1;
    }
    std::uint32_t point = 0;
    if (text[0] != 'u' || !fourHex(text.substr(1), point)) {
        return 0;
    }
    std::size_t taken = 5;
    if (point >= 0xd800 && point < 0xdc00) { // the first half of a pair
        std::uint32_t low = 0;
        if (text.substr(taken, 2) != "\\u" || !fourHex(text.substr(taken + 2), low) ||
            low < 0xdc00 || low > 0xdfff) {
            return 0;
        }
        point = 0x10000 + ((point - 0xd800) << 10) + (low - 0xdc00);
        taken += 6;
    } else if (point >= 0xdc00 && point <= 0xdfff) {
        return 0;
    }
    return appendUtf8(point, out) ? taken : 0;
}

} // namespace

void jsonString(std::string_view text, std::string& out) {
    out += '"';
    while (!text.empty()) {
        std::size_t const length = utf8Length(text);
        auto const first = static_cast<unsigned char>(text[0]);
        if (length == 0) {
            out += "\xef\xbf\xbd";
        } else if (first == '"' || first == '\\') {
            out += '\\';
            out += text[0];
        } else if (first < 0x20) {
            fmt::format_to(std::back_inserter(out), "\\u{:04x}", first);
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    out += '"';
}

namespace Impl {

bool parseNumber(std::string_view text, std::uint64_t most, std::uint64_t& number) {
    text = unquoted(text);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return !text.empty() && error == std::errc{} && end == text.data() + text.size() &&
           number <= most;
}

bool parseSigned(std::string_view text, std::int64_t& number) {
    text = unquoted(text);
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && error == std::errc{} && end == text.data() + text.size();
}

bool parseBool(std::string_view text, bool& value) {
    text = unquoted(text);
    value = text == "true";
    return value || text == "false";
}

bool parseString(std::string_view text, std::string& value) {
    value.clear();
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
        value = text;
        return true;
    }
    text = text.substr(1, text.size() - 2);
    while (!text.empty()) {
        if (text[0] == '"') {
            return false;
        }
        if (text[0] != '\\') {
            value += text[0];
            text.remove_prefix(1);
            continue;
        }
        std::size_t const taken = unescape(text.substr(1), value);
        if (taken == 0) {
            return false;
        }
        text.remove_prefix(1 + taken);
    }
    return true;
}

bool parseHex(std::string_view text, std::span<std::byte> bytes) {
    text = unquoted(text);
    if (text.size() % 2 != 0 || text.size() / 2 > bytes.size()) {
        return false;
    }
    std::memset(bytes.data(), 0, bytes.size());
    for (std::size_t i = 0; i < text.size() / 2; ++i) {
        std::uint8_t byte = 0;
        char const* const at = text.data() + 2 * i;
        auto const [end, error] = std::from_chars(at, at + 2, byte, 16);
        if (error != std::errc{} || end != at + 2) {
            return false;
        }
        bytes[i] = std::byte{byte};
    }
    return true;
}

void hexText(std::span<std::byte const> bytes, std::string& out) {
    static constexpr char digits[] = "0123456789abcdef";
    out.reserve(out.size() + 2 * bytes.size());
    for (std::byte const each : bytes) {
        auto const number = std::to_integer<unsigned>(each);
        out += digits[number >> 4];
        out += digits[number & 0xf];
    }
}

// Where the character first stands; the text's length when it does not. Not the text's own `find`,
// about whose length the optimising compiler gives a false warning here.
static std::size_t placeOf(char wanted, std::string_view text) {
    return static_cast<std::size_t>(std::ranges::find(text, wanted) - text.begin());
}

std::string_view memberOf(std::string_view record, std::string_view name) {
    std::string_view rest;
    if (!insideBraces(record, rest)) {
        return {};
    }
    while (!rest.empty()) {
        auto const end = placeOf(',', rest);
        auto const member = rest.substr(0, end);
        auto const colon = placeOf(':', member);
        if (colon != member.size() && unquoted(member.substr(0, colon)) == name) {
            return unquoted(member.substr(colon + 1));
        }
        rest.remove_prefix(end == rest.size() ? end : end + 1);
    }
    return {};
}

int memberCount(std::string_view record) {
    std::string_view rest;
    if (!insideBraces(record, rest)) {
        return -1;
    }
    return rest.empty() ? 0 : 1 + static_cast<int>(std::count(rest.begin(), rest.end(), ','));
}

void nodeText(Node const* node, std::string_view className, std::string& out) {
    if (node == nullptr) {
        out += "none";
        return;
    }
    TypeData const type = node->typeData();
    auto const index = static_cast<std::size_t>(type.index);
    bool const named = type.module != nullptr && index < type.module->typeNames.size();
    fmt::format_to(std::back_inserter(out), "{}@{}",
                   named ? type.module->typeNames[index] : className, fmt::ptr(node));
}

} // namespace Impl
} // namespace Ombra
