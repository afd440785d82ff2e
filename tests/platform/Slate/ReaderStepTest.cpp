#include "StoreFixture.h"

#include <Ombra/Exception.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <support/SingleStep.h>
#include <sys/mman.h>
#include <vector>

// A reader is stopped behind each of its instructions, and the file becomes another one there: what
// a writer has made of it meanwhile, or what a writer left that was killed, or what the next writer
// made of that. Then the reader goes on. The protocol's model is platform/Slate/Store.pml; these
// are the interleavings that it has shown to matter.
using namespace SlateTest;
using Slate::Order;
using testing_support::SteppedChild;

namespace {

using Image = std::vector<char>;
using Answers = std::set<std::int64_t>;

constexpr std::int64_t damage = -2;

Image imageOf(MemoryFile const& file) {
    Image image(static_cast<std::size_t>(::lseek(file.fd(), 0, SEEK_END)));
    EXPECT_EQ(::pread(file.fd(), image.data(), image.size(), 0),
              static_cast<ssize_t>(image.size()));
    return image;
}

void imageIs(MemoryFile const& file, Image const& image) {
    EXPECT_EQ(::pwrite(file.fd(), image.data(), image.size(), 0),
              static_cast<ssize_t>(image.size()));
}

std::int64_t valueOf(MemoryFile const& file, std::uint64_t key) {
    return get(*file.reader(), key);
}

// Each image that the file has while a child does the work.
template <typename Work>
std::vector<Image> imagesDuring(MemoryFile const& file, Work const& work) {
    std::vector<Image> images{imageOf(file)};
    std::size_t const size = images.front().size();
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.fd(), 0);
    EXPECT_NE(mapped, MAP_FAILED);
    SteppedChild child{work};
    while (child.step()) {
        if (std::memcmp(mapped, images.back().data(), size) != 0) {
            images.push_back(imageOf(file));
        }
    }
    EXPECT_EQ(child.status(), 0);
    ::munmap(mapped, size);
    return images;
}

// What `read` gives when the file turns from one image into the other behind its n-th instruction,
// for each n, or for some 60 of them.
template <typename Read>
Answers answersAcross(MemoryFile const& file, Image const& before, Image const& behind,
                      Read const& read) {
    auto* const answer = static_cast<std::int64_t volatile*>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Answers answers;
    auto const reader = file.reader();
    imageIs(file, before);
    static_cast<void>(read(*reader)); // what is done at a first call only is done
    auto const work = [&] {
        try {
            *answer = read(*reader);
        } catch (Ombra::CorruptionDetectedException const&) {
            *answer = damage;
        }
        ::_exit(0);
    };
    SteppedChild measured{work};
    while (measured.step()) {
    }
    std::uint64_t const stride = measured.steps() / 60 + 1;
    for (std::uint64_t turn = 0; turn < measured.steps(); turn += stride) {
        imageIs(file, before);
        SteppedChild child{work};
        while (child.steps() < turn && child.step()) {
        }
        imageIs(file, behind);
        child.finish();
        answers.insert(std::int64_t{*answer});
    }
    ::munmap(const_cast<std::int64_t*>(answer), 4096);
    return answers;
}

// The last images of puts of 3, 4 ... before they are committed: behind each stands the value
// before.
std::vector<Image> uncommittedPuts(MemoryFile const& file, std::uint64_t key) {
    std::vector<Image> result;
    for (std::uint32_t value = 3; value < 6; ++value) {
        auto const writer = file.writer();
        auto const images = imagesDuring(file, [&] { put(*writer, key, value); });
        for (auto image = images.rbegin(); image != images.rend(); ++image) {
            imageIs(file, *image);
            if (valueOf(file, key) == value - 1) {
                result.push_back(*image);
                break;
            }
        }
        imageIs(file, images.back());
    }
    return result;
}

std::int64_t firstOfWalk(Slate::Store& store) {
    Record record{};
    return store.iterFirst(&record, nullptr) ? std::int64_t{record.value} : -1;
}

} // namespace

TEST(ReaderStep, ASlotThatIsTakenAgainMeanwhileShowsNothingThatIsNotCommitted) {
    MemoryFile const file{specOf(Order::keyMix, 1)};
    put(*file.writer(), 1, 1);
    Image const before = imageOf(file);
    put(*file.writer(), 1, 2);
    std::int64_t committed = 2;
    for (Image const& behind : uncommittedPuts(file, 1)) {
        Answers const allowed{1, committed};
        for (auto const& answers :
             {answersAcross(file, before, behind, [](auto& store) { return get(store, 1); }),
              answersAcross(file, before, behind, firstOfWalk)}) {
            for (std::int64_t const answer : answers) {
                EXPECT_TRUE(allowed.contains(answer))
                    << "read " << answer << ", while " << committed << " was committed";
            }
        }
        ++committed;
    }
    EXPECT_EQ(committed, 5);
}

// A removal moves the chain's last word into the hole; the writer dies before it has said so, and
// the next one takes the second word away.
TEST(ReaderStep, AWordThatADeadWriterMovedIsFoundWhereverTheReaderStands) {
    MemoryFile const file{specOf(Order::version, 16)};
    auto const chained = [](std::uint64_t index) { return 3 + index * 28; };
    {
        auto const writer = file.writer();
        for (std::uint64_t index = 0; index < 8; ++index) {
            put(*writer, chained(index), 1);
        }
    }
    Image const before = imageOf(file);
    auto const last = chained(7);
    std::vector<Image> images;
    {
        auto const writer = file.writer();
        images = imagesDuring(file, [&] { writer->erase(chained(2)); });
    }
    std::size_t tried = 0;
    for (Image const& left : images) {
        imageIs(file, left);
        static_cast<void>(file.writer()); // the next writer
        Image const behind = imageOf(file);
        if (valueOf(file, chained(2)) != -1) {
            continue; // not committed: nothing has moved
        }
        ++tried;
        EXPECT_EQ(
            answersAcross(file, before, behind, [&](auto& store) { return get(store, last); }),
            Answers{1});
        if (HasFailure()) {
            break;
        }
    }
    EXPECT_GT(tried, 2U);
}
