#include "support/HttpClient.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/TlsEnvironment.h"
#include "support/TlsFiles.h"
#include "support/replies.h"
#include "support/server_end.h"
#include "support/tls_client.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Net/SocketAddress.h>

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

const ::testing::Environment* const ENVIRONMENT = ::testing::AddGlobalTestEnvironment(new TlsEnvironment);

class TlsServer : public ::testing::Test {
protected:
    TlsServer() {
        model_->check_locks(false);  // tests build their trees while the server runs
        server_.start();
    }

    HttpClient connect() const { return connect_with_tls(server_.get_port(), files_.get_certificate()); }

    TlsFiles files_;
    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    Server server_{"127.0.0.1", files_.get_certificate(), files_.get_private_key(), model_};
};

void expect_status(const Reply& reply) {
    EXPECT_EQ(reply.status, 200);
    EXPECT_NE(reply.body.find("<VendorInfo>Brevandor OPC XML DA Server</VendorInfo>"), std::string::npos);
}

TEST_F(TlsServer, TellsThatTlsIsEnabled) {
    EXPECT_TRUE(server_.is_tls_enabled());
    EXPECT_NE(server_.get_port(), 0);
    EXPECT_EQ(server_.get_address(), "127.0.0.1");
}

TEST_F(TlsServer, ServesGetStatus) {
    expect_status(connect().post(create_request("<GetStatus/>")));
}

TEST_F(TlsServer, ServesRead) {
    model_->get_root().add_variable("temperature", Value(21.5));
    const Reply reply = connect().post(create_request(
        R"(<Read><ItemList><Items ItemName="temperature" ClientItemHandle="h"/></ItemList></Read>)"));
    expect_success(reply, R"(<ReadResponse><RItemList><Items ClientItemHandle="h" ItemName="/temperature">)"
                          R"(<Value xsi:type="xsd:double">21.500000</Value></Items></RItemList>)" +
                              create_result("ReadResult") + "</ReadResponse>");
}

TEST_F(TlsServer, AnswersFaultsAndBadRequests) {
    expect_fault(connect().post("<a/>"), "soap:Server", "Server was unable to process request.");
    expect_bad_request(connect().post("no xml"));
}

TEST_F(TlsServer, ServesSeveralRequestsOnOneConnection) {
    HttpClient client = connect();
    for (int round = 0; round < 5; ++round) {
        expect_status(client.post(create_request("<GetStatus/>")));
    }
}

TEST_F(TlsServer, ServesLargeRequestsAndReplies) {
    const std::string text(std::size_t{3} << 20U, 'x');
    model_->get_root().add_variable("text", Value(text));
    const Reply reply = connect().post(create_request(
        R"(<Read><ItemList><Items ItemName="text" ClientItemHandle=")" + text + R"("/></ItemList></Read>)"));
    expect_success(reply, "<ReadResponse><RItemList><Items ClientItemHandle=\"" + text +
                              R"(" ItemName="/text"><Value xsi:type="xsd:string">)" + text +
                              "</Value></Items></RItemList>" + create_result("ReadResult") +
                              "</ReadResponse>");
}

TEST_F(TlsServer, ServesClientsAtOnce) {
    std::atomic<int> served{0};
    TestThreads clients;
    for (int number = 0; number < 8; ++number) {
        clients.start([&] {
            HttpClient client = connect();
            for (int round = 0; round < 10; ++round) {
                served += client.post(create_request("<GetStatus/>")).status == 200 ? 1 : 0;
            }
        });
    }
    clients.join();
    EXPECT_EQ(served, 80);
}

/// What a client met that offered just one version of TLS.
struct Handshake {
    std::string version;   // empty when there was none
    int reason = 0;        // of the failure
    std::string answer{};  // how it starts
    bool is_resumed = false;
};

