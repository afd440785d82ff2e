#pragma once

#include <apps/loamctl/Context.h>
#include <apps/loamctl/ExitStatus.h>

// The commands, a file each (AllCommands.cpp lists them). Each prints its result on standard
// output, as text or as JSON, and throws `UsageError`, or what shared memory throws.
namespace LoamCtl {

ExitStatus callOperation(Context& context);
ExitStatus compareWithDump(Context& context);
ExitStatus describeObject(Context& context);
ExitStatus explainKey(Context& context);
ExitStatus flushTables(Context& context);
ExitStatus getAttribute(Context& context);
ExitStatus iterateCollection(Context& context);
ExitStatus listObjects(Context& context);
ExitStatus listTables(Context& context);
ExitStatus listUnits(Context& context);
ExitStatus recordOperations(Context& context);
ExitStatus reloadPolicy(Context& context);
ExitStatus replayRecord(Context& context);
ExitStatus setAttribute(Context& context);
ExitStatus showLog(Context& context);
ExitStatus showRing(Context& context);
ExitStatus showStat(Context& context);
ExitStatus showTable(Context& context);
ExitStatus showTop(Context& context);
ExitStatus showTraces(Context& context);
ExitStatus verifyTree(Context& context);
ExitStatus watchTables(Context& context);

} // namespace LoamCtl
