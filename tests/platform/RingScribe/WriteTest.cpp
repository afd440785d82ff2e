#include "RingFixture.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace RingScribe {

namespace {

class RingWrite : public RingFixture {};
using RingWriteDeathTest = RingWrite;

// A call site of its own for every number that a test passes.
void sweepMsg(int& msgId, std::uint32_t count) {
    write(msgId, __FILE__, __LINE__, "XxxSwTable", "sweep", "Swept {} entries", count);
}

} // namespace

TEST_F(RingWrite, WithoutARingAMessageIsSkippedAndItsNumberStaysZero) {
    int msgId = 0;
    sweepMsg(msgId, 3);
    EXPECT_EQ(msgId, 0);
}

TEST_F(RingWrite, AMessageIsReadBackWithItsTextAndItsPlace) {
    open(path(), smallBytes);
    int msgId = 0;
    write(msgId, "Interface.cpp", 42, "XxxInterface", "makeSwTable",
          " Restored {} entries for table: Xxx, unitId: {}", std::uint32_t{70000},
          std::uint16_t{513});

    int messages = 0;
    Reader reader{path()};
    reader.forEach([&](Reader::Msg const& msg) {
        ++messages;
        EXPECT_EQ(msg.text(), " Restored 70000 entries for table: Xxx, unitId: 513");
        EXPECT_EQ(msg.sequence, 1U);
        EXPECT_EQ(msg.msgId, msgId);
        ASSERT_NE(msg.description, nullptr);
        EXPECT_EQ(msg.description->file, "Interface.cpp");
        EXPECT_EQ(msg.description->line, 42);
        EXPECT_EQ(msg.description->className, "XxxInterface");
        EXPECT_EQ(msg.description->function, "makeSwTable");
        EXPECT_EQ(msg.description->format, "is");
    });
    EXPECT_EQ(messages, 1);
}

TEST_F(RingWrite, ArgumentsAreStoredPackedInNativeWidth) {
    open(path(), smallBytes);
    int msgId = 0;
    write(msgId, __FILE__, __LINE__, "C", "f", "{} {} {}", std::uint16_t{0x1122},
          std::uint32_t{0x33445566}, std::numeric_limits<std::uint64_t>::max());

    Reader reader{path()};
    reader.forEach([](Reader::Msg const& msg) {
        ASSERT_EQ(msg.bytes.size(), 14U);
        std::uint16_t first = 0;
        std::uint32_t second = 0;
        std::memcpy(&first, msg.bytes.data(), 2);
        std::memcpy(&second, msg.bytes.data() + 2, 4);
        EXPECT_EQ(first, 0x1122);
        EXPECT_EQ(second, 0x33445566U);
        EXPECT_EQ(msg.arguments[2].type, 'l');
        EXPECT_EQ(msg.arguments[2].value, std::numeric_limits<std::uint64_t>::max());
    });
}

TEST_F(RingWrite, AMessageOnceDescribedIsNotDescribedAgain) {
    open(path(), smallBytes);
    int msgId = 0;
    sweepMsg(msgId, 1);
    auto const used = Reader{path()}.superblock().descriptionUsedBytes;
    auto const number = msgId;
    sweepMsg(msgId, 2);

    Reader reader{path()};
    EXPECT_EQ(msgId, number);
    EXPECT_EQ(reader.descriptions().size(), 1U);
    EXPECT_EQ(reader.superblock().descriptionUsedBytes, used);
    EXPECT_EQ(messagesOf(path()).size(), 2U);
}

TEST_F(RingWrite, AnotherFileGetsTheDescriptionUnderTheSameNumber) {
    int msgId = 0;
    open(path(), smallBytes);
    sweepMsg(msgId, 1);
    auto const number = msgId;
    open(folder + "/second", smallBytes);
    sweepMsg(msgId, 2);

    EXPECT_EQ(msgId, number);
    EXPECT_EQ(messagesOf(folder + "/second").front().text, "Swept 2 entries");
}

TEST_F(RingWrite, TwoPlacesGetTwoNumbers) {
    open(path(), smallBytes);
    int first = 0;
    int second = 0;
    sweepMsg(first, 1);
    sweepMsg(second, 1);
    EXPECT_NE(first, second);
    EXPECT_GT(first, 0);
    EXPECT_GT(second, 0);
}

TEST_F(RingWriteDeathTest, ANegativeMessageNumberFailsTheAssertion) {
    int msgId = -1;
    EXPECT_DEATH(
        {
            open(path(), smallBytes); // a forked child has no ring but its own
            sweepMsg(msgId, 1);
        },
        "msgId_ >= 0");
}

TEST_F(RingWrite, ANumberBeyondTheTableOfInitializedMessagesIsNotInitialized) {
    TraceFile const file{path(), smallBytes};
    EXPECT_FALSE(file.msgIsInitialized(0));
    EXPECT_FALSE(file.msgIsInitialized(1));
    EXPECT_FALSE(file.msgIsInitialized(Layout::maxMsgId));
    EXPECT_FALSE(file.msgIsInitialized(std::numeric_limits<int>::max()));
}

TEST_F(RingWrite, OnlyTheDescribedNumberCountsAsInitialized) {
    TraceFile file{path(), smallBytes};
    file.describe(7, {"f", 1, "C", "g", "text", ""});
    EXPECT_TRUE(file.msgIsInitialized(7));
    EXPECT_FALSE(file.msgIsInitialized(6));
    EXPECT_FALSE(file.msgIsInitialized(8));
}

