#include "TwoProcess.h"

#include <atomic>
#include <memory>
#include <support/CommonMapping.h>
#include <thread>
#include <vector>

// Readers of the tables in threads beside the agent, all through one mapping of each file: what the
// thread sanitizer needs to see them.
namespace LoamSystemAcl::entry_log_test {
namespace {

// As the hardware side reads: what is published, its change, its record; and the whole table.
void lookOn(Reader& reader) {
    LogVersion const announced = reader.announced();
    LogVersion const published = reader.scratchpad();
    ASSERT_GE(published, announced);
    auto const change = reader.logged(published); // it may be trimmed already
    if (change && !Asic::flagHas(change->logFlags, Asic::EntryFlags::flagTableDeleted)) {
        ASSERT_TRUE(whole(change->logEntry));
        auto const record = reader.stored(change->logEntry.key());
        ASSERT_TRUE(!record || whole(record->logEntry()));
    }
    auto& map = reader.config()->swTableEntries();
    ConfigSlateEntry record;
    for (bool more = map.iterFirst(&record, nullptr); more;
         more = map.iterNext(record.key(), &record, nullptr)) {
        ASSERT_TRUE(whole(record.logEntry()));
    }
}

TEST(ReaderThreads, SeeWholeRecordsBesideAnAgentThatWritesRemovesAndTrims) {
    testing_support::CommonMapping const common;
    auto const name = testName();
    testing_support::AgentInProcess agent{name, false};
    auto const table = agent.makeSwTable<Family>(0);
    agent.tableVersionMap();

    constexpr unsigned readerCount = 3;
    std::vector<std::unique_ptr<Reader>> readers;
    for (unsigned index = 0; index < readerCount; ++index) {
        readers.push_back(std::make_unique<Reader>(name));
        ASSERT_TRUE(readers.back()->open());
    }
    ASSERT_GE(common.shared(), 3 * readerCount);

    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    std::atomic<unsigned> looks{0};
    for (auto const& reader : readers) {
        threads.emplace_back([&stop, &looks, &reader] {
            while (!stop && !testing::Test::HasFailure()) {
                lookOn(*reader);
                ++looks;
            }
        });
    }
    for (unsigned step = 0; step < 3000 || looks < 300; ++step) {
        Key const key{step % 37};
        if (step % 11 == 10) {
            table->entryRemove(key, nullptr);
        } else {
            table->entryWrite(key, Family::Entry{patterned(key, step)}, nullptr);
        }
        if (step % 500 == 499) {
            table->entryRemoveAll(nullptr);
        }
        agent.resolve();
        if (step % 8 == 7) {
            agent.acknowledge(Family::Constants::tableId,
                              agent.tableIntf<Family>()->entryLog()->tableVersion());
        }
        if (testing::Test::HasFailure()) {
            break;
        }
    }
    stop = true;
    for (auto& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
