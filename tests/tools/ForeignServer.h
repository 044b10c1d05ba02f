#pragma once

#include "FakeServer.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace xmlda::testing {

/// A server of somebody else's making: each service answers what a test says, in the manner of
/// `to_soap_reply`.
class ForeignServer {
public:
    /// Gets the request and how many requests for the same service came before it; returns the response
    /// element, or a whole HTTP reply.
    using Service = std::function<std::string(const std::string& request, int earlier)>;

    /// @param services  by the names of their requests; a request for another one is answered 404
    explicit ForeignServer(std::map<std::string, Service> services);

    std::string get_url() const { return server_.get_url(); }

    /// The requests for a service so far: the texts inside the envelopes.
    std::vector<std::string> get_requests(const std::string& service) const;

private:
    std::string answer(const std::string& request);

    std::map<std::string, Service> services_;
    std::map<std::string, int> counts_;  // used by the server's thread
    FakeServer server_;                  // the last: its thread uses the others
};

/// A service that always answers the same.
ForeignServer::Service always(const std::string& response);

}  // namespace xmlda::testing
