#include <Pallet/SlabAlloc.h>
#include <Zet/AllocTrack.h>
#include <Zet/HashMap2018Generic.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Zet {

namespace {

using Bucket = HashMap2018BucketHdr;
using Sources = HashMap2018NodeSourceColl;

// What every empty map leads to, so that a search needs to ask nothing before it. Never changed and
// never counted: nobody adds to a bucket without capacity.
constinit Bucket noBucket{0, 0};

// In front of the words of a directory: how many buckets there are of each depth, and how many
// nodes there were when all buckets were asked to merge, if they were. The directory halves when
// its own depth has no bucket.
struct DirectoryHdr {
    std::uint32_t bucketsAtDepth[34] = {}; // a depth is told as 0 to 32
    std::uint32_t nodesAtAsking = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t unused = 0;
};
static_assert(sizeof(DirectoryHdr) % sizeof(void*) == 0, "the words stand behind it");

// A directory doubles at this many nodes per word on average. With as many a bucket overflows once
// in 170, and it splits before if it serves more words than one.
constexpr std::uint64_t nodesPerWord = Bucket::standardCapacity / 2;

// A directory of 2^24 words serves some hundred million nodes.
constexpr std::uint32_t maxDepth = 24;

std::uint32_t capacityFor(std::uint32_t nodes) {
    std::uint32_t capacity = Bucket::standardCapacity;
    while (capacity < nodes) {
        capacity *= 2;
    }
    return std::min(capacity, Bucket::maxCapacity);
}

std::byte* nodeAt(HashMap2018VTable const& vt, Bucket& bucket, std::uint32_t index) {
    return bucket.nodes() + std::size_t{index} * vt.nodeSize;
}

void appendHashes(Bucket& target, Bucket const& source, std::uint32_t first, std::uint32_t count) {
    for (std::uint32_t i = 0; i != count; ++i) {
        target.add(source.hash(first + i));
    }
}

// Moves a node to a slot that holds nothing, or copies it there. With the sizes that most nodes
// have known to the compiler.
void transfer(HashMap2018VTable const& vt, void* target, void* source, MoveOrCopy mode) {
    if (vt.place != nullptr) {
        vt.place(vt, target, source, mode);
    } else if (vt.nodeSize == 16) {
        std::memmove(target, source, 16);
    } else if (vt.nodeSize == 4) {
        std::memmove(target, source, 4);
    } else {
        std::memmove(target, source, vt.nodeSize);
    }
}

std::size_t bucketBytes(HashMap2018VTable const& vt, std::uint32_t capacity) {
    std::size_t const bytes =
        sizeof(Bucket) + std::size_t{capacity} * (sizeof(std::uint32_t) + vt.nodeSize);
    constexpr std::size_t cacheLine = 64; // the slab aligns multiples of it to it
    return (bytes + cacheLine - 1) & ~(cacheLine - 1);
}

MoveOrCopy runsFrom(Bucket const& bucket) {
    return bucket.held() ? MoveOrCopy::copy : MoveOrCopy::move;
}

[[noreturn]] void tooManyAlike(std::uint32_t hash) {
    std::fprintf(stderr,
                 "Zet::HashMap2018: more than %u keys share the hash 0x%08x or nearly so. A bucket "
                 "holds no more. Give the key class a hash() that mixes all its bits.\n",
                 Bucket::maxCapacity, hash);
    std::abort();
}

} // namespace

struct HashMap2018Generic::Engine {
    HashMap2018Generic& map;
    HashMap2018VTable const& vt;

    std::uint32_t depth() const { return static_cast<std::uint32_t>(std::countr_zero(map.words_)); }
    std::uint32_t words() const { return map.words_; }
    bool hasDirectory() const { return map.directory_ != &map.only_; }
    Pallet::SlabAllocationPattern pattern() const {
        return static_cast<Pallet::SlabAllocationPattern>(map.alloc_);
    }

