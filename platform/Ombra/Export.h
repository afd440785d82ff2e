#pragma once

// The libraries hide every symbol that does not say otherwise. A class that crosses a library's
// border (a base class, anything thrown, anything found by dynamic_cast) is marked with this.
#define LOAM_EXPORT __attribute__((visibility("default")))
