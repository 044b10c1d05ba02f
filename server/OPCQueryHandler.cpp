#include "server/OPCQueryHandler.h"

#include "http/Connection.h"
#include "http/RequestBody.h"
#include "server/message/Error.h"
#include "services/Browse.h"
#include "services/GetProperties.h"
#include "services/GetStatus.h"
#include "services/Read.h"
#include "services/Write.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionCancel.h"
#include "subscriptions/SubscriptionPolledRefresh.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <ios>
#include <ostream>
#include <string_view>
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

const std::string CONTENT_TYPE = "text/xml; charset=utf-8";

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

const Poco::XML::Node* find_soap_body(const Poco::XML::Document& document) {
    const Poco::XML::Node* envelope = find_child(document, request_names::ENVELOPE);
    return envelope == nullptr ? nullptr : find_child(*envelope, request_names::BODY);
}

bool has_body(const Poco::Net::HTTPServerRequest& request) {
    return request.getMethod() != Poco::Net::HTTPRequest::HTTP_HEAD;
}

/// Sends a text, all of it now: at the end of its life the stream would send the rest and keep to itself
/// whether that succeeded, and the client would wait for it. Just the header where the answer has no body.
void send(const Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
          std::string_view text) {
    std::ostream& stream = response.send();
    stream << (has_body(request) ? text : std::string_view()) << std::flush;
    if (!stream) {
        throw std::ios_base::failure("an answer was not sent");
    }
}

void send_fault(const Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                const Error& error) {
    const std::string text = get_reply_text(generate_fault(error)).to_string();
    response.setChunkedTransferEncoding(true);
    response.setContentType(CONTENT_TYPE);
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    send(request, response, text);
}

Poco::AutoPtr<Poco::XML::Document> parse_body(Poco::Net::HTTPServerRequest& request) {
    return parse_request(read_body(request));  // the text is not needed any more
}

// Replies up to this size are sent from one string, and the smallest together with the header.
constexpr std::size_t JOINED_REPLY_SIZE = std::size_t{128} * 1024;
constexpr std::size_t STREAMED_REPLY_SIZE = 2048;

void send_all(Poco::Net::StreamSocket& socket, std::string_view text) {
    while (!text.empty()) {
        const int sent = socket.sendBytes(text.data(), static_cast<int>(text.size()));
        if (sent <= 0) {
            throw Poco::Net::ConnectionAbortedException();
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

/// Where a large body goes: the HTTP server's stream would send it in pieces of 4 KB, at the price of a
/// system call each. Null where the stream has to do it.
Poco::Net::StreamSocket* find_socket(Poco::Net::HTTPServerRequest& request, std::size_t body_size) {
    auto* const connection = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request);
    return connection != nullptr && has_body(request) && body_size > STREAMED_REPLY_SIZE
               ? &connection->socket()
               : nullptr;
}

void send_reply(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                const MarkupRope& text) {
    const std::size_t size = text.get_size();
    Poco::Net::StreamSocket* const socket = find_socket(request, size);
    // Should memory run out, it is before anything of a success is in the response.
    const std::string joined =
        socket == nullptr || size <= JOINED_REPLY_SIZE ? text.to_string() : std::string();
    response.setContentType(CONTENT_TYPE);
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_OK);
    const bool keep_alive = response.getKeepAlive();
    // Clients of old expect no Connection header on success, whatever they asked for.
    response.erase("connection");
    if (socket == nullptr) {
        response.sendBuffer(joined.data(), size);
    } else {
        response.setChunkedTransferEncoding(false);
        response.setContentLength64(static_cast<Poco::Int64>(size));
        send(request, response, {});  // the header
        send_all(*socket, joined);
        if (joined.empty()) {
            text.for_each_piece([&](std::string_view piece) { send_all(*socket, piece); });
        }
    }
    if (!keep_alive) {
        response.setKeepAlive(false);  // too late for the wire; the HTTP server reads it and closes
    }
}

/// Where the next request would begin may be in doubt: the connection is closed.
void send_bad_request(const Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) {
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    response.setKeepAlive(false);
    send(request, response, "Bad request");
}

}  // namespace

OPCQueryHandler::OPCQueryHandler(std::shared_ptr<InformationModel> model,
                                 std::shared_ptr<SubscriptionHandler> subscriptions)
    : model_(std::move(model)), subscriptions_(std::move(subscriptions)) {}

void OPCQueryHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                    Poco::Net::HTTPServerResponse& response) {
    try {
        try {
            const Poco::AutoPtr<Poco::XML::Document> reply = process(request);
            send_reply(request, response, get_reply_text(reply));
        } catch (const Error& error) {
            send_fault(request, response, error);
        }
    } catch (const std::exception&) {
        if (response.sent()) {
            throw;  // the answer broke off on its way out: closing the connection tells it
        }
        send_bad_request(request, response);
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
    const Poco::XML::Node* soap_body = find_soap_body(*request);
    if (soap_body == nullptr) {
        throw Error(Error::E_SOAP);
    }
    subscriptions_->remove_expired();
    for (const Service& service : SERVICES) {
        if (const Poco::XML::Node* node = find_child(*soap_body, service.request_name)) {
            return service.create(model_, node, get_prefixes(), *subscriptions_, watch);
        }
    }
    return nullptr;
}

}  // namespace kx::information_model::opc
