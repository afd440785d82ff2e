#pragma once

#include <apps/agent/AgentTable.h>
#include <apps/agent/record/RecordedOperation.h>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

// Writes a record's file. When the next line would pass its bound, the record is closed as full,
// and what comes then is not recorded. Agent's thread; a line is a copy into a buffer, and now and
// then a write to the file.
namespace LoamAgent {

class Recorder {
  public:
    // Makes the file, mode 0600; one that is there is refused. Throws `Ombra::Exception`.
    Recorder(std::string path, std::uint64_t mostBytes);

    // Appends an operation that gave a handle, or null; what it depends on may be null.
    void note(RecordedOperation operation, Handle const& dependency, std::string dependencyTable,
              Handle const& handle);

    // Ends the record. Why it is not whole, or nothing.
    std::string close();

    std::string const& path() const { return path_; }
    std::uint64_t operations() const { return operations_; }
    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t mostBytes() const { return mostBytes_; }
    bool full() const { return full_; }

  private:
    struct Recent {
        Handle handle;
        std::uint64_t number = 0;
    };
    struct Closing {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::uint64_t numberOf(Handle const& handle) const;
    void put(std::string const& line);

    std::string path_;
    std::uint64_t mostBytes_;
    std::unique_ptr<std::FILE, Closing> file_;
    std::array<Recent, 64> recent_; // nearly all depend on what was asked for just before
    std::uint64_t operations_ = 0;
    std::uint64_t bytes_ = 0;
    bool full_ = false;
    bool failed_ = false;
};

} // namespace LoamAgent
