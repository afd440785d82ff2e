#include "TwoProcess.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// An agent that is single-stepped and killed between two of its stores.
namespace LoamSystemAcl::entry_log_test {
namespace {

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
        awaitStop(agent);
        EXPECT_TRUE(stepThrough(agent, [&] {
            EXPECT_TRUE(reader.open());
            Seen const now{reader.stored(Key{1})->logVersion(), reader.logged(2).has_value(),
                           reader.scratchpad(), reader.announced()};
            if (all.empty() || all.back() != now) {
                all.push_back(now);
            }
            return now != last;
        }));
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
        awaitStop(agent);
        EXPECT_TRUE(stepThrough(agent, [&] {
            EXPECT_TRUE(reader.open());
            std::pair const now{reader.logged(2).has_value(), reader.stored(Key{1}).has_value()};
            if (all.empty() || all.back() != now) {
                all.push_back(now);
            }
            return now != std::pair{false, true};
        }));
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
