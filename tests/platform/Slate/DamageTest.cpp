#include "StoreFixture.h"

#include <Ombra/Exception.h>
#include <Slate/Exceptions.h>
#include <Slate/Verify.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <support/Figures.h>

// Small stores are damaged bit by bit and word by word; whatever is read then is right or raises.
using namespace SlateTest;
using Slate::Order;

namespace {

class Damaged : public testing::TestWithParam<Order> {
  protected:
    Damaged()
        : file_{specOf(GetParam(), 16)}, geometry_{Slate::Geometry::of(file_.spec(), "test")} {
        auto const store = file_.writer();
        for (std::uint64_t index = 0; index < 11; ++index) {
            std::uint64_t const key = keyAt(index);
            put(*store, key, static_cast<std::uint32_t>(index));
            content_[key] = static_cast<std::uint32_t>(index);
        }
        put(*store, keyAt(1), 100);
        content_[keyAt(1)] = 100;
        store->erase(keyAt(2));
        content_.erase(keyAt(2));
        store->scratchpadIs(scratchpad);
    }

    // Versions all meet in one chain, so that it has an overflow bucket; keys are spread.
    static std::uint64_t keyAt(std::uint64_t index) {
        return GetParam() == Order::version ? 3 + index * 28 : index;
    }

    std::vector<std::uint64_t> words() const {
        std::vector<std::uint64_t> offsets;
        auto const add = [&](std::uint64_t from, std::uint64_t bytes) {
            for (std::uint64_t offset = from; offset < from + bytes; offset += 8) {
                offsets.push_back(offset);
            }
        };
        add(Slate::controlOffset, 160);
        add(Slate::extentTableOffset, std::uint64_t{geometry_.extentCount} * 8);
        add(geometry_.directoryOffset,
            (std::uint64_t{geometry_.bucketCount} + geometry_.overflowCount) *
                sizeof(Slate::Bucket));
        add(geometry_.slotOffset, std::uint64_t{16} * geometry_.slotStride);
        return offsets;
    }

    // True when the answer was right, false when it raised. Anything else is a failure.
    static bool rightOrRaises(std::function<bool()> const& answer, std::string const& what) {
        try {
            EXPECT_TRUE(answer()) << what;
            return true;
        } catch (Ombra::CorruptionDetectedException const& exception) {
            EXPECT_NE(exception.msg().str().find("test: "), std::string::npos);
            return false;
        }
    }

    std::size_t raisedOn(Slate::Store& store, std::string const& what) {
        std::size_t raised = 0;
        for (std::uint64_t index = 0; index < 14; ++index) {
            store.fetchPlace(keyAt(index)); // hints, which damage doesn't stop
            store.fetchRecord(keyAt(index));
            auto const found = content_.find(keyAt(index));
            std::int64_t const expected =
                found == content_.end() ? -1 : std::int64_t{found->second};
            raised += rightOrRaises([&] { return get(store, keyAt(index)) == expected; },
                                    fmt::format("{}, key {}", what, keyAt(index)))
                          ? 0
                          : 1;
        }
        Content seen;
        bool const whole = rightOrRaises(
            [&] {
                Record record{};
                for (bool more = store.iterFirst(&record, nullptr); more;
                     more = store.iterNext(record.key, &record, nullptr)) {
                    seen[record.key] = record.value;
                }
                return seen == content_;
            },
            what + ", walk");
        for (auto const& [key, value] : seen) {
            EXPECT_TRUE(content_.contains(key) && content_.at(key) == value) << what << ", walk";
        }
        raised += whole ? 0 : 1;
        raised += rightOrRaises([&] { return store.scratchpad() == scratchpad; }, what) ? 0 : 1;
        EXPECT_FALSE(store.wiped()) << what;
        rightOrRaises([&] { return store.memberCount() == content_.size(); },
                      what + fmt::format(", count {} of {}", store.memberCount(), content_.size()));
        return raised;
    }

    static constexpr std::uint64_t scratchpad = 0x123456789abcdef0;
    MemoryFile file_;
    Slate::Geometry geometry_;
    Content content_;
};

} // namespace

TEST_P(Damaged, EveryFlippedBitIsHarmlessOrRaisesInAReader) {
    testing_support::Figures bits{"flipped bits"};
    std::size_t raised = 0;
    for (std::uint64_t const offset : words()) {
        std::uint64_t const good = file_.wordAt(offset);
        for (int bit = 0; bit < 64; ++bit) {
            file_.wordAtIs(offset, good ^ (std::uint64_t{1} << bit));
            ++bits.count;
            auto const reader = file_.reader();
            raised += raisedOn(*reader, fmt::format("offset {}, bit {}", offset, bit));
            ASSERT_FALSE(HasFailure());
        }
        file_.wordAtIs(offset, good);
    }
    EXPECT_GT(raised, 1000U);
}

