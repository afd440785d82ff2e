#include <Ombra/Exception.h>

#include <asio/post.hpp>
#include <fmt/format.h>

#include <apps/agent/control/Server.h>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace LoamAgent {

namespace {

// The longest path that a socket's address has room for.
constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1;

// The mask keeps others out from the first moment; the folder has mode 0700 besides.
void openAt(asio::local::stream_protocol::acceptor& acceptor, std::string const& path) {
    if (path.size() > longestPath) {
        throw Ombra::Exception{fmt::format(
            "the control socket {} can't be made: its path has {} bytes, and a socket's has {} at "
            "most; choose a shorter --root",
            path, path.size(), longestPath)};
    }
    ::unlink(path.c_str());
    auto const mask = ::umask(0177);
    std::error_code error;
    acceptor.open(asio::local::stream_protocol{}, error);
    if (!error) {
        acceptor.bind(asio::local::stream_protocol::endpoint{path}, error);
    }
    ::umask(mask);
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw Ombra::Exception{
            fmt::format("the control socket {} can't be made: {}", path, error.message())};
    }
}

} // namespace

Server::Server(asio::io_context& io, std::string path, Handler handler)
    : io_{io}, path_{std::move(path)}, handler_{std::move(handler)}, acceptor_{io}, pause_{io} {
    openAt(acceptor_, path_);
    accept();
}

Server::~Server() {
    auto const sessions = std::exchange(sessions_, {});
    for (auto const& session : sessions) {
        session->end();
    }
    ::unlink(path_.c_str());
}

void Server::accept() {
    acceptor_.async_accept([this](std::error_code error, Session::Socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (!error) {
            take(std::move(socket));
            accept();
            return;
        }
        // No file descriptor is left, most likely: somebody will close one.
        pause_.expires_after(std::chrono::milliseconds{100});
        pause_.async_wait([this](std::error_code ended) {
            if (!ended) {
                accept();
            }
        });
    });
}

void Server::take(Session::Socket socket) {
    auto const session =
        std::make_shared<Session>(std::move(socket), static_cast<Session::Owner&>(*this));
    bool const full = sessions_.size() >= mostClients;
    sessions_.insert(session);
    if (full) {
        session->sayAndEnd(fmt::format(
            R"({{"ok":false,"error":"the agent has {} clients already, which is the most"}})",
            mostClients));
    } else {
        session->begin();
    }
}

void Server::requestRead(std::shared_ptr<Session> const& session) {
    waiting_.push_back(session);
    serveSoon();
}

void Server::sessionEnded(std::shared_ptr<Session> const& session) {
    sessions_.erase(session);
}

void Server::serveSoon() {
    if (!posted_) {
        posted_ = true;
        asio::post(io_, [this] {
            posted_ = false;
            serveOne();
        });
    }
}

void Server::serveOne() {
    auto const session = std::move(waiting_.front());
    waiting_.pop_front();
    if (sessions_.contains(session)) {
        session->answer(handler_(session->takeRequest(), *session));
    }
    if (!waiting_.empty()) {
        serveSoon();
    }
}

} // namespace LoamAgent
