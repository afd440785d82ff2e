#pragma once

#include <Orbis/Store.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>

// What stands in the one file of a state store, `entities`. Internal to the folder.
//
// The same bytes in 32-bit and 64-bit processes; numbers have their least byte first.
//
// | OFFSET | SIZE | content                                                       |
// |--------|------|---------------------------------------------------------------|
// | 0      | 8    | `stateMagic`                                                  |
// | 8      | 4    | format version, 1                                             |
// | 12     | 4    | number of entities                                            |
// | 16     | 8    | FNV-1a of all that follows, 64 bits                           |
// | 24     |      | the entities, in byte order of their paths, each of them:     |
// | 0      | 4    | bytes of its path                                             |
// | 4      | 4    | bytes of its type's name                                      |
// | 8      | 4    | bytes of its content                                          |
// | 12     |      | path, type's name, content                                    |
namespace Orbis {

using Entities = std::map<std::string, StoredEntity, std::less<>>;

inline constexpr std::string_view stateMagic = "LOAMSTAT";

std::string stateTextOf(Entities const& entities);

// Nothing when the text is damaged, foreign or cut.
std::optional<Entities> entitiesOf(std::string_view text);

} // namespace Orbis
