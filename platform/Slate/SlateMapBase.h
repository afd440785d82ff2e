#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

// What every map over a store has, whatever its records: the count, and the place where damage is
// reported.
//
// The table of virtual operations begins with `memberCount`; `Slate::SlateMap` adds `lookup`,
// `iterFirst` and `iterNext`, next to each other.
//
// One thread uses a map.
namespace Slate {

class Store;

class LOAM_EXPORT SlateMapBase {
  public:
    // Number of records. Exact in the process that writes; in a reading process the number as the
    // writer last noted it.
    virtual std::uint32_t memberCount() const;
    virtual ~SlateMapBase();

    SlateMapBase(SlateMapBase const&) = delete;
    SlateMapBase& operator=(SlateMapBase const&) = delete;

    // To be called with the message of a CorruptionDetectedException caught at a read. Counts it,
    // and passes it to the sink at most once per collection and second; the line that comes next
    // tells how many were left out.
    void doCorruptionDetected(Ombra::String const& message) const;

    // Damage met so far: by reads that were reported, by stores and removals, and while opening.
    std::uint64_t corruptionCount() const { return corruptionCount_; }

    std::uint32_t capacity() const;
    Ombra::String const& name() const { return name_; } // of the collection's file

    Store& store() const { return *store_; }

  protected:
    explicit SlateMapBase(std::shared_ptr<Store> store);

    std::shared_ptr<Store> store_;

  private:
    Ombra::String name_;
    mutable std::uint64_t corruptionCount_ = 0;
    mutable std::uint64_t loggedCount_ = 0;
    mutable std::chrono::steady_clock::time_point nextLog_{};
};

// Where reports of damage go; stderr until another sink is set. An empty function sets stderr
// again.
using CorruptionSink = std::function<void(Ombra::String const& line)>;
LOAM_EXPORT void corruptionSinkIs(CorruptionSink sink);

} // namespace Slate
