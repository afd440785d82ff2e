#include "NearTheEnd.h"

#include <Slate/Crc32c.h>
#include <Slate/Layout.h>
#include <Slate/Words.h>

#include <gtest/gtest.h>

#include <fstream>

namespace soak {

namespace {

Slate::ControlPage pageOf(std::filesystem::path const& file) {
    Slate::ControlPage page{};
    std::ifstream in{file, std::ios::binary};
    in.seekg(static_cast<std::streamoff>(Slate::controlOffset));
    in.read(reinterpret_cast<char*>(&page), sizeof page);
    EXPECT_TRUE(in) << file;
    return page;
}

} // namespace

Counters countersOf(std::filesystem::path const& file) {
    Slate::ControlPage const page = pageOf(file);
    return {Slate::sequenceOf(page.sequenceLimit),
            static_cast<std::uint32_t>(page.scratch[0].check >> 32), page.shape};
}

void countersAre(std::filesystem::path const& file, Counters const& counters) {
    Slate::ControlPage page = pageOf(file);
    page.sequenceLimit = Slate::packState(Slate::SlotState::live, counters.operations);
    page.shape = counters.moves;
    for (unsigned number = 0; number < 2; ++number) {
        auto& cell = page.scratch[number];
        std::uint32_t const sum =
            Slate::Crc32c{8}.words3(0x5c7a7c4, number, counters.scratchStores, cell.value);
        cell.check = (std::uint64_t{counters.scratchStores} << 32) | sum;
    }
    std::fstream out{file, std::ios::binary | std::ios::in | std::ios::out};
    out.seekp(static_cast<std::streamoff>(Slate::controlOffset));
    out.write(reinterpret_cast<char const*>(&page), sizeof page);
    EXPECT_TRUE(out.flush()) << file;
}

} // namespace soak
