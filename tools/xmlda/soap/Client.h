#pragma once

#include "xmlda/http/HttpTransport.h"
#include "xmlda/soap/XmlElement.h"

#include <memory>
#include <ostream>
#include <string>

namespace xmlda {

/// A response element together with the document that it belongs to.
class Response {
public:
    Response(std::unique_ptr<XmlElement> envelope, const XmlElement& response)
        : envelope_(std::move(envelope)), response_(&response) {}

    const XmlElement& get() const { return *response_; }
    const XmlElement* operator->() const { return response_; }

private:
    std::unique_ptr<XmlElement> envelope_;
    const XmlElement* response_;
};

/// Calls the services of one server. Used by one thread.
class Client {
public:
    /// @param trace  where both envelopes of each call are shown; null for nowhere
    /// @throws Failure  TLS_FAILURE: a file of the settings cannot be used
    Client(const Endpoint& endpoint, const HttpSettings& settings, std::ostream* trace)
        : transport_(endpoint, settings), trace_(trace) {}

    /// Posts a request and returns the response.
    /// @param service  for example "Read"
    /// @param request  the element of that name, see `wrap`
    /// @throws Fault        if the server answered with a fault, whatever the HTTP status
    /// @throws Failure      what `HttpTransport::post` throws; BAD_REQUEST or HTTP_ERROR for an answer that
    /// is
    ///                      neither a success nor a fault; UNEXPECTED_CONTENT for one that is no response
    /// @throws Interrupted  if a signal came
    Response call(const std::string& service, const std::string& request,
                  Repetition repetition = Repetition::ALLOWED);

    HttpTransport& get_transport() { return transport_; }

private:
    void show(const std::string& headline, const std::string& text) const;

    HttpTransport transport_;
    std::ostream* trace_;
};

}  // namespace xmlda
