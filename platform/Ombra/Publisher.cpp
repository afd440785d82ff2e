#include <Ombra/Publisher.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace Ombra {

namespace Impl {

struct Subscriber {
    Publisher* publisher; // null when the publisher has gone
    Publisher::Handler handler;
};

struct Subscribers {
    std::vector<std::shared_ptr<Subscriber>> all;
};

} // namespace Impl

Subscription::Subscription() = default;
Subscription::Subscription(Subscription&& other) noexcept = default;

Subscription::Subscription(std::shared_ptr<Impl::Subscriber> subscriber) noexcept
    : subscriber_{std::move(subscriber)} {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    std::swap(subscriber_, other.subscriber_);
    return *this;
}

Subscription::~Subscription() {
    end();
}

void Subscription::end() {
    auto const subscriber = std::exchange(subscriber_, nullptr);
    if (subscriber != nullptr && subscriber->publisher != nullptr) {
        std::exchange(subscriber->publisher, nullptr)->drop(*subscriber);
    }
}

Subscription::operator bool() const noexcept {
    return subscriber_ != nullptr && subscriber_->publisher != nullptr;
}

Publisher::~Publisher() {
    if (!hasSubscribers()) {
        return;
    }
    std::unique_ptr<Impl::Subscribers> const last{subscribers()};
    for (auto const& subscriber : last->all) {
        subscriber->publisher = nullptr;
    }
}

Impl::Subscribers* Publisher::subscribers() const noexcept {
    return reinterpret_cast<Impl::Subscribers*>(word_);
}

Subscription Publisher::subscribe(Handler handler) {
    auto subscriber =
        std::make_shared<Impl::Subscriber>(Impl::Subscriber{this, std::move(handler)});
    if (!hasSubscribers()) {
        word_ = reinterpret_cast<std::uintptr_t>(new Impl::Subscribers);
    }
    subscribers()->all.push_back(subscriber);
    return Subscription{std::move(subscriber)};
}

void Publisher::drop(Impl::Subscriber const& subscriber) {
    auto& all = subscribers()->all;
    std::erase_if(all, [&](auto const& each) { return each.get() == &subscriber; });
    if (all.empty()) {
        delete subscribers();
        word_ = noSubscribers;
    }
}

void Publisher::tell(Change const& change) {
    // A handler may end any subscription or destroy the publisher: the copy keeps the subscribers
    // alive, and one whose subscription has ended is not called any more.
    auto const told = subscribers()->all;
    for (auto const& subscriber : told) {
        if (subscriber->publisher != nullptr) {
            subscriber->handler(change);
        }
    }
}

} // namespace Ombra
