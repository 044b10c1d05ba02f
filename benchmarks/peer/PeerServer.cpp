#include "peer/PeerServer.h"

#include "soapH.h"

#include <cstring>
#include <stdexcept>
#include <thread>

extern "C" {
#include "XmlDa.nsmap"
}

namespace kx::benchmarks {

namespace {

using information_model::InformationModel;

constexpr int BACKLOG = 64;
constexpr int MAXIMUM_ITEMS = 10'000'000;

// Texts in UTF-8, no look-out for shared nodes, and chunks, so that a reply is serialised once.
constexpr soap_mode MODE = SOAP_C_UTFSTRING | SOAP_XML_TREE | SOAP_IO_KEEPALIVE;

struct SoapDeleter {
    void operator()(soap* context) const {
        soap_destroy(context);
        soap_end(context);
        soap_free(context);
    }
};

using SoapPointer = std::unique_ptr<soap, SoapDeleter>;

}  // namespace

struct PeerServer::Implementation {
    std::shared_ptr<InformationModel> model;
    SoapPointer context;
};

PeerServer::PeerServer(std::shared_ptr<InformationModel> model) : implementation_(new Implementation) {
    implementation_->context.reset(soap_new2(MODE, MODE | SOAP_IO_CHUNK));
    implementation_->model = std::move(model);
    soap* context = implementation_->context.get();
    context->user = implementation_->model.get();
    context->max_keep_alive = 0;  // no limit
    context->maxoccurs = MAXIMUM_ITEMS;
    if (!soap_valid_socket(soap_bind(context, "127.0.0.1", 0, BACKLOG))) {
        throw std::runtime_error("the peer cannot bind a port");
    }
}

PeerServer::~PeerServer() = default;

unsigned short PeerServer::get_port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(implementation_->context->master, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void PeerServer::run() {
    while (true) {
        if (soap_valid_socket(soap_accept(implementation_->context.get()))) {
            std::thread([connection = SoapPointer(soap_copy(implementation_->context.get()))] {
                soap_serve(connection.get());
            }).detach();
        }
    }
}

}  // namespace kx::benchmarks
