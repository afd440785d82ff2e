#include <Ombra/Exception.h>

#include <asio/post.hpp>
#include <fmt/format.h>

#include <apps/agent/Agent.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace LoamAgent {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t turnBudget = 1024; // operations: a turn takes about a millisecond
constexpr auto busyTick = 20ms;          // the longest that a lost ring can delay an answer
constexpr auto idleTick = 1s;
constexpr auto relaunchPeriod = 1s;

} // namespace

Agent::Agent(Options const& options, std::shared_ptr<LoamPolicy::Policy const> policy)
    : options_{options}, progressLine_{stdout, ::isatty(STDOUT_FILENO) == 1}, platform_{options},
      programmer_{platform_, options.units.size()}, swept_{options.reset} {
    sayWhatWasFound();
    program(std::move(policy));
}

void Agent::sayWhatWasFound() {
    std::uint64_t entries = 0;
    std::vector<std::string> lines;
    for (auto const& table : platform_.tables()) {
        std::uint64_t ofTable = 0;
        for (std::size_t unit = 0; unit < options_.units.size(); ++unit) {
            ofTable += table->entrys(unit);
        }
        entries += ofTable;
        if (ofTable != 0) {
            lines.push_back(fmt::format("  {}: {} entries at version {}, {} changes not applied",
                                        table->name(), ofTable, table->loggedVersion(),
                                        table->unappliedChanges()));
        }
    }
    auto const run = platform_.group().agentRun();
    progressLine_.say(
        entries == 0 ? fmt::format("start: run {} of the agent, its tables are empty", run)
                     : fmt::format("restart: run {} of the agent, found {} entries in {} tables",
                                   run, entries, lines.size()));
    for (auto const& line : lines) {
        progressLine_.say(line);
    }
}

void Agent::program(std::shared_ptr<LoamPolicy::Policy const> policy) {
    progressLine_.say(fmt::format("programming {} rules for {} {}", policy->rules().size(),
                                  options_.units.size(),
                                  options_.units.size() == 1 ? "unit" : "units"));
    state_ = State::replaying;
    replaying_ = !swept_;
    loggedBefore_ = platform_.loggedChanges();
    countsBefore_ = platform_.counts();
    programmer_.start(std::move(policy),
                      replaying_ ? Programmer::Writes::all : Programmer::Writes::differences);
    progressLine_.begin();
    post();
}

ExitStatus Agent::run() {
    signals_.add(SIGTERM);
    signals_.add(SIGINT);
    signals_.add(SIGHUP);
    waitForSignal();
    int const bell = ::dup(platform_.doorbell().fd());
    if (bell < 0) {
        throw Ombra::Exception{fmt::format("the doorbell can't be watched: {} (open files of this "
                                           "process are limited, see ulimit -n)",
                                           std::strerror(errno))};
    }
    bell_.assign(bell);
    waitForDoorbell();
    checkRelaunch();
    waitForTick();
    io_.run();
    return status_;
}

void Agent::waitForSignal() {
    signals_.async_wait([this](std::error_code error, int signal) {
        if (error || ended_) {
            return;
        }
        if (signal == SIGHUP) {
            reload();
            waitForSignal();
        } else {
            stop();
        }
    });
}

void Agent::waitForDoorbell() {
    bell_.async_wait(asio::posix::stream_descriptor::wait_read, [this](std::error_code error) {
        if (error || ended_) {
            return;
        }
        platform_.doorbell().drain();
        lookAtHardware();
        waitForDoorbell();
    });
}

void Agent::waitForTick() {
    if (ended_) {
        return;
    }
    tick_.expires_after(state_ == State::settled ? ProgressLine::Clock::duration{idleTick}
                                                 : ProgressLine::Clock::duration{busyTick});
    tick_.async_wait([this](std::error_code error) {
        if (error || ended_) {
            return;
        }
        lookAtHardware();
        if (ProgressLine::Clock::now() >= nextRelaunchCheck_) {
            checkRelaunch();
        }
        waitForTick();
    });
}

// What was applied may have made room in a log, so a look is followed by a turn.
void Agent::lookAtHardware() {
    if (platform_.group().pollTableVersions() != 0 || state_ != State::settled) {
        post();
    }
}

void Agent::checkRelaunch() {
    nextRelaunchCheck_ = ProgressLine::Clock::now() + relaunchPeriod;
    if (!ended_ && platform_.relaunchOrdered()) {
        progressLine_.say("a new start was ordered: the generation at the relaunch path has moved, "
                          "because a table in shared memory was lost or somebody asked for it");
        end(exitRelaunchOrdered);
    }
}

