#include <algorithm>
#include <apps/hw/Audit.h>

namespace LoamHw {

namespace {

SettleResult outcome(BackendResult result) {
    return {result == BackendResult::ok ? Settled::programmed : Settled::failed, result, 0};
}

SettleResult settleAbsent(Backend& backend, Place const& place) {
    return backend.read(place) ? outcome(backend.remove(place)) : SettleResult{};
}

SettleResult settleStored(Backend& backend, Place const& place, Asic::LogVersion limit,
                          Stored const& stored) {
    if (stored.logVersion > limit) {
        return {Settled::ahead, BackendResult::ok, stored.logVersion};
    }
    if (stored.inDeletion) {
        return settleAbsent(backend, place);
    }
    auto const present = backend.read(place);
    if (present && std::ranges::equal(*present, stored.fields)) {
        return {};
    }
    return outcome(backend.program(place, stored.fields));
}

} // namespace

SettleResult settle(TableView& view, Backend& backend, OpenKey const& open) {
    Stored stored;
    switch (view.stored(open.place.unitId, open.place.key, stored)) {
    case Read::found:
        return settleStored(backend, open.place, open.limit, stored);
    case Read::absent:
        return settleAbsent(backend, open.place);
    case Read::damaged:
        break;
    }
    return {Settled::unknown, BackendResult::ok, 0};
}

Audit::Audit(TableView& view, Backend& backend, Asic::LogVersion limit)
    : view_{view}, backend_{backend}, limit_{limit}, units_{view.units()} {
    enterUnit();
}

void Audit::enterUnit() {
    phase_ = Phase::hardware;
    hardwareKey_ = 0;
    configurationKey_.reset();
    hardwareKeys_.clear();
    if (unit_ < units_.size()) {
        hardwareKeys_ = backend_.keys(view_.tableId(), units_[unit_]);
    }
}

bool Audit::run(Budget& budget) {
    while (unit_ < units_.size()) {
        bool const done =
            phase_ == Phase::hardware ? runHardware(budget) : runConfiguration(budget);
        if (!done) {
            return false;
        }
        if (phase_ == Phase::hardware) {
            phase_ = Phase::configuration;
        } else {
            ++unit_;
            enterUnit();
        }
    }
    return true;
}

// First what the hardware has: what has to go makes room for what has to come.
bool Audit::runHardware(Budget& budget) {
    for (; hardwareKey_ < hardwareKeys_.size(); ++hardwareKey_) {
        if (!budget.take()) {
            return false;
        }
        Place const place{view_.tableId(), units_[unit_], hardwareKeys_[hardwareKey_]};
        ++compared_;
        auto const result = settle(view_, backend_, OpenKey{place, limit_});
        if (result.settled != Settled::ahead) { // the walk sees these
            note(place, result);
        }
    }
    return true;
}

bool Audit::runConfiguration(Budget& budget) {
    for (;;) {
        if (!budget.take()) {
            return false;
        }
        Stored stored;
        auto const read = view_.next(units_[unit_], configurationKey_, stored);
        if (read != Read::found) {
            incomplete_ = incomplete_ || read == Read::damaged;
            return true;
        }
        configurationKey_ = stored.key;
        Place const place{view_.tableId(), units_[unit_], stored.key};
        ++compared_;
        note(place, settleStored(backend_, place, limit_, stored));
    }
}

void Audit::note(Place const& place, SettleResult const& result) {
    switch (result.settled) {
    case Settled::same:
        break;
    case Settled::programmed:
        ++programmed_;
        break;
    case Settled::ahead:
        ahead_.push_back(OpenKey{place, result.logVersion});
        break;
    case Settled::unknown:
        incomplete_ = true;
        break;
    case Settled::failed:
        failed_.push_back(OpenKey{place, limit_});
        break;
    }
}

} // namespace LoamHw
