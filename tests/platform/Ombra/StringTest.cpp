#include <Ombra/String.h>

#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

namespace {

using Ombra::String;

TEST(String, ConvertsFromAndToTheStandardTypes) {
    String const text{"abc"};
    EXPECT_EQ(text.str(), "abc");
    EXPECT_STREQ(text.c_str(), "abc");
    EXPECT_EQ(std::string_view{text}, "abc");
    EXPECT_EQ(String{std::string{"abc"}}, text);
    EXPECT_EQ(String{std::string_view{"abcd"}.substr(0, 3)}, text);
    EXPECT_EQ(text.size(), 3U);
    EXPECT_TRUE(String{}.empty());
}

TEST(String, JoinsAndCompares) {
    String text{"a"};
    text += "b";
    EXPECT_EQ(text + "c", "abc");
    EXPECT_LT(text, String{"b"});
    EXPECT_NE(text, String{"a"});
}

TEST(String, IsFormattedLikeText) {
    EXPECT_EQ(fmt::format("[{:>4}]", String{"ab"}), "[  ab]");
    std::ostringstream out;
    out << String{"ab"};
    EXPECT_EQ(out.str(), "ab");
}

TEST(String, HashesByContent) {
    std::unordered_set<String> const set{String{"a"}, String{"a"}, String{"b"}};
    EXPECT_EQ(set.size(), 2U);
}

} // namespace
