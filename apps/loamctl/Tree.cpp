#include <Slate/Layout.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/loamctl/Context.h>
#include <apps/loamctl/Tree.h>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace LoamCtl {

namespace {

constexpr std::uint64_t blockBytes = 512; // unit of st_blocks

std::string upToZero(char const* text, std::size_t size) {
    return {text, ::strnlen(text, size)};
}

} // namespace

std::vector<TreeFile> filesBelow(std::string const& folder) {
    namespace fs = std::filesystem;
    std::vector<TreeFile> files;
    std::error_code error;
    fs::recursive_directory_iterator walk{folder, error};
    for (; !error && walk != fs::recursive_directory_iterator{}; walk.increment(error)) {
        struct stat status {};
        auto const path = walk->path().string();
        if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
            continue; // gone meanwhile, or a folder or socket
        }
        auto const name = path.substr(folder.size() + 1);
        files.push_back({path, name, static_cast<std::uint64_t>(status.st_size),
                         static_cast<std::uint64_t>(status.st_blocks) * blockBytes,
                         name.ends_with(".slate"), name.ends_with(".slate.bad")});
    }
    if (error) {
        throw UsageError{fmt::format("{}: {}", folder, error.message())};
    }
    std::ranges::sort(files, {}, &TreeFile::name);
    return files;
}

std::optional<StoreHead> storeHeadOf(std::string const& path) {
    int const file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    Slate::Superblock head{};
    auto const bytes = ::pread(file, &head, sizeof head, 0);
    ::close(file);
    if (bytes != static_cast<ssize_t>(sizeof head) ||
        std::memcmp(head.magic, Slate::storeMagic, sizeof head.magic) != 0) {
        return std::nullopt;
    }
    return StoreHead{upToZero(head.typeName, sizeof head.typeName), head.capacity, head.slotCount,
                     head.recordBytes};
}

} // namespace LoamCtl
