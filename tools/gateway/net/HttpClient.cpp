#include "gateway/net/HttpClient.h"

#include "gateway/net/AsioLoop.h"
#include "gateway/net/Stream.h"
#include "gateway/net/tls_context.h"

#include <deque>
#include <exception>
#include <optional>
#include <set>
#include <utility>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace gateway {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr auto to_tuple = asio::as_tuple(asio::use_awaitable);
constexpr std::uint64_t LARGEST_REPLY = 256U << 20U;

struct Request {
    std::string body;
    HttpClient::Repetition repetition = HttpClient::Repetition::ALLOWED;
    Clock::time_point deadline;
    Completion<HttpOutcome> completion;
};

}  // namespace

struct HttpClientParts {
    HttpClientParts(asio::io_context& given_context, ServerAddress given_address, const TrustOptions& trust)
        : context(given_context), address(std::move(given_address)) {
        if (address.has_tls) {
            tls = create_client_context(trust);
        }
    }

    asio::io_context& context;
    const ServerAddress address;
    std::unique_ptr<asio::ssl::context> tls;  // null without TLS
    std::deque<Request> waiting;
    std::vector<std::unique_ptr<Stream>> idle;
    std::set<Stream*> busy;
    std::size_t workers = 0;
    std::uint64_t requests = 0;
    bool is_closed = false;
};

