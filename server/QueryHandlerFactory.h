#pragma once

#include "subscriptions/SubscriptionHandler.h"

#include <information_model/InformationModel.h>

#include <Poco/Net/HTTPRequestHandlerFactory.h>

#include <memory>

namespace kx::information_model::opc {

/// Makes a handler for each request of one server. Owned by the HTTP server; owns, together with the
/// handlers, the server's subscriptions. Called by all worker threads at once.
class QueryHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    explicit QueryHandlerFactory(std::shared_ptr<InformationModel> model);

    /// A new `OPCQueryHandler`, whatever the request: method, path and headers are ignored. Where the
    /// version of HTTP is not known, the response gets one that is.
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& request) override;

private:
    std::shared_ptr<InformationModel> model_;
    std::shared_ptr<SubscriptionHandler> subscriptions_;
};

}  // namespace kx::information_model::opc
