#pragma once

/// Where a field lies in a record, and how numbers are stored there.
///
/// Offsets count from the start of the record, whose first four bytes are the key; a span of
/// "fields" begins behind the key. Numbers are stored in little-endian order, so that a record
/// means the same to every reader; byte arrays (addresses) are stored as they are. A field may be
/// wider than the number in it: the rest is zero.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>

namespace LoamPolicy {

inline constexpr std::size_t keySize = 4;

struct Field {
    std::size_t offset;
    std::size_t size;
};

/// True if the fields follow each other without gap or overlap from behind the key to `end`.
template <std::size_t N>
constexpr bool coverRecord(std::array<Field, N> const& fields, std::size_t end) {
    std::size_t next = keySize;
    for (Field const& field : fields) {
        if (field.offset != next || field.size == 0) {
            return false;
        }
        next += field.size;
    }
    return next == end;
}

/// Stores values into the fields of a zeroed record.
class FieldWriter {
  public:
    explicit FieldWriter(std::span<std::byte> fields) : fields_(fields) {}

    template <class T>
    requires std::is_unsigned_v<T>
    void operator()(Field field, T const& value) {
        auto rest = static_cast<std::uint64_t>(value);
        for (std::size_t i = 0; i < field.size && i < sizeof(T); ++i, rest >>= 8) {
            at(field)[i] = static_cast<std::byte>(rest & 0xffu);
        }
    }

    template <std::size_t N>
    void operator()(Field field, std::array<std::uint8_t, N> const& bytes) {
        for (std::size_t i = 0; i < N; ++i) {
            at(field)[i] = static_cast<std::byte>(bytes[i]);
        }
    }

    template <class E>
    requires std::is_enum_v<E>
    void choice(Field field, E const& value, E /*last*/) {
        (*this)(field, static_cast<std::underlying_type_t<E>>(value));
    }

  private:
    std::span<std::byte> at(Field field) {
        return fields_.subspan(field.offset - keySize, field.size);
    }

    std::span<std::byte> fields_;
};

/// Takes values out of the fields of a record, which may hold anything. The first field whose
/// content its type cannot hold is remembered.
class FieldReader {
  public:
    explicit FieldReader(std::span<std::byte const> fields) : fields_(fields) {}

    template <class T>
    requires std::is_unsigned_v<T>
    void operator()(Field field, T& value) {
        std::uint64_t number = 0;
        for (std::size_t i = field.size; i > 0; --i) {
            number = number << 8 | std::to_integer<std::uint64_t>(at(field)[i - 1]);
        }
        value = static_cast<T>(number);
        check(field, static_cast<std::uint64_t>(value) == number);
    }

    template <std::size_t N>
    void operator()(Field field, std::array<std::uint8_t, N>& bytes) {
        for (std::size_t i = 0; i < N; ++i) {
            bytes[i] = std::to_integer<std::uint8_t>(at(field)[i]);
        }
    }

    template <class E>
    requires std::is_enum_v<E>
    void choice(Field field, E& value, E last) {
        std::underlying_type_t<E> number{};
        (*this)(field, number);
        check(field, number <= static_cast<std::underlying_type_t<E>>(last));
        value = static_cast<E>(number);
    }

    void check(Field field, bool holds) {
        if (!holds && !badOffset_) {
            badOffset_ = field.offset;
        }
    }

    /// Offset of the first field that does not hold what it should.
    std::optional<std::size_t> badOffset() const { return badOffset_; }

  private:
    std::span<std::byte const> at(Field field) const {
        return fields_.subspan(field.offset - keySize, field.size);
    }

    std::span<std::byte const> fields_;
    std::optional<std::size_t> badOffset_;
};

} // namespace LoamPolicy
