// What a restarted agent needs until its tables are there: mounting, trimming, purging and
// restoring all tables of the catalogue, each full, an entry in sixteen deleted, with a log of a
// million records; the hardware side has applied everything meanwhile. Beside reading and
// checksumming the same files once.
#include "Agent.h"
#include "Time.h"

#include <LoamSystemAcl/AllFamilies.h>
#include <Slate/Crc32c.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <fstream>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace bench;
using testing_support::AgentInProcess;
namespace fs = std::filesystem;

constexpr std::size_t logLimit = 1'000'000;

// Fills a table, and leaves so many changes in its log, the last of them deletes.
template <typename EachFamily>
void fillTable(AgentInProcess& agent, std::size_t entries, std::size_t logLength) {
    using EachKey = typename EachFamily::Key;
    using EachEntry = typename EachFamily::Entry;
    auto const table = agent.makeSwTable<EachFamily>(0);
    auto const log = table->entryLog();
    auto const settle = [&](bool applied) {
        agent.resolve();
        if (applied) {
            agent.acknowledge(EachFamily::Constants::tableId, log->tableVersion());
        }
    };
    auto const& keys = randomKeys();
    std::size_t const deletes = entries / 16;
    for (std::size_t i = 0; i < entries; ++i) {
        EachKey const key{keys[i].number()};
        table->entryWrite(key, EachEntry{key}, nullptr);
    }
    settle(true);
    for (std::size_t i = 0; i + deletes < logLength; ++i) {
        EachKey const key{keys[i % entries].number()};
        EachEntry entry{key};
        entry.fields()[7] = std::byte(i / entries + 1);
        table->entryWrite(key, entry, nullptr);
        if (i % 1'024 == 0) {
            settle(false);
        }
    }
    for (std::size_t i = 0; i < deletes; ++i) {
        table->entryRemove(EachKey{keys[i].number()}, nullptr);
    }
    settle(false);
}

// An agent's files, as it left them, and the means to have them like that again and again.
class LeftByAgent {
  public:
    LeftByAgent(std::string const& name, std::size_t entries, std::size_t logLength)
        : name_{name}, live_{folder() / name}, kept_{folder() / (name + "-kept")} {
        AgentInProcess agent{name_, false};
        std::size_t left = logLength;
        LoamSystemAcl::AllFamilies::forEach([&]<typename EachFamily>() {
            fillTable<EachFamily>(agent, entries, left);
            left = 0; // one table has the long log
        });
        LoamSystemAcl::AllFamilies::forEach([&]<typename EachFamily>() {
            agent.appliedIs(EachFamily::Constants::tableId,
                            agent.tableIntf<EachFamily>()->entryLog()->tableVersion());
        });
        for (auto const& each : fs::recursive_directory_iterator{live_}) {
            if (each.path().extension() == ".slate") {
                files_.push_back(fs::relative(each.path(), live_));
                bytes_ += fs::file_size(each.path());
            }
        }
        copyAll(live_, kept_);
    }

    std::string const& name() const { return name_; }
    void restore() const { copyAll(kept_, live_); }

    // Every page that a file has, once.
    std::uint32_t readAndSum() const {
        std::uint32_t sum = 0;
        for (auto const& file : files_) {
            sum ^= readAndSum(live_ / file);
        }
        return sum;
    }

  private:
    static constexpr std::size_t pageBytes = 4'096;

    void copyAll(fs::path const& from, fs::path const& to) const {
        for (auto const& file : files_) {
            fs::create_directories((to / file).parent_path());
            fs::remove(to / file);
            copySparse(from / file, to / file);
        }
    }

    // Holes stay holes.
    static void copySparse(fs::path const& from, fs::path const& to) {
        int const source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
        int const target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        auto const size = static_cast<off_t>(fs::file_size(from));
        bool done = source >= 0 && target >= 0 && ::ftruncate(target, size) == 0;
        forEachPiece(source, size, [&](off_t begin, off_t end) {
            off_t in = begin;
            off_t out = begin;
            while (done && in < end) {
                done = ::copy_file_range(source, &in, target, &out,
                                         static_cast<std::size_t>(end - in), 0) > 0;
            }
        });
        ::close(source);
        ::close(target);
        if (!done) {
            std::perror(to.c_str());
            std::exit(1);
        }
    }

    template <typename Visit>
    static void forEachPiece(int file, off_t size, Visit const& visit) {
        for (off_t at = 0; at < size;) {
            off_t const begin = ::lseek(file, at, SEEK_DATA);
            if (begin < 0) {
                return;
            }
            off_t const end = ::lseek(file, begin, SEEK_HOLE);
            visit(begin, end);
            at = end;
        }
    }

    static std::uint32_t readAndSum(fs::path const& path) {
        static Slate::Crc32c const crc{pageBytes};
        int const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        auto const size = fs::file_size(path);
        auto* const base =
            static_cast<std::byte const*>(::mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0));
        std::uint32_t sum = 0;
        forEachPiece(file, static_cast<off_t>(size), [&](off_t begin, off_t end) {
            for (off_t at = begin; at < end; at += static_cast<off_t>(pageBytes)) {
                sum ^= crc.sum({}, reinterpret_cast<std::uint64_t const*>(base + at));
            }
        });
        ::munmap(const_cast<std::byte*>(base), size);
        ::close(file);
        return sum;
    }

    std::string name_;
    fs::path live_;
    fs::path kept_;
    std::vector<fs::path> files_;
    std::uint64_t bytes_ = 0;
};

LeftByAgent const& leftBehind(std::size_t entries, std::size_t logLength) {
    static std::map<std::size_t, LeftByAgent> made;
    auto const found = made.find(entries);
    return found != made.end()
               ? found->second
               : made.try_emplace(entries, "restart" + std::to_string(entries), entries, logLength)
                     .first->second;
}

// The log shrinks with the tables.
LeftByAgent const& leftBehind(benchmark::State const& state) {
    auto const entries = static_cast<std::size_t>(state.range(0));
    return leftBehind(entries, logLimit * entries / keyCount);
}

void restart(benchmark::State& state) {
    auto const& left = leftBehind(state);
    auto const entries = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        left.restore();
        std::vector<std::uint32_t> found;
        auto const start = threadSeconds();
        AgentInProcess const agent{left.name(), false};
        std::vector<Ombra::Ptr<Asic::OrderedSwTable>> tables;
        LoamSystemAcl::AllFamilies::forEach([&]<typename EachFamily>() {
            tables.push_back(agent.makeSwTable<EachFamily>(0, false));
        });
        state.SetIterationTime(threadSeconds() - start);
        LoamSystemAcl::AllFamilies::forEach([&]<typename EachFamily>() {
            auto const log = agent.tableIntf<EachFamily>()->entryLog();
            if (log->entrys(0) != entries - entries / 16 || log->entrysInDeletion(0) != 0 ||
                log->tableEntryLog()->entryLogConfig().memberCount() != 0) {
                state.SkipWithError("the tables are not as they should be");
            }
        });
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(restart)
    ->ArgName("entries")
    ->Arg(1'024)
    ->Arg(8'192)
    ->Arg(65'536)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

void readAndSumOnce(benchmark::State& state) {
    auto const& left = leftBehind(state);
    for (auto _ : state) {
        left.restore();
        auto const start = threadSeconds();
        benchmark::DoNotOptimize(left.readAndSum());
        state.SetIterationTime(threadSeconds() - start);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(readAndSumOnce)
    ->ArgName("entries")
    ->Arg(1'024)
    ->Arg(8'192)
    ->Arg(65'536)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

} // namespace
