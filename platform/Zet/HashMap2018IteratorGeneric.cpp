#include <Zet/HashMap2018IteratorGeneric.h>

#include <utility>

namespace Zet {

using Bucket = HashMap2018BucketHdr;

namespace {

void* nodeAt(HashMap2018VTable const& vt, Bucket& bucket, std::uint32_t index) {
    return bucket.nodes() + std::size_t{index} * vt.nodeSize;
}

} // namespace

HashMap2018IteratorGeneric::HashMap2018IteratorGeneric(HashMap2018Generic const& map,
                                                       HashMap2018VTable const& vt)
    : map_{&map}, vt_{&vt} {
    takeFirstFrom(0);
}

HashMap2018IteratorGeneric::HashMap2018IteratorGeneric(HashMap2018Generic const& map,
                                                       HashMap2018VTable const& vt,
                                                       HashHelper::KeyAndRhashSeedArg const& key)
    : map_{&map}, vt_{&vt} {
    Bucket& bucket = *map.bucketOf(key.hash);
    auto const index = bucket.find(key.hash, [&](std::uint32_t i) {
        return vt.keyEqualsNode(key.key, nodeAt(vt, bucket, i));
    });
    if (index != Bucket::none) {
        take(&bucket, index);
    }
}

HashMap2018IteratorGeneric::HashMap2018IteratorGeneric(
    HashMap2018IteratorGeneric const& other) noexcept
    : map_{other.map_}, vt_{other.vt_}, bucket_{other.bucket_}, position_{other.position_},
      hash_{other.hash_} {
    if (bucket_ != nullptr) {
        bucket_->refInc();
    }
}

HashMap2018IteratorGeneric&
HashMap2018IteratorGeneric::operator=(HashMap2018IteratorGeneric const& other) noexcept {
    HashMap2018IteratorGeneric copy{other};
    std::swap(map_, copy.map_);
    std::swap(vt_, copy.vt_);
    std::swap(bucket_, copy.bucket_);
    std::swap(position_, copy.position_);
    std::swap(hash_, copy.hash_);
    return *this;
}

HashMap2018IteratorGeneric::~HashMap2018IteratorGeneric() {
    letGo();
}

void HashMap2018IteratorGeneric::letGo() noexcept {
    if (bucket_ != nullptr) {
        vt_->bktHdrRefDec(std::exchange(bucket_, nullptr));
    }
}

void HashMap2018IteratorGeneric::take(Bucket* bucket, std::uint32_t index) noexcept {
    position_ = index + 1;
    hash_ = bucket->hash(index);
    if (bucket == bucket_) {
        return;
    }
    bucket->refInc();
    // Last, since a value that is let go may use the map.
    if (Bucket* const former = std::exchange(bucket_, bucket); former != nullptr) {
        vt_->bktHdrRefDec(former);
    }
}

// Whether node `left` of one bucket comes before node `right` of the same or another one.
bool HashMap2018IteratorGeneric::isBefore(std::uint32_t leftHash, void const* left,
                                          std::uint32_t rightHash, void const* right) const {
    if (leftHash != rightHash) {
        return leftHash < rightHash;
    }
    return vt_->compareOrLruUnlink(nullptr, left, right) == 1;
}

// The node of the bucket with the least hash from `least` on, by hash alone. `alike` tells that
// another one has the same hash.
HashMap2018IteratorGeneric::Least HashMap2018IteratorGeneric::leastFrom(Bucket const& bucket,
                                                                        std::uint32_t least) {
    // A hash's distance from `least` goes around for the hashes before it, which puts them last.
    std::uint32_t const count = bucket.inUse();
    std::uint32_t best = ~least;
    std::uint32_t index = Bucket::none;
    for (std::uint32_t i = 0; i != count; ++i) {
        std::uint32_t const distance = bucket.hash(i) - least;
        bool const better = distance <= best;
        index = better ? i : index;
        best = better ? distance : best;
    }
    std::uint32_t alike = 0;
    for (std::uint32_t i = 0; i != count; ++i) {
        alike += bucket.hash(i) - least == best;
    }
    return Least{index, alike > 1};
}

// The first node of the bucket behind the given one, by hash and then by key.
std::uint32_t HashMap2018IteratorGeneric::successor(Bucket& bucket, std::uint32_t hash,
                                                    void const* node) const {
    std::uint32_t best = Bucket::none;
    for (std::uint32_t i = 0; i != bucket.inUse(); ++i) {
        void const* const candidate = nodeAt(*vt_, bucket, i);
        if ((node == nullptr || isBefore(hash, node, bucket.hash(i), candidate)) &&
            (best == Bucket::none ||
             isBefore(bucket.hash(i), candidate, bucket.hash(best), nodeAt(*vt_, bucket, best)))) {
            best = i;
        }
    }
    return best;
}

void HashMap2018IteratorGeneric::takeFirstFrom(std::uint64_t hash) {
    while (hash <= 0xffffffffU) {
        auto const at = static_cast<std::uint32_t>(hash);
        Bucket& bucket = *map_->bucketOf(at);
        if (bucket.inUse() != 0) {
            Least const first = leastFrom(bucket, at);
            take(&bucket, first.alike ? successor(bucket, 0, nullptr) : first.index);
            return;
        }
        hash = std::uint64_t{map_->lastHashOfBucket(at)} + 1;
    }
    position_ = 0;
    letGo();
}

bool HashMap2018IteratorGeneric::standsInCurrentBucket() const noexcept {
    return map_->bucketOf(hash_) == bucket_;
}

void HashMap2018IteratorGeneric::advance() {
    Bucket& bucket = *map_->bucketOf(hash_);
    std::uint32_t index = Bucket::none;
    // Nearly always no other node has the hash of this one or of the next, and none has the last
    // hash there is. Otherwise keys decide.
    Least const here = leastFrom(bucket, hash_);
    bool const plain = !here.alike && here.index != Bucket::none && hash_ != 0xffffffffU &&
                       bucket.hash(here.index) == hash_ && &bucket == bucket_;
    Least const next = plain ? leastFrom(bucket, hash_ + 1) : Least{Bucket::none, true};
    index = plain && !next.alike ? next.index : successor(bucket, hash_, currNodeMaybeStale());
    if (index != Bucket::none) {
        take(&bucket, index);
    } else {
        takeFirstFrom(std::uint64_t{map_->lastHashOfBucket(hash_)} + 1);
    }
}

void* HashMap2018IteratorGeneric::currNodeMaybeStale() const noexcept {
    return bucket_ == nullptr ? nullptr : nodeAt(*vt_, *bucket_, position_ - 1);
}

void* HashMap2018IteratorGeneric::currNodeNonStale() const {
    void* const current = currNodeMaybeStale();
    if (current == nullptr || standsInCurrentBucket()) {
        return current;
    }
    Bucket& bucket = *map_->bucketOf(hash_);
    auto const index = bucket.find(hash_, [&](std::uint32_t i) {
        return vt_->compareOrLruUnlink(nullptr, current, nodeAt(*vt_, bucket, i)) == 0;
    });
    return index == Bucket::none ? nullptr : nodeAt(*vt_, bucket, index);
}

} // namespace Zet
