#include "EntryLogFixture.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>

#include <concepts>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

using Map = Family::ConfigSlate::Map;

class Records : public MountedEntryLogTest {};
using RecordsDeathTest = Records;

// A key of one table is nothing to another.
static_assert(!std::convertible_to<Ipv4SystemPolicyTcamActionEntryKey, Key>);
static_assert(!std::constructible_from<Key, Ipv4SystemPolicyTcamActionEntryKey>);
static_assert(sizeof(Ipv4SystemPolicyTcamActionEntryKey) == sizeof(Key));

template <typename T>
T at(void const* record, std::size_t offset) {
    T value;
    std::memcpy(&value, static_cast<char const*>(record) + offset, sizeof value);
    return value;
}

TEST(RecordLayout, AConfigurationRecordHasItsFieldsAtTheirPlaces) {
    constexpr std::size_t L = 136;
    auto const entry = logEntryOf(Key{0x01020304}, 9);
    ConfigSlateEntry const record{entry, ResourceKeys{}, 0x1122334455667788, true};
    ASSERT_EQ(sizeof record, L + 16);
    EXPECT_EQ(std::memcmp(&record, &entry, LogEntry::declaredBytes), 0);
    EXPECT_EQ(at<std::uint64_t>(&record, L + 4), 0x1122334455667788U);
    EXPECT_EQ(at<std::uint8_t>(&record, L + 12), 1);
    EXPECT_EQ(reinterpret_cast<char const*>(&record.rsrcKeys()) -
                  reinterpret_cast<char const*>(&record),
              std::ptrdiff_t{L});
    EXPECT_EQ(sizeof(Family::Entry), L + 4);
    EXPECT_EQ(static_cast<void const*>(&record.entry()), &record);
    EXPECT_EQ(record.key(), Key{0x01020304});
}

TEST(RecordLayout, ALogRecordHasItsFieldsAtTheirPlaces) {
    constexpr std::size_t L = 136;
    auto const entry = logEntryOf(Key{7}, 9);
    LogSlateEntry const record{0x1122334455667788, Asic::EntryFlags::flagTableDeleted, 0x1234,
                               entry};
    ASSERT_EQ(sizeof record, L + 12);
    EXPECT_EQ(at<std::uint64_t>(&record, 0), 0x1122334455667788U);
    EXPECT_EQ(at<std::uint8_t>(&record, 8), 2);
    EXPECT_EQ(at<std::uint16_t>(&record, 10), 0x1234);
    EXPECT_EQ(std::memcmp(reinterpret_cast<char const*>(&record) + 12, &entry, L), 0);
}

TEST(RecordLayout, TheEmptyEntryIsZeroButForItsTwoDefaults) {
    LogEntry const empty{Key{0}};
    for (std::size_t offset = 0; offset < sizeof empty; offset += 4) {
        EXPECT_EQ(at<std::uint32_t>(&empty, offset), offset == 4    ? 1U
                                                     : offset == 96 ? 255U
                                                                    : 0U)
            << offset;
    }
    EXPECT_EQ(LogEntry::declaredBytes, 133U);
}

TEST(RecordLayout, TheDefaultRecordsAreTheEmptyOnes) {
    LogSlateEntry const change{};
    EXPECT_EQ(LogVersion{change.version}, 0U);
    EXPECT_EQ(change.logFlags, Asic::EntryFlags::none);
    EXPECT_EQ(change.unitId, 0xffff);
    EXPECT_EQ(change.logEntry, LogEntry{Key{0}});
    ConfigSlateEntry const record{};
    EXPECT_EQ(record.logEntry(), LogEntry{Key{0}});
    EXPECT_EQ(record.logVersion(), 0U);
    EXPECT_FALSE(record.inDeletion());
}

// --- equality

struct Difference {
    char const* name;
    ConfigSlateEntry record;
    bool equal;
};

class RecordEquality : public testing::TestWithParam<Difference> {};

TEST_P(RecordEquality, WithTheDefaultRecordHoldsForAllDefaultsAlone) {
    ConfigSlateEntry const standard{};
    EXPECT_EQ(ConfigSlateEntry::isEq(&GetParam().record, &standard), GetParam().equal);
}

