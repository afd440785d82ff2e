#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/LocalMemory.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace ZetSharedMem {

namespace {

using Slate::FileDescriptor;

struct Segment {
    FileDescriptor memory;
    std::weak_ptr<void> writer;
};

using Key = std::pair<std::string, std::string>; // manager, path

std::map<Key, Segment>& segments() {
    static auto& instance = *new std::map<Key, Segment>; // lives as long as the process
    return instance;
}

FileDescriptor duplicate(FileDescriptor const& file, std::string const& name) {
    FileDescriptor result{::fcntl(file.get(), F_DUPFD_CLOEXEC, 0)};
    if (!result) {
        throw MountException{fmt::format("{}: no descriptor: {}", name, std::strerror(errno))};
    }
    return result;
}

FileDescriptor makeMemory(std::string const& name, Slate::StoreSpec const& spec, bool wiped) {
    FileDescriptor memory{::memfd_create("loam-local", MFD_CLOEXEC)};
    if (!memory) {
        throw MountException{fmt::format("{}: no memory: {}", name, std::strerror(errno))};
    }
    Slate::Store::format(memory.get(), name, spec, wiped);
    return memory;
}

std::string nameOf(Key const& key) {
    return fmt::format("local:{}/{}", key.first, key.second);
}

} // namespace

bool isAtOrBelow(std::string const& path, std::string const& base) {
    return path == base || path.starts_with(base + "/");
}

std::shared_ptr<Slate::Store> LocalMemory::openForWriting(std::string const& path,
                                                          Slate::StoreSpec const& spec) const {
    Key const key{manager_, path};
    std::string const name = nameOf(key);
    auto found = segments().find(key);
    if (found != segments().end() && !found->second.writer.expired()) {
        throw WriterExistsException{
            fmt::format("{}: this process writes this collection already; close it first", name)};
    }
    bool const known = found != segments().end();
    if (!known || Slate::Store::unfit(found->second.memory.get(), spec)) {
        Segment segment{makeMemory(name, spec, known), {}};
        found = segments().insert_or_assign(key, std::move(segment)).first;
    }
    auto store = std::make_shared<Slate::Store>(duplicate(found->second.memory, name), name, spec,
                                                Slate::Store::Mode::write);
    auto const lock = std::make_shared<int>(0);
    found->second.writer = lock;
    store->keepWhileWriting(lock);
    return store;
}

std::shared_ptr<Slate::Store> LocalMemory::openForReading(std::string const& path,
                                                          Slate::StoreSpec const& spec) const {
    Key const key{manager_, path};
    auto const found = segments().find(key);
    if (found == segments().end()) {
        return nullptr;
    }
    std::string const name = nameOf(key);
    return std::make_shared<Slate::Store>(duplicate(found->second.memory, name), name, spec,
                                          Slate::Store::Mode::read);
}

std::vector<std::string> LocalMemory::list(std::string const& base) const {
    std::vector<std::string> result;
    for (auto const& [key, segment] : segments()) {
        if (key.first == manager_ && isAtOrBelow(key.second, base)) {
            result.push_back(key.second);
        }
    }
    return result;
}

void LocalMemory::discard() const {
    std::erase_if(segments(), [this](auto const& item) { return item.first.first == manager_; });
}

} // namespace ZetSharedMem
