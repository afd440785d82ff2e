#include "HwFixture.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <unistd.h>

namespace LoamHw {

// Comparing the hardware with the configuration tables: after a restart of either side, and where
// the log has a hole.
class AuditOfTable : public HwFixture {
  protected:
    void passLeftoverAge() {
        pass(TableFollower::leftoverAge);
        rounds();
    }

    std::string fileOf(Ombra::String const& path) const {
        return folder() + "/" + path.str() + ".slate";
    }

    // Turns over the first byte of the record's fields wherever they stand in the file.
    static void damage(std::string const& file, std::span<std::byte const> wanted) {
        int const fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
        auto const size = static_cast<std::size_t>(std::filesystem::file_size(file));
        void* const mapped = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        ::close(fd);
        ASSERT_NE(mapped, MAP_FAILED) << file;
        auto* const begin = static_cast<std::byte*>(mapped);
        void* const found = ::memmem(begin, size, wanted.data(), wanted.size());
        EXPECT_NE(found, nullptr) << "no such record in " << file;
        if (found != nullptr) {
            *static_cast<std::byte*>(found) ^= std::byte{0xff};
        }
        ::munmap(mapped, size);
    }
};

TEST_F(AuditOfTable, RestartedHardwareSideGoesOnFromWhatItAcknowledgedAndFillsItsBackend) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.write(2, 200);
    entries.remove(2);
    rounds();
    for (Asic::LogVersion version = 1; version <= 3; ++version) {
        entries.dropFromLog(version); // acknowledged, so the agent has trimmed it
    }
    startHardware();
    entries.write(3, 300);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), 300U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 4U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().missing, 0U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().changes, 1U);
}

TEST_F(AuditOfTable, RestartAuditDoesNotRunAheadOfANeededPlace) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    entries.write(1, 100);
    actions.write(1, 10);
    entries.write(2, 200, {actions.place(1)});
    Faults faults;
    faults.refuse.insert({"Ipv4SystemPolicyTcamAction", 1});
    startHardware(faults);
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    startHardware(faults);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
}

TEST_F(AuditOfTable, AgentRestartThatChangesNothingCostsNoHardwareOperation) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        for (std::uint32_t key = 1; key <= 1000; ++key) {
            entries.write(key, key);
        }
        rounds();
    }
    auto const before = backend->counts();
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    rounds();
    passLeftoverAge();
    EXPECT_EQ(backend->counts().writes, before.writes);
    EXPECT_EQ(backend->counts().removes, before.removes);
    EXPECT_EQ(hardware->agentRun(), 2U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().audits, 2U); // at its own start, and now
}

TEST_F(AuditOfTable, RecordThatADeadAgentStoredButDidNotLogIsProgrammed) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        entries.write(2, 200);
        rounds();
        entries.store(1, 101, 3); // died here
    }
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U); // might still be logged
    passLeftoverAge();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 101U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().leftovers, 1U);
}

TEST_F(AuditOfTable, DeleteThatADeadAgentStoredButDidNotLogIsProgrammed) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        rounds();
        entries.storeDeleted(1, 2);
    }
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    rounds();
    passLeftoverAge();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
}

// The version of the record without a log record goes to the next change, of another key.
TEST_F(AuditOfTable, RecordWithoutALogRecordIsProgrammedWhenItsVersionIsTakenAgain) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        rounds();
        entries.store(7, 700, 2);
    }
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    entries.write(8, 800);
    rounds();
    passLeftoverAge();
    EXPECT_EQ(inHardware<Ipv4Entries>(7), 700U);
    EXPECT_EQ(inHardware<Ipv4Entries>(8), 800U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
}

TEST_F(AuditOfTable, RecordOfALivingAgentThatIsLoggedInTimeComesThroughTheLog) {
    auto entries = agentTable<Ipv4Entries>();
    entries.write(1, 100);
    entries.store(2, 200, 2);
    startHardware();
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
    entries.logWrite(2, 200);
    entries.announce({});
    rounds();
    passLeftoverAge();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().leftovers, 0U);
    EXPECT_EQ(backend->counts().writes, 2U);
}

TEST_F(AuditOfTable, EntryThatNoConfigurationTableHasIsRemoved) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        entries.write(2, 200);
        rounds();
        entries.dropFromConfig(1);
    }
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
}

TEST_F(AuditOfTable, ChangeThatIsMissingInTheLogIsFoundInTheConfigurationTables) {
    auto entries = agentTable<Ipv4Entries>();
    entries.write(1, 100);
    entries.write(2, 200);
    entries.write(3, 300);
    entries.write(4, 400);
    entries.dropFromLog(2);
    entries.dropFromLog(3);
    startHardware();
    rounds();
    for (std::uint32_t key = 1; key <= 4; ++key) {
        EXPECT_EQ(inHardware<Ipv4Entries>(key), 100 * key);
    }
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 4U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().missing, 2U);
    EXPECT_TRUE(reported("versions 2 to 3 are missing in the log"));
}

TEST_F(AuditOfTable, MissingDeleteIsFoundInTheConfigurationTables) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    entries.write(2, 200);
    rounds();
    entries.remove(1);
    entries.dropFromLog(3);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
}

TEST_F(AuditOfTable, GapDoesNotRunAheadOfTheNeededPlacesBehindIt) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    Faults faults;
    faults.refuse.insert({"Ipv4SystemPolicyTcamAction", 1});
    startHardware(faults);
    actions.write(1, 10);
    entries.write(1, 100);
    entries.write(2, 200, {actions.place(1)});
    entries.dropFromLog(1);
    entries.dropFromLog(2);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 100U);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), std::nullopt);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    backend->faultsIs({});
    pass(TableFollower::longestPause);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
}

