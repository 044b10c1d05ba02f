#include "http/HttpServer.h"

#include "server/QueryHandlerFactory.h"
#include "support/HttpClient.h"
#include "support/TlsEnvironment.h"
#include "support/TlsFiles.h"
#include "support/replies.h"
#include "support/server_end.h"
#include "support/tls_client.h"
#include "support/wait_for.h"
#include "xml/reply/ReplyBudget.h"

#include <information_model/InformationModel.h>

#include <Poco/Exception.h>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kx::information_model::opc {
namespace {

using namespace std::chrono_literals;
using information_model::testing::wait_for;
using testing::create_post;
using testing::create_request;
using testing::HttpClient;

const ::testing::Environment* const ENVIRONMENT =
    ::testing::AddGlobalTestEnvironment(new testing::TlsEnvironment);

enum class PROTOCOL { PLAIN, TLS };

constexpr std::chrono::hours NEVER(1);
constexpr std::size_t LARGE_SIZE = std::size_t{16} << 20U;

/// Limits that no test reaches, but for those that it sets.
ConnectionLimits create_limits() {
    ConnectionLimits limits;
    limits.silence = limits.idle = limits.arrival = NEVER;
    return limits;
}

std::string create_status() {
    return create_request("<GetStatus/>");
}

std::string create_held_poll() {
    return create_request(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)");
}

std::string create_large_read() {
    return create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)");
}

std::chrono::steady_clock::time_point in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

int get_option(int file, int level, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    return getsockopt(file, level, option, &value, &size) == 0 ? value : -1;
}

/// A server with limits of the test. All but those that a test sets are out of reach: it ends in time only if
/// that limit, or the end of the server, frees the workers that clients occupy.
class WorkersOfClients : public ::testing::TestWithParam<PROTOCOL> {
protected:
    ~WorkersOfClients() override {
        if (server_ != nullptr) {
            server_->stop_by(in(0s));  // where a test has failed, clients hold it
            server_->end();
            const std::lock_guard<std::mutex> lock(TlsLibrary::get_mutex());
            server_.reset();
        }
    }

    void start(const ConnectionLimits& limits) {
        const std::lock_guard<std::mutex> lock(TlsLibrary::get_mutex());
        server_ = std::make_unique<HttpServer>(
            new QueryHandlerFactory(model_), Poco::Net::SocketAddress("127.0.0.1", 0),
            is_tls_ ? std::optional(TlsFiles{files_.get_certificate(), files_.get_private_key()})
                    : std::nullopt,
            limits);
        server_->start();
        port_ = server_->socket().address().port();
    }

    HttpClient connect() const {
        return is_tls_ ? testing::connect_with_tls(port_, files_.get_certificate()) : HttpClient(port_);
    }

    static bool is_served(HttpClient& client) { return client.post(create_status()).status == 200; }

    int count_workers() const { return server_->currentConnections(); }

    /// Waits until that many connections have had a worker.
    bool have_served(int count) const {
        return wait_for([&] { return server_->totalConnections() >= count; });
    }

    /// Waits until no connection has a worker.
    bool are_free() const {
        return wait_for([this] { return count_workers() == 0; });
    }

    /// Lets a client hold a poll for ever. The answer to its question tells that a worker has the request.
    static void hold_poll(HttpClient& client) {
        client.send(create_post(create_held_poll(), "Expect: 100-continue\r\n"));
        EXPECT_EQ(client.receive().status, 100);
    }

    /// Sends a byte now and then until `is_over`, or the server has closed the connection.
    bool trickle_until(const std::function<bool()>& is_over, HttpClient& client) const {
        try {
            return wait_for([&] {
                client.send(" ");
                std::this_thread::sleep_for(5ms);
                return is_over();
            });
        } catch (const Poco::Exception&) {
            return are_free();
        }
    }

    /// What comes until the connection ends, however it ends.
    static std::string receive_all(HttpClient& client) {
        std::string received;
        std::string block(4096, '\0');
        try {
            for (int size = 1; size > 0;) {
                size = client.get_socket().receiveBytes(block.data(), static_cast<int>(block.size()));
                received.append(block, 0, static_cast<std::size_t>(std::max(0, size)));
            }
        } catch (const Poco::Exception&) {  // reset
        }
        return received;
    }

