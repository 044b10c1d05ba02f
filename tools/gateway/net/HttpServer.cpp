#include "gateway/net/HttpServer.h"

#include "gateway/net/AsioLoop.h"
#include "gateway/net/Stream.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <unordered_set>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>

namespace gateway {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

constexpr auto to_tuple = asio::as_tuple(asio::use_awaitable);

constexpr unsigned HTTP_1_0 = 10;
constexpr unsigned HTTP_1_1 = 11;
constexpr std::size_t LARGEST_COPY = 16U << 10U;  // of a body that is sent in one piece with its head
constexpr auto LONGEST_HANDSHAKE = std::chrono::seconds(10);
constexpr auto LONGEST_GOODBYE = std::chrono::seconds(2);
constexpr unsigned LARGEST_HEADER = 16U << 10U;
constexpr std::size_t LARGEST_BUFFER = 64U << 10U;
constexpr std::size_t FIRST_READ = 1024;
constexpr char CONTINUE[] = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr auto SIGN_OF_LIFE = std::chrono::seconds(15);  // between events, so that proxies keep the line open

/// A reply on its way from a task to the connection that waits for it.
struct PendingReply {
    explicit PendingReply(asio::io_context& context)
        : ready(context, asio::steady_timer::time_point::max()) {}

    std::optional<HttpReply> reply;
    asio::steady_timer ready;
};

HttpReply create_refusal(unsigned status, const std::string& text) {
    HttpReply reply;
    reply.status = status;
    reply.content_type = "text/plain; charset=utf-8";
    reply.body = text + "\n";
    return reply;
}

Task<> run_handler(const HttpServer::Handler& handler, HttpRequest request,
                   std::shared_ptr<Presence> presence, std::shared_ptr<PendingReply> pending) {
    try {
        Task<HttpReply> task = handler(std::move(request), std::move(presence));
        pending->reply = co_await task;
    } catch (const std::exception& error) {
        pending->reply = create_refusal(500, error.what());
    }
    pending->ready.cancel();
}

/// The head of a reply: everything before its body.
std::string create_head(const HttpReply& reply, unsigned version, bool keep_alive) {
    std::string head = version == HTTP_1_0 ? "HTTP/1.0 " : "HTTP/1.1 ";
    head += std::to_string(reply.status) + ' ';
    head += http::obsolete_reason(static_cast<http::status>(reply.status));
    const auto add = [&head](std::string_view name, std::string_view value) {
        head.append("\r\n").append(name).append(": ").append(value);
    };
    if (!reply.content_type.empty()) {
        add("Content-Type", reply.content_type);
    }
    add("X-Content-Type-Options", "nosniff");
    for (const auto& [name, value] : reply.headers) {
        add(name, value);
    }
    if (keep_alive && version == HTTP_1_0) {
        add("Connection", "keep-alive");
    } else if (!keep_alive && version != HTTP_1_0) {
        add("Connection", "close");
    }
    if (!reply.events) {
        add("Content-Length", std::to_string(reply.body.size()));
    }
    return head += "\r\n\r\n";
}

/// With two of them a proxy may believe the one and we the other.
bool has_right_host(const http::request<http::string_body>& request) {
    const auto hosts = request.equal_range(http::field::host);
    const auto count = std::distance(hosts.first, hosts.second);
    return count == 1 || (count == 0 && request.version() < HTTP_1_1);
}

void set_socket_options(tcp::socket& socket) {
    beast::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    const auto set = [&socket](int option, int value) {
        ::setsockopt(socket.native_handle(), IPPROTO_TCP, option, &value, sizeof value);
    };
    set(TCP_KEEPIDLE, 30);  // a client that vanished while its poll is held is noticed after a minute
    set(TCP_KEEPINTVL, 10);
    set(TCP_KEEPCNT, 3);
}

}  // namespace

class Connection;

struct HttpServerParts {
    HttpServerParts(AsioLoop& loop, const HttpServerOptions& given_options, MemoryBudget& given_memory,
                    HttpServer::Handler given_handler)
        : context(loop.get_context()),
          options(given_options),
          memory(given_memory),
          handler(std::move(given_handler)),
          acceptor(context) {
        if (!options.certificate.certificate_file.empty()) {
            tls = create_server_context(options.certificate);
        }
    }

    asio::io_context& context;
    const HttpServerOptions options;
    MemoryBudget& memory;
    const HttpServer::Handler handler;
    tcp::acceptor acceptor;
    std::unique_ptr<asio::ssl::context> tls;  // null without TLS
    HttpServerFigures figures;
    std::unordered_set<Connection*> connections;
    bool is_closing = false;
};

