#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The files of a manager's folder.
namespace LoamCtl {

struct TreeFile {
    std::string path;
    std::string name; // below the manager's folder
    std::uint64_t sizeBytes = 0;
    std::uint64_t memoryBytes = 0; // that the file system has given to it
    bool isStore = false;          // a collection
    bool isSetAside = false;       // a collection that was found unfit and made anew
};

// What the head of a collection's file says; checked only as far as reading it is safe.
struct StoreHead {
    std::string typeName;
    std::uint32_t capacity = 0; // records
    std::uint32_t slots = 0;
    std::uint32_t recordBytes = 0;
};

// Regular files in the folder and below, by name. Links are not followed. Throws `UsageError`.
std::vector<TreeFile> filesBelow(std::string const& folder);

// Nothing when the file has no such head.
std::optional<StoreHead> storeHeadOf(std::string const& path);

} // namespace LoamCtl
