#pragma once

#include <Ombra/String.h>

#include <cstddef>

// How a new ring file takes its place in the file system. Internal to the folder.
namespace RingScribe {

// Makes the file with all its memory, zero, mode 0600, and locks it against a second writer until
// the descriptor is closed. A ring file that is there already becomes PATH.old. Gives the
// descriptor. Throws `FileException` and then leaves what was there: a file of another kind or
// owner, a link, a ring that a live process writes.
int makeFile(Ombra::String const& path, std::size_t sizeBytes);

} // namespace RingScribe
