#include <LoamSystemAcl/LogMessages.h>
#include <Zet/Log.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Zet {

namespace {

constexpr LogDescriptor plain{"PLAIN", "%s", "A text as it is", "\x01", 3, 0};
constexpr LogDescriptor framed{"FRAMED", "before %s after", "A text in a frame", "\x01", 4, 0};

class StructuredLog : public testing::Test {
  protected:
    struct Line {
        std::string name;
        unsigned severity;
        std::string text;
        std::string explanation;
    };

    StructuredLog()
        : former{logSinkIs([this](LogRecord const& record) {
              lines.push_back({std::string{record.name}, record.severity, std::string{record.text},
                               std::string{record.explanation}});
          })} {}
    ~StructuredLog() override { logSinkIs(std::move(former)); }

    static LogHandle handleOf(LogDescriptor const& descriptor) {
        return LogHandle{&descriptor, Ombra::Duration{0}, 1.0, 0, 0};
    }

    std::string textOf(LogDescriptor const& descriptor, Ombra::String const& text) {
        auto handle = handleOf(descriptor);
        log(handle, text);
        return lines.back().text;
    }

    LogSink former;
    std::vector<Line> lines;
};

} // namespace

TEST_F(StructuredLog, GivesNameSeverityTextAndExplanationToTheSink) {
    auto handle = handleOf(LoamSystemAcl::hwAbstractionError);
    log(handle, "entryLog::Ipv4SystemPolicyTcamEntry");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].name, "HW_ABSTRACTION_ERROR");
    EXPECT_EQ(lines[0].severity, 3U);
    EXPECT_EQ(lines[0].text, "Hardware abstraction error: unable to load item: "
                             "entryLog::Ipv4SystemPolicyTcamEntry");
    EXPECT_EQ(lines[0].explanation,
              "Hardware abstraction error: unable to load some persistent items. Some agents will "
              "be restarted");
}

TEST_F(StructuredLog, TheTextTakesThePlaceOfThePercentS) {
    EXPECT_EQ(textOf(plain, "text"), "text");
    EXPECT_EQ(textOf(framed, "text"), "before text after");
    EXPECT_EQ(textOf(framed, ""), "before  after");
}

TEST_F(StructuredLog, NothingInTheTextIsInterpreted) {
    EXPECT_EQ(textOf(framed, "%s %n {} %d"), "before %s %n {} %d after");
}

TEST_F(StructuredLog, OnlyTheFirstPercentSOfAFormatMeansAnything) {
    constexpr LogDescriptor odd{"ODD", "%d %s %s %n {}", "", "\x01", 3, 0};
    constexpr LogDescriptor none{"NONE", "no place", "", "\x01", 3, 0};
    EXPECT_EQ(textOf(odd, "x"), "%d x %s %n {}");
    EXPECT_EQ(textOf(none, "x"), "no place");
}

TEST_F(StructuredLog, EachHandleCountsWhatItRaised) {
    auto one = handleOf(plain);
    auto two = handleOf(plain);
    log(one, "a");
    log(one, "b");
    EXPECT_EQ(one.raised(), 2U);
    EXPECT_EQ(two.raised(), 0U);
}

TEST_F(StructuredLog, NoMessageIsEverHeldBack) {
    auto handle = handleOf(plain);
    for (int i = 0; i < 1000; ++i) {
        log(handle, "again");
    }
    EXPECT_EQ(lines.size(), 1000U);
}

TEST_F(StructuredLog, AHandleKeepsItsArguments) {
    LogHandle const handle{&plain, Ombra::Duration{5}, 2.5, 6, 7};
    EXPECT_EQ(handle.interval(), Ombra::Duration{5});
    EXPECT_EQ(handle.rate(), 2.5);
    EXPECT_EQ(handle.first(), 6U);
    EXPECT_EQ(handle.second(), 7U);
}

TEST_F(StructuredLog, KnowsAllItsHandlesInTheOrderOfTheirMaking) {
    auto const before = LogHandle::all().size();
    {
        auto one = handleOf(plain);
        auto two = handleOf(framed);
        log(two, "x");
        auto const all = LogHandle::all();
        ASSERT_EQ(all.size(), before + 2);
        EXPECT_EQ(all[before].descriptor, &plain);
        EXPECT_EQ(all[before].raised, 0U);
        EXPECT_EQ(all[before + 1].descriptor, &framed);
        EXPECT_EQ(all[before + 1].raised, 1U);
    }
    EXPECT_EQ(LogHandle::all().size(), before);
}

TEST_F(StructuredLog, AnEmptySinkRestoresStandardErrorWithOneLinePerMessage) {
    auto handle = handleOf(framed);
    logSinkIs({});
    testing::internal::CaptureStderr();
    log(handle, "two\nlines\x1b[0m");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "FRAMED: before two lines [0m after\n");
    EXPECT_TRUE(lines.empty());
}

TEST_F(StructuredLog, ASinkMayReplaceTheSink) {
    auto handle = handleOf(plain);
    int calls = 0;
    logSinkIs([&](LogRecord const&) {
        ++calls;
        logSinkIs([](LogRecord const&) {});
    });
    log(handle, "first");
    log(handle, "second");
    EXPECT_EQ(calls, 1);
}

} // namespace Zet
