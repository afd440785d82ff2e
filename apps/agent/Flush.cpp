#include <fmt/format.h>

#include <apps/agent/Flush.h>
#include <apps/policy/PolicyKind.h>

namespace LoamAgent {

void Flush::start() {
    pairs_.clear();
    tails_.clear();
    total_ = 0;
    for (auto const kind : platform_.kinds()) {
        auto const policy = static_cast<LoamPolicy::PolicyKind>(kind);
        auto const entries = LoamPolicy::tblIdOf(policy, LoamPolicy::TableHolds::Entries);
        auto const actions = LoamPolicy::tblIdOf(policy, LoamPolicy::TableHolds::Actions);
        Pair const pair{entries, actions, entrysOf(entries), entrysOf(actions)};
        total_ += pair.entryCount + pair.actionCount;
        pairs_.push_back(pair);
    }
    phase_ = Phase::entries;
}

bool Flush::feed(std::size_t) {
    bool const allCommitted = platform_.resolver().queued() == 0;
    switch (phase_) {
    case Phase::entries:
        for (auto const& pair : pairs_) {
            removeAll(pair.entries, nullptr);
        }
        phase_ = Phase::committingEntries;
        return true;
    case Phase::committingEntries:
        if (allCommitted) {
            for (auto const& pair : pairs_) {
                noteGone(pair.entries, pair.entryCount);
            }
            phase_ = Phase::actions;
        }
        return allCommitted;
    case Phase::actions:
        for (auto const& pair : pairs_) {
            removeAll(pair.actions, platform_.table(pair.entries)->loggedPlace());
        }
        phase_ = Phase::committingActions;
        return true;
    case Phase::committingActions:
        if (allCommitted) {
            for (auto const& pair : pairs_) {
                noteGone(pair.actions, pair.actionCount);
            }
            phase_ = Phase::fed;
        }
        return allCommitted;
    case Phase::fed:
        break;
    }
    return false;
}

Task::Amount Flush::amount() const {
    Amount amount{0, total_};
    for (auto const& tail : tails_) {
        amount.done += tail.applied();
    }
    return amount;
}

std::string Flush::summary(std::uint64_t, std::uint64_t) const {
    return fmt::format("flushed: {} entries", total_);
}

std::uint64_t Flush::entrysOf(std::uint16_t tblId) const {
    std::uint64_t sum = 0;
    for (std::size_t unit = 0; unit < unitCount_; ++unit) {
        sum += platform_.table(tblId)->entrys(unit);
    }
    return sum;
}

// Nothing is left to sweep then.
void Flush::removeAll(std::uint16_t tblId, Handle const& dependency) const {
    auto& table = *platform_.table(tblId);
    for (std::size_t unit = 0; unit < unitCount_; ++unit) {
        table.entryRemoveAll(unit, dependency);
        table.sweep(unit);
    }
}

void Flush::noteGone(std::uint16_t tblId, std::uint64_t entries) {
    if (entries != 0) {
        auto const& table = *platform_.table(tblId);
        auto const last = table.loggedVersion();
        tails_.push_back({&table, last - 1, last, entries});
    }
}

} // namespace LoamAgent
