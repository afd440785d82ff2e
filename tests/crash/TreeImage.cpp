#include <ZetSharedMem/EntityManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <crash/TreeImage.h>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace crash_test {

namespace {

namespace fs = std::filesystem;

// An open file that closes itself.
class Opened {
  public:
    Opened(fs::path const& path, int flags) : fd_{::open(path.c_str(), flags | O_CLOEXEC, 0600)} {
        EXPECT_GE(fd_, 0) << path << ": " << std::strerror(errno);
    }
    Opened(Opened const&) = delete;
    Opened& operator=(Opened const&) = delete;
    ~Opened() { ::close(fd_); }
    int fd() const { return fd_; }
    struct stat status() const {
        struct stat result {};
        EXPECT_EQ(::fstat(fd_, &result), 0);
        return result;
    }

  private:
    int fd_;
};

template <typename Each>
void forEachFile(std::string const& manager, Each const& each) {
    fs::path const folder = folderOf(manager);
    if (fs::exists(folder)) {
        for (auto const& entry : fs::recursive_directory_iterator{folder}) {
            if (entry.is_regular_file()) {
                each(entry.path().lexically_relative(folder).string(), entry.path());
            }
        }
    }
}

} // namespace

std::string folderOf(std::string const& manager) {
    return ZetSharedMem::root().str() + "/" + manager;
}

std::set<std::size_t> dataPagesOf(int fd) {
    std::set<std::size_t> pages;
    for (off_t at = ::lseek(fd, 0, SEEK_DATA); at >= 0; at = ::lseek(fd, at, SEEK_DATA)) {
        off_t const end = ::lseek(fd, at, SEEK_HOLE);
        for (; at < end; at += pageBytes) {
            pages.insert(static_cast<std::size_t>(at) / pageBytes);
        }
    }
    return pages;
}

TreeImage TreeImage::of(std::string const& manager) {
    TreeImage image;
    forEachFile(manager, [&](std::string const& name, fs::path const& path) {
        Opened const file{path, O_RDONLY};
        File& kept = image.files[name];
        kept.bytes = static_cast<std::uint64_t>(file.status().st_size);
        for (std::size_t const page : dataPagesOf(file.fd())) {
            std::vector<char> bytes(pageBytes);
            EXPECT_GE(
                ::pread(file.fd(), bytes.data(), pageBytes, static_cast<off_t>(page * pageBytes)),
                0);
            kept.pages.emplace(page, std::move(bytes));
        }
    });
    return image;
}

void TreeImage::become(std::string const& manager) const {
    fs::path const folder = folderOf(manager);
    fs::remove_all(folder);
    auto const mask = ::umask(077);
    fs::create_directories(folder);
    for (auto const& [name, kept] : files) {
        fs::create_directories((folder / name).parent_path());
        Opened const file{folder / name, O_RDWR | O_CREAT | O_EXCL};
        for (auto const& [page, bytes] : kept.pages) {
            EXPECT_EQ(
                ::pwrite(file.fd(), bytes.data(), pageBytes, static_cast<off_t>(page * pageBytes)),
                static_cast<ssize_t>(pageBytes));
        }
        EXPECT_EQ(::ftruncate(file.fd(), static_cast<off_t>(kept.bytes)), 0);
    }
    ::umask(mask);
}

TreeWatch::Pages TreeWatch::pagesOf(std::string const& manager) {
    Pages pages;
    forEachFile(manager, [&](std::string const& name, fs::path const& path) {
        pages[name] = dataPagesOf(Opened{path, O_RDONLY}.fd());
    });
    return pages;
}

TreeWatch::TreeWatch(std::string const& manager, Pages hot)
    : manager_{manager}, hot_{std::move(hot)}, last_{TreeImage::of(manager)} {
    map();
}

TreeWatch::~TreeWatch() {
    unmap();
}

void TreeWatch::unmap() {
    for (Mapped const& file : files_) {
        ::munmap(file.at, file.bytes);
    }
    files_.clear();
}

void TreeWatch::map() {
    unmap();
    forEachFile(manager_, [&](std::string const& name, fs::path const& path) {
        Opened const file{path, O_RDONLY};
        auto const status = file.status();
        auto const bytes = static_cast<std::size_t>(status.st_size);
        void* const at =
            bytes == 0 ? MAP_FAILED : ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file.fd(), 0);
        if (at == MAP_FAILED) {
            return;
        }
        auto pages = dataPagesOf(file.fd());
        pages.insert(hot_[name].begin(), hot_[name].end());
        Mapped mapped{name, status.st_ino, static_cast<char*>(at), bytes, {}, {}};
        for (std::size_t const page : pages) {
            if ((page + 1) * pageBytes <= bytes) {
                mapped.pages.push_back(page);
                mapped.copy.insert(mapped.copy.end(), mapped.at + page * pageBytes,
                                   mapped.at + (page + 1) * pageBytes);
            }
        }
        files_.push_back(std::move(mapped));
    });
}

bool TreeWatch::changed() {
    bool any = false;
    for (Mapped& file : files_) {
        char* copy = file.copy.data();
        for (std::size_t const page : file.pages) {
            char const* const now = file.at + page * pageBytes;
            if (std::memcmp(copy, now, pageBytes) != 0) {
                std::memcpy(copy, now, pageBytes);
                any = true;
            }
            copy += pageBytes;
        }
    }
    return any;
}

bool TreeWatch::changedBySystemCall() {
    bool any = changed();
    auto now = TreeImage::of(manager_);
    if (now != last_) {
        any = true;
        last_ = std::move(now);
        map();
    }
    return any;
}

bool TreeWatch::watchesAll() const {
    auto const all = pagesOf(manager_);
    return std::ranges::all_of(files_, [&](Mapped const& file) {
        auto const found = all.find(file.path);
        return found == all.end() || std::ranges::all_of(found->second, [&](std::size_t page) {
                   char const* const at = file.at + page * pageBytes;
                   // One that somebody has only read has memory as well, of zeros.
                   return (page + 1) * pageBytes > file.bytes ||
                          std::ranges::find(file.pages, page) != file.pages.end() ||
                          std::all_of(at, at + pageBytes, [](char byte) { return byte == 0; });
               });
    });
}

} // namespace crash_test
