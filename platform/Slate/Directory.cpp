#include <Slate/Directory.h>
#include <Slate/Exceptions.h>

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <limits>

namespace Slate {

namespace {

// An entry of the bucket that is empty, the wanted one if it is.
std::uint32_t freeCell(BucketView const& view, std::uint32_t wanted) {
    bool const free = (view.occupied >> wanted & 1U) == 0;
    return free ? wanted : static_cast<std::uint32_t>(std::countr_one(view.occupied));
}

constexpr std::uint64_t allBits = std::numeric_limits<std::uint64_t>::max();

} // namespace

Directory::Directory(Mapping const& mapping, Geometry const& geometry, Extents& extents,
                     SlotArea& slots, Control& control, std::string const& name)
    : geometry_{geometry}, mapping_{mapping},
      buckets_{Mapping::atOnce ? mapping.as<Bucket>(geometry.directoryOffset) : nullptr},
      extents_{extents}, slots_{slots}, control_{control}, name_{name},
      shift_{32U - static_cast<std::uint32_t>(std::countr_zero(geometry.bucketCount))},
      scan_{BucketScan::best()}, overflow_{geometry.overflowCount} {}

bool Directory::follow(std::uint32_t owner, std::uint32_t& number, std::uint32_t& hops,
                       bool& damaged) const {
    std::uint64_t const link = loadAcquire(&bucket(number)->link);
    if (link == 0) {
        return false;
    }
    std::uint32_t const next = entryNumber(link) - 1;
    if (!entryWhole(link, owner) || entryTag(link) != linkTag || next >= geometry_.overflowCount ||
        ++hops > geometry_.overflowCount || !present(geometry_.bucketCount + next)) {
        damaged = true;
        return false;
    }
    number = geometry_.bucketCount + next;
    return true;
}

// Whether a word with the right tag is the key's. A word that leads to a damaged slot is taken for
// the key's: what is wrong shows when the slot is verified.
bool Directory::refersTo(std::uint64_t word, std::uint64_t key, Found& at) const {
    at.slot = entryNumber(word) - 1;
    if (!entryWhole(word, at.owner) || !slots_.present(at.slot)) {
        at.damaged = true;
        return false;
    }
    if (geometry_.order == Order::version) {
        std::uint64_t const held = slots_.key(at.slot);
        if (held != key && tagOf(held) == at.tag && ownerOf(held) == at.owner &&
            slots_.whole(at.slot, held)) {
            return false; // a version with the same low half
        }
    }
    return true;
}

// A word that is passed over for a version with the same low half is looked at again if it changed
// meanwhile: a reader may have followed it to a slot that was taken for that other version.
bool Directory::pick(Found& at, std::uint32_t number, std::uint32_t matches,
                     std::uint64_t key) const {
    for (; matches != 0; matches &= matches - 1) {
        Cell const cell{number, static_cast<std::uint32_t>(std::countr_zero(matches))};
        std::uint64_t seen = 0;
        for (std::uint64_t word = this->word(cell);
             word != seen && word != 0 && entryTag(word) == at.tag; word = this->word(cell)) {
            if (refersTo(word, key, at)) {
                at.found = true;
                at.word = word;
                at.cell = cell;
                return true;
            }
            seen = word;
        }
    }
    return false;
}

// Mostly the key is new, and its chain one bucket with room.
void Directory::search(Found& at, std::uint64_t key) const {
    at.vacant = true;
    if (!present(at.owner)) {
        return;
    }
    Bucket const& first = *bucket(at.owner);
    BucketView const view = scan_.view(first, at.tag);
    if (view.matches == 0 && view.occupied != allOccupied && loadAcquire(&first.link) == 0)
        [[likely]] {
        at.lastBucket = at.owner;
        at.cell.index = freeCell(view, at.cell.index);
        at.damaged = !sumWhole(view.sum, view.occupied, at.owner);
        return;
    }
    searchChain(at, key);
}

void Directory::searchChain(Found& at, std::uint64_t key) const {
    std::uint32_t number = at.owner;
    std::uint32_t hops = 0;
    std::uint32_t const wanted = at.cell.index;
    at.vacant = false;
    do {
        BucketView const view = scan_.view(*bucket(number), at.tag);
        if (view.matches != 0 && pick(at, number, view.matches, key)) {
            return;
        }
        at.lastBucket = number;
        if (!at.vacant && view.occupied != allOccupied) {
            at.vacant = true;
            at.cell = {number, freeCell(view, wanted)};
        }
        at.damaged = at.damaged || !sumWhole(view.sum, view.occupied, at.owner);
    } while (follow(at.owner, number, hops, at.damaged));
}

std::uint32_t Directory::nextOwner(std::uint32_t owner) const {
    ++owner;
    if (occupied_.empty()) {
        return owner;
    }
    for (std::uint32_t group = owner / 64; group < occupied_.size(); ++group) {
        std::uint64_t bits = occupied_[group];
        if (group == owner / 64) {
            bits &= allBits << (owner % 64);
        }
        if (bits != 0) {
            return group * 64 + static_cast<std::uint32_t>(std::countr_zero(bits));
        }
    }
    return geometry_.bucketCount;
}

void Directory::searchWalk(Position from, Next& result) const {
    std::uint32_t const perExtent =
        extents_.bytesEach() / static_cast<std::uint32_t>(sizeof(Bucket));
    while (from.owner < geometry_.bucketCount) {
        if (!present(from.owner)) {
            from = {(from.owner / perExtent + 1) * perExtent, true, 0, 0};
            continue;
        }
        if (inOrder_.note(*bucket(from.owner), from.owner, geometry_.order) &&
            !otherWithTag(from)) {
            takeNoted(from, result);
        } else {
            nextInChain(from, result);
        }
        if (result.found || result.damaged) {
            if (from.atStart) {
                prefetchRecords(nextOwner(from.owner));
            }
            return;
        }
        from = {nextOwner(from.owner), true, 0, 0};
    }
}

// A walk that comes to a bucket has the records of the next one fetched, since slots lie in no
// order.
void Directory::prefetchRecords(std::uint32_t owner) const {
    if (owner >= geometry_.bucketCount || !present(owner)) {
        return;
    }
    for (std::uint64_t const& entry : bucket(owner)->entry) {
        if (std::uint64_t const word = loadRelaxed(&entry); word != 0) {
            slots_.prefetchKnown(entryNumber(word) - 1);
        }
    }
}

// The entry with the smallest tag behind the position. What follows it in the bucket is fetched
// ahead, since slots lie in no order.
void Directory::nextInChain(Position const& from, Next& result) const {
    std::uint64_t const above = from.atStart ? 0 : std::uint64_t{from.tag} + 1;
    result.owner = from.owner;
    BucketTags best{noTag, noTag, 0, 0, 0, 0};
    std::uint32_t bestBucket = from.owner;
    std::uint32_t occupied = 0;
    bool tie = false;
    std::uint32_t number = from.owner;
    std::uint32_t hops = 0;
    do {
        BucketTags const tags = scan_.tags(*bucket(number), above);
        occupied |= tags.occupied;
        result.damaged = result.damaged || !sumWhole(tags.sum, tags.occupied, from.owner);
        tie = tie || (tags.first == best.first && tags.first != noTag);
        if (tags.first < best.first) {
            best = tags;
            bestBucket = number;
            tie = (tags.firstAt & (tags.firstAt - 1)) != 0;
        }
    } while (follow(from.owner, number, hops, result.damaged));
    if (result.damaged) {
        return;
    }
    if (occupied == 0 && !occupied_.empty()) {
        occupied_[from.owner / 64] &= ~(std::uint64_t{1} << (from.owner % 64));
    }
    if (geometry_.order == Order::version && (tie || sharesTag(from))) {
        nextByKey(from, result);
        return;
    }
    if (best.first == noTag) {
        return;
    }
    result.found = true;
    result.cell = firstCell(bestBucket, best.firstAt);
    result.word = word(result.cell);
    result.slot = entryNumber(result.word) - 1;
    result.changed = result.word == 0 || entryTag(result.word) != best.first;
    result.damaged = !result.changed && !slots_.present(result.slot);
    if (best.second != noTag) {
        std::uint32_t const follower = entryNumber(word(firstCell(bestBucket, best.secondAt))) - 1;
        if (follower < slots_.count()) {
            slots_.prefetch(follower);
        }
    }
}

Cell Directory::firstCell(std::uint32_t number, std::uint32_t mask) {
    return {number, static_cast<std::uint32_t>(std::countr_zero(mask))};
}

// Whether there may be an entry behind the position with the position's own tag, which only a
// version can have that differs in its upper half.
bool Directory::sharesTag(Position const& from) const {
    if (from.atStart) {
        return false;
    }
    BucketView const view = scan_.view(*bucket(from.owner), from.tag);
    if (bucket(from.owner)->link != 0 || (view.matches & (view.matches - 1)) != 0) {
        return true;
    }
    if (view.matches == 0) {
        return false;
    }
    std::uint32_t const slot = entryNumber(word(firstCell(from.owner, view.matches))) - 1;
    return !slots_.present(slot) || slots_.key(slot) != from.key;
}

// The same by tag and key, for versions that differ in their upper half only.
void Directory::nextByKey(Position const& from, Next& result) const {
    result.owner = from.owner;
    std::uint64_t bestKey = 0;
    std::uint32_t number = from.owner;
    std::uint32_t hops = 0;
    do {
        for (std::uint32_t index = 0; index < bucketEntries; ++index) {
            std::uint64_t const word = this->word({number, index});
            std::uint32_t const slot = entryNumber(word) - 1;
            if (word == 0) {
                continue;
            }
            if (!entryWhole(word, from.owner) || !slots_.present(slot)) {
                result.damaged = true;
                continue;
            }
            std::uint32_t const tag = entryTag(word);
            std::uint64_t const key = slots_.key(slot);
            bool const behind =
                from.atStart || tag > from.tag || (tag == from.tag && key > from.key);
            bool const nearer = !result.found || tag < entryTag(result.word) ||
                                (tag == entryTag(result.word) && key < bestKey);
            if (behind && nearer) {
                result.found = true;
                result.word = word;
                result.cell = {number, index};
                result.slot = slot;
                bestKey = key;
            }
        }
    } while (follow(from.owner, number, hops, result.damaged));
}

std::uint32_t Directory::count() const {
    std::uint32_t result = 0;
    for (std::uint32_t number = 0; number < bucketTotal(); ++number) {
        if (present(number)) {
            BucketView const view = scan_.view(*bucket(number), 0);
            result += static_cast<std::uint32_t>(std::popcount(view.occupied));
        }
    }
    return result;
}

std::string Directory::describe(std::uint32_t owner) const {
    std::uint32_t number = owner;
    std::uint32_t hops = 0;
    bool damaged = false;
    do {
        for (std::uint32_t index = 0; index < bucketEntries; ++index) {
            std::uint64_t const word = this->word({number, index});
            bool const outOfRange = entryNumber(word) > slots_.count();
            if (word != 0 && (!entryWhole(word, owner) || outOfRange)) {
                return fmt::format(
                    "{}: directory bucket {}, entry {}: expected a whole entry word of "
                    "chain {}, found {:016x}",
                    name_, number, index, owner, word);
            }
        }
    } while (follow(owner, number, hops, damaged));
    return fmt::format("{}: directory bucket {}: expected a link within chain {}, found {:016x}",
                       name_, number, owner, loadRelaxed(&bucket(number)->link));
}

void Directory::prepare(Found& at) {
    if (!present(at.owner)) {
        extents_.ensure(offset(at.owner), sizeof(Bucket));
    }
    if (at.vacant) {
        return;
    }
    if (overflow_.empty()) {
        throw NoSpaceException{
            fmt::format("{}: all {} overflow buckets are in use", name_, geometry_.overflowCount)};
    }
    std::uint32_t const number = geometry_.bucketCount + overflow_.peek();
    extents_.ensure(offset(number), sizeof(Bucket));
    at.cell = {number, 0};
}

void Directory::enter(Found& at, std::uint32_t slot) {
    std::uint64_t const word = packEntry(at.tag, slot + 1, at.owner);
    Bucket* const here = bucket(at.cell.bucket);
    if (at.vacant) {
        storeRelease(&here->entry[at.cell.index], word);
    } else {
        for (std::uint64_t& entry : here->entry) {
            storeRelaxed(&entry, 0);
        }
        storeRelaxed(&here->link, 0);
        storeRelaxed(&here->entry[0], word);
        std::uint32_t const number = at.cell.bucket - geometry_.bucketCount;
        storeRelease(&bucket(at.lastBucket)->link, packEntry(linkTag, number + 1, at.owner));
        overflow_.take();
    }
    occupied_[at.owner / 64] |= std::uint64_t{1} << (at.owner % 64);
    at.found = true;
    at.slot = slot;
    at.word = word;
}

void Directory::swing(Found& at, std::uint32_t slot) {
    at.slot = slot;
    at.word = packEntry(entryTag(at.word), slot + 1, at.owner);
    storeRelease(&bucket(at.cell.bucket)->entry[at.cell.index], at.word);
}

void Directory::remove(Found& at) {
    at.found = false;
    if (bucket(at.owner)->link == 0) {
        storeRelease(&bucket(at.cell.bucket)->entry[at.cell.index], 0);
        return;
    }
    fillHole(at.owner, at.cell);
}

// Overwrites the word at `hole` with the chain's last word, or with 0 when it is the last itself.
// For a moment the last entry has two words; a reader that has passed the hole before and comes to
// the end after sees neither, but then sees that the shape changed.
void Directory::fillHole(std::uint32_t owner, Cell hole) {
    Cell last = hole;
    std::uint32_t number = owner;
    std::uint32_t hops = 0;
    bool damaged = false;
    do {
        for (std::uint32_t index = 0; index < bucketEntries; ++index) {
            last = word({number, index}) != 0 ? Cell{number, index} : last;
        }
    } while (follow(owner, number, hops, damaged));
    std::uint64_t* const lastWord = &bucket(last.bucket)->entry[last.index];
    std::uint64_t* const holeWord = &bucket(hole.bucket)->entry[hole.index];
    if (lastWord != holeWord) {
        storeRelease(holeWord, *lastWord);
        control_.shapeInc();
    }
    storeRelease(lastWord, 0);
    trimTail(owner);
}

// Takes the last bucket of a chain out when it is empty, and tells whether it was. It may serve
// another chain at once: a reader that is still in it sees that the shape changed.
bool Directory::trimTail(std::uint32_t owner) {
    std::uint32_t before = owner;
    std::uint32_t number = owner;
    std::uint32_t hops = 0;
    bool damaged = false;
    for (std::uint32_t at = owner; follow(owner, at, hops, damaged);) {
        before = number;
        number = at;
    }
    if (damaged || number == owner) {
        return false;
    }
    for (std::uint64_t const entry : bucket(number)->entry) {
        if (entry != 0) {
            return false;
        }
    }
    storeRelease(&bucket(before)->link, 0);
    control_.shapeInc();
    overflow_.give(number - geometry_.bucketCount);
    return true;
}

} // namespace Slate
