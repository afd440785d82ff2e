#pragma once

#include <RingScribe/Reader.h>
#include <RingScribe/Write.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdlib.h>
#include <string>
#include <vector>

namespace RingScribe {

// A folder of the test's own, and no ring trace before and after.
class RingFixture : public testing::Test {
  protected:
    static constexpr std::size_t smallBytes = 4096 + 65536 + 4 * 4096;

    RingFixture() {
        close();
        std::string name = (std::filesystem::temp_directory_path() / "ring-XXXXXX").string();
        folder = ::mkdtemp(name.data());
    }

    ~RingFixture() override {
        close();
        std::filesystem::remove_all(folder);
    }

    std::string path() const { return folder + "/ring"; }

    struct Seen {
        std::uint64_t sequence;
        std::string text;
    };

    static std::vector<Seen> messagesOf(std::string const& file, std::uint64_t after = 0) {
        std::vector<Seen> all;
        Reader reader{file};
        reader.forEach(
            [&](Reader::Msg const& msg) {
                all.push_back({msg.sequence, msg.text()});
            },
            after);
        return all;
    }

    static std::string bytesOf(std::string const& file) {
        std::ifstream in{file, std::ios::binary};
        return {std::istreambuf_iterator<char>{in}, {}};
    }

    static void bytesAre(std::string const& file, std::string const& bytes) {
        std::ofstream{file, std::ios::binary | std::ios::trunc} << bytes;
    }

    std::string folder;
};

} // namespace RingScribe
