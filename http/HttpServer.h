#pragma once

#include "http/OpenConnections.h"
#include "http/TlsLibrary.h"

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/SocketAddress.h>

#include <chrono>
#include <memory>
#include <optional>

namespace kx::information_model::opc {

/// POCO's HTTP server, plain or with TLS. No peer can occupy its connections for ever, and `stop_by`
/// and `end` close them. Called by one thread at a time.
class HttpServer : protected TlsLibrary, public Poco::Net::HTTPServer {
public:
    /// Binds and listens.
    /// Requires: `TlsLibrary::get_mutex()` held, if it has files.
    HttpServer(const Poco::Net::HTTPRequestHandlerFactory::Ptr& factory,
               const Poco::Net::SocketAddress& address, const std::optional<TlsFiles>& files,
               const ConnectionLimits& limits = {});

    /// Accepts no more, ends the connections that wait for a request or hold one, and waits for the other
    /// requests. Those that are not answered by `end` are broken off.
    /// @return whether there were none
    bool stop_by(std::chrono::steady_clock::time_point end);

    /// Gives back the TLS library, closes all connections and waits for the requests under way, and until the
    /// workers have put away their connections. To be called before it is destroyed, which with TLS happens
    /// under `TlsLibrary::get_mutex()`: its socket's context gives back the library as well.
    void end();

private:
    HttpServer(const Poco::Net::HTTPRequestHandlerFactory::Ptr& factory,
               const Poco::Net::SocketAddress& address, const std::optional<TlsFiles>& files,
               std::shared_ptr<OpenConnections> connections, Poco::Net::HTTPServerParams::Ptr parameters);

    bool has_no_workers_within(std::chrono::milliseconds time) const;
    void wait_for_workers();

    const bool has_tls_;
    const std::shared_ptr<OpenConnections> connections_;
};

}  // namespace kx::information_model::opc
