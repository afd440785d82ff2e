#!/usr/bin/env python3
"""Writes control-plane.json: the protection of a switch's control plane as OpenConfig ACLs.

The file is checked in; a test holds it equal to what this program prints. To change the policy,
change the tables below and run

    ./make_control_plane.py > control-plane.json

A set is a list of rules; its order is the order of sequence-ids, 10 apart. Each rule's description
names the source of its numbers: the IANA registry or service name, the RFC, or the IEEE standard.
Addresses of peers and stations are from the documentation ranges (RFC 5737, RFC 3849).
"""

import json
import sys

MATCH = "openconfig-packet-match-types:"
ICMP4 = "openconfig-icmpv4-types:"
ICMP6 = "openconfig-icmpv6-types:"
EXT = "loam-acl-ext:"

TCP, UDP = MATCH + "IP_TCP", MATCH + "IP_UDP"

# Queues to the CPU, the most important last; rate in packets per second and burst in packets.
QUEUES = {
    "default": (0, 100, 20),
    "bulk": (4, 500, 100),
    "telemetry": (8, 1000, 200),
    "icmp": (12, 500, 100),
    "management": (16, 2000, 400),
    "services": (20, 1000, 200),
    "multicast": (24, 1000, 200),
    "resolution": (28, 3000, 600),
    "tunnel": (32, 1000, 200),
    "routing": (40, 5000, 1000),
    "link": (44, 2000, 400),
    "liveness": (47, 10000, 2000),
}

# --- Who talks to this switch -------------------------------------------------------------------

MANAGEMENT4 = [("operations", "198.51.100.0/27"), ("automation", "198.51.100.32/28")]
MANAGEMENT6 = [("operations", "2001:db8:ffff:1::/64"), ("automation", "2001:db8:ffff:2::/64")]
COLLECTORS4 = ["198.51.100.65/32", "198.51.100.66/32"]
COLLECTORS6 = ["2001:db8:ffff:3::65/128", "2001:db8:ffff:3::66/128"]
SERVERS4 = ["198.51.100.97/32", "198.51.100.98/32"]
SERVERS6 = ["2001:db8:ffff:4::97/128", "2001:db8:ffff:4::98/128"]
INTERNAL_PEERS4 = [f"192.0.2.{n}/32" for n in (1, 2, 3, 4)]
INTERNAL_PEERS6 = [f"2001:db8:0:1::{n}/128" for n in (1, 2, 3, 4)]
EXTERNAL_PEERS4 = [f"203.0.113.{n}/32" for n in (1, 5, 9, 13, 17, 21, 25, 29)]
EXTERNAL_PEERS6 = [f"2001:db8:113:{n:x}::1/128" for n in (1, 5, 9, 13, 17, 21, 25, 29)]


# --- Building rules -----------------------------------------------------------------------------

def action(verdict, queue=None, set_type="", **extra):
    treatment = {}
    if queue:
        number, rate, burst = QUEUES[queue]
        treatment = {"cpu-queue": number, "police-rate": rate}
        if set_type != "ACL_VXLAN_ANYCAST":
            treatment["police-burst"] = burst
    treatment["count"] = True
    treatment.update({name.replace("_", "-"): value for name, value in extra.items()})
    config = {"forwarding-action": verdict}
    if treatment.pop("log", False):
        config["log-action"] = "LOG_SYSLOG"
    return {"config": config, EXT + "control-plane": {"config": treatment}}


def rule(description, match, actions):
    return {"description": description, "match": match, "actions": actions}


class Ip:
    """Makes rules of one IP version."""

    def __init__(self, version):
        self.version = version
        self.container = f"ipv{version}"

    def match(self, src=None, dst=None, proto=None, sport=None, dport=None, ttl=None, dscp=None,
              icmp=None, code=None, builtin=None):
        config = {}
        for name, value in (("source-address", src), ("destination-address", dst),
                            ("protocol", proto), ("hop-limit", ttl), ("dscp", dscp)):
            if value is not None:
                config[name] = value
        fields = {self.container: {"config": config}}
        if icmp is not None:
            prefix = ICMP4 if self.version == 4 else ICMP6
            icmp_config = {"type": prefix + icmp}
            if code is not None:
                icmp_config["code"] = prefix + code
            fields[self.container][f"icmpv{self.version}"] = {"config": icmp_config}
        transport = {}
        if sport is not None:
            transport["source-port"] = sport
        if dport is not None:
            transport["destination-port"] = dport
        if builtin is not None:
            transport.update({"detail-mode": "BUILTIN", "builtin-detail": builtin})
        if transport:
            fields["transport"] = {"config": transport}
        return fields

    def permit(self, description, queue, log=False, **match):
        return rule(description, self.match(**match), action("ACCEPT", queue, log=log))

    def drop(self, description, log=False, **match):
        return rule(description, self.match(**match), action("DROP", log=log))


IP4, IP6 = Ip(4), Ip(6)


def pick(ip, v4, v6):
    return v4 if ip is IP4 else v6


# --- IP: what is never accepted -----------------------------------------------------------------

# IANA "IPv4 Special-Purpose Address Registry". The documentation ranges are left out, since the
# example's own addresses are from them.
MARTIANS4 = [
    ("0.0.0.0/8", "this network", "RFC 1122, section 3.2.1.3"),
    ("100.64.0.0/10", "shared address space", "RFC 6598"),
    ("127.0.0.0/8", "loopback", "RFC 1122, section 3.2.1.3"),
    ("169.254.0.0/16", "link local", "RFC 3927"),
    ("192.0.0.0/24", "IETF protocol assignments", "RFC 6890"),
    ("192.88.99.0/24", "deprecated 6to4 relay anycast", "RFC 7526"),
    ("198.18.0.0/15", "benchmarking", "RFC 2544"),
    ("224.0.0.0/4", "multicast as a source", "RFC 1112"),
    ("240.0.0.0/4", "reserved, with limited broadcast", "RFC 1112"),
]
# IANA "IPv6 Special-Purpose Address Registry".
MARTIANS6 = [
    ("::1/128", "loopback", "RFC 4291, section 2.5.3"),
    ("::ffff:0:0/96", "IPv4-mapped", "RFC 4291, section 2.5.5.2"),
    ("64:ff9b:1::/48", "IPv4-IPv6 translation", "RFC 8215"),
    ("100::/64", "discard only", "RFC 6666"),
    ("2001::/32", "Teredo", "RFC 4380"),
    ("2001:2::/48", "benchmarking", "RFC 5180"),
    ("2001:10::/28", "deprecated ORCHID", "RFC 4843"),
    ("2002::/16", "6to4", "RFC 3056"),
    ("fec0::/10", "deprecated site local", "RFC 3879"),
    ("ff00::/8", "multicast as a source", "RFC 4291, section 2.7"),
]
NOISE = [
    (UDP, "137..139", "NetBIOS (IANA netbios-ns, -dgm, -ssn; RFC 1002)"),
    (UDP, 1900, "SSDP (IANA ssdp)"),
    (UDP, 5353, "multicast DNS (IANA mdns; RFC 6762)"),
    (UDP, 5355, "link-local name resolution (IANA llmnr; RFC 4795)"),
    (TCP, 23, "Telnet (IANA telnet; RFC 854)"),
    (TCP, 445, "file sharing (IANA microsoft-ds)"),
]


