#include "hardening/HardeningHost.h"
#include "support/HttpClient.h"
#include "support/TlsEnvironment.h"
#include "support/TlsFiles.h"
#include "support/replies.h"
#include "support/tls_client.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

const ::testing::Environment* const ENVIRONMENT = ::testing::AddGlobalTestEnvironment(new TlsEnvironment);

/// What a client says first, made without a connection.
std::string create_client_hello() {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()),
                                                                    SSL_CTX_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> session(SSL_new(context.get()), SSL_free);
    BIO* const output = BIO_new(BIO_s_mem());
    SSL_set_bio(session.get(), BIO_new(BIO_s_mem()), output);
    SSL_connect(session.get());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(output, &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

/// Each test ends with a request that is answered over TLS, and a host that ends when asked.
class TlsConnections : public ::testing::Test {
protected:
    HttpClient connect(const TlsFiles* own = nullptr) const {
        return connect_with_tls(host_.get_port(), files_.get_certificate(), own);
    }

    int get_status(const TlsFiles* own = nullptr) const {
        return connect(own).post(create_request("<GetStatus/>")).status;
    }

    void TearDown() override {
        EXPECT_EQ(get_status(), 200);
        host_.expect_end();
    }

    TlsFiles files_;
    HardeningHost host_{{"certificate=" + files_.get_certificate(), "key=" + files_.get_private_key()}};
};

TEST_F(TlsConnections, RefusesPlainHttp) {
    for (const std::string& request :
         {create_post(create_request("<GetStatus/>")), std::string("GET / HTTP/1.0\r\n\r\n"),
          std::string("CONNECT localhost:443 HTTP/1.1\r\n\r\n"), std::string("\r\n"), std::string("x")}) {
        EXPECT_EQ(exchange(host_.get_port(), request).find("HTTP/"), std::string::npos);
    }
}

TEST_F(TlsConnections, SurvivesGarbage) {
    std::minstd_rand random(42);
    const std::string hello = create_client_hello();
    for (int round = 0; round < 300; ++round) {
        std::string bytes = hello;
        for (int change = 0; change <= round % 10; ++change) {
            bytes[random() % bytes.size()] = static_cast<char>(static_cast<unsigned char>(random()));
        }
        exchange(host_.get_port(), bytes);
    }
}

TEST_F(TlsConnections, ResetAtEachPointOfTheFirstMessage) {
    const std::string hello = create_client_hello();
    ASSERT_GT(hello.size(), 100U);
    for (std::size_t size = 0; size <= hello.size(); ++size) {
        HttpClient client(host_.get_port());
        client.try_send(hello.substr(0, size));
        client.reset();
    }
}

TEST_F(TlsConnections, StalledHandshakesHoldTheirOwnWorkerOnly) {
    const std::string hello = create_client_hello();
    std::vector<HttpClient> stalled;
    for (std::size_t number = 0; number < 15; ++number) {
        stalled.emplace_back(host_.get_port());
        stalled.back().try_send(hello.substr(0, hello.size() * number / 14));
    }
    EXPECT_EQ(get_status(), 200);
}

TEST_F(TlsConnections, ResetAfterTheHandshakeAndInARequest) {
    const std::string request = create_post(create_request("<GetStatus/>"));
    for (std::size_t size = 0; size < request.size(); size += 20) {
        HttpClient client = connect();
        client.send(request.substr(0, size));
        client.get_socket().setLinger(true, 0);
    }
}

TEST_F(TlsConnections, ResetInALargeReply) {
    for (int round = 0; round < 10; ++round) {
        HttpClient client = connect();
        client.send(
            create_post(create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)")));
        client.get_socket().setLinger(true, 0);
    }
}

// There is nobody it could be trusted for.
TEST_F(TlsConnections, RefusesClientsWithACertificateOfTheirOwn) {
    const TlsFiles own;
    EXPECT_THROW(get_status(&own), Poco::Exception);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
