#pragma once

#include "base/Rope.h"

#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/StreamSocket.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// Sends the answer to one request. Where the answer has no body, as to a HEAD, only the header is sent.
///
/// Each function throws what the connection throws, and `std::ios_base::failure` where its stream failed: the
/// answer may be on its way by then, see `has_begun`.
class ReplySender {
public:
    /// Both must outlive it.
    ReplySender(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response)
        : request_(request), response_(response) {}

    /// Sends a success, of a known length, in one of three ways:
    ///
    /// | size            | how                                                              |
    /// |-----------------|------------------------------------------------------------------|
    /// | up to 2 KiB     | together with the header, through POCO's stream                  |
    /// | up to 128 KiB   | from one buffer                                                  |
    /// | larger          | piece by piece, as it is in memory                               |
    ///
    /// @throws std::bad_alloc  before anything of a success is in the response
    void send_success(const Rope& text, const std::string& content_type);

    /// Sends a text with a status other than success, in chunks. The connection stays open.
    void send_refusal(Poco::Net::HTTPResponse::HTTPStatus status, std::string_view text,
                      const std::string& content_type);

    /// Sends a text with a status other than success, and has the connection closed: it may be unclear
    /// where the next request would begin.
    void send_refusal_and_close(Poco::Net::HTTPResponse::HTTPStatus status, std::string_view text);

    /// Whether anything has been sent: another answer would be too late.
    bool has_begun() const { return response_.sent(); }

private:
    bool has_body() const;
    /// Null if the request did not come on a connection of the HTTP server.
    Poco::Net::StreamSocket* find_socket() const;
    void send_through_stream(std::string_view text);
    void send_buffer(std::string_view text);
    void send_pieces(const Rope& text);
    void send_header(std::size_t body_size);

    Poco::Net::HTTPServerRequest& request_;
    Poco::Net::HTTPServerResponse& response_;
};

}  // namespace kx::information_model::opc
