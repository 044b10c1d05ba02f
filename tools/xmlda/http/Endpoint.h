#pragma once

#include <string>

namespace xmlda {

/// Where a server is.
struct Endpoint {
    bool is_secure = false;
    std::string host;  ///< a name or a numeric address, IPv6 without brackets
    unsigned short port = 0;
    std::string path;  ///< with the query, begins with "/"

    /// Host and port as a URL shows them, IPv6 addresses in brackets.
    std::string get_authority() const;

    /// The URL in full.
    std::string get_url() const;
};

/// Reads a URL with "http://" or "https://"; without either, as in "localhost:8080", it is plain HTTP.
/// @throws Failure  USAGE: another scheme, no host, or a user in the URL
Endpoint parse_endpoint(const std::string& url);

}  // namespace xmlda
