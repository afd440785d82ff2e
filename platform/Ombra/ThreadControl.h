#pragma once

#include <Ombra/Export.h>

// The process-wide switch between plain and atomic reference counts.
//
// An agent has one thread, and a plain increment is what it should pay. A process that shares
// counted objects between threads sets `tsp_` before it starts the second thread; from then on
// every count moves by an atomic operation. The flag is never cleared again: a count that was moved
// atomically by one thread and plainly by another would be lost.
namespace Ombra {

struct LOAM_EXPORT ThreadControl {
    static bool tsp_;
};

} // namespace Ombra
