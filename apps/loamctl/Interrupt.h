#pragma once

// Whether SIGINT or SIGTERM has come since `waitForInterrupts`, for commands that go on until then
// and leave the terminal as they found it.
namespace LoamCtl {

void waitForInterrupts();
bool interrupted();

} // namespace LoamCtl
