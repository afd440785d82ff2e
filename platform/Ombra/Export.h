#pragma once

// The libraries hide every symbol that does not say otherwise. A class that crosses a library's
// border (a base class, anything thrown, anything found by dynamic_cast) is marked with this.
#define LOAM_EXPORT __attribute__((visibility("default")))

// For a variable template, which the compiler shows to the outside whenever its arguments are.
#define LOAM_HIDDEN __attribute__((visibility("hidden")))
