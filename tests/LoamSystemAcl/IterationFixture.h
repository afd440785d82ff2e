#pragma once

#include "TableInUse.h"

#include <OrderedTable/OrderedSwTableIteration.h>

#include <cstddef>

// What the tests of iteration share.
namespace LoamSystemAcl {

class Iteration : public TableInUse {
  protected:
    using IteratorState = Family::IteratorState;
    using Accessor = Asic::IterStateAccessor<IteratorState, Table>;
    using Iterator = Table::EntryIteratorConst;

    // The order in which a collection gives these keys when they are pending.
    Numbers pendingOrderOf(Numbers const& numbers) {
        auto const other = agent.makeSwTable<Family>(1);
        for (unsigned const number : numbers) {
            other->entryWrite(Key{number}, entryOf(number), nullptr);
        }
        auto const order = pendingOrder(*other);
        commitAll();
        return order;
    }

    // A table with 4 pending writes, of which the one given by `place` is the first to commit, and
    // 6 committed entries, one of them below the pending one that commits first.
    Numbers fourPendingAndSixCommitted(std::size_t firstToCommit) {
        Numbers const pending = pendingOrderOf({101, 102, 103, 104});
        committed({1, 2, 3, 4, 5, pending[firstToCommit]});
        write(pending[firstToCommit], 2);
        for (unsigned const number : pending) {
            if (number != pending[firstToCommit]) {
                write(number);
            }
        }
        EXPECT_EQ(pendingOrder(), pending);
        return pending;
    }
};

} // namespace LoamSystemAcl
