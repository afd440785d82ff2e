#include "StoreFixture.h"

#include <Slate/Layout.h>
#include <Slate/Verify.h>
#include <Slate/Words.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <random>
#include <vector>

// A log is fast since a version is looked for at one place: entry `version % 7` of its bucket.
// Where the words stand is read from the file; and a log whose words stand elsewhere is as good,
// since nobody but the one who looks first relies on the place.
using namespace SlateTest;
using Slate::bucketEntries;
using Slate::Order;

namespace {

using Words = std::array<std::uint64_t, bucketEntries>;

// The versions of a window that gives each its own place, the first one as told: at the start,
// where the lower half of a version wraps, and where nothing but the upper half tells it.
class VersionPlace : public testing::TestWithParam<std::uint64_t> {
  protected:
    static constexpr std::uint32_t capacity = 100;

    VersionPlace() {
        EXPECT_GE(geometry_.bucketCount * bucketEntries, capacity);
        for (std::uint32_t index = 0; index < capacity - 3; ++index) {
            versions_.push_back(GetParam() + index);
        }
        std::shuffle(versions_.begin(), versions_.end(), random_);
    }

    std::uint32_t ownerOf(std::uint64_t version) const {
        return static_cast<std::uint32_t>(version / bucketEntries % geometry_.bucketCount);
    }
    std::uint64_t placeAt(std::uint32_t owner, std::uint64_t entry) const {
        return geometry_.directoryOffset + owner * sizeof(Slate::Bucket) + entry * 8;
    }
    std::uint64_t ownPlace(std::uint64_t version) const {
        return placeAt(ownerOf(version), version % bucketEntries);
    }

    // Whether the word at the version's own place leads to the version's slot.
    bool standsAtItsPlace(std::uint64_t version) const {
        std::uint64_t const word = file_.wordAt(ownPlace(version));
        return Slate::entryTag(word) == static_cast<std::uint32_t>(version) &&
               Slate::entryWhole(word, ownerOf(version)) && keyAt(word) == version;
    }
    std::uint64_t keyAt(std::uint64_t word) const {
        std::uint64_t const slot = Slate::entryNumber(word) - 1;
        return file_.wordAt(geometry_.slotOffset + slot * geometry_.slotStride +
                            offsetof(Slate::SlotHeader, key));
    }

    void store(Slate::Store& writer, std::uint64_t version) {
        put(writer, version, ++value_);
        content_[version] = value_;
    }
    void expectAllAtTheirPlaces() const {
        for (auto const& [version, value] : content_) {
            EXPECT_TRUE(standsAtItsPlace(version)) << version;
        }
    }
    void expectAllRead(Slate::Store& store) const {
        for (auto const& [version, value] : content_) {
            EXPECT_EQ(get(store, version), value) << version;
        }
        EXPECT_EQ(walk(store, [](Record const& record) { return widened(record.key); }), content_);
        auto const result =
            Slate::verify(Slate::FileDescriptor{::dup(file_.fd())}, "log",
                          [](Slate::Damage const& damage) { ADD_FAILURE() << damage.text; });
        EXPECT_EQ(result.records, content_.size());
    }
    // The version of the window whose lower half is told.
    static std::uint64_t widened(std::uint32_t low) {
        return GetParam() + (low - static_cast<std::uint32_t>(GetParam()));
    }

    // Moves the words of every bucket, while nobody has the file open.
    void placesAre(std::function<void(Words&)> const& move) const {
        for (std::uint32_t owner = 0; owner < geometry_.bucketCount; ++owner) {
            Words words{};
            for (std::uint32_t entry = 0; entry < bucketEntries; ++entry) {
                words[entry] = file_.wordAt(placeAt(owner, entry));
            }
            move(words);
            for (std::uint32_t entry = 0; entry < bucketEntries; ++entry) {
                file_.wordAtIs(placeAt(owner, entry), words[entry]);
            }
        }
    }

    // Reads, changes and reads again a log whose words have moved.
    void expectAsGood() {
        expectAllRead(*file_.reader());
        auto const writer = file_.writer();
        expectAllRead(*writer);
        std::uint64_t const changed = versions_[1];
        std::uint64_t const gone = versions_[2];
        store(*writer, changed);
        EXPECT_TRUE(writer->erase(gone));
        content_.erase(gone);
        EXPECT_EQ(get(*writer, gone), -1);
        store(*writer, gone);
        store(*writer, GetParam() + capacity - 1);
        expectAllRead(*writer);
        expectAllRead(*file_.reader());
    }

