#include <Ombra/Exception.h>
#include <Slate/Control.h>
#include <Slate/Shared.h>

#include <fmt/format.h>

#include <atomic>

namespace Slate {

namespace {

Crc32c const& crc() {
    static Crc32c const instance{8};
    return instance;
}

std::uint64_t scratchCheck(unsigned number, std::uint32_t sequence, std::uint64_t value) {
    std::uint32_t const sum = crc().words3(0x5c7a7c4, number, sequence, value);
    return (std::uint64_t{sequence} << 32) | sum;
}

// What the checks of the two copies differ by. Sums are linear, so it is the same for every value.
std::uint64_t checkDifference() {
    static std::uint64_t const difference = scratchCheck(0, 0, 0) ^ scratchCheck(1, 0, 0);
    return difference;
}

bool later(std::uint32_t left, std::uint32_t right) {
    return static_cast<std::int32_t>(left - right) > 0;
}

// A writer is between the two copies for a few nanoseconds at a time.
constexpr int scratchTries = 1000;

} // namespace

Control::Control(Mapping const& mapping, std::string const& name)
    : page_{mapping.as<ControlPage>(controlOffset)}, name_{name} {}

ControlPage Control::fresh(bool wiped) {
    ControlPage page{};
    page.wiped = wiped ? markOn : markOff;
    page.repairing = markOff;
    page.sequenceLimit = packState(SlotState::live, 1);
    page.memberCount = packCount(0);
    page.journal = packJournal(0, 0);
    for (unsigned number = 0; number < 2; ++number) {
        page.scratch[number] = {0, scratchCheck(number, 1, 0)};
    }
    return page;
}

std::optional<std::string> Control::unfit(ControlPage const& page) {
    if (!newest(page)) {
        return "neither copy of the scratchpad is whole";
    }
    return std::nullopt;
}

std::optional<Control::Scratch> Control::whole(ScratchCell const& cell, unsigned number) {
    std::uint64_t const check = loadAcquire(&cell.check);
    std::uint64_t const value = loadRelaxed(&cell.value);
    std::atomic_thread_fence(std::memory_order_acquire);
    auto const sequence = static_cast<std::uint32_t>(check >> 32);
    if (check == 0 || loadRelaxed(&cell.check) != check ||
        check != scratchCheck(number, sequence, value)) {
        return std::nullopt;
    }
    return Scratch{value, sequence};
}

std::optional<Control::Scratch> Control::newest(ControlPage const& page) {
    auto const first = whole(page.scratch[0], 0);
    auto const second = whole(page.scratch[1], 1);
    if (first && second) {
        return later(second->sequence, first->sequence) ? second : first;
    }
    return first ? first : second;
}

std::uint64_t Control::scratchpad() const {
    if (own_) {
        return scratch_.value;
    }
    for (int tries = 0; tries < scratchTries; ++tries) {
        if (auto const found = newest(*page_)) {
            return found->value;
        }
    }
    throw Ombra::CorruptionDetectedException{fmt::format(
        "{}: scratchpad: expected a whole copy, found checks {:016x} and {:016x} that do not fit",
        name_, loadRelaxed(&page_->scratch[0].check), loadRelaxed(&page_->scratch[1].check))};
}

void Control::scratchpadIs(std::uint64_t value) {
    scratch_ = {value, scratch_.sequence + 1};
    writeScratch();
}

// Each copy: first not whole, then the value, then whole.
void Control::writeScratch() {
    std::uint64_t const check = scratchCheck(0, scratch_.sequence, scratch_.value);
    std::uint64_t const checks[] = {check, check ^ checkDifference()};
    for (unsigned number = 0; number < 2; ++number) {
        ScratchCell& cell = page_->scratch[number];
        storeRelaxed(&cell.check, 0);
        std::atomic_thread_fence(std::memory_order_release);
        storeRelaxed(&cell.value, scratch_.value);
        storeRelease(&cell.check, checks[number]);
    }
}

void Control::recover() {
    if (own_) {
        return;
    }
    auto const first = whole(page_->scratch[0], 0);
    auto const second = whole(page_->scratch[1], 1);
    scratch_ = newest(*page_).value();
    own_ = true;
    if (!first || !second || first->sequence != second->sequence) {
        writeScratch();
    }
}

bool Control::wiped() const {
    return markIsOn(loadAcquire(&page_->wiped));
}

void Control::clearWiped() {
    storeRelease(&page_->wiped, markOff);
}

bool Control::repairing() const {
    return markIsOn(loadAcquire(&page_->repairing));
}

void Control::repairingIs(bool value) {
    storeRelease(&page_->repairing, value ? markOn : markOff);
}

std::uint64_t Control::writerPid() const {
    return loadRelaxed(&page_->writerPid);
}

void Control::writerPidIs(std::uint64_t pid) {
    storeRelaxed(&page_->writerPid, pid);
}

Control::Journal Control::journal() const {
    std::uint64_t const word = loadAcquire(&page_->journal);
    if (!journalWhole(word)) {
        return {};
    }
    return {journalTaken(word), journalReleased(word)};
}

std::optional<std::uint64_t> Control::sequenceLimit() const {
    std::uint64_t const word = loadAcquire(&page_->sequenceLimit);
    if (!stateWhole(word) || stateOf(word) != SlotState::live) {
        return std::nullopt;
    }
    return sequenceOf(word);
}

void Control::sequenceLimitIs(std::uint64_t limit) {
    storeRelease(&page_->sequenceLimit, packState(SlotState::live, limit));
}

std::optional<std::uint32_t> Control::memberCount() const {
    std::uint64_t const word = loadAcquire(&page_->memberCount);
    if (!countWhole(word)) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(word);
}

std::uint64_t Control::shape() const {
    return loadAcquire(&page_->shape);
}

void Control::shapeInc() {
    std::atomic_thread_fence(std::memory_order_release);
    storeRelaxed(&page_->shape, loadRelaxed(&page_->shape) + 1);
    std::atomic_thread_fence(std::memory_order_release);
}

} // namespace Slate
