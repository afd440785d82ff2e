#include <apps/agent/record/Recording.h>
#include <apps/policy/PolicyKind.h>
#include <utility>

namespace LoamAgent {

namespace {

constexpr std::size_t keysInAStep = 1024;

} // namespace

void Recording::start(std::string path, std::uint64_t mostBytes) {
    recorder_ = std::make_unique<Recorder>(std::move(path), mostBytes);
    nextTable_ = nextUnit_ = nextKey_ = 0;
    keysRead_ = false;
    platform_.recorderIs(recorder_.get());
}

std::string Recording::stop() {
    platform_.recorderIs(nullptr);
    auto const recorder = std::exchange(recorder_, nullptr);
    return recorder ? recorder->close() : std::string{};
}

// A TCAM entry comes behind all actions of its policy, whose table is the one before.
void Recording::recordHeld(AgentTable const& table, std::uint32_t key) {
    auto const tblId = table.tableId().tblId();
    auto const number = LoamPolicy::tableOf(tblId);
    std::string behind;
    if (number && number->holds == LoamPolicy::TableHolds::Entries) {
        behind = platform_.table(static_cast<std::uint16_t>(tblId - 1))->name();
    }
    if (table.entryHas(nextUnit_, key)) {
        recorder_->note({RecordedOperation::Kind::write,
                         std::string{table.name()},
                         platform_.units()[nextUnit_],
                         key,
                         0,
                         {},
                         table.fieldsOf(nextUnit_, key)},
                        nullptr, behind, nullptr);
    }
}

bool Recording::step() {
    if (!recorder_ || complete()) {
        return false;
    }
    auto const& table = *platform_.tables()[nextTable_];
    if (!keysRead_) {
        keys_ = table.keys(nextUnit_);
        keysRead_ = true;
        nextKey_ = 0;
    }
    for (std::size_t i = 0; i < keysInAStep && nextKey_ < keys_.size(); ++i, ++nextKey_) {
        recordHeld(table, keys_[nextKey_]);
    }
    if (nextKey_ == keys_.size()) {
        keysRead_ = false;
        if (++nextUnit_ == platform_.units().size()) {
            nextUnit_ = 0;
            ++nextTable_;
        }
    }
    return !complete();
}

} // namespace LoamAgent
