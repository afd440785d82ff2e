#pragma once

#include <Asic/SwTableIteratorStateBase.h>
#include <Ombra/Assert.h>
#include <Ombra/Ptr.h>
#include <OrderedTable/SlateRead.h>
#include <Zet/Trace.h>

#include <type_traits>

// Iteration over the visible table: the pending writes in the order of their collection, then the
// committed entries in the order of the configuration table, without those that a pending operation
// hides. Neither order is by key.
//
// An iteration survives whatever happens between two of its steps, which may be far apart. It keeps
// no pointer into any collection, only a state object with a bookmark: the key of the next entry to
// deliver. Each step finds its place from the bookmark again. What a running iteration misses or
// sees of changes follows from that alone:
//
//   - a key added behind the position during the first phase may or may not be delivered;
//   - a key added once the first phase is over isn't;
//   - when the bookmarked pending write goes, the first phase ends at that step, and the second one
//     starts at that key and not at the table's start;
//   - when the bookmarked record goes, the walk goes on behind it.
namespace Asic {

template <typename IteratorState, typename T>
class IterStateAccessor {
  public:
    using Family = typename T::Family;
    using Key = typename Family::Key;
    using Entry = typename Family::Entry;
    using Record = typename Family::ConfigSlateEntry;

    explicit IterStateAccessor(IteratorState* iterState) noexcept : iterState_{iterState} {}

    // A state at the table's start.
    static Ombra::Ptr<IteratorState> initIterState(T const* swTable) {
        auto state = newState(swTable);
        state->state().inAddCollIs(true);
        return state;
    }

    // A state at the entry of `key`. When the visible table has none, the first step is the end.
    // A null table gives a null state.
    static Ombra::Ptr<IteratorState> initIterState(T const* swTable, Key const& key) {
        if (swTable == nullptr) {
            return nullptr;
        }
        auto state = newState(swTable);
        state->bookmarkKeyIs(key);
        state->state().bookmarkValidIs(true);
        if (swTable->transientAddEntryHas(key)) {
            state->state().inAddCollIs(true);
        } else if (!state->state().skipTblCfg() &&
                   swTable->entryLog()->entryHas(key, swTable->unitId())) {
            state->state().inTblCfgIs(true);
        }
        return state;
    }

    // One step. `entryValid` of the state tells whether the result is an entry; at the end it is
    // the default entry.
    Entry maybeUpdateCurrentEntry() {
        ZET_TRACE(_defaultTraceHandle(), 8, className, "");
        Entry entry;
        if (flags().inAddColl() && stepInAdditions(entry)) {
            return entry;
        }
        if (flags().inTblCfg()) {
            ZET_TRACE(_defaultTraceHandle(), 9, className, "  in cfgSlate collection");
            if (stepInConfig(entry)) {
                return entry;
            }
        }
        ZET_TRACE(_defaultTraceHandle(), 9, className, "  no more entries");
        flags().entryValidIs(false);
        flags().inAddCollIs(false);
        flags().inTblCfgIs(false);
        return entry;
    }

    // One name for all tables.
    static Zet::TraceHandle const& _defaultTraceHandle() {
        static Zet::TraceHandle const handle{"SwTableIter", false};
        return handle;
    }

  private:
    static constexpr char const* className = "IterStateAccessor";

    static Ombra::Ptr<IteratorState> newState(T const* swTable) {
        auto state = Ombra::ptrIs<IteratorState>();
        state->swTableIs(swTable);
        state->state().skipTblCfgIs(swTable->transientRemoveAllVersion().valid());
        return state;
    }

    SwTableIteratorFlags& flags() const noexcept { return iterState_->state(); }
    T const& swTable() const noexcept { return *iterState_->swTable(); }

    // False, and nothing given, when the phase is over.
    bool stepInAdditions(Entry& entry);
    bool stepInConfig(Entry& entry);

    Record const* findRecord(typename Family::ConfigSlate::Map& entries, Record& room) const;
    void leaveBehind(typename Family::ConfigSlate::Map& entries, Key const& key, Record& room);