class TlsProbe {
public:
    TlsProbe() : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free) {
        SSL_CTX_set_security_level(context_.get(), 0);  // offer what the server shall refuse
    }

    void offer_version(int version) {
        SSL_CTX_set_min_proto_version(context_.get(), version);
        SSL_CTX_set_max_proto_version(context_.get(), version);
    }

    void keep_sessions() { keeps_sessions_ = true; }

    void offer_ciphers(const char* ciphers) { SSL_CTX_set_cipher_list(context_.get(), ciphers); }

    Handshake connect(unsigned short port) {
        Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", port));
        socket.setReceiveTimeout(Poco::Timespan(30, 0));
        const std::unique_ptr<SSL, decltype(&SSL_free)> session(SSL_new(context_.get()), SSL_free);
        SSL_set_fd(session.get(), socket.impl()->sockfd());
        ERR_clear_error();
        if (kept_ != nullptr) {
            SSL_set_session(session.get(), kept_.get());
        }
        if (SSL_connect(session.get()) != 1) {
            return {"", ERR_GET_REASON(ERR_peek_last_error())};
        }
        Handshake handshake{SSL_get_version(session.get()), 0, ask(*session),
                            SSL_session_reused(session.get()) == 1};
        if (keeps_sessions_) {
            kept_.reset(SSL_get1_session(session.get()));  // with TLS 1.3 it comes after the handshake
            SSL_shutdown(session.get());                   // one that ends otherwise is not resumed
        }
        return handshake;
    }

private:
    static std::string ask(SSL& session) {
        const std::string body = create_request("<GetStatus/>");
        const std::string request =
            "POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        SSL_write(&session, request.data(), static_cast<int>(request.size()));
        std::string answer(15, '\0');
        answer.resize(static_cast<std::size_t>(
            std::max(0, SSL_read(&session, answer.data(), static_cast<int>(answer.size())))));
        return answer;
    }

    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    bool keeps_sessions_ = false;
    std::unique_ptr<SSL_SESSION, decltype(&SSL_SESSION_free)> kept_{nullptr, SSL_SESSION_free};
};

TEST_F(TlsServer, ServesTheVersionsOfToday) {
    for (const auto& [version, name] : {std::pair(TLS1_2_VERSION, "TLSv1.2"), {TLS1_3_VERSION, "TLSv1.3"}}) {
        TlsProbe probe;
        probe.offer_version(version);
        const Handshake handshake = probe.connect(server_.get_port());
        EXPECT_EQ(handshake.version, name);
        EXPECT_EQ(handshake.answer, "HTTP/1.1 200 OK");
    }
}

// Clients that open a connection for each request do so with the session that they have.
TEST_F(TlsServer, ResumesSessions) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        SCOPED_TRACE(version);
        TlsProbe probe;
        probe.offer_version(version);
        probe.keep_sessions();
        EXPECT_FALSE(probe.connect(server_.get_port()).is_resumed);
        for (int round = 0; round < 3; ++round) {
            const Handshake handshake = probe.connect(server_.get_port());
            EXPECT_TRUE(handshake.is_resumed);
            EXPECT_EQ(handshake.answer, "HTTP/1.1 200 OK")
                << ERR_reason_error_string(static_cast<unsigned long>(handshake.reason));
        }
    }
}

// Its sessions were those of another server.
TEST_F(TlsServer, ShakesHandsAnewWithClientsOfAnother) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        SCOPED_TRACE(version);
        TlsProbe probe;
        probe.offer_version(version);
        probe.keep_sessions();
        probe.connect(server_.get_port());
        Server next("127.0.0.1", files_.get_certificate(), files_.get_private_key(), model_);
        const Handshake handshake = probe.connect(next.start());
        EXPECT_FALSE(handshake.is_resumed);
        EXPECT_EQ(handshake.answer, "HTTP/1.1 200 OK");
    }
}

TEST_F(TlsServer, RefusesOlderVersions) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        TlsProbe probe;
        probe.offer_version(version);
        const Handshake handshake = probe.connect(server_.get_port());
        EXPECT_EQ(handshake.version, "");
        EXPECT_EQ(handshake.reason, SSL_R_TLSV1_ALERT_PROTOCOL_VERSION)
            << ERR_reason_error_string(static_cast<unsigned long>(handshake.reason));
        expect_status(connect().post(create_request("<GetStatus/>")));
    }
}

