#pragma once

/// Rules to records and back.
///
/// The tables keep entries as opaque bytes; this is the one place that knows what the bytes of
/// the policy agent mean (EntryLayout.h, ActionLayout.h). Encoding cannot fail. Decoding takes
/// bytes from shared memory, which may hold anything, and says what is wrong with them:
/// `decode(encode(x)) == x` for every x that the table stores.
///
/// `fields` are the bytes behind the key, `fieldsSize` of them. No state; thread-safe.

#include <apps/policy/PolicyKind.h>
#include <apps/policy/Rule.h>
#include <cstddef>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace LoamPolicy {

/// Bytes behind the key in a record of the table.
std::size_t fieldsSize(PolicyKind kind, TableHolds holds);

/// Which policy an entry belongs to.
inline PolicyKind kindOf(Match const& match) {
    return static_cast<PolicyKind>(match.index());
}

std::vector<std::byte> encodeEntry(Entry const& entry);

/// Members that the policy's table does not store are left out.
std::vector<std::byte> encodeAction(PolicyKind kind, Action const& action);

/// Why a record cannot be decoded, for people.
struct DecodeError {
    std::string reason;
};

std::variant<Entry, DecodeError> decodeEntry(PolicyKind kind, std::span<std::byte const> fields);
std::variant<Action, DecodeError> decodeAction(PolicyKind kind, std::span<std::byte const> fields);

} // namespace LoamPolicy
