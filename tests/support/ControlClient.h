#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstring>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A client of an agent's control socket that may do as it likes: well, badly, or nothing at all.
namespace testing_support {

class ControlClient {
  public:
    explicit ControlClient(std::string const& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        connected_ =
            ::connect(socket_, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
    }
    ControlClient(ControlClient const&) = delete;
    ControlClient& operator=(ControlClient const&) = delete;
    ~ControlClient() { ::close(socket_); }

    bool connected() const { return connected_; }

    // As much as the agent takes without waiting; gives the bytes.
    std::size_t send(std::string const& bytes) const {
        auto const sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent < 0 ? 0 : static_cast<std::size_t>(sent);
    }

    // Sends nothing more, and goes on listening.
    void endSending() const { ::shutdown(socket_, SHUT_WR); }

    // Nothing when the agent has closed the connection or time has passed.
    std::optional<std::string> line(int timeoutMs = 20000) {
        for (;;) {
            if (auto const end = in_.find('\n'); end != std::string::npos) {
                auto const line = in_.substr(0, end);
                in_.erase(0, end + 1);
                return line;
            }
            pollfd waited{socket_, POLLIN, 0};
            char chunk[4096];
            auto const ready = ::poll(&waited, 1, timeoutMs);
            auto const size = ready == 1 ? ::recv(socket_, chunk, sizeof chunk, 0) : 0;
            if (size <= 0) {
                return std::nullopt;
            }
            in_.append(chunk, static_cast<std::size_t>(size));
        }
    }

    // The answer to a request; null without one.
    nlohmann::json ask(nlohmann::json const& request) { return askText(request.dump()); }
    nlohmann::json askText(std::string const& request) {
        send(request + "\n");
        auto const answer = line();
        return answer ? nlohmann::json::parse(*answer, nullptr, false) : nlohmann::json{};
    }

  private:
    int socket_ = -1;
    bool connected_ = false;
    std::string in_;
};

} // namespace testing_support