TEST_F(TlsServer, BoundsHowLongAPeerThatDoesNotReadHoldsAWorker) {
    HttpClient client = connect();
    expect_status(client.post(create_request("<GetStatus/>")));
    const int file = find_server_end(client.get_socket().address().port());
    EXPECT_EQ(get_timeout(file, SO_SNDTIMEO), std::chrono::seconds(60));
}

TEST_F(TlsServer, TakesTheCipherSuitesOfTls12Only) {
    TlsProbe probe;
    probe.offer_version(TLS1_2_VERSION);
    for (const char* cipher : {"ECDHE-RSA-AES128-GCM-SHA256", "ECDHE-RSA-AES256-GCM-SHA384"}) {
        probe.offer_ciphers(cipher);
        EXPECT_EQ(probe.connect(server_.get_port()).version, "TLSv1.2") << cipher;
    }
    for (const char* cipher : {"AES128-SHA", "ECDHE-RSA-AES256-SHA"}) {
        probe.offer_ciphers(cipher);
        EXPECT_EQ(probe.connect(server_.get_port()).reason, SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE) << cipher;
    }
}

TEST_F(TlsServer, ClosesPlainConnections) {
    HttpClient plain(server_.get_port());
    plain.send("POST / HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
    char answer[1024];
    std::string received;
    try {
        for (int count = 1; count > 0;) {
            count = plain.get_socket().receiveBytes(answer, sizeof answer);
            received.append(answer, static_cast<std::size_t>(count));
        }
    } catch (const Poco::Exception& exception) {
        EXPECT_STREQ(exception.name(), "Connection reset by peer");
    }
    EXPECT_EQ(received.find("HTTP"), std::string::npos);
    expect_status(connect().post(create_request("<GetStatus/>")));
}

TEST_F(TlsServer, SurvivesConnectionsThatEndInTheHandshake) {
    for (const std::string& bytes :
         {std::string(), std::string("\x16\x03\x01", 3), std::string("\x16\x03\x01\x02\x00\x01", 6)}) {
        HttpClient client(server_.get_port());
        client.send(bytes);
    }
    expect_status(connect().post(create_request("<GetStatus/>")));
}

TEST_F(TlsServer, OutlivesAnotherOne) {
    const TlsFiles other_files;
    {
        Server other("127.0.0.1", 0, other_files.get_certificate(), other_files.get_private_key(), model_);
        EXPECT_TRUE(other.is_tls_enabled());
        expect_status(connect_with_tls(other.start(), other_files.get_certificate())
                          .post(create_request("<GetStatus/>")));
        expect_status(connect().post(create_request("<GetStatus/>")));
    }
    expect_status(connect().post(create_request("<GetStatus/>")));
}

TEST_F(TlsServer, IsFollowedByAnother) {
    for (int round = 0; round < 3; ++round) {
        Server next("127.0.0.1", files_.get_certificate(), files_.get_private_key(), model_);
        expect_status(
            connect_with_tls(next.start(), files_.get_certificate()).post(create_request("<GetStatus/>")));
    }
}

TEST(UnstartedTlsServer, IsDestroyed) {
    const TlsFiles files;
    const auto model = std::make_shared<InformationModel>("plant");
    {
        const Server server("127.0.0.1", files.get_certificate(), files.get_private_key(), model);
        EXPECT_TRUE(server.is_tls_enabled());
    }
    EXPECT_EQ(model.use_count(), 1);
}

TEST(DestroyedTlsServer, AnswersRequestsUnderWay) {
    const TlsFiles files;
    const auto model = std::make_shared<InformationModel>("plant");
    auto server =
        std::make_unique<Server>("127.0.0.1", files.get_certificate(), files.get_private_key(), model);
    HttpClient client = connect_with_tls(server->start(), files.get_certificate());
    const std::string body = create_request("<GetStatus/>");
    client.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n");
    EXPECT_EQ(client.receive().status, 100);
    TestThreads destroyer([&] { server.reset(); });
    client.send(body);
    expect_status(client.receive());
    destroyer.join();
}

}  // namespace
}  // namespace kx::information_model::opc::testing
