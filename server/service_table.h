#pragma once

#include "server/message/AMessage.h"
#include "subscriptions/HoldWatch.h"
#include "subscriptions/SubscriptionHandler.h"

#include <information_model/InformationModel.h>

#include <Poco/DOM/Node.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <memory>

namespace kx::information_model::opc {

/// Makes the message of the first service, in the order of the table of services, whose request element
/// is in the body of a SOAP envelope.
/// @param namespaces  declares "soap", "xmlda" and "xsi"; must outlive the message
/// @param watch       of a poll that is held; may be null
/// @return null if there is no known request
/// @throws what the message's constructor throws
std::unique_ptr<AMessage> create_message(const Poco::XML::Node& soap_body,
                                         const std::shared_ptr<InformationModel>& model,
                                         const Poco::XML::NamespaceSupport& namespaces,
                                         SubscriptionHandler& subscriptions, HoldWatch* watch);

}  // namespace kx::information_model::opc
