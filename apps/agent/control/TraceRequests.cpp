#include <Zet/TraceHandle.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Requests.h>
#include <fnmatch.h>

// The text traces of the live agent.
namespace LoamAgent {

namespace {

std::vector<std::string> handleNames() {
    std::vector<std::string> names;
    for (auto const& handle : Zet::TraceHandle::all()) {
        names.push_back(handle.name);
    }
    return names;
}

// A pattern that no handle has is a slip of the pen, and nobody would ever notice.
void checkPatterns(std::string_view text) {
    auto const names = handleNames();
    while (!text.empty()) {
        auto const one = text.substr(0, text.find(';'));
        std::string const pattern{one.substr(0, one.find('='))};
        bool const known = std::ranges::any_of(names, [&](std::string const& name) {
            return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
        });
        if (!known && !pattern.empty() && pattern != one) { // or it is malformed
            throw RequestError{fmt::format("no trace handle matches '{}'", pattern), names};
        }
        text.remove_prefix(std::min(one.size() + 1, text.size()));
    }
}

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

void setLevels(std::string const& text) {
    checkPatterns(text);
    if (auto const fault = Zet::TraceHandle::levelsFromText(text); !fault.empty()) {
        throw RequestError{fault};
    }
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
                          setLevels(arguments.text("set"));
                      }
                      return handles();
                  }});
}

} // namespace LoamAgent
