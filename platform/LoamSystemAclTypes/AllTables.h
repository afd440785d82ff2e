#pragma once

#include <LoamSystemAcl/XxxTable.h>

#include <cstddef>

// The tables of the catalogue as a list of types, in the order of their identifiers: for programs
// that treat all tables alike and know none by name.
//
//     LoamSystemAcl::AllTables::forEach([&]<typename Table>() {
//         use(Table::Constants::tableName, Table::Constants::tableId);
//     });
namespace LoamSystemAcl {

template <typename... Tables>
struct TableList {
    static constexpr std::size_t count = sizeof...(Tables);

    template <typename Table>
    using Add = TableList<Tables..., Table>;

    template <typename Function>
    static void forEach(Function&& function) {
        (function.template operator()<Tables>(), ...);
    }
};

// clang-format off
using AllTables = TableList<>
    ::Add<XxxTable>
    ;
// clang-format on

} // namespace LoamSystemAcl
