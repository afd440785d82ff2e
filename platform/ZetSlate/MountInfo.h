#pragma once

#include <ZetSlate/CollectionInfo.h>
#include <ZetSlate/ZetSlateType.h>

#include <utility>
#include <vector>

namespace ZetSlate {

// Describes a mount: what it is for, and the collections of the entity.
class MountInfo {
  public:
    // Also from the number, 0 for the writer and 1 for a reader.
    explicit MountInfo(ZetSlateType type) : type_{type} {}
    explicit MountInfo(int type) : type_{static_cast<ZetSlateType>(type)} {}

    void collectionInfoIs(CollectionInfo const& info) { collections_.push_back(info); }

    ZetSlateType type() const { return type_; }
    std::vector<CollectionInfo> const& collections() const { return collections_; }

  private:
    ZetSlateType type_;
    std::vector<CollectionInfo> collections_;
};

} // namespace ZetSlate
