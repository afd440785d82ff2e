#pragma once

#include <apps/agent/Course.h>
#include <apps/agent/History.h>
#include <apps/agent/Platform.h>
#include <cstdint>
#include <string>
#include <vector>

namespace LoamAgent {

class Recording;
class Requests;

// What requests may use of the agent.
class AgentControl {
  public:
    virtual ~AgentControl() = default;

    virtual Platform& platform() = 0;
    virtual Course& course() = 0;
    virtual History const& history() const = 0;
    virtual Recording& recording() = 0;
    virtual std::vector<std::uint16_t> const& units() const = 0;
    virtual std::string const& folder() const = 0; // of the manager

    // There may be something to do: the loop has its turn.
    virtual void wake() = 0;

    // Why the policy is refused; empty when it is not.
    virtual std::string reload() = 0;
};

// Each adds what its file is about.
void addWorkRequests(Requests& requests, AgentControl& agent);
void addTableRequests(Requests& requests, AgentControl& agent);
void addExplainRequest(Requests& requests, AgentControl& agent);
void addWatchRequest(Requests& requests, AgentControl& agent);
void addObjectRequests(Requests& requests, AgentControl& agent);
void addRecordRequests(Requests& requests, AgentControl& agent);
void addTraceRequests(Requests& requests);

} // namespace LoamAgent
