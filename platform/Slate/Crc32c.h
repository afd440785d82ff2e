#pragma once

#include <Ombra/Export.h>

#include <cstddef>
#include <cstdint>

// CRC32C (Castagnoli, polynomial 0x1EDC6F41 reflected; RFC 3720, appendix B.4) over whole 8-byte
// words, and copying and summing in one pass.
//
// The checksum is without the customary inversion before and after: `seed` is the register's value
// to start from, and the result is the register's value at the end, so that sums can be continued.
//
// Uses the processor's instruction where there is one, and tables otherwise; the result is the
// same. Blocks are summed in three lanes, since the instruction has a latency of three cycles and a
// throughput of one; the lanes are joined by a carry-less multiplication with a constant that
// depends on the length, so an object is made once per length.
namespace Slate {

class LOAM_EXPORT Crc32c {
  public:
    explicit Crc32c(std::size_t bytes);

    // A register value that has taken in three words; one call.
    std::uint32_t words3(std::uint32_t seed, std::uint64_t first, std::uint64_t second,
                         std::uint64_t third) const {
        return calls_->words3(seed, first, second, third);
    }

    // What precedes a block in its sum.
    struct Head {
        std::uint32_t seed;
        std::uint64_t first;
        std::uint64_t second;
        std::uint64_t third;
    };

    // Sum of the head and the block of words at `from`, which may be changing under another
    // process.
    std::uint32_t sum(Head const& head, std::uint64_t const* from) const {
        return calls_->sum(*this, head, from);
    }

    // Copies `bytes` bytes from private memory into words that others may be reading, the last word
    // filled up with zero bytes, and gives the sum of the head and the words.
    std::uint32_t copyOut(Head const& head, std::uint64_t* to, void const* from) const {
        return calls_->copyOut(*this, head, to, from);
    }

    // Copies `bytes` bytes of words that may be changing into private memory; sum as above.
    std::uint32_t copyIn(Head const& head, void* to, std::uint64_t const* from) const {
        return calls_->copyIn(*this, head, to, from);
    }

    // The same without the processor's instruction, for comparison.
    static Crc32c withTables(std::size_t bytes);
    bool usesInstruction() const;

    // Plain sum of any bytes, for what is read once.
    static std::uint32_t ofBytes(std::uint32_t seed, void const* from, std::size_t bytes);

    struct Calls {
        std::uint32_t (*words3)(std::uint32_t, std::uint64_t, std::uint64_t, std::uint64_t);
        std::uint32_t (*sum)(Crc32c const&, Head const&, std::uint64_t const*);
        std::uint32_t (*copyOut)(Crc32c const&, Head const&, std::uint64_t*, void const*);
        std::uint32_t (*copyIn)(Crc32c const&, Head const&, void*, std::uint64_t const*);
    };

    std::uint32_t fullWords() const { return fullWords_; }
    std::uint32_t tailBytes() const { return tailBytes_; }
    std::uint32_t laneWords() const { return laneWords_; }
    std::uint32_t shiftOneLane() const { return shiftOneLane_; }
    std::uint32_t shiftTwoLanes() const { return shiftTwoLanes_; }

  private:
    Crc32c(std::size_t bytes, Calls const* calls);

    Calls const* calls_;
    std::uint32_t fullWords_;
    std::uint32_t tailBytes_;         // of the last, partial word; 0 when there is none
    std::uint32_t laneWords_;         // 0: too short to be worth three lanes
    std::uint32_t shiftOneLane_ = 0;  // multipliers that move a sum over one and two lanes
    std::uint32_t shiftTwoLanes_ = 0; //
};

} // namespace Slate
