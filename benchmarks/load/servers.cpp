#include "load/servers.h"

#include "load/Connection.h"
#include "load/tree.h"

#ifdef KX_BUILD_PEER
#include "peer/PeerServer.h"
#endif

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>

#include <array>
#include <memory>
#include <string>
#include <thread>

namespace kx::benchmarks {

namespace {

using namespace information_model;

// Beyond the sixteen of the default pool: a connection that idles holds one.
constexpr int ADDITIONAL_WORKERS = 80;

class ConstantReply : public Poco::Net::HTTPRequestHandler {
public:
    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override {
        std::array<char, 16 * 1024> chunk;
        while (request.stream().read(chunk.data(), chunk.size()), request.stream().gcount() > 0) {
        }
        static thread_local std::string body;
        body.resize(std::stoul(request.getURI().substr(1)), 'x');
        response.setContentType("text/xml; charset=utf-8");
        response.erase("connection");
        response.sendBuffer(body.data(), body.size());
    }
};

class ConstantReplyFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(
        const Poco::Net::HTTPServerRequest& /*request*/) override {
        return new ConstantReply;
    }
};

std::shared_ptr<InformationModel> create_model(std::size_t variables) {
    auto model = std::make_shared<InformationModel>("plant");
    build_tree(model->get_root(), variables);
    return model;
}

Poco::Net::ServerSocket create_socket(const TlsFiles* certificate) {
    const Poco::Net::SocketAddress address("127.0.0.1", 0);
    if (certificate == nullptr) {
        return Poco::Net::ServerSocket(address, 64);
    }
    Poco::Net::initializeSSL();
    Poco::Net::Context::Ptr context = new Poco::Net::Context(
        Poco::Net::Context::TLSV1_2_SERVER_USE, certificate->get_private_key(),
        certificate->get_certificate(), "", Poco::Net::Context::VERIFY_RELAXED, 9, false, "TLSv1.2");
    context->enableSessionCache(true, "floor");  // so that clients can resume their sessions, as with ours
    return Poco::Net::SecureServerSocket(address, 64, context);
}

}  // namespace

Serve serve_tree(std::size_t variables, const TlsFiles* certificate) {
    return [variables, certificate](const Listening& listening) {
        Poco::ThreadPool::defaultPool().addCapacity(ADDITIONAL_WORKERS);
        const std::string certificate_file = certificate == nullptr ? "" : certificate->get_certificate();
        const std::string key_file = certificate == nullptr ? "" : certificate->get_private_key();
        opc::Server server("127.0.0.1", certificate_file, key_file, create_model(variables));
        listening(server.start());
    };
}

Serve serve_changing_tree(std::size_t variables, LockWaits& waits) {
    return [variables, &waits](const Listening& listening) {
        Poco::ThreadPool::defaultPool().addCapacity(ADDITIONAL_WORKERS);
        const auto model = create_model(variables);
        opc::Server server("127.0.0.1", model);
        const HostUpdates updates(*model, waits);
        listening(server.start());
    };
}

Serve serve_constant_replies(const TlsFiles* certificate) {
    return [certificate](const Listening& listening) {
        Poco::ThreadPool::defaultPool().addCapacity(ADDITIONAL_WORKERS);
        const Poco::Net::ServerSocket socket = create_socket(certificate);
        Poco::Net::HTTPServer server(new ConstantReplyFactory, socket, new Poco::Net::HTTPServerParams);
        server.start();
        listening(socket.address().port());
    };
}

#ifdef KX_BUILD_PEER
Serve serve_peer(std::size_t variables) {
    return [variables](const Listening& listening) {
        PeerServer server(create_model(variables));
        std::thread([&server] { server.run(); }).detach();
        listening(server.get_port());
    };
}
#else
Serve serve_peer(std::size_t /*variables*/) {
    return nullptr;
}
#endif

std::string create_constant_request(const std::string& body, std::size_t reply_size) {
    std::string path = "/";
    path += std::to_string(reply_size);
    return create_http_request(body, path);
}

}  // namespace kx::benchmarks
