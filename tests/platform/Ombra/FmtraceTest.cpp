#include <Ombra/Fmtrace.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

struct Handle {
    std::string_view name() const { return "AHandle"; }
};

struct Line {
    std::string handle, className, file, function, text;
    unsigned level = 0;
    int line = 0;
};

Line trace(auto&&... arguments) {
    Line got;
    auto const former = Ombra::traceSinkIs([&](Ombra::TraceRecord const& record) {
        got = Line{std::string{record.handleName},
                   std::string{record.className},
                   std::string{record.file},
                   std::string{record.function},
                   std::string{record.text},
                   record.level,
                   record.line};
    });
    Ombra::fmtrace(Handle{}, 8, "a/File.cpp", "aFunction", 17, "AClass", arguments...);
    Ombra::traceSinkIs(former);
    return got;
}

TEST(Fmtrace, TheSinkGetsWhereTheTraceStands) {
    Line const line = trace("text");
    EXPECT_EQ(line.handle, "AHandle");
    EXPECT_EQ(line.className, "AClass");
    EXPECT_EQ(line.file, "a/File.cpp");
    EXPECT_EQ(line.function, "aFunction");
    EXPECT_EQ(line.level, 8U);
    EXPECT_EQ(line.line, 17);
}

TEST(Fmtrace, ArgumentsAreFormattedAsFmtDoes) {
    EXPECT_EQ(trace(" key: {} {:04x}", "k", 255).text, " key: k 00ff");
}

TEST(Fmtrace, AnEmptyMessageStaysEmpty) {
    EXPECT_EQ(trace("").text, "");
}

TEST(Fmtrace, AnEmptySinkRestoresStandardError) {
    Ombra::traceSinkIs({});
    testing::internal::CaptureStderr();
    Ombra::fmtrace(Handle{}, 2, "a/File.cpp", "aFunction", 17, "AClass", "to the terminal");
    auto const text = testing::internal::GetCapturedStderr();
    EXPECT_NE(text.find("AHandle 2 AClass::aFunction File.cpp:17 to the terminal\n"),
              std::string::npos)
        << text;
}

} // namespace
