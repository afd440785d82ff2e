#pragma once

#include <Ombra/Export.h>
#include <Ombra/Node.h>
#include <Slate/Store.h>

#include <cstdint>
#include <memory>

namespace ZetSlate {

// What the service keeps beside the records of a collection: a 64-bit word for the owner's use, and
// the mark of a lost collection.
//
// The word is replaced as a whole: whoever reads it after a crash at any instruction finds the old
// value or the new one. The mark outlives the process that found the loss, until `clearWiped`.
class LOAM_EXPORT CollectionControl : public Ombra::Node {
  public:
    explicit CollectionControl(std::shared_ptr<Slate::Store> store) : store_{std::move(store)} {}

    // 0 on a fresh collection, and on one that was wiped. Raises
    // `Ombra::CorruptionDetectedException` when no whole copy of the word is left.
    std::uint64_t scratchpad() const { return store_->scratchpad(); }
    void scratchpadIs(std::uint64_t value) { store_->scratchpadIs(value); }

    // The collection was made anew because its content was lost.
    bool wiped() const { return store_->wiped(); }
    void clearWiped() { store_->clearWiped(); }

  private:
    std::shared_ptr<Slate::Store> store_;
};

} // namespace ZetSlate
