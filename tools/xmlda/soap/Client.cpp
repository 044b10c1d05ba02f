#include "xmlda/soap/Client.h"

#include "xmlda/soap/xml_indent.h"
#include "xmlda/text/printable.h"

namespace xmlda {
namespace {

constexpr std::size_t LONGEST_QUOTATION = 60;
constexpr int BAD_REQUEST = 400;
constexpr int UNAUTHORIZED = 401;

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
        case BAD_REQUEST:
            return {ExitStatus::BAD_REQUEST,
                    answer + get_quotation(reply.body) +
                        ": it does not understand the request; an item name or a value may be malformed"};
        case UNAUTHORIZED:
            return {ExitStatus::HTTP_ERROR, answer + ": authentication is required (--user, --certificate)"};
        default:
            if (!reply.location.empty()) {
                return {ExitStatus::HTTP_ERROR, answer + ": the server is at " + reply.location};
            }
            return {ExitStatus::HTTP_ERROR, answer + get_quotation(reply.body)};
    }
}

}  // namespace

HttpReply Client::post(const Request& request, Repetition repetition) {
    show("request to " + transport_.get_endpoint().get_url(), request.body);
    HttpReply reply = transport_.post(request.get_action(), request.body, repetition);
    show("reply " + std::to_string(reply.status) + ' ' + reply.reason + ", " + reply.content_type,
         reply.body);
    return reply;
}

void Client::check_status(const HttpReply& reply) {
    if (reply.status / 100 != 2) {
        throw explain_status(reply);
    }
}

void Client::show(const std::string& headline, const std::string& text) const {
    if (trace_ != nullptr) {
        *trace_ << "--- " << to_printable(headline) << '\n'
                << to_printable_lines(indent_xml(text)) << std::endl;
    }
}

}  // namespace xmlda
