#include <asio/io_context.hpp>

#include <apps/agent/control/Requests.h>
#include <fuzz/Target.h>
#include <memory>
#include <string>

// A line on the control socket is answered by one line, whatever it holds. The requests are of the
// shape of the agent's, one argument of each type.
namespace {

using LoamAgent::Arguments;
using LoamAgent::Json;
using Type = Arguments::Type;

struct NoOwner final : LoamAgent::Session::Owner {
    void requestRead(std::shared_ptr<LoamAgent::Session> const&) override {}
    void sessionEnded(std::shared_ptr<LoamAgent::Session> const&) override {}
};

struct Served {
    Served() {
        requests.add({"status", "no arguments", {}, [](Arguments const&, LoamAgent::Session&) {
                          return Json::object();
                      }});
        requests.add({"table",
                      "all types of arguments",
                      {{"table", Type::text, true, "a text"},
                       {"first", Type::number, false, "a number"},
                       {"json", Type::boolean, false, "whether"},
                       {"arguments", Type::list, false, "several"},
                       {"value", Type::value, false, "anything"}},
                      [](Arguments const& arguments, LoamAgent::Session&) {
                          Json result{{"table", arguments.text("table")},
                                      {"first", arguments.number("first", 3)},
                                      {"json", arguments.boolean("json")}};
                          for (auto const* const name : {"arguments", "value"}) {
                              if (arguments.has(name)) {
                                  result[name] = arguments.value(name);
                              }
                          }
                          return result;
                      }});
    }

    asio::io_context io;
    NoOwner owner;
    std::shared_ptr<LoamAgent::Session> session = std::make_shared<LoamAgent::Session>(
        LoamAgent::Session::Socket{io}, static_cast<LoamAgent::Session::Owner&>(owner));
    LoamAgent::Requests requests;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Served served;
    std::string const line{reinterpret_cast<char const*>(data), size};
    std::string const answer = served.requests.answer(line, *served.session);
    fuzz::require(answer.find('\n') == std::string::npos, "an answer is one line");
    auto const json = Json::parse(answer, nullptr, false);
    fuzz::require(json.is_object() && json.contains("ok"), "an answer says whether it went well");
    fuzz::require(json["ok"] == true || !json["error"].get<std::string>().empty(),
                  "a refusal has its sentence");
    return 0;
}
