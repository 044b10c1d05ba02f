#include "subscription_requests.h"
#include "support/HttpClient.h"
#include "support/TestThreads.h"
#include "support/TlsFiles.h"
#include "support/process_state.h"
#include "support/replies.h"
#include "support/server_end.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace kx::information_model::opc::testing {
namespace {

std::string create_status_request() {
    return create_request("<GetStatus/>");
}

class Endpoint : public ::testing::Test {
protected:
    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
};

void expect_served(unsigned short port) {
    EXPECT_EQ(HttpClient(port).post(create_status_request()).status, 200);
}

static_assert(!std::is_copy_constructible_v<Server> && !std::is_copy_assignable_v<Server>);
static_assert(std::has_virtual_destructor_v<Server>);

// Only libraries for debugging do this, see tests/model.
TEST_F(Endpoint, StartTellsTheModelThatChangesNeedTheLock) {
    Variable& variable = model_->get_root().add_variable("v", Value(1));
    Server server("127.0.0.1", model_);
    variable = Value(2);
    server.start();
#ifndef NDEBUG
    EXPECT_THROW(variable = Value(3), std::logic_error);
#endif
    const std::unique_lock<Tree> lock(model_->get_information_tree());
    variable = Value(4);
    EXPECT_EQ(variable.get_value(), Value(4));
}

TEST_F(Endpoint, ServesPlainHttpOnAPortOfTheSystemsChoice) {
    Server server("127.0.0.1", model_);
    EXPECT_FALSE(server.is_tls_enabled());
    EXPECT_NE(server.get_port(), 0);
    EXPECT_EQ(server.start(), server.get_port());
    expect_served(server.get_port());
}

TEST_F(Endpoint, ServesPlainHttpOnAPortThatIsNamed) {
    unsigned short port = 0;
    std::unique_ptr<Server> server;
    while (server == nullptr) {
        port = Server("127.0.0.1", model_).get_port();
        try {
            server = std::make_unique<Server>("127.0.0.1", port, model_);
        } catch (const Poco::Net::NetException&) {  // somebody else was faster
        }
    }
    EXPECT_FALSE(server->is_tls_enabled());
    EXPECT_EQ(server->get_port(), port);
    EXPECT_EQ(server->start(), port);
    expect_served(port);
}

TEST_F(Endpoint, TakesPortZero) {
    Server server("127.0.0.1", 0, model_);
    EXPECT_NE(server.get_port(), 0);
    expect_served(server.start());
}

TEST_F(Endpoint, ServesPlainHttpWithEmptyFileNames) {
    Server server("127.0.0.1", 0, "", "", model_);
    EXPECT_FALSE(server.is_tls_enabled());
    expect_served(server.start());
}

TEST_F(Endpoint, ServesPlainHttpWithOnlyOneFile) {
    Server with_certificate("127.0.0.1", "/no/such/certificate.pem", "", model_);
    Server with_key("127.0.0.1", 0, "", "/no/such/key.pem", model_);
    for (Server* server : {&with_certificate, &with_key}) {
        EXPECT_FALSE(server->is_tls_enabled());
        expect_served(server->start());
    }
}

TEST_F(Endpoint, KnowsItsAddressBeforeItStarts) {
    const Server server("127.0.0.1", model_);
    EXPECT_EQ(server.get_address(), "127.0.0.1");
    EXPECT_NE(server.get_port(), 0);
}

TEST_F(Endpoint, TellsTheNumericAddressOfAHostName) {
    const Server server("localhost", model_);
    EXPECT_THAT(server.get_address(), ::testing::AnyOf("127.0.0.1", "::1"));
}

TEST_F(Endpoint, ListensOnAllAddresses) {
    Server server("0.0.0.0", model_);
    EXPECT_EQ(server.get_address(), "0.0.0.0");
    expect_served(server.start());
}

bool has_ipv6_loopback() {
    try {
        const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("::1", 0));
        return true;
    } catch (const Poco::Exception&) {
        return false;
    }
}

TEST_F(Endpoint, ListensOnIpv6) {
    if (!has_ipv6_loopback()) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    Server server("::1", model_);
    EXPECT_EQ(server.get_address(), "::1");
    const Poco::Net::SocketAddress address("::1", server.start());
    EXPECT_EQ(HttpClient(Poco::Net::StreamSocket(address)).post(create_status_request()).status, 200);
}

TEST_F(Endpoint, AcceptsNothingBeforeItStarts) {
    Server server("127.0.0.1", model_);
    HttpClient client(server.get_port());  // waits in the backlog
    const std::string body = create_status_request();
    client.send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_FALSE(client.get_socket().poll(Poco::Timespan(0, 200000), Poco::Net::Socket::SELECT_READ));
    server.start();
    EXPECT_EQ(client.receive().status, 200);
}

TEST_F(Endpoint, StartsOnceHoweverOftenItIsTold) {
    Server server("127.0.0.1", model_);
    const unsigned short port = server.start();
    EXPECT_EQ(server.start(), port);
    expect_served(port);
}

