#include <Asic/Constants.h>
#include <Asic/MountSlate.h>
#include <Ombra/Exception.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/hw/HardwareSide.h>
#include <utility>

namespace LoamHw {

HardwareSide::HardwareSide(Ombra::Ptr<ZetSharedMem::EntityManager> manager,
                           Ombra::String const& canonicalGroup,
                           std::vector<std::unique_ptr<TableView>> views, Backend& backend,
                           Report report)
    : manager_{std::move(manager)},
      canonicalGroup_{canonicalGroup}, report_{std::move(report)}, views_{std::move(views)} {
    mountVersionMap();
    followers_.reserve(views_.size());
    Neighbours& neighbours = *this;
    for (auto const& view : views_) {
        auto const applied = storedVersion(view->tableId());
        followers_.emplace_back(*view, backend, neighbours, applied);
        stored_.push_back(applied);
    }
    mountAgentSlate();
    agentRun_ = readAgentRun(); // what this run has stored is compared as each table is mounted
}

HardwareSide::~HardwareSide() {
    manager_->forgetEntity(Asic::Constants::tableVersionMapPath(canonicalGroup_));
}

void HardwareSide::mountVersionMap() {
    versionMap_ = Asic::mountSlate<Asic::TableVersionMap>(
        *manager_, Asic::Constants::tableVersionMapPath(canonicalGroup_),
        ZetSlate::ZetSlateType::writer);
    if (versionMap_->control()->wiped()) {
        report("what was applied so far was lost; all tables are compared anew", false);
        versionMap_->control()->clearWiped();
    }
}

// A record that can't be read counts as none: the log is then followed from its beginning.
Asic::LogVersion HardwareSide::storedVersion(Asic::SwTableId tableId) {
    try {
        bool found = false;
        auto const record = versionMap_->map().lookup(tableId, &found, nullptr);
        return found ? std::uint64_t{record.version} : 0;
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        versionMap_->map().doCorruptionDetected(corruption.msg());
        return 0;
    }
}

bool HardwareSide::round(Clock::time_point now) {
    ++rounds_;
    lookAtAgent(now);
    bool const all = lookForAbsent(now);
    more_ = false;
    for (std::size_t i = 0; i < followers_.size(); ++i) {
        auto& follower = followers_[(first_ + i) % followers_.size()];
        if (follower.state() == FollowState::absent && !all) {
            continue;
        }
        auto const before = follower.applied();
        bool const moreOfThis = follower.turn(now);
        // A change may be what another table waits for.
        more_ = more_ || moreOfThis || follower.applied() != before;
    }
    first_ = (first_ + 1) % std::max<std::size_t>(followers_.size(), 1);
    acknowledge();
    return more_;
}

// To find that a file is not there costs more than to apply ten changes.
bool HardwareSide::lookForAbsent(Clock::time_point now) {
    if (more_ && now < nextAbsentLook_) {
        return false;
    }
    nextAbsentLook_ = now + absentInterval;
    return true;
}

bool HardwareSide::settled() const {
    return rounds_ != 0 && std::ranges::all_of(followers_, &TableFollower::settled);
}

bool HardwareSide::takeAcknowledged() {
    return std::exchange(acknowledged_, false);
}

void HardwareSide::lookAtAgent(Clock::time_point now) {
    if (now >= nextStaleLook_) {
        nextStaleLook_ = now + staleInterval;
        dropStale();
    }
    mountAgentSlate();
    auto const run = readAgentRun();
    if (run == agentRun_) {
        return;
    }
    report(fmt::format("run {} of the agent", run), true);
    agentRun_ = run;
    dropStale();
    for (auto& follower : followers_) {
        follower.auditLater();
    }
}

void HardwareSide::mountAgentSlate() {
    if (agentSlate_) {
        return;
    }
    try {
        agentSlate_ = Asic::mountSlate<Asic::AgentSlate>(
            *manager_, Asic::Constants::agentSlatePath(canonicalGroup_),
            ZetSlate::ZetSlateType::reader);
        agentTrouble_.clear();
    } catch (Ombra::Exception const& failure) {
        if (std::exchange(agentTrouble_, failure.msg().str()) != failure.msg().str()) {
            report(agentTrouble_, false);
        }
    }
}

// The former answer when there is none.
std::uint64_t HardwareSide::readAgentRun() {
    if (!agentSlate_) {
        return agentRun_;
    }
    try {
        return agentSlate_->control()->scratchpad();
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        agentSlate_->map().doCorruptionDetected(corruption.msg());
        return agentRun_;
    }
}

void HardwareSide::dropStale() {
    if (agentSlate_ && agentSlate_->stale()) {
        manager_->forgetEntity(agentSlate_->path());
        agentSlate_ = nullptr;
    }
    for (auto& follower : followers_) {
        if (follower.view().dropStale()) {
            follower.logReplaced();
        }
    }
    // Whoever removed the map from under us has removed what was applied: it is stored anew.
    if (versionMap_->stale()) {
        auto const path = Asic::Constants::tableVersionMapPath(canonicalGroup_);
        try {
            manager_->forgetEntity(path);
            mountVersionMap();
            std::ranges::fill(stored_, 0);
        } catch (Ombra::Exception const& failure) {
            report(failure.msg().str(), false);
        }
    }
}

void HardwareSide::acknowledge() {
    for (std::size_t i = 0; i < followers_.size(); ++i) {
        auto const applied = followers_[i].applied();
        if (applied == stored_[i]) {
            continue;
        }
        try {
            Asic::TableVersion record;
            record.tableId = views_[i]->tableId();
            record.version = applied;
            versionMap_->recordIs(record);
            stored_[i] = applied;
            acknowledged_ = true;
            storeTrouble_.clear();
        } catch (Ombra::Exception const& failure) {
            if (storeTrouble_ != failure.msg().str()) {
                storeTrouble_ = failure.msg().str();
                report(storeTrouble_, false);
            }
        }
    }
}

// What this round knows to be announced may be older than the place, which was announced before the
// change that needs it: before a place is void, its table is asked once more.
bool HardwareSide::reached(Asic::TableVersion const& place) {
    for (auto& follower : followers_) {
        if (follower.view().tableId() == place.tableId) {
            if (follower.applied() >= place.version) {
                return true;
            }
            if (follower.announced() >= place.version) {
                return false;
            }
            follower.view().mount();
            return place.version > follower.view().announced().value_or(0);
        }
    }
    return true; // no table of ours
}

std::vector<Asic::TableVersion> HardwareSide::announcedPlaces() {
    std::vector<Asic::TableVersion> places;
    for (auto const& follower : followers_) {
        Asic::TableVersion place;
        place.tableId = follower.view().tableId();
        place.version = follower.announced();
        places.push_back(place);
    }
    return places;
}

void HardwareSide::report(std::string const& line, bool detail) {
    report_(line, detail);
}

} // namespace LoamHw
