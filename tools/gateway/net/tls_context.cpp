#include "gateway/net/tls_context.h"

#include <stdexcept>

#include <boost/asio/ssl/context.hpp>

namespace gateway {
namespace {

using boost::asio::ssl::context;
using boost::system::error_code;

void check(const error_code& error, const std::string& what, const std::string& file) {
    if (error) {
        throw std::invalid_argument("'" + file + "' cannot be used as " + what + ": " + error.message());
    }
}

std::unique_ptr<context> create_context(context::method side) {
    auto tls = std::make_unique<context>(side);
    tls->set_options(context::default_workarounds | context::no_compression);
    ::SSL_CTX_set_min_proto_version(tls->native_handle(), TLS1_2_VERSION);
    ::SSL_CTX_set_mode(tls->native_handle(), SSL_MODE_RELEASE_BUFFERS);  // most connections wait
    return tls;
}

}  // namespace

std::unique_ptr<context> create_server_context(const CertificateOptions& options) {
    auto tls = create_context(context::tls_server);
    ::SSL_CTX_set_options(tls->native_handle(), SSL_OP_NO_RENEGOTIATION);
    error_code error;
    tls->use_certificate_chain_file(options.certificate_file, error);
    check(error, "the certificate", options.certificate_file);
    // A pass phrase would be asked for on the terminal.
    tls->set_password_callback([](std::size_t, context::password_purpose) { return std::string(); });
    tls->use_private_key_file(options.private_key_file, context::pem, error);
    check(error, "the private key of '" + options.certificate_file + "'", options.private_key_file);
    return tls;
}

std::unique_ptr<context> create_client_context(const TrustOptions& options) {
    auto tls = create_context(context::tls_client);
    error_code error;
    if (options.authorities_file.empty()) {
        tls->set_default_verify_paths(error);
    } else {
        tls->load_verify_file(options.authorities_file, error);
        check(error, "certificates of authorities", options.authorities_file);
    }
    tls->set_verify_mode(options.is_insecure ? context::verify_none : context::verify_peer);
    return tls;
}

}  // namespace gateway
