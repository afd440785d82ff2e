#include "Counted.h"

#include <Ombra/Ptr.h>
#include <Ombra/RQueue.h>

#include <gtest/gtest.h>

#include <deque>
#include <random>

namespace {

using OmbraTest::Counted;

struct QE_Model {};
using Queue = Ombra::RQueue<Ombra::Ptr<Counted>, QE_Model, false>;

void compare(Queue const& queue, std::deque<int> const& model, std::uint32_t oldest) {
    ASSERT_EQ(queue.size(), model.size());
    ASSERT_EQ(queue.empty(), model.empty());
    ASSERT_FALSE(queue.has(oldest - 1));
    ASSERT_FALSE(queue.has(oldest + static_cast<std::uint32_t>(model.size())));
    if (model.empty()) {
        ASSERT_EQ(queue.front(), nullptr);
        return;
    }
    ASSERT_EQ(queue.front()->value, model.front());
    ASSERT_EQ(queue.back()->value, model.back());
    auto const middle = model.size() / 2;
    ASSERT_EQ(queue.at(oldest + static_cast<std::uint32_t>(middle))->value, model[middle]);
}

// Bursts in and out, around the wrap of the numbers, against a plain deque.
TEST(RQueueModel, DoesWhatADequeDoes) {
    for (unsigned seed = 0; seed != 10; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random{seed};
        std::uint32_t oldest = 0xffffc000;
        Queue queue{oldest};
        std::deque<int> model;
        int next = 0;
        for (int burst = 0; burst != 200; ++burst) {
            auto const count = random() % (1U << random() % 11);
            bool const in = random() % 2 == 0;
            for (unsigned i = 0; i != count; ++i) {
                if (in) {
                    ASSERT_EQ(queue.enq(Ombra::ptrIs<Counted>(next)),
                              oldest + static_cast<std::uint32_t>(model.size()));
                    model.push_back(next++);
                } else if (auto const taken = queue.deq()) {
                    ASSERT_FALSE(model.empty());
                    ASSERT_EQ(taken->element->value, model.front());
                    ASSERT_EQ(taken->number, oldest++);
                    model.pop_front();
                } else {
                    ASSERT_TRUE(model.empty());
                }
            }
            if (random() % 50 == 0) {
                queue.doClear(true);
                oldest += static_cast<std::uint32_t>(model.size());
                model.clear();
            }
            compare(queue, model, oldest);
        }
    }
    EXPECT_EQ(Counted::live, 0);
}

} // namespace
