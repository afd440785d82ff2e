#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include <apps/agent/ExitStatus.h>
#include <apps/agent/Options.h>
#include <apps/agent/Platform.h>
#include <apps/agent/Programmer.h>
#include <apps/agent/ProgressLine.h>
#include <apps/policy/Policy.h>
#include <memory>

// The agent's event loop: one thread, and nothing in it blocks.
//
//     event                    what happens
//     a turn of work           feeds the programmer, runs the resolver, rings the hardware side;
//                              posts the next turn while there is work
//     doorbell, or tick        looks how far the hardware side has come, which answers handles and
//                              makes room in the logs, and so may give work
//     SIGHUP                   reads the policy file again (this takes as long as it takes); a file
//                              that is refused changes nothing
//     SIGTERM, SIGINT          commits what waits in the resolver, says what is left, ends
//     every second             has somebody ordered a new start?
//
// Where the agent stands:
//
//     replaying --fed--> closing --resolver empty--> committed --all applied--> settled
//         ^               (sweep and reconcile          (summary)                  |
//         |                once per process)                                       |
//         +------------------------------ SIGHUP, from any state ------------------+
//
// While a restarted agent replays, its tables mark, and suppress writes of what they hold; until
// the sweep has closed that, another policy is replayed whole as well. Afterwards only differences
// are written.
namespace LoamAgent {

class Agent {
  public:
    // Throws `Ombra::Exception` when tables, state store or ring can't be had.
    Agent(Options const& options, std::shared_ptr<LoamPolicy::Policy const> policy);

    // Until the end of the agent. Throws what a commit throws: a full file system, above all.
    ExitStatus run();

  private:
    enum class State { replaying, closing, committed, settled };

    void sayWhatWasFound();
    void program(std::shared_ptr<LoamPolicy::Policy const> policy);
    void waitForSignal();
    void waitForDoorbell();
    void waitForTick();
    void lookAtHardware();
    void checkRelaunch();
    void post();
    void turn();
    void advance();
    void summarise();
    void settle();
    void showProgress();
    void reload();
    void stop();
    void end(ExitStatus status);

    Options options_;
    ProgressLine progressLine_;
    Platform platform_;
    Programmer programmer_;
    State state_ = State::replaying;
    bool swept_;
    bool replaying_ = true; // the current policy was written whole and not by differences
    bool posted_ = false;
    bool ended_ = false;
    ExitStatus status_ = exitDone;
    std::uint64_t loggedBefore_ = 0;  // changes of this run before the current policy
    AgentTable::Counts countsBefore_; // likewise
    std::uint64_t sweptEntries_ = 0;
    asio::io_context io_{1};
    asio::signal_set signals_{io_};
    asio::steady_timer tick_{io_};
    asio::posix::stream_descriptor bell_{io_};
    ProgressLine::Clock::time_point nextRelaunchCheck_{};
};

} // namespace LoamAgent
