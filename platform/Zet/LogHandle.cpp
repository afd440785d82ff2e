#include <Zet/LogHandle.h>

#include <algorithm>
#include <mutex>

namespace Zet {

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<LogHandle const*> handles;
};

Registry& registry() {
    static auto* const handles = new Registry; // outlives every static handle
    return *handles;
}

} // namespace

LogHandle::LogHandle(LogDescriptor const* descriptor, Ombra::Duration interval, double rate,
                     unsigned int first, unsigned int second)
    : descriptor_{descriptor}, interval_{interval}, rate_{rate}, first_{first}, second_{second} {
    auto& known = registry();
    std::lock_guard const lock{known.mutex};
    known.handles.push_back(this);
}

LogHandle::~LogHandle() {
    auto& known = registry();
    std::lock_guard const lock{known.mutex};
    std::erase(known.handles, this);
}

std::vector<LogHandle::State> LogHandle::all() {
    auto& known = registry();
    std::lock_guard const lock{known.mutex};
    std::vector<State> result;
    for (auto const* handle : known.handles) {
        result.push_back(State{handle->descriptor_, handle->raised()});
    }
    return result;
}

} // namespace Zet
