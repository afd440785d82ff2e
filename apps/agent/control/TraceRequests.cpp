#include <Zet/TraceHandle.h>

#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Requests.h>

// The text traces of the live agent.
namespace LoamAgent {

namespace {

Json handles() {
    Json all = Json::array();
    for (auto const& handle : Zet::TraceHandle::all()) {
        Json levels = Json::array();
        for (unsigned level = 0; level < 16; ++level) {
            if ((handle.levels >> level & 1U) != 0) {
                levels.push_back(level);
            }
        }
        all.push_back({{"name", handle.name}, {"levels", levels}});
    }
    return all;
}

} // namespace

void addTraceRequests(Requests& requests) {
    using enum Arguments::Type;
    requests.add({"trace",
                  "lists the trace handles with their levels, after setting levels if asked to",
                  {{"set", text, false,
                    "PATTERN=LEVEL[,LEVEL...][;...]; * and ? stand for any text and any letter, a "
                    "LEVEL is 0 to 15, all or off"}},
                  [](Arguments const& arguments, auto&) {
                      if (arguments.has("set")) {
                          auto const fault =
                              Zet::TraceHandle::levelsFromText(arguments.text("set"));
                          if (!fault.empty()) {
                              throw RequestError{fault};
                          }
                      }
                      return handles();
                  }});
}

} // namespace LoamAgent
