#pragma once

#include <Asic/Identifiers.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the hardware side says that the hardware holds: a text file, one line per entry,
//
//     Ipv4SystemPolicyTcamEntry 0 0x00010064 0100000064000000...
//
// the table's name, the unit, the key, the bytes behind the key in hexadecimal. The order of the
// lines does not matter. The text is kept whole; entries refer to it.
namespace LoamCtl {

class HardwareDump {
  public:
    struct Entry {
        std::uint32_t key = 0;
        std::string_view fields; // hexadecimal
    };
    using Entries = std::vector<Entry>; // ascending by key

    // Throws `UsageError` that names file and line: a file that can't be read, a line that is no
    // entry, an entry that stands there twice.
    explicit HardwareDump(std::string const& path);

    // By table name and unit.
    std::map<std::pair<std::string_view, Asic::UnitId>, Entries> const& tables() const {
        return tables_;
    }

  private:
    void parseLine(std::string_view line, std::size_t number);
    [[noreturn]] void refuse(std::size_t line, std::string_view reason) const;

    std::string path_;
    std::string text_;
    std::map<std::pair<std::string_view, Asic::UnitId>, Entries> tables_;
};

} // namespace LoamCtl
