#include "subscriptions/SubscriptionCancel.h"

#include "server/message/Error.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <optional>

namespace kx::information_model::opc {

SubscriptionCancel::SubscriptionCancel(std::shared_ptr<InformationModel> model,
                                       const Poco::XML::Node* request,
                                       const Poco::XML::NamespaceSupport& namespaces,
                                       SubscriptionHandler& handler)
    : AMessage(std::move(model), request, namespaces),
      server_sub_handle_(get_attribute<std::string>(request, request_names::SERVER_SUB_HANDLE, std::nullopt)),
      client_request_handle_(get_attribute<std::string>(request, request_names::CLIENT_REQUEST_HANDLE, "")) {
    if (!handler.remove(server_sub_handle_)) {
        throw Error(Error::E_NOSUBSCRIPTION);
    }
}

SubscriptionCancel::~SubscriptionCancel() = default;

Poco::AutoPtr<Poco::XML::Element> SubscriptionCancel::process() {
    auto response = create_element(get_document(), reply_names::SUBSCRIPTION_CANCEL_RESPONSE);
    set_attribute(*response, reply_names::CLIENT_REQUEST_HANDLE, client_request_handle_);
    return response;
}

}  // namespace kx::information_model::opc