def invalid(ip):
    rules = []
    if ip is IP4:
        rules += [
            ip.permit("DHCP client without address (IANA bootps 67, bootpc 68; RFC 2131)",
                      "services", src="0.0.0.0/32", dst="255.255.255.255/32", proto=UDP,
                      sport=68, dport=67),
            ip.permit("IGMP from a host without address (IANA protocol 2; RFC 3376, section 4.2.13)",
                      "multicast", src="0.0.0.0/32", dst="224.0.0.0/4", proto=MATCH + "IP_IGMP"),
        ]
    else:
        rules += [
            ip.permit("Duplicate address detection (ICMPv6 type 135; RFC 4862, section 5.4)",
                      "resolution", src="::/128", dst="ff02::1:ff00:0/104",
                      icmp="NEIGHBOR_SOLICITATION", ttl=255),
            ip.permit("Router solicitation from an unspecified source (ICMPv6 type 133; RFC 4861)",
                      "resolution", src="::/128", dst="ff02::2/128", icmp="ROUTER_SOLICITATION",
                      ttl=255),
            ip.permit("MLDv2 report during address configuration (ICMPv6 type 143; RFC 3590)",
                      "multicast", src="::/128", icmp="VERSION2_MULTICAST_LISTENER", ttl=1),
            ip.drop("Unspecified source otherwise (RFC 4291, section 2.5.2)", src="::/128"),
        ]
    for prefix, what, source in pick(ip, MARTIANS4, MARTIANS6):
        rules.append(ip.drop(f"Martian source: {what} ({source})", src=prefix))
    rules.append(ip.drop("Fragments of TCP for the control plane (RFC 9293, section 3.7.1)",
                         proto=TCP, builtin="FRAGMENT", log=True))
    rules.append(ip.drop("Fragments of UDP for the control plane (RFC 8085, section 3.2)",
                         proto=UDP, builtin="FRAGMENT", log=True))
    icmp_number = pick(ip, MATCH + "IP_ICMP", 58)
    rules.append(ip.drop("Fragments of ICMP for the control plane (RFC 8900)",
                         proto=icmp_number, builtin="FRAGMENT"))
    for proto, port, what in NOISE:
        rules.append(ip.drop(f"Not a service of this switch: {what}", proto=proto, dport=port))
    return rules


# --- IP: routing and liveness -------------------------------------------------------------------

def bgp(ip):
    rules = []
    for peer in pick(ip, EXTERNAL_PEERS4, EXTERNAL_PEERS6):
        name = f"external peer {peer.split('/')[0]}"
        rules += [
            ip.permit(f"BGP, {name} connects (IANA bgp 179/tcp; RFC 4271; hop limit RFC 5082)",
                      "routing", src=peer, proto=TCP, dport=179, ttl=255),
            ip.permit(f"BGP, {name} answers (IANA bgp 179/tcp; RFC 4271; hop limit RFC 5082)",
                      "routing", src=peer, proto=TCP, sport=179, ttl=255,
                      builtin="TCP_ESTABLISHED"),
        ]
    for peer in pick(ip, INTERNAL_PEERS4, INTERNAL_PEERS6):
        name = f"route reflector {peer.split('/')[0]}"
        rules += [
            ip.permit(f"BGP, {name} connects (IANA bgp 179/tcp; RFC 4271, RFC 4456)", "routing",
                      src=peer, proto=TCP, dport=179),
            ip.permit(f"BGP, {name} answers (IANA bgp 179/tcp; RFC 4271, RFC 4456)", "routing",
                      src=peer, proto=TCP, sport=179, builtin="TCP_ESTABLISHED"),
        ]
    rules.append(ip.drop("BGP from anybody else (IANA bgp 179/tcp; RFC 4271)", log=True,
                         proto=TCP, dport=179))
    return rules


def bfd(ip):
    return [
        ip.permit("BFD single hop (IANA bfd-control 3784/udp; RFC 5881, section 5)", "liveness",
                  proto=UDP, sport="49152..65535", dport=3784, ttl=255),
        ip.drop("BFD single hop that was forwarded (RFC 5881, section 5)", proto=UDP, dport=3784),
        ip.permit("BFD echo (IANA bfd-echo 3785/udp; RFC 5881, section 4)", "liveness", proto=UDP,
                  dport=3785),
        ip.permit("BFD multihop (IANA bfd-multi-ctl 4784/udp; RFC 5883)", "liveness", proto=UDP,
                  dport=4784),
        ip.permit("BFD on link aggregates (IANA bfd-lag 6784/udp; RFC 7130)", "liveness",
                  proto=UDP, dport=6784, ttl=255),
        ip.permit("Seamless BFD (IANA s-bfd 7784/udp; RFC 7881)", "liveness", proto=UDP,
                  dport=7784),
    ]


def interior(ip):
    all_ospf, all_dr, all_pim, all_vrrp, all_rip, all_routers = pick(
        ip,
        ("224.0.0.5/32", "224.0.0.6/32", "224.0.0.13/32", "224.0.0.18/32", "224.0.0.9/32",
         "224.0.0.2/32"),
        ("ff02::5/128", "ff02::6/128", "ff02::d/128", "ff02::12/128", "ff02::9/128",
         "ff02::2/128"))
    link = pick(ip, {}, {"src": "fe80::/10"})
    ospf = pick(ip, "OSPFv2 (IANA protocol 89; RFC 2328", "OSPFv3 (IANA protocol 89; RFC 5340")
    vrrp = pick(ip, "VRRP version 2 and 3 (IANA protocol 112; RFC 3768, RFC 9568)",
                "VRRP version 3 (IANA protocol 112; RFC 9568)")
    rip = pick(ip, (520, "RIPv2 (IANA router 520/udp; RFC 2453)"),
               (521, "RIPng (IANA ripng 521/udp; RFC 2080)"))
    return [
        ip.permit(f"{ospf}), all routers", "routing", dst=all_ospf, proto=89, **link),
        ip.permit(f"{ospf}), designated routers", "routing", dst=all_dr, proto=89, **link),
        ip.permit(f"{ospf}), unicast", "routing", proto=89, **link),
        ip.permit(vrrp, "liveness", dst=all_vrrp, proto=112, ttl=255, **link),
        ip.drop("VRRP that was forwarded (RFC 9568, section 5.1.1.3)", proto=112),
        ip.permit("PIM hello, join, prune (IANA protocol 103; RFC 7761)", "multicast",
                  dst=all_pim, proto=MATCH + "IP_PIM", ttl=1, **link),
        ip.permit("PIM register (IANA protocol 103; RFC 7761, section 4.4)", "multicast",
                  proto=MATCH + "IP_PIM"),
        ip.permit(rip[1], "routing", dst=all_rip, proto=UDP, sport=rip[0], dport=rip[0], **link),
        ip.permit("LDP hello (IANA ldp 646/udp; RFC 5036, RFC 7552)", "routing", dst=all_routers,
                  proto=UDP, dport=646),
        ip.permit("LDP targeted hello (IANA ldp 646/udp; RFC 5036)", "routing", proto=UDP,
                  dport=646),
        ip.permit("LDP session, neighbour connects (IANA ldp 646/tcp; RFC 5036)", "routing",
                  proto=TCP, dport=646),
        ip.permit("LDP session, neighbour answers (IANA ldp 646/tcp; RFC 5036)", "routing",
                  proto=TCP, sport=646, builtin="TCP_ESTABLISHED"),
        ip.permit("RSVP (IANA protocol 46; RFC 2205, RFC 3209)", "routing",
                  proto=MATCH + "IP_RSVP"),
        ip.permit("MPLS echo request (IANA lsp-ping 3503/udp; RFC 8029)", "icmp",
                  dst=pick(ip, "127.0.0.0/8", "::ffff:7f00:0/104"), proto=UDP, dport=3503),
        ip.permit("MPLS echo reply (IANA lsp-ping 3503/udp; RFC 8029)", "icmp", proto=UDP,
                  sport=3503),
    ]