    static DirectoryHdr& header(Bucket** directory) {
        return reinterpret_cast<DirectoryHdr*>(directory)[-1];
    }
    void countAtDepth(std::uint32_t depth, int by) {
        if (hasDirectory()) {
            header(map.directory_).bucketsAtDepth[depth] += static_cast<std::uint32_t>(by);
        }
    }

    Bucket** newDirectory(std::uint32_t depth) const {
        auto const bytes = sizeof(DirectoryHdr) + (sizeof(Bucket*) << depth);
        void* memory = Pallet::slabAllocOrStdMalloc(static_cast<unsigned>(bytes), pattern());
        if (memory == nullptr) {
            throw std::bad_alloc{};
        }
        return reinterpret_cast<Bucket**>(new (memory) DirectoryHdr{} + 1);
    }

    static void freeDirectory(Bucket** directory) {
        Pallet::slabFreeOrStdFree(&header(directory), typeid(DirectoryHdr));
    }

    // A bucket with the nodes of `sources`. Their hashes are the caller's to add, in the same
    // order.
    Bucket* newBucket(std::uint32_t capacity, std::uint32_t depth, Sources const& sources) const {
        auto const bytes = static_cast<unsigned>(bucketBytes(vt, capacity));
        void* memory = Pallet::slabAllocOrStdMalloc(bytes, pattern());
        if (memory == nullptr) {
            throw std::bad_alloc{};
        }
        AllocTrackTypeInfo::_trackAllocation(&Bucket::bucketHeaderTracker_, typeid(Bucket),
                                             sizeof(Bucket),
                                             AllocTrackTypeInfo::granularityOf(sizeof(Bucket)));
        auto* bucket = new (static_cast<std::uint32_t*>(memory) + capacity) Bucket{capacity, depth};
        vt.newBucketAssemble(vt, capacity, bucket->nodes(), sources);
        return bucket;
    }

    // The words that lead to the bucket of `hash`.
    struct Words {
        Bucket** first;
        std::uint32_t count;
    };
    Words wordsOf(Bucket const& bucket, std::uint32_t hash) const {
        std::uint32_t const count = 1U << (depth() - bucket.depth());
        std::uint64_t const word = std::uint64_t{hash} * map.words_ >> 32;
        return {map.directory_ + (word & ~std::uint64_t{count - 1}), count};
    }
    void point(Bucket const& old, std::uint32_t hash, Bucket* target) const {
        auto const span = wordsOf(old, hash);
        std::fill_n(span.first, span.count, target);
    }

    // The bucket of `hash`, with room for one more node.
    Bucket& withRoom(std::uint32_t hash) {
        while (true) {
            Bucket& bucket = *map.bucketOf(hash);
            if (bucket.inUse() < bucket.capacity()) [[likely]] {
                return bucket;
            }
            makeRoom(bucket, hash);
        }
    }

    void makeRoom(Bucket& bucket, std::uint32_t hash) {
        if (bucket.capacity() == 0) {
            map.only_ = newBucket(Bucket::standardCapacity, 0, {});
        } else if (bucket.hash(0) == hash && allAlike(bucket) &&
                   bucket.capacity() < Bucket::maxCapacity) {
            grow(bucket, hash); // no split parts them
        } else if (bucket.depth() < depth()) {
            split(bucket, hash);
        } else if (map.size_ >= nodesPerWord * words() && depth() < maxDepth) {
            doubleDirectory();
        } else if (bucket.capacity() < Bucket::maxCapacity) {
            grow(bucket, hash);
        } else if (!allAlike(bucket) && depth() < maxDepth) {
            doubleDirectory();
        } else {
            tooManyAlike(hash);
        }
    }

    static bool allAlike(Bucket const& bucket) {
        for (std::uint32_t i = 1; i != bucket.inUse(); ++i) {
            if (bucket.hash(i) != bucket.hash(0)) {
                return false;
            }
        }
        return true;
    }

