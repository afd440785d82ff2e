#include "EntryLogFixture.h"

#include <Asic/GenId.h>
#include <Burrow/Entry.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionLogSlate.h>
#include <Orbis/Entity.h>
#include <OrderedTable/CheckAndwriteMountSlate.h>
#include <Slate/Layout.h>
#include <Zet/Log.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <support/TemporaryRoot.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

testing::Environment* const temporaryRoot =
    testing::AddGlobalTestEnvironment(new testing_support::TemporaryRoot);

// A variable of the environment, for as long as it lives.
class Environment {
  public:
    Environment(char const* name, char const* value) : name_{name} { ::setenv(name, value, 1); }
    Environment(Environment const&) = delete;
    Environment& operator=(Environment const&) = delete;
    ~Environment() { ::unsetenv(name_); }

  private:
    char const* name_;
};

bool onDisk(Ombra::String const& manager, Ombra::String const& path) {
    return std::filesystem::exists(testing_support::fileOf(manager, path));
}

class EntryLogMount : public EntryLogTest {};
using EntryLogMountDeathTest = EntryLogMount;

// --- the change log

TEST_F(EntryLogMount, AFirstStartFindsAnEmptyLogAndTheFirstChangeGetsVersionOne) {
    EXPECT_EQ(log->tableVersion(), 0U);
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_FALSE(log->tableEntryLog()->control()->wiped());
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(write(Key{1}, 1), 1U);
}

TEST_F(EntryLogMount, TheLogHoldsAMillionRecordsAndAConfigurationTable65536) {
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(changes().capacity(), 1000000U);
    EXPECT_EQ(config().capacity(), 65536U);
}

