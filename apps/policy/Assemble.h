#pragma once

/// From the draft of a set to its rules: everything that must hold between leaves is checked here.

#include <apps/policy/Draft.h>
#include <apps/policy/Policy.h>
#include <apps/policy/RuleKey.h>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace LoamPolicy {

/// What is wrong and where, the place relative to the object that was looked at.
struct Problem {
    std::string where;
    std::string reason;
};

/// Fills `match` from the draft, whose containers are those of the kind.
std::optional<Problem> assembleMatch(EntryDraft const& draft, PolicyKind kind, Match& match);

std::optional<Problem> assembleAction(ActionDraft const& draft, PolicyKind kind, Action& action);

/// Takes the sets of a file one by one and makes rules of them.
class Assembler {
  public:
    /// `where` of a problem is relative to the acl-set.
    std::optional<Problem> addSet(SetDraft const& set);

    std::vector<PolicyRule> takeRules() { return std::move(rules_); }

  private:
    /// What is known about the sets of one type so far.
    struct Table {
        std::map<std::string, std::size_t, std::less<>> setNames;
        std::map<std::uint32_t, std::string> setIds;
        std::size_t entries{};
    };

    struct SetPlace {
        PolicyKind kind{};
        std::uint32_t setId{};
        std::uint32_t order{};
    };

    std::optional<Problem> placeSet(SetDraft const& set, SetPlace& place);
    std::optional<Problem> addEntry(SetDraft const& set, EntryDraft const& draft, SetPlace place);

    std::array<Table, kindCount> tables_;
    std::vector<PolicyRule> rules_;
};

} // namespace LoamPolicy
