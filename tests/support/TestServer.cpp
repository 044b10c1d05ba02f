#include "support/TestServer.h"

#include "support/replies.h"

namespace kx::information_model::opc::testing {
namespace {

/// Tests build their trees while the server runs, when no client knows of it yet.
std::shared_ptr<InformationModel> create_model() {
    auto model = std::make_shared<InformationModel>("plant");
    model->check_locks(false);
    return model;
}

}  // namespace

TestServer::TestServer()
    : model_(create_model()),
      server_(std::make_unique<Server>("127.0.0.1", model_)),
      port_(server_->start()) {}

Reply TestServer::post(const std::string& body) const {
    return HttpClient(port_).post(body);
}

Reply TestServer::call(const std::string& request) const {
    return post(create_request(request));
}

}  // namespace kx::information_model::opc::testing
