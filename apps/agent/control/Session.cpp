#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <fmt/format.h>

#include <apps/agent/control/Session.h>
#include <utility>

namespace LoamAgent {

Session::Session(Socket socket, Owner& owner) : socket_{std::move(socket)}, owner_{owner} {}

void Session::begin() {
    read();
}

void Session::read() {
    if (ended_ || ending_ || busy_ || reading_ || !out_.empty()) {
        return;
    }
    reading_ = true;
    socket_.async_read_some(asio::buffer(chunk_),
                            [self = shared_from_this()](std::error_code error, std::size_t size) {
                                self->reading_ = false;
                                if (error) {
                                    self->end();
                                    return;
                                }
                                self->in_.append(self->chunk_.data(), size);
                                self->lookForLine();
                            });
}

void Session::lookForLine() {
    if (busy_ || ending_ || ended_) {
        return;
    }
    auto const lineEnd = in_.find('\n');
    if (lineEnd == std::string::npos) {
        if (in_.size() > mostRequestBytes) {
            sayAndEnd(fmt::format(R"({{"ok":false,"error":"a request has {} bytes at most"}})",
                                  mostRequestBytes));
        } else {
            read();
        }
        return;
    }
    request_ = in_.substr(0, lineEnd);
    in_.erase(0, lineEnd + 1);
    busy_ = true;
    owner_.requestRead(shared_from_this());
}

std::string Session::takeRequest() {
    return std::exchange(request_, {});
}

void Session::answer(std::string line) {
    busy_ = false;
    put(std::move(line));
}

bool Session::tell(std::string const& line) {
    if (ended_ || ending_ || outBytes_ + line.size() > mostEventBytes) {
        return false;
    }
    put(line);
    return true;
}

void Session::sayAndEnd(std::string line) {
    ending_ = true;
    put(std::move(line));
}

void Session::put(std::string line) {
    if (ended_) {
        return;
    }
    line += '\n';
    outBytes_ += line.size();
    out_.push_back(std::move(line));
    if (out_.size() == 1) {
        write();
    }
}

// One line after the other; when all are taken, the next request may come.
void Session::write() {
    asio::async_write(socket_, asio::buffer(out_.front()),
                      [self = shared_from_this()](std::error_code error, std::size_t) {
                          if (error || self->ended_) {
                              self->end();
                              return;
                          }
                          self->outBytes_ -= self->out_.front().size();
                          self->out_.pop_front();
                          if (!self->out_.empty()) {
                              self->write();
                          } else if (self->ending_) {
                              self->end();
                          } else {
                              self->lookForLine();
                          }
                      });
}

void Session::end() {
    if (ended_) {
        return;
    }
    ended_ = true;
    attached_.clear();
    kept_ = nullptr;
    std::error_code ignored;
    socket_.close(ignored);
    owner_.sessionEnded(shared_from_this());
}

} // namespace LoamAgent