TEST_F(Endpoint, StopsOnceHoweverOftenItIsTold) {
    Server server("127.0.0.1", model_);
    server.stop();  // not started: nothing to stop
    expect_served(server.start());
    server.stop();
    server.stop();
    EXPECT_NE(server.get_port(), 0);
    EXPECT_EQ(server.get_address(), "127.0.0.1");
}

TEST_F(Endpoint, DoesNotStartAgain) {
    Server server("127.0.0.1", model_);
    server.start();
    server.stop();
    EXPECT_THROW(server.start(), std::logic_error);
}

TEST_F(Endpoint, ServesOpenConnectionsAfterItStopped) {
    Server server("127.0.0.1", model_);
    HttpClient client(server.start());
    EXPECT_EQ(client.post(create_status_request()).status, 200);
    server.stop();
    EXPECT_EQ(client.post(create_status_request()).status, 200);
}

TEST_F(Endpoint, AcceptsNoConnectionAfterItStopped) {
    Server server("127.0.0.1", model_);
    const unsigned short port = server.start();
    server.stop();
    HttpClient client(port);
    client.send("POST / HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
    EXPECT_FALSE(client.get_socket().poll(Poco::Timespan(0, 200000), Poco::Net::Socket::SELECT_READ));
}

TEST_F(Endpoint, ClosesItsSocketWhenItIsDestroyed) {
    unsigned short port = 0;
    {
        Server server("127.0.0.1", model_);
        port = server.start();
    }
    EXPECT_THROW(HttpClient{port}, Poco::Net::ConnectionRefusedException);
    EXPECT_EQ(model_.use_count(), 1);
}

TEST_F(Endpoint, IsDestroyedWithoutAStart) {
    const std::size_t open_files = count_open_files();
    { const Server server("127.0.0.1", model_); }
    EXPECT_EQ(count_open_files(), open_files);
    EXPECT_EQ(model_.use_count(), 1);
}

TEST_F(Endpoint, ClosesIdleConnectionsWhenItIsDestroyed) {
    auto server = std::make_unique<Server>("127.0.0.1", model_);
    HttpClient client(server->start());
    EXPECT_EQ(client.post(create_status_request()).status, 200);
    server.reset();
    EXPECT_TRUE(client.is_closed(10));
}

// "100 Continue" tells that a worker has begun to read the body.
TEST_F(Endpoint, AnswersRequestsUnderWayWhenItIsDestroyed) {
    auto server = std::make_unique<Server>("127.0.0.1", model_);
    HttpClient client(server->start());
    client.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " +
                std::to_string(create_status_request().size()) + "\r\n\r\n");
    EXPECT_EQ(client.receive().status, 100);
    std::atomic<bool> is_destroyed{false};
    TestThreads destroyer([&] {
        server.reset();
        is_destroyed = true;
    });
    EXPECT_FALSE(is_destroyed);
    client.send(create_status_request());
    EXPECT_EQ(client.receive().status, 200);
    destroyer.join();
    EXPECT_TRUE(client.is_closed(10));
}

TEST_F(Endpoint, SharesTheModel) {
    const auto other = std::make_shared<InformationModel>("other");
    Server first("127.0.0.1", model_);
    Server second("127.0.0.1", model_);
    Server third("127.0.0.1", other);
    EXPECT_NE(first.start(), second.start());
    third.start();
    {
        const std::unique_lock<Tree> lock(model_->get_information_tree());
        model_->get_root().add_variable("v", Value(1));
    }
    const std::string request = create_request(R"(<Read><ItemList><Items ItemName="v"/></ItemList></Read>)");
    EXPECT_NE(HttpClient(first.get_port()).post(request).body.find("ItemName=\"/v\""), std::string::npos);
    EXPECT_NE(HttpClient(second.get_port()).post(request).body.find("ItemName=\"/v\""), std::string::npos);
    EXPECT_EQ(HttpClient(third.get_port()).post(request).body.find("ItemName=\"/v\""), std::string::npos);
}

TEST_F(Endpoint, KeepsItsSubscriptionsToItself) {
    model_->get_root().add_variable("v", Value(1));
    Server first("127.0.0.1", model_);
    Server second("127.0.0.1", model_);
    first.start();
    second.start();
    const std::string handle = get_handle(
        HttpClient(first.get_port()).post(create_request(create_subscribe(R"(<Items ItemName="v"/>)"))));
    const std::string cancel = create_request(create_cancel(handle));
    expect_fault(HttpClient(second.get_port()).post(cancel), "E_NOSUBSCRIPTION",
                 "An invalid subscription handle was passed to the request.");
    EXPECT_EQ(HttpClient(first.get_port()).post(cancel).status, 200);
}

