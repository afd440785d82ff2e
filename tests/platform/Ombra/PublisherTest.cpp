#include <Ombra/Publisher.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace {

using Ombra::Change;
using Ombra::FieldId;
using Ombra::Publisher;
using Ombra::Subscription;

constexpr FieldId field{0x303};

TEST(Publisher, ItsFirstWordIsOneWhileNobodySubscribes) {
    static_assert(sizeof(Publisher) == sizeof(void*));
    Publisher publisher;
    auto const word = [&] { return *reinterpret_cast<std::uintptr_t const*>(&publisher); };
    EXPECT_EQ(word(), 1U);
    {
        auto const subscription = publisher.subscribe([](Change const&) {});
        EXPECT_NE(word(), 1U);
        EXPECT_TRUE(publisher.hasSubscribers());
    }
    EXPECT_EQ(word(), 1U);
}

TEST(Publisher, TellsFieldKeyAndFormerValue) {
    Publisher publisher;
    std::vector<Change> got;
    auto const subscription =
        publisher.subscribe([&](Change const& change) { got.push_back(change); });
    int const key = 1;
    int const former = 2;
    auto const isEq = [](void const*, void const*) { return true; };
    publisher.publishChangeRecursive(field, &key, &former, isEq);
    publisher.publishChange(FieldId{0x306}, &former);
    ASSERT_EQ(got.size(), 2U);
    EXPECT_EQ(got[0].fieldId, field);
    EXPECT_EQ(got[0].key, &key);
    EXPECT_EQ(got[0].former, &former);
    EXPECT_EQ(got[0].keyIsEq, static_cast<Change::KeyIsEq>(isEq));
    EXPECT_EQ(got[1].fieldId, FieldId{0x306});
    EXPECT_EQ(got[1].key, nullptr);
    EXPECT_EQ(got[1].former, &former);
}

TEST(Publisher, AChangeThatNobodyHearsIsNotKept) {
    Publisher publisher;
    publisher.publishChange(field);
    int told = 0;
    auto const subscription = publisher.subscribe([&](Change const&) { ++told; });
    EXPECT_EQ(told, 0);
}

TEST(Publisher, ASubscriptionEndsWithItsOwnLife) {
    Publisher publisher;
    int first = 0;
    int second = 0;
    auto const stays = publisher.subscribe([&](Change const&) { ++first; });
    {
        auto const goes = publisher.subscribe([&](Change const&) { ++second; });
        publisher.publishChange(field);
    }
    publisher.publishChange(field);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 1);
}

TEST(Publisher, ASubscriptionMayOutliveThePublisher) {
    Subscription subscription;
    {
        Publisher publisher;
        subscription = publisher.subscribe([](Change const&) {});
        EXPECT_TRUE(subscription);
    }
    EXPECT_FALSE(subscription);
    subscription.end();
}

TEST(Publisher, AMovedSubscriptionGoesOn) {
    Publisher publisher;
    int told = 0;
    auto first = publisher.subscribe([&](Change const&) { ++told; });
    Subscription const second = std::move(first);
    publisher.publishChange(field);
    EXPECT_EQ(told, 1);
}

TEST(Publisher, AssigningASubscriptionEndsTheOneBeforeAtOnce) {
    Publisher publisher;
    int first = 0;
    int second = 0;
    auto subscription = publisher.subscribe([&](Change const&) { ++first; });
    subscription = publisher.subscribe([&](Change const&) { ++second; });
    publisher.publishChange(field);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST(Publisher, AHandlerMayEndItsOwnSubscription) {
    Publisher publisher;
    int told = 0;
    std::optional<Subscription> subscription;
    subscription = publisher.subscribe([&](Change const&) {
        ++told;
        subscription->end();
    });
    publisher.publishChange(field);
    publisher.publishChange(field);
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(publisher.hasSubscribers());
}

TEST(Publisher, AHandlerMayEndTheSubscriptionOfALaterOne) {
    Publisher publisher;
    int told = 0;
    Subscription later;
    auto const first = publisher.subscribe([&](Change const&) { later.end(); });
    later = publisher.subscribe([&](Change const&) { ++told; });
    publisher.publishChange(field);
    EXPECT_EQ(told, 0);
}

TEST(Publisher, AHandlerMaySubscribeAndHearsOnlyLaterChanges) {
    Publisher publisher;
    int told = 0;
    std::vector<Subscription> more;
    auto const first = publisher.subscribe([&](Change const&) {
        if (more.empty()) {
            more.push_back(publisher.subscribe([&](Change const&) { ++told; }));
        }
    });
    publisher.publishChange(field);
    EXPECT_EQ(told, 0);
    publisher.publishChange(field);
    EXPECT_EQ(told, 1);
}

TEST(Publisher, AHandlerMayDestroyThePublisher) {
    auto publisher = std::make_unique<Publisher>();
    int told = 0;
    auto const first = publisher->subscribe([&](Change const&) { publisher.reset(); });
    auto const second = publisher->subscribe([&](Change const&) { ++told; });
    publisher->publishChange(field);
    EXPECT_EQ(publisher, nullptr);
    EXPECT_EQ(told, 0);
}

} // namespace
