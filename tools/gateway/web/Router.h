#pragma once

#include "gateway/async/Task.h"
#include "gateway/http/HttpMessage.h"
#include "gateway/services/SoapServices.h"
#include "gateway/web/Metrics.h"
#include "gateway/web/PageApi.h"

#include <memory>
#include <string>
#include <vector>

namespace gateway {

/// Says who answers which request, and refuses what pages of other sites might send.
class Router {
public:
    /// @param names  host names of the gateway, besides addresses and "localhost"
    Router(SoapServices& services, PageApi& page, Metrics& metrics, std::vector<std::string> names);

    Task<HttpReply> serve(HttpRequest request, std::shared_ptr<Presence> presence);

private:
    Task<HttpReply> get(const HttpRequest& request);
    Task<HttpReply> post(HttpRequest request, std::shared_ptr<Presence> presence);

    SoapServices& services_;
    PageApi& page_;
    Metrics& metrics_;
    const std::vector<std::string> names_;
};

}  // namespace gateway
