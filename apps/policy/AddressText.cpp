#include <fmt/format.h>

#include <algorithm>
#include <apps/policy/AddressText.h>
#include <bit>

namespace LoamPolicy {

namespace {

/// Walks over a text from the left; each step takes what it names, or fails and takes nothing.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }
    std::string_view rest() const { return rest_; }

    bool take(std::string_view literal) {
        if (!rest_.starts_with(literal)) {
            return false;
        }
        rest_.remove_prefix(literal.size());
        return true;
    }

    /// Digits of the base, at most `maxDigits` of them.
    std::optional<unsigned> number(unsigned base, std::size_t maxDigits) {
        unsigned value = 0;
        std::size_t count = 0;
        for (; count < rest_.size(); ++count) {
            int const digit = digitOf(rest_[count]);
            if (digit < 0 || static_cast<unsigned>(digit) >= base) {
                break;
            }
            if (count == maxDigits) {
                return std::nullopt;
            }
            value = value * base + static_cast<unsigned>(digit);
        }
        if (count == 0) {
            return std::nullopt;
        }
        rest_.remove_prefix(count);
        return value;
    }

    /// A decimal number without leading zeros, at most `max`.
    std::optional<unsigned> plainNumber(unsigned max) {
        bool const zero = rest_.starts_with('0');
        std::size_t const before = rest_.size();
        auto const value = number(10, 3);
        if (!value || *value > max || (zero && before - rest_.size() > 1)) {
            return std::nullopt;
        }
        return value;
    }

  private:
    static int digitOf(char c) {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        if (c >= 'a' && c <= 'f') {
            return c - 'a' + 10;
        }
        if (c >= 'A' && c <= 'F') {
            return c - 'A' + 10;
        }
        return -1;
    }

    std::string_view rest_;
};

/// The groups of an IPv6 address up to the "/". "::" stands for one group of zeros or more.
std::optional<Ipv6Bytes> scanIpv6(Scanner& scanner) {
    std::array<std::uint16_t, 8> groups{};
    std::size_t count = 0;
    std::optional<std::size_t> gap;
    if (scanner.take("::")) {
        gap = 0;
    }
    while (!scanner.rest().starts_with('/') && !scanner.atEnd()) {
        auto const group = scanner.number(16, 4);
        if (!group || count == groups.size()) {
            return std::nullopt;
        }
        groups[count++] = static_cast<std::uint16_t>(*group);
        if (scanner.take("::")) {
            if (gap) {
                return std::nullopt;
            }
            gap = count;
        } else if (scanner.take(":")) {
            if (scanner.atEnd() || scanner.rest().starts_with('/')) {
                return std::nullopt;
            }
        } else {
            break;
        }
    }
    if (gap ? count == groups.size() : count != groups.size()) {
        return std::nullopt;
    }
    if (gap) {
        auto const from = groups.begin() + static_cast<std::ptrdiff_t>(*gap);
        std::rotate(from, groups.begin() + static_cast<std::ptrdiff_t>(count), groups.end());
    }
    Ipv6Bytes bytes{};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i] & 0xffu);
    }
    return bytes;
}

/// Number of leading ones when nothing but zeros follows them.
template <std::size_t N>
std::optional<unsigned> prefixLength(std::array<std::uint8_t, N> const& mask) {
    unsigned length = 0;
    bool ended = false;
    for (std::uint8_t const byte : mask) {
        auto const ones = static_cast<unsigned>(std::countl_one(byte));
        bool const contiguous = static_cast<std::uint8_t>(byte << ones) == 0;
        if (!contiguous || (ended && ones != 0)) {
            return std::nullopt;
        }
        ended = ones < 8;
        length += ones;
    }
    return length;
}

template <std::size_t N, class Format>
std::string formatPrefix(Masked<std::array<std::uint8_t, N>> const& address, Format format) {
    auto const length = prefixLength(address.mask);
    if (!length) {
        return fmt::format("{} mask {}", format(address.value), format(address.mask));
    }
    if (*length == 0) {
        return "any";
    }
    return fmt::format("{}/{}", format(address.value), *length);
}

} // namespace

