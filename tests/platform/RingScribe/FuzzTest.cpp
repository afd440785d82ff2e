#include "RingFixture.h"

#include <RingScribe/Checksum.h>

#include <cstring>
#include <map>
#include <random>
#include <span>

namespace RingScribe {

namespace {

class RingFuzz : public RingFixture {
  protected:
    RingFuzz() {
        open(path(), smallBytes);
        int first = 0;
        int second = 0;
        for (std::uint32_t i = 0; i < 700; ++i) {
            write(first, "a.cpp", 1, "A", "f", "first {} {}", i, std::uint16_t{7});
            write(second, "b.cpp", 2, "B", "g", "second {}", std::uint64_t{i} << 33);
        }
        close();
        image = bytesOf(path());
        for (auto const& seen : messagesOf(path())) {
            truth[seen.sequence] = seen.text;
        }
    }

    struct Counts {
        int refused = 0;
        int given = 0;
    };

    // Every message that is given is one that was written. A text may be missing, never another.
    void read(std::string const& bytes, Counts& counts) {
        bytesAre(path(), bytes);
        try {
            Reader reader{path()};
            reader.forEach([&](Reader::Msg const& msg) {
                auto const known = truth.find(msg.sequence);
                ASSERT_NE(known, truth.end());
                if (msg.description != nullptr) {
                    EXPECT_EQ(msg.text(), known->second);
                } else {
                    EXPECT_FALSE(msg.text().empty());
                }
                ++counts.given;
            });
        } catch (FileException const&) {
            ++counts.refused;
        }
    }

    void crcIs(std::string& bytes) {
        auto const crc = crc32c(std::as_bytes(std::span{bytes}).first(60));
        std::memcpy(bytes.data() + 60, &crc, sizeof crc);
    }

    std::string image;
    std::map<std::uint64_t, std::string> truth;
};

} // namespace

TEST_F(RingFuzz, FlippedBitsNeverShowAMessageThatWasNotWritten) {
    std::mt19937_64 random{1};
    Counts counts;
    for (int round = 0; round < 600; ++round) {
        auto bytes = image;
        // The description area is mostly empty: aim at the parts that say something.
        for (auto flips = 1 + random() % 40; flips > 0; --flips) {
            auto const where = random() % 3;
            auto const at =
                static_cast<std::size_t>(where == 0   ? random() % 80
                                         : where == 1 ? 4096 + random() % 256
                                                      : 69632 + random() % (bytes.size() - 69632));
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8));
        }
        read(bytes, counts);
    }
    EXPECT_GT(counts.refused, 0);
    EXPECT_GT(counts.given, 0);
}

TEST_F(RingFuzz, FlippedBitsBehindTheSuperblockLeaveTheRestReadable) {
    std::mt19937_64 random{2};
    for (int round = 0; round < 200; ++round) {
        auto bytes = image;
        auto const at = static_cast<std::size_t>(69632 + random() % (bytes.size() - 69632));
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8));
        Counts counts;
        read(bytes, counts);
        EXPECT_EQ(counts.refused, 0);
        EXPECT_GT(counts.given, 0);
    }
}

TEST_F(RingFuzz, RandomBytesBehindAValidSuperblockShowNothing) {
    std::mt19937_64 random{3};
    Counts counts;
    for (int round = 0; round < 50; ++round) {
        auto bytes = image;
        for (std::size_t at = 64; at < bytes.size(); ++at) {
            bytes[at] = static_cast<char>(random());
        }
        read(bytes, counts);
    }
    EXPECT_EQ(counts.refused, 0);
    EXPECT_EQ(counts.given, 0);
}

TEST_F(RingFuzz, AFileOfAnyLengthIsReadOrRefused) {
    std::mt19937_64 random{4};
    Counts counts;
    for (int round = 0; round < 100; ++round) {
        read(image.substr(0, static_cast<std::size_t>(random() % image.size())), counts);
    }
    EXPECT_EQ(counts.refused, 100);
}

TEST_F(RingFuzz, SizesThatDontFitTogetherAreRefusedThoughTheChecksumHolds) {
    for (std::size_t const field : {16U, 20U, 24U, 28U, 32U}) {
        for (std::uint32_t const value : {0U, 1U, 5U, 4097U, 0x7fffffffU, 0xffffffffU}) {
            auto bytes = image;
            std::memcpy(bytes.data() + field, &value, sizeof value);
            crcIs(bytes);
            Counts counts;
            read(bytes, counts);
            EXPECT_EQ(counts.refused, 1) << "field " << field << " value " << value;
        }
    }
}

TEST_F(RingFuzz, ADescriptionWithoutAnEndIsLeftOut) {
    auto bytes = image;
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data() + 4096, sizeof size);
    for (std::size_t at = 4096 + 16; at < 4096 + size; ++at) {
        bytes[at] = 'x';
    }
    auto const crc = crc32c(std::as_bytes(std::span{bytes}).subspan(4096 + 8, size - 8));
    std::memcpy(bytes.data() + 4096 + 4, &crc, sizeof crc);
    Counts counts;
    read(bytes, counts);
    EXPECT_EQ(Reader{path()}.descriptions().size(), 1U);
    EXPECT_EQ(static_cast<std::size_t>(counts.given), truth.size());
}

TEST_F(RingFuzz, ABlockThatStandsTwiceShowsItsMessagesOnce) {
    auto bytes = image;
    std::copy_n(bytes.begin() + 69632, 4096, bytes.begin() + 69632 + 4096);
    Counts counts;
    read(bytes, counts);
    EXPECT_LT(static_cast<std::size_t>(counts.given), truth.size());
    EXPECT_GT(counts.given, 0);
}

} // namespace RingScribe
