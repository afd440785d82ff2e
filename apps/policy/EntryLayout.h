#pragma once

/// Where the fields of a TCAM entry lie in its record, one table per policy.
///
/// All seven begin alike: the key, the format (1 for the layouts below; a reader refuses any
/// other), the priority and the key of the action. `unused` bytes are zero. The table of IPv4
/// ends at byte 133; what follows is padding that assignment need not carry.
///
/// A new record of a table is zero but for the format (1) and, where there is one, `hopLimitMax`
/// (255): as an entry, it matches every packet.

#include <apps/policy/Field.h>

namespace LoamPolicy {

// clang-format off

inline constexpr std::uint32_t recordFormat = 1;

struct EntryHeadLayout {
    //                               OFFSET SIZE
    static constexpr Field format       {4, 4};
    static constexpr Field priority     {8, 4};
    static constexpr Field actionKey   {12, 4};
};

struct Ipv4EntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 136;
    static constexpr std::size_t paddingAt = 133;
    //                                           OFFSET SIZE
    static constexpr Field source                  {16, 4};
    static constexpr Field sourceMask              {20, 4};
    static constexpr Field destination             {24, 4};
    static constexpr Field destinationMask         {28, 4};
    static constexpr Field protocol                {32, 1};
    static constexpr Field protocolMask            {33, 1};
    static constexpr Field icmpType                {34, 1};
    static constexpr Field icmpTypeMask            {35, 1};
    static constexpr Field icmpCode                {36, 1};
    static constexpr Field icmpCodeMask            {37, 1};
    static constexpr Field transportDetail         {38, 1};
    static constexpr Field tcpFlags                {39, 1};
    static constexpr Field dscpSet                 {40, 8};
    static constexpr Field length                  {48, 2};
    static constexpr Field lengthMask              {50, 2};
    static constexpr Field fragmentOffset          {52, 2};
    static constexpr Field fragmentOffsetMask      {54, 2};
    static constexpr Field sourcePortLow           {56, 2};
    static constexpr Field sourcePortHigh          {58, 2};
    static constexpr Field destinationPortLow      {60, 2};
    static constexpr Field destinationPortHigh     {62, 2};
    static constexpr Field sourcePortChecked       {64, 1};
    static constexpr Field destinationPortChecked  {65, 1};
    static constexpr Field hopLimitMin             {66, 1};
    static constexpr Field unused0                {67, 29};
    static constexpr Field hopLimitMax             {96, 4};
    static constexpr Field unused1               {100, 33};

    static constexpr std::array table{
        format, priority, actionKey, source, sourceMask, destination, destinationMask, protocol,
        protocolMask, icmpType, icmpTypeMask, icmpCode, icmpCodeMask, transportDetail, tcpFlags,
        dscpSet, length, lengthMask, fragmentOffset, fragmentOffsetMask, sourcePortLow,
        sourcePortHigh, destinationPortLow, destinationPortHigh, sourcePortChecked,
        destinationPortChecked, hopLimitMin, unused0, hopLimitMax, unused1};
};
static_assert(coverRecord(Ipv4EntryLayout::table, Ipv4EntryLayout::paddingAt));
static_assert(Ipv4EntryLayout::hopLimitMax.offset == 96 && Ipv4EntryLayout::hopLimitMax.size == 4);

struct Ipv6EntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 160;
    //                                           OFFSET SIZE
    static constexpr Field source                 {16, 16};
    static constexpr Field sourceMask             {32, 16};
    static constexpr Field destination            {48, 16};
    static constexpr Field destinationMask        {64, 16};
    static constexpr Field protocol                {80, 1};
    static constexpr Field protocolMask            {81, 1};
    static constexpr Field icmpType                {82, 1};
    static constexpr Field icmpTypeMask            {83, 1};
    static constexpr Field icmpCode                {84, 1};
    static constexpr Field icmpCodeMask            {85, 1};
    static constexpr Field transportDetail         {86, 1};
    static constexpr Field tcpFlags                {87, 1};
    static constexpr Field dscpSet                 {88, 8};
    static constexpr Field length                  {96, 2};
    static constexpr Field lengthMask              {98, 2};
    static constexpr Field sourcePortLow          {100, 2};
    static constexpr Field sourcePortHigh         {102, 2};
    static constexpr Field destinationPortLow     {104, 2};
    static constexpr Field destinationPortHigh    {106, 2};
    static constexpr Field sourcePortChecked      {108, 1};
    static constexpr Field destinationPortChecked {109, 1};
    static constexpr Field hopLimitMin            {110, 1};
    static constexpr Field unused0                {111, 1};
    static constexpr Field sourceFlowLabel        {112, 4};
    static constexpr Field sourceFlowLabelMask    {116, 4};
    static constexpr Field hopLimitMax            {120, 4};
    static constexpr Field destinationFlowLabel   {124, 4};
    static constexpr Field destinationFlowLabelMask{128, 4};
    static constexpr Field unused1               {132, 28};

    static constexpr std::array table{
        format, priority, actionKey, source, sourceMask, destination, destinationMask, protocol,
        protocolMask, icmpType, icmpTypeMask, icmpCode, icmpCodeMask, transportDetail, tcpFlags,
        dscpSet, length, lengthMask, sourcePortLow, sourcePortHigh, destinationPortLow,
        destinationPortHigh, sourcePortChecked, destinationPortChecked, hopLimitMin, unused0,
        sourceFlowLabel, sourceFlowLabelMask, hopLimitMax, destinationFlowLabel,
        destinationFlowLabelMask, unused1};
};
static_assert(coverRecord(Ipv6EntryLayout::table, Ipv6EntryLayout::recordSize));
static_assert(Ipv6EntryLayout::hopLimitMax.offset == 120 && Ipv6EntryLayout::hopLimitMax.size == 4);

