#include "TwoProcess.h"

#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>

// The agent in a process of its own: what others see of it meanwhile, and what stands when it is
// killed anywhere.
namespace LoamSystemAcl::entry_log_test {
namespace {

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

} // namespace
} // namespace LoamSystemAcl::entry_log_test
