#pragma once

#include "gateway/Arguments.h"

#include <cstdint>
#include <memory>

namespace gateway {

class AsioLoop;
struct GatewayParts;

/// Everything put together: one server, all clients.
class Gateway {
public:
    /// @throws std::invalid_argument  if the server's URL or a branch of the metrics is wrong
    Gateway(AsioLoop& loop, const Arguments& arguments);
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    /// Begins to serve.
    /// @return the port
    /// @throws std::runtime_error  if it cannot listen there; the message says why
    std::uint16_t start();

    /// Answers the polls that wait, lets requests under way end, gives the subscription back, and stops the
    /// loop; all that within two seconds.
    void stop();

    /// Whether nothing is under way any more.
    bool has_ended() const;

private:
    std::unique_ptr<GatewayParts> parts_;
};

}  // namespace gateway
