#pragma once

#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/TypeRegistration.h>
#include <ZetSlate/KeyedSlate.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

// Two small entities, and a folder for their files that goes with the process.
namespace SharedMemTest {

struct Key {
    std::uint16_t halves[2];
    Key() : halves{} {}
    explicit Key(std::uint32_t number)
        : halves{static_cast<std::uint16_t>(number), static_cast<std::uint16_t>(number >> 16)} {}
    explicit operator std::uint32_t() const {
        return halves[0] | static_cast<std::uint32_t>(halves[1]) << 16;
    }
};

struct Entry {
    Key first;
    std::uint32_t value = 4711;

    Key key() const { return first; }
};

struct __attribute__((packed, aligned(4))) Change {
    std::uint64_t version = 0;
    std::uint32_t value = 0;
};

class Table : public ZetSlate::KeyedSlate<Table, Entry, Key, &Entry::key> {
  public:
    using KeyedSlate::KeyedSlate;
};

class Log : public ZetSlate::KeyedSlate<Log, Change, std::uint64_t, &Change::version> {
  public:
    using KeyedSlate::KeyedSlate;
};

inline ZetSharedMem::TypeRegistration<Table> const tableRegistration{"Test::Table"};
inline ZetSharedMem::TypeRegistration<Log> const logRegistration{"Test::Log"};

// Removes the folder when the process that made it ends; forked children leave it alone.
struct RootFolder {
    std::string path;
    pid_t const maker = ::getpid();

    RootFolder() {
        char pattern[] = "/dev/shm/loam-test-XXXXXX";
        path = ::mkdtemp(pattern);
        ZetSharedMem::setRoot(path + "/root");
    }
    ~RootFolder() {
        if (::getpid() == maker) {
            std::filesystem::remove_all(path);
        }
    }
};
inline RootFolder const rootFolder;

inline ZetSlate::MountInfo mountInfo(ZetSlate::ZetSlateType type = ZetSlate::ZetSlateType::writer,
                                     std::uint32_t capacity = 100) {
    ZetSlate::MountInfo info{type};
    info.collectionInfoIs({"entries", capacity, false});
    return info;
}

template <typename Entity = Table>
Ombra::Ptr<Entity> mount(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager,
                         std::string const& path, ZetSlate::MountInfo const& info = mountInfo()) {
    auto const group = manager->getMountGroup();
    group->mount(path, std::is_same_v<Entity, Log> ? "Test::Log" : "Test::Table", info);
    group->doClose();
    return Ombra::dynamicCast<Entity>(manager->getEntity(path));
}

inline ZetSlate::MountInfo readInfo() {
    return ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader};
}

inline Entry entryOf(std::uint32_t key, std::uint32_t value) {
    Entry entry;
    entry.first = Key{key};
    entry.value = value;
    return entry;
}

} // namespace SharedMemTest
