#pragma once

#include "server/message/AMessage.h"
#include "server/message/RequestOptions.h"
#include "services/Diagnostics.h"
#include "subscriptions/HoldWatch.h"
#include "subscriptions/SubscriptionHandler.h"

#include <information_model/Domain.h>
#include <information_model/TimePoint.h>
#include <information_model/Variable.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kx::information_model::opc {

/// How many items the repetitions of handles in one request may report together: domains and items that do
/// not exist, each time. To write a handle once more takes a few bytes, so a small request could exhaust the
/// process.
inline constexpr std::size_t MAXIMUM_REPEATED_ITEMS = 100'000;

/// The SubscriptionPolledRefresh service: for each subscription in the request, the variables that were
/// modified since its previous poll and every domain, in the order of its items; then the subscription lives
/// for another ping rate. Handles that name no subscription are reported as such, the others are served all
/// the same. An item that does not exist (any more) is left out and named on the standard error stream.
class SubscriptionPolledRefresh : public AMessage {
public:
    /// @param watch  waits until the hold time, and may end the hold; null for a sleep. Outlives this object.
    /// @throws std::invalid_argument  if the hold time is not a date-time
    /// @throws Poco::SyntaxException  if another attribute is not a bool or int
    SubscriptionPolledRefresh(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                              const Poco::XML::NamespaceSupport& namespaces, SubscriptionHandler& handler,
                              HoldWatch* watch = nullptr);
    ~SubscriptionPolledRefresh() override;

protected:
    /// "SubscriptionPolledRefreshResponse" with an "InvalidServerSubHandles" for each of those, "RItemList"
    /// and then "SubscriptionPolledRefreshResult". Sleeps until the hold time without any lock, then holds
    /// the tree's shared lock over all subscriptions.
    /// @throws RequestLimitException  if repeated handles report too many items; nothing is then polled
    /// @throws std::runtime_error  if the hold was ended: nobody waits for the answer
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    /// Reports these items of one subscription.
    /// Requires: tree lock held.
    void refresh(Subscription& subscription, std::span<const SubscriptionItem> items,
                 Poco::AutoPtr<Poco::XML::Element> list, Diagnostics& diagnostics) const;

    void to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Domain& domain, const SubscriptionItem& item,
                TimePoint last_poll) const;
    /// Appends nothing unless the variable was modified after `last_poll`.
    void to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                const SubscriptionItem& item, TimePoint last_poll) const;
    void append_item(Poco::XML::Element& list, const Item& found, const SubscriptionItem& item) const;

    std::optional<TimePoint> hold_time_;
    // These have no effect, a poll never waits for a change and sends only what changed; kept: clients rely
    // on it.
    std::chrono::milliseconds wait_time_;
    bool return_all_items_;
    SubscriptionHandler& handler_;
    HoldWatch* watch_;
    RequestOptions options_;
    std::vector<std::string> server_sub_handles_;  // in request order
};

}  // namespace kx::information_model::opc
