// The whole life of an operation, against the floor of storing the same two records.
//
// One operation is entryWrite (or entryRemove), resolve, commit, acknowledge, `entryApplied` and
// the response handler, with 64 operations in flight, over 65,536 keys in random order, in real
// files of a folder of its own in shared memory. The floor copies a configuration record and a log
// record into memory mapped from the same file system.

#include <Asic/Constants.h>
#include <Asic/GroupInterface.h>
#include <Asic/MountSlate.h>
#include <Asic/OrderedTableInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <Orbis/EntityManager.h>
#include <ZetSharedMem/EntityManager.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using Family = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
using Key = LoamSystemAcl::Ipv4SystemPolicyTcamEntryEntryKey;
using Entry = LoamSystemAcl::Ipv4SystemPolicyTcamEntryEntry;
using ConfigRecord = LoamSystemAcl::Ipv4SystemPolicyTcamEntryConfigSlateEntry;
using LogRecord = LoamSystemAcl::Ipv4SystemPolicyTcamEntryLogSlateEntry;

constexpr std::size_t keyCount = 65'536 - 64; // a full table less what is in deletion meanwhile
constexpr std::size_t inFlight = 64;

std::vector<Key> randomKeys() {
    std::vector<Key> keys;
    for (std::uint32_t i = 0; i < keyCount; ++i) {
        keys.emplace_back(i * 3 + 1);
    }
    std::ranges::shuffle(keys, std::mt19937{42});
    return keys;
}

// The agent and the hardware side of one process, over files that go with it.
class Agent {
  public:
    Agent() {
        std::string folder = "/dev/shm/loam-bench-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr) {
            std::perror("/dev/shm/loam-bench-XXXXXX");
            std::exit(1);
        }
        root_ = folder;
        ZetSharedMem::setRoot(folder);
        Orbis::setRoot(folder);
        auto const manager = Ombra::ptrIs<Orbis::EntityManager>(Ombra::String{"bench"}, false);
        intf_ = Ombra::ptrIs<Asic::OrderedTableInterface>(manager);
        table_ = Family::Interface::getIntf(intf_)->makeSwTable(0, nullptr, true);
        group_ = intf_->groupIntf(canonicalGroup());
        applied_ = Asic::mountSlate<Asic::TableVersionMap>(
            *Asic::sharedMemOf(*manager), Asic::Constants::tableVersionMapPath(canonicalGroup()),
            ZetSlate::ZetSlateType::writer);
    }
    ~Agent() { std::filesystem::remove_all(root_); }

    static Agent& get() {
        static Agent agent;
        return agent;
    }

    Family::SwTable& table() { return *table_; }

    // Commits what is queued, and has it acknowledged.
    void resolveAndAcknowledge() {
        while (group_->groupResolver()->run().more) {
        }
        table_->tableStatusVersion(table_->entryLog()->tableVersion());
    }

    void fill(std::vector<Key> const& keys) {
        std::size_t written = 0;
        for (Key const& key : keys) {
            table_->entryWrite(key, Entry{key}, nullptr);
            if (++written % inFlight == 0) {
                resolveAndAcknowledge();
            }
        }
        resolveAndAcknowledge();
    }

  private:
    static Ombra::String canonicalGroup() {
        return Asic::Constants::canonicalizeGroupName("LoamSystemAcl", "LoamSystemAcl");
    }

    std::filesystem::path root_;
    Ombra::Ptr<Asic::OrderedTableInterface> intf_;
    Ombra::Ptr<Family::SwTable> table_;
    Ombra::Ptr<Asic::GroupInterface> group_;
    Ombra::Ptr<Asic::TableVersionMap> applied_;
};

// `operation(table, key, number)` starts one operation with `handler`.
template <typename Operation>
void cycle(benchmark::State& state, Operation operation) {
    auto& agent = Agent::get();
    auto const keys = randomKeys();
    agent.fill(keys);
    std::size_t next = 0;
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        for (std::size_t i = 0; i < inFlight; ++i) {
            operation(agent.table(), keys[next], next, handler);
            next = next + 1 == keys.size() ? 0 : next + 1;
        }
        agent.resolveAndAcknowledge();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(answered));
    if (answered != static_cast<std::uint64_t>(state.iterations()) * inFlight) {
        state.SkipWithError("not every operation was answered");
    }
}

void writeCycle(benchmark::State& state) {
    cycle(state, [](auto& table, Key const& key, std::size_t number, auto const& handler) {
        Entry entry{key};
        entry.fields()[20] = std::byte(number);
        table.entryWriteWithResponseHandler(key, entry, nullptr, handler);
    });
}
BENCHMARK(writeCycle);

// Removes of keys that exist; each round writes them again outside the time.
void removeCycle(benchmark::State& state) {
    auto& agent = Agent::get();
    auto const keys = randomKeys();
    agent.fill(keys);
    std::size_t next = 0;
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        std::size_t const first = next;
        for (std::size_t i = 0; i < inFlight; ++i) {
            agent.table().entryRemoveWithResponseHandler(keys[next], nullptr, handler);
            next = next + 1 == keys.size() ? 0 : next + 1;
        }
        agent.resolveAndAcknowledge();
        state.PauseTiming();
        for (std::size_t i = 0; i < inFlight; ++i) {
            Key const& key = keys[(first + i) % keys.size()];
            agent.table().entryWrite(key, Entry{key}, nullptr);
        }
        agent.resolveAndAcknowledge();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(answered));
}
BENCHMARK(removeCycle);

void readCommitted(benchmark::State& state) {
    auto& agent = Agent::get();
    auto const keys = randomKeys();
    agent.fill(keys);
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(agent.table().entryRead(keys[next]));
        next = next + 1 == keys.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(readCommitted);

// The two records of a change, by memcpy, into memory mapped from the same file system.
void storeTwoRecordsByMemcpy(benchmark::State& state) {
    constexpr std::size_t recordBytes = sizeof(ConfigRecord) + sizeof(LogRecord);
    constexpr std::size_t bytes = recordBytes * 65'536;
    int const file = ::open("/dev/shm", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0 || ::ftruncate(file, static_cast<off_t>(bytes)) != 0) {
        state.SkipWithError("no file in /dev/shm");
        return;
    }
    auto* const mapped = static_cast<std::byte*>(
        ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0));
    auto const keys = randomKeys();
    ConfigRecord const config{};
    LogRecord const log{};
    std::size_t next = 0;
    for (auto _ : state) {
        auto* const slot = mapped + (keys[next].number() % 65'536) * recordBytes;
        std::memcpy(slot, static_cast<void const*>(&config), sizeof config);
        std::memcpy(slot + sizeof config, static_cast<void const*>(&log), sizeof log);
        benchmark::ClobberMemory();
        next = next + 1 == keys.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
    ::munmap(mapped, bytes);
    ::close(file);
}
BENCHMARK(storeTwoRecordsByMemcpy);

} // namespace

BENCHMARK_MAIN();
