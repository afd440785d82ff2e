#include "HwFixture.h"

#include <Ombra/Exception.h>
#include <ZetSharedMem/Exceptions.h>

#include <gmock/gmock.h>

#include <unistd.h>

namespace LoamHw {

class Follow : public HwFixture {};

TEST_F(Follow, AnnouncedChangesAreProgrammedAndAcknowledged) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.write(2, 200);
    entries.write(1, 101);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 101U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    EXPECT_TRUE(hardware->takeAcknowledged());
    EXPECT_FALSE(hardware->takeAcknowledged());
    EXPECT_EQ(backend->counts().writes, 3U);
}

TEST_F(Follow, NothingIsDoneAndStoredWithoutAnAgent) {
    startHardware();
    EXPECT_FALSE(hardware->round(now));
    EXPECT_FALSE(hardware->takeAcknowledged());
    EXPECT_EQ(follower<MacEntries>().state(), FollowState::absent);
}

TEST_F(Follow, TablesThatAppearLaterAreFollowed) {
    startHardware();
    rounds();
    auto entries = agentTable<MacEntries>();
    entries.write(7, 70);
    rounds();
    EXPECT_EQ(inHardware<MacEntries>(7), 70U);
    EXPECT_EQ(follower<MacEntries>().state(), FollowState::idle);
}

TEST_F(Follow, WhileOthersHaveMoreToDoATableIsLookedForNowAndThen) {
    auto entries = agentTable<Ipv4Entries>();
    for (std::uint32_t key = 1; key <= 2000; ++key) {
        entries.write(key, key);
    }
    startHardware();
    ASSERT_TRUE(hardware->round(now));
    auto others = agentTable<MacEntries>();
    others.write(7, 70);
    ASSERT_TRUE(hardware->round(now));
    EXPECT_EQ(follower<MacEntries>().state(), FollowState::absent);
    now += HardwareSide::absentInterval;
    ASSERT_TRUE(hardware->round(now));
    EXPECT_EQ(inHardware<MacEntries>(7), 70U);
    EXPECT_LT(follower<Ipv4Entries>().applied(), 2000U);
}

TEST_F(Follow, LoggedChangesAreNotLookedAtBeforeTheyAreAnnounced) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.store(2, 200, 2);
    entries.logWrite(2, 200);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    entries.announce({});
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
}

TEST_F(Follow, RemovedEntryGoes) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.write(2, 200);
    rounds();
    entries.remove(1);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
}

TEST_F(Follow, TableDeleteTakesTheEntriesOfItsUnitAlone) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    startHardware();
    entries.write(1, 100, {}, 0);
    entries.write(2, 200, {}, 0);
    entries.write(1, 300, {}, 5);
    actions.write(1, 400);
    entries.removeAll({1, 2}, 0);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1, 0), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2, 0), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(1, 5), 300U);
    EXPECT_EQ(inHardware<Ipv4Actions>(1), 400U);
}

TEST_F(Follow, ChangeWaitsForTheNeededPlaceOfAnotherTable) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    Faults faults;
    faults.refuse.insert({"Ipv4SystemPolicyTcamAction", 2});
    startHardware(faults);
    actions.write(1, 10);
    actions.write(2, 20);
    entries.write(1, 100, {actions.place(1)});
    entries.write(2, 200, {actions.place(2)});
    entries.write(3, 300);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), std::nullopt); // order inside a table is the version
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    EXPECT_EQ(follower<Ipv4Entries>().state(), FollowState::waiting);
    EXPECT_EQ(follower<Ipv4Entries>().waitsFor(), actions.place(2));

    backend->faultsIs({});
    pass(TableFollower::longestPause);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), 300U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    EXPECT_EQ(follower<Ipv4Entries>().waitsFor(), std::nullopt);
}

TEST_F(Follow, WaitingTableHoldsUpNoOther) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    auto mac = agentTable<MacEntries>();
    Faults faults;
    faults.refuse.insert({"Ipv4SystemPolicyTcamAction", 1});
    startHardware(faults);
    actions.write(1, 10);
    entries.write(1, 100, {actions.place(1)});
    mac.write(1, 1000);
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 0U);
    EXPECT_EQ(inHardware<MacEntries>(1), 1000U);
}

TEST_F(Follow, NeededPlaceAboveWhatItsTableHasAnnouncedIsVoid) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    startHardware();
    actions.write(1, 10);
    entries.write(1, 100, {actions.place(900)});
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
}

TEST_F(Follow, NeededPlaceInATableThatNobodyAnnouncedIsVoid) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    Asic::TableVersion place;
    place.tableId = MacEntries::Constants::tableId;
    place.version = 3;
    entries.write(1, 100, {place});
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
}

TEST_F(Follow, TablesMoveInParallelAndAcknowledgeInBatches) {
    auto entries = agentTable<Ipv4Entries>();
    auto mac = agentTable<MacEntries>();
    for (std::uint32_t key = 1; key <= 3000; ++key) {
        entries.write(key, key);
        mac.write(key, key);
    }
    startHardware();
    int stores = 0;
    bool bothOnTheWay = false;
    bool more = true;
    while (more) {
        more = hardware->round(now);
        stores += hardware->takeAcknowledged() ? 1 : 0;
        auto const one = acknowledged<Ipv4Entries>();
        auto const other = acknowledged<MacEntries>();
        bothOnTheWay = bothOnTheWay || (one > 0 && one < 3000 && other > 0 && other < 3000);
    }
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3000U);
    EXPECT_EQ(acknowledged<MacEntries>(), 3000U);
    EXPECT_TRUE(bothOnTheWay);
    EXPECT_LT(stores, 1000);
}

TEST_F(Follow, SecondHardwareSideIsRefusedByFileAndProcess) {
    startHardware();
    auto const manager = Ombra::ptrIs<ZetSharedMem::EntityManager>(managerName, false);
    ModelBackend other{shapes(), {}};
    try {
        HardwareSide const second{manager, AgentTable<Ipv4Entries>::group(), allTableViews(manager),
                                  other, [](std::string const&, bool) {}};
        FAIL() << "expected a refusal";
    } catch (ZetSharedMem::WriterExistsException const& refusal) {
        EXPECT_THAT(refusal.msg().str(), testing::HasSubstr("tableVersionMap"));
        EXPECT_THAT(refusal.msg().str(), testing::HasSubstr(std::to_string(::getpid())));
    }
}

TEST_F(Follow, IdenticalWriteCostsNoHardwareOperation) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.write(1, 100);
    rounds();
    EXPECT_EQ(backend->counts().writes, 1U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().unchanged, 1U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
}

} // namespace LoamHw
