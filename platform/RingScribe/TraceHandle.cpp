#include <RingScribe/TraceHandle.h>

#include <fmt/format.h>

#include <atomic>
#include <cstdio>
#include <list>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <utility>
#include <vector>

namespace RingScribe {

TraceHandle* defaultRingScribeHandle = nullptr;

namespace {

// Guards the lists of all handles' thread files, and stands still over a fork, so that the child
// finds them whole.
std::mutex& filesMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

void partInForkedChild() {
    delete std::exchange(defaultRingScribeHandle, nullptr);
    filesMutex().unlock();
}

void followForks() {
    [[maybe_unused]] static int const once = ::pthread_atfork(
        [] { filesMutex().lock(); }, [] { filesMutex().unlock(); }, partInForkedChild);
}

std::atomic<std::uint64_t> lastSerial{0};

} // namespace

struct TraceHandle::ThreadFiles {
    Ombra::String path;
    std::size_t sizeBytes = 0;
    std::list<TraceFile> files;
    std::vector<TraceFile*> unused; // of threads that have ended
    bool failed = false;            // a file couldn't be made, and that was said

    // Throws `FileException`. The caller holds the lock.
    TraceFile* fileIs() {
        if (!unused.empty()) {
            auto* const file = unused.back();
            unused.pop_back();
            return file;
        }
        return &files.emplace_back(path + fmt::format(".t{}", files.size() + 1), sizeBytes);
    }
};

// A thread's file, and the way to give it back when the thread ends.
struct TraceHandle::ThreadFile {
    std::uint64_t serial = 0; // of the handle that the file is of
    TraceFile* file = nullptr;
    std::weak_ptr<ThreadFiles> owner;

    ~ThreadFile() {
        std::lock_guard const lock{filesMutex()};
        if (auto const files = owner.lock(); files != nullptr && file != nullptr) {
            files->unused.push_back(file);
        }
    }

    static ThreadFile& mine() {
        thread_local ThreadFile threadFile;
        return threadFile;
    }
};

TraceHandle::TraceHandle(Ombra::String path, std::size_t sizeBytes, Threads threads)
    : multiThreaded_{threads == Threads::many}, serial_{++lastSerial} {
    if (threads == Threads::one) {
        traceFile_ = std::make_unique<TraceFile>(std::move(path), sizeBytes);
        return;
    }
    threadFiles_ = std::make_shared<ThreadFiles>();
    threadFiles_->path = std::move(path);
    threadFiles_->sizeBytes = sizeBytes;
    threadFiles_->unused.push_back(threadFiles_->fileIs()); // what is wrong shows now
}

TraceHandle::~TraceHandle() = default;

TraceFile* TraceHandle::mtTraceFile() {
    auto const& mine = ThreadFile::mine();
    return mine.serial == serial_ ? mine.file : threadFileIs();
}

TraceFile* TraceHandle::threadFileIs() {
    std::lock_guard const lock{filesMutex()};
    auto& mine = ThreadFile::mine();
    mine.serial = serial_;
    mine.owner = threadFiles_;
    mine.file = nullptr;
    try {
        mine.file = threadFiles_->fileIs();
    } catch (FileException const& failure) {
        if (!std::exchange(threadFiles_->failed, true)) {
            fmt::print(stderr, "{} Threads beyond this one have no ring trace.\n", failure.what());
        }
    }
    return mine.file;
}

void open(Ombra::String const& path, std::size_t sizeBytes, Threads threads) {
    followForks();
    close();
    defaultRingScribeHandle = new TraceHandle{path, sizeBytes, threads};
}

void close() noexcept {
    delete std::exchange(defaultRingScribeHandle, nullptr);
}

} // namespace RingScribe
