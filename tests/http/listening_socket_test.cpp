#include "http/ListeningSocket.h"

#include "support/TestThreads.h"
#include "support/TlsEnvironment.h"
#include "support/TlsFiles.h"

#include <Poco/Exception.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace {

std::atomic<bool> waits_in_shutdown{false};
std::atomic<bool> is_in_shutdown{false};
std::atomic<bool> was_open_in_shutdown{false};

}  // namespace

// Stands in front of the C library's own: gives another thread time to close the descriptor meanwhile.
extern "C" [[gnu::visibility("default")]] int shutdown(int socket, int direction) noexcept {
    using Function = int(int, int);
    static auto* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "shutdown"));
    if (waits_in_shutdown) {
        is_in_shutdown = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        was_open_in_shutdown = fcntl(socket, F_GETFD) != -1;
    }
    return next(socket, direction);
}

namespace kx::information_model::opc {
namespace {

using testing::TestThreads;

const ::testing::Environment* const ENVIRONMENT =
    ::testing::AddGlobalTestEnvironment(new testing::TlsEnvironment);

enum class PROTOCOL { PLAIN, TLS };

template <class T>
T get_option(int descriptor, int level, int option) {
    T value{};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(descriptor, level, option, &value, &size), 0);
    return value;
}

/// A connection, both ends.
class Connection : public ::testing::TestWithParam<PROTOCOL> {
protected:
    void SetUp() override {
        if (is_tls_) {  // with the first bytes, which a client sends
            std::future<void> handshake = std::async(std::launch::async, [this] { send(client_, "hello"); });
            EXPECT_EQ(receive(connection_), "hello");
            handshake.get();
        }
    }

    static void send(Poco::Net::StreamSocket& socket, const std::string& text) {
        EXPECT_EQ(socket.sendBytes(text.data(), static_cast<int>(text.size())),
                  static_cast<int>(text.size()));
    }

    /// @return what is there, empty at the end
    static std::string receive(Poco::Net::StreamSocket& socket) {
        std::string buffer(100, '\0');
        const int count = socket.receiveBytes(buffer.data(), static_cast<int>(buffer.size()));
        buffer.resize(static_cast<std::size_t>(std::max(0, count)));
        return buffer;
    }

    ListeningSocket create_listener() const {
        ListeningSocket socket =
            is_tls_ ? ListeningSocket(connections_,
                                      new Poco::Net::Context(
                                          Poco::Net::Context::TLSV1_2_SERVER_USE, files_.get_private_key(),
                                          files_.get_certificate(), "", Poco::Net::Context::VERIFY_NONE))
                    : ListeningSocket(connections_);
        socket.bind(Poco::Net::SocketAddress("127.0.0.1", 0));
        socket.listen();
        return socket;
    }

    Poco::Net::StreamSocket connect() const {
        if (!is_tls_) {
            return Poco::Net::StreamSocket(listener_.address());
        }
        Poco::Net::SecureStreamSocket socket(
            new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, "", Poco::Net::Context::VERIFY_NONE));
        socket.setLazyHandshake(true);
        socket.connect(listener_.address());
        return socket;  // NOLINT(cppcoreguidelines-slicing)
    }

    const bool is_tls_ = GetParam() == PROTOCOL::TLS;
    const testing::TlsFiles files_;
    const std::shared_ptr<OpenConnections> connections_ = std::make_shared<OpenConnections>();
    ListeningSocket listener_ = create_listener();
    Poco::Net::StreamSocket client_ = connect();
    Poco::Net::SocketAddress peer_;
    Poco::Net::StreamSocket connection_ = listener_.acceptConnection(peer_);
};

TEST_P(Connection, CarriesBytesBothWays) {
    EXPECT_EQ(listener_.impl()->secure(), is_tls_);
    EXPECT_EQ(connection_.secure(), is_tls_);
    EXPECT_EQ(peer_, client_.address());
    send(client_, "request");
    EXPECT_EQ(receive(connection_), "request");
    send(connection_, "reply");
    EXPECT_EQ(receive(client_), "reply");
    connection_.close();
    EXPECT_EQ(receive(client_), "");
}

TEST_P(Connection, KnowsItsAddressesAlsoWhenItsPeerHasLeft) {
    const Poco::Net::SocketAddress client = client_.address();
    EXPECT_EQ(connection_.address(), listener_.address());
    EXPECT_EQ(connection_.peerAddress(), client);
    client_.setLinger(true, 0);
    client_.close();
    connection_.poll(Poco::Timespan(60, 0), Poco::Net::Socket::SELECT_READ);
    EXPECT_EQ(connection_.address(), listener_.address());
    EXPECT_EQ(connection_.peerAddress(), client);
}

