#pragma once

#include <Ombra/String.h>

#include <lmdb.h>

#include <string>
#include <string_view>

// The folders and files under the LMDB store. Internal to the folder.
namespace Orbis {

// The one true path of `ROOT/NAME/.state`, with a whole environment in it, made if need be, mode
// 0700. Throws `StoreException`: a name that is no folder name, a folder of another owner or open
// to others, a link in its place, no room.
std::string stateFolder(Ombra::String const& root, Ombra::String const& name);

// Opens the environment in the folder, for the caller to close.
MDB_env* openEnvironment(std::string const& folder);

// Throws the `StoreException` for what LMDB or the system says by `code`.
[[noreturn]] void refuseState(std::string_view folder, std::string_view action, int code);

} // namespace Orbis
