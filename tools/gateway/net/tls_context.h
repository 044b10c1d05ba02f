#pragma once

#include <memory>
#include <string>

namespace boost::asio::ssl {
class context;
}

namespace gateway {

/// What clients are shown.
struct CertificateOptions {
    std::string certificate_file;  ///< PEM, with the authorities between; empty for no TLS
    std::string private_key_file;  ///< PEM, without a pass phrase
};

/// By what the server is trusted.
struct TrustOptions {
    std::string authorities_file;  ///< PEM; empty for those of the system
    bool is_insecure = false;      ///< any certificate will do
};

/// @throws std::invalid_argument  if the files cannot be used; the message names the file and says why
std::unique_ptr<boost::asio::ssl::context> create_server_context(const CertificateOptions& options);

/// @throws std::invalid_argument  if the file cannot be used; the message names it and says why
std::unique_ptr<boost::asio::ssl::context> create_client_context(const TrustOptions& options);

}  // namespace gateway
