#include <Zet/AllocTrack.h>

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <mutex>

namespace Zet {

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<AllocTrackTypeInfo const*> all;
};

Registry& registry() {
    static auto* const trackers = new Registry; // outlives every static object that is tracked
    return *trackers;
}

std::string readableName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name{
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free};
    return status == 0 ? name.get() : type.name();
}

} // namespace

void AllocTrackTypeInfo::registerType(AllocTrackTypeInfo** tracker, std::type_info const& type,
                                      unsigned int sizeBytes, unsigned int granularity) {
    auto& trackers = registry();
    std::lock_guard const lock{trackers.mutex};
    if (*tracker == nullptr) {
        *tracker = new AllocTrackTypeInfo{type, sizeBytes, granularity};
        trackers.all.push_back(*tracker);
    }
}

std::vector<AllocTrackTypeInfo::Totals> AllocTrackTypeInfo::dump() {
    auto& trackers = registry();
    std::lock_guard const lock{trackers.mutex};
    std::vector<Totals> result;
    for (auto const* tracker : trackers.all) {
        result.push_back(Totals{readableName(*tracker->type_), tracker->live_, tracker->allocated_,
                                tracker->sizeBytes_, tracker->granularity_});
    }
    return result;
}

} // namespace Zet
