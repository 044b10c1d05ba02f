#pragma once

#include "server/message/AMessage.h"
#include "subscriptions/SubscriptionHandler.h"

#include <string>

namespace kx::information_model::opc {

/// The SubscriptionCancel service: forgets a subscription. A poll of it that is under way ends normally.
/// Does not lock the tree.
class SubscriptionCancel : public AMessage {
public:
    /// Removes the subscription.
    /// @throws std::logic_error  if "ServerSubHandle" is absent
    /// @throws Error             E_NOSUBSCRIPTION if there is no such subscription (any more)
    SubscriptionCancel(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                       const Poco::XML::NamespaceSupport& namespaces, SubscriptionHandler& handler);
    ~SubscriptionCancel() override;

protected:
    /// "SubscriptionCancelResponse", which holds nothing but the client's request handle, empty if it sent
    /// none.
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    std::string server_sub_handle_;
    std::string client_request_handle_;
};

}  // namespace kx::information_model::opc
