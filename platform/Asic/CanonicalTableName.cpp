#include <Asic/CanonicalTableName.h>
#include <Zet/SassertHelper.h>

namespace Asic {

CanonicalTableName::CanonicalTableName(OrderedTableType orderedTableType,
                                       Ombra::String const& groupName,
                                       Ombra::String const& tableNamespace,
                                       Ombra::String const& tableName)
    : orderedTableType_{orderedTableType}, groupName_{groupName}, tableNamespace_{tableNamespace},
      tableName_{tableName} {}

CanonicalTableName::~CanonicalTableName() = default;

Ombra::String CanonicalTableName::name() const {
    switch (orderedTableType_) {
    case OrderedTableType::orderedSwTable:
        return fmt::format("OrderedSwTable.{}.{}", groupName_, tableName_);
    case OrderedTableType::partiallyOrderedSwTable:
        return fmt::format("PartiallyOrderedSwTable.{}", tableName_);
    case OrderedTableType::resourceTable:
        return fmt::format("ResourceTable.{}::{}", tableNamespace_, tableName_);
    }
    ZET_SASSERT(false, "false", "Table type undefined!");
    return {};
}

} // namespace Asic
