#pragma once

#include <Poco/Net/Context.h>
#include <Poco/Net/ServerSocket.h>

namespace kx::information_model::opc {

/// A socket for POCO's servers to accept connections from, plain or with TLS; not bound yet.
///
/// POCO shuts down connections on the thread that stops a server, while the threads that serve them may be
/// closing them. With POCO's own sockets the descriptor may then belong to something else already, to
/// anything in the process, and OpenSSL is called for one connection by two threads at once. A connection of
/// this socket may be shut down by any thread: it just sees the end of what its peer sends, once what has
/// arrived is read. All else, closing included, is for the thread that serves it.
///
/// A program that the host starts inherits none of the connections.
///
/// Derived to be made; what makes it what it is is the implementation, which copies share.
class ListeningSocket : public Poco::Net::ServerSocket {
public:
    ListeningSocket();

    /// With TLS. The handshake is done when a connection is first read from or written to.
    explicit ListeningSocket(const Poco::Net::Context::Ptr& context);
};

}  // namespace kx::information_model::opc
