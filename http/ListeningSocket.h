#pragma once

#include "http/OpenConnections.h"

#include <Poco/Net/Context.h>
#include <Poco/Net/ServerSocket.h>

#include <memory>

namespace kx::information_model::opc {

/// The socket from which POCO's servers accept connections, plain or with TLS; not bound yet. It accepts
/// connections of the class `Connection`. A program that the host starts inherits none of them.
///
/// This class only has constructors. The behaviour is in the implementation, which copies share.
class ListeningSocket : public Poco::Net::ServerSocket {
public:
    /// @param connections  where each of its connections is for as long as it is open; not null
    explicit ListeningSocket(std::shared_ptr<OpenConnections> connections);

    /// With TLS. The handshake is done when a connection is first read from or written to.
    ListeningSocket(std::shared_ptr<OpenConnections> connections, const Poco::Net::Context::Ptr& context);
};

}  // namespace kx::information_model::opc