def routing_helpers(ip):
    servers = pick(ip, SERVERS4, SERVERS6)
    rules = []
    for server in servers:
        name = server.split("/")[0]
        rules += [
            ip.permit(f"RPKI to router, cache {name} (IANA rpki-rtr 323/tcp; RFC 8210)", "routing",
                      src=server, proto=TCP, sport=323, builtin="TCP_ESTABLISHED"),
            ip.permit(f"Path computation element {name} (IANA pcep 4189/tcp; RFC 5440)", "routing",
                      src=server, proto=TCP, sport=4189, builtin="TCP_ESTABLISHED"),
        ]
    if ip is IP4:
        rules += [
            ip.permit("MSDP, peer connects (IANA msdp 639/tcp; RFC 3618)", "multicast",
                      src="192.0.2.0/28", proto=TCP, dport=639),
            ip.permit("MSDP, peer answers (IANA msdp 639/tcp; RFC 3618)", "multicast",
                      src="192.0.2.0/28", proto=TCP, sport=639, builtin="TCP_ESTABLISHED"),
            ip.permit("IGMP general query (IANA protocol 2; RFC 3376)", "multicast",
                      dst="224.0.0.1/32", proto=MATCH + "IP_IGMP", ttl=1),
            ip.permit("IGMPv2 leave (IANA protocol 2; RFC 2236)", "multicast",
                      dst="224.0.0.2/32", proto=MATCH + "IP_IGMP", ttl=1),
            ip.permit("IGMPv3 report (IANA protocol 2; RFC 3376, section 4.2.14)", "multicast",
                      dst="224.0.0.22/32", proto=MATCH + "IP_IGMP", ttl=1),
            ip.permit("IGMP group report and query (IANA protocol 2; RFC 2236)", "multicast",
                      dst="224.0.0.0/4", proto=MATCH + "IP_IGMP", ttl=1),
        ]
    return rules


# --- IP: management and services ----------------------------------------------------------------

MANAGEMENT_SERVICES = [
    (TCP, 22, "SSH (IANA ssh 22/tcp; RFC 4253)"),
    (TCP, 830, "NETCONF over SSH (IANA netconf-ssh 830/tcp; RFC 6242)"),
    (TCP, 6513, "NETCONF over TLS (IANA netconf-tls 6513/tcp; RFC 7589)"),
    (TCP, 443, "RESTCONF (IANA https 443/tcp; RFC 8040)"),
    (TCP, 9339, "gNMI and gNOI (IANA gnmi-gnoi 9339/tcp)"),
    (TCP, 9340, "gRIBI (IANA gribi 9340/tcp)"),
    (TCP, 9559, "P4Runtime (IANA p4runtime 9559/tcp)"),
    (UDP, 161, "SNMP (IANA snmp 161/udp; RFC 3417)"),
    (TCP, 10161, "SNMP over TLS (IANA snmptls 10161/tcp; RFC 6353)"),
    (UDP, 10161, "SNMP over DTLS (IANA snmpdtls 10161/udp; RFC 6353)"),
    (TCP, 862, "TWAMP control (IANA twamp-control 862/tcp; RFC 5357)"),
]
# Servers that this switch calls: what comes back.
SERVER_REPLIES = [
    (TCP, 49, "TACACS+ (IANA tacacs 49/tcp; RFC 8907)"),
    (UDP, 1812, "RADIUS authentication (IANA radius 1812/udp; RFC 2865)"),
    (UDP, 1813, "RADIUS accounting (IANA radius-acct 1813/udp; RFC 2866)"),
    (TCP, 2083, "RADIUS over TLS (IANA radsec 2083/tcp; RFC 6614)"),
    (UDP, 53, "DNS (IANA domain 53/udp; RFC 1035)"),
    (TCP, 53, "DNS over TCP (IANA domain 53/tcp; RFC 7766)"),
    (TCP, 853, "DNS over TLS (IANA domain-s 853/tcp; RFC 7858)"),
    (UDP, 123, "NTP (IANA ntp 123/udp; RFC 5905)"),
]
COLLECTOR_REPLIES = [
    (TCP, 6514, "Syslog over TLS (IANA syslog-tls 6514/tcp; RFC 5425)"),
    (TCP, 601, "Syslog over TCP (IANA syslog-conn 601/tcp; RFC 3195)"),
    (TCP, 4739, "IPFIX (IANA ipfix 4739/tcp; RFC 7011)"),
    (TCP, 10162, "SNMP trap over TLS (IANA snmptls-trap 10162/tcp; RFC 6353)"),
    (UDP, 162, "SNMP inform acknowledged (IANA snmptrap 162/udp; RFC 3416)"),
]


def management(ip):
    rules = []
    for who, prefix in pick(ip, MANAGEMENT4, MANAGEMENT6):
        for proto, port, what in MANAGEMENT_SERVICES:
            rules.append(ip.permit(f"{what} from {who}", "management", src=prefix, proto=proto,
                                   dport=port))
    for collector in pick(ip, COLLECTORS4, COLLECTORS6):
        for proto, port, what in COLLECTOR_REPLIES:
            established = {"builtin": "TCP_ESTABLISHED"} if proto == TCP else {}
            rules.append(ip.permit(f"{what}, collector {collector.split('/')[0]}", "telemetry",
                                   src=collector, proto=proto, sport=port, **established))
    for server in pick(ip, SERVERS4, SERVERS6):
        for proto, port, what in SERVER_REPLIES:
            established = {"builtin": "TCP_ESTABLISHED"} if proto == TCP else {}
            rules.append(ip.permit(f"{what}, server {server.split('/')[0]}", "services",
                                   src=server, proto=proto, sport=port, **established))
        rules.append(ip.permit(
            f"RADIUS change of authorization, server {server.split('/')[0]} "
            "(IANA radius-dynauth 3799/udp; RFC 5176)", "services", src=server, proto=UDP,
            dport=3799))
    for what, proto, port in (("SSH (IANA ssh 22/tcp; RFC 4253)", TCP, 22),
                              ("NETCONF (IANA netconf-ssh 830/tcp; RFC 6242)", TCP, 830),
                              ("gNMI (IANA gnmi-gnoi 9339/tcp)", TCP, 9339),
                              ("SNMP (IANA snmp 161/udp; RFC 3417)", UDP, 161)):
        rules.append(ip.drop(f"{what} from anybody else", log=True, proto=proto, dport=port))
    return rules


