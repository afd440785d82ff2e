#include <Slate/Crc32c.h>
#include <Slate/Shared.h>

#include <array>
#include <cstring>
#include <utility>

#if defined(__x86_64__)
#define SLATE_HAS_CRC_INSTRUCTION 1
#include <immintrin.h>
#endif

namespace Slate {

namespace {

constexpr std::uint32_t polynomial = 0x82f63b78; // reflected

constexpr std::uint32_t timesX(std::uint32_t value) {
    return (value >> 1) ^ ((value & 1) != 0 ? polynomial : 0);
}

// Eight tables: entry [k][b] is the sum of byte b followed by k zero bytes.
using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Tables makeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = timesX(sum);
        }
        tables[0][byte] = sum;
    }
    for (std::size_t zeros = 1; zeros < 8; ++zeros) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            std::uint32_t const before = tables[zeros - 1][byte];
            tables[zeros][byte] = (before >> 8) ^ tables[0][before & 0xff];
        }
    }
    return tables;
}

constexpr Tables tables = makeTables();

std::uint32_t tableWord(std::uint32_t seed, std::uint64_t value) {
    value ^= seed;
    std::uint32_t sum = 0;
    for (std::size_t byte = 0; byte < 8; ++byte) {
        sum ^= tables[7 - byte][(value >> (8 * byte)) & 0xff];
    }
    return sum;
}

std::uint32_t tableWords3(std::uint32_t seed, std::uint64_t first, std::uint64_t second,
                          std::uint64_t third) {
    return tableWord(tableWord(tableWord(seed, first), second), third);
}

std::uint32_t tableHead(Crc32c::Head const& head) {
    return tableWords3(head.seed, head.first, head.second, head.third);
}

std::uint64_t privateWord(void const* from, std::size_t index) {
    std::uint64_t value;
    std::memcpy(&value, static_cast<char const*>(from) + index * 8, 8);
    return value;
}

// Half a word is what most records end with.
std::uint64_t privateTail(Crc32c const& plan, void const* from) {
    auto const* const tail = static_cast<char const*>(from) + std::size_t{plan.fullWords()} * 8;
    std::uint64_t value = 0;
    if (plan.tailBytes() == 4) {
        std::memcpy(&value, tail, 4);
    } else {
        std::memcpy(&value, tail, plan.tailBytes());
    }
    return value;
}

void privateWordIs(void* to, std::size_t index, std::uint64_t value) {
    std::memcpy(static_cast<char*>(to) + index * 8, &value, 8);
}

void privateTailIs(Crc32c const& plan, void* to, std::uint64_t value) {
    auto* const tail = static_cast<char*>(to) + std::size_t{plan.fullWords()} * 8;
    if (plan.tailBytes() == 4) {
        std::memcpy(tail, &value, 4);
    } else {
        std::memcpy(tail, &value, plan.tailBytes());
    }
}

std::uint32_t tableSum(Crc32c const& plan, Crc32c::Head const& head, std::uint64_t const* from) {
    std::uint32_t seed = tableHead(head);
    std::uint32_t const words = plan.fullWords() + (plan.tailBytes() != 0 ? 1 : 0);
    for (std::uint32_t index = 0; index < words; ++index) {
        seed = tableWord(seed, loadRelaxed(from + index));
    }
    return seed;
}

std::uint32_t tableCopyOut(Crc32c const& plan, Crc32c::Head const& head, std::uint64_t* to,
                           void const* from) {
    std::uint32_t seed = tableHead(head);
    for (std::uint32_t index = 0; index < plan.fullWords(); ++index) {
        std::uint64_t const value = privateWord(from, index);
        storeRelaxed(to + index, value);
        seed = tableWord(seed, value);
    }
    if (plan.tailBytes() != 0) {
        std::uint64_t const value = privateTail(plan, from);
        storeRelaxed(to + plan.fullWords(), value);
        seed = tableWord(seed, value);
    }
    return seed;
}

std::uint32_t tableCopyIn(Crc32c const& plan, Crc32c::Head const& head, void* to,
                          std::uint64_t const* from) {
    std::uint32_t seed = tableHead(head);
    for (std::uint32_t index = 0; index < plan.fullWords(); ++index) {
        std::uint64_t const value = loadRelaxed(from + index);
        privateWordIs(to, index, value);
        seed = tableWord(seed, value);
    }
    if (plan.tailBytes() != 0) {
        std::uint64_t const value = loadRelaxed(from + plan.fullWords());
        privateTailIs(plan, to, value);
        seed = tableWord(seed, value);
    }
    return seed;
}

