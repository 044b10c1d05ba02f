#include "http/Connection.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/Socket.h>
#include <Poco/Net/StreamSocket.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <utility>

namespace kx::information_model::opc {

namespace {

Poco::Timespan to_timespan(std::chrono::milliseconds time) {
    return {static_cast<Poco::Timespan::TimeDiff>(time.count()) * Poco::Timespan::MILLISECONDS};
}

std::chrono::microseconds to_duration(const Poco::Timespan& time) {
    return std::chrono::microseconds(time.totalMicroseconds());
}

short to_events(int mode) {
    const bool reads = (mode & Poco::Net::Socket::SELECT_READ) != 0;
    const bool writes = (mode & Poco::Net::Socket::SELECT_WRITE) != 0;
    return static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
}

}  // namespace

Connection::Connection(poco_socket_t descriptor, std::shared_ptr<OpenConnections> all)
    : Poco::Net::StreamSocketImpl(descriptor), all_(std::move(all)) {}

Connection::~Connection() {
    all_->remove(*this);
    follow_close();
}

void Connection::set_options(Poco::Net::SocketImpl& listener, const ConnectionLimits& limits) {
    listener.setSendTimeout(to_timespan(limits.silence));
    listener.setReceiveTimeout(to_timespan(limits.silence));
    listener.setKeepAlive(true);
    listener.setOption(IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(limits.probe_after.count()));
    listener.setOption(IPPROTO_TCP, TCP_KEEPINTVL, static_cast<int>(limits.probe_interval.count()));
    listener.setOption(IPPROTO_TCP, TCP_KEEPCNT, limits.probe_count);
}

void Connection::open(const Poco::Net::SocketAddress& peer) {
    peer_address_ = peer;
    all_->add(*this);
}

void Connection::close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Poco::Net::StreamSocketImpl::close();
}

void Connection::shut(int direction) {
    if (initialized()) {
        ::shutdown(sockfd(), direction);  // fails if the peer has left: there is nothing to end then
    }
}

void Connection::shutdown() {
    const std::lock_guard<std::mutex> lock(mutex_);
    shut(SHUT_RD);
}

void Connection::end_waiting() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (phase_ == PHASE::WAITING) {
        shut(SHUT_RD);
    } else if (phase_ == PHASE::HELD) {
        shut(SHUT_RDWR);
    }
}

void Connection::break_off() {
    const std::lock_guard<std::mutex> lock(mutex_);
    shut(SHUT_RDWR);
}

bool Connection::has_request() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return initialized() && phase_ != PHASE::WAITING;
}

void Connection::set_phase(PHASE phase) {
    const std::lock_guard<std::mutex> lock(mutex_);
    phase_ = phase;
}

Connection::Clock::time_point Connection::get_arrival_end() const {
    const ConnectionLimits& limits = all_->get_limits();
    return arrival_start_ + limits.arrival + std::chrono::seconds(received_ / limits.bytes_per_second);
}

void Connection::begin_request() {
    const Clock::time_point now = Clock::now();
    if (phase_ != PHASE::ARRIVING) {
        arrival_start_ = now;
        received_ = 0;
        set_phase(PHASE::ARRIVING);
    } else if (now >= get_arrival_end()) {
        throw Poco::TimeoutException("a request takes too long to come");
    }
}

void Connection::count_received(int size) {
    received_ += static_cast<std::size_t>(std::max(size, 0));
    if (received_ == 0) {
        set_phase(PHASE::WAITING);  // the peer just left
    }
}

void Connection::complete_request() {
    set_phase(PHASE::SERVED);
}

bool Connection::wait_until(short events, Clock::time_point end) {
    pollfd descriptor{sockfd(), events, 0};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const int count =
            ::poll(&descriptor, 1, static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX)));
        if (count >= 0) {
            return count > 0;
        }
        if (errno != EINTR) {
            error();
        }
    }
}