def services(ip):
    rules = []
    if ip is IP4:
        rules += [
            ip.permit("DHCP client to server or relay (IANA bootps 67, bootpc 68; RFC 2131)",
                      "services", proto=UDP, sport=68, dport=67),
            ip.permit("DHCP server to client (IANA bootps 67, bootpc 68; RFC 2131)", "services",
                      proto=UDP, sport=67, dport=68),
            ip.permit("DHCP relay and server (IANA bootps 67; RFC 3046)", "services", proto=UDP,
                      sport=67, dport=67),
        ]
    else:
        rules += [
            ip.permit("DHCPv6 client (IANA dhcpv6-client 546, dhcpv6-server 547; RFC 8415)",
                      "services", src="fe80::/10", dst="ff02::1:2/128", proto=UDP, sport=546,
                      dport=547),
            ip.permit("DHCPv6 server to client (IANA dhcpv6-client 546/udp; RFC 8415)",
                      "services", proto=UDP, sport=547, dport=546),
            ip.permit("DHCPv6 relay (IANA dhcpv6-server 547/udp; RFC 8415, section 7.2)",
                      "services", proto=UDP, sport=547, dport=547),
        ]
    ptp = pick(ip, ("224.0.1.129/32", "224.0.0.107/32"), ("ff02::181/128", "ff02::6b/128"))
    for port, kind in ((319, "event messages (IANA ptp-event 319/udp; IEEE 1588"),
                       (320, "general messages (IANA ptp-general 320/udp; IEEE 1588")):
        rules += [
            ip.permit(f"PTP {kind})", "liveness", dst=ptp[0], proto=UDP, dport=port),
            ip.permit(f"PTP peer delay {kind})", "liveness", dst=ptp[1], proto=UDP, dport=port),
            ip.permit(f"PTP unicast {kind})", "liveness", proto=UDP, dport=port),
        ]
    rules.append(ip.permit("Traceroute (IANA traceroute 33434/udp and the ports above)", "icmp",
                           proto=UDP, dport="33434..33534"))
    rules.append(ip.permit("TWAMP test (TWAMP-Test receiver port 862/udp; RFC 8545)",
                           "telemetry", proto=UDP, dport=862))
    return rules


# --- IP: ICMP -----------------------------------------------------------------------------------

def icmp4():
    ip = IP4
    source = "IANA ICMP parameters"
    return [
        ip.permit(f"Fragmentation needed ({source}, type 3 code 4; RFC 1191)", "icmp",
                  icmp="DST_UNREACHABLE", code="DST_UNREACHABLE_CANNOT_FRAGMENT"),
        ip.permit(f"Port unreachable ({source}, type 3 code 3; RFC 792)", "icmp",
                  icmp="DST_UNREACHABLE", code="DST_UNREACHABLE_PORT"),
        ip.permit(f"Net unreachable ({source}, type 3 code 0; RFC 792)", "icmp",
                  icmp="DST_UNREACHABLE", code="DST_UNREACHABLE_NET"),
        ip.permit(f"Host unreachable ({source}, type 3 code 1; RFC 792)", "icmp",
                  icmp="DST_UNREACHABLE", code="DST_UNREACHABLE_HOST"),
        ip.permit(f"Filtered ({source}, type 3 code 13; RFC 1812)", "icmp",
                  icmp="DST_UNREACHABLE", code="DST_UNREACHABLE_ADMIN_PROHIBITED"),
        ip.permit(f"Unreachable for another reason ({source}, type 3; RFC 792)", "default",
                  icmp="DST_UNREACHABLE"),
        ip.permit(f"TTL exceeded in transit ({source}, type 11 code 0; RFC 792)", "icmp",
                  icmp="TIME_EXCEEDED", code="TIME_EXCEEDED_IN_TRANSIT"),
        ip.permit(f"Reassembly time exceeded ({source}, type 11 code 1; RFC 792)", "default",
                  icmp="TIME_EXCEEDED", code="TIME_EXCEEDED_FRAGMENT_REASSEMBLY_IN_TRANSIT"),
        ip.permit(f"Parameter problem ({source}, type 12; RFC 792)", "default",
                  icmp="PARAM_PROBLEM"),
        ip.permit(f"Echo request ({source}, type 8; RFC 792)", "icmp", icmp="ECHO"),
        ip.permit(f"Echo reply ({source}, type 0; RFC 792)", "icmp", icmp="ECHO_REPLY"),
        ip.permit(f"Extended echo request ({source}, type 42; RFC 8335)", "default",
                  icmp="EXT_ECHO_REQUEST"),
        ip.permit(f"Extended echo reply ({source}, type 43; RFC 8335)", "default",
                  icmp="EXT_ECHO_REPLY"),
        ip.drop(f"Redirect ({source}, type 5; RFC 792; RFC 6918)", icmp="REDIRECT"),
        ip.drop(f"Router advertisement ({source}, type 9; RFC 1256)",
                icmp="ROUTER_ADVERTISEMENT"),
        ip.drop(f"Router solicitation ({source}, type 10; RFC 1256)", icmp="ROUTER_SOLICITATION"),
        ip.drop(f"Timestamp ({source}, type 13; RFC 792)", icmp="TIMESTAMP"),
        ip.drop(f"Timestamp reply ({source}, type 14; RFC 792)", icmp="TIMESTAMP_REPLY"),
        ip.drop(f"Deprecated traceroute ({source}, type 30; RFC 6918)", icmp="TRACEROUTE"),
        ip.drop("ICMP of any other type (IANA protocol 1; RFC 792)", proto=MATCH + "IP_ICMP"),
    ]


def icmp6():
    ip = IP6
    source = "IANA ICMPv6 parameters"
    link = {"src": "fe80::/10"}
    return [
        ip.permit(f"Neighbour solicitation ({source}, type 135; RFC 4861)", "resolution",
                  icmp="NEIGHBOR_SOLICITATION", ttl=255),
        ip.permit(f"Neighbour advertisement ({source}, type 136; RFC 4861)", "resolution",
                  icmp="NEIGHBOR_ADVERTISEMENT", ttl=255),
        ip.permit(f"Router solicitation ({source}, type 133; RFC 4861)", "resolution",
                  icmp="ROUTER_SOLICITATION", ttl=255),
        ip.permit(f"Router advertisement ({source}, type 134; RFC 4861)", "resolution",
                  icmp="ROUTER_ADVERTISEMENT", ttl=255, **link),
        ip.drop(f"Redirect ({source}, type 137; RFC 4861)", icmp="REDIRECT"),
        ip.permit(f"Inverse neighbour solicitation ({source}, type 141; RFC 3122)", "default",
                  icmp="INVERSE_NEIGHBOR_SOLICITATION", ttl=255),
        ip.permit(f"Inverse neighbour advertisement ({source}, type 142; RFC 3122)", "default",
                  icmp="INVERSE_NEIGHBOR_ADVERTISEMENT", ttl=255),
        ip.permit(f"Certification path solicitation ({source}, type 148; RFC 3971)", "default",
                  icmp="CERTIFICATION_PATH_SOLICITATION", ttl=255),
        ip.permit(f"Certification path advertisement ({source}, type 149; RFC 3971)", "default",
                  icmp="CERTIFICATION_PATH_ADVERTISEMENT", ttl=255),
        ip.permit(f"MLD query ({source}, type 130; RFC 2710)", "multicast",
                  icmp="MULTICAST_LISTENER_QUERY", ttl=1, **link),
        ip.permit(f"MLD report ({source}, type 131; RFC 2710)", "multicast",
                  icmp="MULTICAST_LISTENER_REPORT", ttl=1, **link),
        ip.permit(f"MLD done ({source}, type 132; RFC 2710)", "multicast",
                  icmp="MULTICAST_LISTENER_DONE", ttl=1, **link),
        ip.permit(f"MLDv2 report ({source}, type 143; RFC 3810)", "multicast",
                  icmp="VERSION2_MULTICAST_LISTENER", ttl=1, **link),
        ip.permit(f"Multicast router advertisement ({source}, type 151; RFC 4286)", "multicast",
                  icmp="MULTICAST_ROUTER_ADVERTISEMENT", ttl=1, **link),
        ip.permit(f"Packet too big ({source}, type 2; RFC 8201)", "icmp", icmp="PACKET_TOO_BIG"),
        ip.permit(f"Port unreachable ({source}, type 1 code 4; RFC 4443)", "icmp",
                  icmp="DESTINATION_UNREACHABLE", code="DST_UNREACHABLE_PORT"),
        ip.permit(f"No route ({source}, type 1 code 0; RFC 4443)", "icmp",
                  icmp="DESTINATION_UNREACHABLE", code="DST_UNREACHABLE_NO_ROUTE_TO_DST"),
        ip.permit(f"Filtered ({source}, type 1 code 1; RFC 4443)", "icmp",
                  icmp="DESTINATION_UNREACHABLE", code="DST_UNREACHABLE_DST_ADMIN_PROHIBITED"),
        ip.permit(f"Unreachable for another reason ({source}, type 1; RFC 4443)", "default",
                  icmp="DESTINATION_UNREACHABLE"),
        ip.permit(f"Hop limit exceeded ({source}, type 3 code 0; RFC 4443)", "icmp",
                  icmp="TIME_EXCEEDED", code="TIME_EXCEEDED_HOP_LIMIT"),
        ip.permit(f"Reassembly time exceeded ({source}, type 3 code 1; RFC 4443)", "default",
                  icmp="TIME_EXCEEDED", code="TIME_EXCEEDED_FRAGMENT_REASSEMBLY"),
        ip.permit(f"Parameter problem ({source}, type 4; RFC 4443)", "default",
                  icmp="PARAMETER_PROBLEM"),
        ip.permit(f"Echo request ({source}, type 128; RFC 4443)", "icmp", icmp="ECHO_REQUEST"),
        ip.permit(f"Echo reply ({source}, type 129; RFC 4443)", "icmp", icmp="ECHO_REPLY"),
        ip.permit(f"Extended echo request ({source}, type 160; RFC 8335)", "default",
                  icmp="EXT_ECHO_REQUEST"),
        ip.permit(f"Extended echo reply ({source}, type 161; RFC 8335)", "default",
                  icmp="EXT_ECHO_REPLY"),
        ip.drop(f"Router renumbering ({source}, type 138; RFC 2894)", icmp="RENUNBERING"),
        ip.drop(f"Node information query ({source}, type 139; RFC 4620)",
                icmp="NODE_INFORMATION_QUERY"),
        ip.drop("ICMPv6 of any other type (IANA protocol 58; RFC 4443)", proto=58),
    ]


