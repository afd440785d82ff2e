#include "StoreFixture.h"

#include <Ombra/Exception.h>
#include <Slate/Verify.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <set>
#include <sys/ptrace.h>
#include <sys/wait.h>

// A process is stopped after every single machine instruction of store operations, and of the
// recovery that follows a death in the middle of one. Whenever an instruction has changed the file,
// the file is looked at as a reader would, as a tool would, and as a restarted writer would.
using namespace SlateTest;
using Slate::Order;

namespace {

struct Operation {
    enum Kind { put, erase, scratchpad } kind;
    std::uint64_t key;
    std::uint32_t value;
};

struct State {
    Content content;
    std::uint64_t scratchpad = 0;
    bool operator==(State const&) const = default;
};

void apply(Slate::Store& store, Operation const& operation) {
    switch (operation.kind) {
    case Operation::put:
        put(store, operation.key, operation.value);
        break;
    case Operation::erase:
        store.erase(operation.key);
        break;
    case Operation::scratchpad:
        store.scratchpadIs(operation.key);
        break;
    }
}

State after(State state, Operation const& operation) {
    switch (operation.kind) {
    case Operation::put:
        state.content[operation.key] = operation.value;
        break;
    case Operation::erase:
        state.content.erase(operation.key);
        break;
    case Operation::scratchpad:
        state.scratchpad = operation.key;
        break;
    }
    return state;
}

State stateOf(Slate::Store& store, std::set<std::uint64_t> const& keys) {
    State result{walk(store), store.scratchpad()};
    for (std::uint64_t const key : keys) {
        auto const found = result.content.find(key);
        EXPECT_EQ(get(store, key),
                  found == result.content.end() ? -1 : std::int64_t{found->second});
    }
    return result;
}

using Image = std::vector<char>;

Image imageOf(int fd) {
    Image image(static_cast<std::size_t>(::lseek(fd, 0, SEEK_END)));
    EXPECT_EQ(::pread(fd, image.data(), image.size(), 0), static_cast<ssize_t>(image.size()));
    return image;
}

Slate::FileDescriptor copyOf(Image const& image) {
    Slate::FileDescriptor fd{::memfd_create("slate-image", MFD_CLOEXEC)};
    EXPECT_EQ(::write(fd.get(), image.data(), image.size()), static_cast<ssize_t>(image.size()));
    return fd;
}

std::uint64_t damagesIn(Image const& image) {
    return Slate::verify(copyOf(image), "image",
                         [](Slate::Damage const& damage) { ADD_FAILURE() << damage.text; })
        .damages;
}

State recoveredFrom(Image const& image, Slate::StoreSpec const& spec,
                    std::set<std::uint64_t> const& keys) {
    Slate::FileDescriptor const copy = copyOf(image);
    auto const open = [&] {
        return Slate::Store{Slate::FileDescriptor{::dup(copy.get())}, "image", spec,
                            Slate::Store::Mode::write};
    };
    State first;
    Image once;
    {
        auto store = open();
        first = stateOf(store, keys);
        EXPECT_EQ(store.memberCount(), first.content.size());
        EXPECT_EQ(damagesIn(imageOf(copy.get())), 0U);
        once = imageOf(copy.get());
    }
    auto store = open();
    EXPECT_EQ(stateOf(store, keys), first) << "a second recovery gives something else";
    return first;
}

// Runs `work` in a child process, one instruction at a time, and calls `changed` with the file's
// image whenever that is another than before.
void stepThrough(int fd, std::function<void()> const& work,
                 std::function<void(Image const&)> const& changed) {
    pid_t const child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        work();
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSTOPPED(status));
    Image last = imageOf(fd);
    void* const mapped = ::mmap(nullptr, last.size(), PROT_READ, MAP_SHARED, fd, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    std::uint64_t steps = 0;
    for (;; ++steps) {
        ASSERT_EQ(::ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr), 0) << std::strerror(errno);
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        if (WIFEXITED(status)) {
            break;
        }
        ASSERT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP) << status;
        if (std::memcmp(mapped, last.data(), last.size()) != 0) {
            std::memcpy(last.data(), mapped, last.size());
            changed(last);
            if (testing::Test::HasFailure()) {
                ::kill(child, SIGKILL);
                ::waitpid(child, &status, 0);
                break;
            }
        }
    }
    ::munmap(mapped, last.size());
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_GT(steps, 1000U);
}

struct Interrupted {
    Image image;
    State before;
    State after;
};

