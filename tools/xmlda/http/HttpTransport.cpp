#include "xmlda/http/HttpTransport.h"

#include <Poco/Base64Encoder.h>

#include <sstream>
#include <utility>

namespace xmlda {
namespace {

std::string encode_base64(const std::string& text) {
    std::ostringstream stream;
    Poco::Base64Encoder encoder(stream);
    encoder.rdbuf()->setLineLength(0);
    encoder << text;
    encoder.close();
    return stream.str();
}

/// A connection that breaks already now is as good as one that brings no reply.
void send(Connection& connection, const std::string& request, const Deadline& deadline) {
    try {
        connection.send(request, deadline);
    } catch (const Failure& failure) {
        if (failure.get_status() == ExitStatus::NO_CONNECTION) {
            throw NoReply();
        }
        throw;
    }
}

}  // namespace

HttpTransport::HttpTransport(Endpoint endpoint, HttpSettings settings)
    : endpoint_(std::move(endpoint)), settings_(std::move(settings)) {
    if (endpoint_.is_secure) {
        tls_.emplace(settings_.tls);
    }
}

HttpReply HttpTransport::post(const std::string& action, const std::string& body, Repetition repetition) {
    const Deadline deadline(settings_.time_out);
    const std::string request = create_request(action, body);
    const bool is_reusable =
        repetition == Repetition::ALLOWED && connection_ != nullptr && connection_->is_idle();
    if (is_reusable) {
        try {
            return exchange(request, deadline);
        } catch (const NoReply&) {
            // The server closed the idle connection while the request was on its way: once more, on a new
            // one.
        }
    }
    open(deadline);
    return exchange(request, deadline);
}

void HttpTransport::set_interruption(const Interruption* interruption) {
    interruption_ = interruption;
    if (connection_ != nullptr) {
        connection_->set_interruption(interruption);
    }
}

HttpReply HttpTransport::exchange(const std::string& request, const Deadline& deadline) {
    std::unique_ptr<Connection> connection = std::move(connection_);  // given up unless all goes well
    send(*connection, request, deadline);
    const auto source = [&connection, &deadline](char* buffer, std::size_t size) {
        return connection->receive(buffer, size, deadline);
    };
    HttpReply reply = HttpReplyReader(source, settings_.maximum_reply_size).read();
    if (reply.stays_open) {
        connection_ = std::move(connection);
    }
    return reply;
}

std::string HttpTransport::create_request(const std::string& action, const std::string& body) const {
    std::string request = "POST " + endpoint_.path + " HTTP/1.1\r\nHost: " + endpoint_.get_authority() +
                          "\r\nUser-Agent: xmlda/" XMLDA_VERSION "\r\nContent-Type: text/xml; charset=utf-8" +
                          "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nSOAPAction: \"" +
                          action + "\"\r\n";
    if (!settings_.user.empty()) {
        request +=
            "Authorization: Basic " + encode_base64(settings_.user + ':' + settings_.password) + "\r\n";
    }
    return request + "\r\n" + body;
}

void HttpTransport::open(const Deadline& deadline) {
    connection_.reset();
    connection_ = std::make_unique<Connection>(endpoint_, tls_ ? &*tls_ : nullptr, deadline, interruption_);
}

}  // namespace xmlda
