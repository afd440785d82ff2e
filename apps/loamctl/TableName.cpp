#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <apps/loamctl/TableName.h>
#include <cctype>
#include <vector>

namespace LoamCtl {

namespace {

std::string lower(std::string_view text) {
    std::string result{text};
    std::ranges::transform(result, result.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return result;
}

// "Ipv4SystemPolicyTcamEntry" gives ipv4, system, policy, tcam, entry.
std::vector<std::string> words(std::string_view name) {
    std::vector<std::string> result;
    for (char const letter : name) {
        if (result.empty() || std::isupper(static_cast<unsigned char>(letter)) != 0) {
            result.emplace_back();
        }
        result.back() += letter;
    }
    std::ranges::transform(result, result.begin(), lower);
    return result;
}

bool fitsBeginnings(std::string_view wanted, std::span<std::string const> words) {
    if (wanted.empty()) {
        return true;
    }
    for (std::size_t skipped = 0; skipped < words.size(); ++skipped) {
        std::string_view const word = words[skipped];
        auto const common =
            static_cast<std::size_t>(std::ranges::mismatch(wanted, word).in1 - wanted.begin());
        for (std::size_t taken = common; taken > 0; --taken) {
            if (fitsBeginnings(wanted.substr(taken), words.subspan(skipped + 1))) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

std::variant<std::size_t, std::string> findTableName(std::string_view wanted,
                                                     std::span<std::string_view const> names) {
    std::string const text = lower(wanted);
    auto const fitting = [&](auto const& fits) {
        std::vector<std::size_t> found;
        for (std::size_t index = 0; index < names.size(); ++index) {
            if (!text.empty() && fits(names[index])) {
                found.push_back(index);
            }
        }
        return found;
    };
    auto found = fitting([&](auto name) { return lower(name) == text; });
    if (found.empty()) {
        found = fitting([&](auto name) { return lower(name).find(text) != std::string::npos; });
    }
    if (found.empty()) {
        found = fitting([&](auto name) { return fitsBeginnings(text, words(name)); });
    }
    if (found.size() == 1) {
        return found.front();
    }
    if (found.empty()) {
        return fmt::format("'{}': no table has such a name; the tables are {}", wanted,
                           fmt::join(names, ", "));
    }
    std::vector<std::string_view> meant;
    std::ranges::transform(found, std::back_inserter(meant),
                           [&](std::size_t index) { return names[index]; });
    return fmt::format("'{}' fits several tables: {}", wanted, fmt::join(meant, ", "));
}

} // namespace LoamCtl
