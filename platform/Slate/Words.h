#pragma once

#include <bit>
#include <cstdint>

// The 64-bit words that stand alone in a store file, and how each shows that it is whole.
//
// A word that is read without a checksum around it carries a fold of its own bits, so that no flip
// of a single bit turns it into another valid word. (Larger damage slips through a fold of 10 or 11
// bits once in one or two thousand times; what the word leads to is checked by CRC32C as well.)
//
//   Entry word      bits 63..32 tag | 31..11 number, never 0 | 10..0 fold of the rest, and the salt
//   State word      bits 63..12 sequence | 11..10 state      | 9..0 fold of the rest
//   Journal word    bits 63..42 exclusive or of the others and a constant | 41..21 released slot +
//   1 |
//                   20..0 taken slot + 1; 0 for none
//   Count word      bits 63..32 complement | 31..0 count
//   Mark            one of two words that differ in every bit; read as the nearer one
//
// The salt of an entry word stands for its owner, the primary bucket of its chain: a word that is
// copied to another chain does not fit there.
namespace Slate {

// Bit i of the result is the parity of the bits of `value` whose place is i modulo 11 (or 10).
constexpr std::uint64_t fold11(std::uint64_t value) {
    value ^= value >> 44;
    value ^= value >> 22;
    value ^= value >> 11;
    return value & 0x7ff;
}

constexpr std::uint64_t fold10(std::uint64_t value) {
    value ^= value >> 40;
    value ^= value >> 20;
    value ^= value >> 10;
    return value & 0x3ff;
}

// Of even weight, so that an empty cell with one bit set is a whole word of no owner.
constexpr std::uint64_t ownerSalt(std::uint32_t owner) {
    std::uint32_t const low = (owner ^ (owner >> 10) ^ (owner >> 20)) & 0x3ff;
    std::uint32_t const parityOfFive = 0x96696996; // bit i: parity of i
    return low | (((parityOfFive >> ((low ^ (low >> 5)) & 31)) & 1) << 10);
}

inline constexpr std::uint32_t entryNumberMax = (1U << 21) - 1;

constexpr std::uint64_t packEntry(std::uint32_t tag, std::uint32_t number, std::uint32_t owner) {
    std::uint64_t const body = (std::uint64_t{tag} << 21) | number;
    return (body << 11) | (fold11(body) ^ ownerSalt(owner));
}

constexpr std::uint32_t entryTag(std::uint64_t word) {
    return static_cast<std::uint32_t>(word >> 32);
}

constexpr std::uint32_t entryNumber(std::uint64_t word) {
    return static_cast<std::uint32_t>(word >> 11) & entryNumberMax;
}

// For a whole entry word, the salt of its owner. Linear: the fold of the exclusive or of several
// words is the exclusive or of their folds, so that one look checks a whole bucket.
constexpr std::uint64_t entryFold(std::uint64_t word) {
    return fold11(word >> 11) ^ (word & 0x7ff);
}

constexpr bool entryWhole(std::uint64_t word, std::uint32_t owner) {
    return entryFold(word) == ownerSalt(owner) && entryNumber(word) != 0;
}

enum class SlotState : std::uint32_t {
    never = 0,   // all zero: a fresh page
    writing = 1, // being filled; no entry refers to it
    live = 2,
    retired = 3, // was live; no entry refers to it any more
};

inline constexpr std::uint64_t sequenceMask = (std::uint64_t{1} << 52) - 1;

constexpr std::uint64_t packState(SlotState state, std::uint64_t sequence) {
    std::uint64_t const body = ((sequence & sequenceMask) << 2) | static_cast<std::uint64_t>(state);
    return (body << 10) | fold10(body);
}

// The same sequence in another state. The state's bits stand in the fold as they are.
constexpr std::uint64_t withState(std::uint64_t word, SlotState from, SlotState to) {
    std::uint64_t const change = static_cast<std::uint64_t>(from) ^ static_cast<std::uint64_t>(to);
    return word ^ (change << 10) ^ change;
}

constexpr SlotState stateOf(std::uint64_t word) {
    return static_cast<SlotState>((word >> 10) & 3);
}

constexpr std::uint64_t sequenceOf(std::uint64_t word) {
    return word >> 12;
}

constexpr bool stateWhole(std::uint64_t word) {
    return fold10(word >> 10) == (word & 0x3ff);
}

constexpr std::uint64_t packJournal(std::uint64_t taken, std::uint64_t released) {
    return taken | (released << 21) | ((taken ^ released ^ 0x2a'5a5a) << 42);
}

constexpr std::uint32_t journalTaken(std::uint64_t word) {
    return static_cast<std::uint32_t>(word) & entryNumberMax;
}

constexpr std::uint32_t journalReleased(std::uint64_t word) {
    return static_cast<std::uint32_t>(word >> 21) & entryNumberMax;
}

constexpr bool journalWhole(std::uint64_t word) {
    return packJournal(journalTaken(word), journalReleased(word)) == word;
}

constexpr std::uint64_t packCount(std::uint32_t count) {
    return (std::uint64_t{~count} << 32) | count;
}

constexpr bool countWhole(std::uint64_t word) {
    return packCount(static_cast<std::uint32_t>(word)) == word;
}

inline constexpr std::uint64_t markOff = 0x5a3c'96e1'0f78'b4d2;
inline constexpr std::uint64_t markOn = ~markOff;

constexpr bool markIsOn(std::uint64_t word) {
    return std::popcount(word ^ markOn) < 32;
}

// What the extent table holds for an extent that has its memory; 0 for one that has none yet.
constexpr std::uint64_t extentWord(std::uint32_t extent) {
    return 0xc3d2'e1f0'0000'0000 | (0xffff'ffff ^ extent);
}

} // namespace Slate
