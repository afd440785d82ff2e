#pragma once

#include <cstddef>
#include <cstdint>

// What a ring file looks like; docs/ring-format.md tells the same with the reasons.
//
//     0            superblock, one page: what never changes, then two counters
//     4096         description area: one description per kind of message, appended only
//     + 65536      ring: blocks of 4096 bytes, reused in turn
//
// Numbers are in the byte order of the machine that writes, which the superblock names. The layout
// is the same in 32-bit and 64-bit processes: every 64-bit field lies on a multiple of 8.
//
// Nothing in the file is trusted by a reader. Whatever can be seen half written carries a check
// word that is stored last, and that is never 0.
namespace RingScribe::Layout {

inline constexpr char magic[8] = {'L', 'o', 'a', 'm', 'R', 'i', 'n', 'g'};
inline constexpr std::uint32_t version = 1;
inline constexpr std::uint32_t byteOrderMark = 0x01020304;

inline constexpr std::uint32_t superblockBytes = 4096;
inline constexpr std::uint32_t descriptionAreaBytes = 65536;
inline constexpr std::uint32_t blockBytes = 4096;
inline constexpr std::uint32_t minBlockCount = 4;
inline constexpr std::uint32_t maxBlockCount = 1U << 18; // 1 GiB of ring

inline constexpr std::size_t maxArgBytes = 64;
inline constexpr int maxMsgId = 65535;

// | OFFSET | SIZE | superblock                                                      |
// |--------|------|-----------------------------------------------------------------|
// | 0      | 8    | magic "LoamRing"                                                |
// | 8      | 4    | format version                                                  |
// | 12     | 4    | byte order mark 0x01020304                                      |
// | 16     | 4    | bytes of the superblock                                         |
// | 20     | 4    | bytes of the description area                                   |
// | 24     | 4    | bytes of a block                                                |
// | 28     | 4    | blocks                                                          |
// | 32     | 8    | bytes of the file                                               |
// | 40     | 8    | monotonic clock at creation, ns                                 |
// | 48     | 8    | wall clock less monotonic clock at creation, ns                 |
// | 56     | 4    | process id of the writer                                        |
// | 60     | 4    | CRC32C of bytes 0 to 59, stored last                            |
// | 64     | 4    | bytes of the description area that are whole                    |
// | 68     | 4    | messages that found no room in the description area             |
struct Superblock {
    char magic[8];
    std::uint32_t version;
    std::uint32_t byteOrder;
    std::uint32_t superblockBytes;
    std::uint32_t descriptionAreaBytes;
    std::uint32_t blockBytes;
    std::uint32_t blockCount;
    alignas(8) std::uint64_t fileBytes;
    alignas(8) std::int64_t startMonotonicNs;
    alignas(8) std::int64_t startWallOffsetNs;
    std::uint32_t pid;
    std::uint32_t crc;
    std::uint32_t descriptionUsedBytes;
    std::uint32_t descriptionsLost;
};
static_assert(offsetof(Superblock, version) == 8);
static_assert(offsetof(Superblock, byteOrder) == 12);
static_assert(offsetof(Superblock, superblockBytes) == 16);
static_assert(offsetof(Superblock, descriptionAreaBytes) == 20);
static_assert(offsetof(Superblock, blockBytes) == 24);
static_assert(offsetof(Superblock, blockCount) == 28);
static_assert(offsetof(Superblock, fileBytes) == 32);
static_assert(offsetof(Superblock, startMonotonicNs) == 40);
static_assert(offsetof(Superblock, startWallOffsetNs) == 48);
static_assert(offsetof(Superblock, pid) == 56);
static_assert(offsetof(Superblock, crc) == 60);
static_assert(offsetof(Superblock, descriptionUsedBytes) == 64);
static_assert(offsetof(Superblock, descriptionsLost) == 68);
static_assert(sizeof(Superblock) == 72);

// | OFFSET | SIZE | description                                                     |
// |--------|------|-----------------------------------------------------------------|
// | 0      | 4    | bytes of the whole description, a multiple of 8                 |
// | 4      | 4    | CRC32C of bytes 8 to the end                                    |
// | 8      | 4    | message number                                                  |
// | 12     | 4    | source line                                                     |
// | 16     | n    | file, class, function, text, format; each ends with a zero byte |
struct DescriptionHeader {
    std::uint32_t sizeBytes;
    std::uint32_t crc;
    std::uint32_t msgId;
    std::uint32_t line;
};
static_assert(sizeof(DescriptionHeader) == 16);

// | OFFSET | SIZE | block                                                           |
// |--------|------|-----------------------------------------------------------------|
// | 0      | 4    | check word, 0 while the block is being taken over; stored last  |
// | 4      | 4    | place of the block in the ring                                  |
// | 8      | 8    | number of the block in the stream of blocks, from 1             |
// | 16     | 8    | sequence of its first message                                   |
// | 24     | 8    | wall clock less monotonic clock when the block was begun, ns    |
// | 32     | n    | messages, to the end or to the first that does not check        |
struct BlockHeader {
    std::uint32_t check;
    std::uint32_t place;
    alignas(8) std::uint64_t number;
    alignas(8) std::uint64_t firstSequence;
    alignas(8) std::int64_t wallOffsetNs;
};
static_assert(offsetof(BlockHeader, place) == 4);
static_assert(offsetof(BlockHeader, number) == 8);
static_assert(offsetof(BlockHeader, firstSequence) == 16);
static_assert(offsetof(BlockHeader, wallOffsetNs) == 24);
static_assert(sizeof(BlockHeader) == 32);

// | OFFSET | SIZE | message                                                         |
// |--------|------|-----------------------------------------------------------------|
// | 0      | 4    | check word, 0 while the message is being written; stored last   |
// | 4      | 2    | bytes of arguments, at most 64                                  |
// | 6      | 2    | message number                                                  |
// | 8      | 8    | sequence, from 1, without gaps within a block                   |
// | 16     | 8    | monotonic clock, ns                                             |
// | 24     | n    | arguments in native width, packed; anything to a multiple of 8  |
struct MsgHeader {
    std::uint32_t check;
    std::uint16_t argBytes;
    std::uint16_t msgId;
    alignas(8) std::uint64_t sequence;
    alignas(8) std::int64_t monotonicNs;
};
static_assert(offsetof(MsgHeader, argBytes) == 4);
static_assert(offsetof(MsgHeader, msgId) == 6);
static_assert(offsetof(MsgHeader, sequence) == 8);
static_assert(offsetof(MsgHeader, monotonicNs) == 16);
static_assert(sizeof(MsgHeader) == 24);

constexpr std::size_t roundUp8(std::size_t bytes) noexcept {
    return (bytes + 7) & ~std::size_t{7};
}

inline constexpr std::size_t maxMsgBytes = sizeof(MsgHeader) + maxArgBytes;

} // namespace RingScribe::Layout
