// Damaged files: whatever comes, the parser answers with a policy or with an error that has a
// reason. Run under the sanitizers, this is where a stray read would show.

#include "PolicyText.h"

#include <apps/policy/generator/PolicyGenerator.h>
#include <apps/policy/generator/Random.h>
#include <array>

namespace LoamPolicy::Test {
namespace {

/// A policy with a few entries of each type.
std::string sample(std::uint32_t entries) {
    char* data = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&data, &size);
    GeneratorOptions options;
    options.entries = entries;
    for (unsigned kind = 0; kind < kindCount; ++kind) {
        options.kinds.push_back(static_cast<PolicyKind>(kind));
    }
    EXPECT_TRUE(generatePolicy(options, file));
    std::fclose(file);
    std::string text(data, size);
    std::free(data); // NOLINT: open_memstream allocates with malloc
    return text;
}

bool isAnswered(std::string const& text) {
    auto const parsed = Policy::parse(text, "fuzz.json");
    auto const* error = std::get_if<PolicyError>(&parsed);
    return error == nullptr || !error->reason.empty();
}

TEST(PolicyFuzz, EveryTruncationIsRefused) {
    std::string const text = sample(1);
    std::size_t const whole = text.find_last_not_of('\n') + 1;
    for (std::size_t size = 0; size < whole; ++size) {
        auto const parsed = Policy::parse(std::string_view(text).substr(0, size), "fuzz.json");
        ASSERT_TRUE(std::holds_alternative<PolicyError>(parsed)) << size;
    }
}

TEST(PolicyFuzz, EveryMutationIsAnswered) {
    static constexpr std::array<std::string_view, 12> pieces{
        "\"", "{", "}", "[", "]", ":", ",", "-", "1e400", "null", "\\ud800", "\xf0\x9f"};
    std::string const text = sample(2);
    Random random(5);
    for (int i = 0; i < 3000; ++i) {
        std::string mutated = text;
        for (std::uint32_t n = random.between(1, 4); n > 0; --n) {
            std::size_t const at = random.below(static_cast<std::uint32_t>(mutated.size()));
            switch (random.below(4)) {
            case 0:
                mutated[at] = static_cast<char>(random.next());
                break;
            case 1:
                mutated.erase(at, random.between(1, 40));
                break;
            case 2:
                mutated.insert(at, random.pick(pieces));
                break;
            default:
                mutated.insert(at, mutated.substr(at / 2, random.between(1, 200)));
                break;
            }
        }
        ASSERT_TRUE(isAnswered(mutated)) << "mutation " << i;
    }
}

/// Swaps whole values, so that most mutations are still JSON and reach the schema.
TEST(PolicyFuzz, EverySwapOfValuesIsAnswered) {
    static constexpr std::array<std::string_view, 14> values{
        "0",        "-1",         "65536", "18446744073709551616",
        "1.5",      "true",       "null",  "\"\"",
        "\"ANY\"",  "\"1..0\"",   "[]",    "{}",
        "[[[[]]]]", "\"\\u0000\""};
    std::string const text = sample(2);
    Random random(6);
    int refused = 0;
    for (int i = 0; i < 3000; ++i) {
        std::size_t const from =
            text.find(':', random.below(static_cast<std::uint32_t>(text.size())));
        std::size_t const to = text.find_first_of(",}", from);
        if (from == std::string::npos || to == std::string::npos) {
            continue;
        }
        std::string swapped = text;
        swapped.replace(from + 1, to - from - 1, random.pick(values));
        ASSERT_TRUE(isAnswered(swapped)) << "swap " << i;
        refused += std::holds_alternative<PolicyError>(Policy::parse(swapped, "f")) ? 1 : 0;
    }
    EXPECT_GT(refused, 2000);
}

} // namespace
} // namespace LoamPolicy::Test
