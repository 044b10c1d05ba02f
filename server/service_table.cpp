#include "server/service_table.h"

#include "services/Browse.h"
#include "services/GetProperties.h"
#include "services/GetStatus.h"
#include "services/Read.h"
#include "services/Write.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionCancel.h"
#include "subscriptions/SubscriptionPolledRefresh.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <array>
#include <type_traits>

namespace kx::information_model::opc {

namespace {

struct Service {
    const XmlName& request_name;
    std::unique_ptr<AMessage> (*create)(const std::shared_ptr<InformationModel>& model,
                                        const Poco::XML::Node* request,
                                        const Poco::XML::NamespaceSupport& namespaces,
                                        SubscriptionHandler& subscriptions, HoldWatch* watch);
};

template <class Message>
std::unique_ptr<AMessage> create(const std::shared_ptr<InformationModel>& model,
                                 const Poco::XML::Node* request,
                                 const Poco::XML::NamespaceSupport& namespaces,
                                 SubscriptionHandler& subscriptions, HoldWatch* watch) {
    if constexpr (std::is_constructible_v<Message, std::shared_ptr<InformationModel>, const Poco::XML::Node*,
                                          const Poco::XML::NamespaceSupport&, SubscriptionHandler&,
                                          HoldWatch*>) {
        return std::make_unique<Message>(model, request, namespaces, subscriptions, watch);
    } else if constexpr (std::is_constructible_v<Message, std::shared_ptr<InformationModel>,
                                                 const Poco::XML::Node*, const Poco::XML::NamespaceSupport&,
                                                 SubscriptionHandler&>) {
        return std::make_unique<Message>(model, request, namespaces, subscriptions);
    } else {
        return std::make_unique<Message>(model, request, namespaces);
    }
}

// The order matters: of several request elements in one body, the first in this table is served.
const std::array SERVICES{
    Service{request_names::GET_STATUS, create<GetStatus>},
    Service{request_names::BROWSE, create<Browse>},
    Service{request_names::GET_PROPERTIES, create<GetProperties>},
    Service{request_names::READ, create<Read>},
    Service{request_names::WRITE, create<Write>},
    Service{request_names::SUBSCRIBE, create<Subscribe>},
    Service{request_names::SUBSCRIPTION_POLLED_REFRESH, create<SubscriptionPolledRefresh>},
    Service{request_names::SUBSCRIPTION_CANCEL, create<SubscriptionCancel>},
};

}  // namespace

std::unique_ptr<AMessage> create_message(const Poco::XML::Node& soap_body,
                                         const std::shared_ptr<InformationModel>& model,
                                         const Poco::XML::NamespaceSupport& namespaces,
                                         SubscriptionHandler& subscriptions, HoldWatch* watch) {
    for (const Service& service : SERVICES) {
        if (const Poco::XML::Node* request = find_child(soap_body, service.request_name)) {
            return service.create(model, request, namespaces, subscriptions, watch);
        }
    }
    return nullptr;
}

}  // namespace kx::information_model::opc
