#pragma once

#include <apps/hw/Backend.h>
#include <apps/hw/Faults.h>
#include <apps/hw/TcamArray.h>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

// The model of a chip: one TCAM per table and unit, in this process's memory, empty at start.
//
// A table of TCAM entries is kept in the order of the priority word of its entries; a table of
// actions, which are found by number, in the order of its keys.
namespace LoamHw {

// What a backend must know of a table.
struct TableShape {
    Asic::SwTableId tableId;
    std::string name;
    bool byPriority = false; // entries and not actions
};

class ModelBackend final : public Backend {
  public:
    ModelBackend(std::vector<TableShape> shapes, Faults const& faults);
    ~ModelBackend() override;

    // From now on. Throws `std::invalid_argument`, and changes nothing, when an entry to refuse is
    // in a table that doesn't exist.
    void faultsIs(Faults const& faults);
    Faults const& faults() const { return faults_; }

    char const* name() const override { return "model"; }
    BackendResult program(Place const& place, std::span<std::byte const> fields) override;
    BackendResult remove(Place const& place) override;
    BackendResult removeAll(Asic::SwTableId tableId, Asic::UnitId unitId) override;
    std::string const& reason() const override { return reason_; }
    std::optional<std::span<std::byte const>> read(Place const& place) const override;
    std::vector<Asic::UnitId> units(Asic::SwTableId tableId) const override;
    std::vector<std::uint32_t> keys(Asic::SwTableId tableId, Asic::UnitId unitId) const override;
    std::size_t entryCount(Asic::SwTableId tableId) const override;
    OperationCounts const& counts() const override { return counts_; }

  private:
    using Fields = std::vector<std::byte>;
    struct Tcam {
        Tcam(std::uint32_t capacity, bool ranked) : array{capacity}, byPriority{ranked} {}
        TcamArray::Rank rank(std::uint32_t key, std::span<std::byte const> fields) const;
        TcamArray array;
        bool byPriority;
        std::unordered_map<std::uint32_t, Fields> fieldsOfKey;
    };

    // Where a place's entry is. Whoever programs an entry has read it just before, so the last one
    // that was found is kept.
    struct Found {
        Place place{};
        Tcam* tcam = nullptr;
        Fields* fields = nullptr; // null when the TCAM has no such entry
    };

    TableShape const& shape(Asic::SwTableId tableId) const;
    Tcam* tcam(Asic::SwTableId tableId, Asic::UnitId unitId) const;
    Found const& find(Place const& place) const;
    bool answers();
    void takeTime() const;
    void replace(Found const& present, std::span<std::byte const> fields);
    BackendResult refuse(BackendResult result, std::uint64_t& count, std::string reason);

    std::vector<TableShape> shapes_;
    Faults faults_;
    std::map<std::pair<Asic::SwTableId, Asic::UnitId>, std::unique_ptr<Tcam>> tcams_;
    mutable Found found_; // forgotten when an entry comes or goes
    OperationCounts counts_;
    std::string reason_;
};

} // namespace LoamHw