// Applies `operations` after `preparation`, the last ones step by step, and checks that each is
// there as a whole or not at all, and never goes away again. Gives the images in between.
std::vector<Interrupted> stepThroughOperations(MemoryFile const& file,
                                               std::vector<Operation> const& preparation,
                                               std::vector<Operation> const& operations) {
    State state;
    std::set<std::uint64_t> keys;
    {
        auto const store = file.writer();
        for (Operation const& operation : preparation) {
            apply(*store, operation);
            state = after(state, operation);
            keys.insert(operation.key);
        }
    }
    for (Operation const& operation : operations) {
        keys.insert(operation.key);
    }
    // The number of operations that the child has completed.
    auto* const completed = static_cast<std::uint32_t volatile*>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *completed = 0;
    std::vector<State> states{state};
    for (Operation const& operation : operations) {
        states.push_back(after(states.back(), operation));
    }
    std::vector<Interrupted> images;
    std::size_t reached = 0; // states[reached] has been seen
    auto writer = file.writer();
    stepThrough(
        file.fd(),
        [&] {
            for (Operation const& operation : operations) {
                apply(*writer, operation);
                *completed = *completed + 1;
            }
        },
        [&](Image const& image) {
            std::size_t const done = *completed;
            State const& before = states[done];
            State const& next = states[std::min(done + 1, operations.size())];
            State const seen = stateOf(*file.reader(), keys);
            EXPECT_TRUE(seen == before || seen == next) << "operation " << done;
            std::size_t const at = seen == before ? done : done + 1;
            EXPECT_GE(at, reached) << "operation " << done << " went away again";
            reached = at;
            EXPECT_EQ(recoveredFrom(image, file.spec(), keys), seen);
            EXPECT_EQ(damagesIn(image), 0U);
            images.push_back({image, before, next});
        });
    ::munmap(const_cast<std::uint32_t*>(completed), 4096);
    EXPECT_EQ(stateOf(*file.reader(), keys), states.back());
    return images;
}

// Versions that share a chain of a store for 16 records.
std::uint64_t chained(std::uint64_t index) {
    return 3 + index * 28;
}

std::vector<Operation> putChained(std::uint64_t count) {
    std::vector<Operation> result;
    for (std::uint64_t index = 0; index < count; ++index) {
        result.push_back({Operation::put, chained(index), 1});
    }
    return result;
}

} // namespace

TEST(Step, InsertReplaceRemoveAndScratchpadAreWholeOrAbsentAfterEveryInstruction) {
    MemoryFile const file{specOf(Order::keyMix, 16)};
    auto const images = stepThroughOperations(file, {{Operation::put, 1, 1}},
                                              {{Operation::put, 2, 2},
                                               {Operation::put, 1, 3},
                                               {Operation::scratchpad, 77, 0},
                                               {Operation::erase, 2, 0},
                                               {Operation::erase, 1, 0},
                                               {Operation::put, 2, 4}});
    EXPECT_GT(images.size(), 40U);
}

TEST(Step, ChainsGrowAndShrinkWithoutLosingAnEntryAtAnyInstruction) {
    MemoryFile const file{specOf(Order::version, 16)};
    // Chain of 7: the next one needs an overflow bucket. Then removals that fill the hole from the
    // overflow bucket, and that empty it.
    stepThroughOperations(file, putChained(7),
                          {{Operation::put, chained(7), 2},
                           {Operation::put, chained(8), 2},
                           {Operation::erase, chained(2), 0},
                           {Operation::erase, chained(3), 0},
                           {Operation::put, chained(9), 2},
                           {Operation::put, chained(2), 2},
                           {Operation::erase, chained(2), 0}});
}

TEST(Step, FirstRecordOfANewStoreIsWholeOrAbsentAfterEveryInstruction) {
    MemoryFile const file{specOf(Order::version, 16)};
    stepThroughOperations(file, {}, {{Operation::put, 1, 1}});
}

TEST(Step, RecoveryMayDieAtEveryInstruction) {
    MemoryFile const file{specOf(Order::version, 16)};
    auto const images = stepThroughOperations(
        file, putChained(9), {{Operation::erase, chained(2), 0}, {Operation::put, chained(4), 5}});
    std::set<std::uint64_t> keys;
    for (std::uint64_t index = 0; index < 10; ++index) {
        keys.insert(chained(index));
    }
    std::size_t const stride = std::max<std::size_t>(images.size() / 4, 1);
    for (std::size_t index = 0; index < images.size(); index += stride) {
        Interrupted const& from = images[index];
        Slate::FileDescriptor const copy = copyOf(from.image);
        State const expected = recoveredFrom(from.image, file.spec(), keys);
        stepThrough(
            copy.get(),
            [&] {
                Slate::Store{Slate::FileDescriptor{::dup(copy.get())}, "image", file.spec(),
                             Slate::Store::Mode::write};
            },
            [&](Image const& image) {
                EXPECT_EQ(recoveredFrom(image, file.spec(), keys), expected);
                Slate::Store reader{copyOf(image), "image", file.spec(), Slate::Store::Mode::read};
                EXPECT_EQ(stateOf(reader, keys), expected);
            });
    }
}

// A damaged directory is repaired from the slots; the repair too may die anywhere.
TEST(Step, RepairMayDieAtEveryInstruction) {
    MemoryFile const file{specOf(Order::version, 16)};
    State state;
    std::set<std::uint64_t> keys;
    {
        auto const store = file.writer();
        for (Operation const& operation : putChained(9)) {
            apply(*store, operation);
            state = after(state, operation);
            keys.insert(operation.key);
        }
    }
    Slate::Geometry const geometry = Slate::Geometry::of(file.spec(), "test");
    file.wordAtIs(geometry.directoryOffset + 8, file.wordAt(geometry.directoryOffset + 8) ^ 0x40);
    file.wordAtIs(geometry.directoryOffset + 56, 0xbad);
    stepThrough(
        file.fd(), [&] { file.writer(); },
        [&](Image const& image) { EXPECT_EQ(recoveredFrom(image, file.spec(), keys), state); });
    EXPECT_EQ(stateOf(*file.reader(), keys), state);
}
