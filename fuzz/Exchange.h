#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/SocketAddress.h>

#include <cstddef>
#include <sstream>
#include <string>

/// An HTTP request and its reply without sockets, for a request handler.
namespace kx::fuzz {

/// Keeps what is sent.
class CapturedResponse : public Poco::Net::HTTPServerResponse {
public:
    void sendContinue() override {}
    std::ostream& send() override;
    void sendFile(const std::string& path, const std::string& media_type) override;
    void sendBuffer(const void* buffer, std::size_t length) override;
    void redirect(const std::string& uri, HTTPStatus status) override;
    void requireAuthentication(const std::string& realm) override;
    bool sent() const override { return sent_; }

    std::string get_body() const { return body_.str(); }

private:
    std::ostringstream body_;
    bool sent_ = false;
};

/// Has `body` to read.
class BodyRequest : public Poco::Net::HTTPServerRequest {
public:
    /// @param response  must outlive this object
    BodyRequest(const std::string& body, CapturedResponse& response) : stream_(body), response_(response) {}

    std::istream& stream() override { return stream_; }
    const Poco::Net::SocketAddress& clientAddress() const override { return address_; }
    const Poco::Net::SocketAddress& serverAddress() const override { return address_; }
    const Poco::Net::HTTPServerParams& serverParams() const override { return *parameters_; }
    Poco::Net::HTTPServerResponse& response() const override { return response_; }
    bool secure() const override { return false; }

private:
    std::istringstream stream_;
    CapturedResponse& response_;
    Poco::Net::SocketAddress address_;
    Poco::Net::HTTPServerParams::Ptr parameters_ = new Poco::Net::HTTPServerParams;
};

}  // namespace kx::fuzz
