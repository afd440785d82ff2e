#pragma once

#include <Ombra/Export.h>
#include <Slate/Mapping.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

// Checks a whole store file, of a live or a dead writer, without changing it.
//
// Looks at every word and every slot that has memory, and reports each damage. On a file that is
// being written, whatever looks damaged is looked at again until it stands still, so what is
// reported is damage and not the writer's work.
namespace Slate {

struct Damage {
    std::string file;
    std::optional<std::uint32_t> slot;
    std::optional<std::uint64_t> key;
    std::string text; // a sentence that names file, place, what was expected and what was found
};

struct VerifyResult {
    std::uint64_t records = 0; // found whole
    std::uint64_t damages = 0;
};

using DamageCallback = std::function<void(Damage const&)>;

// `name` is what the reports call the file.
LOAM_EXPORT VerifyResult verify(FileDescriptor fd, std::string const& name,
                                DamageCallback const& callback);

// The file at a path, which is not followed when it is a symbolic link.
LOAM_EXPORT VerifyResult verify(std::string const& path, DamageCallback const& callback);

} // namespace Slate
