#include <LoamSystemAcl/AllTables.h>

#include <apps/hw/TypedTableView.h>

namespace LoamHw {

std::vector<std::unique_ptr<TableView>>
allTableViews(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager) {
    std::vector<std::unique_ptr<TableView>> views;
    LoamSystemAcl::AllTables::forEach([&]<typename Table>() {
        views.push_back(std::make_unique<TypedTableView<Table>>(manager));
    });
    return views;
}

} // namespace LoamHw