TEST_P(Damaged, EveryFlippedBitIsHarmlessOrRaisesInTheWriterThatIsRunning) {
    testing_support::Figures bits{"flipped bits"};
    auto const writer = file_.writer();
    std::size_t raised = 0;
    for (std::uint64_t const offset : words()) {
        std::uint64_t const good = file_.wordAt(offset);
        for (int bit = 0; bit < 64; bit += 3) {
            file_.wordAtIs(offset, good ^ (std::uint64_t{1} << bit));
            ++bits.count;
            raised += raisedOn(*writer, fmt::format("offset {}, bit {}", offset, bit));
            ASSERT_FALSE(HasFailure());
        }
        file_.wordAtIs(offset, good);
    }
    EXPECT_GT(raised, 1000U);
}

TEST_P(Damaged, EveryFlippedBitIsHarmlessOrRaisesAfterARestart) {
    testing_support::Figures bits{"flipped bits"};
    std::vector<char> image(static_cast<std::size_t>(geometry_.fileBytes));
    ASSERT_EQ(::pread(file_.fd(), image.data(), image.size(), 0),
              static_cast<ssize_t>(image.size()));
    for (std::uint64_t const offset : words()) {
        for (int bit = static_cast<int>(offset / 8 % 3); bit < 64; bit += 3) {
            ASSERT_EQ(::pwrite(file_.fd(), image.data(), image.size(), 0),
                      static_cast<ssize_t>(image.size()));
            file_.wordAtIs(offset, file_.wordAt(offset) ^ (std::uint64_t{1} << bit));
            ++bits.count;
            auto const writer = file_.writer();
            raisedOn(*writer, fmt::format("offset {}, bit {}", offset, bit));
            ASSERT_FALSE(HasFailure());
        }
    }
}

// Stores and removals get by any damage, and what they did is there afterwards.
TEST_P(Damaged, WritingGoesOnOverEveryFlippedBit) {
    testing_support::Figures bits{"flipped bits"};
    std::vector<char> image(static_cast<std::size_t>(geometry_.fileBytes));
    ASSERT_EQ(::pread(file_.fd(), image.data(), image.size(), 0),
              static_cast<ssize_t>(image.size()));
    for (std::uint64_t const offset : words()) {
        for (int bit = static_cast<int>(offset / 8 % 7); bit < 64; bit += 7) {
            ASSERT_EQ(::pwrite(file_.fd(), image.data(), image.size(), 0),
                      static_cast<ssize_t>(image.size()));
            auto const writer = file_.writer();
            file_.wordAtIs(offset, file_.wordAt(offset) ^ (std::uint64_t{1} << bit));
            ++bits.count;
            std::string const what = fmt::format("offset {}, bit {}", offset, bit);
            for (std::uint64_t index = 0; index < 11; ++index) {
                put(*writer, keyAt(index), 500);
            }
            for (std::uint64_t index = 0; index < 11; ++index) {
                ASSERT_EQ(get(*writer, keyAt(index)), 500) << what;
                ASSERT_TRUE(writer->erase(keyAt(index))) << what;
                rightOrRaises([&] { return get(*writer, keyAt(index)) == -1; }, what);
                ASSERT_FALSE(HasFailure());
            }
            ASSERT_EQ(writer->memberCount(), 0U) << what;
        }
    }
}

TEST_P(Damaged, VerifyReportsEveryFlippedBitThatCanMatter) {
    testing_support::Figures bits{"flipped bits"};
    for (std::uint64_t const offset : words()) {
        std::uint64_t const good = file_.wordAt(offset);
        for (int bit = static_cast<int>(offset / 8 % 5); bit < 64; bit += 5) {
            file_.wordAtIs(offset, good ^ (std::uint64_t{1} << bit));
            ++bits.count;
            std::uint64_t found = 0;
            auto const note = [&](Slate::Damage const&) { ++found; };
            Slate::verify(Slate::FileDescriptor{::dup(file_.fd())}, "test", note);
            std::size_t const raised = raisedOn(*file_.reader(), "");
            ASSERT_TRUE(found > 0 || raised == 0) << offset << " " << bit;
        }
        file_.wordAtIs(offset, good);
    }
}

