#pragma once

#include <apps/hw/Backend.h>
#include <apps/hw/Budget.h>
#include <apps/hw/TableView.h>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Brings the hardware's content of one table to what the configuration tables say, and programs
// nothing but the difference.
//
// An audit has a limit, a version of the table's log: what a configuration table holds with a
// version up to it is the truth; what has a later version is still to come through the log and is
// left to it. So an audit may run at any time, with the agent writing, and never runs ahead of the
// log.
//
// One thing does not come through the log: an agent that died between storing a configuration
// record and the log record leaves a record with a version above the last one, that of the next
// change. An audit hands out all records above its limit as `ahead`; the follower looks at them
// again later.
//
// Units without a configuration table are left as they are: no agent claims them, and the hardware
// keeps forwarding by what it has.
namespace LoamHw {

// A key whose entry is to be compared again, and up to which version the configuration is the
// truth.
struct OpenKey {
    Place place;
    Asic::LogVersion limit = 0;
};

// What comparing one entry has led to.
enum class Settled : std::uint8_t {
    same,       // nothing to do
    programmed, // one hardware operation
    ahead,      // its record has a version above the limit
    unknown,    // the record can't be read
    failed,     // the backend does not take it; `BackendResult` tells why
};

struct SettleResult {
    Settled settled = Settled::same;
    BackendResult backend = BackendResult::ok;
    Asic::LogVersion logVersion = 0; // of a record that is ahead
};

// Compares one entry and programs the difference.
SettleResult settle(TableView& view, Backend& backend, OpenKey const& open);

class Audit {
  public:
    Audit(TableView& view, Backend& backend, Asic::LogVersion limit);

    // Goes on. True when the end is reached.
    bool run(Budget& budget);

    Asic::LogVersion limit() const { return limit_; }
    std::uint64_t programmed() const { return programmed_; }
    std::uint64_t compared() const { return compared_; }

    // A configuration table could not be read to its end, or holds entries that can't be read.
    bool incomplete() const { return incomplete_; }

    // What the backend has not taken, and what lies above the limit. To be taken at the end.
    std::vector<OpenKey>& failed() { return failed_; }
    std::vector<OpenKey>& ahead() { return ahead_; } // `limit` is the record's own version

  private:
    enum class Phase : std::uint8_t { hardware, configuration };

    bool runHardware(Budget& budget);
    bool runConfiguration(Budget& budget);
    void note(Place const& place, SettleResult const& result);
    void enterUnit();

    TableView& view_;
    Backend& backend_;
    Asic::LogVersion limit_;
    std::vector<Asic::UnitId> units_;
    std::size_t unit_ = 0; // the one that is worked on
    Phase phase_ = Phase::hardware;
    std::vector<std::uint32_t> hardwareKeys_;
    std::size_t hardwareKey_ = 0;
    std::optional<std::uint32_t> configurationKey_; // the last one seen
    std::uint64_t programmed_ = 0;
    std::uint64_t compared_ = 0;
    bool incomplete_ = false;
    std::vector<OpenKey> failed_;
    std::vector<OpenKey> ahead_;
};

} // namespace LoamHw
