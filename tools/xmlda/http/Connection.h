#pragma once

#include "xmlda/http/Deadline.h"
#include "xmlda/http/Endpoint.h"
#include "xmlda/http/Interruption.h"
#include "xmlda/http/TlsContext.h"

#include <Poco/Net/StreamSocket.h>

#include <cstddef>
#include <string_view>

namespace xmlda {

/// A connection to a server, plain or with TLS. Whatever it waits for ends at a deadline, or when Ctrl-C is
/// pressed. Used by one thread; closes when it is destroyed.
class Connection {
public:
    /// Resolves the host's name and connects to the first of its addresses that answers.
    /// @param tls           null for plain TCP; else outlives the connection
    /// @param interruption  null if nothing interrupts
    /// @throws Failure      UNKNOWN_HOST, NO_CONNECTION, TLS_FAILURE or TIMED_OUT
    /// @throws Interrupted  if a signal came while TLS was being agreed on
    Connection(const Endpoint& endpoint, const TlsContext* tls, const Deadline& deadline,
               const Interruption* interruption);

    /// Sends all bytes.
    /// @throws Failure      NO_CONNECTION or TIMED_OUT
    /// @throws Interrupted  if a signal came
    void send(std::string_view bytes, const Deadline& deadline);

    /// Receives some bytes, at least one unless the server has closed the connection.
    /// @return how many; 0 if the server has closed
    /// @throws Failure      NO_CONNECTION or TIMED_OUT
    /// @throws Interrupted  if a signal came
    std::size_t receive(char* buffer, std::size_t size, const Deadline& deadline);

    /// Whether a new request can be sent: the server has neither closed nor said anything unasked.
    bool is_idle();

    /// From now on this interrupts; null for nothing.
    void set_interruption(const Interruption* interruption) { interruption_ = interruption; }

private:
    void begin_tls(const Endpoint& endpoint, const TlsContext& tls, const Deadline& deadline);

    /// Waits until the socket is ready for these events of `poll`.
    void wait_for(short events, const Deadline& deadline) const;

    /// The events to wait for after a call that returned `result` without success. TLS may have to read
    /// before it can send, and the reverse; a plain socket waits for `otherwise`.
    short get_needed_events(int result, short otherwise) const;

    Poco::Net::StreamSocket socket_;
    const Interruption* interruption_;
};

}  // namespace xmlda
