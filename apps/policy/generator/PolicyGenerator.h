#pragma once

/// Writes large policies: valid, plausible, and the same for the same seed on every machine.
///
/// Each requested type gets one set of `entries` acl-entries with sequence-ids 10, 20, 30, ...,
/// every entry different from the others. Entries 0 to n-1 of a policy do not depend on how many
/// follow, so that a longer policy of the same seed begins with the shorter one. Text goes out as
/// it is made; memory does not grow with the number of entries.

#include <apps/policy/PolicyKind.h>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

namespace LoamPolicy {

struct GeneratorOptions {
    std::uint32_t entries{1000}; ///< per type, at most `tableCapacity`
    std::uint64_t seed{1};
    std::vector<PolicyKind> kinds;
};

/// Nothing when no type has this name: "ipv4", "ipv6", "l2", "mpls", "vxlan", "tunnel", "olp".
std::optional<PolicyKind> generatorKind(std::string_view name);

/// False when the file could not be written; errno tells why.
bool generatePolicy(GeneratorOptions const& options, std::FILE* file);

} // namespace LoamPolicy
