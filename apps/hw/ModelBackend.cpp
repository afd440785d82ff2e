#include <fmt/format.h>

#include <algorithm>
#include <apps/hw/ModelBackend.h>
#include <apps/policy/EntryLayout.h>
#include <cerrno>
#include <stdexcept>
#include <time.h>

namespace LoamHw {

namespace {

// Numbers in entries are little-endian, see apps/policy/Field.h.
std::uint32_t priorityOf(std::span<std::byte const> fields) {
    constexpr std::size_t at = LoamPolicy::EntryHeadLayout::priority.offset - LoamPolicy::keySize;
    std::uint32_t priority = 0;
    for (std::size_t i = 0; i < sizeof priority && at + i < fields.size(); ++i) {
        priority |= std::to_integer<std::uint32_t>(fields[at + i]) << (8 * i);
    }
    return priority;
}

} // namespace

ModelBackend::ModelBackend(std::vector<TableShape> shapes, Faults const& faults)
    : shapes_{std::move(shapes)} {
    faultsIs(faults);
}

ModelBackend::~ModelBackend() = default;

void ModelBackend::faultsIs(Faults const& faults) {
    for (auto const& [table, key] : faults.refuse) {
        if (std::ranges::find(shapes_, table, &TableShape::name) == shapes_.end()) {
            throw std::invalid_argument{
                fmt::format("'{}' is no table; `loamctl tables` lists them", table)};
        }
    }
    faults_ = faults;
    for (auto& [place, tcam] : tcams_) {
        tcam->array.capacityIs(faults.capacity);
    }
}

TableShape const& ModelBackend::shape(Asic::SwTableId tableId) const {
    return *std::ranges::find(shapes_, tableId, &TableShape::tableId);
}

ModelBackend::Tcam* ModelBackend::tcam(Asic::SwTableId tableId, Asic::UnitId unitId) const {
    auto const found = tcams_.find({tableId, unitId});
    return found == tcams_.end() ? nullptr : found->second.get();
}

ModelBackend::Found const& ModelBackend::find(Place const& place) const {
    if (found_.tcam != nullptr && found_.place == place) {
        return found_;
    }
    found_ = Found{place, tcam(place.tableId, place.unitId), nullptr};
    if (found_.tcam != nullptr) {
        auto& fieldsOfKey = found_.tcam->fieldsOfKey;
        auto const found = fieldsOfKey.find(place.key);
        found_.fields = found == fieldsOfKey.end() ? nullptr : &found->second;
    }
    return found_;
}

TcamArray::Rank ModelBackend::Tcam::rank(std::uint32_t key,
                                         std::span<std::byte const> fields) const {
    return {byPriority ? priorityOf(fields) : 0, key};
}

BackendResult ModelBackend::refuse(BackendResult result, std::uint64_t& count, std::string reason) {
    ++count;
    reason_ = std::move(reason);
    return result;
}

// Whether the hardware still takes operations; sets the reason when it doesn't.
bool ModelBackend::answers() {
    if (!faults_.stopAfter || counts_.writes + counts_.removes < *faults_.stopAfter) {
        return true;
    }
    ++counts_.retried;
    reason_ = fmt::format("the hardware answers no more after {} operations (injected)",
                          *faults_.stopAfter);
    return false;
}

void ModelBackend::takeTime() const {
    if (faults_.slowUs == 0) {
        return;
    }
    timespec rest{static_cast<time_t>(faults_.slowUs / 1'000'000),
                  static_cast<long>(faults_.slowUs % 1'000'000) * 1000};
    while (::clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

BackendResult ModelBackend::program(Place const& place, std::span<std::byte const> fields) {
    if (!answers()) {
        return BackendResult::retry;
    }
    takeTime();
    if (!faults_.refuse.empty() &&
        faults_.refuse.contains({shape(place.tableId).name, place.key})) {
        return refuse(BackendResult::refused, counts_.refused,
                      "the hardware can't take this entry (injected)");
    }
    auto const present = find(place);
    if (present.fields != nullptr) {
        replace(present, fields);
        return BackendResult::ok;
    }
    auto* target = present.tcam;
    if (target == nullptr) {
        auto made = std::make_unique<Tcam>(faults_.capacity, shape(place.tableId).byPriority);
        target = made.get();
        tcams_.emplace(std::pair{place.tableId, place.unitId}, std::move(made));
    }
    if (target->array.full()) {
        return refuse(BackendResult::full, counts_.full,
                      fmt::format("the TCAM of unit {} is full: it holds {} entries and has room "
                                  "for {}",
                                  place.unitId, target->array.size(), target->array.capacity()));
    }
    found_ = {};
    counts_.moved += target->array.insert(target->rank(place.key, fields));
    ++counts_.writes;
    target->fieldsOfKey.emplace(place.key, Fields{fields.begin(), fields.end()});
    return BackendResult::ok;
}

// In the same slot, unless the priority has changed. That a slot is free is sure even when the TCAM
// is full: the entry's own.
void ModelBackend::replace(Found const& present, std::span<std::byte const> fields) {
    auto& [place, target, stored] = present;
    auto const former = target->rank(place.key, *stored);
    auto const later = target->rank(place.key, fields);
    if (former != later) {
        target->array.erase(former);
        counts_.moved += target->array.insert(later);
    }
    ++counts_.writes;
    stored->assign(fields.begin(), fields.end());
}

BackendResult ModelBackend::remove(Place const& place) {
    auto const present = find(place);
    if (present.fields == nullptr) {
        return BackendResult::ok;
    }
    if (!answers()) {
        return BackendResult::retry;
    }
    takeTime();
    found_ = {};
    present.tcam->array.erase(present.tcam->rank(place.key, *present.fields));
    present.tcam->fieldsOfKey.erase(place.key);
    ++counts_.removes;
    return BackendResult::ok;
}

BackendResult ModelBackend::removeAll(Asic::SwTableId tableId, Asic::UnitId unitId) {
    auto* const target = tcam(tableId, unitId);
    if (target == nullptr || target->fieldsOfKey.empty()) {
        return BackendResult::ok;
    }
    if (!answers()) {
        return BackendResult::retry;
    }
    takeTime();
    found_ = {};
    counts_.removes += target->fieldsOfKey.size();
    target->fieldsOfKey.clear();
    target->array.clear();
    return BackendResult::ok;
}

std::optional<std::span<std::byte const>> ModelBackend::read(Place const& place) const {
    auto const* const fields = find(place).fields;
    return fields == nullptr ? std::nullopt : std::optional{std::span<std::byte const>{*fields}};
}

std::vector<Asic::UnitId> ModelBackend::units(Asic::SwTableId tableId) const {
    std::vector<Asic::UnitId> units;
    for (auto const& [place, tcam] : tcams_) {
        if (place.first == tableId && !tcam->fieldsOfKey.empty()) {
            units.push_back(place.second);
        }
    }
    return units;
}

std::vector<std::uint32_t> ModelBackend::keys(Asic::SwTableId tableId, Asic::UnitId unitId) const {
    std::vector<std::uint32_t> keys;
    if (auto const* const target = tcam(tableId, unitId)) {
        keys.reserve(target->fieldsOfKey.size());
        for (auto const& [key, fields] : target->fieldsOfKey) {
            keys.push_back(key);
        }
        std::ranges::sort(keys);
    }
    return keys;
}

std::size_t ModelBackend::entryCount(Asic::SwTableId tableId) const {
    std::size_t count = 0;
    for (auto const& [place, tcam] : tcams_) {
        count += place.first == tableId ? tcam->fieldsOfKey.size() : 0;
    }
    return count;
}

} // namespace LoamHw
