#pragma once

/// Where the fields of a TCAM action lie in its record, one table per policy.
///
/// All seven begin alike. `unused` bytes are zero. A new record of a table is zero but for the
/// format (1) and, for tunnel termination, `maxInnerTtl` (255): as an action, it decides nothing.
///
/// `flags`, from the lowest bit: log, count, two bits of where the CPU stands in (`ToCpu`), rate
/// and burst in 1000 bits instead of packets, `cpuQueue` is given, traffic class is given.
/// `classAndMirror`: traffic class in the low half, mirror session in the high half.

#include <apps/policy/Field.h>

namespace LoamPolicy {

// clang-format off

namespace ActionFlag {
inline constexpr unsigned log = 0x01;
inline constexpr unsigned count = 0x02;
inline constexpr unsigned toCpuShift = 2;
inline constexpr unsigned toCpuMask = 0x0c;
inline constexpr unsigned kilobits = 0x10;
inline constexpr unsigned cpuQueue = 0x20;
inline constexpr unsigned trafficClass = 0x40;
inline constexpr unsigned all = 0x7f;
} // namespace ActionFlag

struct ActionHeadLayout {
    //                                  OFFSET SIZE
    static constexpr Field format          {4, 4};
    static constexpr Field verdict         {8, 1};
    static constexpr Field flags           {9, 1};
    static constexpr Field cpuQueue       {10, 1};
    static constexpr Field classAndMirror {11, 1};
    static constexpr Field policeRate     {12, 4};
};

struct VxlanActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 16;

    static constexpr std::array table{format, verdict, flags, cpuQueue, classAndMirror, policeRate};
};
static_assert(coverRecord(VxlanActionLayout::table, VxlanActionLayout::recordSize));

struct OlpActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 20;
    //                               OFFSET SIZE
    static constexpr Field policeBurst {16, 4};

    static constexpr std::array table{format,         verdict,    flags,      cpuQueue,
                                      classAndMirror, policeRate, policeBurst};
};
static_assert(coverRecord(OlpActionLayout::table, OlpActionLayout::recordSize));

/// IPv4 and IPv6.
struct IpActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 32;
    //                                OFFSET SIZE
    static constexpr Field policeBurst  {16, 4};
    static constexpr Field setDscp      {20, 1};
    static constexpr Field setDscpGiven {21, 1};
    static constexpr Field unused0     {22, 10};

    static constexpr std::array table{format,     verdict,     flags,   cpuQueue,     classAndMirror,
                                      policeRate, policeBurst, setDscp, setDscpGiven, unused0};
};
static_assert(coverRecord(IpActionLayout::table, IpActionLayout::recordSize));

struct MacActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 40;
    //                               OFFSET SIZE
    static constexpr Field policeBurst {16, 4};
    static constexpr Field setVlanId   {20, 2};
    static constexpr Field unused0    {22, 18};

    static constexpr std::array table{format,     verdict,     flags,     cpuQueue, classAndMirror,
                                      policeRate, policeBurst, setVlanId, unused0};
};
static_assert(coverRecord(MacActionLayout::table, MacActionLayout::recordSize));

struct MplsActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 28;
    //                                  OFFSET SIZE
    static constexpr Field policeBurst    {16, 4};
    static constexpr Field setMplsTc      {20, 1};
    static constexpr Field setMplsTcGiven {21, 1};
    static constexpr Field unused0        {22, 6};

    static constexpr std::array table{format,         verdict,    flags,
                                      cpuQueue,       classAndMirror, policeRate,
                                      policeBurst,    setMplsTc,  setMplsTcGiven,
                                      unused0};
};
static_assert(coverRecord(MplsActionLayout::table, MplsActionLayout::recordSize));

struct TunnelActionLayout : ActionHeadLayout {
    static constexpr std::size_t recordSize = 44;
    //                               OFFSET SIZE
    static constexpr Field policeBurst {16, 4};
    static constexpr Field innerVrfId  {20, 2};
    static constexpr Field unused0     {22, 6};
    static constexpr Field maxInnerTtl {28, 4};
    static constexpr Field unused1    {32, 12};

    static constexpr std::array table{format,         verdict,     flags,       cpuQueue,
                                      classAndMirror, policeRate,  policeBurst, innerVrfId,
                                      unused0,        maxInnerTtl, unused1};
};
static_assert(coverRecord(TunnelActionLayout::table, TunnelActionLayout::recordSize));
static_assert(TunnelActionLayout::maxInnerTtl.offset == 28 &&
              TunnelActionLayout::maxInnerTtl.size == 4);

// clang-format on

} // namespace LoamPolicy