    const bool is_tls_ = GetParam() == PROTOCOL::TLS;
    const testing::TlsFiles files_;
    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    std::unique_ptr<HttpServer> server_;
    unsigned short port_ = 0;
};

TEST_P(WorkersOfClients, AreFreeWhenNoFurtherRequestComes) {
    ConnectionLimits limits = create_limits();
    limits.idle = 50ms;
    start(limits);
    HttpClient client = connect();
    EXPECT_TRUE(is_served(client));
    EXPECT_TRUE(are_free());
}

// With TLS there is not even a handshake.
TEST_P(WorkersOfClients, AreFreeWhenNothingComesAtAll) {
    ConnectionLimits limits = create_limits();
    limits.silence = 50ms;
    start(limits);
    const HttpClient client(port_);
    EXPECT_TRUE(have_served(1));
    EXPECT_TRUE(are_free());
}

TEST_P(WorkersOfClients, AreFreeWhenARequestStops) {
    ConnectionLimits limits = create_limits();
    limits.silence = 200ms;
    start(limits);
    int served = 0;
    for (const char* const bytes : {"POST / HT", "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n<so",
                                    "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n<so"}) {
        SCOPED_TRACE(bytes);
        HttpClient client = connect();
        client.send(bytes);
        EXPECT_TRUE(have_served(++served));
        EXPECT_TRUE(are_free());
    }
}

// One that comes byte by byte is never silent.
TEST_P(WorkersOfClients, AreFreeWhenARequestNeverEnds) {
    ConnectionLimits limits = create_limits();
    limits.arrival = 500ms;
    start(limits);
    for (const char* const bytes :
         {"POST / HTTP/1.1\r\nX: ", "POST / HTTP/1.1\r\nContent-Length: 100000000\r\n\r\n",
          "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5000000\r\n"}) {
        SCOPED_TRACE(bytes);
        HttpClient client = connect();
        client.send(create_post(create_status()));
        EXPECT_EQ(client.receive().status, 200);
        client.send(bytes);
        EXPECT_TRUE(trickle_until([this] { return count_workers() == 0; }, client));
    }
}

class TlsWorkersOfClients : public WorkersOfClients {};

TEST_P(TlsWorkersOfClients, AreFreeWhenAHandshakeNeverEnds) {
    ConnectionLimits limits = create_limits();
    limits.arrival = 500ms;
    start(limits);
    HttpClient client(port_);
    client.send(std::string("\x16\x03\x01\x3f\xff\x01\x00\x3f\xfb\x03\x03", 11));
    EXPECT_TRUE(have_served(1));
    EXPECT_TRUE(trickle_until([this] { return count_workers() == 0; }, client));
}

INSTANTIATE_TEST_SUITE_P(Of, TlsWorkersOfClients, ::testing::Values(PROTOCOL::TLS));

// Large requests over slow lines go on coming.
TEST_P(WorkersOfClients, HaveMoreTimeForMoreBytes) {
    ConnectionLimits limits = create_limits();
    limits.arrival = 2s;
    limits.bytes_per_second = 1;
    start(limits);
    HttpClient client = connect();
    const auto end = std::chrono::steady_clock::now() + 3s;
    const std::string body = create_status() + std::string(2000, ' ');
    client.send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
                create_status());
    std::size_t sent = 0;
    while (std::chrono::steady_clock::now() < end && sent < 1000) {
        client.send(" ");
        ++sent;
        std::this_thread::sleep_for(5ms);
    }
    client.send(std::string(2000 - sent, ' '));
    EXPECT_EQ(client.receive().status, 200);
}

TEST_P(WorkersOfClients, CountTheTimeOfEachRequestAnew) {
    ConnectionLimits limits = create_limits();
    limits.arrival = 1s;
    start(limits);
    HttpClient client = connect();
    const auto end = std::chrono::steady_clock::now() + 1500ms;
    while (std::chrono::steady_clock::now() < end) {
        EXPECT_TRUE(is_served(client));
    }
    std::this_thread::sleep_for(1100ms);  // what lies between two requests is no request's
    EXPECT_TRUE(is_served(client));
}

TEST_P(WorkersOfClients, ServeRequestsThatComeTogether) {
    start(create_limits());
    HttpClient client = connect();
    client.send(create_post(create_status()) + create_post(create_status()) + create_post(create_status()));
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(client.receive().status, 200);
    }
}

