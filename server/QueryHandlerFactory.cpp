#include "server/QueryHandlerFactory.h"

#include "server/OPCQueryHandler.h"

namespace kx::information_model::opc {

QueryHandlerFactory::QueryHandlerFactory(std::shared_ptr<InformationModel> model)
    : model_(std::move(model)), subscriptions_(std::make_shared<SubscriptionHandler>()) {}

Poco::Net::HTTPRequestHandler* QueryHandlerFactory::createRequestHandler(
    const Poco::Net::HTTPServerRequest& /*request*/) {
    return new OPCQueryHandler(model_, subscriptions_);
}

}  // namespace kx::information_model::opc
