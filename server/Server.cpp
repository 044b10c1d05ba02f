#include "opc/Server.h"

#include "server/ListeningSocket.h"
#include "server/QueryHandlerFactory.h"

#include <information_model/InformationModel.h>

#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SSLManager.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/ThreadPool.h>

#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace kx::information_model::opc {

namespace {

constexpr int BACKLOG = 64;

bool is_tls_requested(const std::string& certificate_file, const std::string& private_key_file) {
    return !certificate_file.empty() && !private_key_file.empty();
}

void install_tls_context(const std::string& certificate_file, const std::string& private_key_file) {
    const Poco::Net::Context::Ptr context =
        new Poco::Net::Context(Poco::Net::Context::TLSV1_2_SERVER_USE, private_key_file, certificate_file,
                               std::string(), Poco::Net::Context::VERIFY_RELAXED, 9, false, "TLSv1.2");
    // OpenSSL just forgets a key that does not fit, and no client gets in.
    if (SSL_CTX_check_private_key(context->sslContext()) != 1) {
        throw Poco::Net::SSLContextException("The private key does not belong to the certificate",
                                             private_key_file);
    }
    Poco::Net::SSLManager::instance().initializeServer(nullptr, nullptr, context);
}

// An address whose last connections are being torn down can be bound, a port that is in use cannot: POCO's
// default allows both, and the system would then give each connection to any one of the servers on it.
ListeningSocket listen(ListeningSocket socket, const Poco::Net::SocketAddress& address) {
    socket.bind(address, true, false);
    socket.listen(BACKLOG);
    return socket;
}

/// Whoever holds it makes or gives back what servers with TLS share: POCO's set-up, which is the process's,
/// has no lock for that.
std::mutex& get_tls_mutex() {
    static std::mutex mutex;
    return mutex;
}

/// The TLS library, once a server has initialised it; given back unless the server was made.
class TlsLibrary {
public:
    TlsLibrary() = default;
    TlsLibrary(const TlsLibrary&) = delete;
    TlsLibrary& operator=(const TlsLibrary&) = delete;

    ~TlsLibrary() {
        if (is_initialised_) {
            Poco::Net::uninitializeSSL();
        }
    }

    void initialise() {
        Poco::Net::initializeSSL();
        is_initialised_ = true;
    }

    /// Leaves it to the server to give it back.
    void keep() noexcept { is_initialised_ = false; }

private:
    bool is_initialised_ = false;
};

ListeningSocket create_socket(const Poco::Net::SocketAddress& address, const std::string& certificate_file,
                              const std::string& private_key_file, TlsLibrary& tls) {
    if (!is_tls_requested(certificate_file, private_key_file)) {
        return listen(ListeningSocket(), address);
    }
    tls.initialise();
    install_tls_context(certificate_file, private_key_file);
    return listen(ListeningSocket(Poco::Net::SSLManager::instance().defaultServerContext()), address);
}

/// What each connection passes before a worker takes it, on the thread that accepts.
class ConnectionFilter : public Poco::Net::TCPServerConnectionFilter {
public:
    /// @param server      outlives this object
    /// @param parameters  of that server
    ConnectionFilter(const Poco::Net::TCPServer& server, Poco::Net::TCPServerParams& parameters, bool is_tls)
        : server_(server),
          parameters_(parameters),
          worker_count_(parameters.getMaxThreads()),
          // With TLS POCO waits twice, in the call and then for the socket to become ready.
          send_timeout_(is_tls ? 30 : 60, 0) {}

    bool accept(const Poco::Net::StreamSocket& socket) override {
        bound_silence(socket);
        replace_lost_workers();
        return true;
    }

private:
    /// Bounds how long a peer that has stopped reading, or writing, can hold a worker.
    void bound_silence(Poco::Net::StreamSocket socket) const {
        socket.setSendTimeout(send_timeout_);
        socket.setReceiveTimeout(receive_timeout_);
    }

    /// POCO goes on counting a worker that has ended for want of memory, and would start none again after as
    /// many as there may be. The thread pool knows how many there are.
    void replace_lost_workers() {
        const int counted = server_.currentThreads();
        if (counted >= parameters_.getMaxThreads() &&
            Poco::ThreadPool::defaultPool().used() < worker_count_) {
            parameters_.setMaxThreads(counted + 1);
        }
    }

