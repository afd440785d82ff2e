#include "Agent.h"

#include <Orbis/EntityManager.h>
#include <ZetSharedMem/EntityManager.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <unistd.h>

namespace bench {

std::vector<Key> const& randomKeys() {
    static auto const keys = [] {
        std::vector<Key> result;
        for (std::uint32_t i = 0; i < keyCount; ++i) {
            result.emplace_back(i * 3 + 1);
        }
        std::ranges::shuffle(result, std::mt19937{42});
        return result;
    }();
    return keys;
}

namespace {

class Folder {
  public:
    Folder() {
        std::string path = "/dev/shm/loam-bench-XXXXXX";
        if (::mkdtemp(path.data()) == nullptr) {
            std::perror("/dev/shm/loam-bench-XXXXXX");
            std::exit(1);
        }
        path_ = path;
        ZetSharedMem::setRoot(path);
        Orbis::setRoot(path);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }

    std::filesystem::path const& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

} // namespace

std::filesystem::path const& folder() {
    static Folder const made;
    return made.path();
}

Agent::Agent() : agent_{(folder(), "bench"), false} {
    tables_.push_back(agent_.makeSwTable<Family>(0));
    fill(0, 0, keyCount);
}

void Agent::restart() {
    tables_.clear();
    agent_.restart();
    tables_.push_back(agent_.makeSwTable<Family>(0, false));
    tables_.front()->inMarkingStateIs(false);
}

Agent& Agent::get() {
    static Agent agent;
    return agent;
}

Table& Agent::table(Asic::UnitId unitId) {
    while (tables_.size() <= unitId) {
        tables_.push_back(agent_.makeSwTable<Family>(static_cast<Asic::UnitId>(tables_.size())));
    }
    return *tables_[unitId];
}

void Agent::fill(Asic::UnitId unitId, std::size_t first, std::size_t last) {
    auto const& keys = randomKeys();
    for (std::size_t i = first; i < last; ++i) {
        table(unitId).entryWrite(keys[i], Entry{keys[i]}, nullptr);
        if (i % inFlight == 0) {
            resolve();
            acknowledgeAll();
        }
    }
    resolve();
    acknowledgeAll();
}

} // namespace bench
