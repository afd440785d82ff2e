#include <gtest/gtest.h>

#include <apps/policy/Codec.h>
#include <apps/policy/EntryLayout.h>
#include <apps/policy/RuleKey.h>
#include <apps/policy/generator/Random.h>
#include <array>

namespace LoamPolicy {
namespace {

constexpr std::array<PolicyKind, kindCount> allKinds{
    PolicyKind::EgressOlp,   PolicyKind::Ipv4System, PolicyKind::Ipv6System,
    PolicyKind::MacSystem,   PolicyKind::MplsSystem, PolicyKind::TunnelTermination,
    PolicyKind::VxlanAnycast};

std::uint32_t wordAt(std::vector<std::byte> const& fields, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i > 0; --i) {
        word = word << 8 | std::to_integer<std::uint32_t>(fields.at(offset - keySize + i - 1));
    }
    return word;
}

template <class T>
void fill(Random& random, T& number) {
    number = static_cast<T>(random.next());
}

template <std::size_t N>
void fill(Random& random, std::array<std::uint8_t, N>& bytes) {
    for (auto& byte : bytes) {
        fill(random, byte);
    }
}

template <class T>
void fill(Random& random, Masked<T>& field) {
    fill(random, field.value);
    fill(random, field.mask);
}

template <class T>
void fill(Random& random, Range<T>& range) {
    fill(random, range.low);
    fill(random, range.high);
    range.checked = random.oneIn(2);
}

void fill(Random& random, IpConditions& ip) {
    fill(random, ip.protocol);
    fill(random, ip.icmpType);
    fill(random, ip.icmpCode);
    ip.transportDetail = static_cast<TransportDetail>(random.below(6));
    fill(random, ip.tcpFlags);
    fill(random, ip.dscpSet);
    fill(random, ip.length);
    fill(random, ip.sourcePort);
    fill(random, ip.destinationPort);
    fill(random, ip.hopLimitMin);
    fill(random, ip.hopLimitMax);
}

Match randomMatch(Random& random, PolicyKind kind) {
    switch (kind) {
    case PolicyKind::EgressOlp: {
        OlpMatch m;
        fill(random, m.egressPort);
        fill(random, m.ethertype);
        fill(random, m.vlanId);
        fill(random, m.trafficClass);
        fill(random, m.channel);
        m.packetType = static_cast<OlpPacketType>(random.below(7));
        return m;
    }
    case PolicyKind::Ipv4System: {
        Ipv4Match m;
        fill(random, m.source);
        fill(random, m.destination);
        fill(random, m.ip);
        fill(random, m.fragmentOffset);
        return m;
    }
    case PolicyKind::Ipv6System: {
        Ipv6Match m;
        fill(random, m.source);
        fill(random, m.destination);
        fill(random, m.ip);
        fill(random, m.sourceFlowLabel);
        fill(random, m.destinationFlowLabel);
        return m;
    }
    case PolicyKind::MacSystem: {
        MacMatch m;
        fill(random, m.source);
        fill(random, m.destination);
        fill(random, m.ethertype);
        return m;
    }
    case PolicyKind::MplsSystem: {
        MplsMatch m;
        fill(random, m.label);
        fill(random, m.trafficClass);
        fill(random, m.ttl);
        return m;
    }
    case PolicyKind::TunnelTermination: {
        TunnelMatch m;
        m.type = static_cast<TunnelType>(random.below(12));
        fill(random, m.ipVersion);
        fill(random, m.source);
        fill(random, m.destination);
        fill(random, m.vrfId);
        fill(random, m.udpPort);
        fill(random, m.tunnelKey);
        fill(random, m.hopLimitMin);
        fill(random, m.hopLimitMax);
        return m;
    }
    case PolicyKind::VxlanAnycast:
        break;
    }
    VxlanMatch m;
    fill(random, m.vni);
    fill(random, m.vtep);
    fill(random, m.udpPort);
    fill(random, m.vrfId);
    return m;
}

/// With the members that the kind's table stores, the others at their defaults.
Action randomAction(Random& random, PolicyKind kind) {
    Action action;
    action.verdict = static_cast<Verdict>(random.below(4));
    action.log = random.oneIn(2);
    action.count = random.oneIn(2);
    action.toCpu = static_cast<ToCpu>(random.below(3));
    fill(random, action.cpuQueue.value);
    action.cpuQueue.given = random.oneIn(2);
    action.trafficClass = {static_cast<std::uint8_t>(random.below(8)), random.oneIn(2)};
    action.mirrorSession = static_cast<std::uint8_t>(random.below(16));
    fill(random, action.policeRate);
    action.policeUnit = static_cast<PoliceUnit>(random.below(2));
    if (kind != PolicyKind::VxlanAnycast) {
        fill(random, action.policeBurst);
    }
    if (kind == PolicyKind::Ipv4System || kind == PolicyKind::Ipv6System) {
        action.setDscp = {static_cast<std::uint8_t>(random.below(64)), random.oneIn(2)};
    }
    if (kind == PolicyKind::MacSystem) {
        fill(random, action.setVlanId);
    }
    if (kind == PolicyKind::MplsSystem) {
        action.setMplsTc = {static_cast<std::uint8_t>(random.below(8)), random.oneIn(2)};
    }
    if (kind == PolicyKind::TunnelTermination) {
        fill(random, action.innerVrfId);
        fill(random, action.maxInnerTtl);
    }
    return action;
}

Match emptyMatch(PolicyKind kind) {
    std::array<Match, kindCount> const all{OlpMatch{},  Ipv4Match{},   Ipv6Match{}, MacMatch{},
                                           MplsMatch{}, TunnelMatch{}, VxlanMatch{}};
    return all.at(static_cast<std::size_t>(kind));
}

TEST(Codec, EveryEntryTableGivesBackWhatWasStored) {
    Random random(1);
    for (PolicyKind const kind : allKinds) {
        for (int i = 0; i < 200; ++i) {
            Entry entry{.priority = 0, .actionKey = 0, .match = randomMatch(random, kind)};
            fill(random, entry.priority);
            fill(random, entry.actionKey);
            auto const decoded = decodeEntry(kind, encodeEntry(entry));
            ASSERT_TRUE(std::holds_alternative<Entry>(decoded)) << kindName(kind);
            ASSERT_EQ(std::get<Entry>(decoded), entry) << kindName(kind);
        }
    }
}

TEST(Codec, EveryActionTableGivesBackWhatWasStored) {
    Random random(2);
    for (PolicyKind const kind : allKinds) {
        for (int i = 0; i < 200; ++i) {
            Action const action = randomAction(random, kind);
            auto const decoded = decodeAction(kind, encodeAction(kind, action));
            ASSERT_TRUE(std::holds_alternative<Action>(decoded)) << kindName(kind);
            ASSERT_EQ(std::get<Action>(decoded), action) << kindName(kind);
        }
    }
}

TEST(Codec, RecordsHaveTheSizesOfTheFourteenTables) {
    std::array<std::size_t, 14> const sizes{20,  36, 32, 136, 32,  160, 40,
                                            104, 28, 76, 44,  108, 16,  36};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        auto const table = tableOf(static_cast<std::uint16_t>(firstTblId + i));
        ASSERT_TRUE(table);
        EXPECT_EQ(fieldsSize(table->kind, table->holds) + keySize, sizes.at(i)) << i;
    }
}