# --- IP: the end --------------------------------------------------------------------------------

TUNNELS_TO_CPU = [
    ({"proto": UDP, "dport": 4789}, "VXLAN (IANA vxlan 4789/udp; RFC 7348)"),
    ({"proto": UDP, "dport": 6081}, "Geneve (IANA geneve 6081/udp; RFC 8926)"),
    ({"proto": MATCH + "IP_GRE"}, "GRE (IANA protocol 47; RFC 2784)"),
    ({"proto": MATCH + "IP_IN_IP"}, "IPv4 in IP (IANA protocol 4; RFC 2003)"),
    ({"proto": 41}, "IPv6 in IP (IANA protocol 41; RFC 2473)"),
    ({"proto": MATCH + "IP_L2TP"}, "L2TPv3 (IANA protocol 115; RFC 3931)"),
    ({"proto": UDP, "dport": 1701}, "L2TP (UDP port 1701; RFC 2661)"),
    ({"proto": 50}, "ESP (IANA protocol 50; RFC 4303)"),
    ({"proto": MATCH + "IP_AUTH"}, "AH (IANA protocol 51; RFC 4302)"),
    ({"proto": UDP, "dport": 500}, "IKE (IANA isakmp 500/udp; RFC 7296)"),
    ({"proto": UDP, "dport": 4500}, "IKE behind NAT (IANA ipsec-nat-t 4500/udp; RFC 3948)"),
]


def remainder(ip):
    rules = []
    for match, what in TUNNELS_TO_CPU:
        rules.append(ip.drop(f"Not terminated by the CPU: {what}", **match))
    what = pick(ip, "TTL 1, answered with time exceeded (RFC 1812, section 5.3.1)",
                "Hop limit 1, answered with time exceeded (RFC 4443, section 3.3)")
    rules.append(rule(what, ip.match(ttl=1), action("ACCEPT", "icmp", to_cpu="TRAP")))
    rules.append(ip.drop(pick(ip, "TTL 0 (RFC 1812, section 4.2.2.9)",
                              "Hop limit 0 (RFC 8200, section 3)"), ttl=0))
    link_local = pick(ip, "224.0.0.0/24", "ff02::/16")
    multicast = pick(ip, "224.0.0.0/4", "ff00::/8")
    rules.append(ip.permit(
        pick(ip, "Other link-local multicast (IANA Local Network Control Block; RFC 5771)",
             "Other link-local multicast (IANA IPv6 multicast; RFC 4291)"),
        "default", dst=link_local))
    rules.append(ip.drop(pick(ip, "Other multicast (RFC 5771)", "Other multicast (RFC 4291)"),
                         dst=multicast))
    if ip is IP4:
        rules.append(ip.drop("Limited broadcast (RFC 919)", dst="255.255.255.255/32"))
    rules.append(ip.permit("Network control by class selector 6 (RFC 2474, DSCP 48)", "bulk",
                           dscp=48))
    rules.append(ip.permit("TCP that this switch began (RFC 9293)", "bulk", proto=TCP,
                           builtin="TCP_ESTABLISHED"))
    rules.append(ip.drop("Everything else", log=True))
    return rules


# --- Ethernet -----------------------------------------------------------------------------------

def frame(description, actions, **fields):
    names = {"dst": "destination-mac", "dst_mask": "destination-mac-mask", "src": "source-mac",
             "src_mask": "source-mac-mask", "ethertype": "ethertype"}
    return rule(description, {"l2": {"config": {names[k]: v for k, v in fields.items()}}}, actions)


