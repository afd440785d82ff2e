#pragma once

#include <Zet/LogDescriptor.h>

// The messages of the structured log that the tables can raise. All tables share them; each table's
// entry log has handles of its own.
//
// They are one array, because its order in the section `.ostrel_logmsg` is what tools read, and
// separate objects may be placed in any order.
namespace LoamSystemAcl {

extern Zet::LogDescriptor const logMessages[3];

// An exception of the hardware abstraction. The text is the exception's.
inline Zet::LogDescriptor const& hwAbstractionException = logMessages[0];

// A second writer of a slate.
inline Zet::LogDescriptor const& hwAbstractionRelaunchError = logMessages[1];

// A persistent collection was lost; the text says which.
inline Zet::LogDescriptor const& hwAbstractionError = logMessages[2];

} // namespace LoamSystemAcl
