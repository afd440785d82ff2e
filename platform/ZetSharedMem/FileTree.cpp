#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/FileTree.h>
#include <ZetSharedMem/OwnerFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace ZetSharedMem {

namespace {

constexpr std::string_view suffix = ".slate";
constexpr std::size_t maxComponentBytes = 200;

std::vector<std::string> components(std::string const& path) {
    std::vector<std::string> result;
    std::size_t begin = 0;
    for (;;) {
        std::size_t const end = path.find('/', begin);
        result.push_back(path.substr(begin, end - begin));
        if (end == std::string::npos) {
            return result;
        }
        begin = end + 1;
    }
}

void checkComponent(std::string const& part, std::string const& whole) {
    bool const printable =
        std::all_of(part.begin(), part.end(), [](unsigned char letter) { return letter >= 0x20; });
    if (part.empty() || part.front() == '.' || part.size() > maxComponentBytes || !printable) {
        throw MountException{fmt::format("'{}': a name between slashes has 1 to {} bytes, no "
                                         "control characters and no dot in front",
                                         whole, maxComponentBytes)};
    }
}

bool rename(FileDescriptor const& folder, std::string const& from, std::string const& to,
            unsigned int flags) {
    return ::renameat2(folder.get(), from.c_str(), folder.get(), to.c_str(), flags) == 0;
}

// Entity files in a folder and below it. Folders that can't be trusted hold no entities of ours.
void listFolder(FileDescriptor const& folder, std::string const& name, std::string const& prefix,
                std::vector<std::string>& result) {
    DIR* const stream = ::fdopendir(::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0));
    if (stream == nullptr) {
        throw MountException{fmt::format("{}: can't be listed: {}", name, std::strerror(errno))};
    }
    std::unique_ptr<DIR, int (*)(DIR*)> const closer{stream, &::closedir};
    ::rewinddir(stream);
    while (dirent const* const entry = ::readdir(stream)) {
        std::string const item = entry->d_name;
        if (item.front() == '.') {
            continue;
        }
        if (entry->d_type == DT_DIR) {
            auto const inner = openFolder(folder, item, name + "/" + item, Missing::accept);
            if (inner) {
                listFolder(inner, name + "/" + item, prefix + item + "/", result);
            }
        } else if (entry->d_type == DT_REG && item.size() > suffix.size() &&
                   item.ends_with(suffix)) {
            result.push_back(prefix + item.substr(0, item.size() - suffix.size()));
        }
    }
}

} // namespace

void checkPath(std::string const& path) {
    for (std::string const& part : components(path)) {
        checkComponent(part, path);
    }
}

void checkName(std::string const& name) {
    checkComponent(name, name);
    if (name.find('/') != std::string::npos) {
        throw MountException{fmt::format("'{}': a manager's name has no slash", name)};
    }
}

FileTree::FileTree(std::string root, std::string manager)
    : root_{std::move(root)}, manager_{std::move(manager)} {}

std::string FileTree::fileName(std::string const& path) const {
    return fmt::format("{}/{}/{}{}", root_, manager_, path, suffix);
}

FileTree::Place FileTree::place(std::string const& path, Missing missing) const {
    std::string name = root_;
    Place result;
    result.folder = openRoot(root_, missing);
    auto parts = components(path);
    result.stem = parts.back();
    parts.pop_back();
    parts.insert(parts.begin(), manager_);
    for (std::string const& part : parts) {
        if (!result.folder) {
            return result;
        }
        name += "/" + part;
        result.folder = openFolder(result.folder, part, name, missing);
    }
    result.folderName = name;
    return result;
}

std::shared_ptr<Slate::Store> FileTree::openForWriting(std::string const& path,
                                                       Slate::StoreSpec const& spec) const {
    Place const at = place(path, Missing::create);
    std::string const name = fileName(path);
    OwnerFile owner = OwnerFile::lock(at.folder, at.stem + ".owner",
                                      at.folderName + "/" + at.stem + ".owner", name);
    FileDescriptor file = openFile(at.folder, at.stem + std::string{suffix}, name, true);
    if (file) {
        if (auto const reason = Slate::Store::unfit(file.get(), spec)) {
            // The loss is noted before anything is moved, so that it is not forgotten on the way.
            owner.knownIs(true);
            setAside(at);
            file = FileDescriptor{};
        }
    }
    if (!file) {
        file = makeAnew(at, spec, owner.known());
    }
    if (!owner.known()) {
        owner.knownIs(true);
    }
    auto store =
        std::make_shared<Slate::Store>(std::move(file), name, spec, Slate::Store::Mode::write);
    store->keepWhileWriting(std::make_shared<FileDescriptor>(owner.release()));
    return store;
}

void FileTree::setAside(Place const& place) {
    std::string const entry = place.stem + std::string{suffix};
    if (!rename(place.folder, entry, entry + ".bad", 0)) {
        throw MountException{fmt::format("{}/{}: can't be set aside: {}", place.folderName, entry,
                                         std::strerror(errno))};
    }
}

// Nobody sees the file before it is complete. The caller holds the collection's lock, so whatever
// stands under the temporary name was left by a maker that died.
FileDescriptor FileTree::makeAnew(Place const& place, Slate::StoreSpec const& spec, bool wiped) {
    std::string const entry = place.stem + std::string{suffix};
    std::string const temporary = entry + ".new";
    std::string const name = place.folderName + "/" + temporary;
    ::unlinkat(place.folder.get(), temporary.c_str(), 0);
    FileDescriptor file = createFile(place.folder, temporary, name);
    try {
        Slate::Store::format(file.get(), name, spec, wiped);
        if (!rename(place.folder, temporary, entry, RENAME_NOREPLACE)) {
            throw UnsafePathException{fmt::format("{}/{}: can't be put in place: {}",
                                                  place.folderName, entry, std::strerror(errno))};
        }
    } catch (...) {
        ::unlinkat(place.folder.get(), temporary.c_str(), 0);
        throw;
    }
    return file;
}

std::shared_ptr<Slate::Store> FileTree::openForReading(std::string const& path,
                                                       Slate::StoreSpec const& spec) const {
    Place const at = place(path, Missing::accept);
    std::string const name = fileName(path);
    if (!at.folder) {
        return nullptr;
    }
    FileDescriptor file = openFile(at.folder, at.stem + std::string{suffix}, name, false);
    if (!file) {
        return nullptr;
    }
    return std::make_shared<Slate::Store>(std::move(file), name, spec, Slate::Store::Mode::read);
}

std::vector<std::string> FileTree::list(std::string const& base) const {
    std::vector<std::string> result;
    Place const at = place(base, Missing::accept);
    if (!at.folder) {
        return result;
    }
    if (openFile(at.folder, at.stem + std::string{suffix}, fileName(base), false)) {
        result.push_back(base);
    }
    std::string const below = at.folderName + "/" + at.stem;
    auto const folder = openFolder(at.folder, at.stem, below, Missing::accept);
    if (folder) {
        listFolder(folder, below, base + "/", result);
    }
    std::sort(result.begin(), result.end());
    return result;
}

} // namespace ZetSharedMem
