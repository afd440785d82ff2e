#pragma once

#include <Ombra/Prefetch.h>
#include <Slate/BucketScan.h>
#include <Slate/Control.h>
#include <Slate/Extents.h>
#include <Slate/Geometry.h>
#include <Slate/InOrder.h>
#include <Slate/KeyMix.h>
#include <Slate/Layout.h>
#include <Slate/Mapping.h>
#include <Slate/Shared.h>
#include <Slate/SlotAllocator.h>
#include <Slate/SlotArea.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

// The directory of a store: which slot holds the record of a key.
//
// A key belongs to one chain, named by its primary bucket (the owner). A chain is that bucket and,
// when more than 7 keys meet there, overflow buckets linked behind it. Chains are dense: a chain
// has overflow buckets only while the ones before are full, so the pool of overflow buckets can't
// run out below the store's capacity. A removal that would leave a hole fills it with the chain's
// last entry, by the same store that removes.
//
//   Order::keyMix   tag = bijective mix of the key; owner = its top bits. Tags are unique.
//   Order::version  tag = low 32 bits of the version; owner = version / 7 modulo the bucket count;
//                   two versions in one chain can have the same tag and are told apart by the slot.
//                   A version is entered at version modulo 7 of its first bucket when that is free.
//
// The walk order is (owner, tag, key): every position in it follows from the key alone, so a walk
// can go on from a key that is gone, in another process or after a restart.
//
// An operation that finds no entry has looked at the whole chain and knows whether all its words
// are whole; `damaged` tells. A reader in another process then has to ask `Control::shape` whether
// a word moved meanwhile before it believes either.
namespace Slate {

struct Cell {
    std::uint32_t bucket = 0;
    std::uint32_t index = 0;
};

// Where a key is, or where it can go.
struct Found {
    bool found = false;
    bool damaged = false; // a word of the chain is not whole
    bool vacant = false;  // not found: `cell` is empty and can take the key
    std::uint32_t owner = 0;
    std::uint32_t tag = 0;
    std::uint32_t slot = 0;
    std::uint32_t lastBucket = 0; // of the chain, when not found
    std::uint64_t word = 0;
    Cell cell;
};

// A place in the walk order: behind `key`, or at the start of a chain.
struct Position {
    std::uint32_t owner = 0;
    bool atStart = true;
    std::uint32_t tag = 0;
    std::uint64_t key = 0;
};

struct Next {
    bool found = false;
    bool damaged = false;
    bool changed = false; // the entry was changed while it was looked at
    std::uint32_t owner = 0;
    std::uint32_t slot = 0;
    std::uint64_t word = 0;
    Cell cell;
};

class Directory {
  public:
    Directory(Mapping const& mapping, Geometry const& geometry, Extents& extents, SlotArea& slots,
              Control& control, std::string const& name);

    std::uint32_t ownerOf(std::uint64_t key) const {
        if (geometry_.order == Order::version) {
            return static_cast<std::uint32_t>(key / bucketEntries) & (geometry_.bucketCount - 1);
        }
        return static_cast<std::uint32_t>(std::uint64_t{keyMix(static_cast<std::uint32_t>(key))} >>
                                          shift_);
    }
    std::uint32_t tagOf(std::uint64_t key) const {
        auto const low = static_cast<std::uint32_t>(key);
        return geometry_.order == Order::version ? low : keyMix(low);
    }
    Position behind(std::uint64_t key) const { return {ownerOf(key), false, tagOf(key), key}; }

    // Nearly always the key stands in the first bucket of its chain: a version where it was entered
    // by choice, and any other key under a tag that nobody else has.
    void find(std::uint64_t key, Found& at) const {
        at.found = false;
        at.damaged = false;
        bool here = false;
        if (geometry_.order == Order::version) {
            std::uint64_t const sevens = key / bucketEntries;
            at.tag = static_cast<std::uint32_t>(key);
            at.owner = static_cast<std::uint32_t>(sevens) & (geometry_.bucketCount - 1);
            at.cell = {at.owner, static_cast<std::uint32_t>(key - sevens * bucketEntries)};
            here = versionStandsAt(at, key);
        } else {
            at.tag = keyMix(static_cast<std::uint32_t>(key));
            at.owner = static_cast<std::uint32_t>(std::uint64_t{at.tag} >> shift_);
            at.cell = {at.owner, 0};
            here = findAtOnce(at);
        }
        if (!here) {
            search(at, key);
        }
    }

