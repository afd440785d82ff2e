// Leaves of an acl-set and of an acl-entry itself.

#include <apps/policy/Identities.h>
#include <apps/policy/RuleKey.h>
#include <apps/policy/SchemaLeaves.h>
#include <limits>

namespace LoamPolicy::Leaf {

namespace {

Refusal takeText(LeafValue const& value, std::string& text) {
    if (value.kind != LeafValue::Kind::Text) {
        return refuse("a string", value);
    }
    if (!isYangString(value.text)) {
        return "control characters are not allowed in a string: " + inQuotes(value.text);
    }
    text = value.text;
    return std::nullopt;
}

Refusal takeSetType(LeafValue const& value, std::optional<PolicyKind>& type) {
    for (SetTypeName const& known : setTypeNames) {
        if (identityOf(value, known.module, known.module == Module::acl) == known.name) {
            type = known.kind;
            return std::nullopt;
        }
    }
    if (identityOf(value, Module::acl, true) == "ACL_MIXED") {
        return "ACL_MIXED has no table: write one set per type";
    }
    std::string names;
    for (SetTypeName const& known : setTypeNames) {
        names += names.empty() ? "" : ", ";
        names += known.module == Module::acl ? std::string(known.name)
                                             : fmt::format("{}:{}", known.module, known.name);
    }
    return refuse("one of " + names, value);
}

Refusal takeSequence(LeafValue const& value, std::optional<std::uint32_t>& sequence) {
    return takeNumber(value, 0, maxSequence, sequence);
}

} // namespace

Refusal setKeyName(Draft& draft, LeafValue const& value) {
    return takeText(value, draft.set.keyName.emplace());
}

Refusal setKeyType(Draft& draft, LeafValue const& value) {
    return takeSetType(value, draft.set.keyType);
}

Refusal setName(Draft& draft, LeafValue const& value) {
    return takeText(value, draft.set.name.emplace());
}

Refusal setType(Draft& draft, LeafValue const& value) {
    return takeSetType(value, draft.set.type);
}

Refusal setDescription(Draft& /*draft*/, LeafValue const& value) {
    std::string unused;
    return takeText(value, unused);
}

Refusal setId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxSetId, draft.set.setId);
}

Refusal keySequence(Draft& draft, LeafValue const& value) {
    return takeSequence(value, draft.entry.keySequence);
}

Refusal sequence(Draft& draft, LeafValue const& value) {
    return takeSequence(value, draft.entry.sequence);
}

Refusal description(Draft& draft, LeafValue const& value) {
    return takeText(value, draft.entry.description);
}

} // namespace LoamPolicy::Leaf
