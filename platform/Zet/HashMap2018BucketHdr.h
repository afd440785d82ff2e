#pragma once

#include <Ombra/Export.h>
#include <Zet/HashMap2018VTable.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// One bucket of a hash collection: its nodes, in no order, with a tag and the hash of each.
//
//     ADDRESS                   SIZE                MEANING
//     header - 4 * capacity     4 * capacity        hashes, the first node's next to the header,
//                                                   then downwards
//     header                    4                   word: bits 0-3 free, bits 4-17 capacity,
//                                                   bits 18-31 nodes in use
//     header + 4                4                   bits 0-5 depth, bits 6-31 reference count
//     header + 8                14                  tags of the first 14 nodes, 0 for none
//     header + 22               1                   free
//     header + 23               1                   1 when more than 14 nodes are in use, else 0
//     header + 24               node size * capacity  nodes, the first one next to the header
//
// A tag is the low byte of a hash, or 1 where that is 0. A search compares all tags at once and
// then mostly the one node that it is after. In a bucket of the standard capacity it touches the
// line of the header and the line of the node, and no hash.
//
// `depth` is how many top bits the hashes of a bucket have in common by the directory's account;
// the bucket serves 2^(global depth - depth) words of the directory. The map holds one reference,
// each iterator that stands in the bucket one more. Who changes a bucket that has more than one
// reference makes a new one first; so a bucket never changes under an iterator, apart from values
// replaced in place.
namespace Zet {

class AllocTrackTypeInfo;

class LOAM_EXPORT HashMap2018BucketHdr {
  public:
    static constexpr std::uint32_t capacityShift = 4;
    static constexpr std::uint32_t useShift = 18;
    static constexpr std::uint32_t capacityLimit = (1U << (useShift - capacityShift)) - 1;

    static constexpr std::uint32_t standardCapacity = 14; // their tags fill a vector, less two
    static constexpr std::uint32_t maxCapacity = capacityLimit & ~1U; // even, so nodes are aligned

    constexpr HashMap2018BucketHdr(std::uint32_t capacity, std::uint32_t depth) noexcept
        : word_{capacity << capacityShift}, refsAndDepth_{oneRef | depth} {}

    std::uint32_t capacity() const noexcept { return word_ >> capacityShift & capacityLimit; }
    std::uint32_t inUse() const noexcept { return word_ >> useShift; }

    std::uint32_t depth() const noexcept { return refsAndDepth_ & depthMask; }
    void depthIs(std::uint32_t depth) noexcept {
        refsAndDepth_ = (refsAndDepth_ & ~depthMask) | depth;
    }

    std::uint32_t refs() const noexcept { return refsAndDepth_ >> depthBits; }
    bool held() const noexcept { return refs() > 1; }
    void refInc() noexcept;

    // Drops one reference and gives the number of those that are left.
    std::uint32_t bktHdrRefDecHelper() noexcept;

    std::uint32_t hash(std::uint32_t index) const noexcept {
        return (reinterpret_cast<std::uint32_t const*>(this) - 1)[-static_cast<int>(index)];
    }

    // One more node is in use, the one behind the last, and has this hash; or the last one less.
    void add(std::uint32_t hash) noexcept {
        hashIs(inUse(), hash);
        word_ += oneInUse;
    }
    void dropLast() noexcept {
        word_ -= oneInUse;
        if (inUse() < standardCapacity) [[likely]] {
            tags_[inUse()] = 0;
        } else {
            tags_[moreTag] = inUse() > standardCapacity;
        }
    }
    void hashIs(std::uint32_t index, std::uint32_t hash) noexcept {
        (reinterpret_cast<std::uint32_t*>(this) - 1)[-static_cast<int>(index)] = hash;
        if (index < standardCapacity) [[likely]] {
            tags_[index] = tagOf(hash);
        } else {
            tags_[moreTag] = 1;
        }
    }

    std::byte* nodes() noexcept { return reinterpret_cast<std::byte*>(this + 1); }
    std::byte const* nodes() const noexcept { return reinterpret_cast<std::byte const*>(this + 1); }

    // Where the allocation begins.
    void* allocation() noexcept { return reinterpret_cast<std::uint32_t*>(this) - capacity(); }

    static constexpr std::uint32_t none = ~std::uint32_t{0};

    // Index of the node with that hash for which `isEq(index)` holds; `none` without one. `isEq`
    // may be asked about a node of another hash.
    template <typename IsEq>
    std::uint32_t find(std::uint32_t hash, IsEq&& isEq) const {
        for (std::uint32_t same = sameTag(tagOf(hash)); same != 0; same &= same - 1) {
            auto const index = static_cast<std::uint32_t>(std::countr_zero(same));
            if (isEq(index)) [[likely]] {
                return index;
            }
        }
        if (tags_[moreTag] != 0) [[unlikely]] {
            return findBehindTags(hash, isEq);
        }
        return none;
    }

    static AllocTrackTypeInfo* bucketHeaderTracker_;

  private:
    static constexpr std::uint32_t depthBits = 6;
    static constexpr std::uint32_t depthMask = (1U << depthBits) - 1;
    static constexpr std::uint32_t oneRef = 1U << depthBits;
    static constexpr std::uint32_t oneInUse = 1U << useShift;

    static constexpr std::uint32_t moreTag = 15;
    static constexpr std::uint32_t nodeBits = (1U << standardCapacity) - 1;

    static std::uint8_t tagOf(std::uint32_t hash) noexcept {
        auto const low = static_cast<std::uint8_t>(hash);
        return static_cast<std::uint8_t>(low + (low == 0));
    }

    // A bit per node, the first one's lowest, set where the tag is `tag`.
    std::uint32_t sameTag(std::uint8_t tag) const noexcept {
#ifdef __SSE2__
        __m128i const wanted = _mm_set1_epi32(static_cast<int>(tag * 0x01010101U));
        __m128i const tags = _mm_loadu_si128(reinterpret_cast<__m128i const*>(tags_));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(tags, wanted))) &
               nodeBits;
#else
        std::uint32_t bits = 0;
        for (std::uint32_t i = 0; i != standardCapacity; ++i) {
            bits |= static_cast<std::uint32_t>(tags_[i] == tag) << i;
        }
        return bits;
#endif
    }

    template <typename IsEq>
    std::uint32_t findBehindTags(std::uint32_t wanted, IsEq&& isEq) const {
        for (std::uint32_t i = standardCapacity; i != inUse(); ++i) {
            if (hash(i) == wanted && isEq(i)) {
                return i;
            }
        }
        return none;
    }

    std::uint32_t word_;
    std::uint32_t refsAndDepth_;
    std::uint8_t tags_[16] = {};
};
static_assert(sizeof(HashMap2018BucketHdr) == 24);

} // namespace Zet
