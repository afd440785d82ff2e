#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>
#include <RingScribe/TraceFile.h>

#include <cstddef>
#include <cstdint>
#include <memory>

// The process's ring trace: what happened last, always on, in a file in shared memory that can be
// read while the process runs and after it has died.
//
// The program opens it once, early; without that, messages are skipped. A process with one thread
// has one file. In a process with several, each thread writes a file of its own (PATH.t1, PATH.t2,
// ...), so that no message waits for another; a thread that ends leaves its file to the next new
// one.
//
// A forked child has no ring trace until it opens one.
namespace RingScribe {

enum class Threads { one, many };

class LOAM_EXPORT TraceHandle {
  public:
    TraceHandle(Ombra::String path, std::size_t sizeBytes, Threads threads);
    TraceHandle(TraceHandle const&) = delete;
    TraceHandle& operator=(TraceHandle const&) = delete;
    ~TraceHandle();

    bool isMultiThreaded() const noexcept { return multiThreaded_ != 0; }

    // The handle's own file; null in multi-threaded use.
    TraceFile* traceFile() const noexcept { return traceFile_.get(); }

    // The calling thread's file, made at the thread's first message; null when it can't be made,
    // which is reported once.
    TraceFile* mtTraceFile();

  private:
    struct ThreadFiles;
    struct ThreadFile;

    TraceFile* threadFileIs();

    std::uintptr_t multiThreaded_; // the first word: not 0 in multi-threaded use
    std::uint64_t serial_;         // tells apart handles that were at one address
    std::unique_ptr<TraceFile> traceFile_;
    std::shared_ptr<ThreadFiles> threadFiles_;
};

// Null until `open`, and after `close`.
LOAM_EXPORT extern TraceHandle* defaultRingScribeHandle;

// Makes the process's ring trace at `path`; `sizeBytes` is that of each file. A ring opened before
// is closed. Throws `FileException`, and then the process has no ring trace. Called before other
// threads write messages, as is `close`.
LOAM_EXPORT void open(Ombra::String const& path, std::size_t sizeBytes,
                      Threads threads = Threads::one);
LOAM_EXPORT void close() noexcept;

// Where the calling thread's messages go; null when there is no ring trace.
inline TraceFile* currentTraceFile() {
    TraceHandle* const handle = defaultRingScribeHandle;
    if (handle == nullptr) {
        return nullptr;
    }
    return handle->isMultiThreaded() ? handle->mtTraceFile() : handle->traceFile();
}

} // namespace RingScribe
