#pragma once

#include "gateway/async/Task.h"
#include "gateway/http/HttpMessage.h"
#include "gateway/http/MemoryBudget.h"
#include "gateway/net/tls_context.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace gateway {

class AsioLoop;
struct HttpServerParts;

struct HttpServerOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 8090;
    std::size_t largest_request = 16U << 20U;    ///< bytes of one body
    std::size_t most_clients = 10'000;           ///< connections at one time
    std::chrono::milliseconds patience{60'000};  ///< how long a client may make no progress
    CertificateOptions certificate;
};

/// What the server counts about itself.
struct HttpServerFigures {
    std::size_t clients = 0;
    std::uint64_t requests = 0;
    std::uint64_t refused_clients = 0;   ///< closed at once: too many
    std::uint64_t refused_requests = 0;  ///< answered with 413, 431 or 503
};

/// Takes HTTP/1.1 requests, over TLS if there is a certificate, and sends what a handler replies. Bounded in
/// clients, in the size of a request and in memory; a client that neither sends nor takes anything for a
/// while is disconnected.
class HttpServer {
public:
    /// Answers one request. Many run at one time, all on the loop's thread; one that waits may ask `presence`
    /// whether there is still somebody who waits for it.
    using Handler = std::function<Task<HttpReply>(HttpRequest request, std::shared_ptr<Presence> presence)>;

    /// @param memory  what bodies of requests and replies are taken from
    /// @throws std::invalid_argument  if the certificate or its key cannot be used
    HttpServer(AsioLoop& loop, const HttpServerOptions& options, MemoryBudget& memory, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Begins to listen.
    /// @return the port
    /// @throws std::runtime_error  if the address cannot be listened at; the message says why
    std::uint16_t start();

    /// Accepts nobody any more, and closes each connection as soon as its reply is sent.
    void close();

    const HttpServerFigures& get_figures() const;

private:
    std::shared_ptr<HttpServerParts> parts_;
};

}  // namespace gateway
