#pragma once

#include "http/OpenConnections.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/SecureStreamSocketImpl.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocketImpl.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>

namespace kx::information_model::opc {

/// The server's end of a connection: bounds how long its peer occupies the worker that serves it, and can be
/// ended by another thread.
///
/// The worker waits for a request, receives it, says that it is complete, perhaps holds it, sends an answer,
/// and waits for the next one. What may be called by any thread says so; all else, closing included, is for
/// the worker.
///
/// The descriptor does not block. POCO takes it for one that does, and waits with `poll` where it would.
class Connection : public Poco::Net::StreamSocketImpl {
public:
    /// Sets what the limits ask of the system, on the socket that accepts connections: they inherit it.
    static void set_options(Poco::Net::SocketImpl& listener, const ConnectionLimits& limits);

    /// Takes the descriptor, which must not block.
    Connection(poco_socket_t descriptor, std::shared_ptr<OpenConnections> all);

    /// Call it once, before anything else.
    void open(const Poco::Net::SocketAddress& peer);

    void close() override;

    /// The worker sees the end of what the peer sends, once what has arrived is read. Any thread may call it.
    ///
    /// POCO calls it on the thread that stops a server, while the worker may be closing the connection
    /// (`HTTPServerConnection::onServerStopped`, 1.11.0, Net/src/HTTPServerConnection.cpp). With POCO's own
    /// sockets the descriptor may then belong to something else already, to anything in the process, and
    /// OpenSSL is called for one connection by two threads at once.
    void shutdown() override;

    /// @throws Poco::TimeoutException  if nothing comes, or the request takes too long
    int receiveBytes(void* buffer, int length, int flags) override;

    /// Sends all of it.
    /// @throws Poco::TimeoutException  if nothing is taken
    int sendBytes(const void* buffer, int length, int flags) override;

    /// Waits within a request, as TLS does between the pieces of one; the limits of the request hold as well.
    bool poll(const Poco::Timespan& timeout, int mode) override;

    /// Both are asked of the system once at most: POCO asks for them with each request.
    Poco::Net::SocketAddress address() override;
    Poco::Net::SocketAddress peerAddress() override;

    /// Waits until a request begins to come.
    /// @return false if none does, or the server ends
    bool await_request(const Poco::Timespan& timeout);

    /// Begins to count the time of a request, unless one is coming.
    /// @throws Poco::TimeoutException  if that one takes too long
    void begin_request();

    /// That much has come of the request.
    void count_received(int size);

    /// The request is complete: the answer may take as long as it takes.
    void complete_request();

    /// Waits while the request is held.
    /// @return whether nobody waits for the answer any more: the peer has left, or the server ends
    bool hold_for(const timespec& duration);

    /// Whether a request is coming, is served, or is answered. Any thread may call it.
    bool has_request() const;

    /// Ends the connection where it waits for a request, or its request is held. Any thread may call it.
    void end_waiting();

    /// Ends it whatever it is about. Any thread may call it.
    void break_off();

    /// For destructors: what another thread did until it closed the connection comes before. POCO's count of
    /// references sees to that as well, but with atomic operations that the thread sanitizer does not see.
    void follow_close() { const std::lock_guard<std::mutex> lock(mutex_); }

protected:
    ~Connection() override;

private:
    enum class PHASE { WAITING, ARRIVING, SERVED, HELD };
    using Clock = std::chrono::steady_clock;

    void set_phase(PHASE phase);
    void shut(int direction);
    Clock::time_point get_arrival_end() const;
    bool wait_until(short events, Clock::time_point end);

    const std::shared_ptr<OpenConnections> all_;
    std::optional<Poco::Net::SocketAddress> address_;       // known when asked for
    std::optional<Poco::Net::SocketAddress> peer_address_;  // known once it is open
    Clock::time_point arrival_start_;                       // of the request that is coming
    std::size_t received_ = 0;                              // of it

    mutable std::mutex mutex_;      // of the descriptor, between the worker that closes it and other threads
    PHASE phase_ = PHASE::WAITING;  // guarded by `mutex_`; changed by the worker alone
};

/// One without TLS.
class PlainConnection final : public Connection {
public:
    using Connection::Connection;

    bool poll(const Poco::Timespan& timeout, int mode) override;

protected:
    // Before the base changes what the virtual calls of the worker have read.
    ~PlainConnection() override { follow_close(); }
};

/// One with TLS. The handshake is done when it is first read from or written to.
class SecureConnection final : public Poco::Net::SecureStreamSocketImpl {
public:
    SecureConnection(Poco::AutoPtr<Connection> connection, const Poco::Net::Context::Ptr& context);

    int receiveBytes(void* buffer, int length, int flags) override;

    bool poll(const Poco::Timespan& timeout, int mode) override;

    Poco::Net::SocketAddress address() override { return connection_->address(); }
    Poco::Net::SocketAddress peerAddress() override { return connection_->peerAddress(); }

    // Says no farewell: the thread that serves the connection does when it closes it.
    void shutdown() override { connection_->shutdown(); }

    Connection& get_connection() { return *connection_; }

protected:
    ~SecureConnection() override { connection_->follow_close(); }

private:
    Poco::AutoPtr<Connection> connection_;
};

/// The connection that a request came on; null if it came on none of ours.
Connection* find_connection(Poco::Net::HTTPServerRequest& request);

}  // namespace kx::information_model::opc
