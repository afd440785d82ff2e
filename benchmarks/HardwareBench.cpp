// Whether the hardware side keeps up: what a change costs it, from the log to the model of the TCAM
// and to its acknowledgement, beside what the same change costs the agent.
//
// A program of its own, because its hardware side is the one writer of what the agent is told.
// Agent and hardware side take turns, each with mappings of its own, as two processes would have.
#include "Agent.h"
#include "Time.h"

#include <Asic/Constants.h>
#include <LoamSystemAcl/AllTables.h>

#include <benchmark/benchmark.h>

#include <apps/hw/HardwareSide.h>
#include <apps/hw/ModelBackend.h>

namespace {

using namespace bench;

constexpr std::size_t batch = 1'024; // writes before it is the other side's turn

std::vector<LoamHw::TableShape> shapes() {
    std::vector<LoamHw::TableShape> result;
    LoamSystemAcl::AllTables::forEach([&]<typename EachTable>() {
        using Constants = typename EachTable::Constants;
        result.push_back(
            {Constants::tableId, Constants::tableName, Constants::row.holds == "entries"});
    });
    return result;
}

class BothSides {
  public:
    BothSides()
        : agent_{(folder(), "both"), false}, table_{agent_.makeSwTable<Family>(0)},
          hardwareMem_{Ombra::ptrIs<ZetSharedMem::EntityManager>("both", false)},
          backend_{shapes(), {}}, hardware_{hardwareMem_, agent_.canonicalGroup(),
                                            LoamHw::allTableViews(hardwareMem_), backend_,
                                            [](std::string const&, bool) {}} {
        for (std::size_t i = 0; i < keyCount / batch; ++i) {
            agentsTurn();
            hardwaresTurn();
        }
    }

    void agentsTurn() {
        agent_.group()->pollTableVersions();
        for (std::size_t i = 0; i < batch; ++i) {
            Key const& key = randomKeys()[next_];
            next_ = next_ + 1 == keyCount ? 0 : next_ + 1;
            table_->entryWriteWithResponseHandler(key, entryOf(key, ++written_), nullptr,
                                                  [&](auto const&) { ++answered; });
        }
        agent_.resolve();
    }

    void hardwaresTurn() {
        while (hardware_.round(LoamHw::Clock::now())) {
        }
    }

    std::uint64_t answered = 0;

  private:
    testing_support::AgentInProcess agent_;
    Ombra::Ptr<Table> table_;
    Ombra::Ptr<ZetSharedMem::EntityManager> hardwareMem_;
    LoamHw::ModelBackend backend_;
    LoamHw::HardwareSide hardware_;
    std::size_t next_ = 0;
    std::size_t written_ = 0;
};

BothSides& bothSides() {
    static BothSides made;
    return made;
}

// Both take their turns; the time is that of one of them.
void side(benchmark::State& state, bool ofHardware) {
    auto& both = bothSides();
    auto const before = both.answered;
    for (auto _ : state) {
        auto const start = threadSeconds();
        both.agentsTurn();
        auto const middle = threadSeconds();
        both.hardwaresTurn();
        auto const end = threadSeconds();
        state.SetIterationTime(ofHardware ? end - middle : middle - start);
    }
    auto const operations = static_cast<std::uint64_t>(state.iterations()) * batch;
    if (both.answered - before != operations) {
        state.SkipWithError("not every operation was answered");
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(operations));
}

void agentSide(benchmark::State& state) {
    side(state, false);
}
void hardwareSide(benchmark::State& state) {
    side(state, true);
}
BENCHMARK(agentSide)->UseManualTime();
BENCHMARK(hardwareSide)->UseManualTime();

} // namespace
