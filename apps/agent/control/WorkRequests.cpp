#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Requests.h>
#include <unistd.h>

// Where the agent's work stands, and orders for it.
namespace LoamAgent {

namespace {

Json statusOf(AgentControl& agent) {
    auto& platform = agent.platform();
    auto const amount = agent.course().amount();
    return {{"pid", ::getpid()},
            {"run", platform.group().agentRun()},
            {"units", agent.units()},
            {"settled", agent.course().settled()},
            {"entries-done", amount.done},
            {"entries-total", amount.total},
            {"marking", platform.inMarkingState()},
            {"queued", platform.resolver().queued()},
            {"failed-commits", platform.resolver().failedCommits()},
            {"unapplied-changes", platform.unappliedChanges()},
            {"logged-changes", platform.loggedChanges()}};
}

} // namespace

void addWorkRequests(Requests& requests, AgentControl& agent) {
    requests.add({"status", "tells where the agent's work stands", {}, [&](auto const&, auto&) {
                      return statusOf(agent);
                  }});
    requests.add({"flush",
                  "deletes all entries of all tables, with one change per table; the policy comes "
                  "back with a reload, a changed file or a restart",
                  {},
                  [&](auto const&, auto&) {
                      agent.course().flush();
                      agent.wake();
                      return Json{{"entries", agent.course().amount().total}};
                  }});
    requests.add({"reload",
                  "reads the policy file again and writes what differs",
                  {},
                  [&](auto const&, auto&) {
                      if (auto const trouble = agent.reload(); !trouble.empty()) {
                          throw RequestError{trouble};
                      }
                      return Json{{"entries", agent.course().amount().total}};
                  }});
}

} // namespace LoamAgent
