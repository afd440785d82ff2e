#include <gtest/gtest.h>

#include <apps/policy/AddressText.h>

namespace LoamPolicy {
namespace {

TEST(Ipv4Prefix, AdmitsWhatTheTypesPatternAdmits) {
    for (auto const* text : {"0.0.0.0/0", "192.0.2.1/32", "192.0.2.1/24", "255.255.255.255/9"}) {
        EXPECT_TRUE(parseIpv4Prefix(text)) << text;
    }
    for (auto const* text : {"", "192.0.2.1", "192.0.2/24", "192.0.2.1/33", "192.0.2.256/24",
                             "192.0.2.01/24", "192.0.2.1/024", "192.0.2.1/-1", " 192.0.2.1/24",
                             "192.0.2.1/24 ", "192.0.2.1/", "1.2.3.4.5/8", "a.0.2.1/24"}) {
        EXPECT_FALSE(parseIpv4Prefix(text)) << text;
    }
}

TEST(Ipv6Prefix, AdmitsWhatTheTypesPatternAdmits) {
    for (auto const* text :
         {"::/0", "::1/128", "1::/16", "2001:db8::/32", "1:2:3:4:5:6:7:8/128",
          "1:2:3:4:5:6:7::/112", "::2:3:4:5:6:7:8/128", "FE80::A/64", "1::8/99"}) {
        EXPECT_TRUE(parseIpv6Prefix(text)) << text;
    }
    for (auto const* text : {"", ":/0", ":::/0", "1:2/64", "1:2:3:4:5:6:7/64",
                             "1:2:3:4:5:6:7:8:9/64", "1::2::3/64", "1:2:3:4:5:6:7:8::/64",
                             "::1:2:3:4:5:6:7:8/64", "12345::/16", "g::/16", "::ffff:192.0.2.1/128",
                             "::/129", "::/00", "::1", "1:/16", ":1::/16", "fe80::1%eth0/64"}) {
        EXPECT_FALSE(parseIpv6Prefix(text)) << text;
    }
}

TEST(Ipv6Prefix, PutsGroupsOnBothSidesOfTheGap) {
    auto const prefix = parseIpv6Prefix("2001:db8::a:b/127");
    ASSERT_TRUE(prefix);
    Ipv6Bytes const expected{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0a, 0, 0x0b};
    EXPECT_EQ(prefix->address, expected);
    EXPECT_EQ(prefix->length, 127u);
}

TEST(Mac, HasSixPairsOfDigits) {
    EXPECT_TRUE(parseMac("01:80:c2:00:00:0E"));
    for (auto const* text : {"", "01:80:c2:00:00", "1:80:c2:00:00:0e", "01-80-c2-00-00-0e",
                             "01:80:c2:00:00:0g", "01:80:c2:00:00:0e:", "001:80:c2:00:00:0"}) {
        EXPECT_FALSE(parseMac(text)) << text;
    }
}

TEST(PortRange, HasUpToFiveDigitsOnEachSide) {
    auto const range = parsePortRange("00080..65535");
    ASSERT_TRUE(range);
    EXPECT_EQ(range->low, 80);
    EXPECT_EQ(range->high, 65535);
    for (auto const* text :
         {"", "80", "80-90", "80..65536", "000080..90", "..90", "80..", "80...90"}) {
        EXPECT_FALSE(parsePortRange(text)) << text;
    }
}

TEST(MaskedPrefix, ClearsTheHostBits) {
    auto const masked = maskedPrefix(Ipv4Bytes{192, 0, 2, 255}, 27);
    EXPECT_EQ(masked.value, (Ipv4Bytes{192, 0, 2, 224}));
    EXPECT_EQ(masked.mask, (Ipv4Bytes{255, 255, 255, 224}));
    EXPECT_EQ(maskedPrefix(Ipv4Bytes{1, 2, 3, 4}, 0), Masked<Ipv4Bytes>{});
}

TEST(FormatIpv6, ShortensTheFirstLongestRunOfZeros) {
    for (auto const* text : {"::", "::1", "1::", "2001:db8::1:0:0:1", "1:0:2:0:3:0:4:0",
                             "2001:db8:0:1:1:1:1:1", "fe80::", "1:2:3:4:5:6:7:8"}) {
        auto const prefix = parseIpv6Prefix(std::string(text) + "/128");
        ASSERT_TRUE(prefix) << text;
        EXPECT_EQ(formatIpv6(prefix->address), text);
    }
}

TEST(FormatMasked, ShowsPrefixesWildcardsAndMasksWithHoles) {
    EXPECT_EQ(formatMasked(Masked<Ipv4Bytes>{}), "any");
    EXPECT_EQ(formatMasked(maskedPrefix(Ipv4Bytes{10, 0, 0, 0}, 8)), "10.0.0.0/8");
    EXPECT_EQ(formatMasked(Masked<Ipv4Bytes>{{10, 0, 0, 1}, {255, 0, 0, 255}}),
              "10.0.0.1 mask 255.0.0.255");
    EXPECT_EQ(formatMasked(Masked<MacBytes>{{1, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0}}),
              "01:00:00:00:00:00 mask 01:00:00:00:00:00");
    EXPECT_EQ(formatMasked(Masked<MacBytes>{}), "any");
}

} // namespace
} // namespace LoamPolicy
