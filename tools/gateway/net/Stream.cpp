#include "gateway/net/Stream.h"

#include <utility>

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace gateway {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using asio::ip::tcp;

constexpr auto to_tuple = asio::as_tuple(asio::use_awaitable);

}  // namespace

struct Stream::Tls {
    Tls(beast::tcp_stream& tcp, asio::ssl::context& context) : stream(tcp, context) {}
    asio::ssl::stream<beast::tcp_stream&> stream;
};

Stream::Stream(asio::io_context& context) : tcp_(context) {}

Stream::Stream(tcp::socket socket) : tcp_(std::move(socket)) {}

Stream::~Stream() = default;

asio::awaitable<beast::error_code> Stream::accept_tls(asio::ssl::context& context) {
    tls_ = std::make_unique<Tls>(tcp_, context);
    const auto [error] = co_await tls_->stream.async_handshake(asio::ssl::stream_base::server, to_tuple);
    co_return error;
}

asio::awaitable<std::string> Stream::begin_tls(asio::ssl::context& context, std::string host) {
    tls_ = std::make_unique<Tls>(tcp_, context);
    SSL* const session = tls_->stream.native_handle();
    beast::error_code no_address;
    asio::ip::make_address(host, no_address);
    bool is_set = false;
    if (no_address) {
        is_set = ::SSL_set_tlsext_host_name(session, host.c_str()) == 1 &&
                 ::SSL_set1_host(session, host.c_str()) == 1;
    } else {
        const std::string address = host.substr(0, host.find('%'));  // certificates know no scopes
        is_set = ::X509_VERIFY_PARAM_set1_ip_asc(::SSL_get0_param(session), address.c_str()) == 1;
    }
    if (!is_set) {
        co_return "TLS failed: '" + host + "' is not a valid host name";
    }
    const auto [error] = co_await tls_->stream.async_handshake(asio::ssl::stream_base::client, to_tuple);
    const long verdict = ::SSL_get_verify_result(session);
    if (error && verdict != X509_V_OK) {
        co_return std::string("its certificate is not accepted: ") + ::X509_verify_cert_error_string(verdict);
    }
    co_return error ? "TLS failed: " + error.message() : std::string();
}

asio::awaitable<void> Stream::end_tls() {
    if (tls_) {
        co_await tls_->stream.async_shutdown(to_tuple);
    }
}

asio::awaitable<Stream::Transfer> Stream::read_some(asio::mutable_buffer buffer) {
    if (tls_) {
        return tls_->stream.async_read_some(buffer, to_tuple);
    }
    return tcp_.async_read_some(buffer, to_tuple);
}

asio::awaitable<Stream::Transfer> Stream::write_some(asio::const_buffer buffer) {
    if (tls_) {
        return tls_->stream.async_write_some(buffer, to_tuple);
    }
    return tcp_.async_write_some(buffer, to_tuple);
}

asio::awaitable<beast::error_code> Stream::write(asio::const_buffer bytes,
                                                 std::chrono::steady_clock::duration patience) {
    while (bytes.size() > 0) {
        tcp_.expires_after(patience);
        const auto [error, count] = co_await write_some(bytes);
        if (error) {
            co_return error;
        }
        bytes += count;
    }
    co_return beast::error_code();
}

}  // namespace gateway
