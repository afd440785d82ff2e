#pragma once

#include <Orbis/StoreException.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Where the entities of one manager are kept: values by path, each change atomic.
//
// The border between the entities and what holds them. There are two: the process's own memory, and
// a folder that all processes of the switch share; another one goes behind the same operations.
namespace Orbis {

struct StoredEntity {
    std::string typeName;
    std::string content; // as the type writes it

    friend bool operator==(StoredEntity const&, StoredEntity const&) = default;
};

class Store {
  public:
    using Modifier = std::function<std::optional<StoredEntity>(std::optional<StoredEntity> const&)>;

    virtual ~Store() = default;

    // Nothing when there is none at the path.
    virtual std::optional<StoredEntity> read(std::string_view path) = 0;

    // Reads, calls `modifier` with what is there, and writes what it gives; nothing stands for
    // leaving all as it is. No other process or thread changes the store meanwhile. An exception of
    // `modifier` passes through and changes nothing. `modifier` must not use the store, and may be
    // called a second time.
    virtual void modify(std::string_view path, Modifier const& modifier) = 0;

    // Whether there was one.
    virtual bool remove(std::string_view path) = 0;

    // The paths that begin with `prefix`, in byte order.
    virtual std::vector<std::string> paths(std::string_view prefix) = 0;
};

} // namespace Orbis
