#include <Asic/GroupResolver.h>
#include <Ombra/Assert.h>
#include <Ombra/Exception.h>
#include <Ombra/Prefetch.h>
#include <Zet/Trace.h>

#include <algorithm>
#include <exception>

namespace Asic {

namespace {

Zet::TraceHandle const& _defaultTraceHandle() {
    static Zet::TraceHandle const handle{"GroupResolver", false};
    return handle;
}

[[maybe_unused]] bool const listed = (_defaultTraceHandle(), true); // from load on

// How many operations a lane commits before the next one's turn.
constexpr std::size_t laneTurn = 32;

constexpr std::uint64_t neverAsked = ~std::uint64_t{0};

} // namespace

struct GroupResolver::Lane {
    explicit Lane(std::type_info const& type) : entryClass{&type} {}

    std::type_info const* entryClass;
    std::deque<Ombra::Ptr<ResolverEntry>> queue;
    std::uint64_t saidNoAtGenId = neverAsked; // the generation in which the head said no
    bool saidNoForPending = false;            // what it depends on was pending then
};

GroupResolver::GroupResolver() = default;
GroupResolver::~GroupResolver() = default;

GroupResolver::Lane const* GroupResolver::laneFor(std::type_info const& entryClass) const noexcept {
    for (auto const& lane : lanes_) {
        if (lane->entryClass == &entryClass || *lane->entryClass == entryClass) {
            return lane.get();
        }
    }
    return nullptr;
}

GroupResolver::Lane& GroupResolver::laneOf(ResolverEntry const& entry) {
    auto const& entryClass = typeid(entry);
    if (auto const* lane = laneFor(entryClass); lane != nullptr) {
        return const_cast<Lane&>(*lane);
    }
    return *lanes_.emplace_back(std::make_unique<Lane>(entryClass));
}

void GroupResolver::resolverQueueEnq(Ombra::Ptr<ResolverEntry> const& entry) {
    laneOf(*entry).queue.push_back(entry);
    ++queued_;
}

namespace {

bool waitsForPending(ResolverEntry const& entry) {
    auto const& dependency = entry.dependantEntryHandle();
    return dependency && dependency->entryState() == SwTableBase::EntryState::entryPending;
}

} // namespace

// A head that waited for a pending handle can't say yes before that handle moves, whatever else has
// moved. One that waits for room in its log has only the generation to go by.
bool GroupResolver::worthAsking(Lane const& lane) const {
    if (lane.queue.empty()) {
        return false;
    }
    if (lane.saidNoAtGenId == neverAsked) {
        return true;
    }
    if (waitsForPending(*lane.queue.front())) {
        return false;
    }
    return lane.saidNoForPending || lane.saidNoAtGenId != genId_;
}

// Asked at each operation and commit, so it costs no look at the lanes: whatever moved the
// generation since the last complete round may have given something to do.
void GroupResolver::maybeUpdateSuspend() {
    if (queued_ == 0) {
        suspended_ = true;
    } else if (genId_ != roundGenId_) {
        suspended_ = false;
    }
}

GroupResolver::RunResult GroupResolver::run(std::size_t budget) {
    OMBRA_ASSERT(!running_, "!running_");
    struct Running {
        explicit Running(bool& flag) : flag_{flag} { flag_ = true; }
        ~Running() { flag_ = false; }
        bool& flag_;
    } const running{running_};

    RunResult result;
    std::size_t idle = 0; // lanes in a row that had nothing to commit
    while (result.committed < budget && idle < lanes_.size()) {
        auto& lane = *lanes_[next_++ % lanes_.size()];
        auto const committed = runLane(lane, std::min(laneTurn, budget - result.committed));
        result.committed += committed;
        idle = committed == 0 ? idle + 1 : 0;
    }
    roundGenId_ = genId_;
    suspended_ = std::ranges::none_of(lanes_, [&](auto const& lane) { return worthAsking(*lane); });
    result.more = !suspended_;
    return result;
}

// The records that operations change hardly ever are in the cache, and of many operations they
// themselves are there no more. Asked for a whole turn at once, the processor waits for several of
// them together and not for one after the other.
void GroupResolver::fetchAhead(Lane const& lane, std::size_t most) {
    auto const first = lane.queue.begin();
    auto const end = first + static_cast<std::ptrdiff_t>(std::min(most, lane.queue.size()));
    for (auto i = first; i != end; ++i) {
        Ombra::prefetch(i->get());
    }
    using enum ResolverEntry::Ahead;
    for (auto const what : {operation, place, record}) {
        for (auto i = first; i != end; ++i) {
            (*i)->fetchAhead(what);
        }
    }
}

std::size_t GroupResolver::runLane(Lane& lane, std::size_t most) {
    std::size_t committed = 0;
    while (committed < most && worthAsking(lane)) {
        if (!lane.queue.front()->isResolved()) {
            lane.saidNoAtGenId = genId_;
            lane.saidNoForPending = waitsForPending(*lane.queue.front());
            break;
        }
        if (committed == 0) {
            fetchAhead(lane, most);
        }
        commitHead(lane);
        ++committed;
    }
    return committed;
}

// The operation stands in its lane until its commit has ended, well or by an exception.
void GroupResolver::commitHead(Lane& lane) {
    auto const entry = lane.queue.front();
    struct TakenOut {
        ~TakenOut() {
            lane.queue.pop_front();
            lane.saidNoAtGenId = neverAsked;
            --queued;
        }
        Lane& lane;
        std::size_t& queued;
    } const takenOut{lane, queued_};
    try {
        entry->commitEntry(entry);
    } catch (std::exception const& failure) {
        ++failedCommits_;
        ZET_TRACE(_defaultTraceHandle(), 1, "GroupResolver", "A commit failed: {}", failure.what());
        throw;
    } catch (...) {
        ++failedCommits_;
        throw;
    }
}

std::size_t GroupResolver::queuedIn(std::type_info const& entryClass) const noexcept {
    auto const* lane = laneFor(entryClass);
    return lane == nullptr ? 0 : lane->queue.size();
}

Ombra::Ptr<ResolverEntry> GroupResolver::headOf(std::type_info const& entryClass) const {
    auto const* lane = laneFor(entryClass);
    return lane == nullptr || lane->queue.empty() ? nullptr : lane->queue.front();
}

void GroupResolver::forEachQueued(std::type_info const& entryClass,
                                  std::function<bool(ResolverEntry const&)> const& give) const {
    if (auto const* lane = laneFor(entryClass)) {
        for (auto const& entry : lane->queue) {
            if (!give(*entry)) {
                return;
            }
        }
    }
}

} // namespace Asic
