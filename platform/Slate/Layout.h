#pragma once

#include <Slate/Words.h>

#include <cstddef>
#include <cstdint>

// What lies where in a store file. All numbers are in the byte order of the machine; the layout is
// the same in 32-bit and 64-bit processes.
//
//   OFFSET                SIZE                what
//   0                     512                 superblock, written once, with its own checksum
//   4096                  4096                control page
//   8192                  8 per extent        extent table, rounded up to 4096
//   directoryOffset       64 per bucket       primary buckets, then overflow buckets
//   slotOffset            slotStride per slot slots
//
// From directoryOffset on, memory is given to the file extent by extent before it is first touched.
namespace Slate {

inline constexpr std::uint64_t pageBytes = 4096;
inline constexpr char storeMagic[8] = {'L', 'O', 'A', 'M', 'S', 'L', 'A', 'T'};
inline constexpr std::uint32_t formatVersion = 1;
inline constexpr std::uint32_t endianMark = 0x01020304;

struct Superblock {
    char magic[8];                 //   0   8  storeMagic
    std::uint32_t formatVersion;   //   8   4
    std::uint32_t endianMark;      //  12   4
    std::uint32_t recordBytes;     //  16   4
    std::uint32_t keyBytes;        //  20   4  4 or 8
    std::uint32_t capacity;        //  24   4  records
    std::uint32_t order;           //  28   4  Slate::Order
    std::uint32_t slotCount;       //  32   4
    std::uint32_t slotStride;      //  36   4  bytes
    std::uint32_t bucketCount;     //  40   4  primary buckets, a power of two
    std::uint32_t overflowCount;   //  44   4  overflow buckets
    std::uint32_t extentBytes;     //  48   4  a power of two
    std::uint32_t extentCount;     //  52   4
    std::uint64_t directoryOffset; //  56   8
    std::uint64_t slotOffset;      //  64   8
    std::uint64_t fileBytes;       //  72   8  length of the file
    std::uint64_t layoutHash;      //  80   8  StoreSpec::layoutHash
    std::uint8_t uuid[16];         //  88  16  random
    char typeName[192];            // 104 192  ends with a zero byte
    char collectionName[64];       // 296  64  ends with a zero byte
    std::uint8_t reserved[148];    // 360 148  zero
    std::uint32_t checksum;        // 508   4  CRC32C of bytes 0 to 507
};
static_assert(sizeof(Superblock) == 512);
static_assert(offsetof(Superblock, recordBytes) == 16);
static_assert(offsetof(Superblock, slotCount) == 32);
static_assert(offsetof(Superblock, extentBytes) == 48);
static_assert(offsetof(Superblock, directoryOffset) == 56);
static_assert(offsetof(Superblock, layoutHash) == 80);
static_assert(offsetof(Superblock, uuid) == 88);
static_assert(offsetof(Superblock, typeName) == 104);
static_assert(offsetof(Superblock, collectionName) == 296);
static_assert(offsetof(Superblock, checksum) == 508);

// One of two copies of the scratchpad, written one after the other.
struct alignas(8) ScratchCell {
    std::uint64_t value; // 0 8
    std::uint64_t check; // 8 8  bits 63..32 sequence, 31..0 CRC32C of cell number, sequence, value
};
static_assert(sizeof(ScratchCell) == 16);

inline constexpr std::uint64_t controlOffset = 4096;

struct ControlPage {
    std::uint64_t wiped;         //   0  8  mark: the collection was made anew after a loss
    std::uint64_t repairing;     //   8  8  mark: a repair was begun and has not ended
    std::uint64_t writerPid;     //  16  8  process that last opened the file as writer, for people
    std::uint8_t gap0[40];       //  24 40  zero
    std::uint64_t journal;       //  64  8  journal word: the slots of the operation under way
    std::uint64_t sequenceLimit; //  72  8  state word: no sequence number at or above was used
    std::uint64_t memberCount;   //  80  8  count word; a hint for readers
    std::uint64_t shape;         //  88  8  counts moves of entry words within their chains
    std::uint8_t gap1[32];       //  96 32  zero
    ScratchCell scratch[2];      // 128 32
    std::uint8_t gap2[3936];     // 160     zero
};
static_assert(sizeof(ControlPage) == 4096);
static_assert(offsetof(ControlPage, journal) == 64);
static_assert(offsetof(ControlPage, shape) == 88);
static_assert(offsetof(ControlPage, scratch) == 128);

inline constexpr std::uint64_t extentTableOffset = 8192;

// A bucket is one cache line: 7 entry words and the link to the next bucket of its chain. The link
// is an entry word too: its tag is linkTag, its number the overflow bucket + 1.
inline constexpr std::uint32_t bucketEntries = 7;
inline constexpr std::uint32_t linkTag = 0x4c494e4b;

struct alignas(64) Bucket {
    std::uint64_t entry[bucketEntries]; //  0 56  tag of the key, slot + 1; 0 when empty
    std::uint64_t link;                 // 56  8  0 when the chain ends here
};
static_assert(sizeof(Bucket) == 64);
static_assert(offsetof(Bucket, link) == 56);

struct SlotHeader {
    std::uint64_t state;    //  0 8  state word
    std::uint64_t key;      //  8 8
    std::uint32_t checksum; // 16 4  CRC32C of state word (live), key, slot number, record
    std::uint32_t reserved; // 20 4  zero
};
static_assert(sizeof(SlotHeader) == 24);
static_assert(offsetof(SlotHeader, key) == 8);
static_assert(offsetof(SlotHeader, checksum) == 16);
// The record follows, padded with zero bytes to a multiple of 8.

} // namespace Slate
