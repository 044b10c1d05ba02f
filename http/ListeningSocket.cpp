#include "http/ListeningSocket.h"

#include "http/Connection.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/ServerSocketImpl.h>
#include <Poco/Net/SocketAddress.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kx::information_model::opc {

namespace {

class Listener : public Poco::Net::ServerSocketImpl {
public:
    explicit Listener(std::shared_ptr<OpenConnections> connections) : connections_(std::move(connections)) {}

    // The connections have the options of the socket that accepts them: none needs system calls of its own.
    void listen(int backlog) override {
        Connection::set_options(*this, connections_->get_limits());
        Poco::Net::ServerSocketImpl::listen(backlog);
    }

    // One system call for each connection, where POCO's takes four.
    bool poll(const Poco::Timespan& timeout, int /*mode*/) override {
        pollfd descriptor{sockfd(), POLLIN, 0};
        const int count = ::poll(&descriptor, 1, static_cast<int>(timeout.totalMilliseconds()));
        if (count < 0 && errno != EINTR) {
            error();
        }
        return count > 0;
    }

    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override {
        return accept<PlainConnection>(peer).duplicate();
    }

protected:
    template <class Accepted>
    Poco::AutoPtr<Connection> accept(Poco::Net::SocketAddress& peer) {
        sockaddr_storage storage{};
        auto* const address = reinterpret_cast<sockaddr*>(&storage);
        socklen_t size = sizeof storage;
        int descriptor = -1;
        do {
            descriptor = ::accept4(sockfd(), address, &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
        } while (descriptor == -1 && errno == EINTR);
        if (descriptor == -1) {
            error();
        }
        Poco::AutoPtr<Connection> connection = take<Accepted>(descriptor);
        peer = Poco::Net::SocketAddress(address, size);
        connection->open(peer);
        return connection;
    }

private:
    template <class Accepted>
    Poco::AutoPtr<Connection> take(int descriptor) {
        try {
            return new Accepted(descriptor, connections_);
        } catch (...) {
            ::close(descriptor);
            throw;
        }
    }

    const std::shared_ptr<OpenConnections> connections_;
};

class SecureListener : public Listener {
public:
    SecureListener(std::shared_ptr<OpenConnections> connections, const Poco::Net::Context::Ptr& context)
        : Listener(std::move(connections)), context_(context) {}

    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override {
        return Poco::AutoPtr<SecureConnection>(new SecureConnection(accept<Connection>(peer), context_))
            .duplicate();
    }

    bool secure() const override { return true; }

private:
    const Poco::Net::Context::Ptr context_;
};

}  // namespace

ListeningSocket::ListeningSocket(std::shared_ptr<OpenConnections> connections)
    : Poco::Net::ServerSocket(new Listener(std::move(connections)), true) {}

ListeningSocket::ListeningSocket(std::shared_ptr<OpenConnections> connections,
                                 const Poco::Net::Context::Ptr& context)
    : Poco::Net::ServerSocket(new SecureListener(std::move(connections), context), true) {}

}  // namespace kx::information_model::opc
