#include <apps/agent/Flush.h>
#include <apps/policy/PolicyKind.h>

namespace LoamAgent {

void Flush::start() {
    pairs_.clear();
    tails_.clear();
    total_ = 0;
    for (std::size_t kind = 0; kind < LoamPolicy::kindCount; ++kind) {
        auto const tableThatHolds = [&](LoamPolicy::TableHolds holds) {
            return platform_.table(
                LoamPolicy::tblIdOf(static_cast<LoamPolicy::PolicyKind>(kind), holds));
        };
        Pair pair{tableThatHolds(LoamPolicy::TableHolds::Entries),
                  tableThatHolds(LoamPolicy::TableHolds::Actions)};
        pair.entryCount = entrysOf(*pair.entries);
        pair.actionCount = entrysOf(*pair.actions);
        total_ += pair.entryCount + pair.actionCount;
        pairs_.push_back(pair);
    }
    phase_ = Phase::entries;
}

bool Flush::feed() {
    bool const allCommitted = platform_.resolver().queued() == 0;
    switch (phase_) {
    case Phase::entries:
        for (auto const& pair : pairs_) {
            removeAll(*pair.entries, nullptr);
        }
        phase_ = Phase::committingEntries;
        return true;
    case Phase::committingEntries:
        if (allCommitted) {
            for (auto const& pair : pairs_) {
                noteGone(*pair.entries, pair.entryCount);
            }
            phase_ = Phase::actions;
        }
        return allCommitted;
    case Phase::actions:
        for (auto const& pair : pairs_) {
            removeAll(*pair.actions, pair.entries->loggedPlace());
        }
        phase_ = Phase::committingActions;
        return true;
    case Phase::committingActions:
        if (allCommitted) {
            for (auto const& pair : pairs_) {
                noteGone(*pair.actions, pair.actionCount);
            }
            phase_ = Phase::fed;
        }
        return allCommitted;
    case Phase::fed:
        break;
    }
    return false;
}

std::uint64_t Flush::done() const {
    std::uint64_t sum = 0;
    for (auto const& tail : tails_) {
        sum += tail.applied();
    }
    return sum;
}

std::uint64_t Flush::entrysOf(AgentTable const& table) const {
    std::uint64_t sum = 0;
    for (std::size_t unit = 0; unit < unitCount_; ++unit) {
        sum += table.entrys(unit);
    }
    return sum;
}

// Nothing is left to sweep then.
void Flush::removeAll(AgentTable& table, Handle const& dependency) const {
    for (std::size_t unit = 0; unit < unitCount_; ++unit) {
        table.entryRemoveAll(unit, dependency);
        table.sweep(unit);
    }
}

void Flush::noteGone(AgentTable const& table, std::uint64_t entries) {
    if (entries != 0) {
        auto const last = table.loggedVersion();
        tails_.push_back({&table, last - 1, last, entries});
    }
}

} // namespace LoamAgent
