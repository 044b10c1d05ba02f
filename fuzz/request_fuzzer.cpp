// Whole requests: what a client posts goes through the request handler, as it would on a worker thread, and
// what comes back is judged. An input is one or more bodies with a line "%%" between them, served one after
// the other by one server; the handle of the n-th one's subscription is n followed by nine zeros. A body that
// begins with "=" gets an envelope around what follows: it keeps inputs short, and the fuzzer at the
// services.

#include "Exchange.h"
#include "Host.h"
#include "ManualClock.h"
#include "SilentDiagnostics.h"
#include "requests.h"
#include "require.h"
#include "server/OPCQueryHandler.h"
#include "server/message/Error.h"
#include "subscriptions/SubscriptionHandler.h"
#include "support/FakeRequest.h"
#include "xml/reply/reply_dom.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/DOMWriter.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/SAX/XMLReader.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace kx::fuzz {

namespace {

using namespace information_model;
using namespace information_model::opc;
using Poco::XML::Node;
using Document = Poco::AutoPtr<Poco::XML::Document>;

const std::string XML_DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

std::string create_body(std::string_view text) {
    return text.starts_with('=') ? create_envelope(text.substr(1)) : std::string(text);
}

const std::vector<std::string>& get_faults() {
    static const std::vector<std::string> FAULTS = [] {
        std::vector<std::string> texts;
        for (const Error& error :
             {Error::E_SOAP, Error::E_NOSUBSCRIPTION, Error::E_INVALIDITEMPATH, Error::E_UNKNOWNITEMPATH,
              Error::E_INVALIDITEMNAME, Error::E_UNKNOWNITEMNAME, Error::E_FAIL, Error::E_INVALIDFILTER,
              Error::E_INVALIDCONTINUATIONPOINT, Error::E_INVALIDHOLDTIME}) {
            texts.push_back(get_reply_text(generate_fault(error)).to_string());
        }
        return texts;
    }();
    return FAULTS;
}

Document parse(const std::string& reply, bool with_namespaces) {
    Poco::XML::DOMParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, with_namespaces);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    try {
        return parser.parseMemory(reply.data(), reply.size());
    } catch (const std::exception& error) {
        require(false, std::string("a reply is well-formed: ") + error.what(), reply);
        return {};
    }
}

// Carriage returns apart, which a parser reads as line feeds.
void check_bytes(const std::string& reply) {
    if (reply.find('\r') == std::string::npos) {
        std::ostringstream again;
        Poco::XML::DOMWriter().writeNode(again, parse(reply, false));
        require(XML_DECLARATION + again.str() == reply, "a reply is what DOMWriter makes of its DOM", reply);
    }
}

void check_success(const std::string& reply) {
    const Document document = parse(reply, true);
    const Node* envelope = document->documentElement();
    require(envelope->nodeName() == "soap:Envelope", "a reply is an envelope", reply);
    const Node* body = envelope->firstChild();
    require(body != nullptr && body->nodeName() == "soap:Body" && body->nextSibling() == nullptr,
            "an envelope holds a body", reply);
    const Node* response = body->firstChild();
    require(response != nullptr && response->localName().ends_with("Response") &&
                response->nextSibling() == nullptr,
            "a body holds a response", reply);
    check_bytes(reply);
}

void check_failure(const CapturedResponse& response) {
    const std::string body = response.get_body();
    if (response.getContentType() == Poco::Net::HTTPMessage::UNKNOWN_CONTENT_TYPE) {
        require(body == "Bad request", "what is no fault is a bad request", body);
    } else {
        require(std::find(get_faults().begin(), get_faults().end(), body) != get_faults().end(),
                "a fault is one of ours", body);
    }
}

void check_reply(const CapturedResponse& response) {
    require(response.sent(), "each request is answered");
    if (response.getStatus() == Poco::Net::HTTPResponse::HTTP_OK) {
        require(response.getContentType() == "text/xml; charset=utf-8", "a success is XML");
        check_success(response.get_body());
    } else {
        require(response.getStatus() == Poco::Net::HTTPResponse::HTTP_BAD_REQUEST, "a failure is 400");
        check_failure(response);
    }
}

/// The part of a server that is behind its sockets.
class InProcessServer {
public:
    void serve(const std::string& body) {
        CapturedResponse response;
        {
            information_model::opc::testing::FakeRequest request(body, response);
            OPCQueryHandler(host_.get_model(), subscriptions_).handleRequest(request, response);
        }
        check_reply(response);
        check_nothing_is_left();
        host_.turn();
        ManualClock::advance(std::chrono::seconds(1));
    }

private:
    void check_nothing_is_left() {
        Tree& tree = host_.get_model()->get_information_tree();
        require(tree.try_lock(), "the tree lock is free");
        tree.unlock();
        require(host_.get_model().use_count() == 1 && subscriptions_.use_count() == 1,
                "nobody keeps the model or the subscriptions");
        require(subscriptions_->get_size() <= MAXIMUM_REQUESTS, "a request makes one subscription");
    }

    Host host_;
    std::shared_ptr<SubscriptionHandler> subscriptions_ = std::make_shared<SubscriptionHandler>();
};

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static kx::fuzz::SilentDiagnostics diagnostics;
    const kx::fuzz::ManualClock clock;
    kx::fuzz::InProcessServer server;
    for (const std::string_view request :
         kx::fuzz::split_requests({reinterpret_cast<const char*>(data), size})) {
        server.serve(kx::fuzz::create_body(request));
    }
    return 0;
}
