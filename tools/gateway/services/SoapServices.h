#pragma once

#include "gateway/async/EventLoop.h"
#include "gateway/async/Task.h"
#include "gateway/http/HttpMessage.h"
#include "gateway/http/MemoryBudget.h"
#include "gateway/items/ItemTable.h"
#include "gateway/services/SubscriptionTable.h"
#include "gateway/soap/SoapReply.h"
#include "gateway/soap/requests.h"
#include "gateway/upstream/Sampler.h"
#include "gateway/upstream/ServerClient.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

/// What the services work on.
struct ServiceParts {
    EventLoop& loop;
    ServerClient& client;
    ItemTable& table;
    Sampler& sampler;
    SubscriptionTable& subscriptions;
    MemoryBudget& memory;  ///< for what requests become in memory
    bool is_read_only = false;
};

/// What became of writing one item.
struct WriteResult {
    std::string code;                   ///< empty, "E_READONLY", "S_CLAMP", ...
    std::optional<xmlda::Value> value;  ///< what the item holds now, if it was written
};

/// One value to be written; `item` is null if the name cannot be that of an item.
struct WriteOrder {
    std::shared_ptr<Item> item;
    xmlda::Value value;
    bool has_extras = false;
};

/// Writes values after checking them against what the server says of the items, since it would not say why it
/// leaves one out.
/// @return one for each order
Task<std::vector<WriteResult>> write_items(const ServiceParts& parts, std::vector<WriteOrder> orders);

/// The eight services as the published schema has them.
class SoapServices {
public:
    explicit SoapServices(const ServiceParts& parts);

    /// Answers a document that was posted.
    Task<HttpReply> serve(HttpRequest request, std::shared_ptr<Presence> presence);

private:
    using Time = std::chrono::system_clock::time_point;

    Task<std::string> dispatch(const HttpRequest& request, const std::shared_ptr<Presence>& presence);
    Task<std::string> get_status(GetStatusRequest request, Time received);
    Task<std::string> browse(BrowseRequest request, Time received);
    Task<std::string> get_properties(GetPropertiesRequest request, Time received);
    Task<std::string> read(ReadRequest request, Time received);
    Task<std::string> write(WriteRequest request, Time received);
    Task<std::string> subscribe(SubscribeRequest request, std::string owner, Time received);
    Task<std::string> refresh(RefreshRequest request, std::shared_ptr<Presence> presence, Time received);
    std::string cancel(const CancelRequest& request, Time received);

    Task<bool> hold(const std::vector<std::shared_ptr<ClientSubscription>>& subscriptions,
                    std::shared_ptr<Presence> presence, std::chrono::steady_clock::time_point until,
                    bool ends_with_news);
    bool is_running() const { return parts_.sampler.get_condition().is_running; }
    std::shared_ptr<Item> find_item(const RequestedItem& requested) const;

    const ServiceParts parts_;
    const Time start_;
};

}  // namespace gateway
