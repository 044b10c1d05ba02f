#pragma once

#include <cstdint>
#include <string>

namespace gateway {

/// Where a server is: what an http:// URL says.
struct ServerAddress {
    std::string host;  ///< a name or an address, IPv6 without brackets
    std::uint16_t port = 80;
    std::string target = "/";

    /// The host as it stands in a header: with brackets, and with the port if it is not 80.
    std::string to_host_header() const;
};

/// Reads "http://host", "http://host:8080/path", and the same without "http://".
/// @throws std::invalid_argument  if it is no such URL; the message quotes it and says what is wrong
ServerAddress parse_server_url(const std::string& url);

}  // namespace gateway
