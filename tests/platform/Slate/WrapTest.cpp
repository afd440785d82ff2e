#include "StoreFixture.h"

#include <Slate/Control.h>
#include <Slate/Crc32c.h>
#include <Slate/Layout.h>
#include <Slate/Verify.h>
#include <Slate/Words.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>

// What counts in a store's file begins near its end: numbers of operations (52 bits), of stores to
// the scratchpad (32), and of moves (64).
using namespace SlateTest;
using Slate::Order;

namespace {

constexpr std::uint64_t limitAt =
    Slate::controlOffset + offsetof(Slate::ControlPage, sequenceLimit);
constexpr std::uint64_t shapeAt = Slate::controlOffset + offsetof(Slate::ControlPage, shape);
constexpr std::uint64_t scratchAt = Slate::controlOffset + offsetof(Slate::ControlPage, scratch);

class Wrap : public testing::TestWithParam<Order> {
  protected:
    void nextOperationIs(std::uint64_t sequence) const {
        file.wordAtIs(limitAt, Slate::packState(Slate::SlotState::live, sequence));
    }
    // The number in the slot of a key.
    static std::uint64_t numberOf(Slate::Store& writer, std::uint64_t key) {
        auto const* const record = static_cast<std::byte const*>(writer.lookup(key, nullptr));
        std::uint64_t state = 0;
        std::memcpy(&state, record - sizeof(Slate::SlotHeader), sizeof state);
        EXPECT_TRUE(Slate::stateWhole(state));
        return Slate::sequenceOf(state);
    }
    void expectNoDamage() const {
        Slate::verify(Slate::FileDescriptor{::dup(file.fd())}, "wrap",
                      [](Slate::Damage const& damage) { ADD_FAILURE() << damage.text; });
    }

    MemoryFile const file{specOf(GetParam(), 32)};
};

TEST_P(Wrap, TheOperationsGoOnFromZero) {
    nextOperationIs(Slate::sequenceMask - 2);
    auto const writer = file.writer();
    auto const reader = file.reader();
    std::uint64_t const numbers[] = {Slate::sequenceMask - 2, Slate::sequenceMask - 1,
                                     Slate::sequenceMask, 0, 1};
    std::uint32_t value = 0;
    for (std::uint64_t const number : numbers) {
        put(*writer, 7, ++value);
        EXPECT_EQ(numberOf(*writer, 7), number);
        EXPECT_EQ(get(*reader, 7), value);
        EXPECT_EQ(walk(*reader), (Content{{7, value}}));
    }
    expectNoDamage();
}

// A writer dies and comes up behind each operation. Each has numbers that none before it had.
TEST_P(Wrap, AWriterThatComesUpWhileTheOperationsWrapGoesOn) {
    for (std::uint64_t before = 0; before < 6; ++before) {
        SCOPED_TRACE(before);
        nextOperationIs(Slate::sequenceMask - before);
        std::uint64_t last = 0;
        {
            auto const writer = file.writer();
            for (std::uint32_t value = 0; value < 3; ++value) {
                put(*writer, 7, value);
                put(*writer, 14, value);
                writer->erase(14);
            }
            last = numberOf(*writer, 7);
        }
        auto const writer = file.writer();
        EXPECT_EQ(get(*writer, 7), 2);
        put(*writer, 7, 3);
        EXPECT_LT((last - numberOf(*writer, 7)) & Slate::sequenceMask, Slate::sequenceMask);
        EXPECT_NE(numberOf(*writer, 7), last);
        EXPECT_EQ(get(*file.reader(), 7), 3);
        EXPECT_EQ(writer->memberCount(), 1U);
    }
    expectNoDamage();
}

TEST_P(Wrap, AReaderBesideTheWriterSeesWholeRecordsWhileTheOperationsWrap) {
    std::atomic<bool> stop{false};
    nextOperationIs(Slate::sequenceMask - 3000);
    auto const writer = file.writer();
    put(*writer, 7, 0);
    std::atomic<unsigned> looks{0};
    std::thread thread{[&] {
        auto const reader = file.reader();
        std::int64_t last = 0;
        while (!stop) {
            std::int64_t const now = get(*reader, 7);
            ASSERT_GE(now, last);
            last = now;
            ++looks;
        }
    }};
    for (std::uint32_t value = 1; value <= 6000 || looks < 10; ++value) {
        put(*writer, 7, value);
    }
    stop = true;
    thread.join();
    EXPECT_LT(numberOf(*writer, 7), Slate::sequenceMask / 2) << "they have wrapped";
}

TEST_P(Wrap, TheMovesWrapAndAReaderStillLooksAgain) {
    file.wordAtIs(shapeAt, ~std::uint64_t{0});
    auto const writer = file.writer(); // its start counts as a move
    EXPECT_EQ(file.wordAt(shapeAt), 0U);
    EXPECT_EQ(get(*file.reader(), 7), -1);
}

// --- the scratchpad

class ScratchWrap : public testing::Test {
  protected:
    // As memory-layout.md tells it.
    void copyIs(unsigned number, std::uint32_t sequence, std::uint64_t value) const {
        std::uint32_t const sum = Slate::Crc32c{8}.words3(0x5c7a7c4, number, sequence, value);
        file.wordAtIs(scratchAt + 16 * number, value);
        file.wordAtIs(scratchAt + 16 * number + 8, (std::uint64_t{sequence} << 32) | sum);
    }
    std::uint32_t sequence(unsigned number) const {
        return static_cast<std::uint32_t>(file.wordAt(scratchAt + 16 * number + 8) >> 32);
    }

    MemoryFile const file{specOf(Order::version, 32)};
};

TEST_F(ScratchWrap, TheStoresGoOnFromZero) {
    copyIs(0, 0xfffffffe, 70);
    copyIs(1, 0xfffffffe, 70);
    std::uint64_t value = 70;
    for (std::uint32_t const expected : {0xffffffffU, 0U, 1U, 2U}) {
        {
            auto const writer = file.writer();
            EXPECT_EQ(writer->scratchpad(), value);
            writer->scratchpadIs(++value);
        }
        EXPECT_EQ(sequence(0), expected);
        EXPECT_EQ(sequence(1), expected);
        EXPECT_EQ(file.reader()->scratchpad(), value);
    }
}

TEST_F(ScratchWrap, OfTwoCopiesTheOneBehindTheWrapIsTheNewer) {
    for (unsigned const newer : {0U, 1U}) {
        copyIs(newer, 0, 71);
        copyIs(1 - newer, 0xffffffff, 70);
        EXPECT_EQ(file.reader()->scratchpad(), 71U);
        EXPECT_EQ(file.writer()->scratchpad(), 71U);
        EXPECT_EQ(sequence(1 - newer), 0U) << "the older one was made good";
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, Wrap, testing::Values(Order::keyMix, Order::version),
                         [](auto const& parameter) {
                             return parameter.param == Order::keyMix ? "Keys" : "Versions";
                         });

} // namespace
