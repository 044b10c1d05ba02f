#pragma once

#include "server/message/AMessage.h"
#include "subscriptions/HoldWatch.h"
#include "subscriptions/SubscriptionHandler.h"

#include <information_model/InformationModel.h>

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <memory>
#include <string>

namespace kx::information_model::opc {

/// Answers one HTTP request: parses the SOAP envelope, serves the first request element that it knows, and
/// sends the reply. Lives for that request, on the worker thread that runs it.
///
/// | what happens                                            | answer                                   |
/// |---------------------------------------------------------|------------------------------------------|
/// | the service returns a document                          | 200 and the document                     |
/// | an `Error`, also for a missing envelope or body         | 400 and a SOAP fault                     |
/// | any other std::exception, also for an unknown request   | 400 and "Bad request"                    |
/// | a std::exception while the fault is built or sent       | 400 and "Bad request"                    |
class OPCQueryHandler : public Poco::Net::HTTPRequestHandler {
public:
    OPCQueryHandler(std::shared_ptr<InformationModel> model,
                    std::shared_ptr<SubscriptionHandler> subscriptions);

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override;

private:
    /// Serves a request and returns the reply. Until it is sent, it holds its share of the budget of all
    /// replies.
    Poco::AutoPtr<Poco::XML::Document> process(Poco::Net::HTTPServerRequest& request) const;

    /// Sweeps expired subscriptions and makes the message that the request asks for.
    /// @param watch  of a poll that is held; may be null
    /// @return null if there is no known request
    /// @throws Error  if there is no envelope or body, and what the message's constructor throws
    std::unique_ptr<AMessage> create_message(Poco::AutoPtr<Poco::XML::Document> request,
                                             HoldWatch* watch) const;

    std::shared_ptr<InformationModel> model_;
    std::shared_ptr<SubscriptionHandler> subscriptions_;
};

}  // namespace kx::information_model::opc
