#include "StoreFixture.h"

#include <Ombra/Exception.h>
#include <Slate/Layout.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

// What an operation of the caller may leave out, and what it may not: a record is verified before
// it is first handed out in each operation, and again when it is another.
using namespace SlateTest;
using Slate::Order;

namespace {

class Operation : public testing::TestWithParam<Order> {
  protected:
    Operation() {
        put(*store, 1, 10);
        put(*store, 2, 20);
    }

    // A record where it lies in the mapping that the store itself reads.
    std::byte* bytesOf(std::uint64_t key) const {
        return const_cast<std::byte*>(static_cast<std::byte const*>(store->lookup(key, nullptr)));
    }
    static void damage(std::byte* record) { record[sizeof(Record) - 1] ^= std::byte{1}; }

    bool raises(std::uint64_t key) const {
        try {
            store->lookup(key, nullptr);
            return false;
        } catch (Ombra::CorruptionDetectedException const&) {
            return true;
        }
    }

    MemoryFile file{specOf(GetParam(), 64)};
    std::unique_ptr<Slate::Store> store = file.writer();
};

TEST_P(Operation, ARecordDamagedBeforeItIsNeverHandedOut) {
    damage(bytesOf(1));
    Slate::Store::Operation const operation{*store};
    EXPECT_TRUE(raises(1));
    EXPECT_TRUE(raises(1));
    EXPECT_FALSE(raises(2));
    EXPECT_TRUE(raises(1));
}

TEST_P(Operation, ARecordIsVerifiedOnceInItAndAgainInTheNext) {
    auto* const record = bytesOf(1);
    {
        Slate::Store::Operation const operation{*store};
        EXPECT_EQ(get(*store, 1), 10);
        damage(record);
        EXPECT_FALSE(raises(1));
    }
    Slate::Store::Operation const operation{*store};
    EXPECT_TRUE(raises(1));
}

TEST_P(Operation, OnlyTheLastRecordCountsAsVerified) {
    auto* const record = bytesOf(1);
    Slate::Store::Operation const operation{*store};
    EXPECT_EQ(get(*store, 1), 10);
    EXPECT_EQ(get(*store, 2), 20);
    damage(record);
    EXPECT_TRUE(raises(1));
}

TEST_P(Operation, WithoutOneEveryReadVerifies) {
    auto* const record = bytesOf(1);
    EXPECT_EQ(get(*store, 1), 10);
    damage(record);
    EXPECT_TRUE(raises(1));
}

// A slot that comes back holds another record, under another state word.
TEST_P(Operation, ARecordInTheSlotOfTheOneVerifiedIsVerifiedAnew) {
    Slate::Store::Operation const operation{*store};
    auto* const verified = bytesOf(1);
    for (std::uint32_t value = 0; value < 1'000; ++value) {
        put(*store, 1, value);
        Record const record = recordOf(1, value);
        if (std::memcmp(verified, &record, sizeof record) == 0) {
            damage(verified);
            EXPECT_TRUE(raises(1));
            return;
        }
    }
    FAIL() << "the slot never came back";
}

TEST_P(Operation, NestedOnesAreAsOne) {
    auto* const record = bytesOf(1);
    {
        Slate::Store::Operation const outer{*store};
        {
            Slate::Store::Operation const inner{*store};
            EXPECT_EQ(get(*store, 1), 10);
        }
        damage(record);
        EXPECT_FALSE(raises(1));
    }
    EXPECT_TRUE(raises(1));
}

// The writer remembers where it found or stored a key last. In chains of several buckets the last
// entry moves when another one goes.
TEST_P(Operation, KeysAreFoundWhereTheyAreWhateverWasAskedForLast) {
    std::uint64_t const chain = 7ULL * store->geometry().bucketCount; // of versions
    std::mt19937 random{11};
    auto const anyKey = [&] { return 1 + random() % 7 + (random() % 12) * chain; };
    std::map<std::uint64_t, std::uint32_t> expected{{1, 10}, {2, 20}};
    std::uint64_t key = 1;
    for (std::uint32_t step = 0; step < 50'000; ++step) {
        key = random() % 2 == 0 ? key : anyKey();
        switch (random() % 4) {
        case 0:
            if (expected.size() < 60 || expected.contains(key)) {
                put(*store, key, step);
                expected[key] = step;
            }
            break;
        case 1:
            ASSERT_EQ(store->erase(key), expected.erase(key) == 1) << step;
            break;
        default:
            ASSERT_EQ(get(*store, key), expected.contains(key) ? std::int64_t{expected[key]} : -1)
                << step;
        }
    }
    EXPECT_EQ(store->memberCount(), expected.size());
}

// Nothing verified and a state word that was cleared must not be taken for equal.
TEST_P(Operation, ARecordWhoseStateWordWasClearedIsNeverHandedOut) {
    auto* const record = bytesOf(1);
    {
        Slate::Store::Operation const operation{*store};
        EXPECT_EQ(get(*store, 1), 10);
    }
    std::memset(record - sizeof(Slate::SlotHeader), 0, sizeof(Slate::SlotHeader::state));
    Slate::Store::Operation const operation{*store};
    EXPECT_TRUE(raises(1));
}

INSTANTIATE_TEST_SUITE_P(BothOrders, Operation, testing::Values(Order::keyMix, Order::version),
                         [](auto const& instance) {
                             return instance.param == Order::keyMix ? "keyMix" : "version";
                         });

} // namespace