    Found find(std::uint64_t key) const {
        Found at;
        find(key, at);
        return at;
    }

    // Has the processor fetch the first bucket of a key.
    void fetchBucket(std::uint64_t key) const noexcept {
        if (std::uint32_t const owner = ownerOf(key); extents_.known(offset(owner))) {
            Ombra::prefetch(bucket(owner));
        }
    }

    // The same for the slot of a key that stands alone under its tag in that bucket.
    void fetchSlot(std::uint64_t key) const noexcept {
        std::uint32_t const owner = ownerOf(key);
        if (!extents_.known(offset(owner))) {
            return;
        }
        if (std::uint32_t const matches = tagMatches(*bucket(owner), tagOf(key)); matches != 0) {
            auto const& entry = bucket(owner)->entry[std::countr_zero(matches)];
            slots_.prefetchKnown(entryNumber(loadRelaxed(&entry)) - 1);
        }
    }

    // Whether a key is still where `find` found it, or the writer put it: every change that moves
    // an entry changes its word.
    bool stands(Found const& at) const { return at.found && word(at.cell) == at.word; }

    // The first entry at or behind a position. `damaged` refers to the chain `owner`, where the
    // search then stopped.
    Next next(Position const& from) const {
        Next result;
        if (!inOrder_.holds(from.owner) || !inOrder_.holds(*bucket(from.owner)) ||
            otherWithTag(from)) {
            searchWalk(from, result);
        } else if (!takeNoted(from, result)) {
            searchWalk({nextOwner(from.owner), true, 0, 0}, result);
        }
        return result;
    }

    std::uint32_t count() const; // of entries, by looking at all buckets

    std::uint64_t word(Cell cell) const {
        return loadAcquire(&bucket(cell.bucket)->entry[cell.index]);
    }

    // A sentence about the first word of a chain that is not whole.
    std::string describe(std::uint32_t owner) const;

    // For the writer. `prepare` sees to it that the key of `at` can be entered, and changes nothing
    // that a reader sees; raises `NoSpaceException`. `enter`, `swing` and `remove` each commit by
    // one store.
    void prepare(Found& at);
    void enter(Found& at, std::uint32_t slot); // `at` tells then where the key is,
    void swing(Found& at, std::uint32_t slot); // and here too,
    void remove(Found& at);                    // and here that it isn't found

    void disown() { occupied_.clear(); } // from now on as a reader

  private:
    friend class Recovery;
    friend class Verifier;

    std::uint64_t offset(std::uint32_t bucketNumber) const {
        return geometry_.directoryOffset + std::uint64_t{bucketNumber} * sizeof(Bucket);
    }
    Bucket* bucket(std::uint32_t number) const {
        if constexpr (Mapping::atOnce) {
            return buckets_ + number;
        } else {
            return mapping_.as<Bucket>(offset(number));
        }
    }
    bool present(std::uint32_t number) const { return extents_.presentAt(offset(number)); }
    std::uint32_t bucketTotal() const { return geometry_.bucketCount + geometry_.overflowCount; }

    // Follows the link of a bucket. False at the end of the chain; `damaged` is set when the link
    // is not whole, or the chain longer than it can be.
    bool follow(std::uint32_t owner, std::uint32_t& number, std::uint32_t& hops,
                bool& damaged) const;

    // `at` has the key's owner and tag, and in `cell` where it is entered if that is free.
    void search(Found& at, std::uint64_t key) const;
    void searchChain(Found& at, std::uint64_t key) const;

