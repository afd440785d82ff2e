#include <Ombra/Assert.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/Programmer.h>
#include <iterator>
#include <utility>

namespace LoamAgent {

namespace {

std::size_t kindOf(std::uint16_t tblId) {
    auto const number = LoamPolicy::tableOf(tblId);
    OMBRA_ASSERT(number.has_value(), "number.has_value()");
    return static_cast<std::size_t>(number->kind);
}

// In each kind the keys of the policy's rules; an action and its entry have the same.
std::vector<std::vector<std::uint32_t>> keysOf(LoamPolicy::Policy const& policy) {
    std::vector<std::vector<std::uint32_t>> keys(LoamPolicy::kindCount);
    for (auto const& rule : policy.rules()) {
        keys[kindOf(rule.entry.tblId)].push_back(rule.entry.key);
    }
    for (auto& each : keys) {
        std::ranges::sort(each);
    }
    return keys;
}

} // namespace

Programmer::Programmer(Platform& platform, std::size_t unitCount)
    : platform_{platform}, unitCount_{unitCount} {}

std::string Programmer::fault(LoamPolicy::Policy const& policy, Platform const& platform) {
    for (auto const& rule : policy.rules()) {
        if (std::ranges::find(platform.kinds(), kindOf(rule.entry.tblId)) ==
            platform.kinds().end()) {
            return fmt::format("{}: this agent was built without the tables for it", rule.text);
        }
    }
    return {};
}

void Programmer::start(std::shared_ptr<LoamPolicy::Policy const> policy) {
    policy_ = std::move(policy);
    phase_ = Phase::searching;
    replaying_ = platform_.inMarkingState();
    nextSearch_ = nextWrite_ = nextGone_ = 0;
    wanted_ = keysOf(*policy_);
    gone_.clear();
    sweptEntries_ = {};
    entriesGone_ = {};
    sweptTails_.clear();
    ++job_;
    progress_ = {};
    progress_.total = 2 * policy_->rules().size() * unitCount_;
}

void Programmer::stop() {
    phase_ = Phase::fed;
    policy_ = nullptr;
}

bool Programmer::feed(std::size_t budget) {
    std::size_t const queued = platform_.resolver().queued();
    std::size_t const room = std::min(budget, queued < maxQueued ? maxQueued - queued : 0);
    switch (phase_) {
    case Phase::searching:
        searchGone();
        return true;
    case Phase::writing:
        feedWrites(room);
        return room != 0;
    case Phase::removingEntries:
        feedEntryRemoves(room);
        return room != 0;
    case Phase::committing:
        if (queued == 0) {
            noteCommitted();
        }
        return queued == 0;
    case Phase::removingActions:
        feedActionRemoves(room);
        return room != 0;
    case Phase::fed:
        break;
    }
    return false;
}

Task::Amount Programmer::amount() const {
    auto const now = progress();
    return {now.done, now.total};
}

std::uint64_t Programmer::notAsked() const {
    return progress_.total - progress_.asked - progress_.unchanged;
}

std::string Programmer::summary(std::uint64_t written, std::uint64_t suppressed) const {
    std::string text =
        replaying_ ? fmt::format("written: {} entries asked for, {} suppressed because the tables "
                                 "held them already, {} swept because the policy has them no more",
                                 written, suppressed, progress_.swept)
                   : fmt::format("written: {} entries differed, {} were as the policy has them",
                                 written, progress_.unchanged);
    if (!replaying_ || progress_.removed != 0) {
        text += fmt::format(", {} removed because the policy has them no more", progress_.removed);
    }
    return text;
}

Programmer::Progress Programmer::progress() const {
    Progress progress = progress_;
    for (auto const& tail : sweptTails_) {
        progress.done += tail.applied();
    }
    return progress;
}

AgentTable& Programmer::actions(std::size_t kind) const {
    return *platform_.table(LoamPolicy::tblIdOf(static_cast<LoamPolicy::PolicyKind>(kind),
                                                LoamPolicy::TableHolds::Actions));
}

AgentTable& Programmer::entries(std::size_t kind) const {
    return *platform_.table(LoamPolicy::tblIdOf(static_cast<LoamPolicy::PolicyKind>(kind),
                                                LoamPolicy::TableHolds::Entries));
}

// Small enough that the handle's copy of it allocates nothing.
ResponseHandler Programmer::answering() {
    ++outstanding_;
    ++progress_.asked;
    return [this, job = job_](auto const& handle) { answered(job, handle->entryState()); };
}

void Programmer::answered(std::uint64_t job, Asic::SwTableBase::EntryState state) {
    --outstanding_;
    if (job == job_) {
        ++(Asic::SwTableBase::isFailure(state) ? progress_.failed : progress_.done);
    }
}

// Looks through one pair of tables at a time, so that none of the calls takes long.
void Programmer::searchGone() {
    if (nextSearch_ == platform_.kinds().size() * unitCount_) {
        phase_ = Phase::writing;
        return;
    }
    std::size_t const kind = platform_.kinds()[nextSearch_ / unitCount_];
    std::size_t const unit = nextSearch_ % unitCount_;
    ++nextSearch_;
    std::vector<std::uint32_t> held;
    for (auto const* table : {&entries(kind), &actions(kind)}) {
        std::ranges::copy_if(table->keys(unit), std::back_inserter(held), [&](std::uint32_t key) {
            return !std::ranges::binary_search(wanted_[kind], key);
        });
    }
    progress_.total += held.size();
    std::ranges::sort(held);
    held.erase(std::unique(held.begin(), held.end()), held.end());
    for (std::uint32_t const key : held) {
        gone_.push_back({kind, unit, key});
    }
}

void Programmer::feedWrites(std::size_t budget) {
    auto const& rules = policy_->rules();
    std::size_t const end = rules.size() * unitCount_;
    // In a comparison that finds nothing, what was looked at counts.
    for (std::size_t looked = 0; looked < budget && nextWrite_ < end; looked += 2, ++nextWrite_) {
        writeRule(rules[nextWrite_ / unitCount_], nextWrite_ % unitCount_);
    }
    if (nextWrite_ == end) {
        policy_ = nullptr;
        phase_ = Phase::removingEntries;
    }
}

void Programmer::writeRule(LoamPolicy::PolicyRule const& rule, std::size_t unit) {
    write(rule.entry, unit, write(rule.action, unit, nullptr));
}

// Null when there was nothing to write.
Handle Programmer::write(LoamPolicy::TableRecord const& record, std::size_t unit,
                         Handle const& dependency) {
    auto& table = *platform_.table(record.tblId);
    if (!table.inMarkingState(unit) && table.entryIsEqual(unit, record.key, record.fields)) {
        ++progress_.unchanged;
        ++progress_.done;
        return nullptr;
    }
    return table.entryWrite(unit, record.key, record.fields, dependency, answering());
}

void Programmer::feedEntryRemoves(std::size_t budget) {
    for (std::size_t asked = 0; asked < budget && nextGone_ < gone_.size(); ++asked, ++nextGone_) {
        removeEntry(gone_[nextGone_]);
    }
    if (nextGone_ == gone_.size()) {
        sweepEntries();
        phase_ = Phase::committing;
    }
}

// What a former policy of the same marking phase wrote is marked, and no sweep would take it.
void Programmer::removeEntry(Gone const& gone) {
    auto& table = entries(gone.kind);
    bool const sweepTakesIt =
        table.inMarkingState(gone.unit) && !table.markedKeyHas(gone.unit, gone.key);
    if (!sweepTakesIt && table.entryHas(gone.unit, gone.key)) {
        table.entryRemove(gone.unit, gone.key, nullptr, answering());
        ++progress_.removed;
    }
}

void Programmer::sweepEntries() {
    for (auto const kind : platform_.kinds()) {
        for (std::size_t unit = 0; unit < unitCount_; ++unit) {
            sweptEntries_[kind] += entries(kind).sweep(unit);
        }
        progress_.asked += sweptEntries_[kind];
        progress_.swept += sweptEntries_[kind];
    }
}

// Nothing has been asked of the tables of entries since their sweep: its removes are the end of the
// log.
void Programmer::noteCommitted() {
    for (auto const kind : platform_.kinds()) {
        auto const& table = entries(kind);
        entriesGone_[kind] = table.loggedPlace();
        if (auto const swept = sweptEntries_[kind]; swept != 0) {
            auto const last = table.loggedVersion();
            sweptTails_.push_back({&table, last - swept, last, swept});
        }
    }
    nextGone_ = 0;
    phase_ = Phase::removingActions;
}

void Programmer::feedActionRemoves(std::size_t budget) {
    for (std::size_t asked = 0; asked < budget && nextGone_ < gone_.size(); ++asked, ++nextGone_) {
        removeAction(gone_[nextGone_]);
    }
    if (nextGone_ == gone_.size()) {
        sweepActions();
        phase_ = Phase::fed;
    }
}

void Programmer::removeAction(Gone const& gone) {
    auto& table = actions(gone.kind);
    if (table.entryHas(gone.unit, gone.key)) {
        table.entryRemove(gone.unit, gone.key, entriesGone_[gone.kind], answering());
        ++(table.inMarkingState(gone.unit) ? progress_.swept : progress_.removed);
    }
}

// Closes their marking phase. What it would remove is removed already, in its order.
void Programmer::sweepActions() {
    for (auto const kind : platform_.kinds()) {
        for (std::size_t unit = 0; unit < unitCount_; ++unit) {
            actions(kind).sweep(unit);
        }
        entriesGone_[kind] = nullptr;
    }
}

} // namespace LoamAgent
