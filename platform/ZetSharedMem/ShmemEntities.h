#pragma once

#include <Ombra/Node.h>
#include <Ombra/String.h>

#include <cstddef>
#include <map>

namespace ZetSharedMem {

// What a search looks for. There is one kind today: an entity that is a slate.
enum class ZetSharedMemType { slate = 1 };

// The result of a search: the paths of the entities found, each with the number of its collections.
class ShmemEntities : public Ombra::Node {
  public:
    std::map<Ombra::String, unsigned int> count;

    std::size_t size() const { return count.size(); }
};

} // namespace ZetSharedMem