    // `at` has the key's owner and tag. False when it takes more than one look.
    bool findAtOnce(Found& at) const {
        if (!present(at.owner)) {
            return false;
        }
        std::uint32_t const matches = tagMatches(*bucket(at.owner), at.tag);
        if (matches == 0 || (matches & (matches - 1)) != 0) {
            return false;
        }
        at.cell.index = static_cast<std::uint32_t>(std::countr_zero(matches));
        at.word = word(at.cell);
        at.slot = entryNumber(at.word) - 1;
        at.found =
            entryTag(at.word) == at.tag && entryWhole(at.word, at.owner) && slots_.present(at.slot);
        return at.found;
    }

    // The same for the version that would be entered at the cell of `at`. Its word leads to a slot
    // with the whole key, and need not be checked itself.
    bool versionStandsAt(Found& at, std::uint64_t version) const {
        if (!present(at.owner)) {
            return false;
        }
        at.word = word(at.cell);
        at.slot = entryNumber(at.word) - 1;
        at.found = entryTag(at.word) == at.tag && slots_.present(at.slot) &&
                   slots_.key(at.slot) == version;
        return at.found;
    }

    bool refersTo(std::uint64_t word, std::uint64_t key, Found& at) const;
    bool pick(Found& at, std::uint32_t number, std::uint32_t matches, std::uint64_t key) const;
    // What `next` does where no bucket is noted.
    void searchWalk(Position from, Next& result) const;
    void nextInChain(Position const& from, Next& result) const;
    void nextByKey(Position const& from, Next& result) const;

    // The next entry of the bucket that is noted, in which the position is. False at its end.
    bool takeNoted(Position const& from, Next& result) const {
        std::uint64_t least = from.atStart ? 0 : std::uint64_t{from.tag} + 1;
        for (;;) {
            std::uint32_t const index = inOrder_.firstFrom(least);
            if (index == InOrder::none) {
                return false;
            }
            Cell const cell{from.owner, index};
            std::uint64_t const noted = inOrder_.word(index);
            if (std::uint64_t const now = word(cell); now != 0) [[likely]] {
                result.found = true;
                result.changed = now != noted;
                result.owner = from.owner;
                result.cell = cell;
                result.word = noted;
                result.slot = entryNumber(noted) - 1;
                result.damaged = !result.changed && !slots_.present(result.slot);
                return true;
            }
            least = std::uint64_t{entryTag(noted)} + 1;
        }
    }

    // Whether the bucket that is noted has the position's tag and not its key, which only a version
    // can have that differs in its upper half.
    bool otherWithTag(Position const& from) const {
        if (geometry_.order != Order::version || from.atStart) {
            return false;
        }
        std::uint32_t const index = inOrder_.firstFrom(from.tag);
        if (index == InOrder::none || entryTag(inOrder_.word(index)) != from.tag ||
            word({from.owner, index}) == 0) {
            return false;
        }
        std::uint32_t const slot = entryNumber(inOrder_.word(index)) - 1;
        return !slots_.present(slot) || slots_.key(slot) != from.key;
    }

    void prefetchRecords(std::uint32_t owner) const;
    bool sharesTag(Position const& from) const;
    static Cell firstCell(std::uint32_t number, std::uint32_t mask);
    std::uint32_t nextOwner(std::uint32_t owner) const;
    void fillHole(std::uint32_t owner, Cell hole);
    bool trimTail(std::uint32_t owner);

    Geometry const& geometry_;
    Mapping const& mapping_;
    Bucket* buckets_; // primary, then overflow; of a file that is mapped at once
    Extents& extents_;
    SlotArea& slots_;
    Control& control_;
    std::string const& name_;
    std::uint32_t shift_; // Order::keyMix: owner = tag >> shift_
    BucketScan const& scan_;
    SlotAllocator overflow_;
    // The writer's note of chains that may have entries; empty in a reader.
    mutable std::vector<std::uint64_t> occupied_;

    mutable InOrder inOrder_;
};

} // namespace Slate
