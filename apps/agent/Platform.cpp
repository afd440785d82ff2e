#include <Asic/Constants.h>
#include <Orbis/EntityManager.h>
#include <RingScribe/TraceHandle.h>
#include <Zet/Entity.h>
#include <ZetSharedMem/EntityManager.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/Platform.h>
#include <apps/agent/record/RecordingTable.h>
#include <apps/policy/PolicyKind.h>

namespace LoamAgent {

namespace {

constexpr std::size_t ringBytes = std::size_t{4} << 20;

std::uint64_t sumOfLoggedVersions(std::span<std::unique_ptr<AgentTable> const> tables) {
    std::uint64_t sum = 0;
    for (auto const& table : tables) {
        sum += table->loggedVersion();
    }
    return sum;
}

} // namespace

Platform::Platform(Options const& options) : units_{options.units} {
    ZetSharedMem::setRoot(options.root);
    Orbis::setRoot(options.root);
    entityManager_ = Ombra::ptrIs<Orbis::EntityManager>(Ombra::String{options.manager}, false);
    relaunch_ = Asic::GenId::create(entityManager_,
                                    Asic::Constants::relaunchPath(Ombra::String{agentName}));
    relaunchMajorId_ = relaunch_->majorId();
    orderedTableIntf_ = Ombra::ptrIs<Asic::OrderedTableInterface>(entityManager_);
    try {
        openTables(options);
    } catch (...) {
        tables_.clear();
        Zet::Entity::singletonsDelAll();
        throw;
    }
}

void Platform::openTables(Options const& options) {
    tables_ = allAgentTables(orderedTableIntf_);
    for (std::size_t kind = 0; kind < LoamPolicy::kindCount; ++kind) {
        auto const policy = static_cast<LoamPolicy::PolicyKind>(kind);
        if (table(LoamPolicy::tblIdOf(policy, LoamPolicy::TableHolds::Actions)) != nullptr &&
            table(LoamPolicy::tblIdOf(policy, LoamPolicy::TableHolds::Entries)) != nullptr) {
            kinds_.push_back(kind);
        }
    }
    group_ = orderedTableIntf_->groupIntf(
        Asic::Constants::canonicalizeGroupName(Ombra::String{agentName}, Ombra::String{groupName}));
    loggedAtStart_ = sumOfLoggedVersions(tables_);
    RingScribe::open(options.ringFile.empty()
                         ? fmt::format("{}/{}/agent.ring", options.root, options.manager)
                         : options.ringFile,
                     ringBytes);
    for (auto const& table : tables_) {
        table->makeSwTables(options.units, options.reset);
    }
    orderedTableIntf_->reconcileSwTables();
    doorbell_.emplace(Ombra::String{options.manager}, Asic::DoorbellReceiver::agent);
    hwBell_.emplace(Ombra::String{options.manager}, Asic::DoorbellReceiver::hw);
}

Platform::~Platform() {
    recording_.clear();
    tables_.clear();
    group_ = nullptr;
    Zet::Entity::singletonsDelAll();
    RingScribe::close();
}

AgentTable* Platform::table(std::uint16_t tblId) const {
    auto const& tables = recorder_ == nullptr ? tables_ : recording_;
    auto const found = std::ranges::lower_bound(
        tables, tblId, {}, [](auto const& table) { return table->tableId().tblId(); });
    return found != tables.end() && (*found)->tableId().tblId() == tblId ? found->get() : nullptr;
}

AgentTable* Platform::table(std::string_view name) const {
    auto const found =
        std::ranges::find(tables_, name, [](auto const& table) { return table->name(); });
    return found == tables_.end() ? nullptr : table((*found)->tableId().tblId());
}

void Platform::recorderIs(Recorder* recorder) {
    recorder_ = recorder;
    if (recorder != nullptr && recording_.empty()) {
        for (auto const& table : tables_) {
            recording_.push_back(std::make_unique<RecordingTable>(
                *table, units_, [this] { return recorder_; },
                [this](Asic::SwTableId tableId) {
                    auto const* const known = this->table(tableId.tblId());
                    return known == nullptr ? std::string{} : std::string{known->name()};
                }));
        }
    }
}

std::size_t Platform::placeOfUnit(Asic::UnitId unitId) const {
    return static_cast<std::size_t>(std::ranges::find(units_, unitId) - units_.begin());
}

void Platform::ringIfAnnounced() {
    if (group_->announcements().takeAnnounced()) {
        hwBell_->ring();
    }
}

bool Platform::inMarkingState() const {
    return std::ranges::any_of(tables_, [&](auto const& table) {
        for (std::size_t unit = 0; unit < units_.size(); ++unit) {
            if (table->inMarkingState(unit)) {
                return true;
            }
        }
        return false;
    });
}

bool Platform::relaunchOrdered() const {
    return relaunch_->majorId() != relaunchMajorId_;
}

bool Platform::hasPendingHwWrites() const {
    return std::ranges::any_of(tables_,
                               [](auto const& table) { return table->hasPendingHwWrites(); });
}

std::uint64_t Platform::unappliedChanges() const {
    std::uint64_t sum = 0;
    for (auto const& table : tables_) {
        sum += table->unappliedChanges();
    }
    return sum;
}

std::uint64_t Platform::loggedChanges() const {
    return sumOfLoggedVersions(tables_) - loggedAtStart_;
}

AgentTable::Counts Platform::counts() const {
    AgentTable::Counts all;
    for (auto const& table : tables_) {
        auto const each = table->counts();
        all.writes += each.writes;
        all.removes += each.removes;
        all.suppressedWrites += each.suppressedWrites;
        all.commits += each.commits;
    }
    return all;
}

} // namespace LoamAgent
