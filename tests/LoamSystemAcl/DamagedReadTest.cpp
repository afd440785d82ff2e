#include "FakeEntryLog.h"

#include <OrderedTable/SlateRead.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

// Each kind of read, with damage that comes and goes.
namespace LoamSystemAcl::entry_log_test {
namespace {

class DamagedRead : public testing::Test {
  public:
    // Lets the `which`th call of that name find damage, or raise something else.
    void damageAt(std::string const& call, std::size_t which) {
        raiseAt(call, which, [] { throw Ombra::CorruptionDetectedException{"a damaged slot"}; });
    }
    void failAt(std::string const& call, std::size_t which) {
        raiseAt(call, which, [] { throw std::runtime_error{"not a damage"}; });
    }
    void raiseAt(std::string const& call, std::size_t which, std::function<void()> const& raise) {
        log.calls.names.clear();
        log.calls.probe = [this, call, which, raise](std::string const& name) {
            if (name == call && log.calls.count(call) == which) {
                raise();
            }
        };
    }

    FakeEntryLog log;
    Asic::EntryLogAccessor<FakeEntryLog> accessor{&log};
    Asic::EntryLogAccessor<FakeEntryLog const> query{&log};
    Ombra::Ptr<Asic::SwTableStats> stats = Ombra::ptrIs<Asic::SwTableStats>();
    std::vector<std::string> const oneReport{"a damaged slot"};
};
using DamagedReadDeathTest = DamagedRead;

TEST_F(DamagedRead, ALookupForTheRecordFallsBackToTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_EQ(OrderedTable::recordOf(log.config.map, Key{1}).logVersion(), 0U);
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedRead, ALookupForTheFoundFlagAloneKeepsWhatTheLookupLeft) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_FALSE(OrderedTable::recordHas(log.config.map, Key{1}));
    EXPECT_EQ(log.config.map.reported, oneReport);
    EXPECT_TRUE(OrderedTable::recordHas(log.config.map, Key{1}));
}

TEST_F(DamagedRead, AFirstStepGivesAnEmptyWalk) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.iterFirst", 1);
    EXPECT_FALSE(OrderedTable::SlateWalk{log.config.map}.valid());
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedRead, ALaterStepEndsTheWalk) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    log.storedIs(Key{3}, 7, 5);
    damageAt("config.iterNext", 2);
    std::vector<std::uint32_t> seen;
    for (OrderedTable::SlateWalk walk{log.config.map}; walk.valid(); walk.next()) {
        seen.push_back(walk.record().key().number());
    }
    EXPECT_EQ(seen, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedReadDeathTest, AWalkThatHasEndedIsNeitherReadNorStepped) {
    OrderedTable::SlateWalk walk{log.config.map};
    ASSERT_FALSE(walk.valid());
    EXPECT_DEATH(walk.record(), "iter_");
    EXPECT_DEATH(walk.next(), "iter_");
}

TEST_F(DamagedRead, AnotherExceptionOutOfALookupOrAFirstStepPasses) {
    log.storedIs(Key{1}, 7, 3);
    failAt("config.lookup", 1);
    EXPECT_THROW(query.entry(Key{1}, 0), std::runtime_error);
    failAt("config.lookup", 1);
    EXPECT_THROW(query.entryHas(Key{1}, 0), std::runtime_error);
    failAt("config.iterFirst", 1);
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
    failAt("config.lookup", 1);
    EXPECT_THROW(accessor.entryDel(Key{1}, nullptr, 0), std::runtime_error);
    EXPECT_TRUE(log.config.map.reported.empty());
}

TEST_F(DamagedReadDeathTest, AnotherExceptionOutOfALaterStepEndsTheProcess) {
    log.storedIs(Key{1}, 7, 3);
    failAt("config.iterNext", 1);
    EXPECT_DEATH(query.entrysInDeletion(0), "");
    EXPECT_DEATH(accessor.tableDel(nullptr, 0), "");
    log.loggedIs(4, Asic::EntryFlags::none, Key{1});
    failAt("log.iterNext", 1);
    EXPECT_DEATH(accessor.cleanupEntryLog(1), "");
}

TEST_F(DamagedRead, WhatTheReportRaisesPasses) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    auto const raiseAtTheReport = [this](std::string const& read) {
        log.calls.names.clear();
        log.calls.probe = [read](std::string const& name) {
            if (name == read) {
                throw Ombra::CorruptionDetectedException{"damage"};
            }
            if (name == "config.doCorruptionDetected") {
                throw std::runtime_error{"the report failed"};
            }
        };
    };
    raiseAtTheReport("config.lookup");
    EXPECT_THROW(query.entry(Key{1}, 0), std::runtime_error);
    raiseAtTheReport("config.iterFirst");
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
    raiseAtTheReport("config.iterNext");
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
}

TEST_F(DamagedRead, AKeyWhoseSecondReadFindsDamageCountsAsThere) {
    log.storedIs(Key{1}, 7, 3, true);
    EXPECT_FALSE(query.entryHas(Key{1}, 0));
    damageAt("config.lookup", 2);
    EXPECT_TRUE(query.entryHas(Key{1}, 0));
}

TEST_F(DamagedRead, ADeleteWhoseSecondReadFindsDamageMarksTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 2);
    EXPECT_EQ(accessor.entryDel(Key{1}, nullptr, 0), 4U);
    EXPECT_FALSE(log.config.map.records.at(Key{1}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{0}).inDeletion());
    EXPECT_EQ(log.log.map.records.at(4).logEntry, LogEntry{});
    EXPECT_EQ(log.log.controlOf.word, 4U);
}

TEST_F(DamagedRead, ATableDeleteWhoseReadOfARecordFindsDamageMarksTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    damageAt("config.lookup", 1);
    EXPECT_EQ(accessor.tableDel(nullptr, 0), 5U);
    EXPECT_FALSE(log.config.map.records.at(Key{1}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{2}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{0}).inDeletion());
}

TEST_F(DamagedRead, ASuppressedWriteTakesADamagedRecordForNone) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_EQ(accessor.entryIs(logEntryOf(Key{1}, 7), ResourceKeys{}, nullptr, 0, stats, true), 4U);
    EXPECT_EQ(stats->suppressedWriteCnt() + stats->suppressCheckDiffCnt(), 0U);
}

TEST_F(DamagedRead, ALogRecordWhoseSecondReadFindsDamageIsRemovedAndNotApplied) {
    log.storedIs(Key{1}, 7, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.cleaned = 3;
    damageAt("log.lookup", 2);
    accessor.cleanupEntryLog(3);
    EXPECT_TRUE(log.log.map.records.empty());
    EXPECT_EQ(log.config.map.records.size(), 1U);
    EXPECT_EQ(log.cleaned, 3U);
}

TEST_F(DamagedRead, ADamagedEntryStaysWhenItsDeleteIsTrimmed) {
    log.storedIs(Key{1}, 7, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.cleaned = 3;
    damageAt("config.lookup", 1);
    accessor.cleanupEntryLog(3);
    EXPECT_TRUE(log.log.map.records.empty());
    EXPECT_EQ(log.config.map.records.size(), 1U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
