#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include <apps/agent/Course.h>
#include <apps/agent/ExitStatus.h>
#include <apps/agent/History.h>
#include <apps/agent/Options.h>
#include <apps/agent/Platform.h>
#include <apps/agent/PolicyWatch.h>
#include <apps/agent/ProgressLine.h>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Requests.h>
#include <apps/agent/control/Server.h>
#include <apps/agent/record/Recording.h>
#include <apps/policy/Policy.h>
#include <csignal>
#include <memory>
#include <optional>
#include <string_view>

// The agent's event loop: one thread, and nothing in it blocks.
//
//     event                    what happens
//     a turn of work           feeds the tables, runs the resolver, rings the hardware side; posts
//                              the next turn while there is work
//     doorbell, or tick        looks how far the hardware side has come, which answers handles and
//                              makes room in the logs, and so may give work
//     the policy file changes, reads it again (this takes as long as it takes) and writes what
//     SIGHUP                   differs; a file that is refused changes nothing
//     SIGTERM, SIGINT          commits what waits in the resolver, says what is left, ends
//     a request at the         is answered, one at a time (control/Requests.h)
//     control socket
//     every second             has somebody ordered a new start?
//
// Where the work stands is told in Course.h.
namespace LoamAgent {

class Agent : private AgentControl {
  public:
    // Throws `Ombra::Exception` when tables, state store or ring can't be had.
    Agent(Options const& options, std::shared_ptr<LoamPolicy::Policy const> policy);

    // Until the end of the agent. Throws what a commit throws: a full file system, above all.
    ExitStatus run();

  private:
    Platform& platform() override { return platform_; }
    Course& course() override { return course_; }
    History const& history() const override { return history_; }
    Recording& recording() override { return recording_; }
    std::vector<std::uint16_t> const& units() const override { return options_.units; }
    std::string const& folder() const override { return folder_; }
    void wake() override { post(); }
    std::string reload() override { return reload("was read again"); }

    void sayWhatWasFound();
    void openControl();
    void waitForSignal();
    void waitForDoorbell();
    void waitForTick();
    void lookAtHardware();
    void checkRelaunch();
    void post();
    void turn();
    std::string reload(std::string_view why); // why it is refused, or nothing
    void end(ExitStatus status);

    Options options_;
    std::string folder_; // of the manager
    asio::io_context io_{1};
    asio::signal_set signals_{io_, SIGTERM, SIGINT, SIGHUP}; // before anything that takes long
    ProgressLine progressLine_;
    Platform platform_;
    Course course_;
    History history_{platform_};
    Recording recording_{platform_};
    Requests requests_;
    bool posted_ = false;
    bool ended_ = false;
    ExitStatus status_ = exitDone;
    asio::steady_timer tick_{io_};
    asio::posix::stream_descriptor bell_{io_};
    PolicyWatch policyWatch_;
    std::optional<Server> server_;
    ProgressLine::Clock::time_point nextRelaunchCheck_{};
};

} // namespace LoamAgent
