#include <fmt/format.h>

#include <Inspect/Object.h>
#include <apps/agent/control/ObjectPath.h>
#include <apps/agent/control/Requests.h>
#include <apps/agent/control/TableCall.h>
#include <memory>

// Any object of the agent, by path and by the names of its attributes; what there is is told by the
// classes themselves.
namespace LoamAgent {

namespace {

constexpr std::uint64_t mostElements = 1000; // of an iteration, in one answer

Json jsonOf(Inspect::Value const& value) {
    auto json = Json::parse(value.json(), nullptr, false);
    return {{"type", std::string{value.type().name}},
            {"text", value.text()},
            {"value", json.is_discarded() ? Json(value.text()) : std::move(json)}};
}

Json describeAttribute(Inspect::Attribute const& attribute) {
    Json json{{"name", attribute.name},
              {"number", attribute.number},
              {"kind", Inspect::textOf(attribute.kind)},
              {"read-only", attribute.readOnly},
              {"description", attribute.doc}};
    if (attribute.type != nullptr) {
        json["type"] = attribute.type->name;
    }
    if (attribute.keyType != nullptr) {
        json["key-type"] = attribute.keyType->name;
    }
    if (attribute.kind == Inspect::AttributeKind::operation) {
        json["signature"] = attribute.signature();
        json["hazardous"] = attribute.hazardous;
    }
    return json;
}

Json describe(AgentControl& agent, Arguments const& arguments) {
    auto const object = resolveObject(agent, arguments.text("path"));
    Json attributes = Json::array();
    for (auto const* attribute : object.cls().attributes()) {
        attributes.push_back(describeAttribute(*attribute));
    }
    return {{"class", object.cls().name()},
            {"description", object.cls().doc()},
            {"attributes", attributes}};
}

// An argument as JSON has it; a text that begins with @ is the path of an object.
Inspect::Value valueOf(AgentControl& agent, Json const& json) {
    if (json.is_null()) {
        return {};
    }
    if (json.is_boolean()) {
        return Inspect::Value{json.get<bool>()};
    }
    if (json.is_number_unsigned()) {
        return Inspect::Value{json.get<std::uint64_t>()};
    }
    auto const text = json.is_string() ? json.get<std::string>() : json.dump();
    if (text.starts_with('@')) {
        return Inspect::Value{resolveObject(agent, text.substr(1))};
    }
    return Inspect::Value{std::string_view{text}};
}

// What is dangerous is not done by mistake.
void checkHazard(Inspect::Attribute const& attribute, Arguments const& arguments) {
    if (attribute.hazardous && !arguments.boolean("force")) {
        throw RequestError{fmt::format("{} takes away what others stand on; it is done only with "
                                       "\"force\"",
                                       attribute.name)};
    }
}

PathEnd attributeOf(AgentControl& agent, Arguments const& arguments) {
    auto end = resolvePath(agent, arguments.text("path"));
    if (end.attribute.empty()) {
        std::vector<std::string> names;
        for (auto const* attribute : end.object.cls().attributes()) {
            names.emplace_back(attribute->name);
        }
        throw RequestError{fmt::format("{} is an object; name one of its attributes behind a dot",
                                       arguments.text("path")),
                           names};
    }
    return end;
}

Json set(AgentControl& agent, Arguments const& arguments) {
    auto const end = attributeOf(agent, arguments);
    auto const value = valueOf(agent, arguments.value("value"));
    auto const& attribute = end.object.attribute(end.attribute);
    checkHazard(attribute, arguments);
    if (end.hasKey) {
        end.object.set(attribute, Inspect::Value{std::string_view{end.key}}, value);
    } else {
        end.object.set(attribute, value);
    }
    agent.wake();
    return jsonOf(end.value());
}

Json call(AgentControl& agent, Arguments const& arguments) {
    auto const end = attributeOf(agent, arguments);
    auto const& attribute = end.object.attribute(end.attribute);
    checkHazard(attribute, arguments);
    std::vector<Inspect::Value> values;
    if (arguments.has("arguments")) {
        for (auto const& each : arguments.value("arguments")) {
            values.push_back(valueOf(agent, each));
        }
    }
    auto const result = callByName(agent, end.object, attribute, values);
    agent.wake();
    return jsonOf(result);
}

// The next elements of a walk, which the client may go on with when there are more.
Json portionOf(std::shared_ptr<Inspect::Iterator> const& walk, Arguments const& arguments,
               Session& session) {
    auto const most = std::min(arguments.number("most", mostElements), mostElements);
    Json elements = Json::array();
    for (; *walk && elements.size() < most; walk->next()) {
        auto const key = walk->key();
        Json element = jsonOf(walk->value());
        element["key"] = key.isNothing() ? Json(nullptr) : Json(key.text());
        elements.push_back(std::move(element));
    }
    bool const more{*walk};
    session.kept() = more ? walk : nullptr;
    return {{"elements", elements}, {"more", more}};
}

Json iterate(AgentControl& agent, Arguments const& arguments, Session& session) {
    auto const end = attributeOf(agent, arguments);
    auto const& attribute = end.object.attribute(end.attribute);
    auto const from = arguments.has("from") ? arguments.text("from") : end.key;
    if (from.empty()) {
        return portionOf(std::make_shared<Inspect::Iterator>(end.object.iterate(attribute)),
                         arguments, session);
    }
    Inspect::Value const key{std::string_view{from}};
    if (!end.object.has(attribute, key)) {
        throw RequestError{fmt::format("{} has no key {} to begin with", attribute.name, from)};
    }
    return portionOf(std::make_shared<Inspect::Iterator>(end.object.iterate(attribute, key)),
                     arguments, session);
}

Json iterateOn(Arguments const& arguments, Session& session) {
    if (!session.kept()) {
        throw RequestError{"no iteration of this client has more elements; \"iterate\" begins one"};
    }
    return portionOf(std::static_pointer_cast<Inspect::Iterator>(session.kept()), arguments,
                     session);
}

} // namespace

void addObjectRequests(Requests& requests, AgentControl& agent) {
    using enum Arguments::Type;
    Argument const path{"path", text, true,
                        "OBJECT.ATTRIBUTE[KEY]...; the request \"objects\" lists the objects"};
    Argument const force{"force", boolean, false, "do it although it may do harm"};
    requests.add({"objects", "lists what a path may begin with", {}, [&](auto const&, auto&) {
                      return Json(pathRoots(agent));
                  }});
    requests.add({"describe",
                  "tells an object's class and what there is to read, set, call and iterate",
                  {path},
                  [&](Arguments const& arguments, auto&) { return describe(agent, arguments); }});
    requests.add({"get",
                  "reads an attribute, or tells an object",
                  {path},
                  [&](Arguments const& arguments, auto&) {
                      return jsonOf(resolvePath(agent, arguments.text("path")).value());
                  }});
    requests.add(
        {"set",
         "sets an attribute, or the element of a key",
         {path, {"value", value, true, "the value; a text is read as the attribute's type"}, force},
         [&](Arguments const& arguments, auto&) { return set(agent, arguments); }});
    requests.add({"call",
                  "calls an operation and gives its result",
                  {path,
                   {"arguments", list, false, "values; @PATH stands for an object, null for none"},
                   force},
                  [&](Arguments const& arguments, auto&) { return call(agent, arguments); }});
    Argument const most{"most", number, false, "how many; 1000 at most"};
    requests.add({"iterate",
                  "lists the elements of a collection, a set or a queue",
                  {path, {"from", text, false, "the key to begin with"}, most},
                  [&](Arguments const& arguments, Session& session) {
                      return iterate(agent, arguments, session);
                  }});
    requests.add({"iterate-on",
                  "goes on with the client's last iteration, whatever has changed since",
                  {most},
                  [](Arguments const& arguments, Session& session) {
                      return iterateOn(arguments, session);
                  }});
}

} // namespace LoamAgent
