#include "http/HttpServer.h"

#include "http/ListeningSocket.h"

#include <Poco/Net/TCPServer.h>
#include <Poco/ThreadPool.h>
#include <Poco/Version.h>

#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace kx::information_model::opc {

namespace {

// What is done here and in Connection because of how POCO works was read in 1.11.0: whoever builds with
// another one reads the places that are named again.
static_assert(POCO_VERSION >> 16U == 0x010b, "read again the places of POCO that are named in http/");

constexpr int BACKLOG = 64;

// An address whose last connections are being torn down can be bound, a port that is in use cannot: POCO's
// default allows both, and the system would then give each connection to any one of the servers on it.
ListeningSocket listen(ListeningSocket socket, const Poco::Net::SocketAddress& address) {
    socket.bind(address, true, false);
    socket.listen(BACKLOG);
    return socket;
}

ListeningSocket listen(const Poco::Net::SocketAddress& address, const std::optional<TlsFiles>& files,
                       const std::shared_ptr<OpenConnections>& connections) {
    return listen(
        files ? ListeningSocket(connections, install_tls_context(*files)) : ListeningSocket(connections),
        address);
}

Poco::Net::HTTPServerParams::Ptr create_parameters(const ConnectionLimits& limits) {
    Poco::Net::HTTPServerParams::Ptr parameters = new Poco::Net::HTTPServerParams;
    constexpr Poco::Timespan::TimeDiff MILLISECOND = 1000;  // microseconds
    parameters->setTimeout(limits.silence.count() * MILLISECOND);
    parameters->setKeepAliveTimeout(limits.idle.count() * MILLISECOND);
    return parameters;
}

/// POCO goes on counting a worker that has ended for want of memory, and would start none again after as many
/// as there may be: `TCPServerDispatcher::run` counts it out at its end only (1.11.0,
/// Net/src/TCPServerDispatcher.cpp). The thread pool knows how many there are.
///
/// Sees each connection before a worker takes it, on the thread that accepts.
class LostWorkers : public Poco::Net::TCPServerConnectionFilter {
public:
    /// @param server      outlives this object
    /// @param parameters  of that server
    LostWorkers(const Poco::Net::TCPServer& server, Poco::Net::TCPServerParams& parameters)
        : server_(server), parameters_(parameters), worker_count_(parameters.getMaxThreads()) {}

    bool accept(const Poco::Net::StreamSocket& /*socket*/) override {
        const int counted = server_.currentThreads();
        if (counted >= parameters_.getMaxThreads() &&
            Poco::ThreadPool::defaultPool().used() < worker_count_) {
            parameters_.setMaxThreads(counted + 1);
        }
        return true;
    }

private:
    const Poco::Net::TCPServer& server_;
    Poco::Net::TCPServerParams& parameters_;
    const int worker_count_;
};

}  // namespace

HttpServer::HttpServer(const Poco::Net::HTTPRequestHandlerFactory::Ptr& factory,
                       const Poco::Net::SocketAddress& address, const std::optional<TlsFiles>& files,
                       const ConnectionLimits& limits)
    : HttpServer(factory, address, files, std::make_shared<OpenConnections>(limits),
                 create_parameters(limits)) {}

HttpServer::HttpServer(const Poco::Net::HTTPRequestHandlerFactory::Ptr& factory,
                       const Poco::Net::SocketAddress& address, const std::optional<TlsFiles>& files,
                       std::shared_ptr<OpenConnections> connections,
                       Poco::Net::HTTPServerParams::Ptr parameters)
    : TlsLibrary(files.has_value()),
      Poco::Net::HTTPServer(factory, listen(address, files, connections), parameters),
      has_tls_(files.has_value()),
      connections_(std::move(connections)) {
    setConnectionFilter(new LostWorkers(*this, *parameters));
}

bool HttpServer::stop_by(std::chrono::steady_clock::time_point end) {
    connections_->end_waiting();
    Poco::Net::HTTPServer::stop();
    const bool are_answered = connections_->wait_for_requests(end);
    connections_->abort();
    return are_answered;
}

void HttpServer::end() {
    if (has_tls_) {
        const std::lock_guard<std::mutex> lock(TlsLibrary::get_mutex());
        give_back();
    }
    stopAll(false);
    wait_for_workers();
}

bool HttpServer::has_no_workers_within(std::chrono::milliseconds time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    while (currentThreads() > 0) {
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
/// and goes on waiting for ten seconds (`TCPServerDispatcher::stop` puts one notification into the queue for
/// all of them: 1.11.0, Net/src/TCPServerDispatcher.cpp). Stopping once more wakes it.
void HttpServer::wait_for_workers() {
    constexpr int MAXIMUM_ROUNDS = 20;
    for (int round = 0; round < MAXIMUM_ROUNDS; ++round) {
        if (has_no_workers_within(std::chrono::milliseconds(100))) {
            return;
        }
        try {
            start();
            stop();
        } catch (const std::exception&) {
            return;  // the machine has no thread to spare; the worker finds out by itself
        }
    }
}

}  // namespace kx::information_model::opc
