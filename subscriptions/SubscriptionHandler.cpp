#include "subscriptions/SubscriptionHandler.h"

#include <chrono>
#include <utility>
#include <vector>

namespace kx::information_model::opc {

using std::chrono::steady_clock;

std::shared_ptr<Subscription> SubscriptionHandler::create(std::int64_t ping_rate) {
    const auto nanoseconds = std::chrono::nanoseconds(steady_clock::now().time_since_epoch()).count();
    auto subscription = std::make_shared<Subscription>(
        ping_rate, std::to_string(nanoseconds), steady_clock::now() + std::chrono::milliseconds(ping_rate));
    add(subscription);
    return subscription;
}

void SubscriptionHandler::add(std::shared_ptr<Subscription> subscription) {
    const std::lock_guard lock(mutex_);
    subscriptions_[subscription->handle] = std::move(subscription);
}

std::shared_ptr<Subscription> SubscriptionHandler::find(const std::string& handle) const {
    const std::lock_guard lock(mutex_);
    const auto entry = subscriptions_.find(handle);
    return entry == subscriptions_.end() ? nullptr : entry->second;
}

bool SubscriptionHandler::remove(const std::string& handle) {
    const auto subscription = find(handle);
    if (subscription == nullptr) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    subscriptions_.erase(handle);
    return true;
}

void SubscriptionHandler::remove_expired() {
    std::vector<std::shared_ptr<Subscription>>
        expired;  // destroyed without the mutex: they may have many items
    const std::lock_guard lock(mutex_);
    std::erase_if(subscriptions_, [&expired](auto& entry) {
        if (!is_expired(*entry.second, steady_clock::now())) {
            return false;
        }
        expired.push_back(std::move(entry.second));
        return true;
    });
}

std::size_t SubscriptionHandler::get_size() const {
    const std::lock_guard lock(mutex_);
    return subscriptions_.size();
}

}  // namespace kx::information_model::opc
