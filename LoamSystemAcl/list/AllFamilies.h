#pragma once

#include <LoamSystemAcl/AllTables.h>
#include <LoamSystemAcl/XxxInterface.h>

// The families of the catalogue as a list of types, in the order of their identifiers: for clients
// that make every table and know none by name. Includes all that there is of each family.
//
//     LoamSystemAcl::AllFamilies::forEach([&]<typename Family>() {
//         Family::Interface::getIntf(orderedTableIntf)->makeSwTable(unitId, nullptr, false);
//     });
namespace LoamSystemAcl {

// clang-format off
using AllFamilies = TableList<>
    ::Add<XxxFamily>
    ;
// clang-format on

} // namespace LoamSystemAcl
