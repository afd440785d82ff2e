#include <RingScribe/Checksum.h>

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string_view>

namespace RingScribe {

TEST(Crc32c, GivesThePublishedValueOfTheDigits) {
    std::string_view const digits = "123456789";
    EXPECT_EQ(crc32c(std::as_bytes(std::span{digits})), 0xe3069283U);
}

TEST(MsgCheck, IsChangedByEveryFlippedBit) {
    struct Msg {
        Layout::MsgHeader header;
        std::array<std::byte, Layout::maxArgBytes> arguments;
    } msg{};
    msg.header = {0, Layout::maxArgBytes, 77, 123456789, 987654321};
    for (std::size_t i = 0; i < msg.arguments.size(); ++i) {
        msg.arguments[i] = static_cast<std::byte>(i * 37);
    }
    auto const whole = msgCheck(msg.header, msg.arguments.data());
    auto const bytes = std::as_writable_bytes(std::span{&msg, 1});
    for (std::size_t bit = offsetof(Layout::MsgHeader, msgId) * 8; bit < bytes.size() * 8; ++bit) {
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
        EXPECT_NE(msgCheck(msg.header, msg.arguments.data()), whole) << "bit " << bit;
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
    }
}

TEST(MsgCheck, IsNeverZero) {
    EXPECT_NE(Check{}.value(), 0U);
    EXPECT_NE(msgCheck({}, nullptr), 0U);
}

TEST(BlockCheck, IsChangedByEveryFlippedBit) {
    Layout::BlockHeader header{0, 3, 1000, 77777, 1'700'000'000'000'000'000};
    auto const whole = blockCheck(header);
    auto const bytes = std::as_writable_bytes(std::span{&header, 1});
    for (std::size_t bit = offsetof(Layout::BlockHeader, place) * 8; bit < bytes.size() * 8;
         ++bit) {
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
        EXPECT_NE(blockCheck(header), whole) << "bit " << bit;
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
    }
}

} // namespace RingScribe