    void doubleDirectory() {
        Bucket** const wider = newDirectory(depth() + 1);
        for (std::uint32_t i = 0; i != words(); ++i) {
            wider[2 * i] = wider[2 * i + 1] = map.directory_[i];
        }
        if (hasDirectory()) {
            header(wider) = header(map.directory_);
            header(wider).nodesAtAsking = DirectoryHdr{}.nodesAtAsking;
            freeDirectory(map.directory_);
        } else {
            header(wider).bucketsAtDepth[0] = 1;
        }
        map.directory_ = wider;
        map.words_ *= 2;
    }

    void split(Bucket& bucket, std::uint32_t hash) {
        auto const span = wordsOf(bucket, hash);
        bool const large = bucket.capacity() > Bucket::standardCapacity;
        Bucket* const low =
            large || bucket.held() ? splitIntoTwoNew(bucket, span) : splitInPlace(bucket, span);
        countAtDepth(low->depth() - 1, -1);
        countAtDepth(low->depth(), 2);
        if (low != &bucket) {
            vt.bktHdrRefDec(&bucket);
        }
    }

    // The nodes of a bucket by the next bit of their hashes. Without a branch per node: the bits
    // are as random as can be.
    struct Halves {
        std::uint8_t low[Bucket::standardCapacity + 1];
        std::uint8_t high[Bucket::standardCapacity + 1];
        std::uint32_t lowCount = 0;
        std::uint32_t highCount = 0;

        Halves(Bucket const& bucket, std::uint32_t depth) {
            for (std::uint32_t i = 0; i != bucket.inUse(); ++i) {
                std::uint32_t const bit = bucket.hash(i) >> (31 - depth) & 1;
                low[lowCount] = high[highCount] = static_cast<std::uint8_t>(i);
                lowCount += 1 - bit;
                highCount += bit;
            }
        }
    };

    // Moves the upper half of the hashes to a new bucket.
    Bucket* splitInPlace(Bucket& bucket, Words const& span) const {
        Halves const halves{bucket, bucket.depth()};
        Sources moving;
        for (std::uint32_t i = 0; i != halves.highCount; ++i) {
            moving.add(MoveOrCopy::move, 1, nodeAt(vt, bucket, halves.high[i]));
        }
        Bucket* const high = newBucket(Bucket::standardCapacity, bucket.depth() + 1, moving);
        for (std::uint32_t i = 0; i != halves.highCount; ++i) {
            high->add(bucket.hash(halves.high[i]));
        }
        for (std::uint32_t i = 0; i != halves.lowCount; ++i) {
            if (std::uint32_t const from = halves.low[i]; from != i) {
                transfer(vt, nodeAt(vt, bucket, i), nodeAt(vt, bucket, from), MoveOrCopy::move);
                bucket.hashIs(i, bucket.hash(from));
            }
        }
        while (bucket.inUse() != halves.lowCount) {
            bucket.dropLast();
        }
        bucket.depthIs(bucket.depth() + 1);
        std::fill_n(span.first + span.count / 2, span.count / 2, high);
        return &bucket;
    }

    // A bucket that an iterator holds, or of more nodes than the standard.
    Bucket* splitIntoTwoNew(Bucket& bucket, Words const& span) const {
        std::uint32_t const depthOfHalves = bucket.depth() + 1;
        auto const isHigh = [&](std::uint32_t i) {
            return (bucket.hash(i) >> (32 - depthOfHalves) & 1) != 0;
        };
        std::uint32_t highCount = 0;
        for (std::uint32_t i = 0; i != bucket.inUse(); ++i) {
            highCount += isHigh(i);
        }
        std::uint32_t const lowCount = bucket.inUse() - highCount;
        Bucket* const low = newBucket(capacityFor(lowCount + 1), depthOfHalves, {});
        Bucket* const high = newBucket(capacityFor(highCount + 1), depthOfHalves, {});
        auto const mode = runsFrom(bucket);
        for (std::uint32_t i = 0; i != bucket.inUse(); ++i) {
            Bucket& target = isHigh(i) ? *high : *low;
            transfer(vt, nodeAt(vt, target, target.inUse()), nodeAt(vt, bucket, i), mode);
            target.add(bucket.hash(i));
        }
        std::fill_n(span.first, span.count / 2, low);
        std::fill_n(span.first + span.count / 2, span.count / 2, high);
        return low;
    }

