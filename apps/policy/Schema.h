#pragma once

/// The policy file's schema: which members an object may have, and what becomes of each leaf.
///
/// It follows the YANG modules openconfig-acl, openconfig-packet-match and loam-acl-ext node by
/// node. A name that is not in the schema is refused, so that a misspelt field is never silently a
/// wildcard. Nodes of the modules that this system cannot honour are in the schema with the reason
/// why, and are refused with it.

#include <apps/policy/Draft.h>
#include <apps/policy/LeafValue.h>
#include <cstdint>
#include <span>
#include <string_view>

namespace LoamPolicy {

struct SchemaNode {
    enum class Kind : std::uint8_t { Container, List, Leaf, LeafList, Refused };
    /// What the reader does besides when an object of the node begins and ends.
    enum class Hook : std::uint8_t { None, Set, Entry };
    using Store = Refusal (*)(Draft&, LeafValue const&);

    std::string_view name;
    Kind kind;
    std::span<SchemaNode const> children{};
    Store store{};
    std::string_view refusal{};
    unsigned matchContainer{}; ///< one of `MatchContainer`, noted in the entry
    Hook hook{};
};

/// The object that is the whole file.
SchemaNode const& schemaRoot();

/// Null if the object has no such member.
SchemaNode const* findChild(SchemaNode const& node, std::string_view name);

/// Members may be recorded as bits of this.
using MemberSet = std::uint32_t;

} // namespace LoamPolicy