def ethernet():
    link, liveness = action("ACCEPT", "link"), action("ACCEPT", "liveness")
    routing, resolution = action("ACCEPT", "routing"), action("ACCEPT", "resolution")
    drop = action("DROP")
    group = "01:80:c2:00:00:"
    rules = [
        frame("Group address as a source (IEEE 802, clause 8)", drop,
              src="01:00:00:00:00:00", src_mask="01:00:00:00:00:00"),
        frame("All-zero source (IEEE 802, clause 8)", drop, src="00:00:00:00:00:00"),
        frame("PAUSE and priority flow control (IEEE 802.3 annex 31B, 31D)", drop,
              dst=group + "01", ethertype=0x8808),
        frame("LACP, link OAM, ESMC: slow protocols (IEEE 802.3 annex 57A; IEEE 802.1AX)", liveness,
              dst=group + "02", ethertype=0x8809),
        frame("LACP to the nearest non-TPMR bridge (IEEE 802.1AX)", liveness,
              dst=group + "03", ethertype=0x8809),
        frame("LACP to the nearest customer bridge (IEEE 802.1AX)", liveness,
              dst=group + "00", ethertype=0x8809),
        frame("LLDP to the nearest bridge (IEEE 802.1AB, section 7.1)", link, dst=group + "0e",
              ethertype=MATCH + "ETHERTYPE_LLDP"),
        frame("LLDP to the nearest non-TPMR bridge (IEEE 802.1AB, section 7.1)", link,
              dst=group + "03", ethertype=MATCH + "ETHERTYPE_LLDP"),
        frame("LLDP to the nearest customer bridge (IEEE 802.1AB, section 7.1)", link,
              dst=group + "00", ethertype=MATCH + "ETHERTYPE_LLDP"),
        frame("Port authentication, nearest non-TPMR bridge (IEEE 802.1X)", link,
              dst=group + "03", ethertype=0x888E),
        frame("Port authentication, nearest bridge (IEEE 802.1X)", link,
              dst=group + "0e", ethertype=0x888E),
        frame("Port authentication, unicast (IEEE 802.1X)", link,
              ethertype=0x888E),
        frame("PTP peer delay over Ethernet (IEEE 1588 annex F)", liveness, dst=group + "0e",
              ethertype=0x88F7),
        frame("PTP over Ethernet (IEEE 1588 annex F)", liveness, dst="01:1b:19:00:00:00",
              ethertype=0x88F7),
        frame("Stream reservation, MSRP (IEEE 802.1Q, clause 35)", link, dst=group + "0e",
              ethertype=0x22EA),
        frame("Multiple MAC registration, MMRP (IEEE 802.1Q, table 10-1)", link, dst=group + "20",
              ethertype=0x88F6),
        frame("Multiple VLAN registration, MVRP (IEEE 802.1Q, table 10-1)", link,
              dst=group + "21", ethertype=0x88F5),
        frame("Local management interface, E-LMI (MEF 16; IEEE 802.1Q table 8-1)", link,
              dst=group + "07", ethertype=0x88EE),
        frame("Connectivity fault management, CCM of all levels (IEEE 802.1Q, clause 20)",
              liveness, dst=group + "30", dst_mask="ff:ff:ff:ff:ff:f8", ethertype=0x8902),
        frame("Connectivity fault management, linktrace (IEEE 802.1Q, clause 20)", link,
              dst=group + "38", dst_mask="ff:ff:ff:ff:ff:f8", ethertype=0x8902),
        frame("Connectivity fault management, unicast (IEEE 802.1Q, clause 20)", link,
              ethertype=0x8902),
        frame("Spanning tree (IEEE 802.1Q, table 8-1)", link, dst=group + "00"),
        frame("Provider bridge spanning tree (IEEE 802.1Q, table 8-1)", link, dst=group + "08"),
        frame("IS-IS level 1 (ISO/IEC 10589)", routing, dst=group + "14"),
        frame("IS-IS level 2 (ISO/IEC 10589)", routing, dst=group + "15"),
        frame("IS-IS point to point over LAN (RFC 5309, section 4)", routing,
              dst="09:00:2b:00:00:05"),
        frame("End system hello, ES-IS (ISO 9542)", routing, dst="09:00:2b:00:00:04"),
        frame("Layer 2 IS-IS (IEEE EtherType 0x22F4; RFC 6325)", routing, ethertype=0x22F4),
    ]
    for last in (0x04, 0x05, 0x06, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0F):
        rules.append(frame(f"Reserved bridge address {group}{last:02x} (IEEE 802.1Q, table 8-1)",
                           drop, dst=f"{group}{last:02x}"))
    rules += [
        frame("ARP request (IEEE EtherType 0x0806; RFC 826)", resolution,
              dst="ff:ff:ff:ff:ff:ff", ethertype=MATCH + "ETHERTYPE_ARP"),
        frame("ARP reply (IEEE EtherType 0x0806; RFC 826)", resolution,
              ethertype=MATCH + "ETHERTYPE_ARP"),
        frame("Reverse ARP (IEEE EtherType 0x8035; RFC 903)", drop, ethertype=0x8035),
        frame("VRRP virtual router, IPv4 (IANA 00-00-5E-00-01; RFC 9568, section 7.3)", resolution,
              dst="00:00:5e:00:01:00", dst_mask="ff:ff:ff:ff:ff:00",
              ethertype=MATCH + "ETHERTYPE_IPV4"),
        frame("VRRP virtual router, IPv6 (IANA 00-00-5E-00-02; RFC 9568, section 7.3)", resolution,
              dst="00:00:5e:00:02:00", dst_mask="ff:ff:ff:ff:ff:00",
              ethertype=MATCH + "ETHERTYPE_IPV6"),
        frame("IPv4 link-local multicast (RFC 1112, section 6.4; RFC 5771)",
              action("ACCEPT", "multicast"), dst="01:00:5e:00:00:00", dst_mask="ff:ff:ff:ff:ff:00",
              ethertype=MATCH + "ETHERTYPE_IPV4"),
        frame("IPv6 solicited-node multicast (RFC 2464, section 7; RFC 4291)", resolution,
              dst="33:33:ff:00:00:00", dst_mask="ff:ff:ff:00:00:00",
              ethertype=MATCH + "ETHERTYPE_IPV6"),
        frame("IPv6 multicast (RFC 2464, section 7)", action("ACCEPT", "multicast"),
              dst="33:33:00:00:00:00", dst_mask="ff:ff:00:00:00:00",
              ethertype=MATCH + "ETHERTYPE_IPV6"),
        frame("BFD on link aggregates (IANA 01-00-5E-90-00-01; RFC 7130, section 2.3)", liveness,
              dst="01:00:5e:90:00:01", ethertype=MATCH + "ETHERTYPE_IPV4"),
        frame("PPPoE discovery (IEEE EtherType 0x8863; RFC 2516)", drop, ethertype=0x8863),
        frame("PPPoE session (IEEE EtherType 0x8864; RFC 2516)", drop, ethertype=0x8864),
        frame("TRILL (IEEE EtherType 0x22F3; RFC 6325)", drop, ethertype=0x22F3),
        frame("FCoE initialization (IEEE EtherType 0x8914; T11 FC-BB-5)", action("ACCEPT", "link"),
              ethertype=0x8914),
        frame("Loopback test, ECTP (IEEE EtherType 0x9000)", drop, ethertype=0x9000),
        frame("MAC security (IEEE EtherType 0x88E5; IEEE 802.1AE)", drop, ethertype=0x88E5),
        frame("Other IPv4 broadcast, into quarantine VLAN 4094 (RFC 894)",
              action("ACCEPT", "default", set_vlan_id=4094),
              dst="ff:ff:ff:ff:ff:ff", ethertype=MATCH + "ETHERTYPE_IPV4"),
        frame("Other broadcast (IEEE 802.3)", drop, dst="ff:ff:ff:ff:ff:ff"),
    ]
    return rules


# --- MPLS ---------------------------------------------------------------------------------------

def label_rule(description, actions, low=None, high=None, tc=None, ttl=None):
    config = {}
    for name, value in (("start-label-value", low), ("end-label-value", high),
                        ("traffic-class", tc), ("ttl-value", ttl)):
        if value is not None:
            config[name] = value
    return rule(description, {"mpls": {"config": config}}, actions)