TEST_F(EntryLogMount, TheVersionComesBackFromTheScratchpad) {
    log->tableEntryLog()->control()->scratchpadIs(0x1'0000'0001);
    TraceCapture const trace{logHandle};
    restart();
    EXPECT_EQ(log->tableVersion(), 0x1'0000'0001U);
    EXPECT_TRUE(trace.has(2, " Mounted entryLog: LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                             "Ipv4SystemPolicyTcamEntry/entryLog, tableVersion: 4294967297"));
}

// --- the configuration tables

TEST_F(EntryLogMount, TracesTheUnitTheVersionAndThePath) {
    TraceCapture const trace{logHandle};
    log->mountSlateConfig(3, 12);
    EXPECT_EQ(trace.lines,
              (std::vector<TraceCapture::Line>{
                  {logHandle, 8, logHandle, "mountSlateConfig", " unitId:3, logVersion: 12"},
                  {logHandle, 2, logHandle, "mountSlateConfig",
                   " Mounted config for unitId: 3 at LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                   "Ipv4SystemPolicyTcamEntry/config/3"}}));
}

TEST_F(EntryLogMount, EachUnitHasATableOfItsOwn) {
    log->mountSlateConfig(0, 0);
    log->mountSlateConfig(1, 0);
    log->mountSlateConfig(0xfffe, 0);
    write(Key{1}, 1, false, 1);
    EXPECT_EQ(config(0).memberCount(), 0U);
    EXPECT_EQ(config(1).memberCount(), 1U);
    EXPECT_EQ(config(0xfffe).memberCount(), 0U);
}

TEST_F(EntryLogMount, VersionZeroPurgesNothing) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    remove(Key{1});
    storedIs(ConfigSlateEntry{logEntryOf(Key{2}, 1), ResourceKeys{}, 0, true});
    restart();
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(config().memberCount(), 2U);
}

struct Purge {
    char const* name;
    LogVersion recordVersion;
    bool inDeletion;
    LogVersion acknowledged;
    bool stays;
};

class EntryLogPurge : public EntryLogTest, public testing::WithParamInterface<Purge> {};

TEST_P(EntryLogPurge, TakesTheDeletedRecordsThatAreNotAboveTheVersion) {
    Purge const& row = GetParam();
    log->mountSlateConfig(0, 0);
    storedIs(
        ConfigSlateEntry{logEntryOf(Key{1}, 1), ResourceKeys{}, row.recordVersion, row.inDeletion});
    restart();
    log->mountSlateConfig(0, row.acknowledged);
    EXPECT_EQ(stored(Key{1}).has_value(), row.stays);
}

INSTANTIATE_TEST_SUITE_P(Of, EntryLogPurge,
                         testing::Values(Purge{"ADeletionAtTheVersion", 5, true, 5, false},
                                         Purge{"ADeletionBelowTheVersion", 4, true, 5, false},
                                         Purge{"ADeletionAboveTheVersion", 6, true, 5, true},
                                         Purge{"ALiveRecordAtTheVersion", 5, false, 5, true},
                                         Purge{"ALiveRecordBelowTheVersion", 1, false, 5, true},
                                         Purge{"ADeletionFarBelowAVersionOfMoreThan32Bits", 5, true,
                                               0x1'0000'0000, false},
                                         Purge{"ADeletionOfMoreThan32BitsAboveTheVersion",
                                               0x1'0000'0005, true, 5, true}),
                         [](auto const& param) { return std::string{param.param.name}; });

TEST_F(EntryLogMount, ThePurgeFindsEveryDeletionAmongLiveRecords) {
    log->mountSlateConfig(0, 0);
    for (unsigned number = 0; number < 1000; ++number) {
        write(Key{number}, 1);
    }
    for (unsigned number = 0; number < 1000; number += 3) {
        remove(Key{number});
    }
    restart();
    log->mountSlateConfig(0, ~LogVersion{0});
    EXPECT_EQ(config().memberCount(), 666U);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
}

TEST_F(EntryLogMount, ASecondMountOfAUnitKeepsItsTableAndPurgesAgain) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    write(Key{2}, 1);
    remove(Key{1});
    log->mountSlateConfig(0, 3);
    EXPECT_FALSE(stored(Key{1}));
    EXPECT_TRUE(stored(Key{2}));
}

TEST_F(EntryLogMount, ARecordLeftByATrimThatWasCutShortGoesAtTheNextMount) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    remove(Key{1});
    log->tableEntryLog()->entryLogConfigDel(1);
    log->tableEntryLog()->entryLogConfigDel(2); // the trim dies here
    agent.appliedIs(Constants::tableId, 2);
    restart();
    auto const table = intf->makeSwTable(0, nullptr, false);
    EXPECT_EQ(config().memberCount(), 0U);
}

TEST_F(EntryLogMountDeathTest, AnEntityOfAnotherClassAtTheConfigurationPathStopsTheProcess) {
    ZetSlate::MountInfo info{ZetSlate::ZetSlateType::writer};
    info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
    auto const group = agent.sharedMem()->getMountGroup();
    group->mount(Constants::configSlatePath(0), Ipv4SystemPolicyTcamActionConfigSlate::typeName,
                 info);
    group->doClose();
    EXPECT_DEATH(log->mountSlateConfig(0, 0), "cfgSlate");
}

// --- the mount itself

class CheckAndwriteMount : public EntryLogTest {
  public:
    using Slate = Family::ConfigSlate;

    Slate::Ptr mount(
        Ombra::String const& typeName, std::function<void()> const& onWiped = [] {}) {
        return Asic::checkAndwriteMountSlate<Slate>(
            agent.entityManager(), typeName, path, "LoamSystemAcl",
            [](ZetSlate::MountInfo& info) {
                info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
            },
            [this](Slate::Ptr& slate) {
                return slate ? slate->control() : log->tableEntryLog()->control();
            },
            onWiped);
    }

    Ombra::String const path = Constants::configSlatePath(8);
};

TEST_F(CheckAndwriteMount, GivesTheEntityThatItMounted) {
    auto const slate = mount(Slate::typeName);
    ASSERT_NE(slate, nullptr);
    EXPECT_EQ(slate, agent.sharedMem()->getEntity(path));
    EXPECT_EQ(mount(Slate::typeName), slate);
}

TEST_F(CheckAndwriteMount, GivesNullForAnEntityOfAnotherClassWhenTheControlIsHadElsewhere) {
    EXPECT_EQ(mount(Ipv4SystemPolicyTcamActionConfigSlate::typeName), nullptr);
}

TEST_F(CheckAndwriteMount, IsCalledWithTheNumberOfTheWriter) {
    unsigned calls = 0;
    Asic::checkAndwriteMountSlate<Slate>(
        agent.entityManager(), Slate::typeName, path, "LoamSystemAcl",
        [&](ZetSlate::MountInfo& info) {
            ++calls;
            EXPECT_EQ(static_cast<int>(info.type()), 0);
            EXPECT_TRUE(info.collections().empty());
            info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
        },
        [](Slate::Ptr& slate) { return slate->control(); }, [] {});
    EXPECT_EQ(calls, 1U);
}

TEST_F(CheckAndwriteMount, AMissingCallableIsABadFunctionCall) {
    EXPECT_THROW(Asic::checkAndwriteMountSlate<Slate>(agent.entityManager(), Slate::typeName, path,
                                                      "LoamSystemAcl", {}, {}, {}),
                 std::bad_function_call);
}

TEST_F(CheckAndwriteMount, AnUnwipedCollectionCallsNobody) {
    mount(Slate::typeName, [] { ADD_FAILURE() << "nothing was lost"; });
}

// --- which manager

TEST(EntryLogManager, TheLocalFlagGoesThroughAsItIs) {
    {
        LogInUse const local{"mount-local", true};
        EXPECT_TRUE(local.agent.sharedMem()->local());
        EXPECT_FALSE(onDisk("mount-local", Constants::tableEntryLogSlatePath()));
    }
    LogInUse const files{"mount-files", false};
    EXPECT_FALSE(files.agent.sharedMem()->local());
    EXPECT_TRUE(onDisk("mount-files", Constants::tableEntryLogSlatePath()));
}

TEST(EntryLogManager, NotLocalEmOverridesTheLocalFlagWhateverItsValue) {
    for (char const* const value : {"", "0", "1"}) {
        Ombra::String const name = fmt::format("mount-not-local-{}", value);
        Environment const notLocal{"NOT_LOCAL_EM", value};
        LogInUse local{name, true};
        local.log->mountSlateConfig(0, 0);
        EXPECT_FALSE(local.agent.sharedMem()->local());
        EXPECT_TRUE(onDisk(name, Constants::tableEntryLogSlatePath()));
        EXPECT_TRUE(onDisk(name, Constants::configSlatePath(0)));
    }
}

// --- a lost collection

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

// --- the alignment of buffers

constexpr char const* alignmentOverride = "BURROW_BUFFER_ALIGNMENT_OVERRIDE";

TEST(BufferAlignment, IsEightByDefaultAndSetWhenTheTablesAreLoaded) {
    ::unsetenv(alignmentOverride);
    EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U);
    EXPECT_EQ(Burrow::Entry::runtimeBufferAlignment(), 8U);
    EXPECT_EQ(Burrow::Entry::BUFFER_ALIGNMENT, 8U);
}

TEST(BufferAlignment, IsEightForAnOverrideOfEightOrOfWhatReadsAsZero) {
    for (char const* const value : {"8", "0", "", "text", "0x10", "8text", " 8"}) {
        Environment const override{alignmentOverride, value};
        EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U) << value;
    }
}

TEST(BufferAlignment, IsComputedOnce) {
    Burrow::Entry::runtimeBufferAlignment();
    Environment const override{alignmentOverride, "16"};
    EXPECT_EQ(Burrow::Entry::runtimeBufferAlignment(), 8U);
}

TEST(BufferAlignmentDeathTest, AnotherNumberStopsTheProcess) {
    for (char const* const value : {"16", "4", "-8", "1text"}) {
        Environment const override{alignmentOverride, value};
        EXPECT_DEATH(Burrow::Entry::calculateRuntimeBufferAlignment(),
                     fmt::format("Unsupported buffer alignment override value: {}",
                                 std::strtol(value, nullptr, 10)));
    }
}

// Runs this program to the listing of its tests; gives its status and what it says on stderr.
std::pair<int, std::string> loadThisProgram(char const* alignment) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    pid_t const child = ::fork();
    if (child == 0) {
        ::setenv(alignmentOverride, alignment, 1);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(STDOUT_FILENO);
        ::execl("/proc/self/exe", "/proc/self/exe", "--gtest_list_tests", nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    std::string said;
    std::array<char, 1024> buffer{};
    for (ssize_t bytes = 0; (bytes = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
        said.append(buffer.data(), static_cast<std::size_t>(bytes));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return {status, said};
}

TEST(BufferAlignment, ABadOverrideStopsTheProcessWhenTheTablesAreLoaded) {
    auto const [status, said] = loadThisProgram("16");
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_NE(said.find("Unsupported buffer alignment override value: 16"), std::string::npos)
        << said;
}

TEST(BufferAlignment, AnOverrideOfEightLetsTheTablesBeLoaded) {
    auto const [status, said] = loadThisProgram("8");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << said;
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
