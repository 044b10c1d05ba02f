#pragma once

#include <chrono>
#include <cstddef>

namespace kx::information_model::opc {

/// How long a peer may occupy a worker. The documentation has these values; tests choose smaller ones.
struct ConnectionLimits {
    /// For silence in the middle of a request, and for an answer that the peer does not take.
    std::chrono::milliseconds silence = std::chrono::seconds(60);

    /// For the next request on a connection that is kept alive.
    std::chrono::milliseconds idle = std::chrono::seconds(15);

    /// For a request, from its first byte to its last; with TLS, the handshake before the first one included.
    /// One second is added for each `bytes_per_second` that have come of it.
    std::chrono::milliseconds arrival = std::chrono::seconds(60);
    std::size_t bytes_per_second = std::size_t{64} * 1024;

    /// A silent peer is probed after this time, then at this interval; it counts as gone after this number of
    /// probes without an answer.
    std::chrono::seconds probe_after{30};
    std::chrono::seconds probe_interval{10};
    int probe_count = 3;
};

}  // namespace kx::information_model::opc
