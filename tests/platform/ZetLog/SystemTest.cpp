#include <Zet/System.h>

#include <gtest/gtest.h>

#include <chrono>

namespace Zet {

TEST(System, TheTimeIsTheWallClockToTheKernelsTick) {
    auto const tick = std::chrono::milliseconds{20};
    auto const before = std::chrono::system_clock::now();
    auto const now = System::currentTimeUtc();
    auto const after = std::chrono::system_clock::now();
    EXPECT_GE(now, before - tick);
    EXPECT_LE(now, after);
}

TEST(System, TheTimeMovesOn) {
    auto const start = System::currentTimeUtc();
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds{5};
    while (System::currentTimeUtc() == start && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_GT(System::currentTimeUtc(), start);
}

} // namespace Zet