/// One client. Serves its requests one after the other.
class Connection {
public:
    Connection(HttpServerParts& parts, tcp::socket socket)
        : parts_(parts), stream_(std::move(socket)), read_ahead_(parts.context) {
        beast::error_code error;
        const auto endpoint = get_tcp().socket().remote_endpoint(error);
        peer_ = error ? std::string() : endpoint.address().to_string();
        parts_.connections.insert(this);
        ++parts_.figures.clients;
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        parts_.connections.erase(this);
        --parts_.figures.clients;
    }

    asio::awaitable<void> serve() {
        if (parts_.tls) {
            get_tcp().expires_after(
                std::min<std::chrono::milliseconds>(parts_.options.patience, LONGEST_HANDSHAKE));
            is_idle_ = true;
            const beast::error_code error = co_await stream_.accept_tls(*parts_.tls);
            if (error) {
                co_return;
            }
        }
        try {
            while (!parts_.is_closing && co_await serve_one()) {
            }
        } catch (const std::exception&) {
            // Out of memory. The connection ends, but not before what still reads from it.
        }
        co_await end_read_ahead();
        get_tcp().expires_after(parts_.is_closing ? std::chrono::milliseconds(100) : LONGEST_GOODBYE);
        co_await stream_.end_tls();
        beast::error_code ignored;
        get_tcp().socket().shutdown(tcp::socket::shutdown_send, ignored);
        co_await discard_input();
    }

    /// The server closes.
    void close() {
        if (is_idle_) {
            get_tcp().cancel();
        }
        if (events_) {
            events_->finish();
        }
    }

private:
    using Parser = http::request_parser<http::string_body>;

    /// @return whether there may be another request
    asio::awaitable<bool> serve_one() {
        Parser parser;
        parser.header_limit(LARGEST_HEADER);
        parser.body_limit(parts_.options.largest_request);
        parser.eager(true);
        MemoryBudget::Share share(parts_.memory);
        is_idle_ = true;
        const unsigned refusal = co_await read(parser, share);
        is_idle_ = false;
        if (refusal == DISCONNECTED) {
            co_return false;
        }
        if (refusal != 0) {
            ++parts_.figures.refused_requests;
            const HttpReply reply = create_refusal(refusal, to_reason(refusal));
            co_await send(reply, HTTP_1_1, false);
            co_return false;
        }
        buffer_.shrink_to_fit();
        ++parts_.figures.requests;
        auto request = parser.release();
        const unsigned version = request.version();
        const bool keep_alive = request.keep_alive();
        const bool is_head = request.method() == http::verb::head;
        HttpReply reply = co_await get_reply(request);
        if (!reply.events) {
            if (!share.resize(reply.body.size())) {
                ++parts_.figures.refused_requests;
                reply = create_refusal(503, to_reason(503));
            }
            const bool stays = keep_alive && !parts_.is_closing;
            const bool is_sent = co_await send(reply, version, stays, !is_head);
            co_return is_sent&& stays;
        }
        if (is_head) {
            co_await send(reply, version, false, false);
            co_return false;
        }
        events_ = reply.events;
        if (co_await send(reply, version, false)) {
            co_await send_events();
        }
        events_->set_listener(nullptr);
        events_ = nullptr;
        co_return false;
    }

    static std::string to_reason(unsigned status) {
        switch (status) {
            case 413:
                return "The request is too large";
            case 431:
                return "The header of the request is too large";
            case 503:
                return "The gateway is busy, try again later";
            default:
                return "This is not an HTTP request";
        }
    }

    static constexpr unsigned DISCONNECTED = 1;

    /// @return 0 if the request is complete, the status of the reply that refuses it, or DISCONNECTED
    asio::awaitable<unsigned> read(Parser& parser, MemoryBudget::Share& share) {
        if (!co_await await_read_ahead()) {
            co_return DISCONNECTED;
        }
        get_tcp().expires_after(parts_.options.patience);
        bool is_continued = false;
        while (!parser.is_done()) {
            const beast::error_code error = co_await read_part(stream_, buffer_, parser);
            if (error == http::error::body_limit) {
                co_return 413;
            }
            if (error == http::error::header_limit || error == http::error::buffer_overflow) {
                co_return 431;
            }
            if (error && error.category() == http::make_error_code(http::error::bad_version).category() &&
                error != http::error::end_of_stream && error != http::error::partial_message) {
                co_return 400;
            }
            if (error) {
                co_return DISCONNECTED;
            }
            is_idle_ = false;
            if (parser.is_header_done()) {
                if (!has_right_host(parser.get())) {
                    co_return 400;
                }
                if (!share.resize(std::max(parser.get().body().capacity(), buffer_.capacity()))) {
                    co_return 503;
                }
                if (!is_continued && !parser.is_done() &&
                    beast::iequals(parser.get()[http::field::expect], "100-continue")) {
                    is_continued = true;
                    if (!co_await send_bytes(CONTINUE)) {
                        co_return DISCONNECTED;
                    }
                }
                get_tcp().expires_after(parts_.options.patience);
            }
        }
        co_return 0;
    }