void Agent::post() {
    if (!posted_ && !ended_) {
        posted_ = true;
        asio::post(io_, [this] {
            posted_ = false;
            if (!ended_) {
                turn();
            }
        });
    }
}

void Agent::turn() {
    bool const toFeed = programmer_.feed(turnBudget);
    auto const result = platform_.resolver().run(turnBudget);
    platform_.ringIfAnnounced();
    auto const before = state_;
    advance();
    showProgress();
    bool const canFeed = toFeed && platform_.resolver().queued() < Programmer::maxQueued;
    if (canFeed || result.more || state_ != before) {
        post();
    }
}

// One step at most: whatever a step asks for has its turn before the next.
void Agent::advance() {
    bool const allCommitted = platform_.resolver().queued() == 0;
    switch (state_) {
    case State::replaying:
        if (programmer_.fed()) {
            if (!swept_) {
                auto const removesBefore = platform_.counts().removes;
                platform_.sweepAndReconcile();
                sweptEntries_ = platform_.counts().removes - removesBefore;
                swept_ = true;
            }
            state_ = State::closing;
        }
        break;
    case State::closing:
        if (allCommitted) {
            summarise();
            state_ = State::committed;
        }
        break;
    case State::committed:
        if (programmer_.outstanding() == 0 && allCommitted &&
            (programmer_.progress().failed != 0 || !platform_.hasPendingHwWrites())) {
            settle();
        }
        break;
    case State::settled:
        break;
    }
}

void Agent::summarise() {
    auto const& progress = programmer_.progress();
    auto const counts = platform_.counts();
    auto const logged = platform_.loggedChanges() - loggedBefore_;
    if (replaying_) {
        progressLine_.say(fmt::format(
            "written: {} entries asked for, {} suppressed because the tables held them already, {} "
            "removed because the policy has them no more, {} swept; hardware operations: {}",
            counts.writes - countsBefore_.writes,
            counts.suppressedWrites - countsBefore_.suppressedWrites, progress.removed,
            sweptEntries_, logged));
    } else {
        progressLine_.say(fmt::format(
            "written: {} entries differed, {} were as the policy has them, {} removed because the "
            "policy has them no more; hardware operations: {}",
            counts.writes - countsBefore_.writes, progress.unchanged, progress.removed, logged));
    }
}

void Agent::settle() {
    state_ = State::settled;
    auto const& progress = programmer_.progress();
    progressLine_.end(progress.applied + progress.unchanged, progress.total);
    progressLine_.say(progress.failed == 0
                          ? std::string{"everything is applied"}
                          : fmt::format("{} of {} entries were refused; the others are applied or "
                                        "in the log",
                                        progress.failed, progress.total));
    if (options_.once) {
        checkRelaunch();
        end(progress.failed == 0 ? exitDone : exitOperationsFailed);
    }
}

void Agent::showProgress() {
    if (state_ != State::settled) {
        auto const& progress = programmer_.progress();
        progressLine_.update(progress.applied + progress.unchanged, progress.total);
    }
}

void Agent::reload() {
    auto loaded = LoamPolicy::Policy::load(options_.policyFile);
    if (auto const* error = std::get_if<LoamPolicy::PolicyError>(&loaded)) {
        progressLine_.say(
            "the policy file was read again and is refused; what is programmed stays");
        fmt::print(stderr, "loam-agent: {}\n", error->text());
        return;
    }
    progressLine_.say("the policy file was read again");
    program(std::make_shared<LoamPolicy::Policy const>(
        std::move(std::get<LoamPolicy::Policy>(loaded))));
}

// What waits in the resolver and is ready is committed, so that it is not lost with the process.
void Agent::stop() {
    bool const wasFed = programmer_.fed();
    auto const& progress = programmer_.progress();
    auto const notAsked = progress.total - progress.asked - progress.unchanged;
    programmer_.stop();
    while (platform_.resolver().run(turnBudget).more) {
    }
    platform_.ringIfAnnounced();
    platform_.group().pollTableVersions();
    progressLine_.say(fmt::format(
        "stopping: {} entries of the policy were not written, {} wait for something and are "
        "forgotten{}; {} changes in the logs are not applied by the hardware side and stay there",
        notAsked, platform_.resolver().queued(),
        wasFed ? "" : " (the next start writes the policy anew)", platform_.unappliedChanges()));
    end(exitDone);
}

// The first call wins.
void Agent::end(ExitStatus status) {
    if (!ended_) {
        ended_ = true;
        status_ = status;
        io_.stop();
    }
}

} // namespace LoamAgent