    void grow(Bucket& bucket, std::uint32_t hash) {
        Sources nodes;
        nodes.add(runsFrom(bucket), bucket.inUse(), bucket.nodes());
        Bucket* larger = newBucket(capacityFor(bucket.capacity() + 1), bucket.depth(), nodes);
        appendHashes(*larger, bucket, 0, bucket.inUse());
        point(bucket, hash, larger);
        vt.bktHdrRefDec(&bucket);
    }

    void insert(std::uint32_t hash, void* node) {
        Bucket& bucket = withRoom(hash);
        if (bucket.held()) [[unlikely]] {
            insertIntoCopy(bucket, hash, node);
        } else {
            insertInPlace(bucket, hash, node);
        }
        ++map.size_;
    }

    void insertInPlace(Bucket& bucket, std::uint32_t hash, void* node) {
        std::uint32_t const count = bucket.inUse();
        if (vt.shift != nullptr) {
            vt.shift(vt, bucket.nodes(), node, count, count, 1);
        } else {
            transfer(vt, nodeAt(vt, bucket, count), node, MoveOrCopy::move);
        }
        bucket.add(hash);
    }

    void insertIntoCopy(Bucket& bucket, std::uint32_t hash, void* node) {
        Sources nodes;
        nodes.add(MoveOrCopy::copy, bucket.inUse(), bucket.nodes());
        nodes.add(MoveOrCopy::move, 1, node);
        Bucket* const fresh = newBucket(bucket.capacity(), bucket.depth(), nodes);
        appendHashes(*fresh, bucket, 0, bucket.inUse());
        fresh->add(hash);
        point(bucket, hash, fresh);
        vt.bktHdrRefDec(&bucket);
    }

    void remove(Bucket& bucket, std::uint32_t index, std::uint32_t hash, void* removed) {
        if (bucket.held()) [[unlikely]] {
            removeFromCopy(bucket, index, hash, removed);
        } else {
            removeInPlace(bucket, index, hash, removed);
        }
    }

    void takeOut(void* node, void* removed, MoveOrCopy mode) const {
        if (removed != nullptr) {
            transfer(vt, removed, node, mode);
        }
    }

    // A value that is let go may use the map: it finds everything in order.
    void removeInPlace(Bucket& bucket, std::uint32_t index, std::uint32_t hash, void* removed) {
        std::uint32_t const last = bucket.inUse() - 1;
        auto* const at = nodeAt(vt, bucket, index);
        auto* const lastAt = nodeAt(vt, bucket, last);
        lastTakesPlaceOf(bucket, index);
        --map.size_;
        takeOut(at, removed, MoveOrCopy::move);
        if (vt.shift == nullptr) {
            transfer(vt, at, lastAt, MoveOrCopy::move);
        } else {
            if (removed == nullptr) {
                std::swap_ranges(at, at + vt.nodeSize, lastAt);
            } else if (at != lastAt) {
                transfer(vt, at, lastAt, MoveOrCopy::move);
            }
            vt.shift(vt, bucket.nodes(), nullptr, last + 1, last, -1);
        }
        map.removedOneOf(vt, last, hash);
    }

    void removeFromCopy(Bucket& bucket, std::uint32_t index, std::uint32_t hash, void* removed) {
        std::uint32_t const behind = bucket.inUse() - index - 1;
        Sources nodes;
        nodes.add(MoveOrCopy::copy, index, bucket.nodes());
        nodes.add(MoveOrCopy::copy, behind, nodeAt(vt, bucket, index + 1));
        Bucket* const fresh = newBucket(bucket.capacity(), bucket.depth(), nodes);
        appendHashes(*fresh, bucket, 0, index);
        appendHashes(*fresh, bucket, index + 1, behind);
        takeOut(nodeAt(vt, bucket, index), removed, MoveOrCopy::copy);
        point(bucket, hash, fresh);
        --map.size_;
        vt.bktHdrRefDec(&bucket);
        if (fresh->inUse() <= mergeTrigger) {
            mergeAround(hash);
        }
    }