    const Poco::Net::TCPServer& server_;
    Poco::Net::TCPServerParams& parameters_;
    const int worker_count_;
    const Poco::Timespan send_timeout_;
    const Poco::Timespan receive_timeout_{60, 0};  // as POCO's HTTP server sets it once more
};

bool has_no_workers_within(const Poco::Net::TCPServer& server, std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (server.currentThreads() > 0) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Waits until the workers have put away their connections, which they do after `stopAll` has returned: a
/// host that exits meanwhile destroys what they use, and they hold the model. It is a matter of microseconds,
/// but for a worker that was about to wait for its next connection when the server stopped: it missed that,
/// and goes on waiting for ten seconds. Stopping once more wakes it.
void wait_for_workers(Poco::Net::TCPServer& server) {
    constexpr int MAXIMUM_ROUNDS = 20;
    for (int round = 0; round < MAXIMUM_ROUNDS; ++round) {
        if (has_no_workers_within(server, std::chrono::milliseconds(100))) {
            return;
        }
        try {
            server.start();
            server.stop();
        } catch (const std::exception&) {
            return;  // the machine has no thread to spare; the worker finds out by itself
        }
    }
}

}  // namespace

class Server::Implementation : public Poco::Net::HTTPServer {
public:
    Implementation(const Poco::Net::HTTPRequestHandlerFactory::Ptr& factory,
                   const Poco::Net::SocketAddress& address, const std::string& certificate_file,
                   const std::string& private_key_file, Poco::Net::HTTPServerParams::Ptr parameters,
                   TlsLibrary& tls)
        : Poco::Net::HTTPServer(factory, create_socket(address, certificate_file, private_key_file, tls),
                                parameters) {
        setConnectionFilter(
            new ConnectionFilter(*this, *parameters, is_tls_requested(certificate_file, private_key_file)));
    }

    static std::unique_ptr<Implementation> create(const std::string& address, unsigned short port,
                                                  const std::string& certificate_file,
                                                  const std::string& private_key_file,
                                                  const std::shared_ptr<InformationModel>& model) {
        const Poco::Net::SocketAddress socket_address(address, port);  // may take long to look up
        std::unique_lock<std::mutex> lock(get_tls_mutex(), std::defer_lock);
        if (is_tls_requested(certificate_file, private_key_file)) {
            lock.lock();
        }
        TlsLibrary tls;  // outlives what uses it, should the construction fail
        const Poco::Net::HTTPRequestHandlerFactory::Ptr factory(new QueryHandlerFactory(model));
        Poco::Net::HTTPServerParams::Ptr parameters = new Poco::Net::HTTPServerParams;
        auto implementation = std::make_unique<Implementation>(factory, socket_address, certificate_file,
                                                               private_key_file, parameters, tls);
        tls.keep();
        return implementation;
    }
};

Server::Server(const std::string& address, const unsigned short& port, const std::string& certificate_file,
               const std::string& private_key_file, const std::shared_ptr<InformationModel>& model)
    : implementation_(Implementation::create(address, port, certificate_file, private_key_file, model)),
      tls_enabled_(is_tls_requested(certificate_file, private_key_file)) {}

Server::Server(const std::string& address, const unsigned short& port,
               const std::shared_ptr<InformationModel>& model)
    : Server(address, port, std::string(), std::string(), model) {}

Server::Server(const std::string& address, const std::shared_ptr<InformationModel>& model)
    : Server(address, 0, model) {}

Server::Server(const std::string& address, const std::string& certificate_file,
               const std::string& private_key_file, const std::shared_ptr<InformationModel>& model)
    : Server(address, 0, certificate_file, private_key_file, model) {}

Server::~Server() {
    if (tls_enabled_) {
        const std::lock_guard<std::mutex> lock(get_tls_mutex());
        Poco::Net::uninitializeSSL();
    }
    implementation_->stopAll(false);
    wait_for_workers(*implementation_);
    if (tls_enabled_) {
        const std::lock_guard<std::mutex> lock(get_tls_mutex());
        implementation_.reset();  // its socket's context gives back the TLS library as well
    }
}

unsigned short Server::start() {
    if (state_ == State::STOPPED) {
        throw std::logic_error("A stopped server cannot be started again.");
    }
    if (state_ == State::BOUND) {
        implementation_->start();
        state_ = State::SERVING;
    }
    return get_port();
}

void Server::stop() {
    if (state_ == State::SERVING) {
        implementation_->stop();
        state_ = State::STOPPED;
    }
}

unsigned short Server::get_port() const {
    return implementation_->socket().address().port();
}

std::string Server::get_address() const {
    return implementation_->socket().address().host().toString();
}

bool Server::is_tls_enabled() const {
    return tls_enabled_;
}

}  // namespace kx::information_model::opc
