#pragma once

#include "server/message/AMessage.h"
#include "server/message/RequestOptions.h"
#include "subscriptions/SubscriptionHandler.h"

#include <information_model/Domain.h>
#include <information_model/Variable.h>

#include <memory>

namespace kx::information_model::opc {

/// The Subscribe service: registers a subscription and answers with its handle and the current value of each
/// item that exists, in the order of the request. An item that does not exist is left out of the reply and
/// named on the standard error stream, but stays in the subscription, since it may exist later.
class Subscribe : public AMessage {
public:
    /// Registers the subscription before it parses the options and the items, so that a request that fails
    /// there leaves one behind, which then expires.
    /// @throws std::logic_error       if "ReturnValuesOnReply" is absent; nothing is then registered
    /// @throws Poco::SyntaxException  if an attribute is not a bool, int or float
    /// @throws InvalidPathException   if an item name is absent or not a path
    Subscribe(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
              const Poco::XML::NamespaceSupport& namespaces, SubscriptionHandler& handler);
    ~Subscribe() override;

protected:
    /// "SubscribeResponse" with "RItemList" and then "SubscribeResult". Holds the tree's shared lock over all
    /// items.
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    void parse_items(const Poco::XML::Node& list);

    void to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Domain& domain,
                const SubscriptionItem& item) const;
    void to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                const SubscriptionItem& item) const;
    void append_item(Poco::XML::Element& list, const Item& found, const SubscriptionItem& item) const;

    bool return_values_on_reply_;  // has no effect, values are always sent; kept: clients rely on it
    std::shared_ptr<Subscription> subscription_;
    RequestOptions options_;
};

}  // namespace kx::information_model::opc
