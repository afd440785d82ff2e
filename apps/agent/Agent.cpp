#include <Ombra/Exception.h>

#include <asio/post.hpp>
#include <fmt/format.h>

#include <apps/agent/Agent.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <unistd.h>
#include <utility>
#include <variant>

namespace LoamAgent {

namespace {

using namespace std::chrono_literals;

constexpr auto busyTick = 20ms; // the longest that a lost ring can delay an answer
constexpr auto idleTick = 1s;
constexpr auto relaunchPeriod = 1s;

} // namespace

Agent::Agent(Options const& options, std::shared_ptr<LoamPolicy::Policy const> policy)
    : options_{options}, folder_{options.root + "/" + options.manager},
      progressLine_{stdout, ::isatty(STDOUT_FILENO) == 1}, platform_{options},
      course_{platform_, options.units.size(), progressLine_},
      policyWatch_{io_, options.policyFile, [this] { reload("has changed"); }} {
    sayWhatWasFound();
    if (!policyWatch_.trouble().empty()) {
        progressLine_.say(policyWatch_.trouble());
    }
    if (auto const fault = Programmer::fault(*policy, platform_); !fault.empty()) {
        throw Ombra::Exception{fmt::format("{}: {}", options_.policyFile, fault)};
    }
    openControl();
    course_.program(std::move(policy));
    post();
}

// Without it the agent does its work all the same.
void Agent::openControl() {
    addWorkRequests(requests_, *this);
    addTableRequests(requests_, *this);
    addExplainRequest(requests_, *this);
    addWatchRequest(requests_, *this);
    addObjectRequests(requests_, *this);
    addRecordRequests(requests_, *this);
    addTraceRequests(requests_);
    try {
        server_.emplace(io_, folder_ + "/control", [this](std::string const& request, Session& by) {
            return requests_.answer(request, by);
        });
    } catch (Ombra::Exception const& failure) {
        progressLine_.say(failure.msg().str());
    }
}

void Agent::sayWhatWasFound() {
    std::uint64_t entries = 0;
    std::size_t tables = 0;
    for (auto const& table : platform_.tables()) {
        std::uint64_t ofTable = 0;
        for (std::size_t unit = 0; unit < options_.units.size(); ++unit) {
            ofTable += table->entrys(unit);
        }
        entries += ofTable;
        tables += ofTable == 0 ? 0 : 1;
    }
    auto const run = platform_.group().agentRun();
    progressLine_.say(
        entries == 0 ? fmt::format("start: run {} of the agent, its tables are empty", run)
                     : fmt::format("restart: run {} of the agent, found {} entries in {} tables, "
                                   "with {} changes in their logs that are not applied",
                                   run, entries, tables, platform_.unappliedChanges()));
}

ExitStatus Agent::run() {
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
            reload("was read again");
            waitForSignal();
        } else {
            course_.stop();
            end(exitDone);
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
    tick_.expires_after(course_.settled() ? ProgressLine::Clock::duration{idleTick}
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
    if (platform_.group().pollTableVersions() != 0 || !course_.settled() ||
        platform_.resolver().queued() != 0) {
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
    bool const more = course_.turn();
    if (recording_.step() || more) {
        post();
    }
    history_.sample();
    if (options_.once && course_.settled()) {
        checkRelaunch();
        end(course_.failed() ? exitOperationsFailed : exitDone);
    }
}

std::string Agent::reload(std::string_view why) {
    if (ended_) {
        return "the agent is about to end";
    }
    policyWatch_.readNow();
    auto loaded = LoamPolicy::Policy::load(options_.policyFile);
    auto const* const error = std::get_if<LoamPolicy::PolicyError>(&loaded);
    auto const fault = error != nullptr
                           ? error->text()
                           : Programmer::fault(std::get<LoamPolicy::Policy>(loaded), platform_);
    if (!fault.empty()) {
        progressLine_.say(
            fmt::format("the policy file {} and is refused; what is programmed stays", why));
        fmt::print(stderr, "loam-agent: {}\n", fault);
        return fault;
    }
    progressLine_.say(fmt::format("the policy file {}", why));
    course_.program(std::make_shared<LoamPolicy::Policy const>(
        std::move(std::get<LoamPolicy::Policy>(loaded))));
    post();
    return {};
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