TEST_P(WorkersOfClients, AreFreeWhenAReplyIsNotRead) {
    model_->get_root().add_variable("large", Value(std::string(LARGE_SIZE, 'x')));
    ConnectionLimits limits = create_limits();
    limits.silence = 500ms;
    start(limits);
    HttpClient client = connect();
    client.send(create_post(create_large_read()));
    EXPECT_TRUE(have_served(1));
    EXPECT_TRUE(are_free());
}

/// Less for all replies, while it lives.
class SmallBudget {
public:
    explicit SmallBudget(std::size_t size) { ReplyBudget::get().limit(size); }
    SmallBudget(const SmallBudget&) = delete;
    SmallBudget& operator=(const SmallBudget&) = delete;
    ~SmallBudget() { ReplyBudget::get().limit(ReplyBudget::SIZE); }
};

// Otherwise they fill the memory, however large one of them may be.
TEST_P(WorkersOfClients, RefuseRepliesThatExceedWhatAllMayHold) {
    const SmallBudget budget(LARGE_SIZE * 3 / 2);
    model_->get_root().add_variable("large", Value(std::string(LARGE_SIZE, 'x')));
    start(create_limits());
    HttpClient slow = connect();
    slow.send(create_post(create_large_read()));
    EXPECT_TRUE(wait_for([] { return ReplyBudget::get().get_taken() >= LARGE_SIZE; }));
    HttpClient other = connect();
    EXPECT_TRUE(is_served(other));
    testing::expect_bad_request(other.post(create_large_read()));
    EXPECT_GT(slow.receive().body.size(), LARGE_SIZE);
    EXPECT_TRUE(wait_for([] { return ReplyBudget::get().get_taken() == 0; }));
    EXPECT_GT(connect().post(create_large_read()).body.size(), LARGE_SIZE);
}

TEST_P(WorkersOfClients, AreFreeWhenTheClientOfAHeldPollIsReset) {
    start(create_limits());
    {
        HttpClient client = connect();
        hold_poll(client);
        client.get_socket().setLinger(true, 0);
    }
    EXPECT_TRUE(are_free());
}

// The system of the client forgets a connection that was closed; then it answers a probe with a reset.
TEST_P(WorkersOfClients, AreFreeWhenTheClientOfAHeldPollHasLeft) {
    ConnectionLimits limits = create_limits();
    limits.probe_after = limits.probe_interval = 1s;
    start(limits);
    {
        HttpClient client = connect();
        hold_poll(client);
        const int forget_after = 1;  // seconds
        ASSERT_EQ(setsockopt(client.get_socket().impl()->sockfd(), IPPROTO_TCP, TCP_LINGER2, &forget_after,
                             sizeof forget_after),
                  0);
    }
    EXPECT_TRUE(are_free());
}

// It has said all that it had to say, and reads the answer.
TEST_P(WorkersOfClients, HoldThePollOfAClientThatHasHalfClosed) {
    ConnectionLimits limits = create_limits();
    limits.probe_after = limits.probe_interval = 1s;
    start(limits);
    HttpClient client = connect();
    const auto hold_time = std::chrono::system_clock::now() + 3s;
    client.send(create_post(
        create_request("<SubscriptionPolledRefresh HoldTime=\"" + to_iso8601_string(hold_time) + "\"/>")));
    EXPECT_EQ(shutdown(client.get_socket().impl()->sockfd(), SHUT_WR), 0);
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_GE(std::chrono::system_clock::now(), hold_time);
}