    asio::awaitable<HttpReply> get_reply(http::request<http::string_body>& request) {
        const std::string_view forwarded = request["X-Forwarded-Proto"];
        HttpRequest plain{.method = request.method_string(),
                          .target = request.target(),
                          .host = request[http::field::host],
                          .origin = request[http::field::origin],
                          .content_type = request[http::field::content_type],
                          .has_tls = forwarded.empty() ? stream_.has_tls() : forwarded == "https",
                          .forwarded_prefix = request["X-Forwarded-Prefix"],
                          .peer = peer_,
                          .body = std::move(request.body())};
        const auto presence = std::make_shared<Presence>();
        const auto pending = std::make_shared<PendingReply>(parts_.context);
        get_tcp().expires_never();
        asio::cancellation_signal stop_watching;
        spawn(run_handler(parts_.handler, std::move(plain), presence, pending));
        if (!pending->reply) {
            watch_presence(presence, stop_watching);
            while (!pending->reply) {
                co_await pending->ready.async_wait(to_tuple);
            }
            stop_watching.emit(asio::cancellation_type::total);
        }
        co_return std::move(*pending->reply);
    }

    /// Tells when the client hangs up. One that sends the next request already is not watched any more.
    void watch_presence(const std::shared_ptr<Presence>& presence, asio::cancellation_signal& stop) {
        if (stream_.has_tls()) {
            watch_presence_by_reading(presence);
            return;
        }
        get_tcp().socket().async_wait(
            tcp::socket::wait_read,
            asio::bind_cancellation_slot(stop.slot(), [this, presence](const beast::error_code& error) {
                if (error) {
                    return;
                }
                beast::error_code failure;
                if (get_tcp().socket().available(failure) == 0) {
                    presence->leave();
                }
            }));
    }

    /// With TLS only reading shows whether what comes is the client's goodbye. What is read otherwise is the
    /// beginning of the next request. The reading goes on when the reply is there.
    void watch_presence_by_reading(const std::shared_ptr<Presence>& presence) {
        watcher_ = presence;
        // What has come of the next request is enough: the buffer is bounded.
        if (buffer_.size() > 0 || std::exchange(is_reading_ahead_, true)) {
            return;
        }
        read_ahead_.expires_at(asio::steady_timer::time_point::max());
        asio::co_spawn(parts_.context, read_ahead(), asio::detached);
    }

    asio::awaitable<void> read_ahead() {
        const auto [error, count] = co_await stream_.read_some(buffer_.prepare(FIRST_READ));
        buffer_.commit(count);
        is_reading_ahead_ = false;
        has_left_ = bool(error);
        read_ahead_.cancel();
        if (const auto watcher = watcher_.lock(); watcher && has_left_) {
            watcher->leave();
        }
    }

    /// @return false if the client has left, or sends nothing for too long
    asio::awaitable<bool> await_read_ahead() {
        if (is_reading_ahead_) {
            read_ahead_.expires_after(parts_.options.patience);
            co_await read_ahead_.async_wait(to_tuple);
        }
        co_return !is_reading_ahead_ && !has_left_;
    }

    /// Nothing else may use the stream, or end, before.
    asio::awaitable<void> end_read_ahead() {
        while (is_reading_ahead_) {
            get_tcp().cancel();
            read_ahead_.expires_after(std::chrono::milliseconds(100));  // TLS may have begun another read
            co_await read_ahead_.async_wait(to_tuple);
        }
    }

    asio::awaitable<bool> send(const HttpReply& reply, unsigned version, bool keep_alive,
                               bool with_body = true) {
        std::string head = create_head(reply, version, keep_alive);
        if (!with_body) {
            co_return co_await send_bytes(head);
        }
        if (reply.body.size() <= LARGEST_COPY) {
            head += reply.body;
            co_return co_await send_bytes(head);
        }
        const bool is_sent = co_await send_bytes(head);
        if (!is_sent) {
            co_return false;
        }
        co_return co_await send_bytes(reply.body);
    }

    asio::awaitable<bool> send_bytes(const std::string& bytes) {
        const beast::error_code error = co_await stream_.write(asio::buffer(bytes), parts_.options.patience);
        co_return !error;
    }

