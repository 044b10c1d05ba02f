#include "support/TestServer.h"

#include "support/replies.h"

namespace kx::information_model::opc::testing {

TestServer::TestServer()
    : model_(std::make_shared<InformationModel>("plant")),
      server_(std::make_unique<Server>("127.0.0.1", model_)),
      port_(server_->start()) {}

Reply TestServer::post(const std::string& body) const {
    return HttpClient(port_).post(body);
}

Reply TestServer::call(const std::string& request) const {
    return post(create_request(request));
}

}  // namespace kx::information_model::opc::testing
