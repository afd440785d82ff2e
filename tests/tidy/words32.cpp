#include <LoamSystemAcl/AllFamilies.h>
#include <Zet/LogDescriptor.h>

// What a 32-bit process has of the tables, as far as a compiler can tell without one: it takes all
// headers, with their own assertions on what lies in shared memory, and the sizes of nodes and of
// log messages are those of 4-byte pointers. Compiled with -m32, and not linked.
static_assert(sizeof(void*) == 4);
static_assert(3 * sizeof(Zet::LogDescriptor) == 18 * 4);

namespace {

[[maybe_unused]] void sizesOfNodes() {
    LoamSystemAcl::AllFamilies::forEach([]<typename Family>() {
        using Table = typename Family::SwTable;
        static_assert(sizeof(typename Table::HN_TransientAddEntry) == 4);
        static_assert(sizeof(typename Table::HN_TransientRemoveEntry) == 4);
        static_assert(sizeof(typename Table::HN_TransientVersionForKey) == 16);
        static_assert(sizeof(typename Table::HN_MarkedKey) == 4);
        static_assert(sizeof(typename Table::SwTableEntries_py::HN_TableEntries) ==
                      sizeof(typename Family::Entry));
        static_assert(sizeof(typename Family::EntryLog::HN_TableConfigSlate) == 8);

        constexpr std::size_t entry = sizeof(typename Family::LogEntry);
        static_assert(sizeof(typename Family::Entry) == entry + 4);
        static_assert(sizeof(typename Family::ConfigSlateEntry) == entry + 16);
        static_assert(sizeof(typename Family::LogSlateEntry) == entry + 12);
    });
}

} // namespace
