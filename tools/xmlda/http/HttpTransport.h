#pragma once

#include "xmlda/http/Endpoint.h"
#include "xmlda/http/Interruption.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace xmlda {

/// How to find out that a server is who it says it is, and who we are.
struct TlsSettings {
    bool is_insecure = false;      ///< take every certificate
    std::string authorities_file;  ///< PEM; trust these instead of the system's authorities; may be empty
    std::string certificate_file;  ///< PEM; our own certificate, with `private_key_file`; may be empty
    std::string private_key_file;
};

/// How to talk to a server.
struct HttpSettings {
    std::chrono::milliseconds time_out{
        10'000};  ///< for each request, from looking the name up to the reply's last byte
    std::size_t maximum_reply_size = std::size_t{64} * 1024 * 1024;  ///< in bytes, once it is unpacked
    std::string user;  ///< for basic authentication; empty for what .netrc says
    std::string password;
    TlsSettings tls;
};

/// What a server answered.
struct HttpReply {
    int status = 0;
    std::string reason;
    std::string content_type;
    std::string location;  ///< where it is to be found instead, of a status 3xx
    std::string body;
};

/// Whether a request may reach the server twice.
enum class Repetition {
    ALLOWED,   ///< it may be sent again if the server has given up the connection in the meantime
    FORBIDDEN  ///< it is sent once, on a connection of its own
};

/// Posts SOAP requests to one server over a connection that is kept open where the server allows it, by
/// libcurl: proxies are those of the environment (http_proxy and so on), except to this very machine.
/// Takes no more memory than it is allowed to, whatever the server sends. Used by one thread.
class HttpTransport {
public:
    HttpTransport(Endpoint endpoint, HttpSettings settings);
    HttpTransport(const HttpTransport&) = delete;
    HttpTransport& operator=(const HttpTransport&) = delete;
    ~HttpTransport();

    const Endpoint& get_endpoint() const { return endpoint_; }

    /// Posts `body` and returns the answer, whatever its status.
    /// @param action  for the SOAPAction header, without quotes
    /// @throws Failure      UNKNOWN_HOST, NO_CONNECTION, TLS_FAILURE, TIMED_OUT, or UNEXPECTED_CONTENT if the
    ///                      answer is not HTTP or too large
    /// @throws Interrupted  if a signal came, see `set_interruption`
    HttpReply post(const std::string& action, const std::string& body, Repetition repetition);

    /// Closes the connection; the next request opens another one.
    void disconnect();

    /// From now on this ends waiting, also for a name or a connection; null for nothing. Must outlive its use
    /// here.
    void set_interruption(const Interruption* interruption) { interruption_ = interruption; }

private:
    struct Connections;

    const Endpoint endpoint_;
    const HttpSettings settings_;
    std::unique_ptr<Connections> connections_;
    const Interruption* interruption_ = nullptr;
};

}  // namespace xmlda
