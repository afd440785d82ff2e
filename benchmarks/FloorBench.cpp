// What a write can't do without, built from the best parts there are: three allocations and frees
// (mimalloc), a pointer and a version in and out of two flat maps, one find of the place of the
// key's record, two records with their CRC32C stored into mapped memory, one deletion from the log.
// 65,536 keys in random order, 64 operations in flight.
//
// It is no table: nobody could read it along or find anything again after a crash. A remove can't
// do without the same.
#include "Agent.h"

#include <Slate/Crc32c.h>

#include <benchmark/benchmark.h>

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstring>
#include <fcntl.h>
#include <mimalloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace bench;

constexpr std::array<std::size_t, 3> objectBytes{168, 48, 104}; // handle, wrapper, resolver entry

struct Version {
    std::array<std::uint32_t, 3> words;
};

// A record behind the sum that covers it.
template <typename Record>
struct Slot {
    std::uint64_t sum;
    std::array<std::uint64_t, (sizeof(Record) + 7) / 8> words;
};

template <typename Record>
class MappedSlots {
  public:
    explicit MappedSlots(std::size_t count) : bytes_{count * sizeof(Slot<Record>)} {
        int const file = ::open("/dev/shm", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (file < 0 || ::ftruncate(file, static_cast<off_t>(bytes_)) != 0) {
            std::perror("a file in /dev/shm");
            std::exit(1);
        }
        slots_ = static_cast<Slot<Record>*>(
            ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0));
        ::close(file);
    }
    MappedSlots(MappedSlots const&) = delete;
    MappedSlots& operator=(MappedSlots const&) = delete;
    ~MappedSlots() { ::munmap(slots_, bytes_); }

    void store(std::size_t number, std::uint64_t key, Record const& record) {
        auto& slot = slots_[number];
        slot.sum = crc_.copyOut({0, key, number, 0}, slot.words.data(), &record);
    }
    void clear(std::size_t number) { slots_[number].sum = 0; }

  private:
    std::size_t bytes_;
    Slate::Crc32c crc_{sizeof(Record)};
    Slot<Record>* slots_;
};

using Objects = std::array<void*, objectBytes.size()>;

struct FloorTable {
    FloorTable() {
        for (std::uint32_t i = 0; i < keyCount; ++i) {
            places[randomKeys()[i].number()] = i;
        }
    }

    boost::unordered_flat_map<std::uint32_t, void*> pending;
    boost::unordered_flat_map<std::uint32_t, Version> versions;
    boost::unordered_flat_map<std::uint32_t, std::uint32_t> places;
    MappedSlots<ConfigRecord> config{keyCount};
    MappedSlots<LogRecord> log{2 * inFlight};
};

void floorOfWrite(benchmark::State& state) {
    static FloorTable table;
    auto const& keys = randomKeys();
    std::size_t next = 0;
    std::uint64_t version = 0;
    std::array<Objects, inFlight> objects;
    for (auto _ : state) {
        std::size_t const first = next;
        for (auto& each : objects) {
            for (std::size_t i = 0; i < each.size(); ++i) {
                each[i] = mi_malloc(objectBytes[i]);
                *static_cast<std::size_t*>(each[i]) = i;
            }
            auto const key = keys[next].number();
            table.pending.try_emplace(key, each[1]);
            table.versions.try_emplace(key, Version{{key, 0, 0}});
            next = next + 1 == keys.size() ? 0 : next + 1;
        }
        for (std::size_t i = 0; i < inFlight; ++i) {
            Key const& key = keys[(first + i) % keys.size()];
            auto const number = key.number();
            table.pending.erase(number);
            table.versions.erase(number);
            Entry const entry{key};
            ++version;
            table.config.store(table.places.find(number)->second, number,
                               ConfigRecord{entry.logEntry(), entry.rsrcKeys(), version, false});
            table.log.store(version % (2 * inFlight), version,
                            LogRecord{version, Asic::EntryFlags::none, 0, entry.logEntry()});
            benchmark::ClobberMemory();
        }
        for (std::size_t i = 0; i < inFlight; ++i) {
            table.log.clear((version - inFlight + 1 + i) % (2 * inFlight));
            for (void* const object : objects[i]) {
                mi_free(object);
            }
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * inFlight));
}
BENCHMARK(floorOfWrite);

} // namespace
