#pragma once

#include <Slate/Store.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <map>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

// A store in anonymous memory that can be opened again and again, as writer or as reader.
namespace SlateTest {

struct Record {
    std::uint32_t key;
    std::uint32_t value;
    std::uint32_t words[6]; // all follow from key and value, so a mixture of two records shows
};

inline Record recordOf(std::uint64_t key, std::uint32_t value) {
    Record result{static_cast<std::uint32_t>(key), value, {}};
    for (std::uint32_t index = 0; index < 6; ++index) {
        result.words[index] = (result.key * 31 + value) * 977 + index;
    }
    return result;
}

inline bool sound(Record const& record) {
    for (std::uint32_t index = 0; index < 6; ++index) {
        if (record.words[index] != (record.key * 31 + record.value) * 977 + index) {
            return false;
        }
    }
    return true;
}

inline Slate::StoreSpec specOf(Slate::Order order, std::uint32_t capacity,
                               std::uint32_t recordBytes = sizeof(Record)) {
    Slate::StoreSpec spec;
    spec.typeName = "SlateTest::Record";
    spec.collectionName = "records";
    spec.recordBytes = recordBytes;
    spec.keyBytes = order == Slate::Order::keyMix ? 4 : 8;
    spec.capacity = capacity;
    spec.order = order;
    return spec;
}

using Content = std::map<std::uint64_t, std::uint32_t>; // key to value

class MemoryFile {
  public:
    explicit MemoryFile(Slate::StoreSpec spec) : spec_{std::move(spec)} {
        fd_ = Slate::FileDescriptor{::memfd_create("slate-test", MFD_CLOEXEC)};
        Slate::Store::format(fd_.get(), "test", spec_, false);
    }

    std::unique_ptr<Slate::Store> open(Slate::Store::Mode mode) const {
        return std::make_unique<Slate::Store>(
            Slate::FileDescriptor{::fcntl(fd_.get(), F_DUPFD_CLOEXEC, 0)}, "test", spec_, mode);
    }
    std::unique_ptr<Slate::Store> writer() const { return open(Slate::Store::Mode::write); }
    std::unique_ptr<Slate::Store> reader() const { return open(Slate::Store::Mode::read); }

    int fd() const { return fd_.get(); }
    Slate::StoreSpec const& spec() const { return spec_; }

    std::uint64_t wordAt(std::uint64_t offset) const {
        std::uint64_t word = 0;
        EXPECT_EQ(::pread(fd(), &word, 8, static_cast<off_t>(offset)), 8);
        return word;
    }
    void wordAtIs(std::uint64_t offset, std::uint64_t word) const {
        EXPECT_EQ(::pwrite(fd(), &word, 8, static_cast<off_t>(offset)), 8);
    }

  private:
    Slate::FileDescriptor fd_;
    Slate::StoreSpec spec_;
};

inline void put(Slate::Store& store, std::uint64_t key, std::uint32_t value) {
    Record const record = recordOf(key, value);
    store.put(key, &record);
}

// The value of a key, checked to be a record that was stored, or -1.
inline std::int64_t get(Slate::Store& store, std::uint64_t key) {
    Record buffer{};
    void const* const bytes = store.lookup(key, &buffer);
    if (bytes == nullptr) {
        return -1;
    }
    auto const& record = *static_cast<Record const*>(bytes);
    EXPECT_TRUE(sound(record));
    EXPECT_EQ(record.key, static_cast<std::uint32_t>(key));
    return record.value;
}

// All that a walk finds. `keyOf` widens the 32 bits of key in the record; a key that is seen twice
// is a failure.
template <typename KeyOf>
Content walk(Slate::Store& store, KeyOf const& keyOf) {
    Content result;
    Record record{};
    for (bool more = store.iterFirst(&record, nullptr); more;
         more = store.iterNext(keyOf(record), &record, nullptr)) {
        EXPECT_TRUE(sound(record));
        EXPECT_TRUE(result.emplace(keyOf(record), record.value).second)
            << "seen twice: " << record.key;
    }
    return result;
}

inline Content walk(Slate::Store& store) {
    return walk(store, [](Record const& record) { return std::uint64_t{record.key}; });
}

} // namespace SlateTest