constexpr Crc32c::Calls tableCalls{&tableWords3, &tableSum, &tableCopyOut, &tableCopyIn};

// Below this many words, joining the lanes costs more than they save.
constexpr std::size_t laneThresholdWords = 12;

constexpr std::size_t laneOf(std::size_t words) {
    return words >= laneThresholdWords ? words / 3 : 0;
}

#ifdef SLATE_HAS_CRC_INSTRUCTION
#define SLATE_CRC_TARGET __attribute__((target("sse4.2,pclmul")))
#define SLATE_INLINE inline __attribute__((always_inline))
#if defined(__clang__)
#define SLATE_UNROLL // does it by itself where the number is known
#else
#define SLATE_UNROLL _Pragma("GCC unroll 16")
#endif

// A sum has 32 bits, and the instruction clears what is above: kept in 64, it needs no cutting.
SLATE_CRC_TARGET inline std::uint64_t step(std::uint64_t seed, std::uint64_t value) {
    return _mm_crc32_u64(seed, value);
}

// Moves a sum over the length that `multiplier` stands for.
SLATE_CRC_TARGET inline std::uint64_t shifted(std::uint64_t sum, std::uint32_t multiplier) {
    __m128i const product =
        _mm_clmulepi64_si128(_mm_cvtsi32_si128(static_cast<int>(sum)),
                             _mm_cvtsi32_si128(static_cast<int>(multiplier)), 0);
    return step(0, static_cast<std::uint64_t>(_mm_cvtsi128_si64(product)));
}

SLATE_CRC_TARGET inline std::uint64_t join(Crc32c const& plan, std::uint64_t first,
                                           std::uint64_t second, std::uint64_t third) {
    return shifted(first, plan.shiftTwoLanes()) ^ shifted(second, plan.shiftOneLane()) ^ third;
}

SLATE_CRC_TARGET std::uint32_t fastWords3(std::uint32_t seed, std::uint64_t first,
                                          std::uint64_t second, std::uint64_t third) {
    return static_cast<std::uint32_t>(step(step(step(seed, first), second), third));
}

// How many words a plan has: a number that the compiler knows, and unrolls, or what the plan says.
template <std::size_t count>
struct KnownWords {
    static constexpr std::size_t all(Crc32c const&) { return count; }
    static constexpr std::size_t lane(Crc32c const&) { return laneOf(count); }
};

struct AnyWords {
    static std::size_t all(Crc32c const& plan) { return plan.fullWords(); }
    static std::size_t lane(Crc32c const& plan) { return plan.laneWords(); }
};

// The functions below differ in where a word comes from and where it goes to; `visit(index)` does
// that and gives the word, `visit.from(index)` does it for the words from there on.
template <typename Words, typename Visit>
SLATE_CRC_TARGET SLATE_INLINE std::uint64_t fastBlock(Crc32c const& plan, Crc32c::Head const& head,
                                                      Visit const& visit) {
    std::uint64_t seed = step(step(step(head.seed, head.first), head.second), head.third);
    std::size_t const lane = Words::lane(plan);
    std::size_t index = 0;
    if (lane != 0) {
        Visit const visitSecond = visit.from(lane);
        Visit const visitThird = visit.from(2 * lane);
        std::uint64_t second = 0;
        std::uint64_t third = 0;
        SLATE_UNROLL
        for (; index < lane; ++index) {
            seed = step(seed, visit(index));
            second = step(second, visitSecond(index));
            third = step(third, visitThird(index));
        }
        seed = join(plan, seed, second, third);
        index = 3 * lane;
    }
    std::size_t const words = Words::all(plan);
    SLATE_UNROLL
    for (; index < words; ++index) {
        seed = step(seed, visit(index));
    }
    return seed;
}

struct VisitShared {
    std::uint64_t const* source;

    VisitShared from(std::size_t index) const { return {source + index}; }
    SLATE_CRC_TARGET std::uint64_t operator()(std::size_t index) const {
        return loadRelaxed(source + index);
    }
};

struct VisitOut {
    std::uint64_t* target;
    char const* source;

    VisitOut from(std::size_t index) const { return {target + index, source + 8 * index}; }
    SLATE_CRC_TARGET std::uint64_t operator()(std::size_t index) const {
        std::uint64_t const value = privateWord(source, index);
        storeRelaxed(target + index, value);
        return value;
    }
};

struct VisitIn {
    char* target;
    std::uint64_t const* source;

