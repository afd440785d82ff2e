#pragma once

#include <nlohmann/json.hpp>

#include <apps/loamctl/Context.h>
#include <optional>
#include <string>

// The control socket of a live agent (apps/agent/control).
namespace LoamCtl {

class LiveAgent {
  public:
    using Json = nlohmann::ordered_json;

    // Throws `UsageError` when no agent listens at the manager's folder.
    explicit LiveAgent(std::string const& folder);
    LiveAgent(LiveAgent&& other) noexcept;
    LiveAgent(LiveAgent const&) = delete;
    LiveAgent& operator=(LiveAgent const&) = delete;
    ~LiveAgent();

    // Nothing when no agent listens.
    static std::optional<LiveAgent> find(std::string const& folder);

    // The result of a request. Throws `UsageError` with the agent's words when it refuses, and when
    // it does not answer in time.
    Json ask(Json const& request);

    // The next line that the agent says by itself; nothing when time has passed or a signal has
    // come. Throws `UsageError` when the agent has ended.
    std::optional<Json> next(int timeoutMs);

    int fd() const { return socket_; }

  private:
    explicit LiveAgent(int socket) : socket_{socket} {}

    void send(std::string const& line);
    std::optional<std::string> takeLine();

    int socket_;
    std::string in_;
};

} // namespace LoamCtl
