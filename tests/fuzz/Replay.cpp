#include <cstdio>
#include <filesystem>
#include <fstream>
#include <fuzz/Target.h>
#include <iterator>
#include <string>

// Gives a target every input of a folder, in place of a fuzzer.
//
//     XxxReplay FOLDER
int main(int argc, char** argv) {
    if (argc != 2 || !std::filesystem::is_directory(argv[1])) {
        std::fprintf(stderr, "%s: expected a folder with inputs\n", argv[0]);
        return 2;
    }
    unsigned count = 0;
    for (auto const& entry : std::filesystem::directory_iterator{argv[1]}) {
        std::ifstream file{entry.path(), std::ios::binary};
        std::string const bytes{std::istreambuf_iterator<char>{file}, {}};
        std::fprintf(stderr, "%s\n", entry.path().filename().c_str()); // the last one, if it ends
        LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
        ++count;
    }
    std::printf("figures: %u inputs of fuzzers, nothing lost\n", count);
    return count == 0 ? 1 : 0;
}