TEST_F(AuditOfTable, DamagedLogRecordIsCountedAndCostsNothing) {
    auto entries = agentTable<Ipv4Entries>();
    entries.write(1, 0x11111111);
    entries.write(2, 0x22222222);
    entries.write(3, 0x33333333);
    auto const record = AgentTable<Ipv4Entries>::entry(2, 0x22222222);
    damage(fileOf(Ipv4Entries::Constants::tableEntryLogSlatePath()), record.fields().first(8));
    startHardware();
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 0x22222222U);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), 0x33333333U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    EXPECT_GT(follower<Ipv4Entries>().view().damagedReads(), 0U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().missing, 1U);
}

TEST_F(AuditOfTable, DamagedConfigurationRecordLeavesTheHardwareAsItIs) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 0x11111111);
        rounds();
    }
    auto const record = AgentTable<Ipv4Entries>::entry(1, 0x11111111);
    damage(fileOf(Ipv4Entries::Constants::configSlatePath(0)), record.fields().first(8));
    startAgent();
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(1), 0x11111111U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().incompleteAudits, 1U);
}

TEST_F(AuditOfTable, LogThatWasLostAndMadeAnewIsFollowedFromItsBeginning) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        entries.write(2, 200);
        entries.write(3, 300);
        rounds();
        EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    }
    agent->closeAll();
    std::filesystem::remove(fileOf(Ipv4Entries::Constants::tableEntryLogSlatePath()));
    std::filesystem::remove(fileOf(Ipv4Entries::Constants::configSlatePath(0)));
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    entries.announcedIs(entries.version()); // what the agent does with a log below its announcement
    ASSERT_EQ(entries.version(), 0U);
    entries.write(2, 201);
    entries.write(9, 900);
    pass(HardwareSide::staleInterval);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    EXPECT_EQ(inHardware<Ipv4Entries>(1), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 201U);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), std::nullopt);
    EXPECT_EQ(inHardware<Ipv4Entries>(9), 900U);
}

// The new log has come further than the lost one before the hardware side looks.
TEST_F(AuditOfTable, LogThatWasLostIsNoticedEvenWhenItsVersionsHaveGoneOn) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        entries.write(2, 200);
        rounds();
    }
    agent->closeAll();
    std::filesystem::remove(fileOf(Ipv4Entries::Constants::tableEntryLogSlatePath()));
    startAgent();
    auto entries = agentTable<Ipv4Entries>();
    entries.write(5, 500);
    entries.write(6, 600);
    entries.write(7, 700);
    pass(HardwareSide::staleInterval);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 3U);
    EXPECT_EQ(inHardware<Ipv4Entries>(5), 500U);
    EXPECT_EQ(inHardware<Ipv4Entries>(6), 600U);
    EXPECT_EQ(inHardware<Ipv4Entries>(7), 700U);
}

TEST_F(AuditOfTable, ForgottenAcknowledgementsAreRegainedFromAShortLog) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    for (std::uint32_t key = 1; key <= 6000; ++key) {
        entries.write(key % 100, key);
    }
    rounds();
    stopHardware();
    for (Asic::LogVersion version = 1; version <= 6000; ++version) {
        entries.dropFromLog(version);
    }
    std::filesystem::remove(
        fileOf(Asic::Constants::tableVersionMapPath(AgentTable<Ipv4Entries>::group())));
    entries.write(100, 6001);
    startHardware();
    rounds();
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 6001U);
    EXPECT_EQ(backend->entryCount(Ipv4Entries::Constants::tableId), 101U);
    EXPECT_EQ(inHardware<Ipv4Entries>(99), 5999U);
    EXPECT_EQ(follower<Ipv4Entries>().counts().missing, 6000U);
}

TEST_F(AuditOfTable, EntryThatAnAuditCanNotProgramHoldsTheTableUntilItIsWrittenAgain) {
    {
        auto entries = agentTable<Ipv4Entries>();
        startHardware();
        entries.write(1, 100);
        entries.write(2, 200);
        rounds();
    }
    Faults faults;
    faults.refuse.insert({"Ipv4SystemPolicyTcamEntry", 1});
    startHardware(faults);
    auto entries = agentTable<Ipv4Entries>();
    entries.write(3, 300);
    rounds();
    EXPECT_EQ(inHardware<Ipv4Entries>(2), 200U); // the others are there
    ASSERT_TRUE(follower<Ipv4Entries>().stuck());
    EXPECT_EQ(follower<Ipv4Entries>().stuck()->version, 0U);
    EXPECT_EQ(follower<Ipv4Entries>().stuck()->place.key, 1U);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 2U);
    entries.remove(1);
    pass(TableFollower::longestPause);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 4U);
    EXPECT_EQ(inHardware<Ipv4Entries>(3), 300U);
    EXPECT_FALSE(follower<Ipv4Entries>().stuck());
}

TEST_F(AuditOfTable, AcknowledgementsAreStoredAnewWhenTheirFileIsRemoved) {
    auto entries = agentTable<Ipv4Entries>();
    startHardware();
    entries.write(1, 100);
    rounds();
    std::filesystem::remove(
        fileOf(Asic::Constants::tableVersionMapPath(AgentTable<Ipv4Entries>::group())));
    pass(HardwareSide::staleInterval);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    EXPECT_EQ(backend->counts().writes, 1U);
}

} // namespace LoamHw
