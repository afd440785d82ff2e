#include <Ombra/Exception.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Exception, GivesItsSentenceInBothForms) {
    Ombra::Exception const exception{"a sentence"};
    EXPECT_EQ(exception.msg(), "a sentence");
    EXPECT_STREQ(exception.what(), "a sentence");
}

TEST(Exception, TheKindsAreCaughtAsWhatTheyAre) {
    EXPECT_THROW(throw Ombra::CorruptionDetectedException{"x"}, Ombra::CorruptionDetectedException);
    EXPECT_THROW(throw Ombra::NullPointerException{"x"}, Ombra::Exception);
    EXPECT_THROW(throw Ombra::CorruptionDetectedException{"x"}, std::exception);
}

} // namespace
