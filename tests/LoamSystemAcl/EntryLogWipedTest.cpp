#include "EntryLogFixture.h"

#include <Asic/GenId.h>
#include <Orbis/Entity.h>
#include <Slate/Layout.h>
#include <Zet/Log.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <support/TemporaryRoot.h>
#include <utility>
#include <vector>

// A collection that was lost: it is reported, the agent is told to start again, and the mount goes
// on with what there is.
namespace LoamSystemAcl::entry_log_test {
namespace {

struct Logged {
    std::string name;
    unsigned severity;
    std::string text;
    friend bool operator==(Logged const&, Logged const&) = default;
};

class LogCapture {
  public:
    LogCapture()
        : former_{Zet::logSinkIs([this](Zet::LogRecord const& record) {
              lines.push_back(
                  {std::string{record.name}, record.severity, std::string{record.text}});
          })} {}
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;
    ~LogCapture() { Zet::logSinkIs(std::move(former_)); }

    std::vector<Logged> lines;

  private:
    Zet::LogSink former_;
};

Logged lost(std::string const& item) {
    return {"HW_ABSTRACTION_ERROR", 3, "Hardware abstraction error: unable to load item: " + item};
}

constexpr char const* relaunchPath = "hardware/spindle/agent/relaunch/config/LoamSystemAcl";

// An agent over files of a manager of the test's own name, which writes one entry and ends.
class EntryLogWiped : public testing::Test {
  public:
    void firstRun(bool withGeneration) {
        LogInUse first{name, false};
        first.log->mountSlateConfig(0, 0);
        first.write(Key{1}, 1);
        if (withGeneration) {
            Asic::GenId::create(first.agent.entityManager(), relaunchPath)->minorIdInc(4);
        }
    }

    void lose(Ombra::String const& path) {
        ASSERT_TRUE(std::filesystem::remove(testing_support::fileOf(name, path)));
    }

    // What is logged while the agent comes up and mounts unit 0.
    std::vector<Logged> logOf(std::function<void(LogInUse&)> const& look = [](LogInUse&) {}) {
        LogCapture const capture;
        LogInUse again{name, false};
        again.log->mountSlateConfig(0, 0);
        look(again);
        return capture.lines;
    }

    static std::uint64_t generation(LogInUse& inUse) {
        auto const genId =
            Ombra::dynamicCast<Asic::GenId>(inUse.agent.entityManager()->getEntity(relaunchPath));
        return genId ? genId->majorId() : ~std::uint64_t{0};
    }

