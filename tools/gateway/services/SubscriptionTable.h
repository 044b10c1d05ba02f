#pragma once

#include "gateway/async/Completion.h"
#include "gateway/async/EventLoop.h"
#include "gateway/items/ItemTable.h"
#include "gateway/soap/requests.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace gateway {

/// One item of a client's subscription.
struct SubscribedItem {
    SubscribedItem(ItemWatch given_watch, RequestedItem given_request)
        : watch(std::move(given_watch)), request(std::move(given_request)) {}

    ItemWatch watch;
    RequestedItem request;
    std::uint64_t seen = 0;  ///< the change that the client knows
    ItemState sent;          ///< what it was told last; kept only where a deadband needs it

    /// Whether the client is to be told.
    bool has_news() const;
    void set_seen();
};

struct ClientSubscription {
    std::string handle;
    std::string owner;  ///< the address of the client
    std::chrono::milliseconds lifetime{0};
    std::chrono::steady_clock::time_point expiry;
    std::vector<SubscribedItem> items;
    std::size_t text_bytes = 0;            ///< of the names and handles of its items
    std::optional<Completion<bool>> poll;  ///< that waits now

    bool has_news() const;
};

struct SubscriptionLimits {
    std::size_t most_items = 100'000;  ///< in all subscriptions together; their names and handles may have
                                       ///< `TEXT_BYTES_OF_AN_ITEM` each on average
    std::size_t most_of_an_address = 100;  ///< subscriptions of one client address
};

/// How much memory the texts take that a subscription keeps of this item.
std::size_t count_text_bytes(const RequestedItem& item);

/// The subscriptions of all clients.
class SubscriptionTable {
public:
    static constexpr std::size_t TEXT_BYTES_OF_AN_ITEM = 1024;

    SubscriptionTable(EventLoop& loop, SubscriptionLimits limits);
    SubscriptionTable(const SubscriptionTable&) = delete;
    SubscriptionTable& operator=(const SubscriptionTable&) = delete;

    /// @param text_bytes  of the names and handles of the items
    /// @throws SoapFault  if the client has too many, or all together
    void check_room(const std::string& owner, std::size_t items, std::size_t text_bytes) const;

    /// @param ping_rate  how long it lives without a poll; 0 for as long as we like
    std::shared_ptr<ClientSubscription> add(const std::string& owner, std::chrono::milliseconds ping_rate,
                                            std::vector<SubscribedItem> items);

    /// Null if there is none.
    std::shared_ptr<ClientSubscription> find(const std::string& handle) const;

    /// The client has asked for it.
    void refresh(ClientSubscription& subscription) const;

    /// A poll that waits for it ends.
    /// @return false if there is none
    bool remove(const std::string& handle);

    /// Removes those that nobody polls any more.
    void remove_expired();

    /// Ends all polls that wait, now and from now on.
    void close();
    bool is_closed() const { return is_closed_; }

    std::size_t get_size() const { return subscriptions_.size(); }
    std::size_t get_items() const { return items_; }

private:
    using Subscriptions = std::unordered_map<std::string, std::shared_ptr<ClientSubscription>>;

    Subscriptions::iterator remove(Subscriptions::iterator place);

    EventLoop& loop_;
    const SubscriptionLimits limits_;
    const std::string epoch_;  // so that handles of an earlier run are unknown
    std::uint64_t last_number_ = 0;
    Subscriptions subscriptions_;
    std::map<std::string, std::size_t> owners_;
    std::size_t items_ = 0;
    std::size_t text_bytes_ = 0;
    bool is_closed_ = false;
};

}  // namespace gateway
