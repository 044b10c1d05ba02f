#include "server/OPCQueryHandler.h"

#include "http/Connection.h"
#include "http/ReplySender.h"
#include "http/RequestBody.h"
#include "server/message/Error.h"
#include "server/service_table.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <exception>
#include <utility>

namespace kx::information_model::opc {

namespace {

const std::string CONTENT_TYPE = "text/xml; charset=utf-8";
const auto BAD_REQUEST = Poco::Net::HTTPResponse::HTTP_BAD_REQUEST;

/// Waits on the connection that a poll came on.
class ConnectionWatch : public HoldWatch {
public:
    /// @param connection  null if it came on none
    explicit ConnectionWatch(Connection* connection) : connection_(connection) {}

    HoldWatch* get() { return connection_ == nullptr ? nullptr : this; }

    bool hold_for(const timespec& duration) override { return connection_->hold_for(duration); }

private:
    Connection* connection_;
};

/// The prefixes of the names that messages look for by a text. Their own names need none.
struct Prefixes : Poco::XML::NamespaceSupport {
    Prefixes() {
        declarePrefix(xml_namespaces::SOAP_PREFIX, xml_namespaces::SOAP);
        declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA);
        declarePrefix(xml_namespaces::XSI_PREFIX, xml_namespaces::XSI);
    }
};

const Poco::XML::NamespaceSupport& get_prefixes() {
    static const Prefixes PREFIXES;
    return PREFIXES;
}

Poco::AutoPtr<Poco::XML::Document> parse_body(Poco::Net::HTTPServerRequest& request) {
    std::string text = read_body(request);
    return parse_and_free_request(text);
}

/// @throws Error  if there is none
const Poco::XML::Node& get_soap_body(const Poco::XML::Document& document) {
    const Poco::XML::Node* envelope = find_child(document, request_names::ENVELOPE);
    const Poco::XML::Node* body = envelope == nullptr ? nullptr : find_child(*envelope, request_names::BODY);
    if (body == nullptr) {
        throw Error(Error::E_SOAP);
    }
    return *body;
}

}  // namespace

OPCQueryHandler::OPCQueryHandler(std::shared_ptr<InformationModel> model,
                                 std::shared_ptr<SubscriptionHandler> subscriptions)
    : model_(std::move(model)), subscriptions_(std::move(subscriptions)) {}

void OPCQueryHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                    Poco::Net::HTTPServerResponse& response) {
    ReplySender sender(request, response);
    try {
        try {
            const Poco::AutoPtr<Poco::XML::Document> reply = process(request);
            sender.send_success(get_reply_text(reply), CONTENT_TYPE);
        } catch (const Error& error) {
            const std::string fault = get_reply_text(generate_fault(error)).to_string();
            sender.send_refusal(BAD_REQUEST, fault, CONTENT_TYPE);
        }
    } catch (const std::exception&) {
        if (sender.has_begun()) {
            throw;  // the answer broke off on its way out: closing the connection tells it
        }
        sender.send_refusal_and_close(BAD_REQUEST, "Bad request");
    }
}

Poco::AutoPtr<Poco::XML::Document> OPCQueryHandler::process(Poco::Net::HTTPServerRequest& request) const {
    ConnectionWatch watch(find_connection(request));
    // The request is freed before the reply is made: both can be large, and one uses the other's memory.
    const auto message = create_message(parse_body(request), watch.get());
    if (message == nullptr) {
        throw Poco::NotFoundException("no known request");
    }
    return message->generate();
}

std::unique_ptr<AMessage> OPCQueryHandler::create_message(Poco::AutoPtr<Poco::XML::Document> request,
                                                          HoldWatch* watch) const {
    const Poco::XML::Node& soap_body = get_soap_body(*request);
    subscriptions_->remove_expired();
    return opc::create_message(soap_body, model_, get_prefixes(), *subscriptions_, watch);
}

}  // namespace kx::information_model::opc
