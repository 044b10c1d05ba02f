#include "support/tls_client.h"

#include <Poco/Net/Context.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SocketAddress.h>

namespace kx::information_model::opc::testing {

HttpClient connect_with_tls(unsigned short port, const std::string& certificate, const TlsFiles* own) {
    const Poco::Net::Context::Ptr context = new Poco::Net::Context(
        Poco::Net::Context::TLS_CLIENT_USE, own == nullptr ? "" : own->get_private_key(),
        own == nullptr ? "" : own->get_certificate(), certificate, Poco::Net::Context::VERIFY_STRICT, 9,
        false, "ALL");
    const Poco::Net::SocketAddress address("127.0.0.1", port);
    return HttpClient(Poco::Net::SecureStreamSocket(address, "127.0.0.1", context));
}

}  // namespace kx::information_model::opc::testing
