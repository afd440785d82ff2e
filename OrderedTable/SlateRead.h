#pragma once

#include <Ombra/Assert.h>
#include <Ombra/Exception.h>
#include <Ombra/String.h>
#include <Slate/IterHint.h>
#include <Slate/SlateMapBase.h>
#include <Slate/Store.h>

#include <optional>

// How the tables read shared memory: every read is wrapped alike, so that corruption never stops an
// agent but turns the damaged read into an empty one. What is wanted of the record is copied out at
// once; no reference into the map outlives the read.
namespace OrderedTable {

// Held while one operation reads a record more than once: the store then verifies it at the first
// read only (Slate::Store::Operation).
template <typename Map>
class ReadOnce {
  public:
    explicit ReadOnce(Map& map) : operation_{map.store()} {}

  private:
    Slate::Store::Operation operation_;
};

// What is not in a store has nothing to verify.
template <typename Map>
requires(!requires(Map & map) { map.store(); }) class ReadOnce<Map> {
  public:
    explicit ReadOnce(Map&) noexcept {}
};

// What `take` gives of the record of `key`, or of the type's default record when that is absent or
// damaged. `take` looks where the record lies: it only copies.
template <typename Map, typename Key, typename Take>
auto fromRecordOf(Map& map, Key const& key, Take const& take) {
    try {
        return take(map.lookup(key, nullptr, nullptr));
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        map.doCorruptionDetected(corruption.msg());
    }
    return take(Map::defaultRecord());
}

// The record of `key`, or the type's default record when it is absent or damaged.
template <typename Map, typename Key>
typename Map::Record recordOf(Map& map, Key const& key) {
    return fromRecordOf(map, key, [](typename Map::Record const& record) { return record; });
}

// Whether the map has a record for `key`. Of a damaged one, what the map found out before it saw
// the damage.
template <typename Map, typename Key>
bool recordHas(Map& map, Key const& key) {
    bool found = false;
    try {
        static_cast<void>(map.lookup(key, &found, nullptr));
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        map.doCorruptionDetected(corruption.msg());
    }
    return found;
}

// Puts the record behind `key` into `record`; false when there is none. Corruption counts as none,
// after the report. Any other failure ends the process: a walk has no way to tell its caller that
// it is incomplete.
template <typename Map, typename Key>
bool nextRecordOf(Map& map, Key const& key, typename Map::Record& record) {
    bool there = false;
    // noexcept is what ends the process.
    auto const corruption = [&]() noexcept -> std::optional<Ombra::String> {
        try {
            Slate::IterHint hint{};
            there = map.iterNext(key, &record, &hint);
            return std::nullopt;
        } catch (Ombra::CorruptionDetectedException const& damage) {
            return damage.msg();
        }
    }();
    if (corruption) {
        map.doCorruptionDetected(*corruption);
        return false;
    }
    return there;
}

// A walk over a map. It works from the key of the record last seen, so that stores to that record
// and removals of it do no harm. Corruption at the first step gives an empty walk, and later ends
// the walk.
//
//     for (SlateWalk walk{map}; walk.valid(); walk.next()) { use(walk.record()); }
template <typename Map>
class SlateWalk {
  public:
    using Record = typename Map::Record;

    explicit SlateWalk(Map& map) : map_{map} {
        try {
            Slate::IterHint hint{};
            valid_ = map_.iterFirst(&record_, &hint);
        } catch (Ombra::CorruptionDetectedException const& corruption) {
            map_.doCorruptionDetected(corruption.msg());
        }
    }

    bool valid() const noexcept { return valid_; }

    Record const& record() const {
        OMBRA_ASSERT(valid_, "iter_");
        return record_;
    }

    void next() {
        OMBRA_ASSERT(valid_, "iter_");
        auto const key = Map::keyOf(record_);
        valid_ = nextRecordOf(map_, key, record_);
    }

  private:
    Map& map_;
    Record record_{};
    bool valid_ = false;
};

} // namespace OrderedTable
