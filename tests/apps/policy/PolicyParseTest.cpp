#include "PolicyText.h"

#include <apps/policy/RuleKey.h>

namespace LoamPolicy::Test {
namespace {

TEST(PolicyParse, AnAclWithoutSetsIsAPolicyWithoutRules) {
    EXPECT_TRUE(rulesOf(R"({"openconfig-acl:acl":{}})").empty());
    EXPECT_TRUE(
        rulesOf(R"({"openconfig-acl:acl":{"config":{},"acl-sets":{"acl-set":[]}}})").empty());
}

TEST(PolicyParse, AnEntryBecomesAnActionAndAnEntryUnderOneKey) {
    auto const rules = rulesOf(fileOf(setOf("edge", "ACL_IPV4", entryOf(70))));
    ASSERT_EQ(rules.size(), 1u);
    std::uint32_t const key = ruleKey(setIdOfName("edge"), 70);
    EXPECT_EQ(rules[0].action.tblId, 0x0403);
    EXPECT_EQ(rules[0].entry.tblId, 0x0404);
    EXPECT_EQ(rules[0].action.key, key);
    EXPECT_EQ(rules[0].entry.key, key);
    EXPECT_EQ(rules[0].action.fields.size(), 28u);
    EXPECT_EQ(rules[0].entry.fields.size(), 132u);
    auto const entry = std::get<Entry>(decodeEntry(PolicyKind::Ipv4System, rules[0].entry.fields));
    EXPECT_EQ(entry.actionKey, key);
    EXPECT_EQ(entry.match, Match(Ipv4Match{}));
}

TEST(PolicyParse, EachTypeHasItsTwoTables) {
    std::array<std::pair<char const*, std::uint16_t>, 7> const types{{
        {"loam-acl-ext:ACL_EGRESS_OLP", 0x0401},
        {"openconfig-acl:ACL_IPV4", 0x0403},
        {"ACL_IPV6", 0x0405},
        {"ACL_L2", 0x0407},
        {"ACL_MPLS", 0x0409},
        {"loam-acl-ext:ACL_TUNNEL_TERMINATION", 0x040B},
        {"loam-acl-ext:ACL_VXLAN_ANYCAST", 0x040D},
    }};
    for (auto const& [type, tblId] : types) {
        auto const rules = rulesOf(fileWithMatch(type, ""));
        ASSERT_EQ(rules.size(), 1u) << type;
        EXPECT_EQ(rules[0].action.tblId, tblId);
        EXPECT_EQ(rules[0].entry.tblId, tblId + 1);
    }
}

TEST(PolicyParse, RulesComeBySequenceWhateverTheirOrderInTheFile) {
    auto const rules =
        rulesOf(fileOf(setOf("b", "ACL_L2", entryOf(30) + "," + entryOf(10) + "," + entryOf(20)) +
                       "," + setOf("a", "ACL_L2", entryOf(5))));
    ASSERT_EQ(rules.size(), 4u);
    EXPECT_EQ(rules[0].text, "b 10");
    EXPECT_EQ(rules[1].text, "b 20");
    EXPECT_EQ(rules[2].text, "b 30");
    EXPECT_EQ(rules[3].text, "a 5");
    std::uint32_t previous = 0;
    for (PolicyRule const& rule : rules) {
        auto const entry = std::get<Entry>(decodeEntry(PolicyKind::MacSystem, rule.entry.fields));
        EXPECT_GT(entry.priority, previous);
        previous = entry.priority;
    }
}

TEST(PolicyParse, AnEditLeavesTheRecordsOfOtherEntriesAsTheyAre) {
    auto const before = rulesOf(fileOf(setOf("s", "ACL_IPV6", entryOf(10) + "," + entryOf(30))));
    auto const after = rulesOf(
        fileOf(setOf("other", "ACL_IPV4", entryOf(10)) + "," +
               setOf("s", "ACL_IPV6", entryOf(10) + "," + entryOf(20) + "," + entryOf(30))));
    ASSERT_EQ(before.size(), 2u);
    ASSERT_EQ(after.size(), 4u);
    EXPECT_EQ(after[1].entry, before[0].entry);
    EXPECT_EQ(after[3].entry, before[1].entry);
    EXPECT_EQ(after[3].action, before[1].action);
}

TEST(PolicyParse, MembersMayComeInAnyOrder) {
    auto const rules = rulesOf(
        R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[{"acl-entries":{"acl-entry":[)"
        R"({"actions":{"config":{"log-action":"LOG_SYSLOG","forwarding-action":"DROP"}},)"
        R"("l2":{"config":{"source-mac-mask":"ff:00:00:00:00:00","source-mac":"12:34:00:00:00:00"}},)"
        R"("config":{"description":"two\nlines","sequence-id":1},"sequence-id":1}]},)"
        R"("config":{"type":"ACL_L2","name":"n"},"type":"openconfig-acl:ACL_L2","name":"n"}]}}})");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0].text, "n 1: two lines");
    auto const match = matchOf<MacMatch>(rules[0]);
    EXPECT_EQ(match.source.value, (MacBytes{0x12, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(actionOf(rules[0]).log);
    EXPECT_EQ(actionOf(rules[0]).verdict, Verdict::Drop);
}

TEST(PolicyParse, AGivenSetIdReplacesTheOneOfTheName) {
    auto const rules =
        rulesOf(fileOf(R"({"name":"s","type":"ACL_L2","config":{"name":"s","type":"ACL_L2",)"
                       R"("loam-acl-ext:set-id":7},"acl-entries":{"acl-entry":[)" +
                       entryOf(3) + "]}}"));
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0].entry.key, ruleKey(7, 3));
}

TEST(PolicyParse, TheSameNameMayBeUsedByEveryType) {
    EXPECT_EQ(rulesOf(fileOf(setOf("s", "ACL_IPV4", entryOf(1)) + "," +
                             setOf("s", "ACL_IPV6", entryOf(1))))
                  .size(),
              2u);
}

TEST(Ipv4Match, TakesEveryLeaf) {
    auto const match = parsedMatch<Ipv4Match>(
        "ACL_IPV4",
        R"("ipv4":{"config":{"source-address":"192.0.2.77/24","destination-address":"10.0.0.1/32",)"
        R"("dscp-set":[46,48],"length":100,"protocol":"openconfig-packet-match-types:IP_TCP",)"
        R"("hop-limit":255,"fragment-offsets":[8191]}},)"
        R"("transport":{"config":{"source-port":"1024..65535","destination-port":179,)"
        R"("detail-mode":"EXPLICIT","explicit-detail-match-mode":"ANY",)"
        R"("explicit-tcp-flags":["openconfig-packet-match-types:TCP_SYN",)"
        R"("openconfig-packet-match-types:TCP_CWR"]}})");
    EXPECT_EQ(match.source.value, (Ipv4Bytes{192, 0, 2, 0}));
    EXPECT_EQ(match.destination.mask, (Ipv4Bytes{255, 255, 255, 255}));
    EXPECT_EQ(match.ip.dscpSet, std::uint64_t{1} << 46 | std::uint64_t{1} << 48);
    EXPECT_EQ(match.ip.length, (Masked<std::uint16_t>{100, 0xffff}));
    EXPECT_EQ(match.ip.protocol, (Masked<std::uint8_t>{6, 0xff}));
    EXPECT_EQ(match.ip.hopLimitMin, 255);
    EXPECT_EQ(match.ip.hopLimitMax, 255);
    EXPECT_EQ(match.fragmentOffset, (Masked<std::uint16_t>{8191, 0x1fff}));
    EXPECT_EQ(match.ip.sourcePort, (Range<std::uint16_t>{1024, 65535, true}));
    EXPECT_EQ(match.ip.destinationPort, (Range<std::uint16_t>{179, 179, true}));
    EXPECT_EQ(match.ip.transportDetail, TransportDetail::AnyFlag);
    EXPECT_EQ(match.ip.tcpFlags, 0x82);
}

TEST(Ipv4Match, AnyIsAWildcard) {
    auto const match =
        parsedMatch<Ipv4Match>("ACL_IPV4", R"("ipv4":{"config":{"fragment-offsets":["ANY",5]}},)"
                                           R"("transport":{"config":{"source-port":"ANY"}})");
    EXPECT_EQ(match, Ipv4Match{});
}

TEST(Ipv4Match, AProtocolIsANumberOrAnIdentity) {
    auto const ospf = parsedMatch<Ipv4Match>("ACL_IPV4", R"("ipv4":{"config":{"protocol":89}})");
    EXPECT_EQ(ospf.ip.protocol.value, 89);
    auto const pim = parsedMatch<Ipv4Match>(
        "ACL_IPV4", R"("ipv4":{"config":{"protocol":"openconfig-packet-match-types:IP_PIM"}})");
    EXPECT_EQ(pim.ip.protocol.value, 103);
}

TEST(Ipv4Match, AnIcmpCodeImpliesTypeAndProtocol) {
    auto const match = parsedMatch<Ipv4Match>(
        "ACL_IPV4",
        R"("ipv4":{"icmpv4":{"config":{"code":"openconfig-icmpv4-types:DST_UNREACHABLE_PORT"}}})");
    EXPECT_EQ(match.ip.protocol, (Masked<std::uint8_t>{1, 0xff}));
    EXPECT_EQ(match.ip.icmpType, (Masked<std::uint8_t>{3, 0xff}));
    EXPECT_EQ(match.ip.icmpCode, (Masked<std::uint8_t>{3, 0xff}));
}

TEST(Ipv4Match, TheIdentityOfAllCodesOfATypeComparesTheTypeAlone) {
    auto const match = parsedMatch<Ipv4Match>(
        "ACL_IPV4",
        R"("ipv4":{"icmpv4":{"config":{"code":"openconfig-icmpv4-types:TIME_EXCEEDED_CODE"}}})");
    EXPECT_EQ(match.ip.icmpType, (Masked<std::uint8_t>{11, 0xff}));
    EXPECT_EQ(match.ip.icmpCode, Masked<std::uint8_t>{});
}

TEST(Ipv4Match, ATcpStateImpliesTheProtocol) {
    auto const match = parsedMatch<Ipv4Match>(
        "ACL_IPV4", R"("transport":{"config":{"builtin-detail":"TCP_ESTABLISHED",)"
                    R"("detail-mode":"BUILTIN"}})");
    EXPECT_EQ(match.ip.protocol.value, 6);
    EXPECT_EQ(match.ip.transportDetail, TransportDetail::TcpEstablished);
}

TEST(Ipv6Match, TakesItsOwnLeaves) {
    auto const match = parsedMatch<Ipv6Match>(
        "ACL_IPV6",
        R"("ipv6":{"config":{"source-address":"fe80::/10","destination-address":"ff02::1/128",)"
        R"("source-flow-label":1048575,"destination-flow-label":0,"dscp":48,"hop-limit":255},)"
        R"("icmpv6":{"config":{"type":"openconfig-icmpv6-types:NEIGHBOR_SOLICITATION"}}})");
    EXPECT_EQ(match.source.mask[1], 0xc0);
    EXPECT_EQ(match.destination.value[15], 1);
    EXPECT_EQ(match.sourceFlowLabel, (Masked<std::uint32_t>{0xfffff, 0xfffff}));
    EXPECT_EQ(match.destinationFlowLabel, (Masked<std::uint32_t>{0, 0xfffff}));
    EXPECT_EQ(match.ip.dscpSet, std::uint64_t{1} << 48);
    EXPECT_EQ(match.ip.protocol.value, 58);
    EXPECT_EQ(match.ip.icmpType.value, 135);
}

TEST(MacMatch, AnEthertypeIsANumberOrAnIdentity) {
    auto const lldp = parsedMatch<MacMatch>(
        "ACL_L2", R"("l2":{"config":{"destination-mac":"01:80:C2:00:00:0E",)"
                  R"("ethertype":"openconfig-packet-match-types:ETHERTYPE_LLDP"}})");
    EXPECT_EQ(lldp.ethertype, (Masked<std::uint16_t>{0x88cc, 0xffff}));
    EXPECT_EQ(lldp.destination.value, (MacBytes{1, 0x80, 0xc2, 0, 0, 0x0e}));
    auto const lacp = parsedMatch<MacMatch>("ACL_L2", R"("l2":{"config":{"ethertype":34825}})");
    EXPECT_EQ(lacp.ethertype.value, 0x8809);
}

TEST(MplsMatch, AMissingBoundOfTheLabelRangeIsOpen) {
    auto const from =
        parsedMatch<MplsMatch>("ACL_MPLS", R"("mpls":{"config":{"start-label-value":16000}})");
    EXPECT_EQ(from.label, (Range<std::uint32_t>{16000, 1048575, true}));
    auto const to = parsedMatch<MplsMatch>(
        "ACL_MPLS", R"("mpls":{"config":{"end-label-value":"ROUTER_ALERT","traffic-class":0,)"
                    R"("ttl-value":1}})");
    EXPECT_EQ(to.label, (Range<std::uint32_t>{0, 1, true}));
    EXPECT_EQ(to.trafficClass, (Masked<std::uint8_t>{0, 7}));
    EXPECT_EQ(to.ttl, (Masked<std::uint8_t>{1, 0xff}));
}

TEST(VxlanMatch, TakesEveryLeaf) {
    auto const match = parsedMatch<VxlanMatch>(
        "loam-acl-ext:ACL_VXLAN_ANYCAST",
        R"("loam-acl-ext:vxlan-anycast":{"config":{"vni":196863,"vni-mask":16776960,)"
        R"("anycast-vtep":"192.0.2.100/32","udp-port":4789,"vrf-id":3}})");
    EXPECT_EQ(match.vni, (Masked<std::uint32_t>{0x30000, 0xffff00}));
    EXPECT_EQ(match.vtep.value, (Ipv4Bytes{192, 0, 2, 100}));
    EXPECT_EQ(match.udpPort, 4789);
    EXPECT_EQ(match.vrfId, 3);
}

TEST(TunnelMatch, TakesPrefixesOfEitherVersion) {
    auto const v4 = parsedMatch<TunnelMatch>(
        "loam-acl-ext:ACL_TUNNEL_TERMINATION",
        R"("loam-acl-ext:tunnel":{"config":{"tunnel-type":"GRE","source-prefix":"10.1.0.0/16",)"
        R"("tunnel-key":4294967295,"hop-limit":64,"vrf-id":9}})");
    EXPECT_EQ(v4.type, TunnelType::Gre);
    EXPECT_EQ(v4.ipVersion, 4);
    EXPECT_EQ(v4.source.mask[1], 0xff);
    EXPECT_EQ(v4.source.mask[2], 0);
    EXPECT_EQ(v4.tunnelKey, (Masked<std::uint32_t>{0xffffffff, 0xffffffff}));
    EXPECT_EQ(v4.hopLimitMax, 64);
    auto const v6 = parsedMatch<TunnelMatch>(
        "loam-acl-ext:ACL_TUNNEL_TERMINATION",
        R"("loam-acl-ext:tunnel":{"config":{"destination-prefix":"2001:db8::/32","udp-port":9}})");
    EXPECT_EQ(v6.ipVersion, 6);
    EXPECT_EQ(v6.destination.value[3], 0xb8);
    EXPECT_EQ(v6.udpPort, 9);
}

TEST(OlpMatch, TakesEveryLeaf) {
    auto const match = parsedMatch<OlpMatch>(
        "loam-acl-ext:ACL_EGRESS_OLP",
        R"("loam-acl-ext:egress-olp":{"config":{"egress-port":300,"egress-port-mask":65520,)"
        R"("ethertype":2048,"vlan-id":4094,"traffic-class":7,"olp-channel":255,)"
        R"("packet-type":"BFD"}})");
    EXPECT_EQ(match.egressPort, (Masked<std::uint16_t>{288, 65520}));
    EXPECT_EQ(match.ethertype.value, 0x0800);
    EXPECT_EQ(match.vlanId, 4094);
    EXPECT_EQ(match.trafficClass, (Masked<std::uint8_t>{7, 7}));
    EXPECT_EQ(match.channel, (Masked<std::uint8_t>{255, 255}));
    EXPECT_EQ(match.packetType, OlpPacketType::Bfd);
}

Action treatment(std::string const& type, std::string const& leaves) {
    auto const rules = rulesOf(fileWithTreatment(type, leaves));
    return rules.size() == 1 ? actionOf(rules.front()) : Action{};
}

TEST(ActionLeaves, AreTakenForEveryType) {
    auto const action = treatment(
        "ACL_IPV4", R"("to-cpu":"TRAP","cpu-queue":63,"traffic-class":0,"count":true,)"
                    R"("mirror-session":15,"police-rate":4294967295,)"
                    R"("police-unit":"KILOBITS_PER_SECOND","police-burst":1,"set-dscp":0)");
    EXPECT_EQ(action.verdict, Verdict::Accept);
    EXPECT_EQ(action.toCpu, ToCpu::Trap);
    EXPECT_EQ(action.cpuQueue, (Given<std::uint8_t>{63, true}));
    EXPECT_EQ(action.trafficClass, (Given<std::uint8_t>{0, true}));
    EXPECT_TRUE(action.count);
    EXPECT_EQ(action.mirrorSession, 15);
    EXPECT_EQ(action.policeRate, 4294967295u);
    EXPECT_EQ(action.policeUnit, PoliceUnit::KilobitsPerSecond);
    EXPECT_EQ(action.policeBurst, 1u);
    EXPECT_EQ(action.setDscp, (Given<std::uint8_t>{0, true}));
}

TEST(ActionLeaves, SomeBelongToOneType) {
    EXPECT_EQ(treatment("ACL_L2", R"("set-vlan-id":7)").setVlanId, 7);
    EXPECT_TRUE(treatment("ACL_MPLS", R"("set-mpls-traffic-class":0)").setMplsTc.given);
    auto const tunnel =
        treatment("loam-acl-ext:ACL_TUNNEL_TERMINATION", R"("inner-vrf-id":8,"max-inner-ttl":64)");
    EXPECT_EQ(tunnel.innerVrfId, 8);
    EXPECT_EQ(tunnel.maxInnerTtl, 64);
}

TEST(ActionLeaves, LeftOutTheyAreNeutral) {
    Action expected;
    expected.verdict = Verdict::Accept;
    EXPECT_EQ(treatment("ACL_IPV4", ""), expected);
}

TEST(PolicyLoad, NamesTheFileThatCannotBeOpened) {
    auto const loaded = Policy::load("/nonexistent/policy.json");
    auto const* error = std::get_if<PolicyError>(&loaded);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(
        error->text(),
        "/nonexistent/policy.json: cannot be opened: No such file or directory; expected a policy "
        "file that this user can read");
}

TEST(PolicyLoad, RefusesWhatIsNoRegularFile) {
    auto const loaded = Policy::load("/tmp");
    auto const* error = std::get_if<PolicyError>(&loaded);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->reason, "not a regular file; expected a policy in JSON");
}

TEST(PolicyLoad, RefusesAFileThatIsTooLongWithoutReadingIt) {
    std::string const path = testing::TempDir() + "/loam-policy-too-long.json";
    std::FILE* const file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fseek(file, static_cast<long>(Policy::maxFileSize), SEEK_SET), 0);
    std::fputc(' ', file);
    std::fclose(file);
    auto const loaded = Policy::load(path);
    std::remove(path.c_str());
    auto const* error = std::get_if<PolicyError>(&loaded);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->reason, "longer than 536870912 bytes, the most that is read");
}

} // namespace
} // namespace LoamPolicy::Test
