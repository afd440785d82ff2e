#pragma once

#include <Ombra/Publisher.h>

#include <apps/agent/Operation.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

// Follows one unit's table by what it publishes. A table that nobody watches pays one load and one
// comparison per change, as ever.
namespace LoamAgent {

template <typename SwTable>
class TableWatch {
    using Key = typename SwTable::TransientAddEntry::Node::Key;
    using Field = typename SwTable::Field;

  public:
    TableWatch(SwTable const& swTable, std::size_t unit,
               std::function<void(TableEvent const&)> tell)
        : swTable_{swTable}, unit_{unit}, tell_{std::move(tell)} {
        rememberFront();
    }

    void changed(Ombra::Change const& change) {
        using enum TableEvent::What;
        if (change.fieldId == Field::transientAddEntry) {
            auto const& key = *static_cast<Key const*>(change.key);
            if (swTable_.transientAddEntryHas(key)) { // and not: its commit dropped it
                tell_({written, unit_, key.number(), 0});
            }
        } else if (change.fieldId == Field::transientRemoveEntry) {
            auto const& key = *static_cast<Key const*>(change.key);
            if (swTable_.transientRemoveEntryHas(key)) {
                tell_({removed, unit_, key.number(), 0});
            }
        } else if (change.fieldId == Field::entryHandleInLog) {
            queueMoved(*static_cast<std::uint32_t const*>(change.key));
        } else if (change.fieldId == Field::inMarkingState) {
            tell_({swTable_.inMarkingState() ? marking : sweeping, unit_, std::nullopt, 0});
        }
    }

  private:
    struct InLog {
        std::uint32_t number;
        std::uint32_t key;
        Asic::LogVersion version;
    };

    // The queue tells numbers only, and what was taken out is no longer in it: the one that goes
    // next is known beforehand.
    void queueMoved(std::uint32_t number) {
        if (swTable_.entryHandleInLogHas(number)) {
            auto const handle = swTable_.entryHandleInLogBack();
            if (!front_) {
                rememberFront();
            }
            tell_(
                {TableEvent::What::committed, unit_, handle->key().number(), handle->logVersion()});
            return;
        }
        auto const done = front_;
        rememberFront();
        if (done && done->number == number) {
            tell_({TableEvent::What::applied, unit_, done->key, done->version});
        }
    }

    void rememberFront() {
        auto const& queue = swTable_.entryHandleInLogQueue();
        front_.reset();
        if (!queue.empty()) {
            auto const handle = queue.front();
            front_ = InLog{queue.oldestNumber(), handle->key().number(), handle->logVersion()};
        }
    }

    SwTable const& swTable_;
    std::size_t unit_;
    std::function<void(TableEvent const&)> tell_;
    std::optional<InLog> front_;
};

template <typename SwTable>
Ombra::Subscription watchTable(Ombra::Ptr<SwTable> const& swTable, std::size_t unit,
                               std::function<void(TableEvent const&)> const& tell) {
    auto const watch = std::make_shared<TableWatch<SwTable>>(*swTable, unit, tell);
    return swTable->publisher()->subscribe(
        [watch](Ombra::Change const& change) { watch->changed(change); });
}

} // namespace LoamAgent
