#include "RingFixture.h"

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <thread>

namespace RingScribe {

namespace {

class RingThreads : public RingFixture {
  protected:
    void say(std::uint32_t value) { write(msgId, __FILE__, __LINE__, "C", "f", "{}", value); }

    int msgId = 0;
};

} // namespace

TEST_F(RingThreads, EachThreadWritesAFileOfItsOwn) {
    open(path(), smallBytes, Threads::many);
    EXPECT_EQ(defaultRingScribeHandle->traceFile(), nullptr);
    std::latch both{2};
    auto const work = [&](std::uint32_t base) {
        say(base);
        both.arrive_and_wait(); // neither file can be handed on
        for (std::uint32_t i = 1; i < 100; ++i) {
            say(base + i);
        }
    };
    std::thread first{work, 1000};
    std::thread second{work, 2000};
    first.join();
    second.join();

    auto const one = messagesOf(path() + ".t1");
    auto const two = messagesOf(path() + ".t2");
    ASSERT_EQ(one.size(), 100U);
    ASSERT_EQ(two.size(), 100U);
    EXPECT_NE(one.front().text, two.front().text);
    EXPECT_EQ(std::stoul(one.back().text), std::stoul(one.front().text) + 99);
    EXPECT_EQ(std::stoul(two.back().text), std::stoul(two.front().text) + 99);
}

TEST_F(RingThreads, TheFileOfAThreadThatEndedGoesToTheNext) {
    open(path(), smallBytes, Threads::many);
    for (std::uint32_t i = 0; i < 5; ++i) {
        std::thread{[&] { say(i); }}.join();
    }
    EXPECT_EQ(messagesOf(path() + ".t1").size(), 5U);
    EXPECT_FALSE(std::filesystem::exists(path() + ".t2"));
}

TEST_F(RingThreads, AThreadOutlivesTheRing) {
    open(path(), smallBytes, Threads::many);
    std::promise<void> said;
    std::promise<void> closed;
    std::thread other{[&] {
        say(1);
        said.set_value();
        closed.get_future().wait();
        say(2);
    }};
    said.get_future().wait();
    close();
    closed.set_value();
    other.join();
    EXPECT_EQ(messagesOf(path() + ".t1").size(), 1U);
}

TEST_F(RingThreads, AReopenedRingGivesTheThreadANewFile) {
    open(path(), smallBytes, Threads::many);
    say(1);
    open(folder + "/second", smallBytes, Threads::many);
    say(2);
    EXPECT_EQ(messagesOf(folder + "/second.t1").front().text, "2");
}

TEST_F(RingThreads, AThreadWhoseFileCantBeMadeWritesNothing) {
    open(path(), smallBytes, Threads::many);
    say(1); // this thread has the first file
    bytesAre(path() + ".t2", "precious");
    bool hasFile = true;
    testing::internal::CaptureStderr();
    std::thread{[&] { hasFile = currentTraceFile() != nullptr; }}.join();
    std::thread{[&] { hasFile = currentTraceFile() != nullptr || hasFile; }}.join();
    auto const said = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(hasFile);
    EXPECT_NE(said.find("is no ring file"), std::string::npos);
    EXPECT_EQ(said.find("is no ring file"), said.rfind("is no ring file")) << "said once";
    EXPECT_EQ(bytesOf(path() + ".t2"), "precious");
}

TEST_F(RingThreads, AReaderOfALiveRingSeesOnlyWholeMessagesInOrder) {
    open(path(), 8 * smallBytes);
    std::atomic<bool> stop{false};
    std::thread writer{[&] {
        int id = 0;
        for (std::uint32_t i = 1; !stop; ++i) {
            write(id, __FILE__, __LINE__, "C", "f", "{} {}", i,
                  std::uint64_t{i} * 0x9e3779b97f4a7c15);
        }
    }};
    Reader reader{path()};
    std::uint64_t last = 0;
    std::uint64_t given = 0;
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
    while (given < 20'000 && std::chrono::steady_clock::now() < deadline) {
        reader.forEach(
            [&](Reader::Msg const& msg) {
                ++given;
                EXPECT_GT(msg.sequence, last);
                last = msg.sequence;
                ASSERT_EQ(msg.arguments.size(), 2U);
                EXPECT_EQ(msg.arguments[0].value, static_cast<std::uint32_t>(msg.sequence));
                EXPECT_EQ(msg.arguments[1].value, msg.arguments[0].value * 0x9e3779b97f4a7c15);
            },
            last);
    }
    stop = true;
    writer.join();
    EXPECT_GE(given, 20'000U);
}

} // namespace RingScribe