namespace {

/// Whether the server has closed the connection, or sent what nobody asked for.
bool is_stale(Stream& stream) {
    beast::error_code error;
    auto& socket = stream.get_tcp().socket();
    socket.non_blocking(true, error);
    char byte = 0;
    socket.receive(asio::buffer(&byte, 1), tcp::socket::message_peek, error);
    return error != asio::error::would_block && error != asio::error::try_again;
}

/// A connection, an old one if there is a good one, or the reason why there is none.
asio::awaitable<std::pair<std::unique_ptr<Stream>, std::string>> connect(HttpClientParts& parts,
                                                                         Clock::time_point deadline) {
    tcp::resolver resolver(parts.context);
    const auto [resolve_error, endpoints] =
        co_await resolver.async_resolve(parts.address.host, std::to_string(parts.address.port), to_tuple);
    if (resolve_error) {
        co_return std::pair(nullptr, "'" + parts.address.host + "': " + resolve_error.message());
    }
    auto stream = std::make_unique<Stream>(parts.context);
    stream->get_tcp().expires_at(deadline);
    const auto [error, endpoint] = co_await stream->get_tcp().async_connect(endpoints, to_tuple);
    if (error) {
        co_return std::pair(nullptr, error.message());
    }
    beast::error_code ignored;
    stream->get_tcp().socket().set_option(tcp::no_delay(true), ignored);
    if (parts.tls) {
        const std::string failure = co_await stream->begin_tls(*parts.tls, parts.address.host);
        if (!failure.empty()) {
            co_return std::pair(nullptr, failure);
        }
    }
    co_return std::pair(std::move(stream), std::string());
}

struct Attempt {
    HttpOutcome outcome;
    bool keep_alive = false;
    bool is_unanswered = false;  // closed before the first byte of a reply
};

/// Counts a connection as busy, and lets `HttpClient::close` interrupt what it does.
class Busy {
public:
    Busy(HttpClientParts& parts, Stream& stream) : parts_(parts), stream_(&stream) {
        parts_.busy.insert(stream_);
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() { parts_.busy.erase(stream_); }

private:
    HttpClientParts& parts_;
    Stream* stream_;
};

asio::awaitable<Attempt> exchange(HttpClientParts& parts, Stream& stream, const Request& request) {
    const Busy busy(parts, stream);
    Attempt attempt;
    std::string message =
        "POST " + parts.address.target + " HTTP/1.1\r\nHost: " + parts.address.to_host_header() +
        "\r\nContent-Type: text/xml; charset=utf-8\r\nSOAPAction: \"\"\r\nContent-Length: " +
        std::to_string(request.body.size()) + "\r\n\r\n" + request.body;
    const auto patience = request.deadline - Clock::now();
    const beast::error_code write_error = co_await stream.write(asio::buffer(message), patience);
    if (write_error) {
        attempt.outcome.failure = write_error.message();
        attempt.is_unanswered = true;
        co_return attempt;
    }
    message = std::string();
    stream.get_tcp().expires_at(request.deadline);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(LARGEST_REPLY);
    parser.eager(true);
    beast::error_code read_error;
    while (!parser.is_done() && !read_error) {
        read_error = co_await read_part(stream, buffer, parser);
    }
    if (read_error) {
        attempt.outcome.failure = read_error.message();
        attempt.is_unanswered = !parser.got_some() && read_error != beast::error::timeout;
        co_return attempt;
    }
    auto response = parser.release();
    attempt.outcome.status = response.result_int();
    attempt.outcome.body = std::move(response.body());
    attempt.keep_alive = response.keep_alive();
    co_return attempt;
}

asio::awaitable<HttpOutcome> perform(HttpClientParts& parts, const Request& request) {
    for (bool is_first = true;; is_first = false) {
        std::unique_ptr<Stream> stream;
        bool is_reused = false;
        while (!stream && is_first && !parts.idle.empty()) {
            stream = std::move(parts.idle.back());
            parts.idle.pop_back();
            is_reused = !is_stale(*stream);
            if (!is_reused) {
                stream.reset();
            }
        }
        if (!stream) {
            auto [made, failure] = co_await connect(parts, request.deadline);
            if (!made) {
                HttpOutcome outcome;
                outcome.failure = failure;
                co_return outcome;
            }
            stream = std::move(made);
        }
        Attempt attempt = co_await exchange(parts, *stream, request);
        if (attempt.is_unanswered && is_reused && !parts.is_closed &&
            request.repetition == HttpClient::Repetition::ALLOWED) {
            continue;
        }
        if (attempt.keep_alive && !parts.is_closed) {
            stream->get_tcp().expires_never();
            parts.idle.push_back(std::move(stream));
        }
        co_return std::move(attempt.outcome);
    }
}

/// Serves requests for as long as there are some.
asio::awaitable<void> work(std::shared_ptr<HttpClientParts> parts) {
    while (!parts->waiting.empty()) {
        const Request request = std::move(parts->waiting.front());
        parts->waiting.pop_front();
        HttpOutcome outcome;
        if (parts->is_closed) {
            outcome.failure = "the gateway is stopping";
        } else if (Clock::now() >= request.deadline) {
            outcome.failure = "no reply in time";
        } else {
            ++parts->requests;
            try {
                outcome = co_await perform(*parts, request);
            } catch (const std::exception& error) {  // a shortage of memory, for example: the next may work
                outcome.failure = error.what();
            }
        }
        request.completion.set(std::move(outcome));
    }
    --parts->workers;
}

}  // namespace

HttpClient::HttpClient(AsioLoop& loop, ServerAddress address, const TrustOptions& trust)
    : parts_(std::make_shared<HttpClientParts>(loop.get_context(), std::move(address), trust)) {}

HttpClient::~HttpClient() {
    close();
}

Completion<HttpOutcome> HttpClient::post(std::string body, Repetition repetition,
                                         std::chrono::milliseconds patience) {
    Request request{.body = std::move(body),
                    .repetition = repetition,
                    .deadline = Clock::now() + patience,
                    .completion = {}};
    auto completion = request.completion;
    parts_->waiting.push_back(std::move(request));
    if (parts_->workers < MOST_CONNECTIONS) {
        ++parts_->workers;
        asio::co_spawn(parts_->context, work(parts_), asio::detached);
    }
    return completion;
}

void HttpClient::close() {
    parts_->is_closed = true;
    parts_->idle.clear();
    for (Stream* stream : parts_->busy) {
        stream->get_tcp().cancel();
    }
}

std::size_t HttpClient::get_connections() const {
    return parts_->idle.size() + parts_->busy.size();
}

std::uint64_t HttpClient::get_requests() const {
    return parts_->requests;
}

}  // namespace gateway