    void mergeAround(std::uint32_t hash) {
        bool merged = false;
        while (mergeOnce(hash)) {
            merged = true;
        }
        if (hasDirectory() && nearlyEmpty()) {
            mergeEverywhere();
            merged = true;
        }
        while (merged && hasDirectory() && header(map.directory_).bucketsAtDepth[depth()] == 0) {
            halveDirectory();
        }
    }

    // Neighbours that hold a few nodes each don't ask to merge by themselves, and two of them can
    // keep the whole directory at its depth. So all are asked when it has four words per node, and
    // again when half of those nodes are gone.
    bool nearlyEmpty() const {
        return map.size_ <= words() / 4 && map.size_ <= header(map.directory_).nodesAtAsking / 2;
    }

    void mergeEverywhere() {
        header(map.directory_).nodesAtAsking = map.size_;
        for (std::uint64_t hash = 0; hash <= 0xffffffffU;) {
            auto const at = static_cast<std::uint32_t>(hash);
            while (mergeOnce(at)) {
            }
            hash = std::uint64_t{map.lastHashOfBucket(at)} + 1;
        }
    }

    bool mergeOnce(std::uint32_t hash) {
        Bucket& bucket = *map.bucketOf(hash);
        std::uint32_t const depthOfBoth = bucket.depth();
        if (depthOfBoth <= keptDepth) {
            return false;
        }
        std::uint32_t const lastBit = 1U << (32 - depthOfBoth);
        Bucket& low = *map.bucketOf(hash & ~lastBit);
        Bucket& high = *map.bucketOf(hash | lastBit);
        std::uint32_t const lowCount = low.inUse();
        std::uint32_t const highCount = high.inUse();
        if (low.depth() != high.depth() || lowCount + highCount > mergedLimit) {
            return false;
        }
        Bucket* const both =
            low.held() || high.held() ? mergeIntoNew(low, high) : mergeInPlace(low, high);
        point(*both, hash, both);
        countAtDepth(depthOfBoth, -2);
        countAtDepth(depthOfBoth - 1, 1);
        for (Bucket* const former : {&low, &high}) {
            if (former != both) {
                vt.bktHdrRefDec(former);
            }
        }
        return true;
    }

    // The one with fewer nodes gives them up.
    Bucket* mergeInPlace(Bucket& low, Bucket& high) const {
        bool const toLow = high.inUse() <= low.inUse();
        Bucket& target = toLow ? low : high;
        Bucket& source = toLow ? high : low;
        while (source.inUse() != 0) {
            std::uint32_t const last = source.inUse() - 1;
            transfer(vt, nodeAt(vt, target, target.inUse()), nodeAt(vt, source, last),
                     MoveOrCopy::move);
            target.add(source.hash(last));
            source.dropLast();
        }
        target.depthIs(target.depth() - 1);
        return &target;
    }

    Bucket* mergeIntoNew(Bucket& low, Bucket& high) const {
        Sources nodes;
        nodes.add(runsFrom(low), low.inUse(), low.nodes());
        nodes.add(runsFrom(high), high.inUse(), high.nodes());
        Bucket* const both = newBucket(Bucket::standardCapacity, low.depth() - 1, nodes);
        appendHashes(*both, low, 0, low.inUse());
        appendHashes(*both, high, 0, high.inUse());
        return both;
    }