INSTANTIATE_TEST_SUITE_P(
    Of, RecordEquality,
    testing::Values(Difference{"TheDefaults", {LogEntry{Key{0}}, {}, 0, false}, true},
                    Difference{"AVersion", {LogEntry{Key{0}}, {}, 1, false}, false},
                    Difference{
                        "AVersionAbove32Bits", {LogEntry{Key{0}}, {}, 0x1'0000'0000, false}, false},
                    Difference{"ADeletion", {LogEntry{Key{0}}, {}, 0, true}, false},
                    Difference{"AKey", {LogEntry{Key{1}}, {}, 0, false}, false},
                    Difference{"AField", {logEntryOf(Key{0}, 1), {}, 0, false}, false}),
    [](auto const& param) { return std::string{param.param.name}; });

TEST(LogEntryEquality, LooksAtEveryDeclaredByteAndAtNoOther) {
    LogEntry const one{Key{5}};
    for (std::size_t offset = 0; offset < sizeof one; ++offset) {
        LogEntry other{Key{5}};
        reinterpret_cast<unsigned char*>(&other)[offset] ^= 0x80;
        EXPECT_EQ(LogEntry::isEq(&one, &other), offset >= LogEntry::declaredBytes) << offset;
    }
}

// --- the map

TEST_F(Records, ALookupOfAnAbsentKeyGivesTheTypesDefaultRecord) {
    bool found = true;
    ConfigSlateEntry const& record = config().lookup(Key{1}, &found, nullptr);
    EXPECT_FALSE(found);
    EXPECT_EQ(&record, &Map::defaultRecord()) << "one per type and process";
    EXPECT_EQ(record.logVersion(), 0U);
    EXPECT_FALSE(record.inDeletion());
    found = true;
    EXPECT_EQ(changes().lookup(LogVersion{9}, &found, nullptr).unitId, 0xffff);
    EXPECT_FALSE(found);
}

TEST_F(Records, AWalkGoesOverStoresToAndRemovalsOfTheRecordUnderIt) {
    for (unsigned number = 0; number < 500; ++number) {
        write(Key{number}, 1);
    }
    std::set<std::uint32_t> seen;
    for (Map::IteratorConst i{&config()}; i; ++i) {
        Key const key = i->key();
        EXPECT_TRUE(seen.insert(key.number()).second) << "seen twice: " << key.number();
        if (key.number() % 2 == 0) {
            log->tableConfigSlate(0)->swTableEntriesDel(key);
        } else {
            storedIs(ConfigSlateEntry{logEntryOf(key, 2), {}, 1, true});
        }
    }
    EXPECT_EQ(seen.size(), 500U);
    EXPECT_EQ(config().memberCount(), 250U);
}

TEST_F(RecordsDeathTest, AnIteratorAtTheEndIsNeitherReadNorStepped) {
    Map::IteratorConst end{&config()};
    EXPECT_DEATH(*end, "iter_");
    EXPECT_DEATH(++end, "iter_");
    Map::IteratorConst nothing{nullptr};
    EXPECT_DEATH(*nothing, "iter_");
}

TEST_F(Records, IteratorsAreEqualWhenBothStandOnARecordOrBothAreAtTheEnd) {
    write(Key{1}, 1);
    write(Key{2}, 1);
    Map::IteratorConst first{&config()};
    Map::IteratorConst second{&config()};
    ++second;
    EXPECT_TRUE(first == second);
    ++second;
    EXPECT_FALSE(first == second);
    EXPECT_TRUE(second == Map::IteratorConst{nullptr});
}

TEST_F(Records, StoringAKeyAgainReplacesItsRecord) {
    write(Key{1}, 1);
    write(Key{1}, 2);
    EXPECT_EQ(config().memberCount(), 1U);
    EXPECT_TRUE(log->tableConfigSlate(0)->swTableEntriesDel(Key{1}));
    EXPECT_FALSE(log->tableConfigSlate(0)->swTableEntriesDel(Key{1}));
}

TEST_F(Records, KeysOfEveryPatternAreToldApart) {
    std::vector<std::uint32_t> numbers{0, 0xffffffff};
    for (unsigned bit = 0; bit < 32; ++bit) {
        numbers.push_back(1U << bit);
    }
    for (std::uint32_t const number : numbers) {
        write(Key{number}, number & 0xff);
    }
    EXPECT_EQ(log->entrys(0), numbers.size());
    for (std::uint32_t const number : numbers) {
        EXPECT_EQ(valueOf(log->entry(Key{number}, 0)), number & 0xff) << number;
    }
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