def mpls():
    def only(label):
        return {"low": label, "high": label}

    trap = action("ACCEPT", "icmp", to_cpu="TRAP")
    rules = [
        label_rule("Implicit null never travels (label 3; RFC 3032, section 2.1)",
                   action("DROP", log=True), **only("IMPLICIT_NULL")),
        label_rule("LSP ping by router alert, TTL 1 (label 1; RFC 8029)", trap,
                   ttl=1, **only("ROUTER_ALERT")),
        label_rule("Router alert (label 1; RFC 3032, section 2.1)",
                   action("ACCEPT", "routing", to_cpu="TRAP"), **only("ROUTER_ALERT")),
        label_rule("Entropy label indicator on top (label 7; RFC 6790)", action("DROP"),
                   **only("ENTROPY_LABEL_INDICATOR")),
        label_rule("TTL 0 (RFC 3443)", action("DROP"), ttl=0),
    ]
    for name, version in (("IPV4_EXPLICIT_NULL", 4), ("IPV6_EXPLICIT_NULL", 6)):
        number = 0 if version == 4 else 2
        rules += [
            label_rule(f"IPv{version} explicit null, expiring (label {number}; RFC 3032, RFC 3443)",
                       trap, ttl=1, **only(name)),
            label_rule(f"IPv{version} explicit null, network control (label {number}; RFC 3032; "
                       "traffic class 6, RFC 5462)", action("ACCEPT", "routing"), tc=6,
                       **only(name)),
            label_rule(f"IPv{version} explicit null (label {number}; RFC 3032, section 2.1)",
                       action("ACCEPT", "bulk"), **only(name)),
        ]
    for traffic_class in range(7, -1, -1):
        queue = "icmp" if traffic_class >= 6 else "default"
        rules.append(label_rule(
            f"Expiring, traffic class {traffic_class}: traceroute (RFC 3443; RFC 5462; RFC 8029)",
            action("ACCEPT", queue, to_cpu="TRAP"), tc=traffic_class, ttl=1))
    rules += [
        label_rule("Prefix segment of this switch (label 16001; RFC 8660)",
                   action("ACCEPT", "routing"), **only(16001)),
        label_rule("Prefix segments of the fabric (labels 16000 to 23999; RFC 8660)",
                   action("ACCEPT", "bulk"), low=16000, high=23999),
        label_rule("Adjacency segments (labels 15000 to 15999; RFC 8660)",
                   action("ACCEPT", "bulk"), low=15000, high=15999),
        label_rule("Layer 3 VPN labels that end here (labels 24000 to 31999; RFC 4364)",
                   action("ACCEPT", "bulk", set_mpls_traffic_class=0), low=24000, high=31999),
        label_rule("EVPN labels that end here (labels 32000 to 39999; RFC 7432)",
                   action("ACCEPT", "bulk", set_mpls_traffic_class=0), low=32000, high=39999),
        label_rule("Pseudowire control channel (labels 40000 to 40999; RFC 5085)",
                   action("ACCEPT", "liveness"), low=40000, high=40999),
        label_rule("Any other label", action("DROP")),
    ]
    return rules


# --- VXLAN anycast ------------------------------------------------------------------------------

VTEP = "192.0.2.100/32"
GATEWAY_VTEP = "192.0.2.101/32"


def vxlan():
    def entry(description, verdict, queue, **fields):
        config = {name.replace("_", "-"): value for name, value in fields.items()}
        return rule(description, {EXT + "vxlan-anycast": {"config": config}},
                    action(verdict, queue, "ACL_VXLAN_ANYCAST"))

    source = "IANA vxlan 4789/udp; RFC 7348"
    rules = []
    for number in range(12):
        vni = 10010 + 10 * number
        rules.append(entry(f"Bridged network {vni} ({source})", "ACCEPT", "tunnel", vni=vni,
                           anycast_vtep=VTEP, udp_port=4789))
    for number in range(1, 5):
        rules.append(entry(f"Routed tenant {number} ({source}; RFC 9135)", "ACCEPT", "tunnel",
                           vni=50000 + number, anycast_vtep=VTEP, udp_port=4789, vrf_id=number))
    rules += [
        entry(f"Data center gateway, VNI 0x30000 to 0x300ff ({source}; RFC 9014)", "ACCEPT",
              "tunnel", vni=0x30000, vni_mask=0xFFFF00, anycast_vtep=GATEWAY_VTEP, udp_port=4789),
        entry("VNI 0 is not used (RFC 7348, section 5)", "DROP", None, vni=0, udp_port=4789),
        entry(f"Any other network ({source})", "DROP", None, anycast_vtep=VTEP, udp_port=4789),
        entry("Generic protocol extension is not spoken here (IANA vxlan-gpe 4790/udp)", "DROP",
              None, udp_port=4790),
        entry("Any other port", "DROP", None, anycast_vtep="192.0.2.100/31"),
    ]
    return rules


# --- Tunnel termination -------------------------------------------------------------------------

def tunnels():
    def entry(description, actions, **fields):
        config = {name.replace("_", "-"): value for name, value in fields.items()}
        return rule(description, {EXT + "tunnel": {"config": config}}, actions)

    accept = action("ACCEPT", "tunnel")
    local4, local6 = "192.0.2.200/32", "2001:db8:0:2::200/128"
    rules = []
    for number in (1, 2, 3, 4):
        rules.append(entry(f"VXLAN from leaf {number} (IANA vxlan 4789/udp; RFC 7348)", accept,
                           tunnel_type="VXLAN", source_prefix=f"192.0.2.{10 + number}/32",
                           destination_prefix=local4))
        rules.append(entry(f"VXLAN over IPv6 from leaf {number} (IANA vxlan 4789/udp; RFC 7348)",
                           accept, tunnel_type="VXLAN",
                           source_prefix=f"2001:db8:0:3::{number}/128",
                           destination_prefix=local6))
    for number in (1, 2, 3):
        rules.append(entry(f"GRE to branch {number}, with key (IANA protocol 47; RFC 2890)",
                           action("ACCEPT", "tunnel", inner_vrf_id=100 + number),
                           tunnel_type="GRE", source_prefix=f"203.0.113.{100 + number}/32",
                           destination_prefix=local4, tunnel_key=1000 + number))
    rules += [
        entry("GRE from the scrubbing center, hop limit kept small (IANA protocol 47; RFC 2784)",
              action("ACCEPT", "tunnel", max_inner_ttl=64), tunnel_type="GRE",
              source_prefix="203.0.113.192/27", destination_prefix=local4, vrf_id=1),
        entry("GRE over IPv6 from the scrubbing center (IANA protocol 47; RFC 7676)",
              action("ACCEPT", "tunnel", max_inner_ttl=64), tunnel_type="GRE",
              source_prefix="2001:db8:113:ff00::/56", destination_prefix=local6, vrf_id=1),
        entry("IPv4 in IP from the load balancers (IANA protocol 4; RFC 2003)", accept,
              tunnel_type="IP_IN_IP", source_prefix="192.0.2.128/28", destination_prefix=local4),
        entry("IPv4 in IPv6 from the load balancers (IANA protocol 4; RFC 2473)", accept,
              tunnel_type="IP_IN_IP", source_prefix="2001:db8:0:4::/64",
              destination_prefix=local6),
        entry("IPv6 in IP from the load balancers (IANA protocol 41; RFC 4213)", accept,
              tunnel_type="IPV6_IN_IP", source_prefix="192.0.2.128/28",
              destination_prefix=local4),
        entry("SRv6 segments that end here (IANA protocol 41; RFC 8986)", accept,
              tunnel_type="IPV6_IN_IP", destination_prefix="2001:db8:5f00::/40"),
        entry("Geneve from the hypervisors (IANA geneve 6081/udp; RFC 8926)", accept,
              tunnel_type="GENEVE", source_prefix="192.0.2.144/28", destination_prefix=local4),
        entry("MPLS in UDP from the core (IANA mpls-udp 6635/udp; RFC 7510)", accept,
              tunnel_type="MPLS_OVER_UDP", source_prefix="192.0.2.0/28",
              destination_prefix=local4),
        entry("MPLS in GRE from the core (IANA protocol 47; RFC 4023)", accept,
              tunnel_type="MPLS_OVER_GRE", source_prefix="192.0.2.0/28",
              destination_prefix=local4),
        entry("Generic UDP encapsulation from the hypervisors (IANA gue 6080/udp)", accept,
              tunnel_type="GUE", source_prefix="192.0.2.144/28", destination_prefix=local4),
        entry("L2TPv3 pseudowire to branch 1 (IANA protocol 115; RFC 3931)", accept,
              tunnel_type="L2TPV3", source_prefix="203.0.113.101/32", destination_prefix=local4,
              tunnel_key=2001),
        entry("L2TPv3 over UDP to branch 2 (UDP port 1701; RFC 3931)", accept,
              tunnel_type="L2TPV3", source_prefix="203.0.113.102/32", destination_prefix=local4,
              udp_port=1701),
        entry("Outer hop limit 0 (RFC 1812, section 4.2.2.9)", action("DROP"), hop_limit=0),
        entry("VXLAN from anybody else (IANA vxlan 4789/udp; RFC 7348)", action("DROP", log=True),
              tunnel_type="VXLAN"),
        entry("NVGRE is not spoken here (RFC 7637)", action("DROP"), tunnel_type="NVGRE"),
        entry("Any other tunnel", action("DROP", log=True)),
    ]
    return rules


