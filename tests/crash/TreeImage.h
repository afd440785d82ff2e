#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

// The files of an entity manager, as they stand at an instant.
namespace crash_test {

inline constexpr std::size_t pageBytes = 4096;

// The pages of a file that hold anything.
std::set<std::size_t> dataPagesOf(int fd);

// Every file of a manager, by its path below the manager's folder; each with its pages.
struct TreeImage {
    struct File {
        std::uint64_t bytes = 0;
        std::map<std::size_t, std::vector<char>> pages;
        bool operator==(File const&) const = default;
    };
    std::map<std::string, File> files;

    static TreeImage of(std::string const& manager);
    // Makes it the files of another manager, in place of what that one has.
    void become(std::string const& manager) const;
    bool operator==(TreeImage const&) const = default;
};

std::string folderOf(std::string const& manager);

// Watches the files of a manager for a change behind every instruction of another process. What a
// store instruction may change are the `hot` pages; the rest, and the files themselves, change by
// system calls alone.
class TreeWatch {
  public:
    using Pages = std::map<std::string, std::set<std::size_t>>;

    // The pages that hold anything, by file.
    static Pages pagesOf(std::string const& manager);

    TreeWatch(std::string const& manager, Pages hot);
    TreeWatch(TreeWatch const&) = delete;
    TreeWatch& operator=(TreeWatch const&) = delete;
    ~TreeWatch();

    // Whether a hot page of a file has changed since the last look.
    bool changed();
    // Whether the tree has, behind a system call.
    bool changedBySystemCall();
    // Whether all that was ever written to is watched.
    bool watchesAll() const;

  private:
    struct Mapped {
        std::string path;
        std::uint64_t inode;
        char* at;
        std::size_t bytes;
        std::vector<std::size_t> pages;
        std::vector<char> copy;
    };
    void map();
    void unmap();

    std::string manager_;
    Pages hot_;
    std::vector<Mapped> files_;
    TreeImage last_;
};

} // namespace crash_test