// Others are served all the same, as long as there are workers.
TEST_P(WorkersOfClients, WaitForTheHostsLock) {
    model_->get_root().add_variable("number", Value(1));
    start(create_limits());
    HttpClient waiting = connect();
    HttpClient other = connect();
    {
        const std::unique_lock<Tree> lock(model_->get_information_tree());
        waiting.send(
            create_post(create_request(R"(<Read><ItemList><Items ItemName="number"/></ItemList></Read>)"),
                        "Expect: 100-continue\r\n"));
        EXPECT_EQ(waiting.receive().status, 100);
        EXPECT_TRUE(is_served(other));
        EXPECT_FALSE(waiting.get_socket().poll(Poco::Timespan(0, 100'000), Poco::Net::Socket::SELECT_READ));
    }
    EXPECT_EQ(waiting.receive().status, 200);
}

TEST_P(WorkersOfClients, AskWhetherSilentClientsAreStillThere) {
    ConnectionLimits limits = create_limits();
    limits.probe_after = 7s;
    limits.probe_interval = 5s;
    limits.probe_count = 4;
    start(limits);
    HttpClient client = connect();
    EXPECT_TRUE(is_served(client));
    const int file = testing::find_server_end(client.get_socket().address().port());
    EXPECT_EQ(get_option(file, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(get_option(file, IPPROTO_TCP, TCP_KEEPIDLE), 7);
    EXPECT_EQ(get_option(file, IPPROTO_TCP, TCP_KEEPINTVL), 5);
    EXPECT_EQ(get_option(file, IPPROTO_TCP, TCP_KEEPCNT), 4);
}

// The end of a server.

TEST_P(WorkersOfClients, AreFreeOfIdleAndHeldConnectionsWhenTheServerStops) {
    start(create_limits());
    HttpClient idle = connect();
    EXPECT_TRUE(is_served(idle));
    const HttpClient silent(port_);
    HttpClient holding = connect();
    hold_poll(holding);
    EXPECT_TRUE(server_->stop_by(in(1h)));
    EXPECT_TRUE(are_free());
    EXPECT_EQ(receive_all(holding).find("200 OK"), std::string::npos);
    EXPECT_EQ(receive_all(idle), "");
}

TEST_P(WorkersOfClients, AnswerRequestsUnderWayWhenTheServerStops) {
    model_->get_root().add_variable("number", Value(1));
    start(create_limits());
    HttpClient client = connect();
    std::future<bool> are_answered;
    {
        const std::unique_lock<Tree> lock(model_->get_information_tree());
        client.send(
            create_post(create_request(R"(<Read><ItemList><Items ItemName="number"/></ItemList></Read>)"),
                        "Expect: 100-continue\r\n"));
        EXPECT_EQ(client.receive().status, 100);
        are_answered = std::async(std::launch::async, [this] { return server_->stop_by(in(1h)); });
        EXPECT_EQ(are_answered.wait_for(300ms), std::future_status::timeout);
    }
    EXPECT_TRUE(are_answered.get());
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_TRUE(are_free());
}

TEST_P(WorkersOfClients, AreFreeAtTheLatestWhenTheServerStops) {
    model_->get_root().add_variable("large", Value(std::string(LARGE_SIZE, 'x')));
    start(create_limits());
    const std::string head = "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1000\r\n\r\n";
    const std::vector<std::string> requests = {"POST / HT", head, head + "<so",
                                               create_post(create_large_read())};
    std::vector<HttpClient> clients;
    for (const std::string& request : requests) {
        clients.push_back(connect());
        clients.back().send(request);
    }
    EXPECT_TRUE(have_served(static_cast<int>(clients.size())));
    if (is_tls_) {
        clients.emplace_back(port_);
        clients.back().send("\x16\x03\x01");  // the beginning of a handshake
        EXPECT_TRUE(have_served(static_cast<int>(clients.size())));
    }
    EXPECT_TRUE(clients[1].get_socket().poll(Poco::Timespan(120, 0), Poco::Net::Socket::SELECT_READ));
    EXPECT_FALSE(server_->stop_by(in(100ms)));
    EXPECT_TRUE(are_free());
}

TEST_P(WorkersOfClients, AreFreeWhenTheServerWasToldToStopBefore) {
    start(create_limits());
    HttpClient holding = connect();
    hold_poll(holding);
    server_->stop();
    EXPECT_EQ(count_workers(), 1);
    EXPECT_TRUE(server_->stop_by(in(1h)));
    EXPECT_TRUE(server_->stop_by(in(0s)));
    EXPECT_TRUE(are_free());
}

INSTANTIATE_TEST_SUITE_P(Of, WorkersOfClients, ::testing::Values(PROTOCOL::PLAIN, PROTOCOL::TLS),
                         [](const auto& test) { return test.param == PROTOCOL::TLS ? "Tls" : "Plain"; });

}  // namespace
}  // namespace kx::information_model::opc
