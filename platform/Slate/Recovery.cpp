#include <Slate/Recovery.h>

#include <fmt/format.h>

#include <algorithm>
#include <bit>

namespace Slate {

void Recovery::run() {
    if (std::uint32_t const extents = store_.extents_.recover(); extents != 0) {
        store_.reportDamage(fmt::format(
            "{}: {} words of the extent table were damaged, written anew", store_.name_, extents));
    }
    store_.control_.recover();
    // The dead writer may have moved a word, or let a bucket go, and not have come to say so: a
    // reader that began before looks again.
    store_.control_.shapeInc();
    scan(false);
    bool const doubtful = std::any_of(duplicates_.begin(), duplicates_.end(),
                                      [this](Place const& place) { return !leftover(place); });
    if (doubtful || !damaged_.empty() || !damagedLinks_.empty() || store_.control_.repairing() ||
        !store_.control_.sequenceLimit()) {
        repair();
    } else {
        clearLeftovers();
        takeOver();
    }
    finishJournal();
    store_.memberCountIs(count_);
}

void Recovery::scan(bool strict) {
    count_ = 0;
    used_.clear();
    usedOverflow_.assign(directory_.geometry_.overflowCount, false);
    duplicates_.clear();
    damaged_.clear();
    damagedLinks_.clear();
    emptyTails_.clear();
    std::uint32_t const owners = directory_.geometry_.bucketCount;
    directory_.occupied_.assign((owners + 63) / 64, 0);
    std::uint32_t const perExtent =
        store_.extents_.bytesEach() / static_cast<std::uint32_t>(sizeof(Bucket));
    for (std::uint32_t owner = 0; owner < owners;) {
        if (directory_.present(owner)) {
            scanChain(owner, strict);
            ++owner;
        } else {
            owner = (owner / perExtent + 1) * perExtent;
        }
    }
}

void Recovery::scanChain(std::uint32_t owner, bool strict) {
    std::uint32_t number = owner;
    std::uint32_t hops = 0;
    bool any = false;
    bool anyHere = false;
    bool damaged = false;
    do {
        Bucket const& here = *directory_.bucket(number);
        anyHere = false;
        for (std::uint32_t index = 0; index < bucketEntries; ++index) {
            if (std::uint64_t const word = here.entry[index]; word != 0) {
                anyHere = true;
                judge({owner, {number, index}, word}, strict);
            }
        }
        any = any || anyHere;
        std::uint32_t const from = number;
        if (!directory_.follow(owner, number, hops, damaged)) {
            number = from;
            break;
        }
        std::uint32_t const overflow = number - directory_.geometry_.bucketCount;
        if (usedOverflow_[overflow]) {
            damaged = true;
            number = from;
            break;
        }
        usedOverflow_[overflow] = true;
    } while (true);
    if (damaged) {
        damagedLinks_.push_back({owner, {number, bucketEntries}, directory_.bucket(number)->link});
    }
    if (number != owner && !anyHere) {
        emptyTails_.push_back(owner);
    }
    if (any) {
        directory_.occupied_[owner / 64] |= std::uint64_t{1} << (owner % 64);
    }
}

void Recovery::judge(Place const& place, bool strict) {
    if (!plausible(place, strict)) {
        damaged_.push_back(place);
        return;
    }
    std::uint32_t const slot = entryNumber(place.word) - 1;
    if (used(slot)) {
        duplicates_.push_back(place);
        return;
    }
    use(slot);
    ++count_;
}

// `strict` also asks the slot, which costs a cache miss.
bool Recovery::plausible(Place const& place, bool strict) const {
    std::uint32_t const slot = entryNumber(place.word) - 1;
    std::uint32_t const tag = entryTag(place.word);
    if (!entryWhole(place.word, place.owner) || slot >= store_.slots_.count() ||
        !store_.slots_.present(slot)) {
        return false;
    }
    if (directory_.geometry_.order == Order::keyMix &&
        (std::uint64_t{tag} >> directory_.shift_) != place.owner) {
        return false;
    }
    if (!strict) {
        return true;
    }
    std::uint64_t const key = store_.slots_.key(slot);
    bool const fits = directory_.ownerOf(key) == place.owner && directory_.tagOf(key) == tag;
    return fits || !store_.slots_.whole(slot, key);
}

void Recovery::use(std::uint32_t slot) {
    if (slot >= used_.size()) {
        used_.resize(std::min<std::size_t>(std::size_t{2} * slot + 1, store_.slots_.count()));
    }
    used_[slot] = true;
}

// Whether a word is the second of a move: the same word stands earlier in the chain.
bool Recovery::leftover(Place const& place) const {
    std::uint32_t number = place.owner;
    std::uint32_t hops = 0;
    bool damaged = false;
    do {
        for (std::uint32_t index = 0; index < bucketEntries; ++index) {
            if (number == place.cell.bucket && index == place.cell.index) {
                return false;
            }
            if (directory_.word({number, index}) == place.word) {
                return true;
            }
        }
    } while (directory_.follow(place.owner, number, hops, damaged));
    return false;
}

void Recovery::clearLeftovers() {
    for (Place const& place : duplicates_) {
        storeRelease(&directory_.bucket(place.cell.bucket)->entry[place.cell.index], 0);
        std::uint32_t const tail = place.cell.bucket;
        if (tail != place.owner) {
            emptyTails_.push_back(place.owner);
        }
    }
    duplicates_.clear();
}

// Hands what the scan found to the store. Chains may then be changed by the usual operations.
void Recovery::takeOver() {
    directory_.overflow_.rebuild(usedOverflow_);
    for (std::uint32_t const owner : emptyTails_) {
        directory_.trimTail(owner);
    }
    for (std::uint32_t const slot : store_.quarantined_) {
        use(slot);
    }
    store_.allocator_.rebuild(used_);
    std::uint64_t const limit = store_.control_.sequenceLimit().value_or(lastSequence_ + 1);
    if (store_.nextSequence_ == 0) {
        store_.nextSequence_ = limit;
        store_.sequenceLimit_ = limit;
    }
    store_.control_.sequenceLimitIs(store_.sequenceLimit_);
}

// Slots of an operation that was cut short, and that no word refers to.
void Recovery::finishJournal() {
    Control::Journal const journal = store_.control_.journal();
    for (std::uint32_t const number : {journal.taken, journal.released}) {
        if (unreferenced(number)) {
            store_.slots_.retire(number - 1);
        }
    }
}

// Whether a slot that the journal names, as slot + 1 or 0, was in use and has no word.
bool Recovery::unreferenced(std::uint32_t number) const {
    std::uint32_t const slot = number - 1;
    if (number == 0 || slot >= store_.slots_.count() || !store_.slots_.present(slot) ||
        used(slot)) {
        return false;
    }
    SlotState const state = stateOf(store_.slots_.state(slot));
    return state == SlotState::live || state == SlotState::writing;
}

void Recovery::repair() {
    store_.control_.repairingIs(true);
    scan(true);
    settleJournal();
    dropDamaged();
    enterLostSlots();
    takeOver();
    for (std::uint32_t owner = 0; owner < directory_.geometry_.bucketCount; ++owner) {
        if (directory_.present(owner) && directory_.bucket(owner)->link != 0) {
            closeHoles(owner);
        }
    }
    store_.control_.repairingIs(false);
}

void Recovery::dropDamaged() {
    for (Place const& place : duplicates_) {
        storeRelease(&directory_.bucket(place.cell.bucket)->entry[place.cell.index], 0);
    }
    for (Place const& place : damaged_) {
        report(place);
        storeRelease(&directory_.bucket(place.cell.bucket)->entry[place.cell.index], 0);
    }
    for (Place const& place : damagedLinks_) {
        report(place);
        storeRelease(&directory_.bucket(place.cell.bucket)->link, 0);
    }
    directory_.control_.shapeInc();
}

void Recovery::enterLostSlots() {
    directory_.overflow_.rebuild(usedOverflow_);
    for (std::uint32_t slot = 0; slot < store_.slots_.count(); ++slot) {
        if (store_.slots_.present(slot)) {
            enterIfLost(slot);
        }
    }
    // `enter` has taken overflow buckets; see which, for `takeOver`.
    auto const damaged = std::move(damaged_);
    auto const links = std::move(damagedLinks_);
    scan(false);
    damaged_ = damaged;
    damagedLinks_ = links;
}

void Recovery::enterIfLost(std::uint32_t slot) {
    std::uint64_t const state = store_.slots_.state(slot);
    if (stateWhole(state)) {
        lastSequence_ = std::max(lastSequence_, sequenceOf(state));
    }
    if (used(slot) || !stateWhole(state) || stateOf(state) != SlotState::live) {
        return;
    }
    std::uint64_t const key = store_.slots_.key(slot);
    Found at = directory_.find(key);
    if (at.found || !store_.slots_.whole(slot, key)) {
        store_.slots_.retire(slot);
        return;
    }
    directory_.prepare(at);
    directory_.enter(at, slot);
    use(slot);
    ++count_;
}

// A live slot that no word refers to has lost its word to damage, unless the last operation was cut
// short between the slot and the directory. For the slots of that operation, a damaged word in the
// chain decides that is all but the one that the slot would have. Those that were not committed are
// retired, and the journal is closed, before anything is changed that tells.
void Recovery::settleJournal() {
    Control::Journal const journal = store_.control_.journal();
    for (std::uint32_t const number : {journal.taken, journal.released}) {
        if (unreferenced(number) && !mayBeCommitted(number - 1)) {
            store_.slots_.retire(number - 1);
        }
    }
    store_.control_.journalIs(0, 0);
}

bool Recovery::mayBeCommitted(std::uint32_t slot) const {
    std::uint64_t const key = store_.slots_.key(slot);
    std::uint32_t const owner = directory_.ownerOf(key);
    std::uint64_t const word = packEntry(directory_.tagOf(key), slot + 1, owner);
    auto const near = [&](Place const& place) {
        return place.owner == owner && std::popcount(place.word ^ word) <= 2;
    };
    auto const linked = [&](Place const& place) { return place.owner == owner; };
    return std::any_of(damaged_.begin(), damaged_.end(), near) ||
           std::any_of(damagedLinks_.begin(), damagedLinks_.end(), linked);
}

// Makes a chain dense again.
void Recovery::closeHoles(std::uint32_t owner) {
    for (;;) {
        bool holeSeen = false;
        bool filled = false;
        Cell hole;
        std::uint32_t number = owner;
        std::uint32_t hops = 0;
        bool damaged = false;
        do {
            for (std::uint32_t index = 0; index < bucketEntries; ++index) {
                bool const empty = directory_.word({number, index}) == 0;
                if (empty && !holeSeen) {
                    holeSeen = true;
                    hole = {number, index};
                }
                filled = filled || (holeSeen && !empty);
            }
        } while (directory_.follow(owner, number, hops, damaged));
        if (filled) {
            directory_.fillHole(owner, hole);
        } else if (!directory_.trimTail(owner)) {
            return;
        }
    }
}

void Recovery::report(Place const& place) const {
    bool const link = place.cell.index == bucketEntries;
    store_.reportDamage(fmt::format(
        "{}: directory bucket {}, {} {}: expected a whole word of chain {}, found {:016x}; the "
        "directory is repaired from the slots",
        store_.name_, place.cell.bucket, link ? "link" : "entry", place.cell.index, place.owner,
        place.word));
}

} // namespace Slate
