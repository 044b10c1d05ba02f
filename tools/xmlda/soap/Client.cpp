#include "xmlda/soap/Client.h"

#include "xmlda/Failure.h"
#include "xmlda/soap/XmlReader.h"
#include "xmlda/soap/envelope.h"
#include "xmlda/soap/namespaces.h"
#include "xmlda/soap/xml_indent.h"
#include "xmlda/text/printable.h"

#include <Poco/Net/HTTPResponse.h>

namespace xmlda {
namespace {

using Poco::Net::HTTPResponse;

constexpr std::size_t LONGEST_QUOTATION = 60;

bool is_success(const HttpReply& reply) {
    return reply.status / 100 == 2;
}

/// The first words of a body that are worth being quoted in a message; empty for markup.
std::string get_quotation(const std::string& body) {
    const std::size_t begin = body.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos || body[begin] == '<') {
        return "";
    }
    const std::string line = body.substr(begin, body.find_first_of("\r\n", begin) - begin);
    return " \"" + (line.size() > LONGEST_QUOTATION ? line.substr(0, LONGEST_QUOTATION) + "..." : line) + '"';
}

Failure explain_status(const HttpReply& reply) {
    const std::string answer = "the server answered " + std::to_string(reply.status) + ' ' + reply.reason;
    switch (reply.status) {
        case HTTPResponse::HTTP_BAD_REQUEST:
            return {ExitStatus::BAD_REQUEST,
                    answer + get_quotation(reply.body) +
                        ": it can make nothing of the request, perhaps of an item name or a value in it"};
        case HTTPResponse::HTTP_UNAUTHORIZED:
            return {ExitStatus::HTTP_ERROR, answer + ": it wants to know who asks (--user, --certificate)"};
        default:
            return {ExitStatus::HTTP_ERROR, answer + get_quotation(reply.body)};
    }
}

/// The document of an answer that is no success, if it holds a fault; else null.
std::unique_ptr<XmlElement> find_fault(const HttpReply& reply) {
    try {
        std::unique_ptr<XmlElement> document = parse_xml(reply.body);
        return holds_fault(*document) ? std::move(document) : nullptr;
    } catch (const Failure&) {
        return nullptr;  // not XML: the status says what is wrong
    }
}

std::unique_ptr<XmlElement> parse_reply(const HttpReply& reply) {
    if (is_success(reply)) {
        return parse_xml(reply.body);
    }
    std::unique_ptr<XmlElement> fault = find_fault(reply);
    if (fault == nullptr) {
        throw explain_status(reply);
    }
    return fault;
}

}  // namespace

Response Client::call(const std::string& service, const std::string& request, Repetition repetition) {
    const std::string document = wrap(request);
    show("request to " + transport_.get_endpoint().get_url(), document);
    const HttpReply reply = transport_.post(namespaces::XMLDA + service, document, repetition);
    show("reply " + std::to_string(reply.status) + ' ' + reply.reason + ", " + reply.content_type,
         reply.body);

    std::unique_ptr<XmlElement> envelope = parse_reply(reply);
    const XmlElement& response = unwrap(*envelope, service + "Response");
    return {std::move(envelope), response};
}

void Client::show(const std::string& headline, const std::string& text) const {
    if (trace_ != nullptr) {
        *trace_ << "--- " << to_printable(headline) << '\n'
                << to_printable_lines(indent_xml(text)) << std::endl;
    }
}

}  // namespace xmlda
