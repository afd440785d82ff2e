#include "EntryLogFixture.h"

#include <string>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogQuery : public MountedEntryLogTest {};
using EntryLogQueryDeathTest = EntryLogQuery;

struct Answers {
    char const* state;
    bool entryHas;
    bool storedEntry; // `entry` gives the stored value, else the empty one
    LogVersion entryLogVersion;
    std::uint32_t entrys;
    std::uint32_t entrysInDeletion;
};

// The key is written at version 1 and deleted at version 2.
constexpr Answers answers[] = {
    {"Absent", false, false, 0, 0, 0},
    {"Live", true, true, 1, 1, 0},
    {"InDeletion", false, false, 2, 0, 1},
};

class EntryLogAnswers : public MountedEntryLogTest, public testing::WithParamInterface<Answers> {};

TEST_P(EntryLogAnswers, FollowFromTheStateOfTheKey) {
    Answers const& row = GetParam();
    Key const key{5};
    std::string const state{row.state};
    if (state != "Absent") {
        write(key, 9);
    }
    if (state == "InDeletion") {
        remove(key);
    }
    EXPECT_EQ(log->entryHas(key, 0), row.entryHas);
    EXPECT_EQ(log->entry(key, 0), row.storedEntry ? logEntryOf(key, 9) : LogEntry{});
    EXPECT_EQ(log->entryLogVersion(key, 0), row.entryLogVersion);
    EXPECT_EQ(log->entrys(0), row.entrys);
    EXPECT_EQ(log->entrysInDeletion(0), row.entrysInDeletion);
    static_cast<void>(log->entryRsrcKeys(key, 0)); // has nothing to say, and does not fail
}

INSTANTIATE_TEST_SUITE_P(InEveryState, EntryLogAnswers, testing::ValuesIn(answers),
                         [](auto const& param) { return std::string{param.param.state}; });

TEST_F(EntryLogQuery, AnEmptyTableHasNoEntriesInAnyState) {
    EXPECT_EQ(log->entrys(0), 0U);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
}

TEST_F(EntryLogQuery, ADeletedEntryIsOutOfSightAtOnceAndItsVersionIsTheDeletes) {
    write(Key{1}, 9);
    LogVersion const version = remove(Key{1});
    EXPECT_FALSE(log->entryHas(Key{1}, 0));
    EXPECT_EQ(log->entry(Key{1}, 0), LogEntry{Key{0}}) << "the empty value, not of the asked key";
    EXPECT_EQ(log->entryLogVersion(Key{1}, 0), version);
}

TEST_F(EntryLogQuery, AWriteBringsAKeyInDeletionBack) {
    write(Key{1}, 9);
    write(Key{2}, 9);
    remove(Key{1});
    ASSERT_EQ(log->entrys(0), 1U);
    write(Key{1}, 9);
    EXPECT_TRUE(log->entryHas(Key{1}, 0));
    EXPECT_EQ(log->entrys(0), 2U);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
}

TEST_F(EntryLogQuery, AfterATableDeleteEverythingIsInDeletion) {
    write(Key{1}, 9);
    write(Key{2}, 9);
    write(Key{3}, 9);
    remove(Key{1});
    removeAll();
    EXPECT_EQ(log->entrys(0), 0U);
    EXPECT_EQ(log->entrysInDeletion(0), 3U);
}

TEST_F(EntryLogQuery, ATrimPastADeleteTakesItFromTheDeletionsAlone) {
    write(Key{1}, 9);
    write(Key{2}, 9);
    LogVersion const version = remove(Key{1});
    log->cleanupEntryLog(version);
    EXPECT_EQ(log->entrys(0), 1U);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
}

TEST_F(EntryLogQuery, AnswersAreOfTheUnitThatIsAsked) {
    log->mountSlateConfig(1, 0);
    write(Key{1}, 9, false, 1);
    EXPECT_FALSE(log->entryHas(Key{1}, 0));
    EXPECT_TRUE(log->entryHas(Key{1}, 1));
    EXPECT_EQ(log->entrys(0), 0U);
    EXPECT_EQ(log->entrys(1), 1U);
}

TEST_F(EntryLogQuery, LooksAtTheConfigurationTableAndNeverAtTheLog) {
    loggedIs(LogSlateEntry{1, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 9)});
    EXPECT_FALSE(log->entryHas(Key{1}, 0));
    EXPECT_EQ(log->entryLogVersion(Key{1}, 0), 0U);
    EXPECT_EQ(log->entrys(0), 0U);
}

TEST_F(EntryLogQuery, DropsItsReferenceToTheTableBeforeItReturns) {
    auto const slate = log->tableConfigSlate(0);
    auto const count = slate->refCount();
    log->entry(Key{1}, 0);
    log->entryHas(Key{1}, 0);
    log->entryRsrcKeys(Key{1}, 0);
    log->entryLogVersion(Key{1}, 0);
    log->entrys(0);
    EXPECT_EQ(slate->refCount(), count);
}

TEST_F(EntryLogQuery, TracesKeyAndUnit) {
    auto const lineOf = [](std::string const& function, std::string const& text) {
        return TraceCapture::Line{logHandle, 8, logHandle, function, text};
    };
    TraceCapture const trace{logHandle};
    log->entry(Key{0xab}, 0);
    log->entryHas(Key{0xab}, 0);
    log->entryRsrcKeys(Key{0xab}, 0);
    log->entryLogVersion(Key{0xab}, 0);
    log->entrysInDeletion(0);
    log->entrys(0);
    std::string const keyAndUnit = " key: 0x000000ab unitId:0";
    EXPECT_EQ(
        trace.lines,
        (std::vector{lineOf("entry", keyAndUnit), lineOf("entryHas", keyAndUnit),
                     lineOf("entryRsrcKeys", keyAndUnit), lineOf("entryLogVersion", keyAndUnit),
                     lineOf("entrysInDeletion", " unitId:0"), lineOf("entrys", " unitId:0"),
                     lineOf("entrysInDeletion", " unitId:0")}));
}

TEST_F(EntryLogQueryDeathTest, AUnitThatIsNotMountedEndsTheProcess) {
    EXPECT_DEATH(log->entry(Key{1}, 9), "");
    EXPECT_DEATH(log->entryHas(Key{1}, 9), "");
    EXPECT_DEATH(log->entryRsrcKeys(Key{1}, 9), "");
    EXPECT_DEATH(log->entryLogVersion(Key{1}, 9), "");
    EXPECT_DEATH(log->entrys(9), "");
    EXPECT_DEATH(log->entrysInDeletion(9), "");
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