# --- Egress of the offload processor ------------------------------------------------------------

def olp():
    def entry(description, actions, **fields):
        config = {name.replace("_", "-"): value for name, value in fields.items()}
        return rule(description, {EXT + "egress-olp": {"config": config}}, actions)

    def shaped(queue, **extra):
        _, rate, burst = QUEUES[queue]
        return action("ACCEPT", police_rate=rate, police_burst=burst, **extra)

    rules = [
        entry("BFD control, class 7 (RFC 5880; RFC 5881)", shaped("liveness", traffic_class=7),
              packet_type="BFD", traffic_class=7),
        entry("BFD in any other class is raised to 7 (RFC 5880)",
              shaped("liveness", traffic_class=7), packet_type="BFD"),
        entry("Continuity check, EtherType 0x8902 (IEEE 802.1Q, clause 20; ITU-T G.8013)",
              shaped("liveness", traffic_class=7), packet_type="OAM", ethertype=0x8902),
        entry("MPLS OAM (RFC 5586; EtherType 0x8847)", shaped("liveness", traffic_class=6),
              packet_type="OAM", ethertype=MATCH + "ETHERTYPE_MPLS"),
        entry("PTP over Ethernet (IEEE 1588 annex F, EtherType 0x88F7)",
              shaped("liveness", traffic_class=7), packet_type="TIMESTAMP", ethertype=0x88F7),
        entry("PTP over IPv4 (IANA ptp-event 319/udp; IEEE 1588 annex C)",
              shaped("liveness", traffic_class=7), packet_type="TIMESTAMP",
              ethertype=MATCH + "ETHERTYPE_IPV4"),
        entry("PTP over IPv6 (IANA ptp-event 319/udp; IEEE 1588 annex D)",
              shaped("liveness", traffic_class=7), packet_type="TIMESTAMP",
              ethertype=MATCH + "ETHERTYPE_IPV6"),
    ]
    for channel in range(4):
        rules.append(entry(f"MAC learning messages to forwarding device {channel}",
                           shaped("resolution", traffic_class=6), packet_type="LEARNING",
                           olp_channel=channel))
    rules += [
        entry("Samples to the collectors' uplinks, ports 256 to 271 (sFlow version 5; IANA sflow "
              "6343/udp)", action("ACCEPT", police_rate=200000, traffic_class=1,
                                  police_unit="KILOBITS_PER_SECOND", police_burst=2000),
              packet_type="SAMPLE", egress_port=256, egress_port_mask=0xFFF0),
        entry("Flow records in the telemetry VLAN (RFC 7011; IANA ipfix 4739)",
              action("ACCEPT", police_rate=200000, police_unit="KILOBITS_PER_SECOND",
                     police_burst=2000, traffic_class=1), packet_type="SAMPLE", vlan_id=3000),
        entry("Samples anywhere else", action("DROP"), packet_type="SAMPLE"),
        entry("Inband telemetry reports in the telemetry VLAN", shaped("telemetry", mirror_session=1),
              packet_type="TELEMETRY", vlan_id=3000),
        entry("Inband telemetry reports anywhere else", action("DROP"), packet_type="TELEMETRY"),
        entry("Nothing leaves through the recirculation port 511", action("DROP"), egress_port=511),
        entry("Everything else", action("DROP", log=True)),
    ]
    return rules


# --- Output -------------------------------------------------------------------------------------

SETS = [
    ("ipv4-invalid", "ACL_IPV4", "Never accepted by the control plane", invalid(IP4)),
    ("ipv4-routing", "ACL_IPV4", "Routing protocols and liveness",
     bgp(IP4) + bfd(IP4) + interior(IP4) + routing_helpers(IP4)),
    ("ipv4-management", "ACL_IPV4", "Management stations, collectors, servers", management(IP4)),
    ("ipv4-services", "ACL_IPV4", "Services for and of neighbours", services(IP4) + icmp4()),
    ("ipv4-remainder", "ACL_IPV4", "What is left", remainder(IP4)),
    ("ipv6-invalid", "ACL_IPV6", "Never accepted by the control plane", invalid(IP6)),
    ("ipv6-routing", "ACL_IPV6", "Routing protocols and liveness",
     bgp(IP6) + bfd(IP6) + interior(IP6) + routing_helpers(IP6)),
    ("ipv6-management", "ACL_IPV6", "Management stations, collectors, servers", management(IP6)),
    ("ipv6-services", "ACL_IPV6", "Services for and of neighbours", services(IP6) + icmp6()),
    ("ipv6-remainder", "ACL_IPV6", "What is left", remainder(IP6)),
    ("ethernet-control", "ACL_L2", "Link protocols and address resolution", ethernet()),
    ("mpls-control", "ACL_MPLS", "Reserved and expiring labels", mpls()),
    ("vxlan-anycast", EXT + "ACL_VXLAN_ANYCAST", "Networks behind the anycast VTEP", vxlan()),
    ("tunnel-ends", EXT + "ACL_TUNNEL_TERMINATION", "Tunnels that end here", tunnels()),
    ("olp-egress", EXT + "ACL_EGRESS_OLP", "What the offload processor may send", olp()),
]


def acl_set(name, set_type, description, rules):
    set_type = set_type if ":" in set_type else "openconfig-acl:" + set_type
    entries = []
    for number, item in enumerate(rules, start=1):
        sequence = 10 * number
        entry = {"sequence-id": sequence,
                 "config": {"sequence-id": sequence, "description": item["description"]}}
        entry.update(item["match"])
        entry["actions"] = item["actions"]
        entries.append(entry)
    return {"name": name, "type": set_type,
            "config": {"name": name, "type": set_type, "description": description},
            "acl-entries": {"acl-entry": entries}}


def layout(value, indent=0, width=110):
    """JSON text: what fits on a line stays on it."""
    flat = json.dumps(value)
    if len(flat) + indent <= width or not isinstance(value, (dict, list)):
        return flat
    inner = " " * (indent + 2)
    if isinstance(value, dict):
        parts = [f"{inner}{json.dumps(key)}: {layout(item, indent + 2)}"
                 for key, item in value.items()]
        begin, end = "{", "}"
    else:
        parts = [inner + layout(item, indent + 2) for item in value]
        begin, end = "[", "]"
    return begin + "\n" + ",\n".join(parts) + "\n" + " " * indent + end


def main():
    policy = {"openconfig-acl:acl": {"acl-sets": {"acl-set": [acl_set(*item) for item in SETS]}}}
    sys.stdout.write(layout(policy) + "\n")


if __name__ == "__main__":
    main()
