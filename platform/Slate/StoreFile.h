#pragma once

#include <Ombra/Export.h>
#include <Slate/Geometry.h>
#include <Slate/Layout.h>
#include <Slate/StoreSpec.h>

#include <optional>
#include <string>

namespace Slate {

// What a file says that it holds: everything that a spec tells, with the layout's hash.
struct FileKind {
    std::string typeName;
    std::string collectionName;
    std::uint32_t recordBytes = 0;
    std::uint32_t keyBytes = 0;
    std::uint32_t capacity = 0;
    Order order = Order::keyMix;
    std::uint64_t layoutHash = 0;
};

// Nothing when the file has no whole superblock.
LOAM_EXPORT std::optional<FileKind> kindOf(int fd);

// The superblock of a file, all zero when it can't be read whole.
Superblock readSuperblock(int fd);

// The geometry that a superblock's sizes ask for. Raises `BadFileException`.
Geometry geometryOf(Superblock const& superblock, std::string const& name);

} // namespace Slate
