// The example policy, decoded from its records, as a golden text.
// LOAM_UPDATE_GOLDEN=1 writes the text anew.

#include "PolicyText.h"

#include <apps/policy/Describe.h>
#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace LoamPolicy::Test {
namespace {

std::string const sourceDir = LOAM_POLICY_SOURCE_DIR;
std::string const goldenPath = sourceDir + "/tests/golden/control-plane.txt";

std::vector<PolicyRule> controlPlane() {
    auto loaded = Policy::load(sourceDir + "/examples/policy/control-plane.json");
    if (auto const* error = std::get_if<PolicyError>(&loaded)) {
        ADD_FAILURE() << error->text();
        return {};
    }
    return std::get<Policy>(loaded).rules();
}

std::string decodedText(std::vector<PolicyRule> const& rules) {
    std::string text;
    for (PolicyRule const& rule : rules) {
        text +=
            rule.text + "\n    " +
            describeRule(rule.entry.tblId, rule.entry.key, rule.entry.fields, rule.action.fields) +
            "\n";
    }
    return text;
}

TEST(ControlPlane, IsDecodedAsTheGoldenText) {
    std::string const decoded = decodedText(controlPlane());
    if (std::getenv("LOAM_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(goldenPath) << decoded;
    }
    std::ifstream file(goldenPath);
    ASSERT_TRUE(file) << goldenPath << " cannot be opened";
    std::stringstream golden;
    golden << file.rdbuf();
    EXPECT_EQ(decoded, golden.str()) << "to accept the new text, run with LOAM_UPDATE_GOLDEN=1";
}

TEST(ControlPlane, FillsAllFourteenTables) {
    std::array<std::size_t, 2 * kindCount> records{};
    for (PolicyRule const& rule : controlPlane()) {
        ++records.at(rule.action.tblId - firstTblId);
        ++records.at(rule.entry.tblId - firstTblId);
    }
    for (std::size_t const count : records) {
        EXPECT_GE(count, 10u);
    }
}

TEST(ControlPlane, EveryRuleIsDecodedWithoutComplaint) {
    EXPECT_EQ(decodedText(controlPlane()).find("not decoded"), std::string::npos);
}

} // namespace
} // namespace LoamPolicy::Test
