#include "server/ListeningSocket.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/SecureStreamSocketImpl.h>
#include <Poco/Net/ServerSocketImpl.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocketImpl.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <utility>

namespace kx::information_model::opc {

namespace {

class Connection : public Poco::Net::StreamSocketImpl {
public:
    /// Takes the descriptor.
    explicit Connection(poco_socket_t descriptor) : Poco::Net::StreamSocketImpl(descriptor) {}

    void close() override {
        const std::lock_guard<std::mutex> lock(mutex_);
        Poco::Net::StreamSocketImpl::close();
    }

    void shutdown() override {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (initialized()) {
            ::shutdown(sockfd(), SHUT_RD);  // fails if the peer has left: there is nothing to end then
        }
    }

    /// For destructors: what another thread did until it closed the connection comes before. POCO's count of
    /// references sees to that as well, but with atomic operations that the thread sanitizer does not see.
    void follow_close() { const std::lock_guard<std::mutex> lock(mutex_); }

protected:
    ~Connection() override { follow_close(); }

private:
    std::mutex mutex_;  // of the descriptor, between these two
};

class SecureConnection : public Poco::Net::SecureStreamSocketImpl {
public:
    SecureConnection(Poco::AutoPtr<Connection> connection, const Poco::Net::Context::Ptr& context)
        : Poco::Net::SecureStreamSocketImpl(connection.get(), context), connection_(std::move(connection)) {
        acceptSSL();
    }

    // Says no farewell: the thread that serves the connection does when it closes it.
    void shutdown() override { connection_->shutdown(); }

protected:
    ~SecureConnection() override { connection_->follow_close(); }

private:
    Poco::AutoPtr<Connection> connection_;
};

class Listener : public Poco::Net::ServerSocketImpl {
public:
    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override {
        return accept(peer).duplicate();
    }

protected:
    Poco::AutoPtr<Connection> accept(Poco::Net::SocketAddress& peer) {
        sockaddr_storage storage{};
        auto* const address = reinterpret_cast<sockaddr*>(&storage);
        socklen_t size = sizeof storage;
        int descriptor = -1;
        do {
            descriptor = ::accept4(sockfd(), address, &size, SOCK_CLOEXEC);
        } while (descriptor == -1 && errno == EINTR);
        if (descriptor == -1) {
            error();
        }
        Poco::AutoPtr<Connection> connection = take(descriptor);
        peer = Poco::Net::SocketAddress(address, size);
        return connection;
    }

private:
    static Poco::AutoPtr<Connection> take(int descriptor) {
        try {
            return new Connection(descriptor);
        } catch (...) {
            ::close(descriptor);
            throw;
        }
    }
};

class SecureListener : public Listener {
public:
    explicit SecureListener(const Poco::Net::Context::Ptr& context) : context_(context) {}

    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override {
        return Poco::AutoPtr<SecureConnection>(new SecureConnection(accept(peer), context_)).duplicate();
    }

    bool secure() const override { return true; }

private:
    const Poco::Net::Context::Ptr context_;
};

}  // namespace

ListeningSocket::ListeningSocket() : Poco::Net::ServerSocket(new Listener, true) {}

ListeningSocket::ListeningSocket(const Poco::Net::Context::Ptr& context)
    : Poco::Net::ServerSocket(new SecureListener(context), true) {}

}  // namespace kx::information_model::opc
