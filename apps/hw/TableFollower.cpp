#include <fmt/format.h>

#include <algorithm>
#include <apps/hw/TableFollower.h>
#include <utility>

namespace LoamHw {

using Asic::LogVersion;

Neighbours::~Neighbours() = default;

char const* nameOf(FollowState state) {
    switch (state) {
    case FollowState::absent:
        return "absent";
    case FollowState::idle:
        return "idle";
    case FollowState::following:
        return "following";
    case FollowState::waiting:
        return "waiting";
    case FollowState::auditing:
        return "auditing";
    case FollowState::stuck:
        return "stuck";
    case FollowState::blocked:
        return "blocked";
    }
    return "unknown";
}

TableFollower::TableFollower(TableView& view, Backend& backend, Neighbours& neighbours,
                             LogVersion applied)
    : view_{view}, backend_{backend}, neighbours_{neighbours}, applied_{applied} {}

void TableFollower::report(std::string const& text, bool detail) {
    neighbours_.report(fmt::format("{}: {}", view_.name(), text), detail);
}

bool TableFollower::turn(Clock::time_point now) {
    if (!ready() || (stuck_ && now < nextTry_)) {
        return false;
    }
    Budget budget;
    waitsFor_.reset();
    if (std::exchange(auditAtOnce_, false)) {
        startAudit(applied_, "the hardware's content is not known", true);
    }
    if (audit_ && !runAudit(budget, now)) {
        return true;
    }
    if (!settleFailed(budget, now)) {
        return !stuck_;
    }
    state_ = FollowState::following;
    follow(budget, now);
    if (applied_ < announced_) {
        return state_ == FollowState::following || state_ == FollowState::auditing;
    }
    state_ = FollowState::idle;
    if (std::exchange(auditAsked_, false)) {
        startAudit(applied_, "another run of the agent has begun", true);
        return true;
    }
    settleLeftovers(budget, now);
    return false;
}

bool TableFollower::settled() const {
    return state_ == FollowState::absent ||
           (state_ == FollowState::idle && !audit_ && !auditAsked_ && failed_.empty() &&
            leftovers_.keys.empty());
}

// Whether there is something that can be followed.
bool TableFollower::ready() {
    bool const mounted = view_.mount();
    if (mounted && readAnnounced()) {
        reportedTrouble_.clear();
        return true;
    }
    std::string const trouble =
        mounted ? "the announced version can't be read; the next change repairs it"
                : view_.trouble();
    state_ = trouble.empty() ? FollowState::absent : FollowState::blocked;
    if (trouble != reportedTrouble_) {
        reportedTrouble_ = trouble;
        if (!trouble.empty()) {
            report(trouble);
        }
    }
    return false;
}

bool TableFollower::readAnnounced() {
    auto const announced = view_.announced();
    if (!announced) {
        return false;
    }
    announced_ = *announced;
    if (announced_ < applied_) {
        report(fmt::format("version {} is applied and {} is announced: the log was lost and made "
                           "anew",
                           applied_, announced_));
        view_.dropStale();
        beginAnew();
        return view_.mount();
    }
    return true;
}

void TableFollower::logReplaced() {
    report(fmt::format("the log was lost; version {} of it was applied", applied_));
    beginAnew();
}

// The versions applied so far mean nothing any more: the new log is followed from its beginning,
// and what the hardware holds is compared once all that is announced is applied.
void TableFollower::beginAnew() {
    applied_ = 0;
    audit_.reset();
    gapEnd_.reset();
    failed_.clear();
    leftovers_ = {};
    auditAsked_ = true;
    unstop();
}

void TableFollower::startAudit(LogVersion limit, std::string const& why, bool detail) {
    report(fmt::format("comparing with the hardware up to version {}: {}", limit, why), detail);
    ++counts_.audits;
    state_ = FollowState::auditing;
    audit_.emplace(view_, backend_, limit);
}

bool TableFollower::runAudit(Budget& budget, Clock::time_point now) {
    state_ = FollowState::auditing;
    if (!audit_->run(budget)) {
        return false;
    }
    counts_.audited += audit_->programmed();
    if (audit_->incomplete()) {
        ++counts_.incompleteAudits;
        report("a part of the configuration tables could not be read and was not compared");
    }
    report(
        fmt::format("compared {} entries, programmed {}", audit_->compared(), audit_->programmed()),
        audit_->programmed() == 0);
    failed_ = std::move(audit_->failed());
    leftovers_ = {std::move(audit_->ahead()), neighbours_.announcedPlaces(), now};
    audit_.reset();
    if (failed_.empty()) {
        closeGap();
    }
    return true;
}

void TableFollower::closeGap() {
    if (auto const end = std::exchange(gapEnd_, std::nullopt)) {
        applied_ = *end;
    }
}

// Asks again for what the backend did not take. What has been written or deleted again since comes
// through the log. True when nothing is left.
bool TableFollower::settleFailed(Budget& budget, Clock::time_point now) {
    bool madeRoom = false;
    while (!failed_.empty()) {
        if (!budget.take()) {
            return false;
        }
        auto const open = failed_.back();
        auto const result = settle(view_, backend_, open);
        if (result.settled != Settled::failed) {
            failed_.pop_back();
            counts_.audited += result.settled == Settled::programmed ? 1 : 0;
            continue;
        }
        if (result.backend == BackendResult::full && !std::exchange(madeRoom, true) &&
            makeRoom(open.place.unitId)) {
            continue;
        }
        // The others get their chance, too: the next attempt begins with another one.
        std::rotate(failed_.begin(), std::prev(failed_.end()), failed_.end());
        stop(0, open.place, result.backend, now);
        return false;
    }
    if (stuck_ && stuck_->version == 0) {
        unstop();
        closeGap();
    }
    return true;
}

void TableFollower::follow(Budget& budget, Clock::time_point now) {
    while (applied_ < announced_ && budget.take()) {
        LogVersion const version = applied_ + 1;
        if (!neededReached(version)) {
            state_ = FollowState::waiting;
            return;
        }
        Change change;
        if (readChange(version, change) != Read::found) {
            startGapAudit(version);
            return;
        }
        if (!apply(change, now)) {
            state_ = FollowState::stuck;
            return;
        }
        applied_ = version;
        ++counts_.changes;
    }
}

// Damage is looked at twice before it is believed.
Read TableFollower::readChange(LogVersion version, Change& change) {
    auto const read = view_.change(version, change);
    return read == Read::damaged ? view_.change(version, change) : read;
}

bool TableFollower::neededReached(LogVersion version) {
    Asic::NeededRecord record;
    auto const read = view_.needed(version, record);
    if (read == Read::damaged) {
        ++counts_.lostNeeded;
        report(fmt::format("what version {} needs can't be read; it goes on without", version));
    }
    if (read != Read::found) {
        return true;
    }
    auto const count = std::min<std::size_t>(record.count, Asic::NeededRecord::maxPlaces);
    for (auto const& place : std::span{record.places}.first(count)) {
        if (place.tableId != view_.tableId() && !neighbours_.reached(place)) {
            waitsFor_ = place;
            return false;
        }
    }
    return true;
}

bool TableFollower::apply(Change const& change, Clock::time_point now) {
    auto result = programChange(change);
    if (result == BackendResult::full && makeRoom(change.unitId)) {
        result = programChange(change);
    }
    if (result == BackendResult::ok) {
        unstop();
        return true;
    }
    if (result != BackendResult::retry && overtaken(change)) {
        ++counts_.overtaken;
        report(fmt::format("version {} of key {:#010x} on unit {} is passed over: {}; a later "
                           "change of the key is announced",
                           change.version, change.key, change.unitId, backend_.reason()));
        unstop();
        return true;
    }
    stop(change.version, Place{view_.tableId(), change.unitId, change.key}, result, now);
    return false;
}

BackendResult TableFollower::programChange(Change const& change) {
    Place const place{view_.tableId(), change.unitId, change.key};
    if (flagHas(change.logFlags, Asic::EntryFlags::flagTableDeleted)) {
        return backend_.removeAll(place.tableId, place.unitId);
    }
    if (flagHas(change.logFlags, Asic::EntryFlags::flagEntryDeleted)) {
        return backend_.remove(place);
    }
    if (auto const present = backend_.read(place);
        present && std::ranges::equal(*present, change.fields)) {
        ++counts_.unchanged;
        return BackendResult::ok;
    }
    return backend_.program(place, change.fields);
}

bool TableFollower::overtaken(Change const& change) {
    Stored stored;
    return view_.stored(change.unitId, change.key, stored) == Read::found &&
           stored.logVersion > change.version && stored.logVersion <= announced_;
}

// Removes what an announced change behind the stop deletes. Changes in between may write such an
// entry once more; it then goes again in its turn.
bool TableFollower::makeRoom(Asic::UnitId unitId) {
    std::uint64_t removed = 0;
    for (auto const key : backend_.keys(view_.tableId(), unitId)) {
        Stored stored;
        if (view_.stored(unitId, key, stored) == Read::found && stored.inDeletion &&
            stored.logVersion > applied_ && stored.logVersion <= announced_ &&
            neededReached(stored.logVersion) &&
            backend_.remove(Place{view_.tableId(), unitId, key}) == BackendResult::ok) {
            ++removed;
        }
    }
    waitsFor_.reset();
    counts_.early += removed;
    return removed != 0;
}

void TableFollower::startGapAudit(LogVersion first) {
    if (view_.dropStale()) { // it was another log that we read
        logReplaced();
        return;
    }
    LogVersion const last = gapEnd(first);
    counts_.missing += last - first + 1;
    gapEnd_ = last;
    startAudit(last,
               first == last ? fmt::format("version {} is missing in the log", first)
                             : fmt::format("versions {} to {} are missing in the log", first, last),
               false);
}

// The last version in a row that is missing. A change that waits for a needed place ends the row,
// as long as the row is short; a long one means that what was applied has been forgotten, and the
// needed places are gone with the log's records.
LogVersion TableFollower::gapEnd(LogVersion first) {
    constexpr LogVersion shortGap = 4096;
    LogVersion last = first;
    while (last < announced_) {
        if (last - first == shortGap) {
            auto const next = view_.nextInLog(last);
            return next ? std::min(*next - 1, announced_) : announced_;
        }
        Change change;
        if (readChange(last + 1, change) == Read::found || !neededReached(last + 1)) {
            break;
        }
        ++last;
    }
    waitsFor_.reset();
    return last;
}

// Records above the limit of the last audit. Most have come through the log by now; one that still
// stands above all that is announced was stored by an agent that died before it stored the change.
void TableFollower::settleLeftovers(Budget& budget, Clock::time_point now) {
    if (leftovers_.keys.empty() || now - leftovers_.since < leftoverAge ||
        !std::ranges::all_of(leftovers_.behind,
                             [&](auto const& place) { return neighbours_.reached(place); })) {
        return;
    }
    while (!leftovers_.keys.empty() && budget.take()) {
        auto const open = leftovers_.keys.back();
        leftovers_.keys.pop_back();
        settleLeftover(open);
    }
}

void TableFollower::settleLeftover(OpenKey const& open) {
    OpenKey const now{open.place, std::max(open.limit, applied_)};
    auto const result = settle(view_, backend_, now);
    if (result.settled == Settled::failed) {
        failed_.push_back(now);
    } else if (result.settled == Settled::programmed && open.limit > announced_) {
        ++counts_.leftovers;
        report(fmt::format("key {:#010x} on unit {} was stored with version {} by an agent that "
                           "died before it logged the change; programmed",
                           open.place.key, open.place.unitId, open.limit));
    }
}

void TableFollower::stop(LogVersion version, Place const& place, BackendResult result,
                         Clock::time_point now) {
    state_ = FollowState::stuck;
    if (!stuck_ || stuck_->version != version || (version != 0 && stuck_->result != result)) {
        auto const since = stuck_ && stuck_->version == version ? stuck_->since : now;
        stuck_ = Stuck{version, place, result, {}, since, 0};
        pause_ = firstPause;
        report(fmt::format("stuck at version {}, key {:#010x}, unit {}: {}", version, place.key,
                           place.unitId, backend_.reason()));
    }
    stuck_->place = place;
    stuck_->result = result;
    stuck_->reason = backend_.reason();
    ++stuck_->tries;
    nextTry_ = now + pause_;
    pause_ = std::min(pause_ * 2, longestPause);
}

void TableFollower::unstop() {
    if (stuck_) {
        report(fmt::format("goes on after {} attempts", stuck_->tries));
        stuck_.reset();
    }
    pause_ = firstPause;
}

} // namespace LoamHw
