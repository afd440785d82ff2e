#pragma once

#include <Ombra/Node.h>
#include <Ombra/String.h>
#include <Zet/Tracked.h>

#include <cstdint>

// The full name of a table, as people and other tables know it. Immutable.
namespace Asic {

enum class OrderedTableType : std::uint8_t {
    orderedSwTable = 0,
    partiallyOrderedSwTable = 1,
    resourceTable = 2,
};

class LOAM_EXPORT CanonicalTableName : public Zet::Tracked<CanonicalTableName, Ombra::Node> {
  public:
    CanonicalTableName(OrderedTableType orderedTableType, Ombra::String const& groupName,
                       Ombra::String const& tableNamespace, Ombra::String const& tableName);
    ~CanonicalTableName() override;
    Ombra::TypeData typeData() const override;

    // "OrderedSwTable.GROUP.TABLE", "PartiallyOrderedSwTable.TABLE" or
    // "ResourceTable.NAMESPACE::TABLE". A type that is none of the three stops the process.
    Ombra::String name() const;

    OrderedTableType orderedTableType() const noexcept { return orderedTableType_; }
    Ombra::String const& groupName() const noexcept { return groupName_; }
    Ombra::String const& tableNamespace() const noexcept { return tableNamespace_; }
    Ombra::String const& tableName() const noexcept { return tableName_; }

  private:
    OrderedTableType orderedTableType_;
    Ombra::String groupName_;
    Ombra::String tableNamespace_;
    Ombra::String tableName_;
};

} // namespace Asic
