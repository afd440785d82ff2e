#include <Asic/Constants.h>
#include <LoamSystemAcl/AllTables.h>
#include <catalogue/Catalogue.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// What all tables are, held against what other programs and stored records rely on: once as numbers
// that are written here, and once as a text that shows every byte (LOAM_UPDATE_GOLDEN=1 writes it
// anew).
namespace LoamSystemAcl {
namespace {

struct Member {
    std::string_view name;
    std::uint32_t tableId;
    std::size_t entryBytes;
    std::size_t logEntryBytes;
    std::uint32_t configSeed;
    bool hasUnsetField; // a field whose default is 255
    bool alignsAtLoad;
};

constexpr Member members[] = {
    {"EgressOlpPolicyTcamAction", 0x08080401, 24, 20, 0x97e81469, false, true},
    {"EgressOlpPolicyTcamEntry", 0x08080402, 40, 36, 0x477f7296, false, true},
    {"Ipv4SystemPolicyTcamAction", 0x08080403, 36, 32, 0x3a469071, false, true},
    {"Ipv4SystemPolicyTcamEntry", 0x08080404, 140, 136, 0xa4f0a606, true, true},
    {"Ipv6SystemPolicyTcamAction", 0x08080405, 36, 32, 0x21eecfee, false, true},
    {"Ipv6SystemPolicyTcamEntry", 0x08080406, 164, 160, 0x4db440e5, true, true},
    {"MacSystemPolicyTcamAction", 0x08080407, 44, 40, 0x64eb1822, false, true},
    {"MacSystemPolicyTcamEntry", 0x08080408, 108, 104, 0x55081af9, false, true},
    {"MplsSystemPolicyTcamAction", 0x08080409, 32, 28, 0xe79a1670, false, true},
    {"MplsSystemPolicyTcamEntry", 0x0808040a, 80, 76, 0xb036b582, false, true},
    {"TunnelTerminationPolicyTcamAction", 0x0808040b, 48, 44, 0xe8e8f0c3, true, true},
    {"TunnelTerminationPolicyTcamEntry", 0x0808040c, 112, 108, 0xc6012359, true, true},
    {"VxlanAnycastPolicyTcamAction", 0x0808040d, 20, 16, 0xf1c778e9, false, false},
    {"VxlanAnycastPolicyTcamEntry", 0x0808040e, 40, 36, 0x6c50a432, false, false},
};

consteval Member member(std::string_view name) {
    for (Member const& each : members) {
        if (each.name == name) {
            return each;
        }
    }
    throw "no such table";
}

static_assert(AllTables::count == std::size(members));

// The numbers of each table, at compile time.
template <typename Table>
constexpr bool isAsListed() {
    constexpr Member expected = member(Table::Constants::tableName);
    constexpr std::size_t L = expected.logEntryBytes;
    static_assert(Table::Constants::tableId.number() == expected.tableId);
    static_assert(Table::Constants::tableId.agentId() == 8);
    static_assert(Table::Constants::tableId.groupId() == 8);
    static_assert(Table::Constants::tableId.agentAndGroupId() == 0x0808);
    static_assert(sizeof(typename Table::EntryKey) == 4);
    static_assert(sizeof(typename Table::LogEntry) == L);
    static_assert(sizeof(typename Table::Entry) == expected.entryBytes);
    static_assert(sizeof(typename Table::ConfigSlateEntry) == L + 16);
    static_assert(sizeof(typename Table::LogSlateEntry) == L + 12);
    static_assert(offsetof(typename Table::LogSlateEntry, version) == 0);
    static_assert(offsetof(typename Table::LogSlateEntry, logFlags) == 8);
    static_assert(offsetof(typename Table::LogSlateEntry, unitId) == 10);
    static_assert(offsetof(typename Table::LogSlateEntry, logEntry) == 12);
    static_assert(Table::Constants::row.configSeed == expected.configSeed);
    static_assert(Table::Constants::row.alignsAtLoad == expected.alignsAtLoad);
    static_assert((Table::Constants::row.unsetFieldOffset != 0) == expected.hasUnsetField);
    return true;
}

template <typename... Tables>
constexpr bool allAsListed(TableList<Tables...>) {
    return (isAsListed<Tables>() && ...);
}
static_assert(allAsListed(AllTables{}));

// A key of one table can't be given to another, though all are equally wide.
template <typename Table, typename... Tables>
constexpr unsigned tablesThatTakeTheKeyOf(TableList<Tables...>) {
    return (0U + ... +
            unsigned{std::is_convertible_v<typename Table::EntryKey, typename Tables::EntryKey> ||
                     std::is_constructible_v<typename Tables::Entry, typename Table::EntryKey>});
}

template <typename... Tables>
constexpr bool keysAreApart(TableList<Tables...> all) {
    return ((tablesThatTakeTheKeyOf<Tables>(all) == 1) && ...);
}
static_assert(keysAreApart(AllTables{}));

using Bytes = std::vector<std::uint8_t>;

template <typename T>
Bytes bytesOf(T const& value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

// The first byte in which two values differ.
template <typename T>
std::size_t differsAt(T const& left, T const& right) {
    Bytes const one = bytesOf(left);
    Bytes const other = bytesOf(right);
    return static_cast<std::size_t>(std::mismatch(one.begin(), one.end(), other.begin()).first -
                                    one.begin());
}

std::string nonZero(Bytes const& bytes) {
    std::string text;
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        if (bytes[offset] != 0) {
            text += fmt::format(" {}:{:02x}", offset, bytes[offset]);
        }
    }
    return text.empty() ? " none" : text;
}

// Everything about a table, by looking at objects rather than at declarations.
template <typename Table>
std::string describe() {
    using C = typename Table::Constants;
    using Key = typename Table::EntryKey;
    using LogEntry = typename Table::LogEntry;
    using Record = typename Table::ConfigSlateEntry;
    using Change = typename Table::LogSlateEntry;

    Key const key{0};
    LogEntry const empty{key};
    typename Table::Entry const entry{key};
    Record const record{empty, entry.rsrcKeys(), 0, false};
    auto const offsetIn = [](auto const& whole, auto const& part) {
        return reinterpret_cast<char const*>(&part) - reinterpret_cast<char const*>(&whole);
    };
    Change const change;
    std::string text = fmt::format("{}\n", C::tableName);
    auto const line = [&](std::string const& what) { text += "    " + what + "\n"; };
    line(fmt::format("id {:#010x}, shown {}; {}, {}", C::tableId.number(), C::tableId,
                     C::row.policy, C::row.holds));
    line(fmt::format("agent {}, group {}, namespace {}", C::agentName, C::groupName,
                     C::tableNamespace));
    line(fmt::format("bytes: key {}, entry {}, log entry {} of which {} are fields, "
                     "record of a unit {}, record of the log {}",
                     sizeof key, sizeof entry, sizeof empty, LogEntry::declaredBytes, sizeof record,
                     sizeof change));
    line(fmt::format("in an entry: log entry at {}, resource keys at {}",
                     offsetIn(entry, entry.logEntry()), offsetIn(entry, entry.rsrcKeys())));
    line(fmt::format("in a record of a unit: logEntry at {}, rsrcKeys at {}, logVersion at {}, "
                     "inDeletion at {}",
                     offsetIn(record, record.logEntry()), offsetIn(record, record.rsrcKeys()),
                     differsAt(record, Record{empty, entry.rsrcKeys(), 1, false}),
                     differsAt(record, Record{empty, entry.rsrcKeys(), 0, true})));
    line(fmt::format("in a record of the log: version at {}, logFlags at {}, unitId at {}, "
                     "logEntry at {}",
                     offsetIn(change, change.version), offsetIn(change, change.logFlags),
                     offsetIn(change, change.unitId), offsetIn(change, change.logEntry)));
    line("default log entry, bytes that are not 0:" + nonZero(bytesOf(empty)));
    line("default record of a unit, bytes that are not 0:" + nonZero(bytesOf(Record{})));
    line("default record of the log, bytes that are not 0:" + nonZero(bytesOf(change)));
    line("change log " + C::tableEntryLogSlatePath().str());
    line("unit 7 " + C::configSlatePath(7).str());
    line(fmt::format("classes {}, {}", Table::EntryLogSlate::typeName,
                     Table::ConfigSlate::typeName));
    return text;
}

TEST(Family, IsWhatTheGoldenTextSays) {
    std::string text;
    AllTables::forEach([&]<typename Table>() { text += describe<Table>() + "\n"; });
    if (std::getenv("LOAM_UPDATE_GOLDEN") != nullptr) {
        std::ofstream{LOAM_GOLDEN_FILE} << text;
    }
    std::ifstream file{LOAM_GOLDEN_FILE};
    ASSERT_TRUE(file) << LOAM_GOLDEN_FILE;
    std::stringstream golden;
    golden << file.rdbuf();
    EXPECT_EQ(text, golden.str()) << "to accept the new text, run with LOAM_UPDATE_GOLDEN=1";
}

TEST(Family, StandsInTheOrderOfItsIdentifiersWhichCountUpByOne) {
    std::uint32_t expected = 0x08080401;
    AllTables::forEach([&]<typename Table>() {
        EXPECT_EQ(Table::Constants::tableId.number(), expected++) << Table::Constants::tableName;
    });
}

TEST(Family, IsNamedAfterItsPolicyAndWhatItHolds) {
    AllTables::forEach([&]<typename Table>() {
        std::string_view const name = Table::Constants::tableName;
        EXPECT_TRUE(name.ends_with(Table::Constants::row.holds == "actions" ? "Action" : "Entry"))
            << name;
        EXPECT_EQ(Table::Constants::row.name, name);
    });
}

TEST(Family, AnEmptyEntryHoldsOneInItsFirstFieldAnd255WhereTheTableHasAnUnsetField) {
    AllTables::forEach([&]<typename Table>() {
        typename Table::EntryKey const key{0xa1b2c3d4};
        typename Table::LogEntry const entry{key};
        EXPECT_EQ(entry.key(), key);
        std::vector<std::uint32_t> words(sizeof entry / 4);
        std::memcpy(words.data(), &entry, sizeof entry);
        EXPECT_EQ(words[1], 1U) << Table::Constants::tableName;
        unsigned unset = 0;
        for (std::size_t word = 2; word < words.size(); ++word) {
            EXPECT_TRUE(words[word] == 0 || words[word] == 255) << word;
            unset += words[word] == 255 ? 1 : 0;
        }
        EXPECT_EQ(unset, Table::Constants::row.unsetFieldOffset != 0 ? 1U : 0U);
    });
}

TEST(Family, EveryCollectionHasAHashOfItsOwn) {
    std::set<std::uint32_t> seeds;
    for (catalogue::Row const& row : catalogue::rows) {
        for (std::uint32_t const seed : {row.addSeed, row.removeSeed, row.versionSeed,
                                         row.markedSeed, row.snapshotSeed, row.configSeed}) {
            EXPECT_TRUE(seeds.insert(seed).second) << row.name;
        }
    }
}

TEST(Family, NoTwoPathsAreTheSameAndAUnitIsReadBackFromItsPath) {
    std::set<Ombra::String> paths;
    AllTables::forEach([&]<typename Table>() {
        EXPECT_TRUE(paths.insert(Table::Constants::tableEntryLogSlatePath()).second);
        for (Asic::UnitId const unitId : std::initializer_list<Asic::UnitId>{0, 1, 10, 65535}) {
            auto const path = Table::Constants::configSlatePath(unitId);
            EXPECT_TRUE(paths.insert(path).second) << path;
            EXPECT_EQ(Asic::Constants::getUnitIdFromConfigPath(path), unitId);
        }
    });
}

TEST(Family, AKeyIsMadeFromAndReadAsItsNumber) {
    AllTables::forEach([&]<typename Table>() {
        using Key = typename Table::EntryKey;
        Key const small{1};
        Key const large{0xffff0000};
        EXPECT_EQ(large.number(), 0xffff0000U);
        EXPECT_TRUE(small < large);
        EXPECT_TRUE(Key::isEq(&small, &small));
        EXPECT_FALSE(Key::isEq(&small, &large));
        EXPECT_EQ(fmt::format("{}", small), "0x00000001");
        EXPECT_NE(small.hash(1), small.hash(2));
        EXPECT_EQ(small.hash(1), Key{1}.hash(1));
    });
}

} // namespace
} // namespace LoamSystemAcl
