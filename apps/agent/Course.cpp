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
      programmer_{platform, unitCount}, flush_{platform, unitCount}, replay_{platform} {}

void Course::program(std::shared_ptr<LoamPolicy::Policy const> policy) {
    progressLine_.say(fmt::format("programming {} rules for {} {}", policy->rules().size(),
                                  unitCount_, unitCount_ == 1 ? "unit" : "units"));
    begin(programmer_);
    programmer_.start(std::move(policy));
}

void Course::flush() {
    begin(flush_);
    flush_.start();
    progressLine_.say(fmt::format("flushing {} entries", flush_.amount().total));
}

void Course::replay(std::vector<RecordedOperation> operations) {
    progressLine_.say(fmt::format("replaying {} operations", operations.size()));
    begin(replay_);
    replay_.start(std::move(operations));
}

void Course::begin(Task& task) {
    task_->stop();
    task_ = &task;
    state_ = State::feeding;
    loggedBefore_ = platform_.loggedChanges();
    countsBefore_ = platform_.counts();
    counted_ = false;
}

bool Course::turn() {
    bool const canFeed = task_->feed(turnBudget);
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
        if (task_->fed()) {
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
        if (task_->outstanding() == 0 && allCommitted &&
            (failed() || !platform_.hasPendingHwWrites())) {
            settle();
        }
        break;
    case State::settled:
        break;
    }
}

void Course::summarise() {
    auto const counts = platform_.counts();
    progressLine_.say(
        fmt::format("{}; hardware operations: {}",
                    task_->summary(counts.writes - countsBefore_.writes,
                                   counts.suppressedWrites - countsBefore_.suppressedWrites),
                    platform_.loggedChanges() - loggedBefore_));
}

void Course::settle() {
    state_ = State::settled;
    auto const [done, total] = task_->amount();
    progressLine_.end(done, total);
    progressLine_.say(failed()
                          ? fmt::format("{} of {} entries were refused; the others are applied "
                                        "or in the log",
                                        task_->failed(), total)
                          : std::string{"everything is applied"});
}

void Course::showProgress() {
    if (state_ != State::settled && task_->counted()) {
        if (!std::exchange(counted_, true)) {
            progressLine_.begin(); // what went before is no measure of the hardware side
        }
        auto const [done, total] = task_->amount();
        progressLine_.update(done, total);
    }
}

void Course::stop() {
    bool const wasFed = task_->fed();
    auto const notAsked = task_->notAsked();
    task_->stop();
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
