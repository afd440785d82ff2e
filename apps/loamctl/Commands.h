#pragma once

#include <apps/loamctl/Context.h>
#include <apps/loamctl/ExitStatus.h>

// The commands, one file each. Each prints its result on standard output, as text or as JSON, and
// throws `UsageError`, or what shared memory throws.
namespace LoamCtl {

ExitStatus listTables(Context& context);
ExitStatus showTable(Context& context);
ExitStatus showLog(Context& context);
ExitStatus showStat(Context& context);
ExitStatus compareWithDump(Context& context);
ExitStatus verifyTree(Context& context);

} // namespace LoamCtl
