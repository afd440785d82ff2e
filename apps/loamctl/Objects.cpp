#include <fmt/format.h>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/LiveAgent.h>
#include <apps/loamctl/TextTable.h>

// Objects of a live agent by path.
namespace LoamCtl {

namespace {

using Json = LiveAgent::Json;

// As the person wrote it: true, false, null and numbers are such, all else is text.
Json valueOf(std::string const& text) {
    auto const json = Json::parse(text, nullptr, false);
    return json.is_boolean() || json.is_null() || json.is_number_unsigned() ? json : Json(text);
}

Json requestOf(Context const& context, char const* name) {
    auto const& options = context.options();
    Json request{{"request", name}, {"path", options.text}};
    if (options.force) {
        request["force"] = true;
    }
    return request;
}

// A value: its text, or all of it as JSON.
ExitStatus tell(Context const& context, Json const& value) {
    fmt::print("{}\n", context.options().json ? value.dump(2) : value["text"].get<std::string>());
    return exitDone;
}

std::string whatOf(Json const& attribute) {
    if (attribute.contains("signature")) {
        return attribute["signature"].get<std::string>();
    }
    auto text = attribute["name"].get<std::string>();
    if (attribute.contains("key-type")) {
        text += "[" + attribute["key-type"].get<std::string>() + "]";
    }
    return text;
}

} // namespace

ExitStatus listObjects(Context& context) {
    auto const names = LiveAgent{context.folder()}.ask({{"request", "objects"}});
    if (context.options().json) {
        fmt::print("{}\n", Json{{"objects", names}}.dump(2));
        return exitDone;
    }
    for (auto const& name : names) {
        fmt::print("{}\n", name.get<std::string>());
    }
    return exitDone;
}

ExitStatus describeObject(Context& context) {
    using enum TextTable::Align;
    auto const described = LiveAgent{context.folder()}.ask(requestOf(context, "describe"));
    if (context.options().json) {
        fmt::print("{}\n", described.dump(2));
        return exitDone;
    }
    fmt::print("{}: {}\n", described["class"].get<std::string>(),
               described["description"].get<std::string>());
    TextTable text{{{"NUMBER", right}, {"NAME", left}, {"KIND", left}, {"TYPE", left}, {"", left}}};
    for (auto const& attribute : described["attributes"]) {
        text.row({fmt::format("{:#x}", attribute["number"].get<unsigned>()), whatOf(attribute),
                  attribute["kind"], attribute.value("type", std::string{}),
                  attribute["description"]});
    }
    fmt::print("{}", text.text());
    return exitDone;
}

ExitStatus getAttribute(Context& context) {
    return tell(context, LiveAgent{context.folder()}.ask(requestOf(context, "get")));
}

ExitStatus setAttribute(Context& context) {
    auto request = requestOf(context, "set");
    request["value"] = valueOf(context.options().arguments.front());
    return tell(context, LiveAgent{context.folder()}.ask(request));
}

ExitStatus callOperation(Context& context) {
    auto request = requestOf(context, "call");
    request["arguments"] = Json::array();
    for (auto const& argument : context.options().arguments) {
        request["arguments"].push_back(valueOf(argument));
    }
    return tell(context, LiveAgent{context.folder()}.ask(request));
}

// In portions, each where the one before has ended.
ExitStatus iterateCollection(Context& context) {
    auto const& options = context.options();
    LiveAgent agent{context.folder()};
    Json all = Json::array();
    auto request = requestOf(context, "iterate");
    if (!options.from.empty()) {
        request["from"] = options.from;
    }
    for (bool more = true; more; request = Json{{"request", "iterate-on"}}) {
        if (options.most != 0) {
            request["most"] = options.most - all.size();
        }
        auto const portion = agent.ask(request);
        for (auto const& element : portion["elements"]) {
            all.push_back(element);
        }
        more = portion.value("more", false) && (options.most == 0 || all.size() < options.most);
    }
    if (options.json) {
        fmt::print("{}\n", Json{{"elements", all}}.dump(2));
        return exitDone;
    }
    for (auto const& element : all) {
        auto const& key = element["key"];
        auto const value = element["text"].get<std::string>();
        fmt::print("{}\n", key.is_null()   ? value
                           : value.empty() ? key.get<std::string>()
                                           : key.get<std::string>() + "  " + value);
    }
    return exitDone;
}

} // namespace LoamCtl
