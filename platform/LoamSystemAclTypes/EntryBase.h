#pragma once

#include <catalogue/Catalogue.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

// The values of a table: `XxxLogEntry`, an entry as the log keeps it, and `XxxEntry`, the same with
// its resource keys. Both are opaque: the key stands first, and nothing in the library looks at the
// bytes behind it; whoever programs the hardware does.
//
// Plain values. Padding is always zero, so that a record is the same bytes wherever it was made.
namespace LoamSystemAcl {

// The resource keys of an entry. None of the tables has resources of its own, so that the type
// carries nothing; the byte that every object has is kept zero.
template <typename Self>
class ResourceKeysBase {
  private:
    std::uint8_t nothing_ = 0;
};

// OFFSET  SIZE              FIELD
//      0  4                 key
//      4  declaredBytes-4   fields
//      .  to the width      padding, zero
//
// `rowOf` is the table's row of the catalogue.
template <typename Self, typename Key, catalogue::Row const& rowOf>
class alignas(4) LogEntryBase {
  public:
    static constexpr std::size_t sizeBytes = rowOf.logEntryBytes;
    static constexpr std::size_t declaredBytes = rowOf.declaredBytes;
    static constexpr std::size_t fieldBytes = declaredBytes - sizeof(Key);

    // The entry of a key with every field at its default: zero, but for the word behind the key (1)
    // and, where the table has one, the "not set" word (255).
    explicit LogEntryBase(Key const& key = Key{}) noexcept : key_{key} {
        wordIs(sizeof(Key), 1);
        if constexpr (rowOf.unsetFieldOffset != 0) {
            wordIs(rowOf.unsetFieldOffset, 255);
        }
    }

    Key const& key() const noexcept { return key_; }
    void keyIs(Key const& key) noexcept { key_ = key; }

    // The bytes behind the key, without the padding.
    std::span<std::byte const, fieldBytes> fields() const noexcept {
        return std::span<std::byte const, fieldBytes>{fields_.data(), fieldBytes};
    }
    std::span<std::byte, fieldBytes> fields() noexcept {
        return std::span<std::byte, fieldBytes>{fields_.data(), fieldBytes};
    }

    // Equality over the declared bytes.
    static bool isEq(void const* left, void const* right) noexcept {
        return std::memcmp(left, right, declaredBytes) == 0;
    }
    friend bool operator==(Self const& left, Self const& right) noexcept {
        return isEq(&left, &right);
    }

  private:
    void wordIs(std::size_t offset, std::uint32_t value) noexcept {
        std::memcpy(fields_.data() + offset - sizeof(Key), &value, sizeof value);
    }

    Key key_;
    std::array<std::byte, sizeBytes - sizeof(Key)> fields_{};
};

// OFFSET         SIZE  FIELD
//      0         L     logEntry
//      L         1     rsrcKeys
//      L+1       3     padding, zero
template <typename Self, typename Key, typename LogEntry, typename ResourceKeys>
class EntryBase {
  public:
    explicit EntryBase(Key const& key = Key{}) noexcept : logEntry_{key} {}
    explicit EntryBase(LogEntry const& logEntry) noexcept : logEntry_{logEntry} {}

    Key const& key() const noexcept { return logEntry_.key(); }
    void keyIs(Key const& key) noexcept { logEntry_.keyIs(key); }

    LogEntry const& logEntry() const noexcept { return logEntry_; }
    void logEntryIs(LogEntry const& logEntry) noexcept { logEntry_ = logEntry; }
    ResourceKeys const& rsrcKeys() const noexcept { return rsrcKeys_; }

    auto fields() const noexcept { return logEntry_.fields(); }
    auto fields() noexcept { return logEntry_.fields(); }

    static bool isEq(void const* left, void const* right) noexcept {
        return LogEntry::isEq(left, right);
    }
    friend bool operator==(Self const& left, Self const& right) noexcept {
        return isEq(&left, &right);
    }

  private:
    LogEntry logEntry_;
    ResourceKeys rsrcKeys_;
    std::array<std::uint8_t, 3> padding_{};
};

// How an entry is shown: its key, and its bytes in hexadecimal with the zeros at the end left out.
template <typename Entry>
struct EntryFormatter {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Entry const& entry, Context& context) const {
        auto const fields = entry.fields();
        std::size_t shown = fields.size();
        while (shown > 0 && fields[shown - 1] == std::byte{0}) {
            --shown;
        }
        auto out = fmt::format_to(context.out(), "{{key: {:#010x}, fields: ", entry.key().number());
        for (std::byte const each : fields.first(shown)) {
            out = fmt::format_to(out, "{:02x}", std::to_integer<unsigned>(each));
        }
        return fmt::format_to(out, "}}");
    }
};

} // namespace LoamSystemAcl
