#include <Slate/Crc32c.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <vector>

using Slate::Crc32c;

namespace {

std::vector<std::uint64_t> randomWords(std::size_t count) {
    std::mt19937_64 random{3};
    std::vector<std::uint64_t> result(count);
    for (auto& word : result) {
        word = random();
    }
    return result;
}

std::uint32_t crcOfHead(std::uint32_t seed) {
    std::array<std::uint64_t, 3> const head{1, 2, 3};
    return Crc32c::ofBytes(seed, head.data(), sizeof head);
}

} // namespace

// RFC 3720, B.4: 32 bytes of zeros, of ones, and counting up.
TEST(Crc32c, GivesThePublishedSums) {
    std::array<std::uint8_t, 32> zeros{};
    std::array<std::uint8_t, 32> ones;
    ones.fill(0xff);
    std::array<std::uint8_t, 32> counting;
    for (std::uint8_t index = 0; index < 32; ++index) {
        counting[index] = index;
    }
    EXPECT_EQ(~Crc32c::ofBytes(0xffffffff, zeros.data(), 32), 0x8a9136aaU);
    EXPECT_EQ(~Crc32c::ofBytes(0xffffffff, ones.data(), 32), 0x62a8ab43U);
    EXPECT_EQ(~Crc32c::ofBytes(0xffffffff, counting.data(), 32), 0x46dd794eU);
}

TEST(Crc32c, IsTheSameForEveryLengthWithAndWithoutTheInstruction) {
    auto const words = randomWords(64);
    for (std::size_t bytes = 1; bytes <= 512; ++bytes) {
        std::vector<std::uint64_t> padded(words.begin(), words.end());
        std::vector<std::uint64_t> block((bytes + 7) / 8);
        std::memcpy(block.data(), padded.data(), bytes);
        std::uint32_t const expected =
            Crc32c::ofBytes(crcOfHead(17), block.data(), block.size() * 8);
        EXPECT_EQ(Crc32c{bytes}.sum({17, 1, 2, 3}, block.data()), expected) << bytes;
        EXPECT_EQ(Crc32c::withTables(bytes).sum({17, 1, 2, 3}, block.data()), expected) << bytes;
    }
}

TEST(Crc32c, CopiesWhatItSums) {
    auto const words = randomWords(64);
    for (std::size_t bytes = 1; bytes <= 512; ++bytes) {
        for (Crc32c const& crc : {Crc32c{bytes}, Crc32c::withTables(bytes)}) {
            std::vector<std::uint64_t> shared(65, 0xeeeeeeeeeeeeeeee);
            std::vector<char> back(bytes + 1, 'x');
            std::uint32_t const out = crc.copyOut({5, 1, 2, 3}, shared.data(), words.data());
            EXPECT_EQ(out, crc.sum({5, 1, 2, 3}, shared.data()));
            EXPECT_EQ(out, crc.copyIn({5, 1, 2, 3}, back.data(), shared.data()));
            EXPECT_EQ(std::memcmp(back.data(), words.data(), bytes), 0);
            EXPECT_EQ(back[bytes], 'x');
            EXPECT_EQ(shared[(bytes + 7) / 8], 0xeeeeeeeeeeeeeeeeU);
        }
    }
}

TEST(Crc32c, SumsThreeWords) {
    EXPECT_EQ(Crc32c{24}.words3(9, 1, 2, 3), crcOfHead(9));
    EXPECT_EQ(Crc32c::withTables(24).words3(9, 1, 2, 3), crcOfHead(9));
}
