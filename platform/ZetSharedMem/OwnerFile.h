#pragma once

#include <ZetSharedMem/SafeFile.h>

#include <string>

namespace ZetSharedMem {

// The ".owner" file beside a collection's file.
//
// Whoever holds the write lock on it is the collection's only writer. It is a lock of the open file
// description: the kernel releases it when the last descriptor of it is closed, and so when the
// process dies. (A child that was forked and did not exec shares the descriptor, and with it the
// lock.) The file is never replaced, so it stays the same lock when the collection is made anew.
//
// Its one line of text says whether the collection was ever completed, and who locked it last.
class OwnerFile {
  public:
    // Makes the file when it is missing. Raises `WriterExistsException` when another holds the
    // lock; `collection` is the file that the text names.
    static OwnerFile lock(FileDescriptor const& folder, std::string const& entry,
                          std::string const& name, std::string const& collection);

    // The collection was completed at some time, so that a missing file is a loss.
    bool known() const { return known_; }
    void knownIs(bool value);

    FileDescriptor release() { return std::move(file_); } // the lock lives as long as this

  private:
    OwnerFile(FileDescriptor file, std::string name);

    FileDescriptor file_;
    std::string name_;
    bool known_ = false;
};

} // namespace ZetSharedMem
