#include "PolicyText.h"

#include <apps/policy/generator/PolicyGenerator.h>
#include <cstdlib>
#include <set>

namespace LoamPolicy::Test {
namespace {

std::vector<PolicyKind> allKinds() {
    std::vector<PolicyKind> kinds;
    for (unsigned kind = 0; kind < kindCount; ++kind) {
        kinds.push_back(static_cast<PolicyKind>(kind));
    }
    return kinds;
}

std::string generated(GeneratorOptions const& options) {
    char* data = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&data, &size);
    EXPECT_TRUE(generatePolicy(options, file));
    std::fclose(file);
    std::string text(data, size);
    std::free(data); // NOLINT: open_memstream allocates with malloc
    return text;
}

TEST(PolicyGenerator, MakesThatManyRulesOfEveryType) {
    auto const rules = rulesOf(generated({.entries = 500, .seed = 1, .kinds = allKinds()}));
    std::array<std::size_t, kindCount> counts{};
    for (PolicyRule const& rule : rules) {
        ++counts.at(static_cast<std::size_t>(tableOf(rule.entry.tblId)->kind));
    }
    for (std::size_t const count : counts) {
        EXPECT_EQ(count, 500u);
    }
}

TEST(PolicyGenerator, NoTwoEntriesMatchTheSame) {
    for (PolicyKind const kind : allKinds()) {
        auto const rules = rulesOf(generated({.entries = 2000, .seed = 3, .kinds = {kind}}));
        std::set<std::vector<std::byte>> matches;
        constexpr std::ptrdiff_t headSize = 12;
        for (PolicyRule const& rule : rules) {
            matches.emplace(rule.entry.fields.begin() + headSize, rule.entry.fields.end());
        }
        EXPECT_EQ(matches.size(), 2000u) << kindName(kind);
    }
}

TEST(PolicyGenerator, TheSameSeedGivesTheSamePolicy) {
    GeneratorOptions options{.entries = 50, .seed = 9, .kinds = allKinds()};
    std::string const first = generated(options);
    EXPECT_EQ(generated(options), first);
    options.seed = 10;
    EXPECT_NE(generated(options), first);
}

TEST(PolicyGenerator, ALongerPolicyBeginsWithTheShorterOne) {
    auto const shorter =
        rulesOf(generated({.entries = 20, .seed = 4, .kinds = {PolicyKind::Ipv4System}}));
    auto const longer =
        rulesOf(generated({.entries = 30, .seed = 4, .kinds = {PolicyKind::Ipv4System}}));
    ASSERT_EQ(longer.size(), 30u);
    for (std::size_t i = 0; i < shorter.size(); ++i) {
        EXPECT_EQ(longer[i].entry, shorter[i].entry);
        EXPECT_EQ(longer[i].action, shorter[i].action);
    }
}

TEST(PolicyGenerator, SixtyFiveThousandEntriesOfATypeAreAPolicy) {
    auto const rules =
        rulesOf(generated({.entries = 65000, .seed = 1, .kinds = {PolicyKind::MplsSystem}}));
    EXPECT_EQ(rules.size(), 65000u);
}

TEST(PolicyGenerator, NothingStandsForATypeThatDoesNotExist) {
    EXPECT_FALSE(generatorKind("ipv5"));
    EXPECT_EQ(generatorKind("olp"), PolicyKind::EgressOlp);
}

TEST(TableCapacity, AFullTableIsTakenAndOneEntryMoreIsRefused) {
    GeneratorOptions options{.entries = tableCapacity, .seed = 1, .kinds = {PolicyKind::EgressOlp}};
    EXPECT_EQ(rulesOf(generated(options)).size(), tableCapacity);
    ++options.entries;
    auto text = generated(options);
    // Ports end with the table: give the one too many a port that exists.
    text.replace(text.find("\"egress-port\":65536"), 19, "\"egress-port\":65535");
    auto const error = refusalOf(text);
    EXPECT_EQ(error.pointer, "/openconfig-acl:acl/acl-sets/acl-set/0/acl-entries/acl-entry/65536");
    EXPECT_EQ(error.reason, "more than 65536 entries: the table holds no more");
}

TEST(TableCapacity, CountsAllSetsOfAType) {
    auto const text =
        generated({.entries = tableCapacity, .seed = 1, .kinds = {PolicyKind::EgressOlp}});
    std::string const end = "]}}}\n";
    auto const more = text.substr(0, text.size() - end.size()) + "," +
                      setOf("more", "loam-acl-ext:ACL_EGRESS_OLP", entryOf(1)) + end;
    auto const error = refusalOf(more);
    EXPECT_EQ(error.pointer, "/openconfig-acl:acl/acl-sets/acl-set/1/acl-entries/acl-entry/0");
    EXPECT_EQ(error.reason,
              "more than 65536 entries of type ACL_EGRESS_OLP: the table holds no more");
}

} // namespace
} // namespace LoamPolicy::Test