TEST_P(Damaged, ASwappedPairOfSlotsIsFound) {
    std::uint64_t const stride = geometry_.slotStride;
    for (std::uint64_t at = 0; at < stride; at += 8) {
        std::uint64_t const first = file_.wordAt(geometry_.slotOffset + at);
        std::uint64_t const second = file_.wordAt(geometry_.slotOffset + stride + at);
        file_.wordAtIs(geometry_.slotOffset + at, second);
        file_.wordAtIs(geometry_.slotOffset + stride + at, first);
    }
    EXPECT_GE(raisedOn(*file_.reader(), "swapped"), 2U);
}

TEST_P(Damaged, ADuplicatedSlotIsFound) {
    std::uint64_t const stride = geometry_.slotStride;
    for (std::uint64_t at = 0; at < stride; at += 8) {
        file_.wordAtIs(geometry_.slotOffset + 4 * stride + at,
                       file_.wordAt(geometry_.slotOffset + 3 * stride + at));
    }
    EXPECT_GE(raisedOn(*file_.reader(), "duplicated"), 1U);
}

TEST_P(Damaged, AWordOfAnotherRecordInARecordIsFound) {
    std::uint64_t const stride = geometry_.slotStride;
    std::size_t raised = 0;
    for (std::uint64_t at = 0; at < stride; at += 8) {
        std::uint64_t const offset = geometry_.slotOffset + 4 * stride + at;
        std::uint64_t const good = file_.wordAt(offset);
        file_.wordAtIs(offset, file_.wordAt(geometry_.slotOffset + 3 * stride + at));
        raised += raisedOn(*file_.reader(), fmt::format("torn at {}", at));
        file_.wordAtIs(offset, good);
    }
    EXPECT_GE(raised, 5U);
}

TEST_P(Damaged, AnEntryWordOfAnotherBucketIsFound) {
    std::uint64_t const last = std::uint64_t{geometry_.bucketCount} - 1;
    for (std::uint64_t bucket = 0; bucket < last; ++bucket) {
        std::uint64_t const from = geometry_.directoryOffset + bucket * sizeof(Slate::Bucket);
        std::uint64_t const word = file_.wordAt(from);
        std::uint64_t const to = geometry_.directoryOffset + last * sizeof(Slate::Bucket) + 48;
        if (word == 0 || file_.wordAt(to) != 0) {
            continue;
        }
        file_.wordAtIs(to, word);
        raisedOn(*file_.reader(), "copied entry");
        file_.wordAtIs(to, 0);
    }
}

TEST_P(Damaged, ADamagedDirectoryIsRebuiltFromTheSlotsAtARestart) {
    for (std::uint64_t bucket = 0; bucket < geometry_.bucketCount; ++bucket) {
        for (std::uint64_t at = 0; at < 64; at += 8) {
            std::uint64_t const offset =
                geometry_.directoryOffset + bucket * sizeof(Slate::Bucket) + at;
            file_.wordAtIs(offset, file_.wordAt(offset) ^ 0x5000);
        }
    }
    auto const writer = file_.writer();
    std::size_t reported = 0;
    writer->damageSinkIs([&](std::string const&) { ++reported; });
    EXPECT_GT(reported, 0U);
    // The slots of the last operation aside, which nothing tells from a half-done one.
    Content const rebuilt = walk(*writer);
    for (auto const& [key, value] : rebuilt) {
        EXPECT_EQ(content_.at(key), value);
    }
    EXPECT_EQ(rebuilt, content_);
}

INSTANTIATE_TEST_SUITE_P(Orders, Damaged, testing::Values(Order::keyMix, Order::version),
                         [](auto const& parameter) {
                             return parameter.param == Order::keyMix ? "Keys" : "Versions";
                         });

TEST(DamageText, NamesFileSlotKeyExpectedAndFound) {
    MemoryFile const file{specOf(Order::keyMix, 16)};
    auto const store = file.writer();
    put(*store, 5, 1);
    std::uint64_t const slots = Slate::Geometry::of(file.spec(), "test").slotOffset;
    file.wordAtIs(slots + 32, 1);
    try {
        get(*store, 5);
        FAIL();
    } catch (Ombra::CorruptionDetectedException const& exception) {
        EXPECT_TRUE(exception.msg().str().starts_with("test: slot 0, key 5: expected checksum "))
            << exception.msg();
        EXPECT_NE(exception.msg().str().find(", found "), std::string::npos);
    }
}