    void halveDirectory() {
        Bucket** const wide = map.directory_;
        std::uint32_t const half = words() / 2;
        if (half == 1) {
            map.only_ = wide[0];
            map.directory_ = &map.only_;
        } else {
            map.directory_ = newDirectory(depth() - 1);
            header(map.directory_) = header(wide);
            for (std::uint32_t i = 0; i != half; ++i) {
                map.directory_[i] = wide[2 * i];
            }
        }
        map.words_ = half;
        freeDirectory(wide);
    }
};

HashMap2018Generic::HashMap2018Generic(HashMap2018VTable const&, unsigned alloc, bool) noexcept
    : directory_{&only_}, only_{&noBucket}, alloc_{static_cast<std::uint8_t>(alloc)} {}

void* HashMap2018Generic::lookupNodeG(HashMap2018VTable const& vt,
                                      HashHelper::KeyAndRhashSeedArg const& key) const {
    Bucket& bucket = *bucketOf(key.hash);
    auto const index = bucket.find(key.hash, [&](std::uint32_t i) {
        return vt.keyEqualsNode(key.key, nodeAt(vt, bucket, i));
    });
    return index == Bucket::none ? nullptr : nodeAt(vt, bucket, index);
}

void HashMap2018Generic::newMemberG(HashMap2018VTable const& vt,
                                    HashHelper::KeyAndRhashSeedArg const& key, void* node) {
    Engine{*this, vt}.insert(key.hash, node);
}

bool HashMap2018Generic::deleteMemberG(HashMap2018VTable const& vt,
                                       HashHelper::KeyAndRhashSeedArg const& key, void* removed) {
    Bucket& bucket = *bucketOf(key.hash);
    auto const index = bucket.find(key.hash, [&](std::uint32_t i) {
        return vt.keyEqualsNode(key.key, nodeAt(vt, bucket, i));
    });
    if (index == Bucket::none) {
        return false;
    }
    removeFoundG(vt, bucket, index, key.hash, removed);
    return true;
}

void HashMap2018Generic::removeFoundG(HashMap2018VTable const& vt, Bucket& bucket,
                                      std::uint32_t index, std::uint32_t hash, void* removed) {
    Engine{*this, vt}.remove(bucket, index, hash, removed);
}

void HashMap2018Generic::mergeAround(HashMap2018VTable const& vt, std::uint32_t hash) {
    Engine{*this, vt}.mergeAround(hash);
}

void HashMap2018Generic::emptyAllBuckets(HashMap2018VTable const& vt, bool) {
    if (only_ == &noBucket) {
        return;
    }
    // The map is empty before the first value is let go: a destructor may use it.
    bool const hadDirectory = directory_ != &only_;
    Bucket* only = std::exchange(only_, &noBucket);
    Bucket** const directory = hadDirectory ? directory_ : &only;
    std::uint32_t const words = std::exchange(words_, 1);
    directory_ = &only_;
    size_ = 0;
    for (std::uint32_t word = 0; word != words;) {
        Bucket& bucket = *directory[word];
        word += words >> bucket.depth();
        vt.bktHdrRefDec(&bucket);
    }
    if (hadDirectory) {
        Engine::freeDirectory(directory);
    }
}

std::uint32_t HashMap2018Generic::lastHashOfBucket(std::uint32_t hash) const noexcept {
    std::uint64_t const inCommon = bucketOf(hash)->depth();
    return hash | static_cast<std::uint32_t>(0xffffffffU >> inCommon);
}

HashMap2018Generic::Footprint
HashMap2018Generic::footprint(HashMap2018VTable const& vt) const noexcept {
    Footprint result;
    if (directory_ != &only_) {
        result.bytes = sizeof(DirectoryHdr) + sizeof(Bucket*) * words_;
    }
    for (std::uint64_t hash = 0; hash <= 0xffffffffU;) {
        auto const at = static_cast<std::uint32_t>(hash);
        if (auto const capacity = bucketOf(at)->capacity(); capacity != 0) {
            ++result.buckets;
            result.bytes += bucketBytes(vt, capacity);
        }
        hash = std::uint64_t{lastHashOfBucket(at)} + 1;
    }
    return result;
}

} // namespace Zet
