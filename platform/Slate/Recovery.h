#pragma once

#include <Slate/Directory.h>
#include <Slate/Store.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What opening a store for writing does before its first operation.
//
// Normally one pass over the directory: it counts the entries and finds the slots and overflow
// buckets in use, and with that the free ones. What a writer that died can have left behind is
//
//   after the word was copied into a hole    a second word of the same slot: the later one goes
//   after a chain's last word was cleared    an empty last bucket: taken out of the chain
//   before or after the committing store     a slot that no word refers to: retired by the journal
//
// A directory that is damaged is repaired: words and links that are not whole go, and the whole,
// live slots that no word refers to are entered again. A mark in the control page is set meanwhile,
// so that a repair that was cut short is done again.
//
// Every step leaves a store that can be read and opened, and running it again changes nothing.
namespace Slate {

class Recovery {
  public:
    explicit Recovery(Store& store) : store_{store}, directory_{store.directory_} {}

    void run();

  private:
    struct Place {
        std::uint32_t owner;
        Cell cell;
        std::uint64_t word;
    };

    void scan(bool strict);
    void scanChain(std::uint32_t owner, bool strict);
    void judge(Place const& place, bool strict);
    bool plausible(Place const& place, bool strict) const;
    void use(std::uint32_t slot);
    bool used(std::uint32_t slot) const { return slot < used_.size() && used_[slot]; }
    bool leftover(Place const& place) const;
    void clearLeftovers();
    void finishJournal();
    bool unreferenced(std::uint32_t number) const;
    void takeOver();

    void repair();
    void dropDamaged();
    void enterLostSlots();
    void enterIfLost(std::uint32_t slot);
    void settleJournal();
    bool mayBeCommitted(std::uint32_t slot) const;
    void closeHoles(std::uint32_t owner);
    void report(Place const& place) const;

    Store& store_;
    Directory& directory_;
    std::uint32_t count_ = 0;
    std::vector<bool> used_;         // slots that a word refers to
    std::vector<bool> usedOverflow_; // overflow buckets in a chain
    std::vector<Place> duplicates_;
    std::vector<Place> damaged_;
    std::vector<Place> damagedLinks_;       // `cell.bucket` is the bucket with the link
    std::vector<std::uint32_t> emptyTails_; // owners
    std::uint64_t lastSequence_ = 0;
};

} // namespace Slate