TEST_F(RingWrite, ANumberIsDescribedOnceInAFile) {
    TraceFile file{path(), smallBytes};
    file.describe(7, {"f", 1, "C", "g", "text", ""});
    auto const used = Reader{path()}.superblock().descriptionUsedBytes;
    file.describe(7, {"f", 1, "C", "g", "text", ""});
    EXPECT_EQ(Reader{path()}.superblock().descriptionUsedBytes, used);
}

TEST_F(RingWrite, AMessageInsideAnOpenMessageIsDropped) {
    open(path(), smallBytes);
    int outer = 0;
    int inner = 0;
    sweepMsg(outer, 1);
    auto* const file = currentTraceFile();
    auto& ring = file->ringBuf();
    ring.startMsg(file, outer);
    ring.store(std::uint32_t{2});
    sweepMsg(inner, 3);
    EXPECT_TRUE(ring.writePosIsUsable());
    ring.endMsg();
    sweepMsg(outer, 4);

    auto const all = messagesOf(path());
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[1].text, "Swept 2 entries");
    EXPECT_EQ(all[2].text, "Swept 4 entries");
}

TEST_F(RingWrite, TheWritePositionIsUsableOnlyWhileAMessageIsOpen) {
    open(path(), smallBytes);
    auto* const file = currentTraceFile();
    auto& ring = file->ringBuf();
    EXPECT_FALSE(ring.writePosIsUsable());
    ring.startMsg(file, 1);
    EXPECT_TRUE(ring.writePosIsUsable());
    ring.endMsg();
    EXPECT_FALSE(ring.writePosIsUsable());
}

TEST_F(RingWrite, AnArgumentForWhichThereIsNoRoomIsDropped) {
    open(path(), smallBytes);
    auto* const file = currentTraceFile();
    auto& ring = file->ringBuf();
    ring.startMsg(file, 1);
    for (std::uint64_t i = 0; i < 9; ++i) {
        ring.store(i);
    }
    ring.endMsg();
    Reader reader{path()};
    int messages = 0;
    reader.forEach([&](Reader::Msg const& msg) {
        ++messages;
        EXPECT_EQ(msg.bytes.size(), Layout::maxArgBytes);
    });
    EXPECT_EQ(messages, 1);
}

TEST_F(RingWrite, AFullRingLosesItsOldestMessagesAndKeepsTheNewestInOrder) {
    open(path(), smallBytes);
    int msgId = 0;
    constexpr std::uint32_t count = 10'007; // ends inside a block that was full before
    for (std::uint32_t i = 1; i <= count; ++i) {
        sweepMsg(msgId, i);
    }
    Reader reader{path()};
    std::vector<std::uint64_t> sequences;
    reader.forEach([&](Reader::Msg const& msg) {
        EXPECT_EQ(msg.arguments.front().value, msg.sequence);
        sequences.push_back(msg.sequence);
    });
    ASSERT_FALSE(sequences.empty());
    EXPECT_EQ(sequences.back(), count);
    EXPECT_EQ(sequences.back() - sequences.front() + 1, sequences.size());
    EXPECT_GE(sequences.size(), 3U * 4000 / 32); // at most one block of four is given up at a time
    EXPECT_EQ(reader.lost(), sequences.front() - 1);
}

TEST_F(RingWrite, MessagesOfEverySizeFillTheBlocksAndStayWhole) {
    open(path(), 4 * smallBytes);
    auto* const file = currentTraceFile();
    auto& ring = file->ringBuf();
    std::minstd_rand random{5};
    std::vector<std::size_t> sizes{0};
    for (std::uint64_t i = 1; i <= 30'000; ++i) {
        sizes.push_back(random() % (Layout::maxArgBytes / 8 + 1) * 8);
        ring.startMsg(file, 1);
        for (std::size_t at = 0; at < sizes.back(); at += 8) {
            ring.store(i);
        }
        ring.endMsg();
    }
    Reader reader{path()};
    std::uint64_t last = 0;
    reader.forEach([&](Reader::Msg const& msg) {
        EXPECT_TRUE(last == 0 || msg.sequence == last + 1);
        last = msg.sequence;
        ASSERT_EQ(msg.bytes.size(), sizes.at(static_cast<std::size_t>(msg.sequence)));
        for (std::size_t at = 0; at < msg.bytes.size(); at += 8) {
            std::uint64_t value = 0;
            std::memcpy(&value, msg.bytes.data() + at, 8);
            EXPECT_EQ(value, msg.sequence);
        }
    });
    EXPECT_EQ(last, 30'000U);
}

TEST_F(RingWrite, AMessageWithoutRoomForItsDescriptionIsWrittenAndShownByItsBytes) {
    open(path(), smallBytes);
    std::string const longText(Layout::descriptionAreaBytes, 'x');
    int msgId = 0;
    write(msgId, __FILE__, __LINE__, "C", "f", longText.c_str(), std::uint16_t{0x0201});
    EXPECT_TRUE(currentTraceFile()->msgIsInitialized(msgId));

    auto const all = messagesOf(path());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].text, "message " + std::to_string(msgId) + " with the bytes [01 02]");
    EXPECT_EQ(Reader{path()}.superblock().descriptionsLost, 1U);
}

TEST_F(RingWrite, TheFirstWordOfTheHandleTellsMultiThreadedUse) {
    auto const firstWord = [] {
        std::uintptr_t word = 0;
        std::memcpy(&word, static_cast<void const*>(defaultRingScribeHandle), sizeof word);
        return word;
    };
    open(path(), smallBytes);
    EXPECT_EQ(firstWord(), 0U);
    open(path(), smallBytes, Threads::many);
    EXPECT_NE(firstWord(), 0U);
}

} // namespace RingScribe
