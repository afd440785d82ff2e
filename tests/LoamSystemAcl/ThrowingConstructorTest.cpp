#include "TableInUse.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <Pallet/SlabAlloc.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

// An object whose constructor throws leaves no trace in memory, counts and registries.
namespace LoamSystemAcl {
namespace {

// Throws from the trace of that text, and so from the constructor that traces it.
class ThrowingTrace {
  public:
    explicit ThrowingTrace(std::string text)
        : former_{Ombra::traceSinkIs([text = std::move(text)](auto const& record) {
              if (record.text.starts_with(text)) {
                  throw std::runtime_error{text};
              }
          })} {
        Zet::TraceHandle::levelsIs("*", 0xffff);
    }
    ThrowingTrace(ThrowingTrace const&) = delete;
    ThrowingTrace& operator=(ThrowingTrace const&) = delete;
    ~ThrowingTrace() {
        Zet::TraceHandle::levelsIs("*", 0);
        Ombra::traceSinkIs(std::move(former_));
    }

  private:
    Ombra::TraceSink former_;
};

using Live = std::map<std::string, std::uint64_t>;

// The objects of each class that exist; classes without one are left out.
Live liveObjects() {
    Live result;
    for (auto const& totals : Zet::AllocTrackTypeInfo::dump()) {
        if (totals.live != 0) {
            result[totals.typeName] = totals.live;
        }
    }
    return result;
}

std::uint64_t liveBlocks() {
    std::uint64_t result = 0;
    for (auto const& each : Pallet::slabStats().classes) {
        result += each.liveBlocks;
    }
    return result;
}

class ThrowingConstructor : public TableInUse {};

TEST_F(ThrowingConstructor, OfATableLeavesTheCountsAndTheSetUnchanged) {
    auto const intf = agent.tableIntf<Family>();
    intf->entryLog()->mountSlateConfig(5, 0); // what was mounted stays mounted
    auto const live = liveObjects();
    auto const blocks = liveBlocks();
    {
        ThrowingTrace const throwing{"doesMarkSweep"};
        EXPECT_THROW(intf->makeSwTable(5, nullptr, true), std::runtime_error);
    }
    EXPECT_EQ(liveObjects(), live);
    EXPECT_EQ(liveBlocks(), blocks);
    EXPECT_FALSE(intf->swTableSet()->swTableHas(5));
    EXPECT_EQ(agent.group()->sweepableSwTables().size(), 1U);
    EXPECT_NE(intf->makeSwTable(5, nullptr, true), nullptr);
}

TEST_F(ThrowingConstructor, OfAnEntryLogLeavesItsCountUnchanged) {
    auto const intf = agent.tableIntf<Family>();
    auto const logs = [] {
        return Zet::AllocTrackTypeInfo::live(Family::EntryLog::memAllocationTracker_);
    };
    auto const before = logs();
    ASSERT_EQ(before, 1U);
    {
        ThrowingTrace const throwing{" Mounted entryLog"};
        EXPECT_THROW(Ipv4SystemPolicyTcamEntryEntryLog::Ipv4SystemPolicyTcamEntryEntryLogIs(
                         table->tableId(), agent.entityManager(), agent.group(), intf->agentName()),
                     std::runtime_error);
    }
    EXPECT_EQ(logs(), before);
}

TEST(ThrowingConstructorOfAnInterface, LeavesTheCountsAndTheRegistriesUnchanged) {
    using Family = Ipv4SystemPolicyTcamEntryFamily;
    testing_support::AgentInProcess agent;
    agent.tableIntf<Ipv4SystemPolicyTcamActionFamily>(); // the group is there
    auto const interfaces = [] {
        return Zet::AllocTrackTypeInfo::live(Family::Interface::memAllocationTracker_);
    };
    auto const logs = [] {
        return Zet::AllocTrackTypeInfo::live(Family::EntryLog::memAllocationTracker_);
    };
    auto const sets = liveObjects()["Asic::OrderedSwTableSet"];
    {
        ThrowingTrace const throwing{" Entry log created"};
        EXPECT_THROW(agent.tableIntf<Family>(), std::runtime_error);
    }
    EXPECT_EQ(interfaces(), 0U);
    EXPECT_EQ(logs(), 0U);
    EXPECT_EQ(liveObjects()["Asic::OrderedSwTableSet"], sets);
    EXPECT_FALSE(
        Asic::SwTableInterfacesSingleton::get()->swTableIntfHas(Family::Interface::registryKey));
    EXPECT_NE(agent.tableIntf<Family>(), nullptr);
    EXPECT_EQ(interfaces(), 1U);
}

} // namespace
} // namespace LoamSystemAcl
