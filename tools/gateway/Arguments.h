#pragma once

#include "gateway/net/tls_context.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

/// What was said on the command line.
struct Arguments {
    std::string server;
    std::string address = "127.0.0.1";
    std::uint16_t port = 8090;
    std::vector<std::string> names;    ///< under which clients know the gateway
    std::vector<std::string> metrics;  ///< branches; all if there are none
    bool read_only = false;
    CertificateOptions certificate;  ///< both files, or none
    TrustOptions trust;
    std::chrono::milliseconds sample{250};
    std::chrono::seconds server_patience{10};
    std::size_t largest_request = 16;  ///< MiB
    std::size_t most_clients = 10'000;
    std::size_t most_memory = 512;  ///< MiB
    std::size_t most_items = 100'000;
    std::size_t most_subscriptions = 100;  ///< of a client address
    std::chrono::seconds client_patience{60};

    std::string to_print;  ///< help or version: nothing else is to be done
};

/// The command line is wrong; the message is one line that says what.
class ArgumentError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @throws ArgumentError
Arguments parse_arguments(int argc, const char* const* argv);

}  // namespace gateway
