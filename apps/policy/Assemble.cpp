#include <fmt/format.h>

#include <algorithm>
#include <apps/policy/Assemble.h>
#include <apps/policy/Codec.h>
#include <apps/policy/Identities.h>
#include <numeric>

namespace LoamPolicy {

namespace {

struct ContainerRule {
    unsigned bit;
    std::string_view name;
    unsigned kinds; ///< bit per PolicyKind that admits the container
};

constexpr unsigned only(PolicyKind kind) {
    return 1u << static_cast<unsigned>(kind);
}

/// The `when` statements of the modules.
constexpr std::array<ContainerRule, 8> containerRules{{
    {MatchContainer::l2, "l2", only(PolicyKind::MacSystem)},
    {MatchContainer::ipv4, "ipv4", only(PolicyKind::Ipv4System)},
    {MatchContainer::ipv6, "ipv6", only(PolicyKind::Ipv6System)},
    {MatchContainer::mpls, "mpls", only(PolicyKind::MplsSystem)},
    {MatchContainer::transport, "transport",
     only(PolicyKind::Ipv4System) | only(PolicyKind::Ipv6System)},
    {MatchContainer::vxlanAnycast, "loam-acl-ext:vxlan-anycast", only(PolicyKind::VxlanAnycast)},
    {MatchContainer::tunnel, "loam-acl-ext:tunnel", only(PolicyKind::TunnelTermination)},
    {MatchContainer::egressOlp, "loam-acl-ext:egress-olp", only(PolicyKind::EgressOlp)},
}};

std::optional<Problem> checkContainers(EntryDraft const& draft, PolicyKind kind) {
    for (ContainerRule const& rule : containerRules) {
        if ((draft.containers & rule.bit) != 0 && (rule.kinds & only(kind)) == 0) {
            return Problem{
                fmt::format("/{}", rule.name),
                fmt::format("{} is not valid in a set of type {}", rule.name, setTypeName(kind))};
        }
    }
    return std::nullopt;
}

std::optional<Problem> checkSequence(EntryDraft const& draft) {
    if (!draft.keySequence) {
        return Problem{"/sequence-id", "missing: it is a key of the list"};
    }
    if (!draft.sequence) {
        return Problem{"/config/sequence-id", "missing: the list's key refers to it"};
    }
    if (*draft.sequence != *draft.keySequence) {
        return Problem{"/config/sequence-id", fmt::format("{} differs from the list's key, {}",
                                                          *draft.sequence, *draft.keySequence)};
    }
    return std::nullopt;
}

std::string atEntry(std::size_t index, std::string_view where) {
    return fmt::format("/acl-entries/acl-entry/{}{}", index, where);
}

/// One line: what breaks lines becomes a blank.
std::string oneLine(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
    return text;
}

std::string ruleText(SetDraft const& set, EntryDraft const& draft) {
    std::string text = fmt::format("{} {}", *set.name, *draft.sequence);
    if (!draft.description.empty()) {
        text += ": " + draft.description;
    }
    return oneLine(std::move(text));
}

/// Positions in the file of the set's entries, by sequence-id.
std::vector<std::size_t> entryOrder(SetDraft const& set) {
    std::vector<std::size_t> order(set.entries.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return set.entries[i].sequence; });
    return order;
}

} // namespace

std::optional<Problem> Assembler::placeSet(SetDraft const& set, SetPlace& place) {
    if (!set.keyName || !set.keyType) {
        return Problem{set.keyName ? "/type" : "/name", "missing: it is a key of the list"};
    }
    if (!set.name || !set.type) {
        return Problem{set.name ? "/config/type" : "/config/name",
                       "missing: the list's key refers to it"};
    }
    if (*set.name != *set.keyName) {
        return Problem{"/config/name", fmt::format("{} differs from the list's key, {}",
                                                   inQuotes(*set.name), inQuotes(*set.keyName))};
    }
    if (*set.type != *set.keyType) {
        return Problem{"/config/type",
                       fmt::format("{} differs from the list's key, {}", setTypeName(*set.type),
                                   setTypeName(*set.keyType))};
    }
    place.kind = *set.type;
    Table& table = tables_[static_cast<std::size_t>(place.kind)];
    if (table.setNames.contains(*set.name)) {
        return Problem{"", fmt::format("the set {} of type {} is given twice", inQuotes(*set.name),
                                       setTypeName(place.kind))};
    }
    place.order = static_cast<std::uint32_t>(table.setNames.size());
    place.setId = set.setId ? *set.setId : setIdOfName(*set.name);
    auto const [taken, isNew] = table.setIds.emplace(place.setId, *set.name);
    if (!isNew) {
        return Problem{set.setId ? "/config/loam-acl-ext:set-id" : "/config/name",
                       fmt::format("the sets {} and {} have the same number, {}: give one of them "
                                   "another loam-acl-ext:set-id",
                                   inQuotes(taken->second), inQuotes(*set.name), place.setId)};
    }
    table.setNames.emplace(*set.name, place.order);
    return std::nullopt;
}

std::optional<Problem> Assembler::addSet(SetDraft const& set) {
    SetPlace place;
    if (auto problem = placeSet(set, place)) {
        return problem;
    }
    Table& table = tables_[static_cast<std::size_t>(place.kind)];
    if (std::size_t const room = tableCapacity - table.entries; set.entries.size() > room) {
        return Problem{atEntry(room, ""),
                       fmt::format("more than {} entries of type {}: the table holds no more",
                                   tableCapacity, setTypeName(place.kind))};
    }
    table.entries += set.entries.size();
    for (std::size_t i = 0; i < set.entries.size(); ++i) {
        auto problem = checkSequence(set.entries[i]);
        if (!problem) {
            problem = checkContainers(set.entries[i], place.kind);
        }
        if (problem) {
            return Problem{atEntry(i, problem->where), std::move(problem->reason)};
        }
    }
    std::optional<std::size_t> previous;
    for (std::size_t const i : entryOrder(set)) {
        EntryDraft const& draft = set.entries[i];
        if (previous && set.entries[*previous].sequence == draft.sequence) {
            return Problem{atEntry(i, "/sequence-id"),
                           fmt::format("{} is given twice in the set, first by acl-entry/{}",
                                       *draft.sequence, *previous)};
        }
        previous = i;
        if (auto problem = addEntry(set, draft, place)) {
            return Problem{atEntry(i, problem->where), std::move(problem->reason)};
        }
    }
    return std::nullopt;
}

std::optional<Problem> Assembler::addEntry(SetDraft const& set, EntryDraft const& draft,
                                           SetPlace place) {
    std::uint32_t const key = ruleKey(place.setId, *draft.sequence);
    Entry entry{
        .priority = rulePriority(place.order, *draft.sequence), .actionKey = key, .match = {}};
    if (auto problem = assembleMatch(draft, place.kind, entry.match)) {
        return problem;
    }
    Action action;
    if (auto problem = assembleAction(draft.action, place.kind, action)) {
        return problem;
    }
    rules_.push_back({.action = {tblIdOf(place.kind, TableHolds::Actions), key,
                                 encodeAction(place.kind, action)},
                      .entry = {tblIdOf(place.kind, TableHolds::Entries), key, encodeEntry(entry)},
                      .text = ruleText(set, draft)});
    return std::nullopt;
}

} // namespace LoamPolicy