/// The bytes of a new record: zero, the format 1, and 255 at one offset or none.
std::vector<std::byte> newRecord(PolicyKind kind, TableHolds holds, std::size_t word255) {
    std::vector<std::byte> fields(fieldsSize(kind, holds));
    fields.at(0) = std::byte{1};
    if (word255 != 0) {
        fields.at(word255 - keySize) = std::byte{255};
    }
    return fields;
}

TEST(Codec, TheEntryThatMatchesEverythingIsTheNewRecord) {
    std::array<std::size_t, kindCount> const word255{0, 96, 120, 0, 0, 72, 0};
    for (PolicyKind const kind : allKinds) {
        auto const fields = encodeEntry({.priority = 0, .actionKey = 0, .match = emptyMatch(kind)});
        EXPECT_EQ(fields,
                  newRecord(kind, TableHolds::Entries, word255.at(static_cast<std::size_t>(kind))))
            << kindName(kind);
    }
}

TEST(Codec, TheActionThatDecidesNothingIsTheNewRecord) {
    for (PolicyKind const kind : allKinds) {
        std::size_t const word255 = kind == PolicyKind::TunnelTermination ? 28 : 0;
        EXPECT_EQ(encodeAction(kind, Action{}), newRecord(kind, TableHolds::Actions, word255))
            << kindName(kind);
    }
}

