#pragma once

#include <nlohmann/json.hpp>

#include <apps/loamctl/Context.h>
#include <string>
#include <vector>

// What the hardware side says of itself, in the file that it replaces about once a second
// (apps/hw/StatFile.h), and whether it still runs, which the lock of its own collection tells.
//
// The file is another program's: what is missing in it or of another type is passed over.
namespace LoamCtl {

class HardwareStat {
  public:
    explicit HardwareStat(Context& context);

    bool alive() const { return alive_; }

    // Null when it never said anything, a text when the file can't be read.
    nlohmann::ordered_json const& json() const { return json_; }

    // "running, process 12, backend model", "not running" and the like.
    std::string text() const;

    // What it says of one table; null when nothing.
    nlohmann::ordered_json const& table(std::string_view name) const;

    // Why it has not applied a version of a table that is announced: a sentence per step, from the
    // table itself to what is really stuck.
    std::vector<std::string> why(Context& context, Table const& table,
                                 Asic::LogVersion version) const;

    // A sentence for each thing that keeps changes from the hardware, and why.
    std::vector<std::string> troubles() const;

  private:
    nlohmann::ordered_json json_;
    bool alive_;
    std::uint64_t waiting_ = 0; // changes announced and not applied, in all tables
};

} // namespace LoamCtl
