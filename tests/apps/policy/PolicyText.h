#pragma once

/// Small policies for tests.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <apps/policy/Codec.h>
#include <apps/policy/Policy.h>
#include <string>

namespace LoamPolicy::Test {

inline constexpr char const* acceptActions =
    R"("actions":{"config":{"forwarding-action":"ACCEPT"}})";

/// A file of the acl-sets.
inline std::string fileOf(std::string const& sets) {
    return R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[)" + sets + "]}}}";
}

inline std::string setOf(std::string const& name, std::string const& type,
                         std::string const& entries) {
    return fmt::format(R"({{"name":"{0}","type":"{1}","config":{{"name":"{0}","type":"{1}"}},)"
                       R"("acl-entries":{{"acl-entry":[{2}]}}}})",
                       name, type, entries);
}

/// An entry with more members, `actions` among them.
inline std::string entryWith(unsigned sequence, std::string const& members) {
    return fmt::format(R"({{"sequence-id":{0},"config":{{"sequence-id":{0}}},{1}}})", sequence,
                       members);
}

/// An entry that accepts what `match` says, which may be empty.
inline std::string entryOf(unsigned sequence, std::string const& match = "") {
    return entryWith(sequence, (match.empty() ? "" : match + ",") + acceptActions);
}

/// A file of one set "s" with one entry, sequence-id 10.
inline std::string fileWithMatch(std::string const& type, std::string const& match) {
    return fileOf(setOf("s", type, entryOf(10, match)));
}

/// An entry whose control-plane leaves are given.
inline std::string fileWithTreatment(std::string const& type, std::string const& leaves) {
    return fileOf(setOf("s", type,
                        entryWith(10, R"("actions":{"config":{"forwarding-action":"ACCEPT"},)"
                                      R"("loam-acl-ext:control-plane":{"config":{)" +
                                          leaves + "}}}")));
}

/// The rules of a text that must be a policy.
inline std::vector<PolicyRule> rulesOf(std::string const& text) {
    auto parsed = Policy::parse(text, "test.json");
    if (auto const* error = std::get_if<PolicyError>(&parsed)) {
        ADD_FAILURE() << error->text();
        return {};
    }
    return std::get<Policy>(parsed).rules();
}

/// The error of a text that must be refused.
inline PolicyError refusalOf(std::string const& text) {
    auto parsed = Policy::parse(text, "test.json");
    if (auto const* error = std::get_if<PolicyError>(&parsed)) {
        return *error;
    }
    ADD_FAILURE() << "was not refused: " << text;
    return {};
}

template <class M>
M matchOf(PolicyRule const& rule) {
    auto const kind = tableOf(rule.entry.tblId)->kind;
    return std::get<M>(std::get<Entry>(decodeEntry(kind, rule.entry.fields)).match);
}

inline Action actionOf(PolicyRule const& rule) {
    auto const kind = tableOf(rule.action.tblId)->kind;
    return std::get<Action>(decodeAction(kind, rule.action.fields));
}

/// The match of a one-entry file.
template <class M>
M parsedMatch(std::string const& type, std::string const& match) {
    auto const rules = rulesOf(fileWithMatch(type, match));
    return rules.size() == 1 ? matchOf<M>(rules.front()) : M{};
}

} // namespace LoamPolicy::Test
