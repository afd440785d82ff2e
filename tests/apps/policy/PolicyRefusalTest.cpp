// What is refused, where the error points, and what it says.

#include "PolicyText.h"

#include <ostream>

namespace LoamPolicy::Test {
namespace {

struct Bad {
    std::string name; ///< of the test
    std::string text;
    std::string pointer;
    std::string reason; ///< the whole reason, or its beginning when it ends in "..."
};

/// How GoogleTest shows a parameter.
void PrintTo(Bad const& bad, std::ostream* out) {
    *out << bad.name;
}

std::string const firstSet = "/openconfig-acl:acl/acl-sets/acl-set/0";
std::string const firstEntry = firstSet + "/acl-entries/acl-entry/0";
std::string const treatmentConfig = "/actions/loam-acl-ext:control-plane/config";

/// A match that is wrong somewhere in the only entry.
Bad badMatch(std::string const& name, std::string const& type, std::string const& match,
             std::string const& where, std::string const& reason) {
    return {name, fileWithMatch(type, match), firstEntry + where, reason};
}

Bad badTreatment(std::string const& name, std::string const& type, std::string const& leaves,
                 std::string const& where, std::string const& reason) {
    return {name, fileWithTreatment(type, leaves), firstEntry + treatmentConfig + where, reason};
}

std::vector<Bad> badJson() {
    return {
        {"EmptyFile", "", "", "not JSON: parse error at line 1, column 1: ..."},
        {"NoJson", "policy", "", "not JSON: ..."},
        {"TopLevelArray", "[]", "", "expected an object, found an array"},
        {"TopLevelString", "\"x\"", "", "expected an object, found the string \"x\""},
        {"TopLevelNull", "null", "", "expected an object, found null"},
        {"NoAcl", "{}", "", "no \"openconfig-acl:acl\" in the file"},
        {"TrailingGarbage", R"({"openconfig-acl:acl":{}} x)", "", "not JSON: ..."},
        {"SecondDocument", R"({"openconfig-acl:acl":{}}{})", "", "not JSON: ..."},
        {"TrailingComma", R"({"openconfig-acl:acl":{},})", "/openconfig-acl:acl", "not JSON: ..."},
        {"Comment", R"({"openconfig-acl:acl":{/* */}})", "/openconfig-acl:acl", "not JSON: ..."},
        {"Unterminated", R"({"openconfig-acl:acl":{"acl-sets":)", "/openconfig-acl:acl/acl-sets",
         "not JSON: ..."},
        {"InvalidUtf8", "{\"openconfig-acl:acl\":{\"\xff\":1}}", "/openconfig-acl:acl",
         "not JSON: ..."},
        {"OverlongUtf8", "{\"openconfig-acl:acl\":{\"\xc0\xaf\":1}}", "/openconfig-acl:acl",
         "not JSON: ..."},
        {"LoneSurrogate", R"({"openconfig-acl:acl":{"\ud800":1}})", "/openconfig-acl:acl",
         "not JSON: ..."},
        {"NumberOverflow", R"({"openconfig-acl:acl":{"config":1e999}})",
         "/openconfig-acl:acl/config", "not JSON: ..."},
        {"DeepNesting", std::string(100000, '['), "", "expected an object, found an array"},
        {"DeepNestingInside",
         R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":)" + std::string(100000, '['),
         "/openconfig-acl:acl/acl-sets/acl-set/0", "expected an object, found an array"},
        {"DuplicateMember", R"({"openconfig-acl:acl":{"config":{},"config":{}}})",
         "/openconfig-acl:acl/config", "the field is given twice"},
    };
}

std::vector<Bad> badNames() {
    auto const set = [](std::string const& members) {
        return fileOf(R"({"name":"s","type":"ACL_L2","config":{"name":"s","type":"ACL_L2"},)" +
                      members + "}");
    };
    return {
        {"UnknownTopLevel", R"({"acl":{}})", "/acl",
         R"(unknown field "acl": did you mean "openconfig-acl:acl"?)"},
        {"UnknownFieldWithOddName", R"({"a/b~c":1})", "/a~1b~0c", R"(unknown field "a/b~c")"},
        {"UnknownSetField", set(R"("colour":1)"), firstSet + "/colour",
         R"(unknown field "colour")"},
        {"PrefixWhereNoneBelongs", set(R"("openconfig-acl:acl-entries":{})"),
         firstSet + "/openconfig-acl:acl-entries",
         R"(unknown field "openconfig-acl:acl-entries": did you mean "acl-entries"?)"},
        badMatch("PrefixMissing", "loam-acl-ext:ACL_TUNNEL_TERMINATION", R"("tunnel":{})",
                 "/tunnel", R"(unknown field "tunnel": did you mean "loam-acl-ext:tunnel"?)"),
        badMatch("UnknownMatchField", "ACL_IPV4", R"("ipv4":{"config":{"ttl":1}})",
                 "/ipv4/config/ttl", R"(unknown field "ttl")"),
        badMatch("ControlCharactersAreShownEscaped", "ACL_IPV4", R"("\u0001x":1)", "/\x01x",
                 R"(unknown field "\u0001x")"),
        {"State", set(R"("state":{})"), firstSet + "/state",
         "operational state: a policy file holds configuration only"},
        {"Interfaces", R"({"openconfig-acl:acl":{"interfaces":{}}})",
         "/openconfig-acl:acl/interfaces", "not supported: the system policy belongs ..."},
        badMatch("InputInterface", "ACL_L2", R"("input-interface":{})", "/input-interface",
                 "not supported: the system policy belongs ..."),
        badMatch("PrefixSet", "ACL_IPV4", R"("ipv4":{"config":{"source-address-prefix-set":"x"}})",
                 "/ipv4/config/source-address-prefix-set",
                 "references to defined sets are not supported: ..."),
    };
}

std::vector<Bad> badShapes() {
    return {
        {"ObjectForList", R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":{}}}})",
         "/openconfig-acl:acl/acl-sets/acl-set", "expected an array, found an object"},
        {"ArrayForContainer", R"({"openconfig-acl:acl":{"acl-sets":[]}})",
         "/openconfig-acl:acl/acl-sets", "expected an object, found an array"},
        {"ValueForContainer", R"({"openconfig-acl:acl":{"acl-sets":true}})",
         "/openconfig-acl:acl/acl-sets", "expected an object, found true"},
        {"ValueInList", fileOf("1"), firstSet, "expected an object, found the number 1"},
        badMatch("ObjectForLeaf", "ACL_IPV4", R"("ipv4":{"config":{"dscp":{}}})",
                 "/ipv4/config/dscp", "expected a single value, found an object"),
        badMatch("ArrayForLeaf", "ACL_IPV4", R"("ipv4":{"config":{"dscp":[1]}})",
                 "/ipv4/config/dscp", "expected a single value, found an array"),
        badMatch("ValueForLeafList", "ACL_IPV4", R"("ipv4":{"config":{"dscp-set":1}})",
                 "/ipv4/config/dscp-set", "expected an array, found the number 1"),
        badMatch("ObjectInLeafList", "ACL_IPV4", R"("ipv4":{"config":{"dscp-set":[1,{}]}})",
                 "/ipv4/config/dscp-set/1", "expected a single value, found an object"),
        badMatch("NullLeaf", "ACL_IPV4", R"("ipv4":{"config":{"dscp":null}})", "/ipv4/config/dscp",
                 "expected a number from 0 to 63, found null"),
    };
}

std::vector<Bad> badSets() {
    auto const raw = [](std::string const& members) { return fileOf("{" + members + "}"); };
    return {
        {"NoName", raw(R"("type":"ACL_L2")"), firstSet + "/name",
         "missing: it is a key of the list"},
        {"NoType", raw(R"("name":"s")"), firstSet + "/type", "missing: it is a key of the list"},
        {"NoConfig", raw(R"("name":"s","type":"ACL_L2")"), firstSet + "/config/name",
         "missing: the list's key refers to it"},
        {"NameDiffers", raw(R"("name":"s","type":"ACL_L2","config":{"name":"t","type":"ACL_L2"})"),
         firstSet + "/config/name", R"("t" differs from the list's key, "s")"},
        {"TypeDiffers",
         raw(R"("name":"s","type":"ACL_L2","config":{"name":"s","type":"ACL_IPV4"})"),
         firstSet + "/config/type", "ACL_IPV4 differs from the list's key, ACL_L2"},
        {"UnknownType", raw(R"("type":"ACL_ARP")"), firstSet + "/type",
         "expected one of loam-acl-ext:ACL_EGRESS_OLP, ACL_IPV4, ..."},
        {"OurTypeWithoutModule", raw(R"("type":"ACL_VXLAN_ANYCAST")"), firstSet + "/type",
         "expected one of ..."},
        {"MixedType", raw(R"("type":"openconfig-acl:ACL_MIXED")"), firstSet + "/type",
         "ACL_MIXED has no table: write one set per type"},
        {"NameIsNoString", raw(R"("name":5)"), firstSet + "/name",
         "expected a string, found the number 5"},
        {"ControlCharacterInName", raw(R"("name":"a\u0007")"), firstSet + "/name",
         R"(control characters are not allowed in a string: "a\u0007")"},
        {"SetGivenTwice",
         fileOf(setOf("s", "ACL_L2", "") + "," + setOf("s", "openconfig-acl:ACL_L2", "")),
         "/openconfig-acl:acl/acl-sets/acl-set/1", R"(the set "s" of type ACL_L2 is given twice)"},
        {"SetIdOutOfRange", raw(R"("name":"s","config":{"loam-acl-ext:set-id":0})"),
         firstSet + "/config/loam-acl-ext:set-id",
         "expected a number from 1 to 4095, found the number 0"},
        {"SetIdTaken",
         fileOf(R"({"name":"a","type":"ACL_L2","config":{"name":"a","type":"ACL_L2",)"
                R"("loam-acl-ext:set-id":9}},{"name":"b","type":"ACL_L2","config":)"
                R"({"name":"b","type":"ACL_L2","loam-acl-ext:set-id":9}})"),
         "/openconfig-acl:acl/acl-sets/acl-set/1/config/loam-acl-ext:set-id",
         R"(the sets "a" and "b" have the same number, 9: give one of them another )"
         "loam-acl-ext:set-id"},
    };
}

std::vector<Bad> badEntries() {
    auto const inSet = [](std::string const& entries) {
        return fileOf(setOf("s", "ACL_L2", entries));
    };
    auto const secondEntry = firstSet + "/acl-entries/acl-entry/1";
    return {
        {"NoSequence", inSet("{}"), firstEntry + "/sequence-id",
         "missing: it is a key of the list"},
        {"NoSequenceInConfig", inSet(R"({"sequence-id":1})"), firstEntry + "/config/sequence-id",
         "missing: the list's key refers to it"},
        {"SequenceDiffers", inSet(R"({"sequence-id":1,"config":{"sequence-id":2}})"),
         firstEntry + "/config/sequence-id", "2 differs from the list's key, 1"},
        {"SequenceTooHigh", inSet(R"({"sequence-id":1048576})"), firstEntry + "/sequence-id",
         "expected a number from 0 to 1048575, found the number 1048576"},
        {"SequenceNegative", inSet(R"({"sequence-id":-1})"), firstEntry + "/sequence-id",
         "expected a number from 0 to 1048575, found the number -1"},
        {"SequenceAsString", inSet(R"({"sequence-id":"1"})"), firstEntry + "/sequence-id",
         "expected a number from 0 to 1048575, found the string \"1\""},
        {"SequenceWithFraction", inSet(R"({"sequence-id":1.0})"), firstEntry + "/sequence-id",
         "expected a number from 0 to 1048575, found the number 1.0"},
        {"SequenceGivenTwice", inSet(entryOf(7) + "," + entryOf(7)), secondEntry + "/sequence-id",
         "7 is given twice in the set, first by acl-entry/0"},
        {"NoForwardingAction", inSet(R"({"sequence-id":1,"config":{"sequence-id":1}})"),
         firstEntry + "/actions/config/forwarding-action",
         "missing: every entry needs a forwarding action"},
        {"UnknownForwardingAction",
         inSet(entryWith(1, R"("actions":{"config":{"forwarding-action":"PASS"}})")),
         firstEntry + "/actions/config/forwarding-action",
         R"(expected one of ACCEPT, DROP, REJECT, found the string "PASS")"},
        {"UnknownLogAction", inSet(entryWith(1, R"("actions":{"config":{"log-action":"YES"}})")),
         firstEntry + "/actions/config/log-action",
         R"(expected one of LOG_NONE, LOG_SYSLOG, found the string "YES")"},
        badMatch("ContainerOfAnotherType", "ACL_L2", R"("ipv4":{})", "/ipv4",
                 "ipv4 is not valid in a set of type ACL_L2"),
        badMatch("TransportInMpls", "ACL_MPLS", R"("transport":{"config":{}})", "/transport",
                 "transport is not valid in a set of type ACL_MPLS"),
        badMatch("OurContainerOfAnotherType", "ACL_IPV6", R"("loam-acl-ext:egress-olp":{})",
                 "/loam-acl-ext:egress-olp",
                 "loam-acl-ext:egress-olp is not valid in a set of type ACL_IPV6"),
    };
}

std::vector<Bad> badIpFields() {
    auto const ipv4 = [](std::string const& name, std::string const& leaf, std::string const& value,
                         std::string const& reason) {
        return badMatch(name, "ACL_IPV4", R"("ipv4":{"config":{")" + leaf + "\":" + value + "}}",
                        "/ipv4/config/" + leaf, reason);
    };
    return {
        ipv4("PrefixTooLong", "source-address", R"("192.0.2.0/33")",
             R"(expected an IPv4 prefix such as "192.0.2.0/24", found the string "192.0.2.0/33")"),
        ipv4("AddressWithoutLength", "destination-address", R"("192.0.2.1")",
             "expected an IPv4 prefix ..."),
        ipv4("DscpTooHigh", "dscp", "64", "expected a number from 0 to 63, found the number 64"),
        ipv4("LengthTooHigh", "length", "65536", "expected a number from 0 to 65535, ..."),
        ipv4("HopLimitTooHigh", "hop-limit", "256", "expected a number from 0 to 255, ..."),
        ipv4("Protocol255", "protocol", "255", "expected a protocol number from 0 to 254 ..."),
        ipv4("ProtocolWithoutModule", "protocol", R"("IP_TCP")", "expected a protocol number ..."),
        ipv4("ProtocolOfWrongModule", "protocol", R"("openconfig-acl:IP_TCP")",
             "expected a protocol number ..."),
        ipv4("ProtocolNumberAsString", "protocol", R"("6")", "expected a protocol number ..."),
        badMatch("DscpTwice", "ACL_IPV4", R"("ipv4":{"config":{"dscp-set":[1,1]}})",
                 "/ipv4/config/dscp-set/1", "DSCP 1 is given twice"),
        badMatch("DscpAndSet", "ACL_IPV4", R"("ipv4":{"config":{"dscp-set":[1],"dscp":2}})",
                 "/ipv4/config/dscp-set", "is not valid together with dscp"),
        badMatch("TwoFragmentOffsets", "ACL_IPV4",
                 R"("ipv4":{"config":{"fragment-offsets":[1,2]}})",
                 "/ipv4/config/fragment-offsets/1",
                 "a TCAM entry compares one fragment offset: write one entry per value"),
        badMatch("FragmentOffsetTooHigh", "ACL_IPV4",
                 R"("ipv4":{"config":{"fragment-offsets":[8192]}})",
                 "/ipv4/config/fragment-offsets/0",
                 R"(expected a fragment offset from 0 to 8191 or "ANY", found the number 8192)"),
        badMatch("Ipv6PrefixWithDottedQuad", "ACL_IPV6",
                 R"("ipv6":{"config":{"source-address":"::ffff:192.0.2.1/128"}})",
                 "/ipv6/config/source-address", "expected an IPv6 prefix ..."),
        badMatch("FlowLabelTooHigh", "ACL_IPV6",
                 R"("ipv6":{"config":{"source-flow-label":1048576}})",
                 "/ipv6/config/source-flow-label", "expected a number from 0 to 1048575, ..."),
        badMatch("UnknownIcmpType", "ACL_IPV4",
                 R"("ipv4":{"icmpv4":{"config":{"type":"openconfig-icmpv4-types:PING"}}})",
                 "/ipv4/icmpv4/config/type",
                 "expected an identity of openconfig-icmpv4-types derived from TYPE, ..."),
        badMatch("IcmpTypeOfTheOtherVersion", "ACL_IPV6",
                 R"("ipv6":{"icmpv6":{"config":{"type":"openconfig-icmpv4-types:ECHO"}}})",
                 "/ipv6/icmpv6/config/type",
                 "expected an identity of openconfig-icmpv6-types derived from TYPE, ..."),
        badMatch("IcmpCodeOfAnotherType", "ACL_IPV4",
                 R"("ipv4":{"icmpv4":{"config":{"type":"openconfig-icmpv4-types:ECHO",)"
                 R"("code":"openconfig-icmpv4-types:REDIRECT_HOST"}}})",
                 "/ipv4/icmpv4/config/code", "a code of ICMP type 5, but the type is 8"),
        badMatch("IcmpInTcp", "ACL_IPV4",
                 R"("ipv4":{"config":{"protocol":6},"icmpv4":{"config":)"
                 R"({"type":"openconfig-icmpv4-types:ECHO"}}})",
                 "/ipv4/icmpv4/config/type", "an ICMP match needs protocol 1, not 6"),
    };
}

std::vector<Bad> badTransportFields() {
    auto const transport = [](std::string const& name, std::string const& leaves,
                              std::string const& where, std::string const& reason) {
        return badMatch(name, "ACL_IPV6", R"("transport":{"config":{)" + leaves + "}}",
                        "/transport/config" + where, reason);
    };
    return {
        transport("PortTooHigh", R"("source-port":65536)", "/source-port",
                  R"(expected a port from 0 to 65535, a range such as "1024..65535" or "ANY", )"
                  "found the number 65536"),
        transport("PortNegative", R"("source-port":-5)", "/source-port", "expected a port ..."),
        transport("PortAsString", R"("source-port":"80")", "/source-port", "expected a port ..."),
        transport("PortByServiceName", R"("source-port":"ssh")", "/source-port",
                  "expected a port ..."),
        transport("PortRangeTooHigh", R"("destination-port":"1..65536")", "/destination-port",
                  "expected a port ..."),
        transport("PortRangeBackwards", R"("destination-port":"90..80")", "/destination-port",
                  R"(port range "90..80" runs backwards)"),
        transport("UnknownDetailMode", R"("detail-mode":"SOME")", "/detail-mode",
                  R"(expected one of EXPLICIT, BUILTIN, found the string "SOME")"),
        transport("FlagsWithoutMode",
                  R"("explicit-tcp-flags":["openconfig-packet-match-types:TCP_SYN"])",
                  "/explicit-tcp-flags", "is valid with detail-mode EXPLICIT alone"),
        transport("MatchModeWithoutMode", R"("explicit-detail-match-mode":"ANY")",
                  "/explicit-detail-match-mode", "is valid with detail-mode EXPLICIT alone"),
        transport("BuiltinWithoutMode", R"("detail-mode":"EXPLICIT","builtin-detail":"FRAGMENT")",
                  "/builtin-detail", "is valid with detail-mode BUILTIN alone"),
        transport("UnknownFlag", R"("explicit-tcp-flags":["TCP_SYN"])", "/explicit-tcp-flags/0",
                  "expected with the prefix \"openconfig-packet-match-types:\", one of ..."),
        transport("FlagTwice",
                  R"("explicit-tcp-flags":["openconfig-packet-match-types:TCP_SYN",)"
                  R"("openconfig-packet-match-types:TCP_SYN"])",
                  "/explicit-tcp-flags/1",
                  R"("openconfig-packet-match-types:TCP_SYN" is given twice)"),
        badMatch("PortOfOspf", "ACL_IPV4",
                 R"("ipv4":{"config":{"protocol":89}},"transport":{"config":{"source-port":1}})",
                 "/transport/config/source-port", "protocol 89 has no ports"),
        badMatch("TcpStateOfUdp", "ACL_IPV4",
                 R"("ipv4":{"config":{"protocol":17}},"transport":{"config":)"
                 R"({"detail-mode":"BUILTIN","builtin-detail":"TCP_INITIAL"}})",
                 "/transport/config/builtin-detail", "a TCP state needs protocol 6, not 17"),
    };
}

std::vector<Bad> badOtherFields() {
    std::string const vxlan = "loam-acl-ext:ACL_VXLAN_ANYCAST";
    std::string const tunnel = "loam-acl-ext:ACL_TUNNEL_TERMINATION";
    std::string const olp = "loam-acl-ext:ACL_EGRESS_OLP";
    auto const match = [](std::string const& name, std::string const& type,
                          std::string const& container, std::string const& leaves,
                          std::string const& where, std::string const& reason) {
        return badMatch(name, type, fmt::format(R"("{}":{{"config":{{{}}}}})", container, leaves),
                        "/" + container + "/config" + where, reason);
    };
    return {
        match("BadMac", "ACL_L2", "l2", R"("source-mac":"1:2:3:4:5:6")", "/source-mac",
              "expected a MAC address ..."),
        match("MaskWithoutMac", "ACL_L2", "l2", R"("source-mac-mask":"ff:ff:ff:00:00:00")",
              "/source-mac-mask", "is of no use without source-mac"),
        match("EthertypeThatIsALength", "ACL_L2", "l2", R"("ethertype":1500)", "/ethertype",
              "expected an ethertype from 1536 to 65535 ..."),
        match("UnknownEthertype", "ACL_L2", "l2",
              R"("ethertype":"openconfig-packet-match-types:ETHERTYPE_X")", "/ethertype",
              "expected an ethertype ..."),
        match("ReservedLabelByNumber", "ACL_MPLS", "mpls", R"("start-label-value":15)",
              "/start-label-value", "expected a label from 16 to 1048575 or one of ..."),
        match("NoLabel", "ACL_MPLS", "mpls", R"("start-label-value":"NO_LABEL")",
              "/start-label-value",
              "NO_LABEL is impossible: a packet without label never reaches an MPLS set"),
        match("LabelsBackwards", "ACL_MPLS", "mpls",
              R"("start-label-value":200,"end-label-value":100)", "/end-label-value",
              "label range 200 to 100 runs backwards"),
        match("VniTooHigh", vxlan, "loam-acl-ext:vxlan-anycast", R"("vni":16777216)", "/vni",
              "expected a number from 0 to 16777215, found the number 16777216"),
        match("VniMaskAlone", vxlan, "loam-acl-ext:vxlan-anycast", R"("vni-mask":1)", "/vni-mask",
              "is of no use without vni"),
        match("Ipv6Vtep", vxlan, "loam-acl-ext:vxlan-anycast",
              R"("anycast-vtep":"2001:db8::1/128")", "/anycast-vtep",
              "expected an IPv4 prefix ..."),
        match("TwoIpVersions", tunnel, "loam-acl-ext:tunnel",
              R"("source-prefix":"::/0","destination-prefix":"0.0.0.0/0")", "/destination-prefix",
              "source-prefix and destination-prefix are of different IP versions"),
        match("PortOfGre", tunnel, "loam-acl-ext:tunnel", R"("tunnel-type":"GRE","udp-port":4789)",
              "/udp-port", "the tunnel type is not carried in UDP"),
        match("KeyOfIpInIp", tunnel, "loam-acl-ext:tunnel",
              R"("tunnel-type":"IP_IN_IP","tunnel-key":1)", "/tunnel-key",
              "the tunnel type has no key"),
        match("BadTunnelPrefix", tunnel, "loam-acl-ext:tunnel", R"("source-prefix":"x")",
              "/source-prefix", R"(expected an IPv4 or IPv6 prefix, found the string "x")"),
        match("UnknownTunnelType", tunnel, "loam-acl-ext:tunnel", R"("tunnel-type":"X25")",
              "/tunnel-type", "expected one of VXLAN, VXLAN_GPE, ..."),
        match("VlanZero", olp, "loam-acl-ext:egress-olp", R"("vlan-id":0)", "/vlan-id",
              "expected a number from 1 to 4094, found the number 0"),
        match("PortMaskAlone", olp, "loam-acl-ext:egress-olp", R"("egress-port-mask":1)",
              "/egress-port-mask", "is of no use without egress-port"),
        badTreatment("CountIsNoBoolean", "ACL_L2", R"("count":1)", "/count",
                     "expected true or false, found the number 1"),
        badTreatment("QueueTooHigh", "ACL_L2", R"("cpu-queue":64)", "/cpu-queue",
                     "expected a number from 0 to 63, found the number 64"),
        badTreatment("RateZero", "ACL_L2", R"("police-rate":0)", "/police-rate",
                     "expected a number from 1 to 4294967295, found the number 0"),
        badTreatment("RateAsString", "ACL_L2", R"("police-rate":"100")", "/police-rate",
                     R"(expected a number from 1 to 4294967295, found the string "100")"),
        badTreatment("BurstWithoutRate", "ACL_L2", R"("police-burst":5)", "/police-burst",
                     "is valid together with police-rate alone"),
        badTreatment("BurstOfVxlan", vxlan, R"("police-rate":5,"police-burst":5)", "/police-burst",
                     "police-burst is not valid in a set of type ACL_VXLAN_ANYCAST"),
        badTreatment("DscpInL2", "ACL_L2", R"("set-dscp":5)", "/set-dscp",
                     "set-dscp is not valid in a set of type ACL_L2"),
        badTreatment("VlanInIpv4", "ACL_IPV4", R"("set-vlan-id":5)", "/set-vlan-id",
                     "set-vlan-id is not valid in a set of type ACL_IPV4"),
        badTreatment("TrafficClassInIpv4", "ACL_IPV4", R"("set-mpls-traffic-class":5)",
                     "/set-mpls-traffic-class",
                     "set-mpls-traffic-class is not valid in a set of type ACL_IPV4"),
        badTreatment("VrfInIpv4", "ACL_IPV4", R"("inner-vrf-id":5)", "/inner-vrf-id",
                     "inner-vrf-id is not valid in a set of type ACL_IPV4"),
        badTreatment("TtlInIpv4", "ACL_IPV4", R"("max-inner-ttl":5)", "/max-inner-ttl",
                     "max-inner-ttl is not valid in a set of type ACL_IPV4"),
    };
}

std::vector<Bad> allBad() {
    std::vector<Bad> all;
    for (auto const& group : {badJson(), badNames(), badShapes(), badSets(), badEntries(),
                              badIpFields(), badTransportFields(), badOtherFields()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

class PolicyRefusal : public testing::TestWithParam<Bad> {};

TEST_P(PolicyRefusal, NamesFilePlaceAndReason) {
    Bad const& bad = GetParam();
    PolicyError const error = refusalOf(bad.text);
    EXPECT_EQ(error.file, "test.json");
    EXPECT_EQ(error.pointer, bad.pointer);
    if (bad.reason.ends_with("...")) {
        auto const beginning = bad.reason.substr(0, bad.reason.size() - 3);
        EXPECT_EQ(error.reason.substr(0, beginning.size()), beginning) << error.reason;
    } else {
        EXPECT_EQ(error.reason, bad.reason);
    }
}

INSTANTIATE_TEST_SUITE_P(Bad, PolicyRefusal, testing::ValuesIn(allBad()),
                         [](auto const& bad) { return bad.param.name; });

TEST(PolicyErrorText, IsOneLineWithoutControlCharacters) {
    PolicyError const error{"p.json", "/a\nb", "reason\x7f"};
    EXPECT_EQ(error.text(), "p.json: /a\\u000ab: reason\\u007f");
}

TEST(PolicyErrorText, LeavesOutAnEmptyPointer) {
    EXPECT_EQ((PolicyError{"p.json", "", "not a regular file"}.text()),
              "p.json: not a regular file");
}

} // namespace
} // namespace LoamPolicy::Test
