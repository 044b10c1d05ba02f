#pragma once

#include "subscriptions/SubscriptionHandler.h"
#include "tests/xml/ParsedRequest.h"
#include "xml/reply/reply_dom.h"

#include <information_model/InformationModel.h>

#include <Poco/DOM/Node.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <memory>
#include <regex>
#include <stdexcept>
#include <string>

namespace kx::information_model::opc::testing {

/// Parses the text of a request element, whose default namespace is that of OPC XML-DA.
class ServiceRequest {
public:
    explicit ServiceRequest(const std::string& request) : parsed_(create_element_text("Body", "", request)) {}

    const Poco::XML::Node* get_element() const { return parsed_.get_root()->firstChild(); }
    const Poco::XML::NamespaceSupport& get_namespaces() const { return parsed_.get_namespaces(); }

private:
    ParsedRequest parsed_;
};

/// A tree and a store without a server around them: runs messages on the calling thread and leaves the store
/// open to look into.
struct ServiceCaller {
    /// Makes the message, which may throw, and returns the text of its reply.
    template <class Message>
    std::string call(const std::string& request) {
        const ServiceRequest parsed(request);
        return get_reply_text(
                   Message(model, parsed.get_element(), parsed.get_namespaces(), handler).generate())
            .to_string();
    }

    Domain& get_root() { return model->get_root(); }

    std::shared_ptr<InformationModel> model = std::make_shared<InformationModel>("plant");
    SubscriptionHandler handler;
};

/// The handle in the reply of a Subscribe.
inline std::string get_handle(const std::string& reply) {
    std::smatch match;
    if (!std::regex_search(reply, match, std::regex("<SubscribeResponse ServerSubHandle=\"(-?[0-9]+)\">"))) {
        throw std::runtime_error("no handle in " + reply);
    }
    return match[1];
}

}  // namespace kx::information_model::opc::testing
