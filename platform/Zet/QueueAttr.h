#pragma once

#include <Ombra/FieldId.h>
#include <Ombra/Publisher.h>

#include <cstdint>
#include <utility>

// The mutators of an attribute that is an `Ombra::RQueue` of counted pointers. What is published as
// the key is the sequence number of the element, a `std::uint32_t`. Reading needs no help: see
// `at`, `has`, `front`, `back` of the queue.
namespace Zet {

template <typename Queue, typename Element>
struct QueueAttr {
    static void enq(Queue& queue, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                    Element const& element) {
        std::uint32_t const number = queue.enq(element);
        publisher.publishChange(fieldId, nullptr, &number);
    }

    // Takes out the oldest element; null, and nothing is published, when the queue is empty.
    static Element deq(Queue& queue, Ombra::Publisher& publisher, Ombra::FieldId fieldId) {
        auto taken = queue.deq();
        if (!taken) {
            return {};
        }
        publisher.publishChange(fieldId, nullptr, &taken->number);
        return std::move(taken->element);
    }

    // Empties the queue, whose numbering goes on: at once when nobody listens, otherwise one by
    // one.
    static void delAll(Queue& queue, Ombra::Publisher& publisher, Ombra::FieldId fieldId) {
        if (!publisher.hasSubscribers()) {
            queue.doClear(true);
            return;
        }
        while (!queue.empty()) {
            deq(queue, publisher, fieldId);
        }
    }
};

} // namespace Zet