    asio::awaitable<void> send_events() {
        asio::steady_timer wake(parts_.context);
        const auto presence = std::make_shared<Presence>();
        presence->set_listener([&wake] { wake.cancel(); });
        events_->set_listener([&wake] { wake.cancel(); });
        asio::cancellation_signal stop_watching;
        watch_presence(presence, stop_watching);
        while (!presence->has_left()) {
            std::string text = events_->take();
            if (text.empty()) {
                if (events_->is_finished()) {
                    break;
                }
                get_tcp().expires_never();
                wake.expires_after(SIGN_OF_LIFE);
                const auto [error] = co_await wake.async_wait(to_tuple);
                if (error) {
                    continue;  // woken
                }
                text = ":\n\n";
            }
            if (!co_await send_bytes(text)) {
                break;
            }
        }
        presence->set_listener(nullptr);
        events_->set_listener(nullptr);
        stop_watching.emit(asio::cancellation_type::total);
    }

    /// Reads what is still coming, for a moment: closing with input unread would reset the connection, and
    /// the client might never see the reply.
    asio::awaitable<void> discard_input() {
        get_tcp().expires_after(parts_.is_closing ? std::chrono::seconds(0) : LONGEST_GOODBYE);
        char unread[4096];
        for (int pieces = 0; pieces < 256; ++pieces) {
            const auto [error, count] = co_await get_tcp().async_read_some(asio::buffer(unread), to_tuple);
            if (error) {
                break;
            }
        }
    }

    beast::tcp_stream& get_tcp() { return stream_.get_tcp(); }

    HttpServerParts& parts_;
    Stream stream_;
    beast::flat_buffer buffer_{LARGEST_BUFFER};
    std::string peer_;
    bool is_idle_ = false;
    std::shared_ptr<EventSource> events_;
    asio::steady_timer read_ahead_;  // cancelled when what is read ahead is there
    bool is_reading_ahead_ = false;
    bool has_left_ = false;
    std::weak_ptr<Presence> watcher_;
};

namespace {

asio::awaitable<void> serve_connection(std::shared_ptr<HttpServerParts> parts, tcp::socket socket) {
    Connection connection(*parts, std::move(socket));
    co_await connection.serve();
}

asio::awaitable<void> accept_connections(std::shared_ptr<HttpServerParts> parts) {
    asio::steady_timer pause(parts->context);
    while (parts->acceptor.is_open()) {
        auto [error, socket] = co_await parts->acceptor.async_accept(to_tuple);
        if (error == asio::error::operation_aborted || error == asio::error::bad_descriptor) {
            break;
        }
        if (error) {  // no more files, for example
            pause.expires_after(std::chrono::milliseconds(100));
            co_await pause.async_wait(to_tuple);
            continue;
        }
        if (parts->figures.clients >= parts->options.most_clients) {
            ++parts->figures.refused_clients;
            continue;
        }
        set_socket_options(socket);
        try {
            asio::co_spawn(parts->context, serve_connection(parts, std::move(socket)), asio::detached);
        } catch (const std::exception&) {
            ++parts->figures.refused_clients;  // no memory for this one
        }
    }
}

}  // namespace

HttpServer::HttpServer(AsioLoop& loop, const HttpServerOptions& options, MemoryBudget& memory,
                       Handler handler)
    : parts_(std::make_shared<HttpServerParts>(loop, options, memory, std::move(handler))) {}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::start() {
    const auto& options = parts_->options;
    const std::string place = options.address + " port " + std::to_string(options.port);
    beast::error_code error;
    const auto address = asio::ip::make_address(options.address, error);
    if (error) {
        throw std::runtime_error("'" + options.address +
                                 "' is not an IP address: give 127.0.0.1, or 0.0.0.0 for all addresses");
    }
    const tcp::endpoint endpoint(address, options.port);
    const auto check = [&] {
        if (error) {
            throw std::runtime_error("cannot listen on " + place + ": " + error.message());
        }
    };
    parts_->acceptor.open(endpoint.protocol(), error);
    check();
    parts_->acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    check();
    parts_->acceptor.bind(endpoint, error);
    check();
    parts_->acceptor.listen(asio::socket_base::max_listen_connections, error);
    check();
    asio::co_spawn(parts_->context, accept_connections(parts_), asio::detached);
    return parts_->acceptor.local_endpoint().port();
}

void HttpServer::close() {
    parts_->is_closing = true;
    beast::error_code ignored;
    parts_->acceptor.close(ignored);
    const std::vector<Connection*> connections(parts_->connections.begin(), parts_->connections.end());
    for (Connection* connection : connections) {
        connection->close();
    }
}

const HttpServerFigures& HttpServer::get_figures() const {
    return parts_->figures;
}

}  // namespace gateway
