#pragma once

#include <Ombra/Export.h>
#include <Slate/Layout.h>
#include <Slate/Shared.h>

#include <cstddef>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// One look at a whole bucket, without a branch that depends on where in it something is.
//
// A search that stops at the entry it looks for is mispredicted at nearly every call, and a
// mispredicted branch that hangs on a cache miss keeps the processor from working on the next
// search meanwhile. So all 7 words are always looked at, with vector instructions where there are
// some.
namespace Slate {

struct BucketView {
    std::uint32_t matches;  // bit i: entry i is not empty and has the tag
    std::uint32_t occupied; // bit i: entry i is not empty
    std::uint64_t sum;      // exclusive or of all entries
};

// The two entries that come first from a place in tag order.
struct BucketTags {
    std::uint64_t first;    // smallest tag at or above the one asked for, or noTag
    std::uint64_t second;   // smallest tag above `first`, or noTag
    std::uint32_t firstAt;  // bit i: entry i has the tag `first`
    std::uint32_t secondAt; // bit i: entry i has the tag `second`
    std::uint32_t occupied;
    std::uint64_t sum; // exclusive or of all entries
};

inline constexpr std::uint64_t noTag = std::uint64_t{1} << 32; // above every tag
inline constexpr std::uint32_t allOccupied = (1U << bucketEntries) - 1;

// The entries with that tag, as bits. Of tag 0, empty entries may be among them. Small enough to
// stand where it is used: what a look-up that finds its key has of a bucket.
inline std::uint32_t tagMatches(Bucket const& bucket, std::uint32_t tag) {
#if defined(__SSE2__) && !defined(SLATE_WORD_BY_WORD)
    // Tags are the upper halves of the words. Each word of an aligned load is read as a whole.
    auto const* const from = reinterpret_cast<float const*>(bucket.entry);
    auto const upper = [from](int word) {
        __m128 const first = _mm_load_ps(from + std::ptrdiff_t{2} * word);
        __m128 const second = _mm_load_ps(from + std::ptrdiff_t{2} * word + 4);
        return _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
    };
    __m128i const wanted = _mm_set1_epi32(static_cast<int>(tag));
    __m128i const both =
        _mm_packs_epi32(_mm_cmpeq_epi32(upper(0), wanted), _mm_cmpeq_epi32(upper(4), wanted));
    auto const bytes = _mm_movemask_epi8(_mm_packs_epi16(both, both));
    return static_cast<std::uint32_t>(bytes) & allOccupied;
#else
    std::uint32_t matches = 0;
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        matches |= static_cast<std::uint32_t>(entryTag(loadAcquire(&bucket.entry[index])) == tag)
                   << index;
    }
    return matches;
#endif
}

// What a bucket once was: its entries and its link.
struct alignas(16) BucketWords {
    std::uint64_t word[bucketEntries + 1] = {};
};

// Whether a bucket still is.
inline bool sameWords(Bucket const& bucket, BucketWords const& former) {
#if defined(__SSE2__) && !defined(SLATE_WORD_BY_WORD)
    auto const* const now = reinterpret_cast<__m128i const volatile*>(bucket.entry);
    auto const* const then = reinterpret_cast<__m128i const*>(former.word);
    auto const difference = [&](int pair) {
        __m128i const words = now[pair];
        return _mm_xor_si128(words, then[pair]);
    };
    __m128i const any = _mm_or_si128(_mm_or_si128(difference(0), difference(1)),
                                     _mm_or_si128(difference(2), difference(3)));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(any, _mm_setzero_si128())) == 0xffff;
#else
    std::uint64_t difference = loadAcquire(&bucket.link) ^ former.word[bucketEntries];
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        difference |= loadAcquire(&bucket.entry[index]) ^ former.word[index];
    }
    return difference == 0;
#endif
}

// Whether all entries of a bucket that is not changing are whole words of the chain: the sum of the
// words has the salt of the owner once for each.
inline bool sumWhole(std::uint64_t sum, std::uint32_t occupied, std::uint32_t owner) {
    std::uint64_t const expected = __builtin_parity(occupied) != 0 ? ownerSalt(owner) : 0;
    return entryFold(sum) == expected;
}

struct LOAM_EXPORT BucketScan {
    BucketView (*view)(Bucket const& bucket, std::uint32_t tag);

    // `from` is at most noTag, for which nothing is found.
    BucketTags (*tags)(Bucket const& bucket, std::uint64_t from);

    static BucketScan const& best();   // what this processor does fastest
    static BucketScan const& simple(); // without special instructions
};

} // namespace Slate
