#include <Asic/NeededEntry.h>

#include <algorithm>

namespace Asic {

NeededEntry::NeededEntry() noexcept = default;
NeededEntry::~NeededEntry() = default;

void NeededEntry::add(TableVersion const& place) {
    if (place.version == 0) {
        return;
    }
    auto const raise = [&](TableVersion& known) {
        known.version = std::max<LogVersion>(known.version, place.version);
    };
    if (count_ == 0) {
        first_ = place;
        count_ = 1;
        return;
    }
    if (count_ == 1) {
        if (first_.tableId == place.tableId) {
            raise(first_);
            return;
        }
        several_ = {first_, place};
        count_ = 2;
        return;
    }
    auto const known = std::ranges::find(several_, place.tableId, &TableVersion::tableId);
    if (known != several_.end()) {
        raise(*known);
        return;
    }
    several_.push_back(place);
    ++count_;
}

std::span<TableVersion const> NeededEntry::places() const noexcept {
    return count_ < 2 ? std::span{&first_, count_} : std::span<TableVersion const>{several_};
}

} // namespace Asic
