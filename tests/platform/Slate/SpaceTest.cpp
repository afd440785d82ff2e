#include "StoreFixture.h"

#include <Slate/Exceptions.h>
#include <Slate/Extents.h>
#include <Slate/Verify.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <vector>

// A file system without room: an exception, nothing changed, no signal.
using namespace SlateTest;
using Slate::Order;

namespace {

int refuse(int, std::uint64_t, std::uint64_t) {
    return ENOSPC;
}

// For the life of the object no store is given memory.
struct NoRoom {
    NoRoom() { Slate::Extents::allocateCallIs(&refuse); }
    ~NoRoom() { Slate::Extents::allocateCallIs(nullptr); }
};

} // namespace

TEST(Space, AStoreIsNotMadeWithoutRoom) {
    NoRoom const noRoom;
    Slate::FileDescriptor const fd{::memfd_create("full", MFD_CLOEXEC)};
    try {
        Slate::Store::format(fd.get(), "full", specOf(Order::keyMix, 16), false);
        FAIL();
    } catch (Slate::NoSpaceException const& exception) {
        EXPECT_EQ(exception.msg(),
                  "full: no memory for its first 12288 bytes: No space left on device");
    }
}

TEST(Space, AStoreWithoutRoomIsNotChanged) {
    for (Order const order : {Order::keyMix, Order::version}) {
        MemoryFile const file{specOf(order, 4000)};
        auto const store = file.writer();
        Content content;
        std::uint64_t refused = 0;
        for (std::uint64_t key = 1; key <= 4000; ++key) {
            if (key % 3 != 0) {
                put(*store, key, 1);
                content[key] = 1;
                continue;
            }
            NoRoom const noRoom;
            try {
                put(*store, key, 1);
                content[key] = 1;
            } catch (Slate::NoSpaceException const&) {
                ++refused;
                ASSERT_EQ(get(*store, key), -1);
            }
            ASSERT_EQ(store->memberCount(), content.size());
        }
        EXPECT_GT(refused, 5U);
        EXPECT_EQ(walk(*store), content);
        EXPECT_EQ(walk(*file.reader()), content);
        for (std::uint64_t key = 1; key <= 4000; ++key) {
            put(*store, key, 2); // room again
        }
        EXPECT_EQ(store->memberCount(), 4000U);
    }
}

TEST(Space, AChainDoesNotGrowWithoutRoom) {
    MemoryFile const file{specOf(Order::version, 4000)};
    auto const store = file.writer();
    std::uint64_t const step = std::uint64_t{7} * 1024; // versions of one chain
    for (std::uint64_t index = 0; index < 7; ++index) {
        put(*store, index * step, 1);
    }
    {
        NoRoom const noRoom;
        EXPECT_THROW(put(*store, 7 * step, 1), Slate::NoSpaceException);
        EXPECT_EQ(get(*store, 7 * step), -1);
        EXPECT_EQ(store->memberCount(), 7U);
    }
    put(*store, 7 * step, 1);
    EXPECT_EQ(get(*store, 7 * step), 1);
}

// A real tmpfs of 2 MB in a mount name space of a child process. Readers of a part that never got
// its memory must not touch it either.
TEST(Space, AFullTmpfsRaisesAndSendsNoSignal) {
    pid_t const child = ::fork();
    if (child == 0) {
        bool const mounted =
            (::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
            ::mount("tmpfs", "/tmp", "tmpfs", 0, "size=2m") == 0;
        if (!mounted) {
            ::_exit(77);
        }
        Slate::StoreSpec const spec = specOf(Order::version, 1'000'000);
        int const fd = ::open("/tmp/store", O_RDWR | O_CREAT | O_EXCL, 0600);
        Slate::Store::format(fd, "store", spec, false);
        Slate::Store writer{Slate::FileDescriptor{fd}, "store", spec, Slate::Store::Mode::write};
        std::uint64_t count = 0;
        try {
            for (;; ++count) {
                put(writer, count * 1000, 1);
            }
        } catch (Slate::NoSpaceException const&) {
        }
        Slate::Store reader{Slate::FileDescriptor{::open("/tmp/store", O_RDONLY)}, "store", spec,
                            Slate::Store::Mode::read};
        bool good = count > 0 && writer.memberCount() == count;
        for (std::uint64_t index = 0; index < 1'000'000; index += 500) {
            std::int64_t const expected = index % 1000 == 0 && index / 1000 < count ? 1 : -1;
            good = good && get(writer, index) == expected && get(reader, index) == expected;
        }
        Record record{};
        std::uint64_t seen = 0;
        for (bool more = reader.iterFirst(&record, nullptr); more;
             more = reader.iterNext(record.key, &record, nullptr)) {
            ++seen;
        }
        auto const verified = Slate::verify("/tmp/store", [](Slate::Damage const&) {});
        good = good && seen == count && verified.records == count && verified.damages == 0;
        ::_exit(good ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "this user may not mount a tmpfs; the tests above play a full one";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// The addresses of a 32-bit process are 4 GiB. Memory is used for what is stored alone.
TEST(Space, FilesThatAreLongerTogetherThanAllAddressesOf32BitsAreOpenAtOnce) {
    using Wide = std::array<std::uint64_t, 25>;
    constexpr std::uint32_t capacity = 1'000'000;
    std::vector<std::unique_ptr<MemoryFile>> files;
    std::vector<std::unique_ptr<Slate::Store>> stores;
    std::uint64_t bytes = 0;
    for (std::size_t number = 0; number < 24; ++number) {
        files.push_back(
            std::make_unique<MemoryFile>(specOf(Order::version, capacity, sizeof(Wide))));
        stores.push_back(files.back()->writer());
        bytes += Slate::Geometry::of(files.back()->spec(), "test").fileBytes;
        for (std::uint64_t const key : {std::uint64_t{1}, std::uint64_t{capacity}}) {
            Wide record{};
            record.fill(key * 100 + number);
            stores.back()->put(key, record.data());
        }
    }
    EXPECT_GT(bytes, std::uint64_t{1} << 32);
    for (std::size_t number = 0; number < stores.size(); ++number) {
        auto const reader = files[number]->reader();
        for (auto* const store : {stores[number].get(), reader.get()}) {
            for (std::uint64_t const key : {std::uint64_t{1}, std::uint64_t{capacity}}) {
                Wide buffer{};
                auto const* const found = static_cast<Wide const*>(store->lookup(key, &buffer));
                ASSERT_NE(found, nullptr);
                EXPECT_EQ(found->front(), key * 100 + number);
                EXPECT_EQ(found->back(), key * 100 + number);
            }
        }
    }
}
