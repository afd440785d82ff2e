#pragma once

/// Records as people and scripts read them.
///
/// `fields` are the bytes behind the key, from shared memory as they are: bytes that make no sense
/// give a text that says so, never a failure. Thread-safe.
///
///     entry    set 929 seq 100 priority 100: tcp 192.0.2.0/24 -> any dport 179
///     action   set 929 seq 100: permit police 1000 pps burst 200 packets queue 5
///     rule     set 929 seq 100: permit tcp 192.0.2.0/24 -> any dport 179 action: police 1000 pps

#include <nlohmann/json_fwd.hpp>

#include <apps/policy/Rule.h>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace LoamPolicy {

/// One record of either table, on one line.
std::string describe(std::uint16_t tblId, std::uint32_t key, std::span<std::byte const> fields);

/// An entry together with its action, on one line; `entryTblId` is the number of the entry table.
std::string describeRule(std::uint16_t entryTblId, std::uint32_t key,
                         std::span<std::byte const> entryFields,
                         std::span<std::byte const> actionFields);

/// One record as an object: "policy", "holds", "key", "set-id", "sequence-id", and "priority",
/// "action-key" and "match", or "action"; members inside are named as the leaves of the policy
/// file, and wildcards are left out. "error" instead of them when the bytes make no sense.
nlohmann::json toJson(std::uint16_t tblId, std::uint32_t key, std::span<std::byte const> fields);

/// The same for what is already decoded.
std::string matchText(Match const& match);
std::string verdictText(Verdict verdict);
/// What an action does besides its verdict; empty if nothing.
std::string treatmentText(Action const& action);

} // namespace LoamPolicy
