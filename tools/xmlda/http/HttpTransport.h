#pragma once

#include "xmlda/http/Connection.h"
#include "xmlda/http/Endpoint.h"
#include "xmlda/http/HttpReplyReader.h"
#include "xmlda/http/Interruption.h"
#include "xmlda/http/TlsContext.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace xmlda {

/// How to talk to a server.
struct HttpSettings {
    std::chrono::milliseconds time_out{
        10'000};  ///< for each request, from connecting to the reply's last byte
    std::size_t maximum_reply_size = std::size_t{64} * 1024 * 1024;  ///< in bytes
    std::string user;  ///< for basic authentication; empty for none
    std::string password;
    TlsSettings tls;
};

/// Whether a request may reach the server twice.
enum class Repetition {
    ALLOWED,   ///< it may be sent again if the server has given up the connection in the meantime
    FORBIDDEN  ///< it is sent once, on a connection of its own
};

/// Posts SOAP requests to one server over one connection that is kept open where the server allows it.
/// Used by one thread.
class HttpTransport {
public:
    /// @throws Failure  TLS_FAILURE: a file of the settings cannot be used
    HttpTransport(Endpoint endpoint, HttpSettings settings);

    const Endpoint& get_endpoint() const { return endpoint_; }

    /// Posts `body` and returns the answer, whatever its status.
    /// @param action  for the SOAPAction header, without quotes
    /// @throws Failure      UNKNOWN_HOST, NO_CONNECTION, TLS_FAILURE, TIMED_OUT, or UNEXPECTED_CONTENT if the
    ///                      answer is not HTTP or too large
    /// @throws Interrupted  if a signal came, see `set_interruption`
    HttpReply post(const std::string& action, const std::string& body, Repetition repetition);

    /// Closes the connection; the next request opens another one.
    void disconnect() { connection_.reset(); }

    /// From now on this ends waiting for a reply; null for nothing. Must outlive its use here.
    void set_interruption(const Interruption* interruption);

private:
    HttpReply exchange(const std::string& request, const Deadline& deadline);
    std::string create_request(const std::string& action, const std::string& body) const;
    void open(const Deadline& deadline);

    const Endpoint endpoint_;
    const HttpSettings settings_;
    std::optional<TlsContext> tls_;
    std::unique_ptr<Connection> connection_;  // null while there is none that can be used again
    const Interruption* interruption_ = nullptr;
};

}  // namespace xmlda
