#include "EntryLogFixture.h"

#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <support/TemporaryRoot.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

// The agent in a process of its own: what others see of it meanwhile, and what stands when it is
// killed.
namespace LoamSystemAcl::entry_log_test {
namespace {

// A forked process. It is killed when this goes.
class Child {
  public:
    explicit Child(std::function<void()> const& work) : pid_{::fork()} {
        if (pid_ == 0) {
            try {
                work();
            } catch (std::exception const& failure) {
                fmt::print(stderr, "child: {}\n", failure.what());
                ::_exit(1);
            }
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        }
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child() { kill(); }

    pid_t pid() const { return pid_; }
    void kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }
    bool ended(int& status) {
        if (::waitpid(pid_, &status, WNOHANG) != pid_) {
            return false;
        }
        pid_ = 0;
        return true;
    }

  private:
    pid_t pid_;
};

// Memory that the child has in common with the test.
template <typename T>
class Common {
  public:
    Common()
        : at_{static_cast<T*>(::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_ANONYMOUS, -1, 0))} {}
    Common(Common const&) = delete;
    Common& operator=(Common const&) = delete;
    ~Common() { ::munmap(at_, sizeof(T)); }
    T* operator->() const { return at_; }

  private:
    T* at_;
};

// What another process can see of an agent.
class Reader {
  public:
    explicit Reader(Ombra::String const& name) : manager_{name, false} {}

    // False while the agent hasn't made its stores.
    bool open() {
        log_ = log_ ? log_ : mount<Family::EntryLogSlate>(Constants::tableEntryLogSlatePath());
        config_ = config_ ? config_ : mount<Family::ConfigSlate>(Constants::configSlatePath(0));
        announced_ =
            announced_
                ? announced_
                : mount<Asic::AnnouncementSlate>(Asic::Constants::announcementSlatePath(
                      testing_support::AgentInProcess::canonicalGroup(), Constants::tableId));
        return log_ && config_ && announced_;
    }