    VisitIn from(std::size_t index) const { return {target + 8 * index, source + index}; }
    SLATE_CRC_TARGET std::uint64_t operator()(std::size_t index) const {
        std::uint64_t const value = loadRelaxed(source + index);
        privateWordIs(target, index, value);
        return value;
    }
};

template <typename Words>
SLATE_CRC_TARGET std::uint32_t fastSum(Crc32c const& plan, Crc32c::Head const& head,
                                       std::uint64_t const* from) {
    std::uint64_t const seed = fastBlock<Words>(plan, head, VisitShared{from});
    return static_cast<std::uint32_t>(
        plan.tailBytes() != 0 ? step(seed, loadRelaxed(from + plan.fullWords())) : seed);
}

template <typename Words>
SLATE_CRC_TARGET std::uint32_t fastCopyOut(Crc32c const& plan, Crc32c::Head const& head,
                                           std::uint64_t* to, void const* from) {
    std::uint64_t seed = fastBlock<Words>(plan, head, VisitOut{to, static_cast<char const*>(from)});
    if (plan.tailBytes() != 0) {
        std::uint64_t const value = privateTail(plan, from);
        storeRelaxed(to + plan.fullWords(), value);
        seed = step(seed, value);
    }
    return static_cast<std::uint32_t>(seed);
}

template <typename Words>
SLATE_CRC_TARGET std::uint32_t fastCopyIn(Crc32c const& plan, Crc32c::Head const& head, void* to,
                                          std::uint64_t const* from) {
    std::uint64_t seed = fastBlock<Words>(plan, head, VisitIn{static_cast<char*>(to), from});
    if (plan.tailBytes() != 0) {
        std::uint64_t const value = loadRelaxed(from + plan.fullWords());
        privateTailIs(plan, to, value);
        seed = step(seed, value);
    }
    return static_cast<std::uint32_t>(seed);
}

template <typename Words>
constexpr Crc32c::Calls fastCalls{&fastWords3, &fastSum<Words>, &fastCopyOut<Words>,
                                  &fastCopyIn<Words>};

// By the number of words, as far as the records of the tables go.
constexpr std::size_t knownLengths = 24;

template <std::size_t... counts>
constexpr std::array<Crc32c::Calls, sizeof...(counts)> fastCallsOf(std::index_sequence<counts...>) {
    return {fastCalls<KnownWords<counts>>...};
}

constexpr auto fastCallsByWords = fastCallsOf(std::make_index_sequence<knownLengths>{});

Crc32c::Calls const* bestCalls(std::size_t words) {
    static bool const has = __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("pclmul");
    if (!has) {
        return &tableCalls;
    }
    return words < knownLengths ? &fastCallsByWords[words] : &fastCalls<AnyWords>;
}
#else
Crc32c::Calls const* bestCalls(std::size_t) {
    return &tableCalls;
}
#endif

// Moving a sum over n bytes is a multiplication by x^(8n) modulo the polynomial. The product of two
// reflected 32-bit values comes out one place too low, and reducing it by the instruction
// multiplies by x^32 more: 33 places are taken off the exponent.
std::uint32_t multiplierFor(std::size_t words) {
    std::uint32_t value = 0x80000000; // x^0
    for (std::size_t exponent = words * 64 - 33; exponent > 0; --exponent) {
        value = timesX(value);
    }
    return value;
}

} // namespace

Crc32c::Crc32c(std::size_t bytes) : Crc32c{bytes, bestCalls(bytes / 8)} {}

Crc32c::Crc32c(std::size_t bytes, Calls const* calls)
    : calls_{calls}, fullWords_{static_cast<std::uint32_t>(bytes / 8)},
      tailBytes_{static_cast<std::uint32_t>(bytes % 8)}, laneWords_{static_cast<std::uint32_t>(
                                                             laneOf(bytes / 8))} {
    if (laneWords_ != 0) {
        shiftOneLane_ = multiplierFor(laneWords_);
        shiftTwoLanes_ = multiplierFor(std::size_t{2} * laneWords_);
    }
}

Crc32c Crc32c::withTables(std::size_t bytes) {
    return Crc32c{bytes, &tableCalls};
}

bool Crc32c::usesInstruction() const {
    return calls_ != &tableCalls;
}

std::uint32_t Crc32c::ofBytes(std::uint32_t seed, void const* from, std::size_t bytes) {
    auto const* next = static_cast<unsigned char const*>(from);
    for (; bytes > 0; --bytes) {
        seed = (seed >> 8) ^ tables[0][(seed ^ *next++) & 0xff];
    }
    return seed;
}

} // namespace Slate
