#include "RingFixture.h"

#include <RingScribe/Clock.h>

#include <support/LateFile.h>

namespace RingScribe {

namespace {

class RingReader : public RingFixture {
  protected:
    void say(char const* text) { write(msgId, __FILE__, __LINE__, "C", "f", text); }
    void count(std::uint32_t value) { write(countId, __FILE__, __LINE__, "C", "g", "{}", value); }

    int msgId = 0;
    int countId = 0;
};

} // namespace

TEST_F(RingReader, AnEmptyRingHasNoMessages) {
    open(path(), smallBytes);
    EXPECT_TRUE(messagesOf(path()).empty());
}

TEST_F(RingReader, DoubledBracesStandForOne) {
    open(path(), smallBytes);
    write(msgId, __FILE__, __LINE__, "C", "f", "{{{}}} of {}", std::uint16_t{5});
    EXPECT_EQ(messagesOf(path()).front().text, "{5} of {}");
}

TEST_F(RingReader, ATextIsNoFormatOfAnyOtherKind) {
    open(path(), smallBytes);
    write(msgId, __FILE__, __LINE__, "C", "f", "{:>999999999} %s %n {0} {", std::uint32_t{5});
    EXPECT_EQ(messagesOf(path()).front().text, "{:>999999999} %s %n {0} {");
}

TEST_F(RingReader, GivesOnlyWhatCameAfterTheSequenceAskedFor) {
    open(path(), smallBytes);
    for (std::uint32_t i = 1; i <= 500; ++i) {
        count(i);
    }
    auto const later = messagesOf(path(), 490);
    ASSERT_EQ(later.size(), 10U);
    EXPECT_EQ(later.front().text, "491");
    EXPECT_TRUE(messagesOf(path(), 500).empty());
}

TEST_F(RingReader, SeesMessagesAndDescriptionsThatCameInSinceItOpened) {
    open(path(), smallBytes);
    count(1);
    Reader reader{path()};
    reader.forEach([](Reader::Msg const&) {});
    say("later");
    std::vector<std::string> texts;
    reader.forEach([&](Reader::Msg const& msg) { texts.push_back(msg.text()); }, 1);
    EXPECT_EQ(texts, std::vector<std::string>{"later"});
}

TEST_F(RingReader, TellsTheTimeOfAMessageOnTheWallClock) {
    open(path(), smallBytes);
    constexpr std::int64_t slackNs = 1'000'000;
    auto const before = clockNs(CLOCK_REALTIME);
    say("now");
    auto const after = clockNs(CLOCK_REALTIME);
    Reader reader{path()};
    reader.forEach([&](Reader::Msg const& msg) {
        EXPECT_GE(msg.wallTimeNs, before - slackNs);
        EXPECT_LE(msg.wallTimeNs, after + slackNs);
    });
}

TEST_F(RingReader, CountsTheMessagesOfADamagedBlockAsLost) {
    open(path(), smallBytes);
    for (std::uint32_t i = 1; i <= 300; ++i) {
        count(i);
    }
    close();
    auto bytes = bytesOf(path());
    bytes[4096 + 65536 + 4096 + 8] ^= 1; // the second block's number
    bytesAre(path(), bytes);

    Reader reader{path()};
    std::uint64_t given = 0;
    reader.forEach([&](Reader::Msg const&) { ++given; });
    EXPECT_GT(reader.lost(), 0U);
    EXPECT_EQ(given + reader.lost(), 300U);
}

TEST_F(RingReader, RefusesAFileOfAnotherKindByName) {
    bytesAre(path(), std::string(100'000, 'x'));
    try {
        Reader reader{path()};
        FAIL();
    } catch (FileException const& failure) {
        EXPECT_EQ(failure.msg(),
                  "Ring file " + path() + ": is no ring file. Give the path of one.");
    }
}

TEST_F(RingReader, ReadsAFileOfTheYear2040AndAWriterKeepsItAside) {
    open(path(), smallBytes);
    say("late");
    close();
    ASSERT_TRUE(testing_support::madeLate(path()));
    EXPECT_EQ(messagesOf(path()).front().text, "late");
    open(path(), smallBytes);
    EXPECT_EQ(messagesOf(path() + ".old").front().text, "late");
}

TEST_F(RingReader, RefusesAFileThatIsNotThere) {
    EXPECT_THROW(Reader{path()}, FileException);
}

TEST_F(RingReader, RefusesAFolder) {
    EXPECT_THROW(Reader{folder}, FileException);
}

TEST_F(RingReader, RefusesACutFile) {
    open(path(), smallBytes);
    count(1);
    close();
    std::filesystem::resize_file(path(), smallBytes - 1);
    EXPECT_THROW(Reader{path()}, FileException);
}

TEST_F(RingReader, AFileThatIsCutUnderTheReaderGivesWhatIsLeft) {
    open(path(), smallBytes);
    count(1);
    close();
    Reader reader{path()};
    std::filesystem::resize_file(path(), 5000);
    int given = 0;
    reader.forEach([&](Reader::Msg const&) { ++given; });
    EXPECT_EQ(given, 0);
}

TEST_F(RingReader, RefusesAnotherVersionAndSaysWhich) {
    open(path(), smallBytes);
    close();
    auto bytes = bytesOf(path());
    bytes[8] = 9;
    bytesAre(path(), bytes);
    try {
        Reader reader{path()};
        FAIL();
    } catch (FileException const& failure) {
        EXPECT_NE(failure.msg().str().find("format version 9"), std::string::npos);
    }
}

TEST_F(RingReader, RefusesAnotherByteOrder) {
    open(path(), smallBytes);
    close();
    auto bytes = bytesOf(path());
    std::swap(bytes[12], bytes[15]);
    std::swap(bytes[13], bytes[14]);
    bytesAre(path(), bytes);
    try {
        Reader reader{path()};
        FAIL();
    } catch (FileException const& failure) {
        EXPECT_NE(failure.msg().str().find("byte order"), std::string::npos);
    }
}

} // namespace RingScribe