TEST_P(Connection, HasTheOptionsOfItsLimits) {
    const int descriptor = connection_.impl()->sockfd();
    const ConnectionLimits limits;
    EXPECT_EQ(get_option<int>(descriptor, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(get_option<int>(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), limits.probe_after.count());
    EXPECT_EQ(get_option<int>(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), limits.probe_interval.count());
    EXPECT_EQ(get_option<int>(descriptor, IPPROTO_TCP, TCP_KEEPCNT), limits.probe_count);
    const auto silence = std::chrono::duration_cast<std::chrono::seconds>(limits.silence).count();
    EXPECT_EQ(get_option<timeval>(descriptor, SOL_SOCKET, SO_SNDTIMEO).tv_sec, silence);
    EXPECT_EQ(get_option<timeval>(descriptor, SOL_SOCKET, SO_RCVTIMEO).tv_sec, silence);
}

TEST_P(Connection, IsWaitedFor) {
    const Poco::Timespan moment(0, 1000);
    EXPECT_FALSE(listener_.poll(moment, Poco::Net::Socket::SELECT_READ));
    const Poco::Net::StreamSocket next = connect();
    EXPECT_TRUE(listener_.poll(Poco::Timespan(3600, 0), Poco::Net::Socket::SELECT_READ));
    listener_.acceptConnection(peer_);
    EXPECT_FALSE(listener_.poll(moment, Poco::Net::Socket::SELECT_READ));
}

TEST_P(Connection, IsNotInherited) {
    EXPECT_EQ(fcntl(connection_.impl()->sockfd(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_P(Connection, SeesTheEndWhenItIsShutDown) {
    std::future<bool> waiting = std::async(std::launch::async, [this] {
        return connection_.poll(Poco::Timespan(60, 0), Poco::Net::Socket::SELECT_READ);
    });
    connection_.shutdown();
    EXPECT_TRUE(waiting.get());
    if (is_tls_) {  // which its peer has not ended
        EXPECT_THROW(receive(connection_), Poco::Net::SSLException);
    } else {
        EXPECT_EQ(receive(connection_), "");
    }
}

TEST_P(Connection, StillSendsItsReplyWhenItIsShutDown) {
    connection_.shutdown();
    connection_.shutdown();
    send(connection_, "reply");
    connection_.close();
    EXPECT_EQ(receive(client_), "reply");
    EXPECT_EQ(receive(client_), "");
}

TEST_P(Connection, CanBeShutDownWhenItIsClosed) {
    connection_.close();
    EXPECT_NO_THROW(connection_.shutdown());
    EXPECT_NO_THROW(connection_.close());
}

TEST_P(Connection, CanBeShutDownWhenItsPeerHasLeft) {
    client_.setLinger(true, 0);
    client_.close();
    connection_.poll(Poco::Timespan(60, 0), Poco::Net::Socket::SELECT_READ);
    EXPECT_NO_THROW(connection_.shutdown());
}

// Otherwise the descriptor may be that of anything else in the process.
TEST_P(Connection, IsNotClosedWhileItIsShutDown) {
    waits_in_shutdown = true;
    TestThreads stopping([this] { connection_.shutdown(); });
    while (!is_in_shutdown) {
        std::this_thread::yield();
    }
    waits_in_shutdown = false;
    connection_.close();
    stopping.join();
    is_in_shutdown = false;
    EXPECT_TRUE(was_open_in_shutdown);
}

// As by the thread that accepted it, when that is slower than its worker. Only the connection itself orders
// the two, as far as the thread sanitizer sees.
TEST_P(Connection, CanBeDestroyedByAnotherThreadThanItsWorker) {
    send(client_, "request");
    std::atomic<bool> is_served{false};
    TestThreads worker([connection = connection_, &is_served]() mutable {
        EXPECT_EQ(receive(connection), "request");
        connection.close();
        connection = Poco::Net::StreamSocket();
        is_served.store(true, std::memory_order_relaxed);
    });
    while (!is_served.load(std::memory_order_relaxed)) {
        std::this_thread::yield();
    }
    connection_ = Poco::Net::StreamSocket();
    EXPECT_EQ(receive(client_), "");
    worker.join();
}

TEST_P(Connection, FailsWithAnExceptionOnceTheListenerIsClosed) {
    listener_.close();
    Poco::Net::SocketAddress peer;
    EXPECT_THROW(listener_.acceptConnection(peer), Poco::Exception);
}

INSTANTIATE_TEST_SUITE_P(Of, Connection, ::testing::Values(PROTOCOL::PLAIN, PROTOCOL::TLS),
                         [](const auto& test) { return test.param == PROTOCOL::TLS ? "Tls" : "Plain"; });

}  // namespace
}  // namespace kx::information_model::opc
