#pragma once

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <time.h>

// A file as it is made behind January 2038, where a 32-bit time ends: a process that takes its
// times for such can't even open it.
namespace testing_support {

// False when the file system keeps no such times.
inline bool madeLate(std::string const& path) {
    constexpr std::int64_t year2040 = 2'208'988'800;
    timespec const times[] = {{year2040, 0}, {year2040, 0}};
    struct stat status {};
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0 &&
           ::stat(path.c_str(), &status) == 0 && status.st_mtim.tv_sec == year2040;
}

} // namespace testing_support
