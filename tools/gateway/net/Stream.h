#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <tuple>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/basic_parser.hpp>

namespace boost::asio::ssl {
class context;
}

namespace gateway {

/// A connection to a client or to the server, with TLS or without. Lives until what was begun on it has
/// ended.
class Stream {
public:
    using Transfer = std::tuple<boost::beast::error_code, std::size_t>;

    explicit Stream(boost::asio::io_context& context);
    explicit Stream(boost::asio::ip::tcp::socket socket);
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream();

    /// What is below TLS: its socket and its time-outs, which hold for all that begins later.
    boost::beast::tcp_stream& get_tcp() { return tcp_; }

    bool has_tls() const { return tls_ != nullptr; }

    /// From here on, as the server of the connection.
    boost::asio::awaitable<boost::beast::error_code> accept_tls(boost::asio::ssl::context& context);

    /// From here on, as its client.
    /// @param host  whom the certificate is to be for, if the context checks certificates
    /// @return what went wrong, or an empty text
    boost::asio::awaitable<std::string> begin_tls(boost::asio::ssl::context& context, std::string host);

    /// Says goodbye and waits for that of the other side. Nothing without TLS.
    boost::asio::awaitable<void> end_tls();

    boost::asio::awaitable<Transfer> read_some(boost::asio::mutable_buffer buffer);
    boost::asio::awaitable<Transfer> write_some(boost::asio::const_buffer buffer);

    /// @param patience  how long it may make no progress
    boost::asio::awaitable<boost::beast::error_code> write(boost::asio::const_buffer bytes,
                                                           std::chrono::steady_clock::duration patience);

private:
    struct Tls;

    boost::beast::tcp_stream tcp_;
    std::unique_ptr<Tls> tls_;
};

/// Reads once, or takes what `buffer` holds already, and gives it to the parser.
template <bool IS_REQUEST>
boost::asio::awaitable<boost::beast::error_code> read_part(
    Stream& stream, boost::beast::flat_buffer& buffer, boost::beast::http::basic_parser<IS_REQUEST>& parser) {
    namespace http = boost::beast::http;
    constexpr std::size_t PIECE = 64U << 10U;
    constexpr std::size_t FIRST_PIECE = 1024;  // most clients wait for a reply most of the time
    boost::beast::error_code error = http::error::need_more;
    if (buffer.size() > 0) {
        buffer.consume(parser.put(buffer.data(), error));
        if (error != http::error::need_more) {
            co_return error;
        }
    }
    const std::size_t room =
        std::min(buffer.max_size() - buffer.size(), parser.got_some() ? PIECE : FIRST_PIECE);
    if (room == 0) {
        co_return http::error::buffer_overflow;
    }
    const auto [failure, count] = co_await stream.read_some(buffer.prepare(room));
    buffer.commit(count);
    if (failure == boost::asio::error::eof) {
        if (!parser.got_some()) {
            co_return http::error::end_of_stream;
        }
        parser.put_eof(error);
        co_return error;
    }
    if (failure) {
        co_return failure;
    }
    buffer.consume(parser.put(buffer.data(), error));
    co_return error == http::error::need_more ? boost::beast::error_code() : error;
}

}  // namespace gateway