    Ombra::String const name = testing::UnitTest::GetInstance()->current_test_info()->name();
    Ombra::String const logPath = Constants::tableEntryLogSlatePath();
    Ombra::String const configPath = Constants::configSlatePath(0);
};

TEST_F(EntryLogWiped, NothingIsSaidWhenNothingIsLost) {
    firstRun(true);
    EXPECT_TRUE(logOf([](LogInUse& again) { EXPECT_EQ(generation(again), 0U); }).empty());
}

TEST_F(EntryLogWiped, ALostChangeLogIsReportedAndOrdersARelaunch) {
    firstRun(true);
    lose(logPath);
    auto const lines = logOf([](LogInUse& again) {
        EXPECT_EQ(generation(again), 1U);
        EXPECT_FALSE(again.log->tableEntryLog()->control()->wiped());
        EXPECT_EQ(again.log->tableVersion(), 0U);
        EXPECT_EQ(again.changes().memberCount(), 0U);
        EXPECT_TRUE(again.log->entryHas(Key{1}, 0)) << "the configuration was not lost";
    });
    EXPECT_EQ(lines, std::vector{lost("entryLog::Ipv4SystemPolicyTcamEntry")});
}

TEST_F(EntryLogWiped, ALostConfigurationTableIsReportedAndOrdersARelaunch) {
    firstRun(true);
    lose(configPath);
    auto const lines = logOf([](LogInUse& again) {
        EXPECT_EQ(generation(again), 1U);
        EXPECT_FALSE(again.log->tableConfigSlate(0)->control()->wiped());
        EXPECT_EQ(again.config().memberCount(), 0U);
        EXPECT_EQ(again.log->tableVersion(), 1U) << "the log was not lost";
    });
    EXPECT_EQ(lines, std::vector{lost("entryCfg::Ipv4SystemPolicyTcamEntry")});
}

TEST_F(EntryLogWiped, IsReportedThenOrdersTheRelaunchThenLosesItsMark) {
    firstRun(true);
    lose(configPath);
    unsigned reports = 0;
    auto former = Zet::logSinkIs([&](Zet::LogRecord const&) {
        ++reports;
        auto const manager = Ombra::ptrIs<Orbis::EntityManager>(name, false);
        auto const genId = Ombra::dynamicCast<Asic::GenId>(manager->getEntity(relaunchPath));
        EXPECT_EQ(genId->majorId(), 0U);
        ZetSharedMem::EntityManager readers{name, false};
        auto const group = readers.getMountGroup();
        group->mount(configPath, Family::ConfigSlate::typeName,
                     ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader});
        group->doClose();
        auto const slate = Ombra::dynamicCast<Family::ConfigSlate>(readers.getEntity(configPath));
        ASSERT_NE(slate, nullptr);
        EXPECT_TRUE(slate->control()->wiped());
    });
    LogInUse again{name, false};
    again.log->mountSlateConfig(0, 0);
    Zet::logSinkIs(std::move(former));
    EXPECT_EQ(reports, 1U);
    EXPECT_EQ(generation(again), 1U);
    EXPECT_FALSE(again.log->tableConfigSlate(0)->control()->wiped());
}

TEST_F(EntryLogWiped, EachLossCountsByItself) {
    firstRun(true);
    lose(logPath);
    lose(configPath);
    auto const lines = logOf([](LogInUse& again) { EXPECT_EQ(generation(again), 2U); });
    EXPECT_EQ(lines, (std::vector{lost("entryLog::Ipv4SystemPolicyTcamEntry"),
                                  lost("entryCfg::Ipv4SystemPolicyTcamEntry")}));
}

TEST_F(EntryLogWiped, ALossIsReportedOnce) {
    firstRun(true);
    lose(logPath);
    lose(configPath);
    EXPECT_EQ(logOf().size(), 2U);
    EXPECT_TRUE(logOf([](LogInUse& again) { EXPECT_EQ(generation(again), 2U); }).empty());
}

TEST_F(EntryLogWiped, TheSlateIsUsedAsItStands) {
    firstRun(true);
    lose(logPath);
    logOf([](LogInUse& again) { EXPECT_EQ(again.write(Key{2}, 2), 1U); });
    logOf([](LogInUse& again) { EXPECT_EQ(again.log->tableVersion(), 1U); });
}

TEST_F(EntryLogWiped, WithoutAnEntityAtTheRelaunchPathOnlyTheMessageIsRaised) {
    firstRun(false);
    lose(logPath);
    auto const lines = logOf([](LogInUse& again) {
        EXPECT_EQ(again.agent.entityManager()->getEntity(relaunchPath), nullptr);
        EXPECT_FALSE(again.log->tableEntryLog()->control()->wiped());
    });
    EXPECT_EQ(lines, std::vector{lost("entryLog::Ipv4SystemPolicyTcamEntry")});
}

TEST_F(EntryLogWiped, AnEntityOfAnotherTypeAtTheRelaunchPathIsLeftAlone) {
    static bool const registered = Orbis::Entity::typeIs(
        "Test::Note",
        {"a note", [](Ombra::Ptr<Orbis::EntityManager> const& manager, Ombra::String const& path) {
             return Ombra::ptrIs<Orbis::Entity>(manager, path, "Test::Note");
         }});
    ASSERT_TRUE(registered);
    firstRun(false);
    {
        LogInUse between{name, false};
        between.agent.entityManager()->entityIs(relaunchPath, "Test::Note");
    }
    lose(logPath);
    auto const lines = logOf([](LogInUse& again) {
        EXPECT_EQ(again.agent.entityManager()->getEntity(relaunchPath)->typeName(), "Test::Note");
        EXPECT_FALSE(again.log->tableEntryLog()->control()->wiped());
    });
    EXPECT_EQ(lines, std::vector{lost("entryLog::Ipv4SystemPolicyTcamEntry")});
}

TEST_F(EntryLogWiped, AForeignFileInThePlaceOfACollectionIsALoss) {
    firstRun(true);
    std::filesystem::resize_file(testing_support::fileOf(name, configPath), 100);
    EXPECT_EQ(logOf(), std::vector{lost("entryCfg::Ipv4SystemPolicyTcamEntry")});
}

// Overwrites copies of the log's scratchpad, from the one of that number on.
void damageScratchpad(std::filesystem::path const& file, unsigned first, unsigned count) {
    std::fstream bytes{file, std::ios::in | std::ios::out | std::ios::binary};
    ASSERT_TRUE(bytes);
    bytes.seekp(static_cast<std::streamoff>(Slate::controlOffset +
                                            offsetof(Slate::ControlPage, scratch) +
                                            first * sizeof(Slate::ScratchCell)));
    std::string const noise(count * sizeof(Slate::ScratchCell), '\x5a');
    bytes.write(noise.data(), static_cast<std::streamsize>(noise.size()));
}

TEST_F(EntryLogWiped, ADamagedCopyOfTheVersionIsMadeGoodByTheOther) {
    firstRun(true);
    for (unsigned const copy : {0U, 1U}) {
        damageScratchpad(testing_support::fileOf(name, logPath), copy, 1);
        auto const lines = logOf([](LogInUse& again) {
            EXPECT_EQ(again.log->tableVersion(), 1U);
            EXPECT_EQ(again.changes().memberCount(), 1U);
        });
        EXPECT_TRUE(lines.empty());
        logOf([](LogInUse& again) { again.log->tableEntryLog()->control()->scratchpadIs(1); });
    }
}

TEST_F(EntryLogWiped, ALogWhoseVersionIsLostIsALoss) {
    firstRun(true);
    damageScratchpad(testing_support::fileOf(name, logPath), 0, 2);
    EXPECT_EQ(logOf(), std::vector{lost("entryLog::Ipv4SystemPolicyTcamEntry")});
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
