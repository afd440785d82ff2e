#pragma once

#include <nlohmann/json.hpp>

#include <apps/agent/control/RequestError.h>
#include <apps/agent/control/Session.h>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What can be asked of a live agent. One line of JSON is one request, and one line answers it:
//
//     {"request": "explain", "table": "Ipv4SystemPolicyTcamEntry", "key": 65636, "id": 7}
//     {"id": 7, "ok": true, "result": {...}}
//     {"id": 7, "ok": false, "error": "...", "there-is": ["...", ...]}
//
// "id" may be anything and may be left out; "there-is" is there when something was named that does
// not exist. {"request": "requests"} lists all requests with their arguments.
//
// Every handler answers at once and is bounded in what it does; what is long is asked for in
// portions ("first", "most"). Whatever is wrong with a request is found before anything changes.
namespace LoamAgent {

using Json = nlohmann::ordered_json;

// The arguments of one request, of which all that are there are known and of the right type.
class Arguments {
  public:
    enum class Type : std::uint8_t { text, number, boolean, value, list };

    explicit Arguments(Json const& request) : request_{request} {}

    bool has(char const* name) const { return request_.contains(name); }
    std::string text(char const* name) const { return request_[name].get<std::string>(); }
    std::uint64_t number(char const* name, std::uint64_t otherwise = 0) const {
        return has(name) ? request_[name].get<std::uint64_t>() : otherwise;
    }
    bool boolean(char const* name) const { return has(name) && request_[name].get<bool>(); }
    Json const& value(char const* name) const { return request_[name]; }

  private:
    Json const& request_;
};

struct Argument {
    char const* name;
    Arguments::Type type;
    bool required;
    char const* description;
};

struct Request {
    using Handler = std::function<Json(Arguments const&, Session&)>;

    char const* name;
    char const* description;
    std::vector<Argument> arguments;
    Handler handler;
};

class Requests {
  public:
    Requests();

    void add(Request request) { requests_.push_back(std::move(request)); }

    // The answer, without end of line.
    std::string answer(std::string const& line, Session& session) const;

  private:
    Json answerTo(Json const& request, Session& session) const;
    Request const& find(Json const& request) const;
    Json list() const;

    std::vector<Request> requests_;
};

} // namespace LoamAgent
