#include <fmt/format.h>

#include <algorithm>
#include <apps/loamctl/Context.h>
#include <apps/loamctl/HardwareDump.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

namespace LoamCtl {

namespace {

template <typename Number>
std::optional<Number> numberIn(std::string_view text, int base) {
    Number number{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional{number}
                                                                    : std::nullopt;
}

// The parts between single blanks; nothing when there are not four.
std::optional<std::array<std::string_view, 4>> fourParts(std::string_view line) {
    std::array<std::string_view, 4> parts;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        auto const end = line.find(' ');
        if ((end == std::string_view::npos) != (part == parts.size() - 1)) {
            return std::nullopt;
        }
        parts[part] = line.substr(0, end);
        line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    }
    return parts;
}

} // namespace

HardwareDump::HardwareDump(std::string const& path) : path_{path} {
    std::ifstream file{path, std::ios::binary};
    if (file) {
        text_.assign(std::istreambuf_iterator<char>{file}, {});
    }
    if (!file || file.bad()) {
        throw UsageError{fmt::format("{}: can't be read: {}", path, std::strerror(errno))};
    }
    std::string_view rest = text_;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        auto const end = rest.find('\n');
        parseLine(rest.substr(0, end), number);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    for (auto& [place, entries] : tables_) {
        std::ranges::sort(entries, {}, &Entry::key);
        auto const twice = std::ranges::adjacent_find(entries, {}, &Entry::key);
        if (twice != entries.end()) {
            throw UsageError{fmt::format("{}: {} unit {} key {:#010x} stands there twice", path,
                                         place.first, place.second, twice->key)};
        }
    }
}

void HardwareDump::parseLine(std::string_view line, std::size_t number) {
    auto const parts = fourParts(line);
    if (!parts) {
        refuse(number, "expected a table's name, a unit, a key and bytes, with single blanks");
    }
    auto const& [table, unit, key, fields] = *parts;
    auto const unitId = numberIn<Asic::UnitId>(unit, 10);
    if (!unitId) {
        refuse(number, fmt::format("'{}' is no unit, expected 0 to 65535", unit));
    }
    auto const keyNumber =
        key.starts_with("0x") ? numberIn<std::uint32_t>(key.substr(2), 16) : std::nullopt;
    if (!keyNumber) {
        refuse(number, fmt::format("'{}' is no key, expected 0x and up to 8 digits", key));
    }
    tables_[{table, *unitId}].push_back({*keyNumber, fields});
}

void HardwareDump::refuse(std::size_t line, std::string_view reason) const {
    throw UsageError{fmt::format("{}: line {}: {}", path_, line, reason)};
}

} // namespace LoamCtl
