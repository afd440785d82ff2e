#pragma once

#include <nlohmann/json_fwd.hpp>

#include <apps/hw/Backend.h>
#include <apps/hw/HardwareSide.h>

// What the hardware side tells tools and tests: "<root>/<manager>/hw-stat.json", replaced as a
// whole once in an interval and at the end.
//
//     pid, running, uptime-ms     who wrote it; "running" is false in the last one
//     backend, agent-run, rounds
//     settled                     the hardware has all that is announced, and all is compared
//     store-trouble               why applied versions can't be stored, or null
//     operations                  writes, removes, moved, refused, full, retried: hardware
//     operations faults                      what is injected tables[]                    per
//     table:
//         name, table-id ("08:08:0404"), state, announced, applied, entries
//         damaged-reads, changes, unchanged, audits, audit-operations, incomplete-audits,
//         missing-changes, lost-needed, overtaken, early-removes, leftovers
//         stuck                   null, or version (0: met by an audit), unit, key ("0x0001000a"),
//                                 result, reason, tries, for-ms
//         waits-for               null, or table-id, table, version: the needed place
//         trouble                 null, or why shared memory can't be read
//
// `state` is one of the names in TableFollower.h.
namespace LoamHw {

nlohmann::ordered_json statOf(HardwareSide const& hardwareSide, Backend const& backend,
                              Clock::time_point now);

} // namespace LoamHw
