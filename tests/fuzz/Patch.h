#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

// An input that is a list of changes of a whole file, so that a fuzzer doesn't have to find out
// checksums to get anywhere. Each change has 11 bytes:
//
// OFFSET  SIZE  FIELD
//      0  1     what: 0 exclusive or, 1 copy of the word whose number is in `value`,
//               2 the file ends behind this word, else exclusive or of one bit (by `value`)
//      1  2     which 8-byte word of the file, modulo their number
//      3  8     value
namespace fuzz {

inline void patch(std::string& file, std::span<std::uint8_t const> changes) {
    constexpr std::size_t changeBytes = 11;
    for (; changes.size() >= changeBytes; changes = changes.subspan(changeBytes)) {
        std::size_t const words = file.size() / 8;
        if (words == 0) {
            return;
        }
        std::uint16_t number = 0;
        std::uint64_t value = 0;
        std::memcpy(&number, changes.data() + 1, sizeof number);
        std::memcpy(&value, changes.data() + 3, sizeof value);
        std::size_t const at = number % words * 8;
        std::uint64_t word = 0;
        std::memcpy(&word, file.data() + at, sizeof word);
        switch (changes[0]) {
        case 0:
            word ^= value;
            break;
        case 1:
            std::memcpy(&word, file.data() + static_cast<std::size_t>(value % words) * 8,
                        sizeof word);
            break;
        case 2:
            file.resize(at + static_cast<std::size_t>(value % 9));
            continue;
        default:
            word ^= std::uint64_t{1} << value % 64;
            break;
        }
        std::memcpy(file.data() + at, &word, sizeof word);
    }
}

} // namespace fuzz
