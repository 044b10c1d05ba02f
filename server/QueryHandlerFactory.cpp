#include "server/QueryHandlerFactory.h"

#include "http/RequestBody.h"
#include "server/OPCQueryHandler.h"

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

namespace kx::information_model::opc {

QueryHandlerFactory::QueryHandlerFactory(std::shared_ptr<InformationModel> model)
    : model_(std::move(model)), subscriptions_(std::make_shared<SubscriptionHandler>()) {}

Poco::Net::HTTPRequestHandler* QueryHandlerFactory::createRequestHandler(
    const Poco::Net::HTTPServerRequest& request) {
    if (!has_known_version(request)) {
        // The answer carries a version of ours, and a client that would go on is not asked to.
        Poco::Net::HTTPServerResponse& response = request.response();
        response.setVersion(Poco::Net::HTTPMessage::HTTP_1_1);
        response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    }
    return new OPCQueryHandler(model_, subscriptions_);
}

}  // namespace kx::information_model::opc
