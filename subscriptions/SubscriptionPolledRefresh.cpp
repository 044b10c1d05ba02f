#include "subscriptions/SubscriptionPolledRefresh.h"

#include "server/ListBuilder.h"
#include "server/RequestBuilder.h"
#include "server/reply_dom.h"
#include "server/request_dom.h"
#include "server/xml_names.h"
#include "services/item_lookup.h"
#include "services/item_value.h"
#include "subscriptions/hold_time.h"

#include <information_model/OnScopeExit.h>

#include <chrono>
#include <shared_mutex>
#include <span>
#include <stdexcept>
#include <string_view>
#include <unordered_set>

namespace kx::information_model::opc {

namespace {

std::optional<TimePoint> get_hold_time(const AMessage& message, const Poco::XML::Node* request) {
    const auto text = message.get_optional_attribute(request, request_names::HOLD_TIME);
    return text ? std::optional(read_hold_time(*text)) : std::nullopt;
}

std::span<const SubscriptionItem> get_items(const Subscription& subscription) {
    return subscription.items_complete ? std::span(subscription.items) : std::span<const SubscriptionItem>();
}

/// Counts what the repetitions of handles in one request ask for.
class RepetitionLimit {
public:
    /// @param handle  must outlive this object
    void add(const std::string& handle, const Subscription& subscription) {
        if (handles_.insert(handle).second) {
            return;
        }
        repeated_items_ += get_items(subscription).size();
        if (repeated_items_ > MAXIMUM_REPEATED_ITEMS) {
            throw RequestLimitException("too many items of repeated handles");
        }
    }

private:
    std::unordered_set<std::string_view> handles_;
    std::size_t repeated_items_ = 0;
};

}  // namespace

SubscriptionPolledRefresh::SubscriptionPolledRefresh(std::shared_ptr<InformationModel> model,
                                                     const Poco::XML::Node* request,
                                                     const Poco::XML::NamespaceSupport& namespaces,
                                                     SubscriptionHandler& handler, HoldWatch* watch)
    : AMessage(std::move(model), request, namespaces),
      hold_time_(get_hold_time(*this, request)),
      wait_time_(get_attribute<int>(request, request_names::WAIT_TIME, 0)),
      return_all_items_(get_attribute<bool>(request, request_names::RETURN_ALL_ITEMS, false)),
      handler_(handler),
      watch_(watch),
      options_(read_options(*this, *request, namespaces)) {
    for_each_child(*request, request_names::SERVER_SUB_HANDLES, namespaces,
                   [&](const Poco::XML::Node& node) { server_sub_handles_.push_back(node.innerText()); });
}

SubscriptionPolledRefresh::~SubscriptionPolledRefresh() = default;

Poco::AutoPtr<Poco::XML::Element> SubscriptionPolledRefresh::process() {
    auto response = create_element(get_document(), reply_names::SUBSCRIPTION_POLLED_REFRESH_RESPONSE);
    const utility::OnScopeExit result([this, response] {
        append_result(response, reply_names::SUBSCRIPTION_POLLED_REFRESH_RESULT,
                      options_.client_request_handle);
    });
    auto list = create_element(get_document(), reply_names::R_ITEM_LIST);
    if (hold_time_ && !hold_until(*hold_time_, watch_)) {
        throw std::runtime_error("nobody waits for the answer to a poll that is held");
    }
    Diagnostics diagnostics;
    RepetitionLimit repetitions;
    const std::shared_lock<const Tree> lock(get_model().get_information_tree());
    for (const std::string& handle : server_sub_handles_) {
        if (const auto subscription = handler_.find(handle)) {
            repetitions.add(handle, *subscription);
            refresh(*subscription, list, diagnostics);
        } else {
            append_text(*append_element(*response, reply_names::INVALID_SERVER_SUB_HANDLES), handle);
        }
    }
    response->appendChild(list);
    return response;
}

void SubscriptionPolledRefresh::refresh(Subscription& subscription, Poco::AutoPtr<Poco::XML::Element> list,
                                        Diagnostics& diagnostics) const {
    const Item& root = get_root_item(get_model());
    const TimePoint last_poll = subscription.last_poll;
    const ListBuilder builder(*list);
    for (const SubscriptionItem& item : get_items(subscription)) {
        if (const Item* found =
                find_or_report(root, item.path, "error not found Path not found: ", diagnostics)) {
            visit_item(
                *found, [&](const Domain& domain) { to_xml(list, domain, item, last_poll); },
                [&](const Variable& variable) { to_xml(list, variable, item, last_poll); });
        }
    }
    subscription.restart_expiry();
    subscription.last_poll = std::chrono::system_clock::now();
}

void SubscriptionPolledRefresh::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Domain& domain,
                                       const SubscriptionItem& item, TimePoint /*last_poll*/) const {
    list->appendChild(create_item_value(*this, get_document(), reply_names::ITEMS, domain,
                                        {.client_item_handle = get_if_present(item.client_item_handle),
                                         .timestamp = get_reported_time(domain, options_.return_item_time)}));
}

void SubscriptionPolledRefresh::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                                       const SubscriptionItem& item, TimePoint last_poll) const {
    if (variable.get_modified_timestamp() <= last_poll) {
        return;
    }
    list->appendChild(create_item_value(*this, get_document(), reply_names::ITEMS, variable,
                                        {.client_item_handle = get_if_present(item.client_item_handle),
                                         .timestamp = get_reported_time(variable, options_.return_item_time),
                                         .value = &variable.get_value()}));
}

}  // namespace kx::information_model::opc
