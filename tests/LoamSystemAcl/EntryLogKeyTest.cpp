#include "EntryLogFixture.h"

#include <string>

// What moves a key from state to state, each row with all that it changes.
namespace LoamSystemAcl::entry_log_test {
namespace {

enum class KeyState { absent, live, inDeletion };
enum class Event {
    writeSame,
    writeOther,
    writeSameSuppressed,
    writeOtherSuppressed,
    remove,
    removeAll,
    trim,
    mountAgain,
};
enum class Version { taken, storedOne, zero, none };

struct Transition {
    char const* name;
    KeyState from;
    Event event;
    KeyState to;
    Version answer;      // what the operation gives
    bool recordMoved;    // the key's record carries the new version
    unsigned suppressed; // by how much each counter moves
    unsigned differing;
};

constexpr Transition transitions[] = {
    {"AbsentWritten", KeyState::absent, Event::writeSame, KeyState::live, Version::taken, true, 0,
     0},
    {"AbsentWrittenWithSuppression", KeyState::absent, Event::writeSameSuppressed, KeyState::live,
     Version::taken, true, 0, 0},
    {"LiveWrittenTheSame", KeyState::live, Event::writeSame, KeyState::live, Version::taken, true,
     0, 0},
    {"LiveWrittenAnother", KeyState::live, Event::writeOther, KeyState::live, Version::taken, true,
     0, 0},
    {"LiveWrittenTheSameWithSuppression", KeyState::live, Event::writeSameSuppressed,
     KeyState::live, Version::storedOne, false, 1, 0},
    {"LiveWrittenAnotherWithSuppression", KeyState::live, Event::writeOtherSuppressed,
     KeyState::live, Version::taken, true, 0, 1},
    {"LiveRemoved", KeyState::live, Event::remove, KeyState::inDeletion, Version::taken, true, 0,
     0},
    {"LiveRemovedWithItsTable", KeyState::live, Event::removeAll, KeyState::inDeletion,
     Version::taken, true, 0, 0},
    {"LiveTrimmed", KeyState::live, Event::trim, KeyState::live, Version::none, false, 0, 0},
    {"LiveMountedAgain", KeyState::live, Event::mountAgain, KeyState::live, Version::none, false, 0,
     0},
    {"DeletedWrittenTheSame", KeyState::inDeletion, Event::writeSame, KeyState::live,
     Version::taken, true, 0, 0},
    {"DeletedWrittenTheSameWithSuppression", KeyState::inDeletion, Event::writeSameSuppressed,
     KeyState::live, Version::taken, true, 0, 0},
    {"DeletedWrittenAnotherWithSuppression", KeyState::inDeletion, Event::writeOtherSuppressed,
     KeyState::live, Version::taken, true, 0, 0},
    {"DeletedRemoved", KeyState::inDeletion, Event::remove, KeyState::inDeletion, Version::taken,
     true, 0, 0},
    {"DeletedRemovedWithItsTable", KeyState::inDeletion, Event::removeAll, KeyState::inDeletion,
     Version::taken, false, 0, 0},
    {"DeletedTrimmed", KeyState::inDeletion, Event::trim, KeyState::absent, Version::none, false, 0,
     0},
    {"DeletedMountedAgain", KeyState::inDeletion, Event::mountAgain, KeyState::absent,
     Version::none, false, 0, 0},
    {"AbsentRemoved", KeyState::absent, Event::remove, KeyState::absent, Version::zero, false, 0,
     0},
    {"AbsentRemovedWithItsTable", KeyState::absent, Event::removeAll, KeyState::absent,
     Version::taken, false, 0, 0},
};

class EntryLogKey : public MountedEntryLogTest, public testing::WithParamInterface<Transition> {
  public:
    LogVersion apply(Event event) {
        switch (event) {
        case Event::writeSame:
            return write(key, 1);
        case Event::writeOther:
            return write(key, 2);
        case Event::writeSameSuppressed:
            return write(key, 1, true);
        case Event::writeOtherSuppressed:
            return write(key, 2, true);
        case Event::remove:
            return remove(key);
        case Event::removeAll:
            return removeAll();
        case Event::trim:
            log->cleanupEntryLog(log->tableVersion());
            return 0;
        case Event::mountAgain:
            log->mountSlateConfig(0, log->tableVersion());
            return 0;
        }
        return 0;
    }

    KeyState state() {
        auto const record = stored(key);
        if (!record) {
            return KeyState::absent;
        }
        return record->inDeletion() ? KeyState::inDeletion : KeyState::live;
    }

    Key const key{77};
};

TEST_P(EntryLogKey, MovesAsItsStateAndTheOperationSay) {
    Transition const& row = GetParam();
    write(Key{1}, 1); // a neighbour, so that versions are not 0
    if (row.from != KeyState::absent) {
        write(key, 1);
    }
    if (row.from == KeyState::inDeletion) {
        remove(key);
    }
    LogVersion const before = log->tableVersion();
    LogVersion const storedVersion = log->entryLogVersion(key, 0);
    ASSERT_EQ(state(), row.from);

    LogVersion const answer = apply(row.event);

    EXPECT_EQ(state(), row.to);
    EXPECT_EQ(answer, row.answer == Version::taken       ? before + 1
                      : row.answer == Version::storedOne ? storedVersion
                                                         : 0);
    bool const taken = row.answer == Version::taken;
    EXPECT_EQ(log->tableVersion(), before + (taken ? 1 : 0));
    EXPECT_EQ(scratchpad(), log->tableVersion());
    EXPECT_EQ(announced(), log->tableVersion());
    if (row.event != Event::trim) {
        EXPECT_EQ(changes().memberCount(), log->tableVersion());
    }
    if (row.to != KeyState::absent) {
        EXPECT_EQ(stored(key)->logVersion(), row.recordMoved ? before + 1 : storedVersion);
    }
    EXPECT_EQ(stats->suppressedWriteCnt(), row.suppressed);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), row.differing);
}

INSTANTIATE_TEST_SUITE_P(InEveryState, EntryLogKey, testing::ValuesIn(transitions),
                         [](auto const& param) { return std::string{param.param.name}; });

} // namespace
} // namespace LoamSystemAcl::entry_log_test