TEST(DamagedSlot, IsNotUsedAgainAfterItsRecordWasReplaced) {
    MemoryFile const file{specOf(Order::keyMix, 16)};
    auto const store = file.writer();
    put(*store, 5, 1);
    std::uint64_t const slots = Slate::Geometry::of(file.spec(), "test").slotOffset;
    file.wordAtIs(slots + 32, 1);
    EXPECT_THROW(get(*store, 5), Ombra::CorruptionDetectedException);
    put(*store, 5, 2);
    EXPECT_EQ(get(*store, 5), 2);
    std::uint64_t const retired = file.wordAt(slots);
    EXPECT_EQ(Slate::stateOf(retired), Slate::SlotState::retired);
    for (std::uint64_t key = 6; key < 20; ++key) {
        put(*store, key, 1);
        store->erase(key);
    }
    EXPECT_EQ(file.wordAt(slots), retired);
}

TEST(DamagedSlot, IsRemovedWithItsKey) {
    MemoryFile const file{specOf(Order::version, 16)};
    auto const store = file.writer();
    put(*store, 5, 1);
    file.wordAtIs(Slate::Geometry::of(file.spec(), "test").slotOffset + 8, 6);
    EXPECT_THROW(get(*store, 5), Ombra::CorruptionDetectedException);
    EXPECT_TRUE(store->erase(5));
    EXPECT_EQ(get(*store, 5), -1);
    EXPECT_EQ(store->memberCount(), 0U);
}

TEST(UnfitFile, IsRefusedForEveryFlippedBitOfItsSuperblock) {
    testing_support::Figures bits{"flipped bits"};
    MemoryFile const file{specOf(Order::keyMix, 16)};
    file.writer();
    for (std::uint64_t offset = 0; offset < sizeof(Slate::Superblock); offset += 8) {
        std::uint64_t const good = file.wordAt(offset);
        for (int bit = 0; bit < 64; ++bit) {
            file.wordAtIs(offset, good ^ (std::uint64_t{1} << bit));
            ++bits.count;
            ASSERT_TRUE(Slate::Store::unfit(file.fd(), file.spec()).has_value());
            ASSERT_THROW(file.reader(), Slate::BadFileException);
        }
        file.wordAtIs(offset, good);
    }
    EXPECT_FALSE(Slate::Store::unfit(file.fd(), file.spec()).has_value());
}

TEST(UnfitFile, TellsWhatDiffers) {
    MemoryFile const file{specOf(Order::keyMix, 16)};
    auto const reasonFor = [&](auto const& change) {
        Slate::StoreSpec spec = file.spec();
        change(spec);
        return Slate::Store::unfit(file.fd(), spec).value_or("");
    };
    EXPECT_EQ(reasonFor([](auto& spec) { spec.typeName = "Other"; }),
              "type: expected Other, found SlateTest::Record");
    EXPECT_EQ(reasonFor([](auto& spec) { spec.recordBytes = 36; }),
              "record size in bytes: expected 36, found 32");
    EXPECT_EQ(reasonFor([](auto& spec) { spec.capacity = 17; }),
              "capacity in records: expected 17, found 16");
    EXPECT_TRUE(reasonFor([](auto& spec) { spec.layoutVersion = 9; }).starts_with("layout hash: "));
    EXPECT_EQ(reasonFor([](auto& spec) { spec.capacity = 0; }), "");
}

TEST(UnfitFile, IsOneOfAnotherLength) {
    for (int const change : {-1, 1, 4096}) {
        MemoryFile const file{specOf(Order::keyMix, 16)};
        off_t const length = ::lseek(file.fd(), 0, SEEK_END);
        ASSERT_EQ(::ftruncate(file.fd(), length + change), 0);
        EXPECT_EQ(Slate::Store::unfit(file.fd(), file.spec()).value_or(""),
                  fmt::format("length in bytes: expected {}, found {}", length, length + change));
    }
}

TEST(UnfitFile, IsAnEmptyOneAndOneOfZeros) {
    Slate::FileDescriptor const fd{::memfd_create("empty", MFD_CLOEXEC)};
    EXPECT_TRUE(Slate::Store::unfit(fd.get(), specOf(Order::keyMix, 16)).has_value());
    ASSERT_EQ(::ftruncate(fd.get(), 1 << 20), 0);
    EXPECT_TRUE(Slate::Store::unfit(fd.get(), specOf(Order::keyMix, 16)).has_value());
}

TEST(UnfitFile, IsOneWithoutAWholeScratchpad) {
    MemoryFile const file{specOf(Order::keyMix, 16)};
    file.wordAtIs(Slate::controlOffset + 136, 1);
    EXPECT_FALSE(Slate::Store::unfit(file.fd(), file.spec()).has_value());
    file.wordAtIs(Slate::controlOffset + 152, 1);
    EXPECT_EQ(Slate::Store::unfit(file.fd(), file.spec()).value_or(""),
              "neither copy of the scratchpad is whole");
}
