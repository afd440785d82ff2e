#pragma once

/// Keys and priorities of the records of one acl-entry.
///
/// A key must stay what it is when the file is edited around its entry, or every edit would
/// reprogram the table. So it is made of what names the entry: 12 bits for the set, 20 bits for
/// the sequence-id. The set's number is the one that the file gives (`loam-acl-ext:set-id`), or
/// else one derived from the set's name; that two names of a type give the same number is refused
/// by the parser, which tells how to go on. No number is 0, so no key is 0.
///
///     31        20 19                        0
///     | set-id    | sequence-id              |      key
///     | set order | sequence-id              |      priority, the lowest decides
///
/// The order of a set is its position among the sets of its type in the file.

#include <cstdint>
#include <string_view>

namespace LoamPolicy {

inline constexpr unsigned sequenceBits = 20;
inline constexpr std::uint32_t maxSequence = (1u << sequenceBits) - 1;
inline constexpr std::uint32_t maxSetId = 4095;
inline constexpr std::uint32_t maxSetOrder = 4095;

constexpr std::uint32_t ruleKey(std::uint32_t setId, std::uint32_t sequence) {
    return setId << sequenceBits | sequence;
}

constexpr std::uint32_t rulePriority(std::uint32_t setOrder, std::uint32_t sequence) {
    return setOrder << sequenceBits | sequence;
}

constexpr std::uint32_t setIdOfKey(std::uint32_t key) {
    return key >> sequenceBits;
}
constexpr std::uint32_t sequenceOfKey(std::uint32_t key) {
    return key & maxSequence;
}

/// The number of a set whose file gives none, 1 to 4095: FNV-1a of the name, 32 bits, reduced.
constexpr std::uint32_t setIdOfName(std::string_view name) {
    std::uint32_t hash = 2166136261u;
    for (char const c : name) {
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
    }
    return 1 + hash % maxSetId;
}

} // namespace LoamPolicy
