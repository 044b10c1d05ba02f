#include "http/ReplySender.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/NetException.h>

#include <ios>
#include <ostream>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t MAXIMUM_STREAMED_SIZE = 2048;
constexpr std::size_t MAXIMUM_BUFFER_SIZE = std::size_t{128} * 1024;

void send_all(Poco::Net::StreamSocket& socket, std::string_view text) {
    while (!text.empty()) {
        const int sent = socket.sendBytes(text.data(), static_cast<int>(text.size()));
        if (sent <= 0) {
            throw Poco::Net::ConnectionAbortedException();
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

}  // namespace

void ReplySender::send_success(const Rope& text, const std::string& content_type) {
    const std::size_t size = text.get_size();
    // The HTTP server's stream would send a large body in pieces of 4 KB, at the price of a system call each.
    const bool is_streamed = !has_body() || size <= MAXIMUM_STREAMED_SIZE || find_socket() == nullptr;
    const bool is_joined = is_streamed || size <= MAXIMUM_BUFFER_SIZE;
    const std::string joined = is_joined ? text.to_string() : std::string();

    response_.setContentType(content_type);
    response_.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_OK);
    const bool keep_alive = response_.getKeepAlive();
    // A success never has a Connection header, whatever the client asked for; kept: clients rely on it.
    response_.erase("connection");
    if (is_streamed) {
        response_.sendBuffer(joined.data(), size);
    } else if (is_joined) {
        send_buffer(joined);
    } else {
        send_pieces(text);
    }
    if (!keep_alive) {
        response_.setKeepAlive(false);  // too late for the wire; the HTTP server reads it and closes
    }
}

void ReplySender::send_refusal(Poco::Net::HTTPResponse::HTTPStatus status, std::string_view text,
                               const std::string& content_type) {
    response_.setChunkedTransferEncoding(true);
    response_.setContentType(content_type);
    response_.setStatusAndReason(status);
    send_through_stream(text);
}

void ReplySender::send_refusal_and_close(Poco::Net::HTTPResponse::HTTPStatus status, std::string_view text) {
    response_.setStatusAndReason(status);
    response_.setKeepAlive(false);
    send_through_stream(text);
}

bool ReplySender::has_body() const {
    return request_.getMethod() != Poco::Net::HTTPRequest::HTTP_HEAD;
}

Poco::Net::StreamSocket* ReplySender::find_socket() const {
    auto* const connection = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request_);
    return connection == nullptr ? nullptr : &connection->socket();
}

// All of it now: at the end of its life the stream would send the rest and keep to itself whether that
// succeeded, and the client would wait for it.
void ReplySender::send_through_stream(std::string_view text) {
    std::ostream& stream = response_.send();
    stream << (has_body() ? text : std::string_view()) << std::flush;
    if (!stream) {
        throw std::ios_base::failure("an answer was not sent");
    }
}

void ReplySender::send_buffer(std::string_view text) {
    send_header(text.size());
    send_all(*find_socket(), text);
}

void ReplySender::send_pieces(const Rope& text) {
    send_header(text.get_size());
    Poco::Net::StreamSocket& socket = *find_socket();
    text.for_each_piece([&](std::string_view piece) { send_all(socket, piece); });
}

void ReplySender::send_header(std::size_t body_size) {
    response_.setChunkedTransferEncoding(false);
    response_.setContentLength64(static_cast<Poco::Int64>(body_size));
    send_through_stream({});
}

}  // namespace kx::information_model::opc
