#include <fmt/format.h>
#include <fmt/ranges.h>

#include <apps/loamctl/LiveAgent.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace LoamCtl {

namespace {

using Json = LiveAgent::Json;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds answerTime{30000}; // a policy may be read meanwhile

// Below zero when nobody listens.
int connectTo(std::string const& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return -1;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    int const file = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (file >= 0 &&
        ::connect(file, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
        ::close(file);
        return -1;
    }
    return file;
}

[[noreturn]] void agentHasGone() {
    throw UsageError{"the agent has ended, or closed the connection"};
}

// A refusal in the agent's words.
[[noreturn]] void refuse(Json const& answer) {
    auto sentence = answer.value("error", std::string{"the agent refused without a reason"});
    if (auto const thereIs = answer.find("there-is");
        thereIs != answer.end() && thereIs->is_array()) {
        std::vector<std::string> names;
        for (auto const& each : *thereIs) {
            names.push_back(each.is_string() ? each.get<std::string>() : each.dump());
        }
        sentence += fmt::format("; there is: {}", fmt::join(names, ", "));
    }
    throw UsageError{sentence};
}

} // namespace

LiveAgent::LiveAgent(std::string const& folder) : socket_{connectTo(folder + "/control")} {
    if (socket_ < 0) {
        throw UsageError{
            fmt::format("{}/control: no agent listens here; this needs a live one", folder)};
    }
}

LiveAgent::LiveAgent(LiveAgent&& other) noexcept
    : socket_{std::exchange(other.socket_, -1)}, in_{std::move(other.in_)} {}

LiveAgent::~LiveAgent() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

std::optional<LiveAgent> LiveAgent::find(std::string const& folder) {
    int const file = connectTo(folder + "/control");
    return file < 0 ? std::nullopt : std::optional<LiveAgent>{LiveAgent{file}};
}

void LiveAgent::send(std::string const& line) {
    std::size_t sent = 0;
    while (sent < line.size()) {
        auto const size = ::send(socket_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size <= 0) {
            agentHasGone();
        }
        sent += static_cast<std::size_t>(size);
    }
}

std::optional<std::string> LiveAgent::takeLine() {
    auto const end = in_.find('\n');
    if (end == std::string::npos) {
        return std::nullopt;
    }
    auto line = in_.substr(0, end);
    in_.erase(0, end + 1);
    return line;
}

std::optional<Json> LiveAgent::next(int timeoutMs) {
    auto const limit = Clock::now() + std::chrono::milliseconds{timeoutMs};
    for (;;) {
        if (auto const line = takeLine()) {
            auto json = Json::parse(*line, nullptr, false);
            if (!json.is_object()) {
                throw UsageError{"the agent said something that is no JSON object"};
            }
            return json;
        }
        auto const rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now()).count();
        pollfd waited{socket_, POLLIN, 0};
        if (rest <= 0 || ::poll(&waited, 1, static_cast<int>(rest)) <= 0) {
            return std::nullopt;
        }
        std::array<char, 65536> chunk;
        auto const size = ::recv(socket_, chunk.data(), chunk.size(), 0);
        if (size <= 0) {
            agentHasGone();
        }
        in_.append(chunk.data(), static_cast<std::size_t>(size));
    }
}

Json LiveAgent::ask(Json const& request) {
    send(request.dump() + "\n");
    auto const limit = Clock::now() + answerTime;
    while (Clock::now() < limit) {
        auto answer = next(1000);
        if (!answer || !answer->contains("ok")) {
            continue; // time, a signal, or an event
        }
        if (!answer->value("ok", false)) {
            refuse(*answer);
        }
        return answer->value("result", Json{});
    }
    throw UsageError{"the agent does not answer; it may be reading a large policy"};
}

} // namespace LoamCtl
