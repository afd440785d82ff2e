#pragma once

/// A policy file, read whole or refused whole.
///
/// The file is OpenConfig ACL configuration in RFC 7951 JSON (`openconfig-acl:acl`), with what
/// loam-acl-ext.yang adds (examples/policy/yang). Every acl-entry becomes one rule: a record for
/// the action table and a record for the entry table of its policy, under the same key, the entry
/// to be written so that it depends on the action.
///
/// Reading is strict: an unknown field, a wrong type, a port or prefix that cannot be, an entry
/// given twice, a table that overflows: the first such thing ends it, and the error names the file,
/// the place in it as an RFC 6901 JSON pointer, and the reason. There is no partial policy.
///
/// Cost: one pass, no document tree. Besides the rules themselves (about 0.5 KB each), memory is
/// bounded by one set's entries. Files above `maxFileSize` are refused before they are read.
///
/// Usage:
///
///     auto loaded = Policy::load("control-plane.json");
///     if (auto const* error = std::get_if<PolicyError>(&loaded)) { ... error->text() ... }
///     for (PolicyRule const& rule : std::get<Policy>(loaded).rules()) { ... }
///
/// A Policy is a value; different policies may be used by different threads.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace LoamPolicy {

/// What is to be written into one table.
struct TableRecord {
    std::uint16_t tblId{};
    std::uint32_t key{};
    std::vector<std::byte> fields; ///< all bytes behind the key
    bool operator==(TableRecord const&) const = default;
};

/// One acl-entry.
struct PolicyRule {
    TableRecord action;
    TableRecord entry;
    std::string text; ///< set, sequence-id and description on one line, for people
};

struct PolicyError {
    std::string file;
    std::string pointer; ///< RFC 6901; empty for the file as a whole
    std::string reason;

    /// "file: /pointer: reason" on one line.
    std::string text() const;
};

class Policy {
  public:
    /// Room for a full table of every policy, each entry in about 1 KB of text.
    static constexpr std::size_t maxFileSize = std::size_t{512} * 1024 * 1024;

    static std::variant<Policy, PolicyError> load(std::filesystem::path const& path);

    /// `fileName` is for the error alone.
    static std::variant<Policy, PolicyError> parse(std::string_view text, std::string fileName);

    /// Sets in the order of the file, entries of a set by sequence-id: for each table, this is the
    /// order of priority.
    std::vector<PolicyRule> const& rules() const { return rules_; }

  private:
    explicit Policy(std::vector<PolicyRule> rules) : rules_(std::move(rules)) {}

    std::vector<PolicyRule> rules_;
};

} // namespace LoamPolicy
