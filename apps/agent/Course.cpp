#include <fmt/format.h>

#include <apps/agent/Course.h>
#include <string>
#include <utility>

namespace LoamAgent {

namespace {

constexpr std::size_t turnBudget = 1024; // operations: a turn takes about a millisecond

} // namespace

Course::Course(Platform& platform, std::size_t unitCount, ProgressLine& progressLine)
    : platform_{platform}, unitCount_{unitCount}, progressLine_{progressLine},
      programmer_{platform, unitCount}, flush_{platform, unitCount} {}

void Course::program(std::shared_ptr<LoamPolicy::Policy const> policy) {
    progressLine_.say(fmt::format("programming {} rules for {} {}", policy->rules().size(),
                                  unitCount_, unitCount_ == 1 ? "unit" : "units"));
    begin(false);
    programmer_.start(std::move(policy));
}

void Course::flush() {
    programmer_.stop();
    begin(true);
    flush_.start();
    progressLine_.say(fmt::format("flushing {} entries", flush_.total()));
}

void Course::begin(bool flushing) {
    state_ = State::feeding;
    flushing_ = flushing;
    replaying_ = platform_.inMarkingState();
    loggedBefore_ = platform_.loggedChanges();
    countsBefore_ = platform_.counts();
    progressLine_.begin();
}

bool Course::feed() {
    return flushing_ ? flush_.feed() : programmer_.feed(turnBudget);
}

bool Course::fed() const {
    return flushing_ ? flush_.fed() : programmer_.fed();
}

Course::Amount Course::amount() const {
    if (flushing_) {
        return {flush_.done(), flush_.total()};
    }
    auto const progress = programmer_.progress();
    return {progress.done, progress.total};
}

bool Course::turn() {
    bool const canFeed = feed();
    auto const result = platform_.resolver().run(turnBudget);
    platform_.ringIfAnnounced();
    auto const before = state_;
    advance();
    showProgress();
    return canFeed || result.more || state_ != before;
}

// One step at most: whatever a step asks for has its turn before the next.
void Course::advance() {
    bool const allCommitted = platform_.resolver().queued() == 0;
    switch (state_) {
    case State::feeding:
        if (fed()) {
            state_ = State::closing;
        }
        break;
    case State::closing:
        if (allCommitted) {
            summarise();
            state_ = State::committed;
        }
        break;
    case State::committed:
        // An operation that was refused stays pending in its table for good.
        if (programmer_.outstanding() == 0 && allCommitted &&
            (failed() || !platform_.hasPendingHwWrites())) {
            settle();
        }
        break;
    case State::settled:
        break;
    }
}

void Course::summarise() {
    auto const progress = programmer_.progress();
    auto const counts = platform_.counts();
    auto const written = counts.writes - countsBefore_.writes;
    auto const operations =
        fmt::format("hardware operations: {}", platform_.loggedChanges() - loggedBefore_);
    if (flushing_) {
        progressLine_.say(fmt::format("flushed: {} entries; {}", flush_.total(), operations));
        return;
    }
    std::string text =
        replaying_
            ? fmt::format("written: {} entries asked for, {} suppressed because the tables held "
                          "them already, {} swept because the policy has them no more",
                          written, counts.suppressedWrites - countsBefore_.suppressedWrites,
                          progress.swept)
            : fmt::format("written: {} entries differed, {} were as the policy has them", written,
                          progress.unchanged);
    if (!replaying_ || progress.removed != 0) {
        text += fmt::format(", {} removed because the policy has them no more", progress.removed);
    }
    text += "; ";
    progressLine_.say(text + operations);
}

void Course::settle() {
    state_ = State::settled;
    auto const [done, total] = amount();
    progressLine_.end(done, total);
    auto const failed = programmer_.progress().failed;
    progressLine_.say(failed == 0 ? std::string{"everything is applied"}
                                  : fmt::format("{} of {} entries were refused; the others are "
                                                "applied or in the log",
                                                failed, total));
}

void Course::showProgress() {
    if (state_ != State::settled && (flushing_ || programmer_.counted())) {
        auto const [done, total] = amount();
        progressLine_.update(done, total);
    }
}

void Course::stop() {
    bool const wasFed = fed();
    auto const progress = programmer_.progress();
    auto const notAsked = flushing_ ? 0 : progress.total - progress.asked - progress.unchanged;
    programmer_.stop();
    while (platform_.resolver().run(turnBudget).more) {
    }
    platform_.ringIfAnnounced();
    platform_.group().pollTableVersions();
    progressLine_.say(fmt::format(
        "stopping: {} entries of the policy were not written, {} wait for something and are "
        "forgotten{}; {} changes in the logs are not applied by the hardware side and stay there",
        notAsked, platform_.resolver().queued(),
        wasFed ? "" : " (the next start writes the policy anew)", platform_.unappliedChanges()));
}

} // namespace LoamAgent
