#include <Ombra/Assert.h>

#include <algorithm>
#include <apps/agent/Programmer.h>
#include <apps/policy/PolicyKind.h>

namespace LoamAgent {

namespace {

std::size_t kindOf(std::uint16_t tblId) {
    auto const number = LoamPolicy::tableOf(tblId);
    OMBRA_ASSERT(number.has_value(), "number.has_value()");
    return static_cast<std::size_t>(number->kind);
}

} // namespace

Programmer::Programmer(Platform& platform, std::size_t unitCount)
    : platform_{platform}, unitCount_{unitCount} {}

void Programmer::start(std::shared_ptr<LoamPolicy::Policy const> policy, Writes writes) {
    policy_ = std::move(policy);
    writes_ = writes;
    phase_ = Phase::searching;
    nextSearch_ = 0;
    nextWrite_ = 0;
    gone_.clear();
    ++job_;
    progress_ = {};
    progress_.total = 2 * policy_->rules().size() * unitCount_;
    wanted_.assign(LoamPolicy::kindCount, {});
    for (auto const& rule : policy_->rules()) {
        wanted_[kindOf(rule.entry.tblId)].push_back(rule.entry.key);
    }
    for (auto& keys : wanted_) {
        std::ranges::sort(keys);
    }
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
        break;
    case Phase::writing:
        feedWrites(room);
        break;
    case Phase::removing:
        feedRemoves(room);
        break;
    case Phase::fed:
        break;
    }
    return phase_ != Phase::fed;
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
        ++(Asic::SwTableBase::isFailure(state) ? progress_.failed : progress_.applied);
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
        phase_ = Phase::removing;
    }
}

void Programmer::writeRule(LoamPolicy::PolicyRule const& rule, std::size_t unit) {
    write(rule.entry, unit, write(rule.action, unit, nullptr));
}

// Null when there was nothing to write.
Handle Programmer::write(LoamPolicy::TableRecord const& record, std::size_t unit,
                         Handle const& dependency) {
    auto& table = *platform_.table(record.tblId);
    if (writes_ == Writes::differences && table.entryIsEqual(unit, record.key, record.fields)) {
        ++progress_.unchanged;
        return nullptr;
    }
    return table.entryWrite(unit, record.key, record.fields, dependency, answering());
}

// Looks through one table at a time, so that none of the calls takes long.
void Programmer::searchGone() {
    if (nextSearch_ == LoamPolicy::kindCount * unitCount_) {
        phase_ = Phase::writing;
        return;
    }
    std::size_t const kind = nextSearch_ / unitCount_;
    std::size_t const unit = nextSearch_ % unitCount_;
    ++nextSearch_;
    for (std::uint32_t const key : entries(kind).keys(unit)) {
        if (!std::ranges::binary_search(wanted_[kind], key)) {
            gone_.push_back({kind, unit, key});
            progress_.total += actions(kind).entryHas(unit, key) ? 2 : 1;
        }
    }
}

void Programmer::feedRemoves(std::size_t budget) {
    for (std::size_t asked = 0; asked < budget && !gone_.empty(); asked += 2) {
        removeRule(gone_.back());
        gone_.pop_back();
    }
    if (gone_.empty()) {
        phase_ = Phase::fed;
    }
}

void Programmer::removeRule(Gone const& gone) {
    Handle const entry = entries(gone.kind).entryRemove(gone.unit, gone.key, nullptr, answering());
    ++progress_.removed;
    if (auto& table = actions(gone.kind); table.entryHas(gone.unit, gone.key)) {
        table.entryRemove(gone.unit, gone.key, entry, answering());
        ++progress_.removed;
    }
}

} // namespace LoamAgent
