#include <Asic/Announcements.h>
#include <Asic/Constants.h>
#include <Ombra/Exception.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

using namespace Asic;

constexpr SwTableId first{0x08080401};
constexpr SwTableId second{0x08080402};
constexpr SwTableId third{0x08080403};

using Places = std::vector<TableVersion>;

class Announcing : public testing::Test {
  protected:
    Announcing() { start(); }
    ~Announcing() override {
        announcements.reset();
        manager->discardLocal();
    }

    void start() { announcements.emplace(manager, "G"); }

    // What stood in the agent's memory is gone; what it stored stays.
    void restart() {
        announcements.reset();
        manager->closeAll();
        start();
    }

    // As the hardware side finds it.
    Ombra::Ptr<AnnouncementSlate> slateOf(SwTableId tableId) {
        return Ombra::dynamicCast<AnnouncementSlate>(
            manager->getEntity(Constants::announcementSlatePath("G", tableId)));
    }
    LogVersion stored(SwTableId tableId) { return slateOf(tableId)->control()->scratchpad(); }
    std::optional<Places> needed(SwTableId tableId, LogVersion version) {
        bool found = false;
        auto const record = slateOf(tableId)->map().lookup(version, &found, nullptr);
        return found ? std::optional{Places(record.places.begin(),
                                            record.places.begin() + record.count)}
                     : std::nullopt;
    }

    void announce(SwTableId tableId, LogVersion version, Places const& places) {
        NeededEntry neededEntry;
        for (auto const& place : places) {
            neededEntry.add(place);
        }
        announcements->announce(tableId, version, &neededEntry);
    }

    Ombra::Ptr<ZetSharedMem::EntityManager> manager =
        Ombra::ptrIs<ZetSharedMem::EntityManager>(Ombra::String{"announcements"}, true);
    std::optional<Announcements> announcements;
};

TEST_F(Announcing, ATableStartsAtZero) {
    EXPECT_EQ(announcements->announcedVersion(first), 0U);
    EXPECT_EQ(stored(first), 0U);
}

TEST_F(Announcing, StoresTheVersionAndTheNeededPlacesIfThereAreAny) {
    announcements->announce(first, 1, nullptr);
    EXPECT_EQ(stored(first), 1U);
    EXPECT_EQ(needed(first, 1), std::nullopt);
    announce(first, 2, {});
    EXPECT_EQ(needed(first, 2), std::nullopt);
    announce(first, 3, {{second, {5}}, {third, {6}}});
    EXPECT_EQ(stored(first), 3U);
    EXPECT_EQ(needed(first, 3), (Places{{second, {5}}, {third, {6}}}));
    EXPECT_EQ(announcements->announcedVersion(first), 3U);
}

TEST_F(Announcing, APlaceInTheTableItselfIsNotStored) {
    announce(first, 2, {{first, {1}}});
    EXPECT_EQ(needed(first, 2), std::nullopt);
    announce(first, 3, {{first, {1}}, {second, {4}}});
    EXPECT_EQ(needed(first, 3), (Places{{second, {4}}}));
}

TEST_F(Announcing, APlaceInEveryOtherTableOfTheGroupFitsAndMoreIsRefused) {
    Places places;
    for (std::uint32_t i = 0; i < NeededRecord::maxPlaces; ++i) {
        places.push_back({SwTableId{0x08080500 + i}, {1}});
    }
    announce(first, 1, places);
    EXPECT_EQ(needed(first, 1), places);
    places.push_back({SwTableId{0x08080600}, {1}});
    EXPECT_THROW(announce(first, 2, places), Ombra::Exception);
    EXPECT_EQ(stored(first), 1U); // and nothing is announced
}

TEST_F(Announcing, SaysOnceThatSomethingWasAnnounced) {
    EXPECT_FALSE(announcements->takeAnnounced());
    announcements->announce(first, 1, nullptr);
    announcements->announce(second, 1, nullptr);
    EXPECT_TRUE(announcements->takeAnnounced());
    EXPECT_FALSE(announcements->takeAnnounced());
}

TEST_F(Announcing, WhatTheHardwareHasAppliedLosesItsNeededPlaces) {
    announce(first, 1, {{second, {5}}});
    announcements->announce(first, 2, nullptr);
    announce(first, 3, {{second, {6}}});
    announce(first, 4, {{second, {7}}});
    announcements->appliedVersionIs(first, 3);
    EXPECT_EQ(needed(first, 1), std::nullopt);
    EXPECT_EQ(needed(first, 3), std::nullopt);
    EXPECT_NE(needed(first, 4), std::nullopt);
    EXPECT_EQ(slateOf(first)->map().memberCount(), 1U);
}

TEST_F(Announcing, ARestartTakesUpWhatWasAnnounced) {
    announce(first, 3, {{second, {5}}});
    announce(first, 4, {{second, {6}}});
    restart();
    EXPECT_EQ(announcements->announcedVersion(first), 4U);
    EXPECT_EQ(needed(first, 3), (Places{{second, {5}}}));
    announcements->appliedVersionIs(first, 3);
    EXPECT_EQ(needed(first, 3), std::nullopt);
    EXPECT_NE(needed(first, 4), std::nullopt);
}

TEST_F(Announcing, ALogAtTheAnnouncedVersionChangesNothing) {
    announcements->announce(first, 4, nullptr);
    announcements->takeAnnounced();
    announcements->loggedVersionIs(first, 4);
    EXPECT_EQ(stored(first), 4U);
    EXPECT_FALSE(announcements->takeAnnounced());
}

TEST_F(Announcing, WhatWasLoggedAndNotAnnouncedComesBehindAllThatWas) {
    announcements->announce(second, 7, nullptr);
    announcements->announce(third, 2, nullptr);
    announcements->announce(first, 4, nullptr);
    restart();
    announcements->loggedVersionIs(first, 6);
    EXPECT_EQ(stored(first), 6U);
    auto places = needed(first, 5); // the first of the two holds back the other
    ASSERT_TRUE(places);
    std::ranges::sort(*places, {}, &TableVersion::tableId);
    EXPECT_EQ(*places, (Places{{second, {7}}, {third, {2}}}));
    EXPECT_EQ(needed(first, 6), std::nullopt);
    EXPECT_TRUE(announcements->takeAnnounced());
}

TEST_F(Announcing, FollowsALogThatWasLostDownAndForgetsWhatLiesAbove) {
    announce(first, 3, {{second, {5}}});
    announce(first, 9, {{second, {6}}});
    restart();
    announcements->loggedVersionIs(first, 3);
    EXPECT_EQ(stored(first), 3U);
    EXPECT_EQ(announcements->announcedVersion(first), 3U);
    EXPECT_NE(needed(first, 3), std::nullopt);
    EXPECT_EQ(needed(first, 9), std::nullopt);
    announcements->loggedVersionIs(first, 0);
    EXPECT_EQ(slateOf(first)->map().memberCount(), 0U);
}

} // namespace
