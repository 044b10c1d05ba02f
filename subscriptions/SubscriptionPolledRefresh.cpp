#include "subscriptions/SubscriptionPolledRefresh.h"

#include "base/LimitException.h"
#include "services/item_lookup.h"
#include "services/item_value.h"
#include "subscriptions/hold_time.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <chrono>
#include <shared_mutex>
#include <span>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace kx::information_model::opc {

namespace {

std::optional<TimePoint> read_hold_time_of(const AMessage& message, const Poco::XML::Node* request) {
    const auto text = message.get_optional_attribute(request, request_names::HOLD_TIME);
    return text ? std::optional(read_hold_time(*text)) : std::nullopt;
}

/// The poll of one subscription in a request.
struct Poll {
    const std::string& handle;
    std::shared_ptr<Subscription> subscription;  // null if there is none
    std::span<const SubscriptionItem> items;     // what it reports
};

std::span<const SubscriptionItem> get_items(const Subscription& subscription) {
    return subscription.items_complete ? std::span(subscription.items) : std::span<const SubscriptionItem>();
}

/// Whether a poll reports the item again that was reported at `last_poll`: a variable only if the clock has
/// been set back since it was modified.
bool is_reported_again(const Item* item, TimePoint last_poll) {
    return item == nullptr || item->get_item_type() != ITEM_TYPE::VARIABLE ||
           static_cast<const Variable&>(*item).get_modified_timestamp() > last_poll;
}

/// What to report for each mention of a handle in one request: the first time all items, later those alone
/// that are reported again. Bounds these.
///
/// Requires: tree lock held.
class Mentions {
public:
    explicit Mentions(const Item& root) : root_(root) {}

    /// @param subscription  must outlive this object, as the result does
    /// @throws RequestLimitException  if all repetitions together report too many items
    std::span<const SubscriptionItem> add(const Subscription& subscription) {
        const auto [mention, is_first] = repeated_.try_emplace(&subscription);
        if (is_first) {
            return get_items(subscription);
        }
        auto& items = mention->second;
        if (!items) {
            items = find_repeated(get_items(subscription));
        }
        item_count_ += items->size();
        require_limit(item_count_);
        return *items;
    }

private:
    static void require_limit(std::size_t item_count) {
        if (item_count > MAXIMUM_REPEATED_ITEMS) {
            throw RequestLimitException("too many items of repeated handles");
        }
    }

    std::vector<SubscriptionItem> find_repeated(std::span<const SubscriptionItem> items) const {
        const TimePoint now = std::chrono::system_clock::now();
        std::vector<SubscriptionItem> repeated;
        for (const SubscriptionItem& item : items) {
            if (is_reported_again(root_.find_item(item.path), now)) {
                repeated.push_back(item);
                require_limit(repeated.size());
            }
        }
        return repeated;
    }

    const Item& root_;
    std::unordered_map<const Subscription*, std::optional<std::vector<SubscriptionItem>>> repeated_;
    std::size_t item_count_ = 0;
};

}  // namespace

SubscriptionPolledRefresh::SubscriptionPolledRefresh(std::shared_ptr<InformationModel> model,
                                                     const Poco::XML::Node* request,
                                                     const Poco::XML::NamespaceSupport& namespaces,
                                                     SubscriptionHandler& handler, HoldWatch* watch)
    : AMessage(std::move(model), request, namespaces),
      hold_time_(read_hold_time_of(*this, request)),
      wait_time_(get_attribute<int>(request, request_names::WAIT_TIME, 0)),
      return_all_items_(get_attribute<bool>(request, request_names::RETURN_ALL_ITEMS, false)),
      handler_(handler),
      watch_(watch),
      options_(read_options(*this, *request)) {
    for_each_child(*request, request_names::SERVER_SUB_HANDLES,
                   [&](const Poco::XML::Node& node) { server_sub_handles_.push_back(node.innerText()); });
}

SubscriptionPolledRefresh::~SubscriptionPolledRefresh() = default;

Poco::AutoPtr<Poco::XML::Element> SubscriptionPolledRefresh::process() {
    auto response = create_element(get_document(), reply_names::SUBSCRIPTION_POLLED_REFRESH_RESPONSE);
    const auto result = append_result_on_exit(response, reply_names::SUBSCRIPTION_POLLED_REFRESH_RESULT,
                                              options_.client_request_handle);
    auto list = create_element(get_document(), reply_names::R_ITEM_LIST);
    if (hold_time_ && !hold_until(*hold_time_, watch_)) {
        throw std::runtime_error("nobody waits for the answer to a poll that is held");
    }
    Diagnostics diagnostics;
    const Item& root = get_root_item(get_model());
    std::vector<Poll> polls;  // may be the last to hold a subscription: freed without the lock
    polls.reserve(server_sub_handles_.size());
    const std::shared_lock<const Tree> lock(root);
    // All is found and counted first: a request that is refused must not pass for a poll of any subscription.
    Mentions mentions(root);
    for (const std::string& handle : server_sub_handles_) {
        auto subscription = handler_.find(handle);
        const auto items =
            subscription == nullptr ? std::span<const SubscriptionItem>() : mentions.add(*subscription);
        polls.push_back({handle, std::move(subscription), items});
    }
    for (const Poll& poll : polls) {
        if (poll.subscription != nullptr) {
            refresh(*poll.subscription, poll.items, list, diagnostics);
        } else {
            append_text_element(*response, reply_names::INVALID_SERVER_SUB_HANDLES, poll.handle);
        }
    }
    response->appendChild(list);
    return response;
}

void SubscriptionPolledRefresh::refresh(Subscription& subscription, std::span<const SubscriptionItem> items,
                                        Poco::AutoPtr<Poco::XML::Element> list,
                                        Diagnostics& diagnostics) const {
    const Item& root = get_root_item(get_model());
    const TimePoint last_poll = subscription.last_poll;
    for (const SubscriptionItem& item : items) {
        if (const Item* found =
                find_or_report(root, item.path, "error not found Path not found: ", diagnostics)) {
            visit_item(*found, [&](const auto& known) { to_xml(list, known, item, last_poll); });
        }
    }
    subscription.restart_expiry();
    subscription.last_poll = std::chrono::system_clock::now();
}

void SubscriptionPolledRefresh::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Domain& domain,
                                       const SubscriptionItem& item, TimePoint /*last_poll*/) const {
    append_item(*list, domain, item);
}

void SubscriptionPolledRefresh::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                                       const SubscriptionItem& item, TimePoint last_poll) const {
    if (variable.get_modified_timestamp() > last_poll) {
        append_item(*list, variable, item);
    }
}

void SubscriptionPolledRefresh::append_item(Poco::XML::Element& list, const Item& found,
                                            const SubscriptionItem& item) const {
    ChildWriter writer(list);
    write_item_value(writer, reply_names::ITEMS, found,
                     {.client_item_handle = get_if_present(item.client_item_handle),
                      .has_timestamp = options_.return_item_time});
}

}  // namespace kx::information_model::opc
