// Redis over a Unix socket: for each write SET of the configuration record, RPUSH of the log record
// and LPOP of the oldest one, so many writes in a pipeline.
//
// The time is that of both processes together: the processor's time of this thread and of the
// server, or what the clock says if that is less because the two overlap.
#include "PeerRecords.h"
#include "Time.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <hiredis/hiredis.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace bench;

[[noreturn]] void fail(char const* what) {
    std::fprintf(stderr, "Redis: %s\n", what);
    std::exit(1);
}

class Redis {
  public:
    Redis() : socket_{(folder() / "redis.socket").string()} {
        pid_ = ::fork();
        if (pid_ == 0) {
            ::execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", socket_.c_str(),
                     "--save", "", "--appendonly", "no", "--logfile", "/dev/null", nullptr);
            ::_exit(127);
        }
        for (int tries = 0; tries < 500; ++tries) {
            ::usleep(20'000);
            context_ = ::redisConnectUnix(socket_.c_str());
            if (context_ != nullptr && context_->err == 0) {
                break;
            }
            ::redisFree(context_);
            context_ = nullptr;
        }
        if (context_ == nullptr || ::clock_getcpuclockid(pid_, &clock_) != 0) {
            fail("the server does not answer");
        }
        write(keyCount, 1'024);
    }
    Redis(Redis const&) = delete;
    Redis& operator=(Redis const&) = delete;
    ~Redis() {
        ::redisFree(context_);
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }

    void write(std::size_t count, std::size_t pipeline) {
        for (std::size_t done = 0; done < count; done += pipeline) {
            for (std::size_t i = 0; i < pipeline; ++i) {
                append();
            }
            for (; answersDue_ != 0; --answersDue_) {
                void* reply = nullptr;
                if (::redisGetReply(context_, &reply) != REDIS_OK ||
                    static_cast<redisReply*>(reply)->type == REDIS_REPLY_ERROR) {
                    fail(context_->errstr);
                }
                ::freeReplyObject(reply);
            }
        }
    }

    double serverSeconds() const { return secondsOf(clock_); }

  private:
    void append() {
        records_.next();
        std::uint32_t const key = records_.key();
        ::redisAppendCommand(context_, "SET %b %b", &key, sizeof key,
                             static_cast<void const*>(&records_.config()), sizeof(ConfigRecord));
        ::redisAppendCommand(context_, "RPUSH log %b", static_cast<void const*>(&records_.log()),
                             sizeof(LogRecord));
        answersDue_ += 2;
        if (records_.version() > inFlight) {
            ::redisAppendCommand(context_, "LPOP log");
            ++answersDue_;
        }
    }

    std::string socket_;
    pid_t pid_;
    clockid_t clock_{};
    redisContext* context_ = nullptr;
    std::size_t answersDue_ = 0;
    PeerRecords records_;
};

void redisWrite(benchmark::State& state) {
    static Redis redis;
    auto const pipeline = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        auto const clock = secondsOf(CLOCK_MONOTONIC);
        auto const both = threadSeconds() + redis.serverSeconds();
        redis.write(pipeline, pipeline);
        state.SetIterationTime(std::min(secondsOf(CLOCK_MONOTONIC) - clock,
                                        threadSeconds() + redis.serverSeconds() - both));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(redisWrite)->ArgName("pipeline")->Arg(64)->Arg(1'024)->UseManualTime();

} // namespace