struct MacEntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 104;
    //                                    OFFSET SIZE
    static constexpr Field destination      {16, 6};
    static constexpr Field destinationMask  {22, 6};
    static constexpr Field source           {28, 6};
    static constexpr Field sourceMask       {34, 6};
    static constexpr Field ethertype        {40, 2};
    static constexpr Field ethertypeMask    {42, 2};
    static constexpr Field unused0         {44, 60};

    static constexpr std::array table{format,     priority,  actionKey,     destination,
                                      destinationMask, source, sourceMask,  ethertype,
                                      ethertypeMask, unused0};
};
static_assert(coverRecord(MacEntryLayout::table, MacEntryLayout::recordSize));

struct MplsEntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 76;
    //                                    OFFSET SIZE
    static constexpr Field labelLow         {16, 4};
    static constexpr Field labelHigh        {20, 4};
    static constexpr Field labelChecked     {24, 1};
    static constexpr Field trafficClass     {25, 1};
    static constexpr Field trafficClassMask {26, 1};
    static constexpr Field ttl              {27, 1};
    static constexpr Field ttlMask          {28, 1};
    static constexpr Field unused0         {29, 47};

    static constexpr std::array table{format,       priority,         actionKey, labelLow, labelHigh,
                                      labelChecked, trafficClass, trafficClassMask, ttl,
                                      ttlMask,      unused0};
};
static_assert(coverRecord(MplsEntryLayout::table, MplsEntryLayout::recordSize));

struct VxlanEntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 36;
    //                            OFFSET SIZE
    static constexpr Field vni      {16, 4};
    static constexpr Field vniMask  {20, 4};
    static constexpr Field vtep     {24, 4};
    static constexpr Field vtepMask {28, 4};
    static constexpr Field udpPort  {32, 2};
    static constexpr Field vrfId    {34, 2};

    static constexpr std::array table{format,  priority, actionKey, vni,  vniMask,
                                      vtep,    vtepMask, udpPort,   vrfId};
};
static_assert(coverRecord(VxlanEntryLayout::table, VxlanEntryLayout::recordSize));

struct TunnelEntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 108;
    //                                   OFFSET SIZE
    static constexpr Field source         {16, 16};
    static constexpr Field sourceMask     {32, 16};
    static constexpr Field destination    {48, 16};
    static constexpr Field ipVersion       {64, 1};
    static constexpr Field tunnelType      {65, 1};
    static constexpr Field vrfId           {66, 2};
    static constexpr Field udpPort         {68, 2};
    static constexpr Field hopLimitMin     {70, 1};
    static constexpr Field unused0         {71, 1};
    static constexpr Field hopLimitMax     {72, 4};
    static constexpr Field destinationMask{76, 16};
    static constexpr Field tunnelKey       {92, 4};
    static constexpr Field tunnelKeyMask   {96, 4};
    static constexpr Field unused1        {100, 8};

    static constexpr std::array table{format,      priority,    actionKey,       source,
                                      sourceMask,  destination, ipVersion,       tunnelType,
                                      vrfId,       udpPort,     hopLimitMin,     unused0,
                                      hopLimitMax, destinationMask, tunnelKey,   tunnelKeyMask,
                                      unused1};
};
static_assert(coverRecord(TunnelEntryLayout::table, TunnelEntryLayout::recordSize));
static_assert(TunnelEntryLayout::hopLimitMax.offset == 72 &&
              TunnelEntryLayout::hopLimitMax.size == 4);

struct OlpEntryLayout : EntryHeadLayout {
    static constexpr std::size_t recordSize = 36;
    //                                    OFFSET SIZE
    static constexpr Field egressPort       {16, 2};
    static constexpr Field egressPortMask   {18, 2};
    static constexpr Field ethertype        {20, 2};
    static constexpr Field ethertypeMask    {22, 2};
    static constexpr Field vlanId           {24, 2};
    static constexpr Field trafficClass     {26, 1};
    static constexpr Field trafficClassMask {27, 1};
    static constexpr Field channel          {28, 1};
    static constexpr Field channelMask      {29, 1};
    static constexpr Field packetType       {30, 1};
    static constexpr Field unused0          {31, 5};

    static constexpr std::array table{format,  priority,     actionKey,        egressPort,
                                      egressPortMask, ethertype, ethertypeMask, vlanId,
                                      trafficClass, trafficClassMask, channel, channelMask,
                                      packetType, unused0};
};
static_assert(coverRecord(OlpEntryLayout::table, OlpEntryLayout::recordSize));

// clang-format on

} // namespace LoamPolicy
