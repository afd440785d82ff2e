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
        tcam.array.capacityIs(faults.capacity);
    }
}

TableShape const& ModelBackend::shape(Asic::SwTableId tableId) const {
    return *std::ranges::find(shapes_, tableId, &TableShape::tableId);
}

ModelBackend::Tcam* ModelBackend::tcam(Asic::SwTableId tableId, Asic::UnitId unitId) {
    auto const found = tcams_.find({tableId, unitId});
    return found == tcams_.end() ? nullptr : &found->second;
}

ModelBackend::Tcam const* ModelBackend::tcam(Asic::SwTableId tableId, Asic::UnitId unitId) const {
    auto const found = tcams_.find({tableId, unitId});
    return found == tcams_.end() ? nullptr : &found->second;
}

TcamArray::Rank ModelBackend::rank(Place const& place, std::span<std::byte const> fields) const {
    return {shape(place.tableId).byPriority ? priorityOf(fields) : 0, place.key};
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
    auto& target =
        tcams_.try_emplace({place.tableId, place.unitId}, faults_.capacity).first->second;
    if (target.fieldsOfKey.contains(place.key)) {
        replace(target, place, fields);
        return BackendResult::ok;
    }
    if (target.array.full()) {
        return refuse(BackendResult::full, counts_.full,
                      fmt::format("the TCAM of unit {} is full: it holds {} entries and has room "
                                  "for {}",
                                  place.unitId, target.array.size(), target.array.capacity()));
    }
    counts_.moved += target.array.insert(rank(place, fields));
    ++counts_.writes;
    target.fieldsOfKey.emplace(place.key, std::vector<std::byte>{fields.begin(), fields.end()});
    return BackendResult::ok;
}

// In the same slot, unless the priority has changed. That a slot is free is sure even when the TCAM
// is full: the entry's own.
void ModelBackend::replace(Tcam& target, Place const& place, std::span<std::byte const> fields) {
    auto& present = target.fieldsOfKey[place.key];
    auto const former = rank(place, present);
    auto const later = rank(place, fields);
    if (former != later) {
        target.array.erase(former);
        counts_.moved += target.array.insert(later);
    }
    ++counts_.writes;
    present.assign(fields.begin(), fields.end());
}

BackendResult ModelBackend::remove(Place const& place) {
    auto* const target = tcam(place.tableId, place.unitId);
    if (target == nullptr || !target->fieldsOfKey.contains(place.key)) {
        return BackendResult::ok;
    }
    if (!answers()) {
        return BackendResult::retry;
    }
    takeTime();
    auto const found = target->fieldsOfKey.find(place.key);
    target->array.erase(rank(place, found->second));
    target->fieldsOfKey.erase(found);
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
    counts_.removes += target->fieldsOfKey.size();
    target->fieldsOfKey.clear();
    target->array.clear();
    return BackendResult::ok;
}

std::optional<std::span<std::byte const>> ModelBackend::read(Place const& place) const {
    auto const* const target = tcam(place.tableId, place.unitId);
    if (target == nullptr) {
        return std::nullopt;
    }
    auto const found = target->fieldsOfKey.find(place.key);
    if (found == target->fieldsOfKey.end()) {
        return std::nullopt;
    }
    return std::span<std::byte const>{found->second};
}

std::vector<Asic::UnitId> ModelBackend::units(Asic::SwTableId tableId) const {
    std::vector<Asic::UnitId> units;
    for (auto const& [place, tcam] : tcams_) {
        if (place.first == tableId && !tcam.fieldsOfKey.empty()) {
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
        count += place.first == tableId ? tcam.fieldsOfKey.size() : 0;
    }
    return count;
}

} // namespace LoamHw
