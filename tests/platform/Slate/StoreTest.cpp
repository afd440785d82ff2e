#include "StoreFixture.h"

#include <Slate/Exceptions.h>
#include <Slate/KeyMix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace SlateTest;
using Slate::Order;

namespace {

// Keys of a keyMix store that all belong to the first chain.
std::vector<std::uint64_t> keysOfOneChain(std::uint32_t buckets, std::size_t count) {
    std::vector<std::uint64_t> result;
    for (std::uint32_t key = 0; result.size() < count; ++key) {
        if (std::uint64_t{Slate::keyMix(key)} * buckets >> 32 == 0) {
            result.push_back(key);
        }
    }
    return result;
}

// Random operations against a map; every answer and, now and then, everything is compared, with the
// store opened anew and by a reader.
void compareWithModel(Order order, std::uint32_t capacity, std::vector<std::uint64_t> const& keys,
                      int rounds, unsigned seed) {
    MemoryFile const file{specOf(order, capacity)};
    auto writer = file.writer();
    auto const reader = file.reader();
    Content model;
    std::mt19937 random{seed};
    for (int round = 0; round < rounds; ++round) {
        std::uint64_t const key = keys[random() % keys.size()];
        auto const value = static_cast<std::uint32_t>(random());
        auto const choice = random() % 100;
        writer->fetchPlace(key); // hints, which change nothing
        writer->fetchRecord(key);
        reader->fetchRecord(key);
        bool const known = model.contains(key);
        if (choice < 45 && (known || model.size() < capacity)) {
            put(*writer, key, value);
            model[key] = value;
        } else if (choice < 85) {
            EXPECT_EQ(writer->erase(key), known);
            model.erase(key);
        } else if (choice < 98) {
            std::int64_t const expected = known ? std::int64_t{model[key]} : -1;
            ASSERT_EQ(get(*writer, key), expected);
            ASSERT_EQ(get(*reader, key), expected);
        } else {
            auto const keyOf = [&](Record const& record) {
                return *std::find_if(keys.begin(), keys.end(), [&](std::uint64_t candidate) {
                    auto const found = model.find(candidate);
                    return static_cast<std::uint32_t>(candidate) == record.key &&
                           found != model.end() && found->second == record.value;
                });
            };
            ASSERT_EQ(walk(*writer, keyOf), model);
            ASSERT_EQ(walk(*reader, keyOf), model);
            if (choice == 99) {
                writer.reset();
                writer = file.writer();
            }
        }
        ASSERT_EQ(writer->memberCount(), model.size());
        ASSERT_EQ(reader->memberCount(), model.size());
    }
}

std::vector<std::uint64_t> range(std::uint64_t first, std::uint64_t count, std::uint64_t step = 1) {
    std::vector<std::uint64_t> result;
    for (std::uint64_t index = 0; index < count; ++index) {
        result.push_back(first + index * step);
    }
    return result;
}

} // namespace

TEST(Store, FindsWhatWasStored) {
    MemoryFile const file{specOf(Order::keyMix, 100)};
    auto const store = file.writer();
    put(*store, 7, 70);
    EXPECT_EQ(get(*store, 7), 70);
    EXPECT_EQ(get(*store, 8), -1);
    EXPECT_EQ(store->memberCount(), 1U);
}

TEST(Store, ReplacesTheRecordOfAKey) {
    MemoryFile const file{specOf(Order::keyMix, 100)};
    auto const store = file.writer();
    put(*store, 7, 70);
    put(*store, 7, 71);
    EXPECT_EQ(get(*store, 7), 71);
    EXPECT_EQ(store->memberCount(), 1U);
}

TEST(Store, RemovesAndSaysWhetherThereWasSomething) {
    MemoryFile const file{specOf(Order::keyMix, 100)};
    auto const store = file.writer();
    put(*store, 7, 70);
    EXPECT_TRUE(store->erase(7));
    EXPECT_FALSE(store->erase(7));
    EXPECT_EQ(get(*store, 7), -1);
    EXPECT_EQ(store->memberCount(), 0U);
}

TEST(Store, HoldsTheExtremeKeys) {
    MemoryFile const mixed{specOf(Order::keyMix, 100)};
    auto const byKey = mixed.writer();
    for (std::uint64_t const key : {0ULL, 1ULL, 0x7fffffffULL, 0xffffffffULL}) {
        put(*byKey, key, 5);
        EXPECT_EQ(get(*byKey, key), 5);
    }
    EXPECT_EQ(walk(*byKey).size(), 4U);
    MemoryFile const log{specOf(Order::version, 100)};
    auto const byVersion = log.writer();
    for (std::uint64_t const key : {0ULL, 0xffffffffULL, 0x100000000ULL, ~0ULL}) {
        put(*byVersion, key, static_cast<std::uint32_t>(key >> 32));
        EXPECT_EQ(get(*byVersion, key), static_cast<std::int64_t>(key >> 32));
    }
}

