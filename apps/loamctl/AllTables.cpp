#include <LoamSystemAcl/AllTables.h>

#include <apps/loamctl/TypedTable.h>

namespace LoamCtl {

Table::~Table() = default;

std::vector<std::unique_ptr<Table>>
allTables(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager) {
    std::vector<std::unique_ptr<Table>> tables;
    LoamSystemAcl::AllTables::forEach(
        [&]<typename Types>() { tables.push_back(std::make_unique<TypedTable<Types>>(manager)); });
    return tables;
}

} // namespace LoamCtl
