#pragma once

#include <chrono>
#include <cstddef>

namespace kx::information_model::opc {

/// How long a peer may occupy a worker. Operators read of these in the documentation; tests choose less.
struct ConnectionLimits {
    /// Nothing more comes of a request, or nothing more is taken of an answer.
    std::chrono::milliseconds silence = std::chrono::seconds(60);

    /// No further request comes on a connection that is kept alive.
    std::chrono::milliseconds idle = std::chrono::seconds(15);

    /// A request, from its first byte to its last; with TLS, the handshake before the first one included.
    /// A second more for each `bytes_per_second` that have come of it.
    std::chrono::milliseconds arrival = std::chrono::seconds(60);
    std::size_t bytes_per_second = std::size_t{64} * 1024;

    /// A peer that says nothing is asked whether it is still there: after this time, as often, at most as
    /// many times without an answer. Then it has left.
    std::chrono::seconds probe_after{30};
    std::chrono::seconds probe_interval{10};
    int probe_count = 3;
};

}  // namespace kx::information_model::opc
