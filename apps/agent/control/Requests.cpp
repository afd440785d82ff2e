#include <Ombra/Exception.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/control/Requests.h>
#include <exception>

namespace LoamAgent {

namespace {

using Type = Arguments::Type;

char const* nameOf(Type type) {
    switch (type) {
    case Type::text:
        return "text";
    case Type::number:
        return "number";
    case Type::boolean:
        return "true or false";
    case Type::list:
        return "list";
    case Type::value:
        break;
    }
    return "any value";
}

bool fits(Json const& value, Type type) {
    switch (type) {
    case Type::text:
        return value.is_string();
    case Type::number:
        return value.is_number_unsigned();
    case Type::boolean:
        return value.is_boolean();
    case Type::list:
        return value.is_array();
    case Type::value:
        break;
    }
    return true;
}

// The texts of one JSON value are small enough for a person, whatever the client sent.
std::string shortText(Json const& value) {
    auto text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (text.size() > 80) {
        text = text.substr(0, 77) + "...";
    }
    return text;
}

std::vector<std::string> namesOf(std::vector<Argument> const& arguments) {
    std::vector<std::string> names;
    names.reserve(arguments.size());
    for (auto const& each : arguments) {
        names.emplace_back(each.name);
    }
    return names;
}

void check(Request const& request, Json const& given) {
    for (auto const& [name, value] : given.items()) {
        if (name == "request" || name == "id") {
            continue;
        }
        auto const known = std::ranges::find(request.arguments, name, &Argument::name);
        if (known == request.arguments.end()) {
            throw RequestError{
                fmt::format("the request \"{}\" has no argument \"{}\"", request.name, name),
                namesOf(request.arguments)};
        }
        if (!fits(value, known->type)) {
            throw RequestError{fmt::format("the argument \"{}\" is {}; expected: {}", name,
                                           shortText(value), nameOf(known->type))};
        }
    }
    for (auto const& argument : request.arguments) {
        if (argument.required && !given.contains(argument.name)) {
            throw RequestError{fmt::format("the request \"{}\" needs the argument \"{}\": {}",
                                           request.name, argument.name, argument.description)};
        }
    }
}

Json errorJson(std::string const& sentence, std::vector<std::string> const& thereIs = {}) {
    Json error{{"ok", false}, {"error", sentence}};
    if (!thereIs.empty()) {
        error["there-is"] = thereIs;
    }
    return error;
}

std::string lineOf(Json const& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace

Requests::Requests() {
    add({"requests", "lists all requests", {}, [this](Arguments const&, Session&) {
             return list();
         }});
}

Json Requests::list() const {
    Json all = Json::array();
    for (auto const& request : requests_) {
        Json arguments = Json::array();
        for (auto const& argument : request.arguments) {
            arguments.push_back({{"name", argument.name},
                                 {"type", nameOf(argument.type)},
                                 {"required", argument.required},
                                 {"description", argument.description}});
        }
        all.push_back({{"name", request.name},
                       {"description", request.description},
                       {"arguments", arguments}});
    }
    return all;
}

Request const& Requests::find(Json const& request) const {
    std::vector<std::string> names;
    for (auto const& each : requests_) {
        names.emplace_back(each.name);
    }
    auto const name = request.find("request");
    if (name == request.end() || !name->is_string()) {
        throw RequestError{"a request names what it asks for: {\"request\": \"NAME\", ...}", names};
    }
    auto const found = std::ranges::find(names, name->get<std::string>());
    if (found == names.end()) {
        throw RequestError{fmt::format("there is no request {}", shortText(*name)), names};
    }
    return requests_[static_cast<std::size_t>(found - names.begin())];
}

Json Requests::answerTo(Json const& request, Session& session) const {
    try {
        auto const& known = find(request);
        check(known, request);
        return {{"ok", true}, {"result", known.handler(Arguments{request}, session)}};
    } catch (RequestError const& error) {
        return errorJson(error.what(), error.thereIs());
    } catch (Ombra::Exception const& failure) {
        return errorJson(failure.msg().str());
    } catch (std::exception const& failure) {
        return errorJson(failure.what());
    }
}

std::string Requests::answer(std::string const& line, Session& session) const {
    // What is nested deeper than any request is refused before anything recurses into it.
    constexpr int deepest = 16;
    bool tooDeep = false;
    auto const request = Json::parse(
        line,
        [&](int depth, Json::parse_event_t, Json const&) {
            tooDeep = tooDeep || depth > deepest;
            return !tooDeep;
        },
        false);
    if (tooDeep) {
        return lineOf(errorJson(fmt::format("a request is nested {} deep at most", deepest)));
    }
    if (!request.is_object()) {
        return lineOf(errorJson("a request is one line with one JSON object; there is a request "
                                "\"requests\" that lists all"));
    }
    auto answer = answerTo(request, session);
    if (auto const id = request.find("id"); id != request.end()) {
        answer["id"] = *id;
    }
    auto text = lineOf(answer);
    if (text.size() > Session::mostAnswerBytes) {
        text = lineOf(errorJson(fmt::format("the answer has {} bytes, and {} at most are sent: ask "
                                            "for less at once",
                                            text.size(), Session::mostAnswerBytes)));
    }
    return text;
}

} // namespace LoamAgent
