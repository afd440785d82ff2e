#include <fmt/format.h>

#include <apps/policy/Reader.h>

namespace LoamPolicy {

namespace {

using Kind = SchemaNode::Kind;

/// A pointer's reference token, RFC 6901 section 3.
std::string token(std::string_view name) {
    std::string text = "/";
    for (char const c : name) {
        if (c == '~') {
            text += "~0";
        } else if (c == '/') {
            text += "~1";
        } else {
            text += c;
        }
    }
    return text;
}

std::string_view localName(std::string_view name) {
    auto const colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// What an unknown name may have been meant to be: one that differs in the module's name alone.
std::string suggestion(SchemaNode const& node, std::string_view name) {
    for (SchemaNode const& child : node.children) {
        if (localName(child.name) == localName(name)) {
            return fmt::format(": did you mean \"{}\"?", child.name);
        }
    }
    return {};
}

std::string_view expectation(Kind kind) {
    switch (kind) {
    case Kind::Container:
        return "an object";
    case Kind::List:
    case Kind::LeafList:
        return "an array";
    default:
        return "a single value";
    }
}

} // namespace

bool Reader::null() {
    return leaf({.kind = LeafValue::Kind::Null});
}

bool Reader::boolean(bool value) {
    return leaf({.kind = LeafValue::Kind::Boolean, .boolean = value});
}

bool Reader::number_integer(number_integer_t value) {
    auto const text = fmt::format("{}", value);
    return leaf({.kind = LeafValue::Kind::Negative, .text = text});
}

bool Reader::number_unsigned(number_unsigned_t value) {
    return leaf({.kind = LeafValue::Kind::Unsigned, .number = value});
}

bool Reader::number_float(number_float_t /*value*/, string_t const& text) {
    return leaf({.kind = LeafValue::Kind::Fraction, .text = text});
}

bool Reader::string(string_t& value) {
    return leaf({.kind = LeafValue::Kind::Text, .text = value});
}

bool Reader::binary(binary_t& /*value*/) {
    return fail("JSON has no binary values");
}

SchemaNode const* Reader::expected() const {
    if (frames_.empty()) {
        return &schemaRoot();
    }
    Frame const& top = frames_.back();
    return top.isArray ? top.node : top.member;
}

void Reader::valueTaken() {
    if (!frames_.empty() && frames_.back().isArray) {
        ++frames_.back().index;
    }
}

bool Reader::leaf(LeafValue const& value) {
    SchemaNode const& node = *expected();
    bool const isElement = !frames_.empty() && frames_.back().isArray;
    bool const takesLeaf = isElement ? node.kind == Kind::LeafList : node.kind == Kind::Leaf;
    if (!takesLeaf) {
        std::string_view const wanted = isElement ? "an object" : expectation(node.kind);
        return fail(*refuse(wanted, value));
    }
    if (Refusal refusal = node.store(draft_, value)) {
        return fail(std::move(*refusal));
    }
    valueTaken();
    return true;
}

bool Reader::start_object(std::size_t /*size*/) {
    SchemaNode const& node = *expected();
    bool const isElement = !frames_.empty() && frames_.back().isArray;
    if (isElement ? node.kind != Kind::List : node.kind != Kind::Container) {
        bool const wantsLeaf = isElement || node.kind == Kind::Leaf;
        return fail(fmt::format("expected {}, found an object",
                                wantsLeaf ? "a single value" : expectation(node.kind)));
    }
    return enter(node, false);
}

bool Reader::start_array(std::size_t /*size*/) {
    SchemaNode const& node = *expected();
    bool const isElement = !frames_.empty() && frames_.back().isArray;
    if (isElement || (node.kind != Kind::List && node.kind != Kind::LeafList)) {
        std::string_view const element = node.kind == Kind::List ? "an object" : "a single value";
        return fail(fmt::format("expected {}, found an array",
                                isElement ? element : expectation(node.kind)));
    }
    return enter(node, true);
}

bool Reader::enter(SchemaNode const& node, bool isArray) {
    if (!isArray && node.hook == SchemaNode::Hook::Set) {
        draft_.set = {};
    }
    if (!isArray && node.hook == SchemaNode::Hook::Entry) {
        if (draft_.set.entries.size() == tableCapacity) {
            return fail(
                fmt::format("more than {} entries: the table holds no more", tableCapacity));
        }
        draft_.entry = {};
    }
    draft_.entry.containers |= node.matchContainer;
    frames_.push_back({.node = &node, .isArray = isArray});
    return true;
}

bool Reader::key(string_t& name) {
    Frame& top = frames_.back();
    top.member = nullptr;
    SchemaNode const* const child = findChild(*top.node, name);
    if (child == nullptr) {
        return failAt(pointer() + token(name),
                      "unknown field " + inQuotes(name) + suggestion(*top.node, name));
    }
    top.member = child;
    if (child->kind == Kind::Refused) {
        return fail(std::string(child->refusal));
    }
    auto const bit = MemberSet{1} << (child - top.node->children.data());
    if ((top.seen & bit) != 0) {
        return fail("the field is given twice");
    }
    top.seen |= bit;
    return true;
}

bool Reader::end_object() {
    SchemaNode const& node = *frames_.back().node;
    if (node.hook == SchemaNode::Hook::Set && !endSet()) {
        return false;
    }
    if (node.hook == SchemaNode::Hook::Entry) {
        draft_.set.entries.push_back(std::move(draft_.entry));
    }
    bool const isRoot = frames_.size() == 1;
    if (isRoot && frames_.back().seen == 0) {
        return failAt("", "no \"openconfig-acl:acl\" in the file");
    }
    frames_.pop_back();
    valueTaken();
    return true;
}

bool Reader::end_array() {
    frames_.pop_back();
    return true;
}

bool Reader::endSet() {
    auto problem = assembler_.addSet(draft_.set);
    draft_.set = {};
    if (!problem) {
        return true;
    }
    frames_.back().member = nullptr;
    return failAt(pointer() + problem->where, std::move(problem->reason));
}

std::string Reader::pointer() const {
    std::string text;
    for (Frame const& frame : frames_) {
        if (frame.isArray) {
            text += fmt::format("/{}", frame.index);
        } else if (frame.member != nullptr) {
            text += token(frame.member->name);
        }
    }
    return text;
}

bool Reader::fail(std::string reason) {
    return failAt(pointer(), std::move(reason));
}

bool Reader::failAt(std::string pointer, std::string reason) {
    problem_ = Problem{std::move(pointer), std::move(reason)};
    return false;
}

bool Reader::parse_error(std::size_t /*position*/, std::string const& /*token*/,
                         nlohmann::json::exception const& error) {
    constexpr std::size_t maxReasonSize = 300;
    std::string_view reason = error.what();
    if (auto const end = reason.find("] "); reason.starts_with('[') && end != reason.npos) {
        reason.remove_prefix(end + 2);
    }
    std::string text = "not JSON: ";
    for (char const c : reason.substr(0, maxReasonSize)) {
        text += (static_cast<unsigned char>(c) & 0x80u) != 0 ? '?' : c;
    }
    return fail(std::move(text));
}

} // namespace LoamPolicy
