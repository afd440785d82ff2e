#include "HwFixture.h"

#include <nlohmann/json.hpp>

#include <apps/hw/StatFile.h>

namespace LoamHw {

// What the backend does not take.
class StuckTable : public HwFixture {
  protected:
    static Faults refusing(std::uint32_t key) {
        Faults faults;
        faults.refuse.insert({"Ipv4SystemPolicyTcamEntry", key});
        return faults;
    }
    static Faults capacity(std::uint32_t capacity) {
        Faults faults;
        faults.capacity = capacity;
        return faults;
    }
};

TEST_F(StuckTable, IsNotAcknowledgedPastARefusedEntryAndTellsWhich) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(refusing(2));
    entries.write(1, 100);
    entries.write(2, 200);
    entries.write(3, 300);
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    auto const& follow = follower<Ipv4Entries>();
    ASSERT_TRUE(follow.stuck());
    EXPECT_EQ(follow.state(), FollowState::stuck);
    EXPECT_EQ(follow.stuck()->version, 2U);
    EXPECT_EQ(follow.stuck()->place.key, 2U);
    EXPECT_EQ(follow.stuck()->result, BackendResult::refused);
    EXPECT_EQ(follow.stuck()->reason, "the hardware can't take this entry (injected)");
    EXPECT_TRUE(reported("Ipv4SystemPolicyTcamEntry: stuck at version 2, key 0x00000002, unit 0"));

    auto const stat = statOf(*hardware, *backend, now);
    auto const& table = stat["tables"][3];
    EXPECT_EQ(table["name"], "Ipv4SystemPolicyTcamEntry");
    EXPECT_EQ(table["state"], "stuck");
    EXPECT_EQ(table["stuck"]["key"], "0x00000002");
    EXPECT_EQ(table["stuck"]["result"], "refused");
}

TEST_F(StuckTable, IsAskedAgainWithLongerAndLongerPauses) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(refusing(1));
    entries.write(1, 100);
    rounds();
    EXPECT_EQ(backend->counts().refused, 1U);
    rounds();
    EXPECT_EQ(backend->counts().refused, 1U);
    pass(TableFollower::firstPause);
    EXPECT_EQ(backend->counts().refused, 2U);
    pass(TableFollower::firstPause);
    EXPECT_EQ(backend->counts().refused, 2U);
    pass(TableFollower::firstPause);
    EXPECT_EQ(backend->counts().refused, 3U);
    for (int i = 0; i < 20; ++i) {
        pass(TableFollower::longestPause);
    }
    EXPECT_EQ(backend->counts().refused, 23U); // never less than once in the longest pause
}

TEST_F(StuckTable, GoesOnWhenTheHardwareTakesTheEntryAtLast) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(refusing(1));
    entries.write(1, 100);
    entries.write(2, 200);
    rounds();
    backend->faultsIs({});
    pass(TableFollower::longestPause);
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    EXPECT_FALSE(follower<Ipv4Entries>().stuck());
    EXPECT_TRUE(reported("goes on after 1 attempts"));
}

TEST_F(StuckTable, GoesOnWhenTheRefusedEntryIsDeleted) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(refusing(1));
    entries.write(1, 100);
    entries.write(2, 200);
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 0U);
    entries.remove(1);
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().overtaken, 1U);
}

TEST_F(StuckTable, IsNotPassedOverForAChangeThatIsNotAnnouncedYet) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(refusing(1));
    entries.write(1, 100);
    rounds();
    entries.storeDeleted(1, 2);
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 0U);
}

TEST_F(StuckTable, FullTcamStopsAtTheEntryThatFindsNoRoom) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(capacity(2));
    entries.write(1, 100);
    entries.write(2, 200);
    entries.write(3, 300);
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    ASSERT_TRUE(follower<Ipv4Entries>().stuck());
    EXPECT_EQ(follower<Ipv4Entries>().stuck()->result, BackendResult::full);
    EXPECT_EQ(follower<Ipv4Entries>().stuck()->reason,
              "the TCAM of unit 0 is full: it holds 2 entries and has room for 2");
}

TEST_F(StuckTable, DeleteBehindTheStopMakesRoom) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware(capacity(2));
    entries.write(1, 100);
    entries.write(2, 200);
    entries.write(3, 300);
    entries.write(1, 101); // once more before it goes
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    entries.remove(1);
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 5U);
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), 300U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().early, 1U);
}

TEST_F(StuckTable, HardwareThatAnswersNoMoreIsAskedAgainAndNothingIsLost) {
    auto entries = agentTable<Ipv4Entries>();
    auto mac = agentTable<MacEntries>();
    Faults faults;
    faults.stopAfter = 5;
    startHardware(faults);
    for (std::uint32_t key = 1; key <= 4; ++key) {
        entries.write(key, key);
        mac.write(key, key);
    }
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>() + acknowledged<MacEntries>(), 5U);
    // Deleting it does not pass an entry over: the hardware may come back.
    entries.remove(1);
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>() + acknowledged<MacEntries>(), 5U);
    backend->faultsIs({});
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 5U);
    EXPECT_EQ(acknowledged<MacEntries>(), 4U);
    EXPECT_EQ(backend->entryCount(Ipv4Entries::Constants::tableId), 3U);
}

TEST_F(StuckTable, SlowBackendLeavesEveryRoundShort) {
    auto entries = agentTable<Ipv4Entries>();
    Faults faults;
    faults.slowUs = 1000;
    startHardware(faults);
    for (std::uint32_t key = 1; key <= 200; ++key) {
        entries.write(key, key);
    }
    int count = 0;
    while (hardware->round(now)) {
        ++count;
    }
    // 200 ms of work in turns of about 2 ms.
    EXPECT_GT(count, 20);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 200U);
}

} // namespace LoamHw
