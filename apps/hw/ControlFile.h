#pragma once

#include <apps/hw/Faults.h>
#include <optional>
#include <string>

namespace LoamHw {

// Faults that are switched while the program runs, see Faults.h for the file's content.
class ControlFile {
  public:
    explicit ControlFile(std::string path) : path_{std::move(path)} {}

    // What the file says, if its text is not what it was at the last look; `start`'s faults once it
    // has been removed. A file that is not understood changes nothing: `trouble` tells why, once.
    std::optional<Faults> changed(Faults const& start);
    std::string takeTrouble();

  private:
    std::string path_;
    std::string seen_;
    std::string trouble_;
};

} // namespace LoamHw
