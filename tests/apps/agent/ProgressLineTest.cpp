#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <apps/agent/ProgressLine.h>
#include <cstdio>
#include <string>

namespace LoamAgent {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

// What a progress line prints into memory, at times that the test says.
struct Screen {
    explicit Screen(bool terminal)
        : file{::open_memstream(&text, &size)}, progress{file, terminal} {
        progress.begin(start);
    }
    ~Screen() {
        std::fclose(file);
        std::free(text);
    }

    std::string shown() {
        std::fflush(file);
        return {text, size};
    }

    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* file;
    ProgressLine progress;
    ProgressLine::Clock::time_point start{};
};

TEST(ProgressLine, TellsEntriesRateAndTimeToGo) {
    Screen screen{false};
    screen.progress.update(0, 1000, screen.start);
    screen.progress.update(200, 1000, screen.start + 1s);
    EXPECT_EQ(screen.shown(), " 20 %  200/1000 entries applied, 200 entries/s, 4 s to go\n");
}

TEST(ProgressLine, TellsTheAverageUntilThereIsAMeasure) {
    Screen screen{false};
    screen.progress.update(1, 1000, screen.start + 2ms);
    screen.progress.update(100, 1000, screen.start + 100ms);
    EXPECT_EQ(screen.shown(), " 10 %  100/1000 entries applied, 1000 entries/s, 1 s to go\n");
}

TEST(ProgressLine, OffTerminalHasALineForEachTenthAndNoMore) {
    Screen screen{false};
    for (unsigned done = 0; done <= 1000; ++done) {
        screen.progress.update(done, 1000, screen.start + done * 1us);
    }
    auto const shown = screen.shown();
    EXPECT_EQ(std::ranges::count(shown, '\n'), 10) << shown;
}

TEST(ProgressLine, OffTerminalHasALineEachSecondWhileSomethingMoves) {
    Screen screen{false};
    for (unsigned second = 1; second <= 5; ++second) {
        screen.progress.update(second, 1000000, screen.start + second * 1s);
    }
    screen.progress.update(5, 1000000, screen.start + 6s);
    EXPECT_EQ(std::ranges::count(screen.shown(), '\n'), 5);
}

TEST(ProgressLine, OnATerminalIsABarThatIsDrawnOver) {
    Screen screen{true};
    screen.progress.update(500, 1000, screen.start + 1s);
    EXPECT_THAT(screen.shown(), HasSubstr("\r\x1b[K[###############...............]  50 %"));
    EXPECT_THAT(screen.shown(), Not(HasSubstr("\n")));
}

TEST(ProgressLine, TakesTheBarOutOfTheWayOfOtherLines) {
    Screen screen{true};
    screen.progress.update(500, 1000, screen.start + 1s);
    screen.progress.say("hello");
    EXPECT_THAT(screen.shown(), testing::EndsWith("\r\x1b[Khello\n"));
}

TEST(ProgressLine, SaysThatItWaitsWhenNothingMoves) {
    Screen screen{true};
    screen.progress.update(0, 1000, screen.start + 1s);
    EXPECT_THAT(screen.shown(), HasSubstr("0/1000 entries applied, waiting for the hardware side"));
}

TEST(ProgressLine, OfNoWorkIsComplete) {
    Screen screen{true};
    screen.progress.end(0, 0, screen.start + 1s);
    EXPECT_THAT(screen.shown(), HasSubstr("100 %  0/0 entries applied"));
}

} // namespace
} // namespace LoamAgent
