#pragma once

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include <apps/agent/control/Session.h>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>

// The control socket: a Unix socket in the manager's folder, for this user alone.
//
// The requests of all clients wait in one line, of which each round of the event loop serves one,
// so that between two requests the agent's own work always has its turn. Clients beyond the limit
// are told so and sent away.
//
// Agent's thread. Made when the tables' locks are held: a socket that is found at the path belongs
// to nobody who lives.
namespace LoamAgent {

class Server : private Session::Owner {
  public:
    static constexpr std::size_t mostClients = 64;

    // Gives the answer, without end of line. Never throws.
    using Handler = std::function<std::string(std::string const& request, Session& session)>;

    // Throws `Ombra::Exception`.
    Server(asio::io_context& io, std::string path, Handler handler);
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;
    ~Server() override;

    std::size_t clients() const { return sessions_.size(); }

  private:
    void requestRead(std::shared_ptr<Session> const& session) override;
    void sessionEnded(std::shared_ptr<Session> const& session) override;
    void accept();
    void take(Session::Socket socket);
    void serveSoon();
    void serveOne();

    asio::io_context& io_;
    std::string path_;
    Handler handler_;
    asio::local::stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_; // after an accept that failed
    std::set<std::shared_ptr<Session>> sessions_;
    std::deque<std::shared_ptr<Session>> waiting_;
    bool posted_ = false;
};

} // namespace LoamAgent
