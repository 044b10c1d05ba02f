#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/SocketAddress.h>

#include <istream>
#include <sstream>
#include <string>

namespace kx::information_model::opc::testing {

/// A request without a connection: has a body to read, and the response to answer with.
class FakeRequest : public Poco::Net::HTTPServerRequest {
public:
    /// @param response  outlives this object
    FakeRequest(const std::string& body, Poco::Net::HTTPServerResponse& response)
        : stream_(body), response_(response) {}

    std::istream& stream() override { return stream_; }
    const Poco::Net::SocketAddress& clientAddress() const override { return address_; }
    const Poco::Net::SocketAddress& serverAddress() const override { return address_; }
    const Poco::Net::HTTPServerParams& serverParams() const override { return *parameters_; }
    Poco::Net::HTTPServerResponse& response() const override { return response_; }
    bool secure() const override { return false; }

private:
    std::istringstream stream_;
    Poco::Net::HTTPServerResponse& response_;
    Poco::Net::SocketAddress address_;
    Poco::Net::HTTPServerParams::Ptr parameters_ = new Poco::Net::HTTPServerParams;
};

}  // namespace kx::information_model::opc::testing
