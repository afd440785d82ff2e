#include "FakeTable.h"

#include <Asic/Constants.h>
#include <Asic/GroupInterface.h>
#include <Asic/MountSlate.h>

#include <gtest/gtest.h>

#include <unistd.h>
#include <vector>

namespace {

using namespace Asic;
using asic_test::FakeTable;

constexpr SwTableId first{0x08080401};
constexpr SwTableId second{0x08080402};
constexpr std::uint16_t agentAndGroup = 0x0808;

class Group : public testing::Test {
  protected:
    Group() { start(); }
    ~Group() override {
        group = nullptr;
        manager->discardLocal();
    }

    void start() { group = Ombra::ptrIs<GroupInterface>("Agent", "Group", agentAndGroup, manager); }
    void restart() {
        group = nullptr;
        manager->closeAll();
        start();
    }

    // A set of one table, known to the group.
    Ombra::Ptr<FakeTable> tableOf(SwTableId tableId) {
        auto const set =
            Ombra::ptrIs<OrderedSwTableSet>(tableId, Ombra::ptrIs<OrderedSwTableStatus>(tableId));
        auto const table = Ombra::ptrIs<FakeTable>(tableId, UnitId{0}, set.get());
        set->swTableIs(table);
        group->swTableSetIs(set);
        return table;
    }

    // The hardware side's own view.
    void appliedIs(SwTableId tableId, LogVersion version) {
        mountSlate<TableVersionMap>(*manager, Constants::tableVersionMapPath("Agent.Group"),
                                    ZetSlate::ZetSlateType::writer)
            ->recordIs(TableVersion{tableId, version});
    }

    Ombra::Ptr<ZetSharedMem::EntityManager> manager =
        Ombra::ptrIs<ZetSharedMem::EntityManager>(Ombra::String{"group"}, true);
    Ombra::Ptr<GroupInterface> group;
};

using Versions = std::vector<LogVersion>;

TEST_F(Group, KnowsWhoseItIs) {
    EXPECT_EQ(group->agentName(), "Agent");
    EXPECT_EQ(group->groupName(), "Group");
    EXPECT_EQ(group->canonicalName(), "Agent.Group");
    EXPECT_EQ(group->agentAndGroupId(), agentAndGroup);
    EXPECT_NE(group->groupResolver(), nullptr);
}

TEST_F(Group, NumbersTheRunsOfTheAgentFromOneAndSaysWhoRuns) {
    EXPECT_EQ(group->agentRun(), 1U);
    restart();
    EXPECT_EQ(group->agentRun(), 2U);
    auto const slate = Ombra::dynamicCast<AgentSlate>(
        manager->getEntity(Constants::agentSlatePath("Agent.Group")));
    EXPECT_EQ(slate->control()->scratchpad(), 2U);
    EXPECT_EQ(slate->map().lookup(0, nullptr, nullptr).pid, static_cast<std::uint32_t>(::getpid()));
}

TEST_F(Group, HasNoVersionMapUntilTheHardwareSideHasRun) {
    EXPECT_EQ(group->tableVersionMap(), nullptr);
    EXPECT_EQ(group->pollTableVersions(), 0U);
    appliedIs(first, 5);
    ASSERT_NE(group->tableVersionMap(), nullptr);
    EXPECT_EQ(group->tableVersionMap()->map().lookup(first, nullptr, nullptr).version, 5U);
}

TEST_F(Group, FindsItsTableSetsByIdentifier) {
    EXPECT_FALSE(group->swTableSetHas(first));
    EXPECT_EQ(group->swTableSet(first), nullptr);
    auto const table = tableOf(first);
    EXPECT_TRUE(group->swTableSetHas(first));
    EXPECT_FALSE(group->swTableSetHas(second));
    EXPECT_EQ(group->swTableSet(first)->swTable(0), table);
    group->swTableSetDelAll();
    EXPECT_FALSE(group->swTableSetHas(first));
    EXPECT_EQ(table->refCount(), 1U);
}

TEST_F(Group, TellsATableHowFarItWasAppliedOnceForEachMove) {
    auto const table = tableOf(first);
    auto const other = tableOf(second);
    appliedIs(first, 5);
    EXPECT_EQ(group->pollTableVersions(), 1U);
    EXPECT_EQ(group->pollTableVersions(), 0U);
    appliedIs(first, 7);
    appliedIs(second, 2);
    EXPECT_EQ(group->pollTableVersions(), 2U);
    EXPECT_EQ(table->versions, (Versions{5, 7}));
    EXPECT_EQ(other->versions, (Versions{2}));
}

TEST_F(Group, TellsATableAgainWhenAResponseHandlerHasThrown) {
    auto const table = tableOf(first);
    appliedIs(first, 3);
    table->onStatus = [] { throw 1; };
    EXPECT_THROW(group->pollTableVersions(), int);
    table->onStatus = nullptr;
    EXPECT_EQ(group->pollTableVersions(), 1U);
    EXPECT_EQ(group->pollTableVersions(), 0U);
    EXPECT_EQ(table->versions, (Versions{3, 3}));
}

TEST_F(Group, ATableThatIsNotThereIsPassedOver) {
    tableOf(first);
    appliedIs(second, 5);
    EXPECT_EQ(group->pollTableVersions(), 0U);
}

TEST_F(Group, AnnouncesAChangeAndForgetsItsNeededPlacesWhenItIsApplied) {
    tableOf(first);
    auto const needed = Ombra::ptrIs<NeededEntry>();
    needed->add(TableVersion{second, {3}});
    group->addLogEntry(first, 1, needed);
    group->addLogEntry(first, 2, nullptr);
    EXPECT_EQ(group->announcements().announcedVersion(first), 2U);
    auto const slate = Ombra::dynamicCast<AnnouncementSlate>(
        manager->getEntity(Constants::announcementSlatePath("Agent.Group", first)));
    EXPECT_EQ(slate->map().memberCount(), 1U);
    appliedIs(first, 1);
    group->pollTableVersions();
    EXPECT_EQ(slate->map().memberCount(), 0U);
}

TEST_F(Group, SweepsEachTableThatTakesPartOnce) {
    auto const table = Ombra::ptrIs<FakeTable>(first, UnitId{0});
    auto const other = Ombra::ptrIs<FakeTable>(first, UnitId{1});
    group->sweepableSwTableSetIs(table);
    group->sweepableSwTableSetIs(table);
    group->sweepableSwTableSetIs(other);
    EXPECT_EQ(group->sweepableSwTables().size(), 2U);
    group->sweepSwTables();
    EXPECT_EQ(table->sweeps, 1U);
    EXPECT_EQ(other->sweeps, 1U);
}

TEST_F(Group, ASweepMayLeadToAnotherTable) {
    auto const table = Ombra::ptrIs<FakeTable>(first, UnitId{0});
    auto const later = Ombra::ptrIs<FakeTable>(first, UnitId{1});
    table->onSweep = [&] { group->sweepableSwTableSetIs(later); };
    group->sweepableSwTableSetIs(table);
    group->sweepSwTables();
    EXPECT_EQ(later->sweeps, 0U);
    EXPECT_EQ(group->sweepableSwTables().size(), 2U);
}

} // namespace