TEST(Store, TakesAsManyKeysAsItsCapacityAndNoMore) {
    for (Order const order : {Order::keyMix, Order::version}) {
        MemoryFile const file{specOf(order, 50)};
        auto const store = file.writer();
        for (std::uint64_t key = 0; key < 50; ++key) {
            put(*store, key * 1000, 1);
        }
        EXPECT_THROW(put(*store, 50'000, 1), Slate::FullException);
        EXPECT_EQ(store->memberCount(), 50U);
        put(*store, 3000, 2); // a replacement still fits
        EXPECT_EQ(get(*store, 3000), 2);
        EXPECT_TRUE(store->erase(0));
        put(*store, 50'000, 1);
        EXPECT_EQ(get(*store, 50'000), 1);
    }
}

TEST(Store, NamesFileKeyAndCountWhenFull) {
    MemoryFile const file{specOf(Order::keyMix, 1)};
    auto const store = file.writer();
    put(*store, 1, 1);
    try {
        put(*store, 2, 2);
        FAIL();
    } catch (Slate::FullException const& exception) {
        EXPECT_EQ(exception.msg(), "test: key 2: the collection is full, it holds 1 records");
    }
}

TEST(Store, AgreesWithAModelOverKeysInAnyOrder) {
    compareWithModel(Order::keyMix, 64, range(0, 100), 20'000, 1);
}

TEST(Store, AgreesWithAModelWhenAllKeysMeetInOneChain) {
    compareWithModel(Order::keyMix, 64, keysOfOneChain(16, 90), 20'000, 2);
}

TEST(Store, AgreesWithAModelOverVersions) {
    compareWithModel(Order::version, 64, range(1, 100), 20'000, 3);
}

TEST(Store, AgreesWithAModelOverVersionsThatMeetInOneChain) {
    compareWithModel(Order::version, 64, range(3, 90, 7 * 16), 20'000, 4);
}

// 2^32 and 7 * 16 have the common multiple 7 * 2^32.
TEST(Store, AgreesWithAModelOverVersionsThatDifferAboveTheLowHalfOnly) {
    compareWithModel(Order::version, 64, range(3, 40, std::uint64_t{7} << 32), 20'000, 5);
}

// Also when the walk has been in the bucket before, or is for the first time.
TEST(Store, AWalkFindsBehindAVersionTheOneThatDiffersAboveTheLowHalfOnly) {
    MemoryFile const file{specOf(Order::version, 64)};
    auto const store = file.writer();
    std::uint64_t const lower = 3;
    std::uint64_t const upper = lower + (std::uint64_t{7} << 32);
    put(*store, upper, 1);
    Record record{};
    for (int times = 0; times < 2; ++times) {
        EXPECT_TRUE(store->iterNext(lower, &record, nullptr)) << times;
        EXPECT_FALSE(store->iterNext(upper, &record, nullptr)) << times;
    }
}

TEST(Store, KeepsNoOverflowBucketThatItDoesNotNeed) {
    MemoryFile const file{specOf(Order::version, 60)};
    auto const store = file.writer();
    // Each round fills another chain up to the capacity; the pool is made for one.
    for (std::uint64_t round = 0; round < 40; ++round) {
        for (std::uint64_t index = 0; index < 60; ++index) {
            put(*store, round * 7 + index * 112, 1);
        }
        EXPECT_EQ(store->memberCount(), 60U);
        for (std::uint64_t index = 0; index < 60; ++index) {
            // In an order that makes holes everywhere.
            EXPECT_TRUE(store->erase(round * 7 + (index * 37 % 60) * 112));
        }
    }
}

TEST(Store, WalksInTheSameOrderAfterAReopenAndInAReader) {
    MemoryFile const file{specOf(Order::keyMix, 1000)};
    auto store = file.writer();
    for (std::uint64_t key = 0; key < 1000; ++key) {
        put(*store, key, 1);
    }
    auto const orderOf = [](Slate::Store& of) {
        std::vector<std::uint32_t> result;
        Record record{};
        for (bool more = of.iterFirst(&record, nullptr); more;
             more = of.iterNext(record.key, &record, nullptr)) {
            result.push_back(record.key);
        }
        return result;
    };
    auto const first = orderOf(*store);
    EXPECT_EQ(first.size(), 1000U);
    EXPECT_EQ(orderOf(*file.reader()), first);
    store.reset();
    EXPECT_EQ(orderOf(*file.writer()), first);
}

TEST(Store, GoesOnFromAKeyThatWasRemoved) {
    for (Order const order : {Order::keyMix, Order::version}) {
        MemoryFile const file{specOf(order, 1000)};
        auto const store = file.writer();
        for (std::uint64_t key = 0; key < 1000; ++key) {
            put(*store, key, 1);
        }
        std::size_t seen = 0;
        Record record{};
        for (bool more = store->iterFirst(&record, nullptr); more;
             more = store->iterNext(record.key, &record, nullptr)) {
            ++seen;
            EXPECT_TRUE(store->erase(record.key));
        }
        EXPECT_EQ(seen, 1000U);
        EXPECT_EQ(store->memberCount(), 0U);
    }
}

TEST(Store, WalkSeesEachRecordOnceWhileItIsReplaced) {
    MemoryFile const file{specOf(Order::keyMix, 300)};
    auto const store = file.writer();
    for (std::uint64_t key = 0; key < 300; ++key) {
        put(*store, key, 1);
    }
    std::size_t seen = 0;
    Record record{};
    for (bool more = store->iterFirst(&record, nullptr); more;
         more = store->iterNext(record.key, &record, nullptr)) {
        ++seen;
        put(*store, record.key, 2);
        ASSERT_LE(seen, 300U);
    }
    EXPECT_EQ(seen, 300U);
}

TEST(Store, KeepsTheScratchpadOverAReopen) {
    MemoryFile const file{specOf(Order::keyMix, 10)};
    auto store = file.writer();
    EXPECT_EQ(store->scratchpad(), 0U);
    store->scratchpadIs(0x1122334455667788);
    EXPECT_EQ(file.reader()->scratchpad(), 0x1122334455667788U);
    store.reset();
    EXPECT_EQ(file.writer()->scratchpad(), 0x1122334455667788U);
}

TEST(Store, RefusesChangesByAReader) {
    MemoryFile const file{specOf(Order::keyMix, 10)};
    auto const reader = file.reader();
    EXPECT_THROW(put(*reader, 1, 1), Slate::ReadOnlyException);
    EXPECT_THROW(reader->erase(1), Slate::ReadOnlyException);
    EXPECT_THROW(reader->scratchpadIs(1), Slate::ReadOnlyException);
    EXPECT_THROW(reader->clearWiped(), Slate::ReadOnlyException);
}

TEST(Store, AClosedWriterStillReads) {
    MemoryFile const file{specOf(Order::keyMix, 10)};
    auto const store = file.writer();
    put(*store, 1, 10);
    store->scratchpadIs(4);
    store->close();
    EXPECT_THROW(put(*store, 1, 11), Slate::ReadOnlyException);
    auto const next = file.writer();
    put(*next, 1, 12);
    put(*next, 2, 20);
    next->scratchpadIs(5);
    EXPECT_EQ(get(*store, 1), 12);
    EXPECT_EQ(walk(*store), (Content{{1, 12}, {2, 20}}));
    EXPECT_EQ(store->scratchpad(), 5U);
    EXPECT_EQ(store->memberCount(), 2U);
}

TEST(Store, SequenceNumbersPassTheirEnd) {
    MemoryFile const file{specOf(Order::keyMix, 10)};
    // The noted limit of sequence numbers, two steps before the end.
    file.wordAtIs(Slate::controlOffset + offsetof(Slate::ControlPage, sequenceLimit),
                  Slate::packState(Slate::SlotState::live, Slate::sequenceMask - 1));
    auto store = file.writer();
    for (std::uint32_t value = 0; value < 10; ++value) {
        put(*store, 1, value);
        EXPECT_EQ(get(*store, 1), value);
    }
    store.reset();
    store = file.writer();
    EXPECT_EQ(get(*store, 1), 9);
}

TEST(Store, LogOfAMillionVersionsIsExact) {
    constexpr std::uint32_t capacity = 1'000'000;
    MemoryFile const file{specOf(Order::version, capacity)};
    auto store = file.writer();
    for (std::uint64_t version = 1; version <= capacity; ++version) {
        put(*store, version, static_cast<std::uint32_t>(version * 3));
    }
    EXPECT_EQ(store->memberCount(), capacity);
    EXPECT_THROW(put(*store, capacity + 1, 0), Slate::FullException);
    store.reset();
    store = file.writer();
    EXPECT_EQ(store->memberCount(), capacity);
    for (std::uint64_t version = 1; version <= capacity; ++version) {
        ASSERT_EQ(get(*store, version), static_cast<std::uint32_t>(version * 3));
    }
    std::uint64_t seen = 0;
    std::uint64_t sum = 0;
    Record record{};
    for (bool more = store->iterFirst(&record, nullptr); more;
         more = store->iterNext(record.key, &record, nullptr)) {
        ++seen;
        sum += record.key;
    }
    EXPECT_EQ(seen, capacity);
    EXPECT_EQ(sum, std::uint64_t{capacity} * (capacity + 1) / 2);
    for (std::uint64_t version = 1; version <= capacity; ++version) {
        ASSERT_TRUE(store->erase(version));
    }
    EXPECT_EQ(store->memberCount(), 0U);
}

TEST(Store, LogGoesRoundItsRingManyTimesWithStragglers) {
    constexpr std::uint32_t capacity = 120;
    MemoryFile const file{specOf(Order::version, capacity)};
    auto const store = file.writer();
    Content model;
    for (std::uint64_t version = 1; version <= 20'000; ++version) {
        put(*store, version, 1);
        model[version] = 1;
        // Every 300th stays; of the others, the last 40.
        if (version > 40 && (version - 40) % 300 != 0) {
            ASSERT_TRUE(store->erase(version - 40));
            model.erase(version - 40);
        }
    }
    EXPECT_EQ(store->memberCount(), model.size());
    EXPECT_EQ(walk(*store), model);
}
