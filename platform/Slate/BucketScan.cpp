#include <Slate/BucketScan.h>
#include <Slate/Shared.h>

// SLATE_WORD_BY_WORD is defined in builds with the thread sanitizer, which knows no vector load
// whose words are each read as a whole, and would take it for a plain read.
#if defined(__x86_64__) && !defined(SLATE_WORD_BY_WORD)
#define SLATE_HAS_VECTORS
#include <immintrin.h>
#endif

namespace Slate {

namespace {

BucketView simpleView(Bucket const& bucket, std::uint32_t tag) {
    BucketView result{0, 0, 0};
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        std::uint64_t const word = loadAcquire(&bucket.entry[index]);
        result.sum ^= word;
        result.occupied |= static_cast<std::uint32_t>(word != 0) << index;
        result.matches |= static_cast<std::uint32_t>(entryTag(word) == tag) << index;
    }
    result.matches &= result.occupied;
    return result;
}

BucketTags simpleTags(Bucket const& bucket, std::uint64_t from) {
    BucketTags result{noTag, noTag, 0, 0, 0, 0};
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        std::uint64_t const word = loadAcquire(&bucket.entry[index]);
        std::uint32_t const bit = 1U << index;
        result.sum ^= word;
        result.occupied |= word != 0 ? bit : 0;
        std::uint64_t const tag = entryTag(word);
        if (word == 0 || tag < from) {
            continue;
        }
        if (tag < result.first) {
            result.second = result.first;
            result.secondAt = result.firstAt;
            result.first = tag;
            result.firstAt = bit;
        } else if (tag == result.first) {
            result.firstAt |= bit;
        } else if (tag < result.second) {
            result.second = tag;
            result.secondAt = bit;
        } else if (tag == result.second) {
            result.secondAt |= bit;
        }
    }
    return result;
}

constexpr BucketScan simpleScan{&simpleView, &simpleTags};

#ifdef SLATE_HAS_VECTORS
#define SLATE_AVX2 __attribute__((target("avx2")))

// The two halves of a bucket; the link in the second is taken for empty. Each 8-byte word of an
// aligned vector load is read as a whole; once, since another process may be changing it, so that
// what is concluded from it fits together.
struct Halves {
    __m256i part[2];
};

SLATE_AVX2 inline Halves load(Bucket const& bucket) {
    auto const* const from = reinterpret_cast<__m256i const volatile*>(bucket.entry);
    __m256i const noLink = _mm256_set_epi64x(0, -1, -1, -1);
    __m256i const first = from[0];
    __m256i const second = from[1];
    return {{first, _mm256_and_si256(second, noLink)}};
}

SLATE_AVX2 inline std::uint32_t bits(__m256i lanes) {
    return static_cast<std::uint32_t>(_mm256_movemask_pd(_mm256_castsi256_pd(lanes)));
}

SLATE_AVX2 inline std::uint64_t sumOf(Halves const& halves) {
    __m256i const half = _mm256_xor_si256(halves.part[0], halves.part[1]);
    __m128i const pair =
        _mm_xor_si128(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(pair)) ^
           static_cast<std::uint64_t>(_mm_extract_epi64(pair, 1));
}

SLATE_AVX2 inline std::uint32_t occupiedIn(Halves const& halves) {
    __m256i const zero = _mm256_setzero_si256();
    std::uint32_t empty = 0;
    for (int index = 0; index < 2; ++index) {
        empty |= bits(_mm256_cmpeq_epi64(halves.part[index], zero)) << (4 * index);
    }
    return ~empty & allOccupied;
}

SLATE_AVX2 BucketView fastView(Bucket const& bucket, std::uint32_t tag) {
    Halves const halves = load(bucket);
    __m256i const wanted = _mm256_set1_epi64x(static_cast<long long>(tag));
    std::uint32_t matches = 0;
    for (int index = 0; index < 2; ++index) {
        __m256i const tags = _mm256_srli_epi64(halves.part[index], 32);
        matches |= bits(_mm256_cmpeq_epi64(tags, wanted)) << (4 * index);
    }
    std::uint32_t const occupied = occupiedIn(halves);
    return {matches & occupied, occupied, sumOf(halves)};
}

// Smallest of the four signed lanes.
SLATE_AVX2 inline std::uint64_t smallest(__m256i lanes) {
    __m256i const swapped = _mm256_permute4x64_epi64(lanes, 0x4e);
    __m256i const pairs = _mm256_blendv_epi8(lanes, swapped, _mm256_cmpgt_epi64(lanes, swapped));
    __m256i const turned = _mm256_shuffle_epi32(pairs, 0x4e);
    __m256i const least = _mm256_blendv_epi8(pairs, turned, _mm256_cmpgt_epi64(pairs, turned));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm256_castsi256_si128(least)));
}

// Smallest of the tags that are at or above `from`, which are positive numbers in 64-bit lanes.
SLATE_AVX2 inline std::uint64_t smallestFrom(__m256i const (&tags)[2], std::uint64_t from) {
    __m256i const below = _mm256_set1_epi64x(static_cast<long long>(from) - 1);
    __m256i least = _mm256_set1_epi64x(static_cast<long long>(noTag));
    for (__m256i const& part : tags) {
        __m256i const counts =
            _mm256_and_si256(_mm256_cmpgt_epi64(part, below), _mm256_cmpgt_epi64(least, part));
        least = _mm256_blendv_epi8(least, part, counts);
    }
    return smallest(least);
}

SLATE_AVX2 inline std::uint32_t lanesWith(__m256i const (&tags)[2], std::uint64_t tag) {
    __m256i const wanted = _mm256_set1_epi64x(static_cast<long long>(tag));
    std::uint32_t result = 0;
    for (int index = 0; index < 2; ++index) {
        result |= bits(_mm256_cmpeq_epi64(tags[index], wanted)) << (4 * index);
    }
    return result;
}

SLATE_AVX2 BucketTags fastTags(Bucket const& bucket, std::uint64_t from) {
    Halves const halves = load(bucket);
    __m256i const zero = _mm256_setzero_si256();
    __m256i const none = _mm256_set1_epi64x(static_cast<long long>(noTag));
    __m256i tags[2];
    for (int index = 0; index < 2; ++index) {
        __m256i const word = halves.part[index];
        tags[index] =
            _mm256_blendv_epi8(_mm256_srli_epi64(word, 32), none, _mm256_cmpeq_epi64(word, zero));
    }
    std::uint32_t const occupied = occupiedIn(halves);
    std::uint64_t const first = smallestFrom(tags, from);
    std::uint64_t const second = smallestFrom(tags, first + 1);
    return {first,
            second,
            lanesWith(tags, first) & occupied,
            lanesWith(tags, second) & occupied,
            occupied,
            sumOf(halves)};
}

constexpr BucketScan fastScan{&fastView, &fastTags};
#endif

} // namespace

BucketScan const& BucketScan::simple() {
    return simpleScan;
}

BucketScan const& BucketScan::best() {
#ifdef SLATE_HAS_VECTORS
    static bool const has = __builtin_cpu_supports("avx2");
    return has ? fastScan : simpleScan;
#else
    return simpleScan;
#endif
}

} // namespace Slate
