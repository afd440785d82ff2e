#pragma once

#include <Ombra/Assert.h>
#include <Slate/Ops.h>
#include <Slate/SlateMap.h>
#include <Slate/Store.h>

#include <memory>
#include <utility>

// A map in shared memory: fixed capacity, records found by key.
//
// A thin typed layer over `Slate::Store`, which does all the work on bytes (see there for the
// promises: what survives a crash, what a reader in another process may see, what damage does).
// `Is` and `Del` are for the process that mounted the collection as its writer; what they raise is
// told at `Slate::Store::put` and `erase`. One thread uses a map.
//
// To walk:
//
//     for (typename Map::IteratorConst it{&map}; it; ++it) { use(*it); }
namespace ZetSlate {

template <typename Owner, typename Wrap, typename Key, typename Ops>
class ZetSlateMap final : public Slate::SlateMap<typename Wrap::Record, Key> {
  public:
    using Record = typename Wrap::Record;
    class IteratorConst;

    explicit ZetSlateMap(std::shared_ptr<Slate::Store> store)
        : Slate::SlateMap<Record, Key>{std::move(store)} {}

    Record const& lookup(Key const& key, bool* found, void* = nullptr) const override {
        if (found != nullptr) {
            *found = false;
        }
        void const* const bytes = this->store_->lookup(KeyHash::number(key), &buffer_);
        if (bytes == nullptr) {
            return Ops::Values::Alloc::type_default.record;
        }
        if (found != nullptr) {
            *found = true;
        }
        return *static_cast<Record const*>(bytes);
    }

    bool iterFirst(Record* record, Slate::IterHint* hint) const override {
        return this->store_->iterFirst(record, hint);
    }

    bool iterNext(Key const& previous, Record* record, Slate::IterHint* hint) const override {
        return this->store_->iterNext(KeyHash::number(previous), record, hint);
    }

    // Adds the record, or replaces the record of its key.
    void is(Record const& record) {
        this->store_->put(KeyHash::number(Wrap::keyOf(record)), &record);
    }

    // Removes the record of the key. False when there is none.
    bool del(Key const& key) { return this->store_->erase(KeyHash::number(key)); }

    // As `Slate::Store` has them.
    void fetchPlace(Key const& key) const noexcept {
        this->store_->fetchPlace(KeyHash::number(key));
    }
    void fetchRecord(Key const& key) const noexcept {
        this->store_->fetchRecord(KeyHash::number(key));
    }

    // What a read answers with when there is no record.
    static Record const& defaultRecord() { return Ops::Values::Alloc::type_default.record; }

    static Key keyOf(Record const& record) { return Wrap::keyOf(record); }

    IteratorConst begin() const { return IteratorConst{this}; }
    IteratorConst end() const { return IteratorConst{nullptr}; }

  private:
    using KeyHash = typename Ops::Keys::HashType;

    mutable Record buffer_{}; // a reading process copies the record that lookup hands out to here
};

// The walking object. It works by the key of the record that it stands on, so the map may be
// changed under it in any way.
template <typename Owner, typename Wrap, typename Key, typename Ops>
class ZetSlateMap<Owner, Wrap, Key, Ops>::IteratorConst {
  public:
    explicit IteratorConst(ZetSlateMap const* map) : map_{map} {
        valid_ = map_ != nullptr && map_->iterFirst(&buffer_, &hint_);
    }

    Record const& operator*() const {
        OMBRA_ASSERT(valid_, "iter_");
        return buffer_;
    }
    Record const* operator->() const { return &**this; }

    IteratorConst& operator++() {
        OMBRA_ASSERT(valid_, "iter_");
        Key const previous = Wrap::keyOf(buffer_);
        valid_ = map_->iterNext(previous, &buffer_, &hint_);
        return *this;
    }

    explicit operator bool() const { return valid_; }

    // Two iterators are equal when both stand on a record or both are at the end.
    friend bool operator==(IteratorConst const& left, IteratorConst const& right) {
        return left.valid_ == right.valid_;
    }

  private:
    ZetSlateMap const* map_;
    Slate::IterHint hint_;
    Record buffer_{};
    bool valid_ = false;
};

} // namespace ZetSlate
