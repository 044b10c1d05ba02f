#include "subscriptions/Subscribe.h"

#include "services/item_lookup.h"
#include "services/item_value.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <information_model/OnScopeExit.h>

#include <chrono>
#include <optional>
#include <shared_mutex>

namespace kx::information_model::opc {

Subscribe::Subscribe(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                     const Poco::XML::NamespaceSupport& namespaces, SubscriptionHandler& handler)
    : AMessage(std::move(model), request, namespaces),
      return_values_on_reply_(
          get_attribute<bool>(request, request_names::RETURN_VALUES_ON_REPLY, std::nullopt)),
      subscription_(handler.create(
          std::chrono::milliseconds(get_attribute<int>(request, request_names::SUBSCRIPTION_PING_RATE, 0)))) {
    // Also after a failure: what was parsed until then belongs to the subscription that stays behind.
    const utility::OnScopeExit complete([this] { subscription_->items_complete = true; });
    options_ = read_options(*this, *request);
    if (const Poco::XML::Node* list = find_child(*request, request_names::ITEM_LIST)) {
        parse_items(*list);
    }
}

Subscribe::~Subscribe() = default;

void Subscribe::parse_items(const Poco::XML::Node& list) {
    const std::optional deadband = get_attribute<float>(&list, request_names::DEADBAND, 0.0F);
    const std::optional sampling_rate = get_attribute<int>(&list, request_names::REQUESTED_SAMPLING_RATE, 0);
    const std::optional buffering = get_attribute<bool>(&list, request_names::ENABLE_BUFFERING, false);
    for_each_child(list, request_names::ITEMS, [&](const Poco::XML::Node& node) {
        // The braces evaluate in the order in which they are written.
        subscription_->items.push_back(SubscriptionItem{
            .path = Path(get_attribute<std::string>(&node, request_names::ITEM_NAME, "")),
            .client_item_handle = get_optional_attribute(&node, request_names::CLIENT_ITEM_HANDLE),
            .deadband = get_attribute(&node, request_names::DEADBAND, deadband),
            .requested_sampling_rate = std::chrono::milliseconds(
                get_attribute(&node, request_names::REQUESTED_SAMPLING_RATE, sampling_rate)),
            .enable_buffering = get_attribute(&node, request_names::ENABLE_BUFFERING, buffering)});
    });
}

Poco::AutoPtr<Poco::XML::Element> Subscribe::process() {
    auto response = create_element(get_document(), reply_names::SUBSCRIBE_RESPONSE);
    const auto result =
        append_result_on_exit(response, reply_names::SUBSCRIBE_RESULT, options_.client_request_handle);
    set_attribute(*response, reply_names::SERVER_SUB_HANDLE, subscription_->handle);
    auto list = create_element(get_document(), reply_names::R_ITEM_LIST);
    const Item& root = get_root_item(get_model());
    Diagnostics diagnostics;
    const std::shared_lock<const Tree> lock(root);
    for (const SubscriptionItem& item : subscription_->items) {
        if (const Item* found = find_or_report(root, item.path, "error not found:", diagnostics)) {
            visit_item(*found, [&](const auto& known) { to_xml(list, known, item); });
        }
    }
    response->appendChild(list);
    return response;
}

void Subscribe::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Domain& domain,
                       const SubscriptionItem& item) const {
    append_item(*list, domain, item);
}

void Subscribe::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                       const SubscriptionItem& item) const {
    append_item(*list, variable, item);
}

void Subscribe::append_item(Poco::XML::Element& list, const Item& found, const SubscriptionItem& item) const {
    ChildWriter writer(list);
    writer.begin(reply_names::ITEMS);
    write_item_value(writer, reply_names::ITEM_VALUE, found,
                     {.client_item_handle = get_if_present(item.client_item_handle),
                      .has_timestamp = options_.return_item_time});
    writer.end(reply_names::ITEMS);
}

}  // namespace kx::information_model::opc