std::optional<Ipv4Prefix> parseIpv4Prefix(std::string_view text) {
    Scanner scanner(text);
    Ipv4Prefix prefix{};
    for (std::size_t i = 0; i < prefix.address.size(); ++i) {
        if (i > 0 && !scanner.take(".")) {
            return std::nullopt;
        }
        auto const byte = scanner.plainNumber(255);
        if (!byte) {
            return std::nullopt;
        }
        prefix.address[i] = static_cast<std::uint8_t>(*byte);
    }
    if (!scanner.take("/")) {
        return std::nullopt;
    }
    auto const length = scanner.plainNumber(32);
    if (!length || !scanner.atEnd()) {
        return std::nullopt;
    }
    prefix.length = *length;
    return prefix;
}

std::optional<Ipv6Prefix> parseIpv6Prefix(std::string_view text) {
    Scanner scanner(text);
    auto const address = scanIpv6(scanner);
    if (!address || !scanner.take("/")) {
        return std::nullopt;
    }
    auto const length = scanner.plainNumber(128);
    if (!length || !scanner.atEnd()) {
        return std::nullopt;
    }
    return Ipv6Prefix{*address, *length};
}

std::optional<MacBytes> parseMac(std::string_view text) {
    constexpr std::size_t macTextSize = 17;
    Scanner scanner(text);
    MacBytes mac{};
    for (std::size_t i = 0; i < mac.size(); ++i) {
        if (i > 0 && !scanner.take(":")) {
            return std::nullopt;
        }
        auto const byte = scanner.number(16, 2);
        if (!byte) {
            return std::nullopt;
        }
        mac[i] = static_cast<std::uint8_t>(*byte);
    }
    if (text.size() != macTextSize || !scanner.atEnd()) {
        return std::nullopt;
    }
    return mac;
}

std::optional<Range<std::uint16_t>> parsePortRange(std::string_view text) {
    constexpr unsigned maxPort = 65535;
    Scanner scanner(text);
    auto const low = scanner.number(10, 5);
    if (!low || *low > maxPort || !scanner.take("..")) {
        return std::nullopt;
    }
    auto const high = scanner.number(10, 5);
    if (!high || *high > maxPort || !scanner.atEnd()) {
        return std::nullopt;
    }
    return Range<std::uint16_t>{static_cast<std::uint16_t>(*low), static_cast<std::uint16_t>(*high),
                                true};
}

std::string formatIpv4(Ipv4Bytes const& address) {
    return fmt::format("{}.{}.{}.{}", address[0], address[1], address[2], address[3]);
}

std::string formatIpv6(Ipv6Bytes const& address) {
    auto const group = [&](std::size_t i) {
        return static_cast<unsigned>(address[2 * i]) << 8 | address[2 * i + 1];
    };
    std::size_t bestStart = 8;
    std::size_t bestCount = 1;
    for (std::size_t i = 0; i < 8; ++i) {
        std::size_t count = 0;
        while (i + count < 8 && group(i + count) == 0) {
            ++count;
        }
        if (count > bestCount) {
            bestStart = i;
            bestCount = count;
        }
    }
    std::string text;
    for (std::size_t i = 0; i < 8; ++i) {
        if (i == bestStart) {
            text += "::";
            i += bestCount - 1;
            continue;
        }
        if (!text.empty() && !text.ends_with(':')) {
            text += ':';
        }
        text += fmt::format("{:x}", group(i));
    }
    return text;
}

std::string formatMac(MacBytes const& address) {
    return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", address[0], address[1],
                       address[2], address[3], address[4], address[5]);
}

std::string formatMasked(Masked<Ipv4Bytes> const& address) {
    return formatPrefix(address, formatIpv4);
}

std::string formatMasked(Masked<Ipv6Bytes> const& address) {
    return formatPrefix(address, formatIpv6);
}

std::string formatMasked(Masked<MacBytes> const& address) {
    auto const length = prefixLength(address.mask);
    if (length == 0u) {
        return "any";
    }
    if (length == 48u) {
        return formatMac(address.value);
    }
    return fmt::format("{} mask {}", formatMac(address.value), formatMac(address.mask));
}

} // namespace LoamPolicy