    LogVersion scratchpad() const { return log_->control()->scratchpad(); }
    LogVersion announced() const { return announced_->control()->scratchpad(); }
    std::optional<LogSlateEntry> logged(LogVersion version) const {
        bool found = false;
        LogSlateEntry const record = log_->entryLogConfig().lookup(version, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
    std::optional<ConfigSlateEntry> stored(Key key) const {
        bool found = false;
        ConfigSlateEntry const record = config_->swTableEntries().lookup(key, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
    Ombra::Ptr<Family::ConfigSlate> const& config() const { return config_; }

  private:
    template <typename T>
    Ombra::Ptr<T> mount(Ombra::String const& path) {
        auto const group = manager_.getMountGroup();
        group->mount(path, T::typeName, ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader});
        group->doClose();
        return Ombra::dynamicCast<T>(manager_.getEntity(path));
    }

    ZetSharedMem::EntityManager manager_;
    Ombra::Ptr<Family::EntryLogSlate> log_;
    Ombra::Ptr<Family::ConfigSlate> config_;
    Ombra::Ptr<Asic::AnnouncementSlate> announced_;
};

// An entry whose every byte follows from key and value, so that a mixture of two shows.
LogEntry patterned(Key key, unsigned value) {
    LogEntry entry{key};
    std::uint32_t word = key.number() * 2654435761U + value;
    for (std::byte& each : entry.fields()) {
        word = word * 1664525U + 1013904223U;
        each = std::byte(word >> 24);
    }
    std::memcpy(entry.fields().data(), &value, sizeof value);
    return entry;
}

bool whole(LogEntry const& entry) {
    unsigned value = 0;
    std::memcpy(&value, entry.fields().data(), sizeof value);
    return entry == patterned(entry.key(), value);
}

Ombra::String testName() {
    return testing::UnitTest::GetInstance()->current_test_info()->name();
}

// --- reading along

TEST(TwoProcesses, AReaderSeesWholeRecordsAndNeverAStoreBeforeTheOneThatGoesBeforeIt) {
    auto const name = testName();
    Child writer{[&] {
        testing_support::AgentInProcess agent{name, false};
        auto const table = agent.makeSwTable<Family>(0);
        for (unsigned step = 0; step < 20000; ++step) {
            Key const key{step % 37};
            if (step % 11 == 10) {
                table->entryRemove(key, nullptr);
            } else {
                table->entryWrite(key, Family::Entry{patterned(key, step)}, nullptr);
            }
            agent.resolve();
        }
    }};
    Reader reader{name};
    unsigned checked = 0;
    int status = 0;
    while (!writer.ended(status)) {
        if (!reader.open()) {
            continue;
        }
        LogVersion const announced = reader.announced();
        LogVersion const published = reader.scratchpad();
        ASSERT_GE(published, announced);
        if (announced == 0) {
            continue;
        }
        auto const change = reader.logged(published);
        ASSERT_TRUE(change) << "published, and not in the log: " << published;
        ASSERT_TRUE(whole(change->logEntry));
        auto const record = reader.stored(change->logEntry.key());
        ASSERT_TRUE(record) << "logged, and not in the configuration table: " << published;
        ASSERT_GE(record->logVersion(), published);
        ASSERT_TRUE(whole(record->logEntry()));
        ++checked;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_GT(checked, 100U);
    EXPECT_THROW(reader.config()->swTableEntriesIs(ConfigSlateEntry{}), Slate::ReadOnlyException);
}

TEST(TwoProcesses, ASecondAgentIsRefusedWhileTheFirstLives) {
    auto const name = testName();
    Common<std::atomic<bool>> up;
    Child first{[&] {
        LogInUse const agent{name, false};
        *up.operator->() = true;
        ::pause();
    }};
    while (!*up.operator->()) {
        std::this_thread::yield();
    }
    {
        testing_support::AgentInProcess second{name, false};
        try {
            second.tableIntf<Family>();
            FAIL() << "two agents write the same tables";
        } catch (ZetSharedMem::WriterExistsException const& refusal) {
            EXPECT_NE(refusal.msg().str().find(std::to_string(first.pid())), std::string::npos)
                << refusal.msg();
        }
    }
    first.kill();
    LogInUse const third{name, false};
    EXPECT_NE(third.log, nullptr);
}

// --- killed anywhere

struct Operation {
    std::uint32_t key;
    std::uint32_t value; // 0: removed
    LogVersion version;  // 0: changed nothing
};

struct Progress {
    std::atomic<std::uint32_t> committed;
    std::atomic<std::uint32_t> nextKey; // what is under way
    Operation operations[200000];
};

// Writes and removes without end, and notes what it has seen committed.
void writeOn(Ombra::String const& name, Progress& progress, std::uint32_t seed) {
    testing_support::AgentInProcess agent{name, false};
    agent.tableIntf<Family>();
    agent.intf()->restoredTablesSkipMarkIs(true);
    auto const table = agent.makeSwTable<Family>(0, false);
    for (std::uint32_t value = seed; progress.committed < std::size(progress.operations); ++value) {
        Key const key{value * 7919 % 211};
        bool const removes = value % 5 == 4;
        progress.nextKey = key.number();
        auto const handle =
            removes ? table->entryRemove(key, nullptr)
                    : table->entryWrite(key, Family::Entry{patterned(key, value)}, nullptr);
        agent.resolve();
        std::uint32_t const at = progress.committed;
        progress.operations[at] = {key.number(), removes ? 0 : value, handle->logVersion()};
        progress.committed = at + 1;
    }
}

// What the killed agent had seen committed against what stands.
void compare(LogInUse& again, Progress const& progress, std::map<Key, Operation>& model,
             LogVersion& last) {
    for (std::uint32_t at = 0; at < progress.committed; ++at) {
        Operation const& operation = progress.operations[at];
        if (operation.version == 0) {
            continue; // a remove of what was not there
        }
        ASSERT_EQ(operation.version, last + 1);
        last = operation.version;
        model[Key{operation.key}] = operation;
        auto const change = again.logged(operation.version);
        ASSERT_TRUE(change) << operation.version;
        EXPECT_EQ(change->logEntry.key(), Key{operation.key});
        EXPECT_EQ(change->logFlags == Asic::EntryFlags::flagEntryDeleted, operation.value == 0);
    }
    Key const underWay{progress.nextKey};
    for (auto const& [key, operation] : model) {
        auto const record = again.stored(key);
        ASSERT_TRUE(record) << key.number();
        ASSERT_TRUE(whole(record->logEntry()));
        if (record->logVersion() != operation.version) {
            EXPECT_EQ(key, underWay) << "only the operation under way may be half done";
            EXPECT_EQ(record->logVersion(), last + 1);
        } else {
            EXPECT_EQ(record->inDeletion(), operation.value == 0);
            if (operation.value != 0) {
                EXPECT_EQ(record->logEntry(), patterned(key, operation.value));
            }
        }
    }
}

TEST(TwoProcesses, AnAgentThatIsKilledWhileItWritesLosesNothingThatItSawCommitted) {
    auto const name = testName();
    std::map<Key, Operation> model;
    LogVersion last = 0;
    for (std::uint32_t round = 0; round < 6; ++round) {
        Common<Progress> progress;
        Child agent{[&] { writeOn(name, *progress.operator->(), 1 + round * 1000000); }};
        while (progress->committed < 300 + round * 137) {
            ASSERT_EQ(::kill(agent.pid(), 0), 0);
            std::this_thread::yield();
        }
        agent.kill();

        LogInUse again{name, false};
        again.log->mountSlateConfig(0, 0);
        compare(again, *progress.operator->(), model, last);
        ASSERT_FALSE(testing::Test::HasFatalFailure());

        LogVersion const resumed = again.log->tableVersion();
        EXPECT_TRUE(resumed == last || resumed == last + 1);
        EXPECT_EQ(again.scratchpad(), resumed);
        EXPECT_EQ(again.announced(), resumed);
        std::uint32_t const changes = again.changes().memberCount();
        EXPECT_TRUE(changes == resumed || changes == resumed + 1) << changes << " of " << resumed;

        // New writes work, and settle what was half done.
        Key const key{progress->nextKey};
        ASSERT_EQ(
            again.log->entryIs(patterned(key, 17), ResourceKeys{}, nullptr, 0, again.stats, false),
            resumed + 1);
        last = resumed + 1;
        model[key] = {key.number(), 17, last};
        EXPECT_EQ(again.changes().memberCount(), last);
    }
}

// --- killed between two stores

// What another process can tell of a change of key 1 from version 1 to version 2.
struct Seen {
    LogVersion configuration; // the version of the key's record
    bool log;                 // whether there is a log record of version 2
    LogVersion scratchpad;
    LogVersion announced;

    friend bool operator==(Seen const&, Seen const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Seen const& seen) {
        return out << "{" << seen.configuration << " " << seen.log << " " << seen.scratchpad << " "
                   << seen.announced << "}";
    }
};

// Single-steps a process from where it stops itself on. `look` is called after every instruction
// and says whether to go on.
void stepThrough(Child& child, std::function<bool()> const& look) {
    int status = 0;
    ASSERT_EQ(::waitpid(child.pid(), &status, 0), child.pid());
    ASSERT_TRUE(WIFSTOPPED(status)) << status;
    while (look()) {
        ASSERT_EQ(::ptrace(PTRACE_SINGLESTEP, child.pid(), nullptr, nullptr), 0);
        ASSERT_EQ(::waitpid(child.pid(), &status, 0), child.pid());
        if (WIFEXITED(status)) {
            return;
        }
        ASSERT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP) << status;
    }
}

void stopHere() {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
}

struct Change {
    char const* name;
    std::function<void(LogInUse&)> make; // of key 1, which stands at version 1
    Asic::EntryFlags flags;
};

Change const changes[] = {
    {"Write", [](LogInUse& agent) { agent.write(Key{1}, 9); }, Asic::EntryFlags::none},
    {"Delete", [](LogInUse& agent) { agent.remove(Key{1}); }, Asic::EntryFlags::flagEntryDeleted},
    {"TableDelete", [](LogInUse& agent) { agent.removeAll(); }, Asic::EntryFlags::flagTableDeleted},
};

class KilledBetweenStores : public testing::TestWithParam<Change> {
  public:
    KilledBetweenStores() : name{testName().str()} {
        std::replace(name.begin(), name.end(), '/', '-');
    }

    // Lets an agent make the change and kills it as soon as `last` is seen. Gives all that was
    // seen.
    std::vector<Seen> killAt(Seen const& last) {
        Child agent{[&] {
            LogInUse inUse{name, false};
            inUse.log->mountSlateConfig(0, 0);
            inUse.write(Key{1}, 1);
            stopHere();
            GetParam().make(inUse);
        }};
        std::vector<Seen> all;
        Reader reader{name};
        stepThrough(agent, [&] {
            EXPECT_TRUE(reader.open());
            Seen const now{reader.stored(Key{1})->logVersion(), reader.logged(2).has_value(),
                           reader.scratchpad(), reader.announced()};
            if (all.empty() || all.back() != now) {
                all.push_back(now);
            }
            return now != last;
        });
        return all;
    }

    std::string name;
    Seen const nothing{1, false, 1, 1};
    Seen const configuration{2, false, 1, 1};
    Seen const logToo{2, true, 1, 1};
    Seen const scratchpadToo{2, true, 2, 1};
    Seen const everything{2, true, 2, 2};
};

INSTANTIATE_TEST_SUITE_P(By, KilledBetweenStores, testing::ValuesIn(changes),
                         [](auto const& param) { return std::string{param.param.name}; });

TEST_P(KilledBetweenStores, TheStoresAreReachedInOrder) {
    EXPECT_EQ(killAt(everything),
              (std::vector{nothing, configuration, logToo, scratchpadToo, everything}));
}

TEST_P(KilledBetweenStores, AfterTheConfigurationTableTheRecordStandsAloneAboveTheScratchpad) {
    killAt(configuration);
    LogInUse again{name, false};
    again.log->mountSlateConfig(0, 0);
    EXPECT_EQ(again.log->tableVersion(), 1U);
    EXPECT_EQ(again.stored(Key{1})->logVersion(), 2U);
    EXPECT_FALSE(again.logged(2));
    EXPECT_EQ(again.announced(), 1U);
    EXPECT_EQ(again.write(Key{5}, 5), 2U);
}

TEST_P(KilledBetweenStores, AfterTheLogTheNextChangeTakesTheSameVersionAndReplacesTheRecord) {
    killAt(logToo);
    LogInUse again{name, false};
    again.log->mountSlateConfig(0, 0);
    EXPECT_EQ(again.log->tableVersion(), 1U);
    ASSERT_TRUE(again.logged(2));
    EXPECT_EQ(again.logged(2)->logFlags, GetParam().flags);
    EXPECT_EQ(again.write(Key{5}, 5), 2U);
    EXPECT_EQ(again.logged(2)->logEntry, logEntryOf(Key{5}, 5));
    EXPECT_EQ(again.logged(2)->logFlags, Asic::EntryFlags::none);
    EXPECT_EQ(again.changes().memberCount(), 2U);
}

TEST_P(KilledBetweenStores, AfterTheScratchpadOnlyTheGroupHasToBeTold) {
    killAt(scratchpadToo);
    LogInUse again{name, false};
    again.log->mountSlateConfig(0, 0);
    EXPECT_EQ(again.log->tableVersion(), 2U);
    EXPECT_EQ(again.stored(Key{1})->logVersion(), 2U);
    EXPECT_EQ(again.announced(), 2U) << "it is told at the start";
    EXPECT_EQ(again.write(Key{5}, 5), 3U);
}

TEST(KilledInATrim, BetweenItsTwoRemovalsTheEntryGoesAtTheNextMount) {
    auto const name = testName();
    {
        Child agent{[&] {
            LogInUse inUse{name, false};
            inUse.log->mountSlateConfig(0, 0);
            inUse.write(Key{1}, 1);
            inUse.remove(Key{1});
            inUse.write(Key{2}, 2);
            inUse.agent.appliedIs(Constants::tableId, 2);
            inUse.log->cleanupEntryLog(1);
            stopHere();
            inUse.log->cleanupEntryLog(2);
        }};
        std::vector<std::pair<bool, bool>> all; // log record, entry
        Reader reader{name};
        stepThrough(agent, [&] {
            EXPECT_TRUE(reader.open());
            std::pair const now{reader.logged(2).has_value(), reader.stored(Key{1}).has_value()};
            if (all.empty() || all.back() != now) {
                all.push_back(now);
            }
            return now != std::pair{false, true};
        });
        EXPECT_EQ(all, (std::vector<std::pair<bool, bool>>{{true, true}, {false, true}}));
    }
    LogInUse again{name, false};
    auto const table = again.intf->makeSwTable(0, nullptr, false);
    EXPECT_FALSE(again.stored(Key{1}));
    EXPECT_EQ(table->entrys(), 1U);
    EXPECT_EQ(again.log->tableVersion(), 3U);
    EXPECT_TRUE(again.intf->swTableStatus()->pendingHwWrites());
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
