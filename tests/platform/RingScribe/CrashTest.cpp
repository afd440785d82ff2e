#include "RingFixture.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace RingScribe {

namespace {

class RingCrash : public RingFixture {
  protected:
    // Runs `work` in a child, kills it after `delay` unless it ends itself by a kill.
    template <typename Work>
    void killed(Work work, std::chrono::microseconds delay) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        auto const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            open(path(), smallBytes);
            [[maybe_unused]] auto const told = ::write(ready[1], "r", 1);
            work();
            ::_exit(0);
        }
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1);
        std::this_thread::sleep_for(delay);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        ASSERT_TRUE(WIFSIGNALED(status));
    }
};

} // namespace

TEST_F(RingCrash, AMessageThatItsWriterDidNotFinishIsNotShown) {
    killed(
        [] {
            int msgId = 0;
            RingScribe::write(msgId, __FILE__, __LINE__, "C", "f", "{}", std::uint32_t{1});
            auto* const file = currentTraceFile();
            file->ringBuf().startMsg(file, msgId);
            file->ringBuf().store(std::uint32_t{2});
            ::raise(SIGKILL);
        },
        std::chrono::milliseconds{20});
    auto const all = messagesOf(path());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].text, "1");
}

TEST_F(RingCrash, AKillAtAnyTimeLeavesAnUnbrokenRunOfWholeMessages) {
    std::minstd_rand random{20240611};
    std::size_t given = 0;
    for (int round = 0; round < 30; ++round) {
        killed(
            [] {
                int msgId = 0;
                for (std::uint32_t i = 1;; ++i) {
                    RingScribe::write(msgId, __FILE__, __LINE__, "C", "f", "{} {}", i,
                                      std::uint64_t{i} * 0x9e3779b97f4a7c15);
                }
            },
            std::chrono::microseconds{random() % 3000});
        Reader reader{path()};
        std::uint64_t last = 0;
        reader.forEach([&](Reader::Msg const& msg) {
            EXPECT_TRUE(last == 0 || msg.sequence == last + 1);
            last = msg.sequence;
            ASSERT_EQ(msg.arguments.size(), 2U);
            EXPECT_EQ(msg.arguments[0].value, static_cast<std::uint32_t>(msg.sequence));
            EXPECT_EQ(msg.arguments[1].value, msg.arguments[0].value * 0x9e3779b97f4a7c15);
            ++given;
        });
    }
    EXPECT_GT(given, 0U);
}

} // namespace RingScribe