    IteratorState* iterState_;
};

// Nothing when the position holds no node; the phase is over then.
template <typename IteratorState, typename T>
bool IterStateAccessor<IteratorState, T>::stepInAdditions(Entry& entry) {
    OMBRA_ASSERT(!flags().inTblCfg(), "!iterState_->state().inTblCfg()");
    auto const leave = [this] {
        ZET_TRACE_AS("operator()", _defaultTraceHandle(), 9, className, "  done with transAdd");
        flags().inAddCollIs(false);
        flags().inTblCfgIs(!flags().skipTblCfg());
    };
    using Position = typename T::TransientAddEntry::IteratorConst;
    auto const& pending = swTable().transientAddEntryColl();
    Position position =
        flags().bookmarkValid() ? Position{pending, iterState_->bookmarkKey()} : Position{pending};
    ZET_TRACE_AS("maybeUpdateCurrentEntry", _defaultTraceHandle(), 9, className,
                 "  in transientAdd collection");
    if (!position) {
        leave();
        OMBRA_ASSERT(!flags().inAddColl(), "!iterState_->state().inAddColl()");
        return false;
    }
    flags().entryValidIs(true);
    ZET_TRACE_AS("maybeUpdateCurrentEntry", _defaultTraceHandle(), 9, className,
                 "  found entry: {}", position->fwkKey());
    entry = position->value()->swTableEntry();
    ++position;
    if (position) {
        iterState_->bookmarkKeyIs(position->fwkKey());
        flags().bookmarkValidIs(true);
    } else {
        flags().bookmarkValidIs(false);
        leave();
    }
    return true;
}

// Nothing when no record is left that passes the filter.
template <typename IteratorState, typename T>
bool IterStateAccessor<IteratorState, T>::stepInConfig(Entry& entry) {
    auto const configSlate = swTable().entryLog()->tableConfigSlate(swTable().unitId());
    auto& entries = configSlate->swTableEntries();
    Record room;
    Record const* record = findRecord(entries, room);
    while (record != nullptr) {
        Key const key = record->key();
        bool const hidden = swTable().transientRemoveEntryHas(key) ||
                            swTable().transientAddEntryHas(key) || record->inDeletion();
        if (!hidden) {
            entry = record->entry();
            leaveBehind(entries, key, room);
            return true;
        }
        record = OrderedTable::nextRecordOf(entries, key, room) ? &room : nullptr;
    }
    return false;
}

// The bookmarked record, where it lies, or its successor in `room` when it has gone. Good until the
// next look into the map.
template <typename IteratorState, typename T>
auto IterStateAccessor<IteratorState, T>::findRecord(typename Family::ConfigSlate::Map& entries,
                                                     Record& room) const -> Record const* {
    try {
        Slate::IterHint hint{};
        if (!flags().bookmarkValid()) {
            return entries.iterFirst(&room, &hint) ? &room : nullptr;
        }
        bool found = false;
        Record const& there = entries.lookup(iterState_->bookmarkKey(), &found, nullptr);
        if (found) {
            return &there;
        }
        return entries.iterNext(iterState_->bookmarkKey(), &room, &hint) ? &room : nullptr;
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        entries.doCorruptionDetected(corruption.msg());
        return nullptr;
    }
}

// The record of `key` is delivered: the bookmark moves to its successor, which may be one that the
// next step filters out.
template <typename IteratorState, typename T>
void IterStateAccessor<IteratorState, T>::leaveBehind(typename Family::ConfigSlate::Map& entries,
                                                      Key const& key, Record& room) {
    flags().entryValidIs(true);
    ZET_TRACE_AS("maybeUpdateCurrentEntry", _defaultTraceHandle(), 9, className,
                 "  found entry: {}", key);
    if (OrderedTable::nextRecordOf(entries, key, room)) {
        iterState_->bookmarkKeyIs(room.key());
        flags().bookmarkValidIs(true);
    } else {
        ZET_TRACE_AS("maybeUpdateCurrentEntry", _defaultTraceHandle(), 9, className,
                     "  done with cfgSlate");
        flags().bookmarkValidIs(false);
        flags().inTblCfgIs(false);
    }
}

// The iterator that clients hold: a state and the current entry. Two iterators compare equal when
// their current entries do, so one that has ended equals the end iterator (and so does one at an
// entry that is equal to the default entry in every field).
template <typename T, typename Entry, typename Key, typename IteratorState>
class OrderedSwTableEntryIterator {
  public:
    using Table = std::remove_const_t<T>;

    OrderedSwTableEntryIterator() = default; // the end

    // At the table's start; a null table gives the end.
    explicit OrderedSwTableEntryIterator(T* swTable) : swTable_{swTable} {
        if (swTable_ != nullptr) {
            startAt(swTable_->initIterState());
        }
    }

    // At the entry of `key`, or at the end when the visible table has none.
    OrderedSwTableEntryIterator(T* swTable, Key const& key) : swTable_{swTable} {
        startAt(swTable_->initIterStateFromKey(key));
    }

    explicit operator bool() const noexcept {
        return iterState_ != nullptr && iterState_->state().entryValid();
    }

    Entry const& operator*() const {
        OMBRA_ASSERT(static_cast<bool>(*this), "iter_");
        return current_;
    }
    Entry const* operator->() const { return &**this; }

    // The current entry, or the default entry at the end.
    Entry const& currentOrEnd() const noexcept { return current_; }

    OrderedSwTableEntryIterator& operator++() {
        OMBRA_ASSERT(static_cast<bool>(*this), "iter_");
        current_ = iterState_->maybeUpdateCurrentEntry();
        return *this;
    }

    friend bool operator==(OrderedSwTableEntryIterator const& left,
                           OrderedSwTableEntryIterator const& right) noexcept {
        return Entry::isEq(&left.current_, &right.current_);
    }

  private:
    void startAt(Ombra::Ptr<IteratorState> iterState) {
        iterState_ = std::move(iterState);
        if (iterState_) {
            current_ = iterState_->maybeUpdateCurrentEntry();
        }
    }

    T* swTable_ = nullptr;
    Ombra::Ptr<IteratorState> iterState_;
    Entry current_{};
};

} // namespace Asic
