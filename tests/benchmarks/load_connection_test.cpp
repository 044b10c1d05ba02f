#include "load/Connection.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>

#include <gtest/gtest.h>

#include <iterator>

namespace kx::benchmarks {

namespace {

/// Sends the body back: in chunks to "/chunked", with status 400 to "/bad", else with its length. Ends the
/// connection after "/last".
class Echo : public Poco::Net::HTTPRequestHandler {
public:
    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override {
        const std::string body(std::istreambuf_iterator<char>(request.stream()), {});
        response.setKeepAlive(request.getURI() != "/last");
        if (request.getURI() == "/bad") {
            response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
        }
        if (request.getURI() == "/chunked") {
            response.setChunkedTransferEncoding(true);
            response.send() << body;
        } else {
            response.sendBuffer(body.data(), body.size());
        }
    }
};

class EchoFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(
        const Poco::Net::HTTPServerRequest& /*request*/) override {
        return new Echo;
    }
};

class LoadConnection : public ::testing::Test {
protected:
    LoadConnection() { server_.start(); }
    ~LoadConnection() override { server_.stopAll(true); }

    std::string exchange(const std::string& body, const std::string& path = "/") {
        return connection_.exchange(create_http_request(body, path));
    }

    void close() { connection_.close(); }

private:
    Poco::Net::ServerSocket socket_{Poco::Net::SocketAddress("127.0.0.1", 0), 64};
    Poco::Net::HTTPServer server_{new EchoFactory, socket_, new Poco::Net::HTTPServerParams};
    Connection connection_{socket_.address().port()};
};

TEST_F(LoadConnection, TakesABodyByItsLength) {
    const std::string body(1'000'000, 'x');
    EXPECT_EQ(exchange(body), body);
    EXPECT_EQ(exchange(""), "");
}

TEST_F(LoadConnection, PutsChunksTogether) {
    const std::string body(1'000'000, 'x');
    EXPECT_EQ(exchange(body, "/chunked"), body);
    EXPECT_EQ(exchange("and again", "/chunked"), "and again");
}

TEST_F(LoadConnection, OpensAgainWhenTheServerHasClosed) {
    EXPECT_EQ(exchange("one", "/last"), "one");
    EXPECT_EQ(exchange("two"), "two");
}

TEST_F(LoadConnection, IsOpenedAgainWhenItWasClosed) {
    EXPECT_EQ(exchange("one"), "one");
    close();
    EXPECT_EQ(exchange("two"), "two");
}

TEST_F(LoadConnection, RefusesAnotherStatusThan200) {
    EXPECT_THROW(exchange("", "/bad"), std::runtime_error);
}

TEST(LoadConnectionToNowhere, Fails) {
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0), 64);
    const unsigned short port = socket.address().port();
    socket.close();
    EXPECT_THROW(Connection connection(port), std::runtime_error);
}

}  // namespace

}  // namespace kx::benchmarks
