#include "opc/Server.h"

#include "http/HttpServer.h"
#include "http/TlsLibrary.h"
#include "server/QueryHandlerFactory.h"

#include <information_model/InformationModel.h>

#include <Poco/ThreadPool.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace kx::information_model::opc {

class Server::Implementation : public HttpServer {
public:
    using HttpServer::HttpServer;

    static std::unique_ptr<Implementation> create(const std::string& address, unsigned short port,
                                                  const std::optional<TlsFiles>& files,
                                                  const std::shared_ptr<InformationModel>& model) {
        if (model == nullptr) {
            throw std::invalid_argument("A server needs a model.");
        }
        const Poco::Net::SocketAddress socket_address(address, port);  // may take long to look up
        std::unique_lock<std::mutex> lock(TlsLibrary::get_mutex(), std::defer_lock);
        if (files.has_value()) {
            lock.lock();
        }
        const Poco::Net::HTTPRequestHandlerFactory::Ptr factory(new QueryHandlerFactory(model));
        auto implementation = std::make_unique<Implementation>(factory, socket_address, files);
        implementation->model_ = model;
        return implementation;
    }

    InformationModel& get_model() const { return *model_; }

private:
    std::shared_ptr<InformationModel> model_;
};

Server::Server(const std::string& address, const unsigned short& port, const std::string& certificate_file,
               const std::string& private_key_file, const std::shared_ptr<InformationModel>& model)
    : implementation_(
          Implementation::create(address, port, to_tls_files(certificate_file, private_key_file), model)),
      tls_enabled_(to_tls_files(certificate_file, private_key_file).has_value()) {}

Server::Server(const std::string& address, const unsigned short& port,
               const std::shared_ptr<InformationModel>& model)
    : Server(address, port, std::string(), std::string(), model) {}

Server::Server(const std::string& address, const std::shared_ptr<InformationModel>& model)
    : Server(address, 0, model) {}

Server::Server(const std::string& address, const std::string& certificate_file,
               const std::string& private_key_file, const std::shared_ptr<InformationModel>& model)
    : Server(address, 0, certificate_file, private_key_file, model) {}

Server::~Server() {
    implementation_->end();
    if (tls_enabled_) {
        const std::lock_guard<std::mutex> lock(TlsLibrary::get_mutex());
        implementation_.reset();
    }
}

unsigned short Server::start() {
    if (state_ == State::STOPPED) {
        throw std::logic_error("A stopped server cannot be started again.");
    }
    if (state_ == State::BOUND) {
        implementation_->get_model().begin_service();
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

bool Server::stop(std::chrono::milliseconds deadline) {
    if (state_ == State::BOUND) {
        return true;
    }
    // What cannot be added is as good as never.
    constexpr std::chrono::hours LONGEST(24 * 365);
    state_ = State::STOPPED;
    return implementation_->stop_by(std::chrono::steady_clock::now() +
                                    std::min<std::chrono::milliseconds>(deadline, LONGEST));
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

void add_worker_threads(int count) {
    Poco::ThreadPool& pool = Poco::ThreadPool::defaultPool();
    constexpr int LEAST = 2;  // of POCO's pool
    if (count < LEAST - pool.capacity()) {
        throw std::invalid_argument("Too few worker threads would be left: " +
                                    std::to_string(pool.capacity()) + std::to_string(count));
    }
    pool.addCapacity(count);
}

}  // namespace kx::information_model::opc
