#include <Ombra/MemTrack.h>
#include <Ombra/ThreadControl.h>

#include <atomic>
#include <cstdlib>
#include <cxxabi.h>
#include <deque>
#include <memory>
#include <mutex>

namespace Ombra::MemTrack {

namespace {

struct Tracker {
    std::type_info const* type;
    std::uint32_t sizeBytes;
    std::uint64_t live = 0;
    std::uint64_t allocated = 0;
};

struct Registry {
    std::mutex mutex;
    std::deque<Tracker> trackers; // addresses stay
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

void add(std::uint64_t& count, std::uint64_t by) {
    if (ThreadControl::tsp_) {
        std::atomic_ref<std::uint64_t>{count}.fetch_add(by, std::memory_order_relaxed);
    } else {
        count += by;
    }
}

} // namespace

void Impl::alloc(void** tracker, std::type_info const& type, unsigned int sizeBytes,
                 unsigned int count) {
    if (*tracker == nullptr) {
        auto& all = registry();
        std::lock_guard const lock{all.mutex};
        if (*tracker == nullptr) {
            *tracker = &all.trackers.emplace_back(Tracker{&type, sizeBytes});
        }
    }
    auto& mine = *static_cast<Tracker*>(*tracker);
    add(mine.live, count);
    add(mine.allocated, count);
}

void Impl::dealloc(void* tracker, unsigned int count) {
    add(static_cast<Tracker*>(tracker)->live, std::uint64_t{0} - count);
}

std::uint64_t Impl::live(void const* tracker) {
    return tracker == nullptr ? 0 : static_cast<Tracker const*>(tracker)->live;
}

std::vector<Totals> dump() {
    auto& all = registry();
    std::lock_guard const lock{all.mutex};
    std::vector<Totals> result;
    for (auto const& tracker : all.trackers) {
        result.push_back(Totals{readableName(*tracker.type), tracker.live, tracker.allocated,
                                tracker.sizeBytes,
                                tracker.sizeBytes % 8 == 0 ? std::uint32_t{8} : std::uint32_t{4}});
    }
    return result;
}

} // namespace Ombra::MemTrack
