#pragma once

#include <apps/hw/Backend.h>
#include <apps/hw/HardwareSide.h>
#include <string>

namespace LoamHw {

// All that the hardware holds, one line per entry, to be compared line by line with what the
// configuration tables hold:
//
//     Ipv4SystemPolicyTcamEntry 0 0x00010064 0100000064000000...
//
// The table's name, the unit, the key, the bytes behind the key in hexadecimal; sorted by table
// (in the order of their identifiers), unit and key.
std::string dumpOf(HardwareSide const& hardwareSide, Backend const& backend);

} // namespace LoamHw
