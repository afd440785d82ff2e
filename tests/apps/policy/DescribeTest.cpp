#include "PolicyText.h"

#include <nlohmann/json.hpp>

#include <apps/policy/Describe.h>

namespace LoamPolicy::Test {
namespace {

PolicyRule bgpRule() {
    return rulesOf(
               fileOf(
                   R"({"name":"edge","type":"ACL_IPV4","config":{"name":"edge","type":"ACL_IPV4",)"
                   R"("loam-acl-ext:set-id":929},"acl-entries":{"acl-entry":[{"sequence-id":100,)"
                   R"("config":{"sequence-id":100,"description":"BGP"},)"
                   R"("ipv4":{"config":{"source-address":"192.0.2.0/24","hop-limit":255,)"
                   R"("protocol":"openconfig-packet-match-types:IP_TCP"}},)"
                   R"("transport":{"config":{"source-port":"1024..65535","destination-port":179}},)"
                   R"("actions":{"config":{"forwarding-action":"ACCEPT"},"loam-acl-ext:control-plane":)"
                   R"({"config":{"police-rate":1000,"police-burst":200,"cpu-queue":5,"count":true}}}}]}})"))
        .at(0);
}

TEST(Describe, ShowsAnEntryOnOneLine) {
    auto const rule = bgpRule();
    EXPECT_EQ(describe(rule.entry.tblId, rule.entry.key, rule.entry.fields),
              "set 929 seq 100 priority 100: tcp 192.0.2.0/24 sport 1024..65535 -> any dport 179 "
              "hop-limit 255");
}

TEST(Describe, ShowsAnActionOnOneLine) {
    auto const rule = bgpRule();
    EXPECT_EQ(describe(rule.action.tblId, rule.action.key, rule.action.fields),
              "set 929 seq 100: permit police 1000 pps burst 200 packets queue 5 count");
}

TEST(Describe, ShowsARuleOnOneLine) {
    auto const rule = bgpRule();
    EXPECT_EQ(describeRule(rule.entry.tblId, rule.entry.key, rule.entry.fields, rule.action.fields),
              "set 929 seq 100: permit tcp 192.0.2.0/24 sport 1024..65535 -> any dport 179 "
              "hop-limit 255 action: police 1000 pps burst 200 packets queue 5 count");
}

TEST(Describe, ANewRecordMatchesEverythingAndDecidesNothing) {
    std::vector<std::byte> entry(132);
    entry[0] = std::byte{1};
    entry[92] = std::byte{255};
    EXPECT_EQ(describe(0x0404, 0, entry), "set 0 seq 0 priority 0: ip any -> any");
    std::vector<std::byte> action(28);
    action[0] = std::byte{1};
    EXPECT_EQ(describe(0x0403, 0, action), "set 0 seq 0: undecided");
}

TEST(Describe, TellsWhenAnEntryNamesAnotherAction) {
    auto const fields = encodeEntry({.priority = 1, .actionKey = 0xab, .match = MacMatch{}});
    EXPECT_EQ(describe(0x0408, 7, fields),
              "set 0 seq 7 priority 1: mac any -> any action-key 0x000000ab");
}

TEST(Describe, SaysWhyBytesAreNotShown) {
    EXPECT_EQ(describe(0x0404, 1, std::vector<std::byte>(132)),
              "set 0 seq 1: not decoded: record format 0, expected 1");
    EXPECT_EQ(describe(0x0404, 1, {}),
              "set 0 seq 1: not decoded: 0 bytes behind the key, expected 132");
    EXPECT_EQ(describe(0x0500, 1, {}), "table 0x0500 holds no policy");
    EXPECT_EQ(describeRule(0x0403, 1, {}, {}), "table 0x0403 holds no policy");
}

TEST(DescribeJson, HasTheNamesOfThePolicyFile) {
    auto const rule = bgpRule();
    auto const expectedEntry = nlohmann::json::parse(
        R"({"policy":"ipv4-system","holds":"entries","key":"0x3a100064","set-id":929,)"
        R"("sequence-id":100,"priority":100,"action-key":"0x3a100064","match":{)"
        R"("source-address":"192.0.2.0/24","protocol":6,"hop-limit":255,)"
        R"("source-port":"1024..65535","destination-port":179}})");
    EXPECT_EQ(toJson(rule.entry.tblId, rule.entry.key, rule.entry.fields), expectedEntry);
    auto const expectedAction = nlohmann::json::parse(
        R"({"policy":"ipv4-system","holds":"actions","key":"0x3a100064","set-id":929,)"
        R"("sequence-id":100,"action":{"forwarding-action":"ACCEPT","cpu-queue":5,"count":true,)"
        R"("police-rate":1000,"police-unit":"PACKETS_PER_SECOND","police-burst":200}})");
    EXPECT_EQ(toJson(rule.action.tblId, rule.action.key, rule.action.fields), expectedAction);
}

TEST(DescribeJson, HoldsTheErrorOfBytesThatAreNotShown) {
    EXPECT_EQ(toJson(0x0403, 1, {}).at("error"), "0 bytes behind the key, expected 28");
    EXPECT_EQ(toJson(0x0001, 1, {}).at("error"), "table 0x0001 holds no policy");
}

struct Shown {
    char const* type;
    char const* match;
    char const* text;
    char const* json;
};

TEST(Describe, ShowsTheFieldsOfEveryType) {
    std::array<Shown, 7> const cases{{
        {"ACL_IPV4",
         R"("ipv4":{"config":{"dscp-set":[8,46],"length":60,"fragment-offsets":[1]}},)"
         R"("transport":{"config":{"detail-mode":"EXPLICIT","explicit-tcp-flags":)"
         R"(["openconfig-packet-match-types:TCP_SYN","openconfig-packet-match-types:TCP_ACK"]}})",
         "tcp any -> any tcp-flags syn,ack dscp 8,46 length 60 fragment-offset 1",
         R"({"dscp-set":[8,46],"length":60,"fragment-offset":1,"protocol":6,)"
         R"("explicit-detail-match-mode":"ALL","explicit-tcp-flags":["TCP_SYN","TCP_ACK"]})"},
        {"ACL_IPV6",
         R"("ipv6":{"config":{"source-address":"fe80::/10","source-flow-label":5},"icmpv6":)"
         R"({"config":{"code":"openconfig-icmpv6-types:DST_UNREACHABLE_PORT"}}})",
         "icmp6 fe80::/10 -> any type 1 code 4 source-flow-label 5",
         R"({"source-address":"fe80::/10","protocol":58,"icmp-type":1,"icmp-code":4,)"
         R"("source-flow-label":5})"},
        {"ACL_L2", R"("l2":{"config":{"destination-mac":"01:80:c2:00:00:0e","ethertype":35020}})",
         "mac any -> 01:80:c2:00:00:0e ethertype 0x88cc",
         R"({"destination-mac":"01:80:c2:00:00:0e","ethertype":35020})"},
        {"ACL_MPLS",
         R"("mpls":{"config":{"start-label-value":16,"end-label-value":99,"traffic-class":5,)"
         R"("ttl-value":1}})",
         "mpls label 16..99 tc 5 ttl 1",
         R"({"start-label-value":16,"end-label-value":99,"traffic-class":5,"ttl-value":1})"},
        {"loam-acl-ext:ACL_VXLAN_ANYCAST",
         R"("loam-acl-ext:vxlan-anycast":{"config":{"vni":256,"vni-mask":65280,"udp-port":4789}})",
         "vxlan vni 256/0xff00 vtep any udp-port 4789",
         R"({"vni":256,"vni-mask":65280,"udp-port":4789})"},
        {"loam-acl-ext:ACL_TUNNEL_TERMINATION",
         R"("loam-acl-ext:tunnel":{"config":{"tunnel-type":"MPLS_OVER_GRE","source-prefix":)"
         R"("192.0.2.0/24","tunnel-key":7,"vrf-id":2,"hop-limit":0}})",
         "tunnel mpls-over-gre 192.0.2.0/24 -> any key 7 vrf 2 hop-limit 0",
         R"({"tunnel-type":"MPLS_OVER_GRE","source-prefix":"192.0.2.0/24","tunnel-key":7,)"
         R"("vrf-id":2,"hop-limit":0})"},
        {"loam-acl-ext:ACL_EGRESS_OLP",
         R"("loam-acl-ext:egress-olp":{"config":{"packet-type":"OAM","egress-port":9,)"
         R"("ethertype":35074,"vlan-id":3,"traffic-class":0,"olp-channel":1}})",
         "olp oam egress-port 9 ethertype 0x8902 vlan 3 tc 0 channel 1",
         R"({"packet-type":"OAM","egress-port":9,"ethertype":35074,"vlan-id":3,)"
         R"("traffic-class":0,"olp-channel":1})"},
    }};
    for (Shown const& shown : cases) {
        auto const rules = rulesOf(fileWithMatch(shown.type, shown.match));
        ASSERT_EQ(rules.size(), 1u) << shown.type;
        TableRecord const& entry = rules[0].entry;
        auto const decoded = decodeEntry(tableOf(entry.tblId)->kind, entry.fields);
        EXPECT_EQ(matchText(std::get<Entry>(decoded).match), shown.text);
        EXPECT_EQ(toJson(entry.tblId, entry.key, entry.fields).at("match"),
                  nlohmann::json::parse(shown.json));
    }
}

} // namespace
} // namespace LoamPolicy::Test
