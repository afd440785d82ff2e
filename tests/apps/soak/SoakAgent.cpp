#include "SoakAgent.h"

#include <Asic/Doorbell.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <Zet/AllocTrack.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <malloc.h>
#include <optional>
#include <random>
#include <support/AgentInProcess.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace soak {

namespace {

using Entry = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
using Action = LoamSystemAcl::Ipv4SystemPolicyTcamActionFamily;
using testing_support::AgentInProcess;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t keyCount = 4000;
constexpr Asic::UnitId unitCount = 2;
constexpr std::uint64_t mostUnapplied = 20000; // then it waits for the hardware side

void require(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "must hold, and doesn't: %s\n", what);
        ::_exit(1);
    }
}

template <typename Family>
void logIsAtFirstVersion(AgentInProcess& agent) {
    agent.makeSwTable<Family>(0);
    agent.tableIntf<Family>()->entryLog()->tableEntryLog()->control()->scratchpadIs(firstVersion);
    agent.appliedIs(Family::Constants::tableId, firstVersion);
}

// One table with its units.
template <typename Family>
class Table {
  public:
    void up(AgentInProcess& agent) {
        agent.tableIntf<Family>();
        for (Asic::UnitId unit = 0; unit < unitCount; ++unit) {
            make(agent, unit);
        }
    }
    void make(AgentInProcess& agent, Asic::UnitId unit) {
        units_[unit] = nullptr;
        units_[unit] = agent.makeSwTable<Family>(unit, false); // keeps what is there, and marks
    }
    void down() { units_ = {}; }

    void write(Asic::UnitId unit, std::uint32_t number, std::uint32_t value) {
        typename Family::Key const key{number};
        typename Family::LogEntry entry{key};
        std::memcpy(entry.fields().data(), &value, std::min(sizeof value, entry.fields().size()));
        units_[unit]->entryWrite(key, typename Family::Entry{entry}, nullptr);
    }
    void remove(Asic::UnitId unit, std::uint32_t number) {
        units_[unit]->entryRemove(typename Family::Key{number}, nullptr);
    }
    bool has(Asic::UnitId unit, std::uint32_t number) const {
        return units_[unit]->entryHas(typename Family::Key{number});
    }
    void removeAll(Asic::UnitId unit) { units_[unit]->entryRemoveAll(nullptr); }
    // What was not written since it marks goes. One that doesn't mark would lose everything.
    bool sweep(Asic::UnitId unit) {
        if (!units_[unit]->inMarkingState()) {
            return false;
        }
        units_[unit]->sweep();
        return true;
    }
    static Asic::LogVersion logged(AgentInProcess& agent) {
        return agent.tableIntf<Family>()->entryLog()->tableVersion();
    }
    static Asic::LogVersion applied(AgentInProcess& agent) {
        return agent.tableIntf<Family>()->entryLog()->logCleanedVersion();
    }

  private:
    std::array<Ombra::Ptr<typename Family::SwTable>, unitCount> units_;
};

class Churn {
  public:
    explicit Churn(Soak& soak) : soak_{soak} {
        up();
        down(); // once before it begins: what a restart leaves in memory is there then
        up();
    }

    void run() {
        for (bool last = false; !last;) {
            cycle();
            if (++sincePoll_ == 16) {
                sincePoll_ = 0;
                poll();
            }
            rarely();
            if (soak_.interval != soak_.noted) {
                last = soak_.last;
                note();
            }
        }
        // A sweep or a remove of everything may have been the last thing of all.
        for (std::uint32_t key = 0; key < keyCount / 2; ++key) {
            entries_.write(0, key, 1);
        }
        settle();
        down();
    }

  private:
    void up() {
        agent_.emplace(managerName, false);
        entries_.up(*agent_);
        actions_.up(*agent_);
        bell_.emplace(managerName, Asic::DoorbellReceiver::hw);
    }
    void down() {
        entries_.down();
        actions_.down();
        agent_.reset();
    }

    bool oneIn(unsigned count) { return random_() % count == 0; }

