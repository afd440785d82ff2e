#pragma once

#include <asio/local/stream_protocol.hpp>

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

// One client of the control socket: lines in, lines out, and bounds on both.
//
// It reads one request at a time: while a request waits for its turn, or the client does not take
// its answers, nothing more is read. Memory is so bounded by one request and `mostOutBytes`. What
// is told without being asked for, a watch's events, is dropped instead when the client is behind.
//
// Agent's thread. The session ends when the client does, or when a line is too long.
namespace LoamAgent {

class Session : public std::enable_shared_from_this<Session> {
  public:
    using Socket = asio::local::stream_protocol::socket;

    static constexpr std::size_t mostRequestBytes = std::size_t{64} << 10;
    static constexpr std::size_t mostAnswerBytes = std::size_t{4} << 20;
    static constexpr std::size_t mostEventBytes = std::size_t{256} << 10; // that wait in all

    struct Owner {
        virtual ~Owner() = default;
        // A whole line is there; `answer` is to be called once, soon and not from within.
        virtual void requestRead(std::shared_ptr<Session> const& session) = 0;
        virtual void sessionEnded(std::shared_ptr<Session> const& session) = 0;
    };

    Session(Socket socket, Owner& owner);

    void begin();

    // The request that was read, to be taken before `answer`.
    std::string takeRequest();
    void answer(std::string line);

    // Something to tell. False when it was dropped, because too much waits.
    bool tell(std::string const& line);

    // What lives as long as the client listens: its watches.
    std::vector<std::shared_ptr<void>>& attached() { return attached_; }

    // What a request keeps for the client's next one: where an iteration stands.
    std::shared_ptr<void>& kept() { return kept_; }

    // Answers what waits, and closes.
    void sayAndEnd(std::string line);
    void end();

  private:
    void read();
    void lookForLine();
    void put(std::string line);
    void write();

    Socket socket_;
    Owner& owner_;
    std::array<char, 4096> chunk_{};
    std::string in_;
    std::string request_;
    std::deque<std::string> out_;
    std::size_t outBytes_ = 0;
    std::vector<std::shared_ptr<void>> attached_;
    std::shared_ptr<void> kept_;
    bool busy_ = false; // a request waits for its answer
    bool reading_ = false;
    bool ending_ = false;
    bool ended_ = false;
};

} // namespace LoamAgent
