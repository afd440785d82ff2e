#pragma once

namespace LoamCtl {

enum ExitStatus : int {
    exitDone = 0,
    exitDifferent = 1, // differences, or damage
    exitUnusable = 2,  // the folder, a file or the command line
};

} // namespace LoamCtl
