#include <Ombra/WriteAll.h>
#include <Orbis/FileStore.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace Orbis {

namespace {

[[noreturn]] void refuseChange(std::string const& file, int error) {
    if (error == ENOSPC) {
        refuseState(file, "can't be written: the file system is full. Make room on it.");
    }
    refuseState(file, fmt::format("can't be written: {}. Check the folder's owner, mode and room.",
                                  std::strerror(error)));
}

// Less than `bytes` when the file has less. Nothing when it can't be read.
std::optional<std::string> readAll(int fd, std::size_t bytes) {
    std::string text(bytes, '\0');
    std::size_t done = 0;
    while (done < bytes) {
        auto const got = ::read(fd, text.data() + done, bytes - done);
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        done += got < 0 ? 0 : static_cast<std::size_t>(got);
    }
    text.resize(done);
    return text;
}

bool same(struct stat const& one, struct stat const& other) {
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev &&
           one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
           one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

} // namespace

std::shared_ptr<Store> FileStore::open(Ombra::String const& root, Ombra::String const& name) {
    return std::make_shared<FileStore>(stateFolder(root, name));
}

FileStore::FileStore(std::string folder)
    : folder_{std::move(folder)}, file_{folder_ + "/" + stateFileName} {
    readFile();
}

void FileStore::readFile() {
    Descriptor file{::open(file_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat state {};
    if (!file || ::fstat(file.get(), &state) != 0) {
        if (errno == ELOOP) {
            refuseState(file_, "is no regular file of this user. Move the folder away; a new store "
                               "is made.");
        }
        refuseState(file_,
                    fmt::format("can't be opened: {}. Move the folder away; a new store is made.",
                                std::strerror(errno)));
    }
    if (!S_ISREG(state.st_mode) || state.st_uid != ::geteuid()) {
        refuseState(file_,
                    "is no regular file of this user. Move the folder away; a new store is made.");
    }
    std::optional<Entities> entities;
    if (state.st_size >= 0 && static_cast<std::uint64_t>(state.st_size) <= maxBytes) {
        auto const text = readAll(file.get(), static_cast<std::size_t>(state.st_size));
        if (!text) {
            refuseState(file_, fmt::format("can't be read: {}", std::strerror(errno)));
        }
        entities = entitiesOf(*text);
    }
    if (!entities) {
        refuseState(file_, "is damaged or foreign. Move the folder away; a new store is made.");
    }
    entities_ = std::move(*entities);
    open_ = std::move(file);
    seen_ = state;
}

void FileStore::refresh() {
    struct stat state {};
    if (::lstat(file_.c_str(), &state) != 0 || !same(state, seen_)) {
        readFile();
    }
}

std::optional<StoredEntity> FileStore::find(std::string_view path) const {
    auto const found = entities_.find(path);
    return found == entities_.end() ? std::nullopt : std::optional{found->second};
}

// The caller holds the lock of the folder.
void FileStore::replace(Entities next) {
    auto const text = stateTextOf(next);
    if (text.size() > maxBytes) {
        refuseState(file_, fmt::format("can't be written: its {} bytes are full. Remove entities "
                                       "that are not used any more.",
                                       maxBytes));
    }
    std::string const fresh = file_ + ".new";
    ::unlink(fresh.c_str()); // of a process that died on the way
    Descriptor file{::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                           S_IRUSR | S_IWUSR)};
    struct stat state {};
    if (!file || !Ombra::writeAll(file.get(), text) || ::fstat(file.get(), &state) != 0 ||
        ::rename(fresh.c_str(), file_.c_str()) != 0) {
        int const error = errno;
        ::unlink(fresh.c_str());
        refuseChange(file_, error);
    }
    entities_ = std::move(next);
    open_ = std::move(file);
    seen_ = state;
}

std::optional<StoredEntity> FileStore::read(std::string_view path) {
    std::lock_guard const lock{mutex_};
    refresh();
    return find(path);
}

void FileStore::modify(std::string_view path, Modifier const& modifier) {
    std::lock_guard const lock{mutex_};
    FolderLock const alone{folder_};
    refresh();
    if (auto stored = modifier(find(path))) {
        auto next = entities_;
        next.insert_or_assign(std::string{path}, std::move(*stored));
        replace(std::move(next));
    }
}

bool FileStore::remove(std::string_view path) {
    std::lock_guard const lock{mutex_};
    FolderLock const alone{folder_};
    refresh();
    auto next = entities_;
    auto const found = next.find(path);
    if (found == next.end()) {
        return false;
    }
    next.erase(found);
    replace(std::move(next));
    return true;
}

std::vector<std::string> FileStore::paths(std::string_view prefix) {
    std::lock_guard const lock{mutex_};
    refresh();
    std::vector<std::string> result;
    for (auto at = entities_.lower_bound(prefix);
         at != entities_.end() && at->first.starts_with(prefix); ++at) {
        result.push_back(at->first);
    }
    return result;
}

} // namespace Orbis
