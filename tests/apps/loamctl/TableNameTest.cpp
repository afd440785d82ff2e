#include <LoamSystemAcl/AllTables.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <apps/loamctl/TableName.h>
#include <vector>

namespace LoamCtl {
namespace {

std::vector<std::string_view> allNames() {
    std::vector<std::string_view> names;
    LoamSystemAcl::AllTables::forEach(
        [&]<typename Table>() { names.push_back(Table::Constants::tableName); });
    return names;
}

// The name that is found, or the complaint.
std::string found(std::string_view wanted) {
    auto const names = allNames();
    auto const result = findTableName(wanted, names);
    if (auto const* complaint = std::get_if<std::string>(&result)) {
        return *complaint;
    }
    return std::string{names[std::get<std::size_t>(result)]};
}

TEST(TableName, EveryWholeNameIsFoundInAnyCase) {
    for (auto const name : allNames()) {
        std::string upper{name};
        std::ranges::transform(upper, upper.begin(), [](char letter) {
            return static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        });
        EXPECT_EQ(found(name), name);
        EXPECT_EQ(found(upper), name);
    }
}

TEST(TableName, BeginningsOfWordsAreFound) {
    EXPECT_EQ(found("ipv4entry"), "Ipv4SystemPolicyTcamEntry");
    EXPECT_EQ(found("macaction"), "MacSystemPolicyTcamAction");
    EXPECT_EQ(found("TunTermAct"), "TunnelTerminationPolicyTcamAction");
    EXPECT_EQ(found("vxe"), "VxlanAnycastPolicyTcamEntry");
}

TEST(TableName, APartOfOneNameIsFound) {
    EXPECT_EQ(found("olppolicytcament"), "EgressOlpPolicyTcamEntry");
}

TEST(TableName, APartOfSeveralNamesListsThem) {
    EXPECT_EQ(found("ipv6"),
              "'ipv6' fits several tables: Ipv6SystemPolicyTcamAction, Ipv6SystemPolicyTcamEntry");
}

TEST(TableName, AnUnknownNameListsAllTables) {
    auto const complaint = found("nonsense");
    for (auto const name : allNames()) {
        EXPECT_THAT(complaint, testing::HasSubstr(std::string{name}));
    }
}

TEST(TableName, AnEmptyNameIsUnknown) {
    EXPECT_THAT(found(""), testing::StartsWith("'': no table has such a name"));
}

} // namespace
} // namespace LoamCtl
