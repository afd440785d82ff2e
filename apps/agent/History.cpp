#include <algorithm>
#include <apps/agent/History.h>

namespace LoamAgent {

namespace {

// Every second one, and the newest.
template <typename Samples>
void thinOut(Samples& samples) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i % 2 == 0 || i + 1 == samples.size()) {
            samples[kept++] = samples[i];
        }
    }
    samples.resize(kept);
}

} // namespace

std::uint64_t History::enqueued(std::size_t table) const {
    auto const& each = *platform_.tables()[table];
    return each.counts().commits + each.queued();
}

void History::sample(Clock::time_point now) {
    if (now < next_) {
        return;
    }
    next_ = now + period;
    auto const tables = platform_.tables();
    samples_.resize(tables.size());
    for (std::size_t i = 0; i < tables.size(); ++i) {
        auto& samples = samples_[i];
        Sample const sample{now, enqueued(i), tables[i]->loggedVersion()};
        if (!samples.empty() && samples.back().enqueued == sample.enqueued &&
            samples.back().logged == sample.logged) {
            continue;
        }
        if (samples.size() == mostSamples) {
            thinOut(samples);
        }
        samples.push_back(sample);
    }
}

std::optional<History::Clock::duration>
History::since(std::size_t table, std::uint64_t Sample::*counter, std::uint64_t reached) const {
    if (table >= samples_.size()) {
        return std::nullopt;
    }
    auto const found = std::ranges::lower_bound(samples_[table], reached, {}, counter);
    if (found != samples_[table].end()) {
        return Clock::now() - found->time;
    }
    // Reached since the last sample, so just now; or not yet.
    Sample const present{{}, enqueued(table), platform_.tables()[table]->loggedVersion()};
    return present.*counter >= reached ? std::optional{Clock::duration::zero()} : std::nullopt;
}

std::optional<History::Clock::duration> History::sinceEnqueued(std::size_t table,
                                                               std::uint64_t number) const {
    return since(table, &Sample::enqueued, number);
}

std::optional<History::Clock::duration> History::sinceLogged(std::size_t table,
                                                             std::uint64_t version) const {
    return since(table, &Sample::logged, version);
}

} // namespace LoamAgent
