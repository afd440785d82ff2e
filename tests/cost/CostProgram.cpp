// What the gate of instruction counts measures. At the end of each `measured...` function, gate.py
// has the count told since the end of the one before; `measuredSetUp` ends what is not to be
// counted.
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <RingScribe/TraceHandle.h>
#include <RingScribe/Write.h>
#include <Zet/HashHelper.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <support/AgentInProcess.h>
#include <unistd.h>
#include <vector>

using Family = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
using Key = Family::Key;
using Entry = Family::Entry;
using Table = Family::SwTable;
using testing_support::AgentInProcess;

namespace {

constexpr std::size_t keyCount = 2'048;
constexpr std::size_t operations = 1'024; // per measurement
constexpr std::size_t inFlight = 64;

void require(bool good, char const* what) {
    if (!good) {
        std::fprintf(stderr, "CostProgram: %s\n", what);
        std::exit(1);
    }
}

struct Measured {
    Measured() {
        for (std::uint32_t i = 0; i < keyCount; ++i) {
            keys.emplace_back(i * 3 + 1);
        }
        std::ranges::shuffle(keys, std::mt19937{42});
        for (std::size_t first = 0; first < keyCount; first += inFlight) {
            write(first, 0);
        }
        answered = 0;
    }

    void settle() {
        agent.resolve();
        agent.acknowledge(table->tableId(), table->entryLog()->tableVersion());
    }

    // One round: so many writes, all the way to their acknowledgement.
    void write(std::size_t first, unsigned value) {
        for (std::size_t i = first; i < first + inFlight; ++i) {
            Entry entry{keys[i]};
            entry.fields()[20] = std::byte(value);
            table->entryWriteWithResponseHandler(keys[i], entry, nullptr, handler);
        }
        settle();
    }

    AgentInProcess agent;
    Ombra::Ptr<Table> table = agent.makeSwTable<Family>(0);
    std::vector<Key> keys;
    std::size_t answered = 0;
    Table::ResponseHandler handler = [this](auto const&) { ++answered; };
};

} // namespace

// Never inlined, and found by name.
#define MEASURED extern "C" __attribute__((noinline, used)) void

MEASURED measuredSetUp() {
    asm volatile("");
}

MEASURED measuredWrite(void* to) {
    auto& at = *static_cast<Measured*>(to);
    for (std::size_t first = 0; first < operations; first += inFlight) {
        at.write(first, 1);
    }
}

// The same when somebody has watched the table and does so no more.
MEASURED measuredUnwatchedWrite(void* to) {
    auto& at = *static_cast<Measured*>(to);
    for (std::size_t first = 0; first < operations; first += inFlight) {
        at.write(first, 2);
    }
}

MEASURED measuredSuppressedWrite(void* to) {
    auto& at = *static_cast<Measured*>(to);
    for (std::size_t first = 0; first < operations; first += inFlight) {
        at.write(first, 2);
    }
}

MEASURED measuredRemove(void* to) {
    auto& at = *static_cast<Measured*>(to);
    for (std::size_t first = 0; first < operations; first += inFlight) {
        for (std::size_t i = first; i < first + inFlight; ++i) {
            at.table->entryRemoveWithResponseHandler(at.keys[i], nullptr, at.handler);
        }
        at.settle();
    }
}

MEASURED measuredRead(void* to) {
    auto const& at = *static_cast<Measured*>(to);
    for (std::size_t i = 0; i < operations; ++i) {
        auto const entry = at.table->entryRead(at.keys[i]);
        require(entry.key() == at.keys[i], "a committed entry was not read");
    }
}

MEASURED measuredIterationStep(void* to) {
    auto const& at = *static_cast<Measured*>(to);
    std::size_t steps = 0;
    for (auto i = at.table->entryIteratorConst(); i && steps < operations; ++i) {
        ++steps;
    }
    require(steps == operations, "the iteration has ended early");
}

MEASURED measuredTrim(void* to) {
    auto const& log = *static_cast<Measured*>(to)->table->entryLog();
    const_cast<Family::EntryLog&>(log).cleanupEntryLog(log.tableVersion());
}

MEASURED measuredRingMessage(void*) {
    static int msgId = 0;
    for (std::uint32_t i = 0; i < operations; ++i) {
        RingScribe::write(msgId, __FILE__, __LINE__, "CostProgram", "measuredRingMessage",
                          "Swept {} entries", i);
    }
}

int main() {
    Zet::HashHelper::hashSeed32Is(1);
    std::string ring = "/dev/shm/loam-cost-XXXXXX";
    int const file = ::mkstemp(ring.data());
    require(file >= 0, "no file can be made in /dev/shm");
    ::close(file);
    ::unlink(ring.c_str()); // the ring makes the file itself
    RingScribe::open(ring, std::size_t{1} << 20);
    ::unlink(ring.c_str());

    Measured at;
    measuredSetUp();
    measuredWrite(&at);
    require(at.answered == operations, "not every write was answered");
    std::size_t told = 0;
    at.table->publisher()->subscribe([&](auto const&) { ++told; }).end();
    measuredSetUp();
    measuredUnwatchedWrite(&at);
    require(at.answered == 2 * operations && told == 0, "a table that nobody watches has told");
    at.table->mark();
    measuredSetUp();
    measuredSuppressedWrite(&at);
    at.table->inMarkingStateIs(false);
    require(at.answered == 3 * operations && at.table->stats()->suppressedWriteCnt() == operations,
            "not every write was suppressed");
    measuredSetUp();
    measuredRead(&at);
    measuredSetUp();
    measuredIterationStep(&at);
    measuredSetUp();
    measuredRemove(&at);
    require(at.answered == 4 * operations, "not every remove was answered");
    measuredSetUp();
    measuredRingMessage(&at);

    for (std::size_t i = 0; i < operations; ++i) {
        at.table->entryWrite(at.keys[i], Entry{at.keys[i]}, nullptr);
    }
    at.agent.resolve();
    measuredSetUp();
    measuredTrim(&at);
    require(at.table->entryLog()->tableEntryLog()->entryLogConfig().memberCount() == 0,
            "the log was not trimmed");
    std::printf("%zu operations each\n", operations);
    return 0;
}
