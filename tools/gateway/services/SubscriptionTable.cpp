#include "gateway/services/SubscriptionTable.h"

#include "gateway/soap/SoapFault.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <random>
#include <utility>

namespace gateway {
namespace {

constexpr auto LIFETIME = std::chrono::minutes(10);  // of those whose client leaves it to us
constexpr auto SHORTEST_LIFETIME = std::chrono::seconds(5);
constexpr auto LONGEST_LIFETIME = std::chrono::hours(24);

std::optional<double> get_number(const ItemState& state) {
    const std::string& text = state.value.text;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = state.value.kind == xmlda::Value::Kind::SCALAR && state.value.type != "string" &&
                           error == std::errc() && end == text.data() + text.size();
    return is_number && !text.empty() ? std::optional(number) : std::nullopt;
}

/// Whether a number has moved by less than the deadband.
bool is_within_deadband(const Item& item, const ItemState& sent, float deadband) {
    const ItemState& now = item.state;
    if (now.kind != sent.kind || now.quality != sent.quality || !item.facts.low || !item.facts.high) {
        return false;
    }
    const auto before = get_number(sent);
    const auto after = get_number(now);
    const double range = std::abs(*item.facts.high - *item.facts.low);
    return before && after && std::abs(*after - *before) <= range * static_cast<double>(deadband) / 100;
}

std::string create_epoch() {
    std::random_device random;
    std::string text = "s";
    for (int i = 0; i < 2; ++i) {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof digits, random(), 36).ptr;
        text.append(digits, end);
    }
    return text;
}

}  // namespace

std::size_t count_text_bytes(const RequestedItem& item) {
    return item.path.value_or("").size() + item.name.size() + item.handle.value_or("").size() +
           item.type.size();
}

bool SubscribedItem::has_news() const {
    return watch->change > seen &&
           (request.deadband == 0 || seen == 0 || !is_within_deadband(watch.get(), sent, request.deadband));
}

void SubscribedItem::set_seen() {
    seen = watch->change;
    if (request.deadband != 0) {
        sent = watch->state;
    }
}

bool ClientSubscription::has_news() const {
    return std::any_of(items.begin(), items.end(),
                       [](const SubscribedItem& item) { return item.has_news(); });
}

SubscriptionTable::SubscriptionTable(EventLoop& loop, SubscriptionLimits limits)
    : loop_(loop), limits_(limits), epoch_(create_epoch()) {}

void SubscriptionTable::check_room(const std::string& owner, std::size_t items,
                                   std::size_t text_bytes) const {
    const auto found = owners_.find(owner);
    if (found != owners_.end() && found->second >= limits_.most_of_an_address) {
        throw SoapFault("E_BUSY", "the client at " + owner + " has " + std::to_string(found->second) +
                                      " subscriptions and may have no more");
    }
    if (items_ + items > limits_.most_items) {
        throw SoapFault("E_OUTOFMEMORY", "all subscriptions together would have more than " +
                                             std::to_string(limits_.most_items) + " items");
    }
    if (text_bytes_ + text_bytes > limits_.most_items * TEXT_BYTES_OF_AN_ITEM) {
        throw SoapFault("E_OUTOFMEMORY",
                        "the names and handles of all subscriptions together would be too long");
    }
}

std::shared_ptr<ClientSubscription> SubscriptionTable::add(const std::string& owner,
                                                           std::chrono::milliseconds ping_rate,
                                                           std::vector<SubscribedItem> items) {
    auto subscription = std::make_shared<ClientSubscription>();
    subscription->handle = epoch_ + "-" + std::to_string(++last_number_);
    subscription->owner = owner;
    subscription->lifetime = LIFETIME;
    if (ping_rate.count() > 0) {
        subscription->lifetime =
            std::clamp<std::chrono::milliseconds>(ping_rate, SHORTEST_LIFETIME, LONGEST_LIFETIME);
    }
    subscription->items = std::move(items);
    for (const SubscribedItem& item : subscription->items) {
        subscription->text_bytes += count_text_bytes(item.request);
    }
    refresh(*subscription);
    items_ += subscription->items.size();
    text_bytes_ += subscription->text_bytes;
    ++owners_[owner];
    subscriptions_.emplace(subscription->handle, subscription);
    return subscription;
}

std::shared_ptr<ClientSubscription> SubscriptionTable::find(const std::string& handle) const {
    const auto found = subscriptions_.find(handle);
    return found == subscriptions_.end() ? nullptr : found->second;
}

void SubscriptionTable::refresh(ClientSubscription& subscription) const {
    subscription.expiry = loop_.get_time() + subscription.lifetime;
}

bool SubscriptionTable::remove(const std::string& handle) {
    const auto found = subscriptions_.find(handle);
    if (found == subscriptions_.end()) {
        return false;
    }
    remove(found);
    return true;
}

SubscriptionTable::Subscriptions::iterator SubscriptionTable::remove(Subscriptions::iterator place) {
    const std::shared_ptr<ClientSubscription> subscription = place->second;
    items_ -= subscription->items.size();
    text_bytes_ -= subscription->text_bytes;
    if (const auto owner = owners_.find(subscription->owner); --owner->second == 0) {
        owners_.erase(owner);
    }
    const auto next = subscriptions_.erase(place);
    if (subscription->poll) {
        const Completion<bool> poll = *subscription->poll;
        loop_.post([poll] { poll.set(false); });
    }
    return next;
}

void SubscriptionTable::remove_expired() {
    const auto now = loop_.get_time();
    for (auto place = subscriptions_.begin(); place != subscriptions_.end();) {
        const bool is_expired = place->second->expiry < now && !place->second->poll;
        place = is_expired ? remove(place) : std::next(place);
    }
}

void SubscriptionTable::close() {
    is_closed_ = true;
    for (const auto& [handle, subscription] : subscriptions_) {
        if (subscription->poll) {
            const Completion<bool> poll = *subscription->poll;
            loop_.post([poll] { poll.set(false); });
        }
    }
}

}  // namespace gateway
