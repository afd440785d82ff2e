#include "StoreFixture.h"

#include <fstream>
#include <iterator>

// The bytes of the one file of a state store. It is compared with a text that is written here, in
// builds of both word sizes: so both read what the other has written.
namespace Orbis {

namespace {

class StateFile : public StoreFixture {
  protected:
    std::string file() const { return stateFolder() + "/entities"; }

    std::string content() const {
        std::ifstream in{file(), std::ios::binary};
        return {std::istreambuf_iterator<char>{in}, {}};
    }

    void contentIs(std::string const& text) const {
        std::ofstream{file(), std::ios::binary} << text;
    }
};

template <std::size_t size>
std::string bytes(char const (&text)[size]) {
    return {text, size - 1};
}

// Two entities: a generation of major id 258 at the path "g", and one without content at "k".
std::string written() {
    return bytes("LOAMSTAT\1\0\0\0\2\0\0\0") + bytes("\x12\x4e\x5a\xfd\xcb\xd0\xdf\x6f") +
           bytes("\1\0\0\0\13\0\0\0\20\0\0\0gAsic::GenId"
                 "\2\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0") +
           bytes("\1\0\0\0\4\0\0\0\0\0\0\0kKind");
}

} // namespace

TEST_F(StateFile, HasTheSameBytesInBothWordSizes) {
    auto const manager = shared();
    Asic::GenId::create(manager, "g")->majorIdInc(258);
    manager->store().modify("k", [](auto const&) { return StoredEntity{"Kind", ""}; });
    EXPECT_EQ(content(), written());
}

TEST_F(StateFile, IsReadAsItWasWritten) {
    shared();
    contentIs(written());
    EXPECT_EQ(Asic::GenId::create(shared(), "g")->majorId(), 258U);
    EXPECT_EQ(shared()->entityPaths(""), (std::vector<std::string>{"g", "k"}));
}

TEST_F(StateFile, IsRefusedWithAnyBitChanged) {
    shared();
    auto const whole = written();
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        auto damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        contentIs(damaged);
        ASSERT_NE(refusal([] { shared(); }).find("damaged or foreign"), std::string::npos) << bit;
    }
}

TEST_F(StateFile, IsRefusedWithAnyByteMissingAtItsEnd) {
    shared();
    for (auto text = written(); !text.empty();) {
        text.pop_back();
        contentIs(text);
        ASSERT_NE(refusal([] { shared(); }).find("damaged or foreign"), std::string::npos)
            << text.size();
    }
}

} // namespace Orbis
