#pragma once

/// Follows the JSON text member by member and the schema with it.
///
/// This is the handler of nlohmann-json's event parser: no document is built. The depth of nesting
/// is that of the schema, because an object in a place that the schema does not know ends the
/// parse at once. `true` from a handler means to go on.

#include <nlohmann/json.hpp>

#include <apps/policy/Assemble.h>
#include <apps/policy/Draft.h>
#include <apps/policy/Policy.h>
#include <apps/policy/Schema.h>
#include <optional>
#include <string>
#include <vector>

namespace LoamPolicy {

class Reader {
  public:
    using number_integer_t = nlohmann::json::number_integer_t;
    using number_unsigned_t = nlohmann::json::number_unsigned_t;
    using number_float_t = nlohmann::json::number_float_t;
    using string_t = nlohmann::json::string_t;
    using binary_t = nlohmann::json::binary_t;

    bool null();
    bool boolean(bool value);
    bool number_integer(number_integer_t value);
    bool number_unsigned(number_unsigned_t value);
    bool number_float(number_float_t value, string_t const& text);
    bool string(string_t& value);
    bool binary(binary_t& value);
    bool start_object(std::size_t size);
    bool key(string_t& name);
    bool end_object();
    bool start_array(std::size_t size);
    bool end_array();
    bool parse_error(std::size_t position, std::string const& token,
                     nlohmann::json::exception const& error);

    /// Pointer and reason of what ended the parse; nothing when the whole text was taken.
    std::optional<Problem> const& problem() const { return problem_; }

    std::vector<PolicyRule> takeRules() { return assembler_.takeRules(); }

  private:
    /// An object or array that has begun and not ended.
    struct Frame {
        SchemaNode const* node;
        bool isArray;
        std::size_t index{};        ///< of the next element of an array
        MemberSet seen{};           ///< members of an object, by their position in the schema
        SchemaNode const* member{}; ///< the member whose value is to come
    };

    bool fail(std::string reason);
    bool failAt(std::string pointer, std::string reason);
    bool leaf(LeafValue const& value);
    bool enter(SchemaNode const& node, bool isArray);
    bool leaveObject(SchemaNode const& node);
    /// The node whose value comes next: a member of an object or an element of an array.
    SchemaNode const* expected() const;
    void valueTaken();
    std::string pointer() const;
    bool endSet();

    std::vector<Frame> frames_;
    Draft draft_;
    Assembler assembler_;
    std::optional<Problem> problem_;
};

} // namespace LoamPolicy
