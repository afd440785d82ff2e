#pragma once

/// One function per leaf of the policy file: checks the value by itself and stores it in the draft.

#include <apps/policy/Draft.h>
#include <apps/policy/LeafValue.h>

namespace LoamPolicy::Leaf {

using Store = Refusal(Draft& draft, LeafValue const& value);

// the set
Store setKeyName;
Store setKeyType;
Store setName;
Store setType;
Store setDescription;
Store setId;

// acl-entry
Store keySequence;
Store sequence;
Store description;

// l2
Store sourceMac;
Store sourceMacMask;
Store destinationMac;
Store destinationMacMask;
Store ethertype;

// ipv4 and ipv6
Store source4;
Store destination4;
Store source6;
Store destination6;
Store sourceFlowLabel;
Store destinationFlowLabel;
Store fragmentOffset;
Store dscp;
Store dscpSet;
Store length;
Store protocol;
Store hopLimit;
Store icmp4Type;
Store icmp4Code;
Store icmp6Type;
Store icmp6Code;

// transport
Store sourcePort;
Store destinationPort;
Store detailMode;
Store explicitMode;
Store tcpFlag;
Store builtinDetail;

// mpls
Store mplsTrafficClass;
Store startLabel;
Store endLabel;
Store mplsTtl;

// vxlan-anycast
Store vni;
Store vniMask;
Store vtep;
Store vxlanUdpPort;
Store vxlanVrfId;

// tunnel
Store tunnelType;
Store tunnelSource;
Store tunnelDestination;
Store tunnelVrfId;
Store tunnelUdpPort;
Store tunnelKey;
Store tunnelHopLimit;

// egress-olp
Store egressPort;
Store egressPortMask;
Store olpEthertype;
Store olpVlanId;
Store olpTrafficClass;
Store olpChannel;
Store olpPacketType;

// actions
Store forwardingAction;
Store logAction;
Store toCpu;
Store cpuQueue;
Store trafficClass;
Store count;
Store mirrorSession;
Store policeRate;
Store policeUnit;
Store policeBurst;
Store setDscp;
Store setVlanId;
Store setMplsTc;
Store innerVrfId;
Store maxInnerTtl;

} // namespace LoamPolicy::Leaf