TEST(Codec, NumbersAreStoredInLittleEndianOrder) {
    auto const fields = encodeEntry({.priority = 0x01020304, .actionKey = 5, .match = MacMatch{}});
    EXPECT_EQ(fields.at(4), std::byte{4});
    EXPECT_EQ(fields.at(7), std::byte{1});
    EXPECT_EQ(wordAt(fields, EntryHeadLayout::actionKey.offset), 5u);
}

TEST(Codec, ThePaddingOfIpv4StaysZero) {
    Random random(3);
    auto const fields = encodeEntry(
        {.priority = 1, .actionKey = 1, .match = randomMatch(random, PolicyKind::Ipv4System)});
    for (std::size_t offset = Ipv4EntryLayout::paddingAt; offset < 136; ++offset) {
        EXPECT_EQ(fields.at(offset - keySize), std::byte{0}) << offset;
    }
}

std::string entryComplaint(PolicyKind kind, std::vector<std::byte> const& fields) {
    auto const decoded = decodeEntry(kind, fields);
    auto const* error = std::get_if<DecodeError>(&decoded);
    return error == nullptr ? "" : error->reason;
}

TEST(Codec, SaysWhatIsWrongWithBytesThatAreNoRecord) {
    auto const good = newRecord(PolicyKind::Ipv4System, TableHolds::Entries, 96);
    EXPECT_EQ(entryComplaint(PolicyKind::Ipv4System, good), "");

    auto bytes = good;
    bytes.at(0) = std::byte{2};
    EXPECT_EQ(entryComplaint(PolicyKind::Ipv4System, bytes), "record format 2, expected 1");

    bytes = good;
    bytes.at(Ipv4EntryLayout::transportDetail.offset - keySize) = std::byte{6};
    EXPECT_EQ(entryComplaint(PolicyKind::Ipv4System, bytes),
              "the field at offset 38 holds no possible value");

    bytes = good;
    bytes.at(97 - keySize) = std::byte{1};
    EXPECT_EQ(entryComplaint(PolicyKind::Ipv4System, bytes),
              "the field at offset 96 holds no possible value");

    bytes.pop_back();
    EXPECT_EQ(entryComplaint(PolicyKind::Ipv4System, bytes),
              "131 bytes behind the key, expected 132");
}

TEST(Codec, AnyBytesAreDecodedOrRefused) {
    Random random(4);
    std::size_t refused = 0;
    for (int i = 0; i < 2000; ++i) {
        for (PolicyKind const kind : allKinds) {
            std::vector<std::byte> entry(fieldsSize(kind, TableHolds::Entries));
            std::vector<std::byte> action(fieldsSize(kind, TableHolds::Actions));
            for (auto* fields : {&entry, &action}) {
                for (auto& byte : *fields) {
                    byte = static_cast<std::byte>(random.next());
                }
            }
            refused += entryComplaint(kind, entry).empty() ? 0u : 1u;
            refused += std::holds_alternative<DecodeError>(decodeAction(kind, action)) ? 1u : 0u;
        }
    }
    EXPECT_GT(refused, 27000u);
}

TEST(RuleKey, HoldsSetAndSequence) {
    std::uint32_t const key = ruleKey(4095, 65000);
    EXPECT_EQ(setIdOfKey(key), 4095u);
    EXPECT_EQ(sequenceOfKey(key), 65000u);
    EXPECT_EQ(sequenceOfKey(ruleKey(1, maxSequence)), maxSequence);
}

TEST(RuleKey, TheNumberOfANameNeverChanges) {
    EXPECT_EQ(setIdOfName(""), 1 + 2166136261u % 4095);
    // FNV-1a of "a" is 0xe40c292c in the published test vectors.
    EXPECT_EQ(setIdOfName("a"), 1 + 0xe40c292cu % 4095);
}

} // namespace
} // namespace LoamPolicy
