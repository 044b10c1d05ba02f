#pragma once

#include <cstdint>
#include <string>

namespace gateway {

/// Where a server is: what an http:// or https:// URL says.
struct ServerAddress {
    std::string host;  ///< a name or an address, IPv6 without brackets
    std::uint16_t port = 80;
    std::string target = "/";
    bool has_tls = false;

    /// The host as it stands in a header: with brackets, and with the port if it is not 80, or 443 with TLS.
    std::string to_host_header() const;
};

/// Reads "http://host", "https://host:8080/path", and the first without "http://".
/// @throws std::invalid_argument  if it is no such URL; the message quotes it and says what is wrong
ServerAddress parse_server_url(const std::string& url);

}  // namespace gateway
