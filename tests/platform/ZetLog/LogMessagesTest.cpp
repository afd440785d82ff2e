#include <LoamSystemAcl/LogMessages.h>

#include <gtest/gtest.h>

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <link.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The section is looked up in the test's own file: that is how a tool finds it.
namespace LoamSystemAcl {

namespace {

std::string ownFile() {
    std::ifstream in{"/proc/self/exe", std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, {}};
}

template <typename T>
T valueAt(std::string const& file, std::size_t offset) {
    T value{};
    std::memcpy(&value, file.data() + offset, sizeof value);
    return value;
}

std::optional<ElfW(Shdr)> section(std::string const& file, std::string_view name) {
    auto const header = valueAt<ElfW(Ehdr)>(file, 0);
    auto const at = [&](std::size_t index) {
        return valueAt<ElfW(Shdr)>(file, header.e_shoff + index * header.e_shentsize);
    };
    auto const names = at(header.e_shstrndx);
    for (std::size_t index = 0; index < header.e_shnum; ++index) {
        auto const each = at(index);
        if (name == file.data() + names.sh_offset + each.sh_name) {
            return each;
        }
    }
    return std::nullopt;
}

void expectDescriptor(Zet::LogDescriptor const& descriptor, char const* name, char const* format,
                      char const* explanation) {
    EXPECT_STREQ(descriptor.name, name);
    EXPECT_STREQ(descriptor.format, format);
    EXPECT_STREQ(descriptor.explanation, explanation);
    EXPECT_STREQ(descriptor.marker, "\x01");
    EXPECT_EQ(descriptor.severity, 3U);
    EXPECT_EQ(descriptor.lastWord, 0U);
}

} // namespace

TEST(LogMessages, AreThreeWithTheirTexts) {
    expectDescriptor(logMessages[0], "HW_ABSTRACTION_EXCEPTION", "%s", "Exception");
    expectDescriptor(logMessages[1], "HW_ABSTRACTION_RELAUNCH_ERROR", "%s",
                     "Duplicate Writer Detected, slate path not cleaned up");
    expectDescriptor(
        logMessages[2], "HW_ABSTRACTION_ERROR",
        "Hardware abstraction error: unable to load item: %s",
        "Hardware abstraction error: unable to load some persistent items. Some agents "
        "will be restarted");
}

TEST(LogMessages, AreFoundByTheirNamesInTheProgram) {
    EXPECT_EQ(&hwAbstractionException, &logMessages[0]);
    EXPECT_EQ(&hwAbstractionRelaunchError, &logMessages[1]);
    EXPECT_EQ(&hwAbstractionError, &logMessages[2]);
}

TEST(LogMessages, AreAllThatTheirSectionHolds) {
    auto const found = section(ownFile(), ".ostrel_logmsg");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->sh_size, 18 * sizeof(void*));
    EXPECT_EQ(found->sh_size, sizeof logMessages);
}

TEST(LogMessages, StandInTheirSection) {
    auto const found = section(ownFile(), ".ostrel_logmsg");
    ASSERT_TRUE(found);
    // Where the program was loaded: its own header stands at the lowest address.
    extern char const base[] asm("__executable_start");
    EXPECT_EQ(reinterpret_cast<char const*>(logMessages), base + found->sh_addr);
}

} // namespace LoamSystemAcl
