#pragma once

#include <Slate/IterHint.h>
#include <Slate/SlateMapBase.h>

namespace Slate {

// The reading side of a map, by record and key type.
//
// Any of the three raises `Ombra::CorruptionDetectedException` when it meets damage. Records are
// verified (state, key, checksum) at every read.
template <typename Record, typename Key>
class SlateMap : public SlateMapBase {
  public:
    // The record of `key`, or the type's default record with `*found` false. `*found` is cleared
    // before anything can be raised; `found` may be null. The reference is good until the next
    // operation on the map: copy it at once. `hint` is always null.
    virtual Record const& lookup(Key const& key, bool* found, void* hint = nullptr) const = 0;

    // Places the first record of the walk in `*record`. False when there is none.
    virtual bool iterFirst(Record* record, IterHint* hint) const = 0;

    // Places the record that follows `previous` in the walk. The key may have been removed since,
    // and records may have been stored: a record that is there all the time is seen exactly once.
    virtual bool iterNext(Key const& previous, Record* record, IterHint* hint) const = 0;

  protected:
    using SlateMapBase::SlateMapBase;
};

} // namespace Slate
