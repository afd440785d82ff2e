#include <RingScribe/Reader.h>
#include <RingScribe/Write.h>

#include <fstream>
#include <fuzz/Patch.h>
#include <fuzz/Target.h>
#include <iterator>
#include <map>
#include <string>
#include <unistd.h>

// A damaged ring file under its reader.
namespace {

class RingFile {
  public:
    RingFile() {
        std::string name = "/dev/shm/fuzz-ring-XXXXXX";
        int const fd = ::mkstemp(name.data());
        fuzz::require(fd >= 0, "a file can be made in /dev/shm");
        ::close(fd);
        ::unlink(name.c_str());
        path = name;
        RingScribe::open(path, 4096 + 65536 + 4 * 4096);
        int first = 0;
        int second = 0;
        for (std::uint32_t i = 0; i < 150; ++i) {
            RingScribe::write(first, "a.cpp", 1, "A", "f", "first {} {}", i, std::uint16_t{7});
            RingScribe::write(second, "b.cpp", 2, "B", "g", "second {}", std::uint64_t{i} << 33);
        }
        RingScribe::close();
        std::ifstream in{path, std::ios::binary};
        whole.assign(std::istreambuf_iterator<char>{in}, {});
        RingScribe::Reader reader{path};
        reader.forEach(
            [&](RingScribe::Reader::Msg const& msg) { texts[msg.sequence] = msg.text(); });
        fuzz::require(texts.size() > 50, "the whole file shows its messages");
    }
    RingFile(RingFile const&) = delete;
    RingFile& operator=(RingFile const&) = delete;
    ~RingFile() { ::unlink(path.c_str()); }

    std::string path;
    std::string whole;
    std::map<std::uint64_t, std::string> texts;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static RingFile const ring;
    std::string file = ring.whole;
    fuzz::patch(file, {data, size});
    std::ofstream{ring.path, std::ios::binary | std::ios::trunc} << file;
    try {
        RingScribe::Reader reader{ring.path};
        reader.forEach([&](RingScribe::Reader::Msg const& msg) {
            auto const known = ring.texts.find(msg.sequence);
            fuzz::require(known != ring.texts.end(), "a message that is shown was written");
            fuzz::require(msg.description == nullptr || msg.text() == known->second,
                          "with a description it says what was written");
        });
    } catch (RingScribe::FileException const&) { // refused
    }
    return 0;
}
