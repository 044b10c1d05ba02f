#include "http/TlsLibrary.h"

#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SSLManager.h>

#include <openssl/ssl.h>

#include <string_view>

namespace kx::information_model::opc {

namespace {

/// Lets clients resume their sessions. Without a name for what the sessions are good for, a server that asks
/// for certificates refuses each client that tries to.
void allow_resumption(SSL_CTX* context) {
    constexpr std::string_view NAME = "kx-information-model";
    if (SSL_CTX_set_session_id_context(context, reinterpret_cast<const unsigned char*>(NAME.data()),
                                       static_cast<unsigned int>(NAME.size())) != 1) {
        throw Poco::Net::SSLContextException("Sessions cannot be resumed");
    }
}

}  // namespace

std::optional<TlsFiles> to_tls_files(const std::string& certificate, const std::string& private_key) {
    // No conditional expression: when the copy of a text fails inside one, g++ 12 destroys texts that were
    // never made.
    if (certificate.empty() || private_key.empty()) {
        return std::nullopt;
    }
    return TlsFiles{certificate, private_key};
}

TlsLibrary::TlsLibrary(bool is_needed) : is_taken_(is_needed) {
    if (is_needed) {
        Poco::Net::initializeSSL();
    }
}

void TlsLibrary::give_back() {
    if (is_taken_) {
        is_taken_ = false;
        Poco::Net::uninitializeSSL();
    }
}

std::mutex& TlsLibrary::get_mutex() {
    static std::mutex mutex;
    return mutex;
}

Poco::Net::Context::Ptr install_tls_context(const TlsFiles& files) {
    Poco::Net::Context::Ptr context =
        new Poco::Net::Context(Poco::Net::Context::TLSV1_2_SERVER_USE, files.private_key, files.certificate,
                               std::string(), Poco::Net::Context::VERIFY_RELAXED, 9, false, "TLSv1.2");
    // OpenSSL just forgets a key that does not fit, and no client gets in.
    if (SSL_CTX_check_private_key(context->sslContext()) != 1) {
        throw Poco::Net::SSLContextException("The private key does not belong to the certificate",
                                             files.private_key);
    }
    allow_resumption(context->sslContext());
    Poco::Net::SSLManager::instance().initializeServer(nullptr, nullptr, context);
    return context;
}

}  // namespace kx::information_model::opc