    MemoryFile const file_{specOf(Order::version, capacity)};
    Slate::Geometry const geometry_ = Slate::Geometry::of(file_.spec(), "log");
    std::mt19937_64 random_{7};
    std::vector<std::uint64_t> versions_; // in the order in which they are written
    Content content_;
    std::uint32_t value_ = 0;
};

TEST_P(VersionPlace, IsTheVersionModuloSevenInWhateverOrderTheyAreWritten) {
    auto const writer = file_.writer();
    for (std::uint64_t const version : versions_) {
        store(*writer, version);
        ASSERT_TRUE(standsAtItsPlace(version)) << version;
    }
    expectAllAtTheirPlaces();
}

TEST_P(VersionPlace, StaysWhenAVersionIsReplacedAndWhenOthersGo) {
    auto const writer = file_.writer();
    for (std::uint64_t const version : versions_) {
        store(*writer, version);
    }
    for (std::size_t index = 0; index < versions_.size(); ++index) {
        std::uint64_t const version = versions_[index];
        if (index % 3 == 0) {
            store(*writer, version);
        } else if (index % 3 == 1) {
            ASSERT_TRUE(writer->erase(version));
            content_.erase(version);
            EXPECT_EQ(file_.wordAt(ownPlace(version)), 0U) << version;
        }
    }
    expectAllAtTheirPlaces();
    for (std::size_t index = 1; index < versions_.size(); index += 3) {
        store(*writer, versions_[index]);
    }
    expectAllAtTheirPlaces();
    expectAllRead(*file_.reader());
}

TEST_P(VersionPlace, IsTheSameAfterARestartAndForWhatARepairEnters) {
    std::uint64_t const lost = versions_[5];
    {
        auto const writer = file_.writer();
        for (std::uint64_t const version : versions_) {
            store(*writer, version);
        }
    }
    auto const place = ownPlace(lost);
    file_.wordAtIs(place, file_.wordAt(place) ^ 0x4000);
    auto const writer = file_.writer();
    expectAllAtTheirPlaces();
    expectAllRead(*writer);
}

// Two versions that meet at a place: the later one stands elsewhere in the bucket, and both are
// read.
TEST_P(VersionPlace, IsLeftToTheOneThatWasThereFirst) {
    std::uint64_t const first = GetParam() + 10;
    std::uint64_t const second = first + std::uint64_t{geometry_.bucketCount} * bucketEntries;
    ASSERT_EQ(ownPlace(first), ownPlace(second));
    auto const writer = file_.writer();
    store(*writer, first);
    store(*writer, second);
    EXPECT_TRUE(standsAtItsPlace(first));
    EXPECT_FALSE(standsAtItsPlace(second));
    expectAllRead(*writer);
    expectAllRead(*file_.reader());
    ASSERT_TRUE(writer->erase(first));
    content_.erase(first);
    EXPECT_EQ(get(*writer, first), -1);
    expectAllRead(*writer);
    expectAllRead(*file_.reader());
}

// As a writer leaves them that takes the first entry that is free.
TEST_P(VersionPlace, IsNotNeededByALogOfAnOlderWriter) {
    {
        auto const writer = file_.writer();
        for (std::uint64_t const version : versions_) {
            store(*writer, version);
        }
    }
    placesAre([this](Words& words) {
        std::shuffle(words.begin(), words.end(), random_);
        std::stable_partition(words.begin(), words.end(),
                              [](std::uint64_t word) { return word != 0; });
    });
    auto const elsewhere = std::ranges::count_if(
        versions_, [this](std::uint64_t version) { return !standsAtItsPlace(version); });
    ASSERT_GT(elsewhere, capacity / 2);
    expectAsGood();
}

// Every word one entry further, so that none stands at its own place.
TEST_P(VersionPlace, IsNotNeededByALogWhoseWordsAllStandElsewhere) {
    {
        auto const writer = file_.writer();
        for (std::uint64_t const version : versions_) {
            store(*writer, version);
        }
    }
    placesAre([](Words& words) { std::rotate(words.begin(), words.begin() + 6, words.end()); });
    ASSERT_TRUE(std::ranges::none_of(
        versions_, [this](std::uint64_t version) { return standsAtItsPlace(version); }));
    expectAsGood();
}

INSTANTIATE_TEST_SUITE_P(Versions, VersionPlace,
                         testing::Values(1, (std::uint64_t{1} << 32) - 50,
                                         (std::uint64_t{5} << 32) + 3));

} // namespace
