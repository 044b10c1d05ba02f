#include "subscriptions/SubscriptionHandler.h"

#include <chrono>
#include <utility>

namespace kx::information_model::opc {

using std::chrono::steady_clock;

std::shared_ptr<Subscription> SubscriptionHandler::create(std::chrono::milliseconds ping_rate) {
    const auto nanoseconds = std::chrono::nanoseconds(steady_clock::now().time_since_epoch()).count();
    auto subscription = std::make_shared<Subscription>(ping_rate, std::to_string(nanoseconds),
                                                       steady_clock::now() + ping_rate);
    add(subscription);
    return subscription;
}

void SubscriptionHandler::add(std::shared_ptr<Subscription> subscription) {
    const auto due = subscription->expiry.load();
    std::set<Due> added{{due, subscription.get()}};
    const std::lock_guard lock(mutex_);
    std::shared_ptr<Subscription>& place = subscriptions_[subscription->handle];
    // From here on nothing can fail.
    if (place != nullptr) {
        due_.erase({place->due, place.get()});
    }
    subscription->due = due;
    due_.merge(added);
    place.swap(subscription);  // one that is replaced may have many items: it goes without the mutex
}

std::shared_ptr<Subscription> SubscriptionHandler::find(const std::string& handle) const {
    const std::lock_guard lock(mutex_);
    const auto entry = subscriptions_.find(handle);
    return entry == subscriptions_.end() ? nullptr : entry->second;
}

bool SubscriptionHandler::remove(const std::string& handle) {
    if (find(handle) == nullptr) {
        return false;
    }
    std::shared_ptr<Subscription> removed;  // destroyed without the mutex: it may have many items
    const std::lock_guard lock(mutex_);
    if (const auto entry = subscriptions_.find(handle); entry != subscriptions_.end()) {
        removed = std::move(entry->second);
        due_.erase({removed->due, removed.get()});
        subscriptions_.erase(entry);
    }
    return true;
}

void SubscriptionHandler::remove_expired() {
    std::map<std::string, std::shared_ptr<Subscription>> expired;  // destroyed without the mutex, as above
    const std::lock_guard lock(mutex_);
    while (!due_.empty() && due_.begin()->first < steady_clock::now()) {
        Subscription& subscription = *due_.begin()->second;
        if (is_expired(subscription, steady_clock::now())) {
            due_.erase(due_.begin());
            expired.insert(subscriptions_.extract(subscription.handle));
        } else {  // polls have moved its expiry
            auto entry = due_.extract(due_.begin());
            subscription.due = subscription.expiry.load();
            entry.value().first = subscription.due;
            due_.insert(std::move(entry));
        }
    }
}

std::size_t SubscriptionHandler::get_size() const {
    const std::lock_guard lock(mutex_);
    return subscriptions_.size();
}

}  // namespace kx::information_model::opc
