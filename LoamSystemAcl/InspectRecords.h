#pragma once

#include <Ombra/ValueTypeOf.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// The plain values of a table as the inspection layer shows and reads them: a key as its number, an
// entry as its key with the bytes behind it. Nobody looks into the bytes.
namespace LoamSystemAcl {

template <typename Key>
struct EntryKeyTraits {
    static constexpr char const* doc = "The key of an entry: four opaque bytes, as one number.";
    static constexpr char const* expects =
        "a number from 0 to 4294967295, decimal or as 0x0000002a";
    static void json(Key const& key, std::string& out) {
        fmt::format_to(std::back_inserter(out), "\"{}\"", key);
    }
    static std::optional<Key> parse(std::string_view text) {
        std::uint64_t number = 0;
        return Ombra::Impl::parseNumber(text, 0xffffffff, number) ? fromNumber(number)
                                                                  : std::nullopt;
    }
    static std::uint64_t toNumber(Key const& key) { return key.number(); }
    static std::optional<Key> fromNumber(std::uint64_t number) {
        return number <= 0xffffffff ? std::optional<Key>{Key{static_cast<std::uint32_t>(number)}}
                                    : std::nullopt;
    }
};

// `XxxEntry` and `XxxLogEntry`.
template <typename Entry, typename Key>
struct EntryTraits {
    static constexpr char const* doc = "An entry: its key, and the bytes behind it, opaque.";
    static constexpr char const* expects =
        "{key: 0x0000002a, fields: 0100ff} with two hexadecimal digits for each byte behind the "
        "key, zeros at the end left out";
    static void json(Entry const& entry, std::string& out) {
        fmt::format_to(std::back_inserter(out), "{{\"key\": \"{}\", \"fields\": \"", entry.key());
        Ombra::Impl::hexText(entry.fields(), out);
        out += "\"}";
    }
    static std::optional<Entry> parse(std::string_view text) {
        auto const key = EntryKeyTraits<Key>::parse(Ombra::Impl::memberOf(text, "key"));
        auto const fields = Ombra::Impl::memberOf(text, "fields");
        if (!key || fields.data() == nullptr || Ombra::Impl::memberCount(text) != 2) {
            return std::nullopt;
        }
        Entry entry{*key};
        return Ombra::Impl::parseHex(fields, entry.fields()) ? std::optional<Entry>{entry}
                                                             : std::nullopt;
    }
    static std::span<std::byte const> bytes(Entry const& entry) { return entry.fields(); }
    static std::optional<Entry> fromKeyAndBytes(std::uint64_t number,
                                                std::span<std::byte const> bytes) {
        auto const key = EntryKeyTraits<Key>::fromNumber(number);
        if (!key) {
            return std::nullopt;
        }
        Entry entry{*key};
        if (bytes.size() != entry.fields().size()) {
            return std::nullopt;
        }
        std::ranges::copy(bytes, entry.fields().begin());
        return entry;
    }
};

template <typename Keys>
struct ResourceKeysTraits {
    static constexpr char const* doc = "The resource keys of an entry; these tables have none.";
    static constexpr char const* expects = "{}";
    static void text(Keys const&, std::string& out) { out += "{}"; }
    static void json(Keys const&, std::string& out) { out += "{}"; }
    static std::optional<Keys> parse(std::string_view text) {
        return Ombra::Impl::memberCount(text) == 0 ? std::optional<Keys>{Keys{}} : std::nullopt;
    }
};

} // namespace LoamSystemAcl