int Connection::receiveBytes(void* buffer, int length, int flags) {
    begin_request();
    while (true) {
        const ssize_t count = ::recv(sockfd(), buffer, static_cast<std::size_t>(length), flags);
        if (count >= 0) {
            count_received(static_cast<int>(count));
            return static_cast<int>(count);
        }
        if (errno == EAGAIN) {
            if (!Connection::poll(getReceiveTimeout(), Poco::Net::Socket::SELECT_READ)) {
                throw Poco::TimeoutException();
            }
        } else if (errno != EINTR) {
            error();
        }
    }
}

int Connection::sendBytes(const void* buffer, int length, int flags) {
    const char* const bytes = static_cast<const char*>(buffer);
    for (int sent = 0; sent < length;) {
        const ssize_t count =
            ::send(sockfd(), bytes + sent, static_cast<std::size_t>(length - sent), flags | MSG_NOSIGNAL);
        if (count >= 0) {
            sent += static_cast<int>(count);
        } else if (errno == EAGAIN) {
            if (!wait_until(POLLOUT, Clock::now() + to_duration(getSendTimeout()))) {
                throw Poco::TimeoutException();
            }
        } else if (errno != EINTR) {
            error();
        }
    }
    return length;
}

bool Connection::poll(const Poco::Timespan& timeout, int mode) {
    Clock::time_point end = Clock::now() + to_duration(timeout);
    if ((mode & Poco::Net::Socket::SELECT_READ) != 0 && phase_ == PHASE::ARRIVING) {
        end = std::min(end, get_arrival_end());
    }
    return wait_until(to_events(mode), end);
}

Poco::Net::SocketAddress Connection::address() {
    if (!address_) {
        address_ = Poco::Net::StreamSocketImpl::address();
    }
    return *address_;
}

Poco::Net::SocketAddress Connection::peerAddress() {
    if (!peer_address_) {
        peer_address_ = Poco::Net::StreamSocketImpl::peerAddress();
    }
    return *peer_address_;
}

bool Connection::await_request(const Poco::Timespan& timeout) {
    set_phase(PHASE::WAITING);
    return !all_->are_ending() && wait_until(POLLIN, Clock::now() + to_duration(timeout));
}

bool Connection::hold_for(const timespec& duration) {
    set_phase(PHASE::HELD);
    // No event is asked for, so that just the end of the connection wakes: a reset, a peer that answers no
    // probe, or this end. What the peer still sends, or that it sends no more, says nothing.
    pollfd descriptor{sockfd(), 0, 0};
    const bool is_over = all_->are_ending() || ::ppoll(&descriptor, 1, &duration, nullptr) > 0;
    set_phase(PHASE::SERVED);
    return is_over || all_->are_ending();
}

bool PlainConnection::poll(const Poco::Timespan& timeout, int mode) {
    return mode == Poco::Net::Socket::SELECT_READ ? await_request(timeout) : Connection::poll(timeout, mode);
}

SecureConnection::SecureConnection(Poco::AutoPtr<Connection> connection,
                                   const Poco::Net::Context::Ptr& context)
    : Poco::Net::SecureStreamSocketImpl(connection.get(), context), connection_(std::move(connection)) {
    acceptSSL();
}

int SecureConnection::receiveBytes(void* buffer, int length, int flags) {
    connection_->begin_request();
    const int count = Poco::Net::SecureStreamSocketImpl::receiveBytes(buffer, length, flags);
    connection_->count_received(count);
    return count;
}

bool SecureConnection::poll(const Poco::Timespan& timeout, int mode) {
    if (mode != Poco::Net::Socket::SELECT_READ) {
        return connection_->poll(timeout, mode);
    }
    // What has been deciphered already cannot be seen from outside.
    return connection_->await_request(available() > 0 ? Poco::Timespan() : timeout) || available() > 0;
}

Connection* find_connection(Poco::Net::HTTPServerRequest& request) {
    auto* const served = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request);
    Poco::Net::SocketImpl* const socket = served == nullptr ? nullptr : served->socket().impl();
    if (auto* const plain = dynamic_cast<Connection*>(socket)) {
        return plain;
    }
    auto* const secure = dynamic_cast<SecureConnection*>(socket);
    return secure == nullptr ? nullptr : &secure->get_connection();
}

}  // namespace kx::information_model::opc
