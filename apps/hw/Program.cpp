#include <Asic/Constants.h>
#include <LoamSystemAcl/AllTables.h>
#include <Ombra/Exception.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/hw/AtomicFile.h>
#include <apps/hw/Dump.h>
#include <apps/hw/Program.h>
#include <apps/hw/StatFile.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace LoamHw {

namespace {

constexpr std::chrono::milliseconds fallbackPoll{50};

std::vector<TableShape> shapesOfAllTables() {
    std::vector<TableShape> shapes;
    LoamSystemAcl::AllTables::forEach([&]<typename Table>() {
        using Constants = typename Table::Constants;
        shapes.push_back(
            {Constants::tableId, Constants::tableName, Constants::row.holds == "entries"});
    });
    return shapes;
}

// One group for all tables.
Ombra::String groupOfAllTables() {
    Ombra::String group;
    LoamSystemAcl::AllTables::forEach([&]<typename Table>() {
        using Constants = typename Table::Constants;
        group = Asic::Constants::canonicalizeGroupName(Constants::agentName, Constants::groupName);
    });
    return group;
}

// What fails does so before the name of the manager is used for anything else.
Ombra::Ptr<ZetSharedMem::EntityManager> managerOf(Options const& options) {
    if (!options.root.empty()) {
        ZetSharedMem::setRoot(options.root);
    }
    return ZetSharedMem::EntityManager::getEntityManager(options.manager, false);
}

int openSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int const each : {SIGTERM, SIGINT, SIGUSR1}) {
        sigaddset(&set, each);
    }
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    int const fd = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd < 0) {
        throw Ombra::Exception{fmt::format("can't wait for signals: {}", std::strerror(errno))};
    }
    return fd;
}

} // namespace

Program::Program(Options options)
    : options_{std::move(options)}, signals_{openSignals()}, manager_{managerOf(options_)},
      backend_{std::make_unique<ModelBackend>(shapesOfAllTables(), options_.faults)},
      hardwareSide_{std::make_unique<HardwareSide>(
          manager_, groupOfAllTables(), allTableViews(manager_), *backend_,
          [this](std::string const& line, bool detail) { say(line, detail); })},
      bell_{options_.manager, Asic::DoorbellReceiver::hw},
      agentBell_{options_.manager, Asic::DoorbellReceiver::agent},
      control_{fmt::format("{}/{}/hw-control.json", ZetSharedMem::root(), options_.manager)} {
    folder_ = fmt::format("{}/{}", ZetSharedMem::root(), options_.manager);
}

Program::~Program() {
    ::close(signals_);
}

void Program::say(std::string const& line, bool detail) const {
    if (!detail || options_.verbose) {
        fmt::print(stderr, "loam-hw: {}\n", line);
    }
}

int Program::run() {
    say(fmt::format("following {} with backend {}", folder_, backend_->name()), false);
    bool atOnce = true;
    while (wait(atOnce)) {
        auto const now = Clock::now();
        bell_.drain();
        atOnce = hardwareSide_->round(now);
        if (hardwareSide_->takeAcknowledged()) {
            agentBell_.ring();
        }
        if (now >= nextStat_) {
            lookAtControl();
            writeStat(true);
            nextStat_ = now + options_.statInterval;
        }
    }
    writeStat(false);
    writeDump();
    sayCounts();
    return failed_ ? 1 : 0;
}

bool Program::wait(bool atOnce) {
    std::array<pollfd, 2> waited{{{bell_.fd(), POLLIN, 0}, {signals_, POLLIN, 0}}};
    int const timeoutMs = atOnce ? 0 : static_cast<int>(fallbackPoll.count());
    ::poll(waited.data(), waited.size(), timeoutMs); // interrupted is as good as timed out
    return takeSignals();
}

bool Program::takeSignals() {
    signalfd_siginfo info;
    while (::read(signals_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo != SIGUSR1) {
            return false;
        }
        writeDump();
    }
    return true;
}

void Program::lookAtControl() {
    if (auto const faults = control_.changed(options_.faults)) {
        try {
            backend_->faultsIs(*faults);
            say(fmt::format("injected failures: {}", toJson(*faults).dump()), false);
        } catch (std::invalid_argument const& failure) {
            say(fmt::format("hw-control.json: {}; what was in force stays", failure.what()), false);
        }
    }
    if (auto const trouble = control_.takeTrouble(); !trouble.empty()) {
        say(trouble, false);
    }
}

void Program::writeStat(bool running) {
    auto const now = Clock::now();
    nlohmann::ordered_json stat{
        {"pid", ::getpid()},
        {"running", running},
        {"uptime-ms", std::chrono::duration_cast<std::chrono::milliseconds>(now - start_).count()}};
    stat.update(statOf(*hardwareSide_, *backend_, now));
    stat["faults"] = toJson(backend_->faults());
    auto const trouble = writeAtomically(folder_ + "/hw-stat.json", stat.dump(1) + "\n");
    if (!trouble.empty() && trouble != statTrouble_) {
        say(trouble, false);
    }
    statTrouble_ = trouble;
}

void Program::writeDump() {
    if (options_.dumpFile.empty()) {
        return;
    }
    auto const trouble = writeAtomically(options_.dumpFile, dumpOf(*hardwareSide_, *backend_));
    if (!trouble.empty()) {
        say(trouble, false);
        failed_ = true;
    }
}

void Program::sayCounts() const {
    auto const& counts = backend_->counts();
    say(fmt::format("hardware operations: {} writes, {} removes, {} entries moved, {} refused, {} "
                    "full, {} without answer",
                    counts.writes, counts.removes, counts.moved, counts.refused, counts.full,
                    counts.retried),
        false);
}

} // namespace LoamHw
