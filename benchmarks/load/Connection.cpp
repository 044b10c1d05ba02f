#include "load/Connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <stdexcept>

namespace kx::benchmarks {

namespace {

constexpr std::size_t RECEIVE_SIZE = std::size_t{256} * 1024;

SSL_CTX* get_tls_context() {
    static SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    return context;
}

int clamp_size(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

}  // namespace

Connection::Connection(unsigned short port, PROTECTION protection) : port_(port), protection_(protection) {
    open();
}

Connection::~Connection() {
    close();
}

void Connection::open() {
    socket_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close();
        throw std::runtime_error("cannot connect");
    }
    if (protection_ == PROTECTION::TLS) {
        session_.reset(SSL_new(get_tls_context()));
        if (ticket_ != nullptr) {
            SSL_set_session(session_.get(), ticket_.get());
        }
        if (SSL_set_fd(session_.get(), socket_) != 1 || SSL_connect(session_.get()) != 1) {
            close();
            throw std::runtime_error("no TLS connection");
        }
    }
}

void Connection::close() {
    if (session_ != nullptr) {
        ticket_.reset(SSL_get1_session(session_.get()));
        if (is_closed_by_server()) {
            SSL_set_shutdown(session_.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);  // nothing is sent
        } else {
            SSL_shutdown(session_.get());
        }
        session_.reset();
    }
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = -1;
}

/// An idle connection has nothing to read until its server ends it. Under TLS there may be session tickets,
/// so that only the end of the connection itself counts.
bool Connection::is_closed_by_server() const {
    char byte = 0;
    const ssize_t count = recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return protection_ == PROTECTION::PLAIN ? count >= 0 : count == 0;
}

void Connection::send(const std::string& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const char* start = bytes.data() + sent;
        const std::size_t size = bytes.size() - sent;
        const ssize_t count = session_ ? SSL_write(session_.get(), start, clamp_size(size))
                                       : ::send(socket_, start, size, MSG_NOSIGNAL);
        if (count <= 0) {
            throw std::runtime_error("cannot send");
        }
        sent += static_cast<std::size_t>(count);
    }
}

void Connection::receive() {
    const std::size_t old_size = buffer_.size();
    buffer_.resize(old_size + RECEIVE_SIZE);
    char* start = buffer_.data() + old_size;
    const ssize_t count = session_ ? SSL_read(session_.get(), start, clamp_size(RECEIVE_SIZE))
                                   : recv(socket_, start, RECEIVE_SIZE, 0);
    if (count <= 0) {
        throw std::runtime_error("connection closed");
    }
    buffer_.resize(old_size + static_cast<std::size_t>(count));
}

const std::string& Connection::exchange(const std::string& http_request) {
    if (socket_ >= 0 && is_closed_by_server()) {
        close();
    }
    if (socket_ < 0) {
        open();
    }
    send(http_request);
    buffer_.clear();
    body_.clear();
    position_ = 0;
    const std::string header = receive_until("\r\n\r\n");
    if (!header.starts_with("HTTP/1.1 200")) {
        throw std::runtime_error("unexpected reply: " + header);
    }
    if (const auto length_at = header.find("Content-Length: "); length_at != std::string::npos) {
        receive_body(std::stoul(header.substr(length_at + 16)));
    } else if (header.find("Transfer-Encoding: chunked") != std::string::npos) {
        receive_chunks();
    } else {
        throw std::runtime_error("a reply without length: " + header);
    }
    if (header.find("Connection: Close") != std::string::npos) {
        close();
    }
    return body_;
}

/// Takes what comes up to and including `end`.
std::string Connection::receive_until(const std::string& end) {
    std::size_t found = 0;
    while ((found = buffer_.find(end, position_)) == std::string::npos) {
        receive();
    }
    std::string text = buffer_.substr(position_, found + end.size() - position_);
    position_ = found + end.size();
    return text;
}

/// Takes `size` bytes and adds them to the body.
void Connection::receive_body(std::size_t size) {
    while (buffer_.size() - position_ < size) {
        receive();
    }
    body_.append(buffer_, position_, size);
    position_ += size;
}

void Connection::receive_chunks() {
    while (const std::size_t size = std::stoul(receive_until("\r\n"), nullptr, 16)) {
        receive_body(size);
        receive_until("\r\n");
    }
    receive_until("\r\n");
}

std::string create_http_request(const std::string& body, const std::string& path) {
    return "POST " + path +
           " HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace kx::benchmarks