    void poll() {
        agent_->group()->pollTableVersions();
        if (agent_->group()->announcements().takeAnnounced()) {
            bell_->ring();
        }
        soak_.version = entries_.logged(*agent_);
        while (unapplied() > mostUnapplied) {
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
            agent_->group()->pollTableVersions();
        }
    }
    std::uint64_t unapplied() {
        return (entries_.logged(*agent_) - entries_.applied(*agent_)) +
               (actions_.logged(*agent_) - actions_.applied(*agent_));
    }

    template <typename T>
    void change(T& table) {
        auto const unit = static_cast<Asic::UnitId>(random_() % unitCount);
        auto const key = static_cast<std::uint32_t>(random_() % keyCount);
        bool const removes = oneIn(4);
        auto const begin = Clock::now();
        if (removes) {
            table.remove(unit, key);
        } else {
            table.write(unit, key, static_cast<std::uint32_t>(random_() % 7));
        }
        require(table.has(unit, key) != removes, "an agent sees its own write at once");
        agent_->resolve();
        times_.push_back(static_cast<std::uint32_t>(std::min<std::int64_t>(
            (Clock::now() - begin) / std::chrono::nanoseconds{1}, 0xffffffff)));
        require(table.has(unit, key) != removes, "a committed write is there");
        ++cycles_;
    }
    void cycle() {
        if (times_.size() >= mostTimes) {
            times_.clear(); // the last of an interval stand for it
        }
        if (oneIn(4)) {
            change(actions_);
        } else {
            change(entries_);
        }
    }

    void rarely() {
        auto const unit = static_cast<Asic::UnitId>(random_() % unitCount);
        if (oneIn(1000)) {
            soak_.sweeps += entries_.sweep(unit) ? 1U : 0U;
            soak_.sweeps += actions_.sweep(unit) ? 1U : 0U;
        }
        if (oneIn(15000)) {
            entries_.removeAll(unit);
            agent_->resolve();
            ++soak_.removeAlls;
        }
        if (oneIn(4000)) {
            entries_.make(*agent_, unit);
            ++soak_.unitRestarts;
        }
        if (oneIn(6000)) {
            down();
            up();
            ++soak_.restarts;
        }
    }

    void settle() {
        agent_->resolve();
        poll();
        while (unapplied() != 0) {
            bell_->ring();
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
            agent_->group()->pollTableVersions();
        }
    }

    // Everything is swept and applied, so that the same stands in memory at the end of each.
    void note() {
        for (Asic::UnitId unit = 0; unit < unitCount; ++unit) {
            soak_.sweeps += entries_.sweep(unit) ? 1U : 0U;
            soak_.sweeps += actions_.sweep(unit) ? 1U : 0U;
        }
        settle();
        std::sort(times_.begin(), times_.end());
        Interval interval{cycles_, 0, 0, 0, 0};
        if (!times_.empty()) {
            interval.medianNs = times_[times_.size() / 2];
            interval.percent99Ns = times_[times_.size() - 1 - times_.size() / 100];
        }
        for (auto const& each : Zet::AllocTrackTypeInfo::dump()) {
            interval.objects += each.live;
        }
        interval.heapBytes = ::mallinfo2().uordblks;
        soak_.intervals[soak_.noted] = interval;
        ++soak_.noted;
        times_.clear();
        cycles_ = 0;
    }

    static constexpr std::size_t mostTimes = 1U << 20;

    Soak& soak_;
    std::optional<AgentInProcess> agent_;
    std::optional<Asic::DoorbellRinger> bell_;
    Table<Entry> entries_;
    Table<Action> actions_;
    std::mt19937 random_{1};
    std::vector<std::uint32_t> times_ = [] {
        std::vector<std::uint32_t> all(mostTimes); // touched now, so that it doesn't grow later
        all.clear();
        return all;
    }();
    std::uint64_t cycles_ = 0;
    unsigned sincePoll_ = 0;
};

} // namespace

void makeFiles() {
    AgentInProcess agent{managerName, false};
    logIsAtFirstVersion<Entry>(agent);
    logIsAtFirstVersion<Action>(agent);
}

void churn(Soak& soak) {
    Churn{soak}.run();
}

} // namespace soak
