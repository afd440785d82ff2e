#include "EntryLogFixture.h"

#include <map>
#include <memory>
#include <vector>

// Counters of a table that begin near the end of their lower 32 bits: the versions of its log,
// which go on above, and the numbers of its queue of handles, which begin again at 0.
namespace LoamSystemAcl::entry_log_test {
namespace {

using EntryState = Asic::SwTableBase::EntryState;
constexpr LogVersion boundary = LogVersion{1} << 32;

class VersionWrap : public EntryLogTest {
  protected:
    void beginAt(LogVersion version) {
        log->tableEntryLog()->control()->scratchpadIs(version);
        agent.appliedIs(Constants::tableId, version);
        restart();
        again();
    }
    void again() {
        table = nullptr;
        agent.intf()->restoredTablesSkipMarkIs(true);
        table = intf->makeSwTable(0, nullptr, false);
    }
    void writeAndCommit(Key key, unsigned value) {
        handle = table->entryWrite(key, Family::Entry{logEntryOf(key, value)}, nullptr);
        agent.resolve();
    }

    Ombra::Ptr<Family::SwTable> table;
    Ombra::Ptr<Family::SwTable::EntryHandle const> handle;
};

TEST_F(VersionWrap, AChangeBehindTheBoundaryIsLoggedReadAndApplied) {
    beginAt(boundary - 3);
    for (unsigned step = 1; step <= 6; ++step) {
        writeAndCommit(Key{step}, step);
        LogVersion const version = boundary - 3 + step;
        EXPECT_EQ(handle->logVersion(), version);
        EXPECT_EQ(handle->entryState(), EntryState::entryInLog);
        EXPECT_EQ(scratchpad(), version);
        EXPECT_EQ(announced(), version);
        ASSERT_TRUE(logged(version));
        EXPECT_EQ(valueOf(logged(version)->logEntry), step);
    }
    agent.acknowledge(Constants::tableId, boundary - 1);
    EXPECT_EQ(handle->entryState(), EntryState::entryInLog);
    EXPECT_FALSE(logged(boundary - 1));
    EXPECT_TRUE(logged(boundary));
    agent.acknowledge(Constants::tableId, boundary + 3);
    EXPECT_EQ(handle->entryState(), EntryState::entryApplied);
    EXPECT_EQ(changes().memberCount(), 0U);
}

// Behind each change the agent dies, and the next one comes up with what is there.
TEST_F(VersionWrap, RestartsOnTheWayLoseNothing) {
    beginAt(boundary - 10);
    std::map<unsigned, unsigned> stands;
    for (unsigned step = 1; step <= 20; ++step) {
        LogVersion const version = boundary - 10 + step;
        unsigned const key = step % 7;
        if (step % 5 == 0 && stands.contains(key)) {
            table->entryRemove(Key{key}, nullptr);
            agent.resolve();
            stands.erase(key);
        } else {
            writeAndCommit(Key{key}, step);
            stands[key] = step;
        }
        if (step % 3 == 0) {
            agent.appliedIs(Constants::tableId, version - 1);
        }
        table = nullptr;
        handle = nullptr;
        restart();
        again();
        EXPECT_EQ(log->tableVersion(), version);
        for (unsigned each = 0; each < 7; ++each) {
            auto const found = stands.find(each);
            EXPECT_EQ(table->entryHas(Key{each}), found != stands.end()) << each;
            if (found != stands.end()) {
                EXPECT_EQ(valueOf(stored(Key{each})->logEntry()), found->second);
            }
        }
    }
}

TEST_F(VersionWrap, ARemoveAllAndItsTrimGoAcrossTheBoundary) {
    beginAt(boundary - 2);
    writeAndCommit(Key{1}, 1); // boundary - 1
    table->entryRemoveAll(nullptr);
    agent.resolve();           // the boundary itself
    writeAndCommit(Key{2}, 2); // and the one behind it
    EXPECT_EQ(log->tableVersion(), boundary + 1);
    EXPECT_FALSE(table->entryHas(Key{1}));
    agent.acknowledge(Constants::tableId, boundary + 1);
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_FALSE(stored(Key{1})) << "trimmed past its delete";
    EXPECT_TRUE(stored(Key{2}));
}

// A table's queue has 32-bit numbers: four thousand million operations of one agent.
// The library counts blocks of such queues, as this program does, each on its own: the library has
// to have counted one before it frees one that was made here.
TEST_F(VersionWrap, TheQueueOfHandlesGoesOnFromZero) {
    beginAt(5);
    writeAndCommit(Key{1}, 1);
    agent.acknowledge(Constants::tableId, 6);
    beginAt(10);
    auto& queue = const_cast<Family::SwTable::EntryHandleInLog&>(table->entryHandleInLogQueue());
    std::destroy_at(&queue);
    std::construct_at(&queue, 0xfffffffdU);
    std::vector<Ombra::Ptr<Family::SwTable::EntryHandle const>> handles;
    for (unsigned step = 0; step < 6; ++step) {
        writeAndCommit(Key{step}, step);
        handles.push_back(handle);
    }
    EXPECT_TRUE(table->entryHandleInLogHas(0xfffffffdU));
    EXPECT_TRUE(table->entryHandleInLogHas(2));
    EXPECT_FALSE(table->entryHandleInLogHas(3));
    EXPECT_EQ(table->entryHandleInLog(0), handles[3]);
    for (unsigned applied = 1; applied <= 6; ++applied) {
        agent.acknowledge(Constants::tableId, 10 + applied);
        for (unsigned step = 0; step < 6; ++step) {
            EXPECT_EQ(handles[step]->entryState(),
                      step < applied ? EntryState::entryApplied : EntryState::entryInLog)
                << step << " of " << applied;
        }
    }
    EXPECT_TRUE(queue.empty());
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
