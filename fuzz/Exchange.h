#pragma once

#include <Poco/Net/HTTPServerResponse.h>

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

}  // namespace kx::fuzz
