#include <Asic/Constants.h>
#include <Ombra/Exception.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Asic::Constants;
using Asic::SwTableId;
using Asic::UnitId;

TEST(Constants, EverythingOfAGroupLiesBelowItsCanonicalName) {
    Ombra::String const group = Constants::canonicalizeGroupName("Agent", "Group");
    EXPECT_EQ(group, "Agent.Group");
    EXPECT_EQ(Constants::tableEntryLogSlatePath(group, "Space", "Table"),
              "Agent.Group/Space/Table/entryLog");
    EXPECT_EQ(Constants::canonicalGroupTableConfigSlatePathBase(group, "Space", "Table"),
              "Agent.Group/Space/Table/config");
    EXPECT_EQ(Constants::configSlatePath(group, "Space", "Table", 7),
              "Agent.Group/Space/Table/config/7");
    EXPECT_EQ(Constants::announcementSlatePathBase(group), "Agent.Group/announce");
    EXPECT_EQ(Constants::announcementSlatePath(group, SwTableId{0x0808040e}),
              "Agent.Group/announce/0808040e");
    EXPECT_EQ(Constants::tableVersionMapPath(group), "Agent.Group/tableVersionMap");
    EXPECT_EQ(Constants::agentSlatePath(group), "Agent.Group/agent");
}

TEST(Constants, AnAgentsRelaunchPathEndsInItsName) {
    EXPECT_EQ(Constants::relaunchPath("LoamSystemAcl"),
              "hardware/spindle/agent/relaunch/config/LoamSystemAcl");
}

TEST(Constants, TheUnitComesBackFromItsPath) {
    for (unsigned unit : {0U, 1U, 9U, 10U, 255U, 65535U}) {
        auto const unitId = static_cast<UnitId>(unit);
        EXPECT_EQ(
            Constants::getUnitIdFromConfigPath(Constants::configSlatePath("G", "N", "T", unitId)),
            unitId);
    }
}

TEST(Constants, APathWithoutAUnitIsRefusedWithASentence) {
    for (char const* path : {"", "G/N/T/config/", "G/N/T/config/x", "G/N/T/config/7x",
                             "G/N/T/config/-1", "G/N/T/config/65536", "G/N/T/config/ 7"}) {
        EXPECT_THROW(Constants::getUnitIdFromConfigPath(path), Ombra::Exception) << path;
    }
    try {
        Constants::getUnitIdFromConfigPath("G/N/T/config/x");
        FAIL();
    } catch (Ombra::Exception const& refusal) {
        EXPECT_STREQ(refusal.what(), "G/N/T/config/x: 'x' is no unit number; a configuration "
                                     "table's path ends in a number from 0 to 65535");
    }
}

TEST(Constants, TheTableComesBackFromItsAnnouncementsPath) {
    for (std::uint32_t number : {0U, 0x08080401U, 0xffffffffU}) {
        EXPECT_EQ(Constants::getTableIdFromAnnouncementPath(
                      Constants::announcementSlatePath("G", SwTableId{number})),
                  SwTableId{number});
    }
}

TEST(Constants, AnyOtherTextIsNoAnnouncementsPath) {
    for (char const* path :
         {"", "G/announce", "G/announce/", "G/announce/8080401", "G/announce/008080401",
          "G/announce/0808040g", "G/announce/+8080401"}) {
        EXPECT_EQ(Constants::getTableIdFromAnnouncementPath(path), std::nullopt) << path;
    }
}

} // namespace
