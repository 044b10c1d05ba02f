#pragma once

#include <stdexcept>

namespace kx::information_model::opc {

/// A request exceeds a limit of this server.
class RequestLimitException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kx::information_model::opc
