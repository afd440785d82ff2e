#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A named switch for text traces.
//
// All handles of one name share one record, whose 16-bit word has a bit per level: level `L` is on
// when bit `L` is set. Levels are switched at run time by name or by pattern (`*` and `?`), also
// for handles that do not exist yet; the environment variable LOAM_TRACE does the same at start, as
// in `LOAM_TRACE='Ipv4*=2,3;SwTableIter=9'`.
//
// `anyOn` asks one process-wide word, the union of all handles' levels: with all traces off, a
// trace costs that one test and does not even fetch its handle. Reading levels is safe from every
// thread; making handles and switching levels takes a lock.
namespace Zet {

class LOAM_EXPORT TraceHandle {
  public:
    // The second argument is false throughout the system; it is kept for the form of the call.
    TraceHandle(char const* name, bool reserved);
    TraceHandle(Ombra::String name, bool reserved);

    bool isOn(unsigned level) const noexcept {
        return (record_->levels.load(std::memory_order_relaxed) >> level & 1U) != 0;
    }

    std::string_view name() const noexcept { return record_->name; }

    static bool anyOn(unsigned level) noexcept {
        return (anyLevels_.load(std::memory_order_relaxed) >> level & 1U) != 0;
    }

    // Sets the level word of every handle, made or still to be made, whose name matches `pattern`.
    // Later calls win over earlier ones.
    static void levelsIs(std::string_view pattern, std::uint16_t levels);

    // Reads "PATTERN=LEVEL[,LEVEL...][;PATTERN=...]", where a LEVEL is 0 to 15, `all` or `off`.
    // Changes nothing and gives a sentence that names the fault when the text is malformed; empty
    // when all is well.
    static std::string levelsFromText(std::string_view text);

    struct State {
        std::string name;
        std::uint16_t levels;
    };

    // Every handle made so far, by name.
    static std::vector<State> all();

    struct Record {
        std::string name;
        std::atomic<std::uint16_t> levels{0};
    };

  private:
    Record const* record_;

    static std::atomic<std::uint16_t> anyLevels_;
};

} // namespace Zet
