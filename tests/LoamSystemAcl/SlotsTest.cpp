#include "WritePath.h"

#include <LoamSystemAcl/AllFamilies.h>

#include <cstddef>
#include <cstring>

// The order of the virtual operations of each class of the family. The platform and the clients
// that derive from these classes are compiled against it.
namespace LoamSystemAcl {
namespace {

// Where an operation stands in its class's virtual table. A pointer to a virtual operation holds
// the offset of its slot plus one.
template <typename Operation>
std::ptrdiff_t slotOf(Operation operation) {
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &operation, sizeof offset);
    return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

using Slots = std::vector<std::ptrdiff_t>;

// The destructor pair takes the first two slots of every class.
template <typename Class>
Slots nodeSlots() {
    return {slotOf(&Class::lastUserGone), slotOf(&Class::publisher), slotOf(&Class::typeData)};
}

TEST(Slots, OfEveryClassBeginWithThoseOfANode) {
    AllFamilies::forEach([]<typename Family>() {
        Slots const expected{2, 3, 4};
        EXPECT_EQ(nodeSlots<typename Family::SwTable>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::SwTable::EntryHandle>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::SwTable::SwTableEntries_py>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::IteratorState>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::EntryWrapper>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::ResolverEntry>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::SwTableHelperBase>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::EntryLog>(), expected);
        EXPECT_EQ(nodeSlots<typename Family::Interface>(), expected);
    });
}

TEST(Slots, OfATableFollowItsBasesFromTheGeneralToTheSpecial) {
    AllFamilies::forEach([]<typename Family>() {
        using Table = typename Family::SwTable;
        EXPECT_EQ((Slots{slotOf(&Table::handleParent), slotOf(&Table::doCreateHwTable),
                         slotOf(&Table::doCreateHwTableResponse), slotOf(&Table::reconcile),
                         slotOf(&Table::tableStatusVersion), slotOf(&Table::hasPendingHwWrites),
                         slotOf(&Table::mark), slotOf(&Table::sweep)}),
                  (Slots{5, 6, 7, 8, 9, 10, 11, 12}));
    });
}

TEST(Slots, OfAHandleEndWithThoseOfItsOwn) {
    AllFamilies::forEach([]<typename Family>() {
        using Handle = typename Family::SwTable::EntryHandle;
        EXPECT_EQ(
            (Slots{slotOf(&Handle::handleEntryState), slotOf(&Handle::hwIndexForDependentField),
                   slotOf(&Handle::handleIndexSuggestions), slotOf(&Handle::entryTableVersion),
                   slotOf(&Handle::tableName), slotOf(&Handle::tableId)}),
            (Slots{5, 6, 7, 8, 9, 10}));
    });
}

TEST(Slots, OfTheResolversAndTheClientsViews) {
    AllFamilies::forEach([]<typename Family>() {
        using Entry = typename Family::ResolverEntry;
        using Helper = typename Family::SwTableHelperBase;
        EXPECT_EQ((Slots{slotOf(&Entry::isResolved), slotOf(&Entry::commitEntry)}), (Slots{5, 6}));
        EXPECT_EQ((Slots{slotOf(&Helper::finalizeOnSuccess), slotOf(&Helper::finalizeOnFailure),
                         slotOf(&Helper::finalizeOnResourceUpdate)}),
                  (Slots{5, 6, 7}));
        EXPECT_EQ(slotOf(&Family::Interface::reconcile), 5);
    });
}

} // namespace
} // namespace LoamSystemAcl