// A poll that is held would delay the end for centuries.
TEST_F(Endpoint, StopsByADeadline) {
    auto server = std::make_unique<Server>("127.0.0.1", model_);
    EXPECT_TRUE(server->stop(std::chrono::milliseconds(0)));  // not started: nothing to stop
    HttpClient idle(server->start());
    EXPECT_EQ(idle.post(create_status_request()).status, 200);
    HttpClient holding(server->get_port());
    const std::string poll =
        create_request(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)");
    holding.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " + std::to_string(poll.size()) +
                 "\r\n\r\n" + poll);
    EXPECT_EQ(holding.receive().status, 100);
    EXPECT_TRUE(server->stop(std::chrono::milliseconds::max()));
    EXPECT_THROW(server->start(), std::logic_error);
    server.reset();
    EXPECT_EQ(model_.use_count(), 1);
    EXPECT_TRUE(idle.is_closed(60));
}

TEST_F(Endpoint, BreaksOffAtTheDeadlineWhatIsNotFinished) {
    auto server = std::make_unique<Server>("127.0.0.1", model_);
    HttpClient client(server->start());
    client.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1000\r\n\r\n");
    EXPECT_EQ(client.receive().status, 100);
    EXPECT_FALSE(server->stop(std::chrono::milliseconds(50)));
    server.reset();
    EXPECT_EQ(model_.use_count(), 1);
}

class EndpointFailure : public Endpoint {
protected:
    template <class Create>
    void expect_failure(Create create) {
        EXPECT_THROW(create(), Poco::Exception);  // what is made once for the process is made now
        const std::size_t open_files = count_open_files();
        EXPECT_THROW(create(), Poco::Exception);
        EXPECT_EQ(count_open_files(), open_files);
        EXPECT_EQ(model_.use_count(), 1);
    }
};

TEST_F(EndpointFailure, PortInUseByAnybody) {
    Poco::Net::ServerSocket taken;
    taken.bind(Poco::Net::SocketAddress("127.0.0.1", 0), true, false);
    taken.listen();
    expect_failure([&] { Server("127.0.0.1", taken.address().port(), model_); });
}

// Otherwise the system would hand each connection to either of them, and clients would lose their
// subscriptions.
TEST_F(EndpointFailure, PortInUseByAnotherServer) {
    const auto other = std::make_shared<InformationModel>("other");
    const Server server("127.0.0.1", other);
    expect_failure([&] { Server("127.0.0.1", server.get_port(), model_); });
    const TlsFiles files;
    expect_failure([&] {
        Server("127.0.0.1", server.get_port(), files.get_certificate(), files.get_private_key(), model_);
    });
}

TEST_F(EndpointFailure, AddressThatIsNotOfThisMachine) {
    expect_failure([&] { Server("192.0.2.1", model_); });
}

TEST_F(EndpointFailure, AddressThatCannotBeResolved) {
    for (const std::string address : {"no-such-host.invalid", "", "[::1]", "127.0.0.1:80", "300.1.1.1"}) {
        expect_failure([&] { Server(address, model_); });
    }
}

TEST_F(EndpointFailure, CertificateOrKeyMissing) {
    const TlsFiles files;
    const std::string missing = files.get_path("missing.pem");
    expect_failure([&] { Server("127.0.0.1", missing, files.get_private_key(), model_); });
    expect_failure([&] { Server("127.0.0.1", files.get_certificate(), missing, model_); });
}

TEST_F(EndpointFailure, CertificateOrKeyThatIsNone) {
    const TlsFiles files;
    const std::string garbage = files.add("garbage.pem", "-----BEGIN GARBAGE-----\n");
    const std::string empty = files.add("empty.pem", "");
    for (const std::string& file : {garbage, empty, files.get_path("")}) {
        expect_failure([&] { Server("127.0.0.1", file, files.get_private_key(), model_); });
        expect_failure([&] { Server("127.0.0.1", files.get_certificate(), file, model_); });
    }
}

TEST_F(EndpointFailure, KeyOfAnotherCertificate) {
    const TlsFiles files;
    const TlsFiles others;
    expect_failure([&] { Server("127.0.0.1", files.get_certificate(), others.get_private_key(), model_); });
}

TEST_F(Endpoint, NeedsAModel) {
    const TlsFiles files;
    EXPECT_THROW(Server("127.0.0.1", nullptr), std::invalid_argument);
    EXPECT_THROW(Server("127.0.0.1", 0, files.get_certificate(), files.get_private_key(), nullptr),
                 std::invalid_argument);
}

TEST_F(Endpoint, BoundsHowLongAPeerHoldsAWorker) {
    Server server("127.0.0.1", model_);
    HttpClient client(server.start());
    EXPECT_EQ(client.post(create_status_request()).status, 200);
    const int file = find_server_end(client.get_socket().address().port());
    ASSERT_GE(file, 0);
    EXPECT_EQ(get_timeout(file, SO_SNDTIMEO), std::chrono::seconds(60));
    EXPECT_EQ(get_timeout(file, SO_RCVTIMEO), std::chrono::seconds(60));
}

}  // namespace
}  // namespace kx::information_model::opc::testing
