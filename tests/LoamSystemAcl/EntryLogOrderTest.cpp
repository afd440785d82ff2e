#include "FakeEntryLog.h"

#include <stdexcept>
#include <string>
#include <vector>

// In which order the entry log reaches its stores, and what stands when one of them refuses.
namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogOrder : public testing::Test {
  public:
    LogVersion write(Key key, unsigned value, bool suppress = false) {
        return accessor.entryIs(logEntryOf(key, value), ResourceKeys{}, nullptr, 0, stats,
                                suppress);
    }

    // Lets the next call of that name raise, before it has done anything.
    void refuse(std::string const& call) {
        log.calls.probe = [call](std::string const& name) {
            if (name == call) {
                throw std::runtime_error{"refused"};
            }
        };
    }

    FakeEntryLog log;
    Asic::EntryLogAccessor<FakeEntryLog> accessor{&log};
    Ombra::Ptr<Asic::SwTableStats> stats = Ombra::ptrIs<Asic::SwTableStats>();
};

using Names = std::vector<std::string>;

TEST_F(EntryLogOrder, AWriteStoresConfigurationThenLogThenScratchpadThenTellsTheGroup) {
    write(Key{1}, 1);
    EXPECT_EQ(log.calls.names, (Names{"tableVersionInc", "config.is", "log.is", "scratchpad.is",
                                      "group.addLogEntry"}));
}

TEST_F(EntryLogOrder, SuppressionReadsOnceBeforeAVersionIsTaken) {
    log.storedIs(Key{1}, 1, 1);
    write(Key{1}, 1, true);
    EXPECT_EQ(log.calls.names, Names{"config.lookup"});
    log.calls.names.clear();
    write(Key{1}, 2, true);
    EXPECT_EQ(log.calls.names, (Names{"config.lookup", "tableVersionInc", "config.is", "log.is",
                                      "scratchpad.is", "group.addLogEntry"}));
}

TEST_F(EntryLogOrder, ASuppressedWriteIsCountedAndThenToldADifferingOneToldAndThenCounted) {
    log.storedIs(Key{1}, 1, 1);
    std::vector<std::uint64_t> counted; // both counters, when a decision is told
    auto former = Ombra::traceSinkIs([&](auto const&) {
        counted.push_back(stats->suppressedWriteCnt());
        counted.push_back(stats->suppressCheckDiffCnt());
    });
    Zet::TraceHandle::levelsIs("FakeEntryLog", 1U << 3);
    write(Key{1}, 1, true);
    write(Key{1}, 2, true);
    Zet::TraceHandle::levelsIs("FakeEntryLog", 0);
    Ombra::traceSinkIs(std::move(former));
    EXPECT_EQ(counted, (std::vector<std::uint64_t>{1, 0, 1, 0}));
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 1U);
}

TEST_F(EntryLogOrder, ADeleteAsksReadsAndThenStoresInTheSameOrder) {
    log.storedIs(Key{1}, 1, 1);
    accessor.entryDel(Key{1}, nullptr, 0);
    EXPECT_EQ(log.calls.names,
              (Names{"config.lookup", "tableVersionInc", "config.lookup", "config.is", "log.is",
                     "scratchpad.is", "group.addLogEntry"}));
}

TEST_F(EntryLogOrder, ATableDeleteMarksEachRecordAndThenLogsOnce) {
    log.storedIs(Key{1}, 1, 1);
    log.storedIs(Key{2}, 1, 2, true);
    log.storedIs(Key{3}, 1, 3);
    accessor.tableDel(nullptr, 0);
    EXPECT_EQ(log.calls.names,
              (Names{"tableVersionInc", "config.iterFirst", "config.lookup", "config.is",
                     "config.iterNext", "config.iterNext", "config.lookup", "config.is",
                     "config.iterNext", "log.is", "scratchpad.is", "group.addLogEntry"}));
    EXPECT_EQ(log.group.told, std::vector<LogVersion>{4});
}

TEST_F(EntryLogOrder, AStoreThatRefusesEndsTheChangeAndTheExceptionPasses) {
    for (char const* const store : {"config.is", "log.is", "scratchpad.is", "group.addLogEntry"}) {
        log.calls.names.clear();
        refuse(store);
        EXPECT_THROW(write(Key{1}, 1), std::runtime_error) << store;
        EXPECT_EQ(log.calls.names.back(), store);
    }
}

TEST_F(EntryLogOrder, ARefusedLogLeavesTheConfigurationRecordAndNothingElse) {
    refuse("log.is");
    EXPECT_THROW(write(Key{1}, 1), std::runtime_error);
    EXPECT_EQ(log.config.map.records.size(), 1U);
    EXPECT_TRUE(log.log.map.records.empty());
    EXPECT_EQ(log.log.controlOf.word, 0U);
    EXPECT_TRUE(log.group.told.empty());
}

TEST_F(EntryLogOrder, ATrimRemovesTheLogRecordBeforeTheEntryThatItMarked) {
    log.storedIs(Key{1}, 1, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.cleaned = 3;
    accessor.cleanupEntryLog(3);
    EXPECT_EQ(log.calls.names,
              (Names{"log.lookup", "log.lookup", "log.del", "config.lookup", "config.del"}));
}

TEST_F(EntryLogOrder, TheFirstTrimWalksToTheEndAndRemovesTheLogRecordFirstToo) {
    log.storedIs(Key{1}, 1, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.loggedIs(9, Asic::EntryFlags::none, Key{2});
    accessor.cleanupEntryLog(3);
    EXPECT_EQ(log.calls.names, (Names{"log.iterFirst", "log.del", "config.lookup", "config.del",
                                      "log.iterNext", "log.iterNext"}));
}

TEST_F(EntryLogOrder, SteppingOverAVersionThatIsNotThereCostsOneRead) {
    log.version = 5;
    log.cleaned = 5;
    accessor.cleanupEntryLog(5);
    EXPECT_EQ(log.calls.names, Names{"log.lookup"});
}

TEST_F(EntryLogOrder, ATrimThatFailsLeavesTheCleanedVersion) {
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    for (char const* const call : {"log.del", "config.lookup"}) {
        log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
        log.cleaned = 2;
        refuse(call);
        EXPECT_THROW(accessor.cleanupEntryLog(3), std::runtime_error) << call;
        EXPECT_EQ(log.cleaned, 2U) << call;
    }
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
